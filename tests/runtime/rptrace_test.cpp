#include "runtime/rptrace.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "runtime/params.h"
#include "runtime/trace.h"
#include "testutil.h"

namespace kyt {
namespace {

std::map<std::string, std::string>& params() {
  static std::map<std::string, std::string> p;
  return p;
}
int param_lookup(const char* name, std::string* value) {
  auto it = params().find(name);
  if (it == params().end()) return kParamNotFound;
  *value = it->second;
  return 0;
}
std::string g_dsn;
bool env_lookup(const char* key, std::string* value) {
  if (std::string(key) != "DSN_TRACE_LOG") return false;
  *value = g_dsn;
  return true;
}

class RptraceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    rptrace_reset_for_tests();
    trace_reset_for_tests();
    params() = {{"TRACEOFF", "0"}, {"TRACEALWAYSTOFILE", "0"}, {"TRACEMAXITEM", "4"},
                {"TRACEMAXSIZE", "1024"}};
    param_set_lookup(param_lookup);
    g_dsn = dir_.file("trace%06lu.log");
    trace_set_env_source({env_lookup, nullptr});
    char name[32];
    std::snprintf(name, sizeof name, "trace%06lu.log",
                  static_cast<unsigned long>(platform::process_id() % 1000000));
    file_ = dir_.file(name);
  }
  void TearDown() override {
    rptrace_reset_for_tests();
    trace_reset_for_tests();
    param_set_lookup(nullptr);
  }
  std::vector<std::string> lines() {
    std::istringstream in(test::read_file(file_));
    std::vector<std::string> out;
    for (std::string l; std::getline(in, l);) out.push_back(l);
    return out;
  }
  test::TempDir dir_;
  std::string file_;
};

TEST_F(RptraceTest, WrappedArrayDumpsMaxItemsFromSlotZeroAtTheEndAfterAnError) {
  rptraceinit();
  for (int i = 1; i <= 6; ++i) rptraceFlow(kRptFlow, "step", i, -i);
  rptracefinit();  // neither always-to-file nor an error: nothing written
  EXPECT_FALSE(platform::file_exists(file_.c_str()));
  rptraceseterr();
  rptracefinit();
  std::vector<std::string> l = lines();
  ASSERT_EQ(l.size(), 5u);
  EXPECT_EQ(l[0],
            "Trace for driver 'unknown' direction = 'unknown' remote Adress = 'unknown' "
            "local adress = 'unknown'");
  // Slots 0 and 1 were overwritten by items 5 and 6.
  const int expected_seq[] = {5, 6, 3, 4};
  for (int i = 0; i < 4; ++i) {
    char head[64];
    std::snprintf(head, sizeof head, "I'%12d' T'", expected_seq[i]);
    EXPECT_EQ(l[i + 1].rfind(head, 0), 0u) << l[i + 1];
    std::snprintf(head, sizeof head, "' K' 36' W'step                          ' R'%d' E'%d'",
                  expected_seq[i], -expected_seq[i]);
    EXPECT_NE(l[i + 1].find(head), std::string::npos) << l[i + 1];
  }
}

TEST_F(RptraceTest, EveryKeyHasItsLine) {
  params()["TRACEMAXITEM"] = "10";
  rptraceinit();
  rptraceSetHeader(2, 1, "10.0.0.1", "");
  const int32_t value = 0x1234;
  rptraceFlow(kRptTime24, "t24", 77, 0);
  rptraceFlow(kRptTime28, "t28", 78, 0);
  rptraceData(kRptData, "int", kRptInt, 4, &value);
  rptraceData(kRptData, "hex", kRptHex, 4, &value);
  rptraceData(kRptData, "raw", 0, 3, "abc");
  rptraceFlow(99, "odd", 0, 0);
  dumpArrayToFile();
  std::vector<std::string> l = lines();
  ASSERT_EQ(l.size(), 7u);
  EXPECT_EQ(l[0],
            "Trace for driver 'TCPIP' direction = 'send' remote Adress = '10.0.0.1' "
            "local adress = 'unknown'");
  auto tail = [](const std::string& s) { return s.substr(s.find(" K'")); };
  EXPECT_EQ(tail(l[1]), " K' 24' W't24                           ' T'77'");
  EXPECT_EQ(tail(l[2]), " K' 28' W't28                           ' T'78'");
  EXPECT_EQ(tail(l[3]), " K' 40' W'int                           ' Di'4660'");
  EXPECT_EQ(tail(l[4]), " K' 40' W'hex                           ' Dix'1234'");
  EXPECT_EQ(tail(l[5]), " K' 40' W'raw                           ' L'3' B'To Be Done : trace DATA'");
  EXPECT_EQ(l[6], "unknown key 99");
}

TEST_F(RptraceTest, FullArrayIsWrittenEachTimeWhenAlwaysToFile) {
  params()["TRACEMAXITEM"] = "0";  // below 1: 1024 items, 1024 KB
  params()["TRACEMAXSIZE"] = "0";
  params()["TRACEALWAYSTOFILE"] = "1";
  rptraceinit();
  for (int i = 0; i < 1023; ++i) rptraceFlow(kRptFlow, "x", 0, 0);
  EXPECT_FALSE(platform::file_exists(file_.c_str()));
  rptraceFlow(kRptFlow, "x", 0, 0);
  EXPECT_EQ(lines().size(), 1025u);  // header and 1024 items
  rptraceFlow(kRptFlow, "x", 0, 0);
  rptracefinit();  // the end writes the one new item (count has passed the size: all slots)
  EXPECT_EQ(lines().size(), 1025u + 1024u);
}

TEST_F(RptraceTest, SizeLimitEmptiesTheArrayAndTraceOffRecordsNothing) {
  params()["TRACEMAXITEM"] = "100";
  params()["TRACEMAXSIZE"] = "1";  // 1024 bytes
  params()["TRACEALWAYSTOFILE"] = "1";
  rptraceinit();
  std::string big(1000, 'z');
  rptraceData(kRptData, "big", 0, static_cast<int32_t>(big.size()), big.data());
  EXPECT_EQ(lines().size(), 2u);  // 96 + 1000 bytes reached the limit: dumped at once

  rptrace_reset_for_tests();
  params()["TRACEOFF"] = "1";
  rptraceinit();
  rptraceFlow(kRptFlow, "x", 0, 0);
  rptraceseterr();
  rptracefinit();
  dumpArrayToFile();
  EXPECT_EQ(lines().size(), 2u);  // unchanged
}

// Transfer after transfer in one process: each dump after a failure holds that transfer's
// items, and a successful transfer after a failed one is not dumped.
TEST_F(RptraceTest, ReinitStartsEachTransferAfresh) {
  params()["TRACEMAXITEM"] = "100";
  params()["TRACEMAXSIZE"] = "1";  // 1024 bytes: ten items of 96
  rptraceinit();
  size_t expected = 1;  // the header
  for (int transfer = 1; transfer <= 6; ++transfer) {
    SCOPED_TRACE(transfer);
    rptracereinit();
    for (int i = 0; i < 5; ++i) rptraceFlow(kRptFlow, "step", transfer, i);
    const bool fails = transfer % 2 == 1;
    if (fails) rptraceseterr();
    rptracefinit();
    if (fails) expected += 5;
    std::vector<std::string> l = lines();
    ASSERT_EQ(l.size(), expected);
    if (fails) {
      char tail[64];
      std::snprintf(tail, sizeof tail, " R'%d' E'4'", transfer);
      EXPECT_EQ(l.back().substr(l.back().size() - std::strlen(tail)), tail);
      EXPECT_EQ(l[l.size() - 5].rfind("I'           1'", 0), 0u) << l[l.size() - 5];
    }
  }
}

TEST_F(RptraceTest, SizeLimitsOfTwoGigabytesAndMorePrintAsTheyAre) {
  test::TempDir dir;
  static std::string diag;
  diag = dir.file("diag.log");
  trace_set_env_source({[](const char* key, std::string* value) {
                          const std::string k = key;
                          if (k == "DSN_DIAG") *value = diag;
                          else if (k == "DBG_LVL") *value = "0x800";  // level 12
                          else return false;
                          return true;
                        },
                        nullptr});
  trace_set_switch(1);
  params()["TRACEMAXSIZE"] = "3000000";  // KB
  rptraceinit();
  EXPECT_NE(test::read_file(diag).find("rptraceinit allw '0' off 0 maxit '4' maxs'3072000000'"),
            std::string::npos)
      << test::read_file(diag);
}

}  // namespace
}  // namespace kyt
