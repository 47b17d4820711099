#include "runtime/trace.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <regex>
#include <string>

#include "platform/platform.h"
#include "testutil.h"

namespace kyt {
namespace {

// A stand-in environment store for the tests.
std::map<std::string, std::string>& store() {
  static std::map<std::string, std::string> s;
  return s;
}
int g_reloads = 0;
bool store_lookup(const char* key, std::string* value) {
  auto it = store().find(key);
  if (it == store().end()) return false;
  *value = it->second;
  return true;
}
void store_reload() { ++g_reloads; }

class TraceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    trace_reset_for_tests();
    store().clear();
    g_reloads = 0;
    for (const char* k : {"DBG_LVL", "DBG_TPC", "DBG_MAXSIZE", "DBG_NUMLOGS"}) {
      platform::set_env(k, nullptr);
    }
    store()["DSN_DIAG"] = dir_.file("diag.log");
    trace_set_env_source({store_lookup, store_reload});
  }
  void TearDown() override { trace_reset_for_tests(); }
  test::TempDir dir_;
};

TEST_F(TraceTest, SwitchOffReadsNothingAndTouchesNoFile) {
  store()["DBG_LVL"] = "0xffffffff";
  KYT_TRACE("KYTEXE", "a", 1, "never written");
  EXPECT_FALSE(platform::file_exists(dir_.file("diag.log").c_str()));
}

TEST_F(TraceTest, SettingsComeFromStoreThenProcessEnvironmentThenDefaults) {
  TraceSettings d = trace_read_settings();
  EXPECT_EQ(d.level_mask, 0u);
  EXPECT_EQ(d.topics, "");
  EXPECT_EQ(d.max_size, 0);
  EXPECT_EQ(d.num_logs, 0u);

  platform::set_env("DBG_LVL", "010");  // octal
  platform::set_env("DBG_MAXSIZE", "-5");
  store()["DBG_TPC"] = std::string(80, 'x');
  TraceSettings e = trace_read_settings();
  EXPECT_EQ(e.level_mask, 8u);
  EXPECT_EQ(e.max_size, -5);
  EXPECT_EQ(e.topics.size(), 63u);

  store()["DBG_LVL"] = "0x90000001";  // the store wins over the process environment
  TraceSettings s = trace_read_settings();
  EXPECT_EQ(s.level_mask, 0x90000001u);
  EXPECT_FALSE(s.bit29);
  store()["DBG_LVL"] = "0x20000000";
  EXPECT_TRUE(trace_read_settings().bit29);
  // Numbers beyond their setting's range give its bound, never a wrapped value.
  store()["DBG_LVL"] = "4294967297";
  store()["DBG_NUMLOGS"] = "0x100000003";
  store()["DBG_MAXSIZE"] = "99999999999999999999";
  TraceSettings big = trace_read_settings();
  EXPECT_EQ(big.level_mask, 0xFFFFFFFFu);
  EXPECT_EQ(big.num_logs, 0xFFFFFFFFu);
  EXPECT_EQ(big.max_size, INT64_MAX);

  trace_set_env_source({});
  EXPECT_EQ(trace_read_settings().file, "diag.log");
}

TEST_F(TraceTest, LinesAreFilteredByLevelAndTopicAndCarryTheirOrigin) {
  store()["DBG_LVL"] = "0x4001";  // levels 1 and 15
  store()["DBG_TPC"] = "ct";
  trace_set_switch(1);
  KYT_TRACE("kytfold", "c", 15, "entered %d.\n", 3);
  KYT_TRACE("kytfold", "c", 6, "level 6 is not in the mask");
  KYT_TRACE("kytfold", "x", 1, "topic x is not listed");
  KYT_TRACE("KYTEXE", "t", 1, "second");
  std::string text = test::read_file(dir_.file("diag.log"));
  std::regex line(
      R"(\d{4}/\d\d/\d\d \d\d:\d\d:\d\d \d+ trace_test\.cpp kytfold 15 entered 3\.
\d{4}/\d\d/\d\d \d\d:\d\d:\d\d \d+ trace_test\.cpp KYTEXE 1 second
)");
  EXPECT_TRUE(std::regex_match(text, line)) << text;

  trace_set_tag(42);
  KYT_TRACE("m", "c", 1, "tagged");
  EXPECT_NE(test::read_file(dir_.file("diag.log")).find(":42 trace_test.cpp m 1 tagged\n"),
            std::string::npos);
}

TEST_F(TraceTest, TracingKeepsTheErrorNumber) {
  store()["DBG_LVL"] = "1";
  store()["DSN_DIAG"] = dir_.file("no/such/dir/diag.log");  // the open fails inside
  trace_set_switch(1);
  errno = 4711;
  KYT_TRACE("m", "c", 1, "lost line");
  EXPECT_EQ(errno, 4711);
}

TEST_F(TraceTest, RotationKeepsTheConfiguredNumberOfFiles) {
  store()["DBG_LVL"] = "1";
  store()["DBG_MAXSIZE"] = "300";
  store()["DBG_NUMLOGS"] = "2";
  trace_set_switch(1);
  for (int i = 0; i < 40; ++i) KYT_TRACE("m", "c", 1, "line %02d of the rotation test", i);
  for (const char* name : {"diag.log", "diag.001", "diag.002"}) {
    int64_t size = platform::file_size(dir_.file(name).c_str());
    EXPECT_GT(size, 0) << name;
    EXPECT_LE(size, 300) << name;
  }
  EXPECT_FALSE(platform::file_exists(dir_.file("diag.003").c_str()));
  EXPECT_NE(test::read_file(dir_.file("diag.log")).find("line 39"), std::string::npos);
  std::string newer = test::read_file(dir_.file("diag.001"));
  std::string older = test::read_file(dir_.file("diag.002"));
  EXPECT_LT(older.substr(older.find("line ")), newer.substr(newer.find("line ")));
}

TEST_F(TraceTest, NoArchivesStartsTheFileOver) {
  store()["DBG_LVL"] = "1";
  store()["DBG_MAXSIZE"] = "200";
  trace_set_switch(1);
  for (int i = 0; i < 20; ++i) KYT_TRACE("m", "c", 1, "line %02d", i);
  EXPECT_LE(platform::file_size(dir_.file("diag.log").c_str()), 200);
  EXPECT_FALSE(platform::file_exists(dir_.file("diag.001").c_str()));
}

TEST_F(TraceTest, RereadTakesNewSettings) {
  store()["DBG_LVL"] = "1";
  trace_set_switch(1);
  KYT_TRACE("m", "c", 1, "first");
  store()["DSN_DIAG"] = dir_.file("other.log");
  KYT_TRACE("m", "c", 1, "still first file");
  trace_request_reread();
  KYT_TRACE("m", "c", 1, "second file");
  EXPECT_EQ(g_reloads, 1);
  EXPECT_NE(test::read_file(dir_.file("diag.log")).find("still first file"), std::string::npos);
  EXPECT_NE(test::read_file(dir_.file("other.log")).find("second file"), std::string::npos);
}

}  // namespace
}  // namespace kyt
