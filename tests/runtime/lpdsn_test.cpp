#include "runtime/lpdsn.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/platform.h"
#include "testutil.h"

namespace kyt {
namespace {

class LpdsnTest : public ::testing::Test {
 protected:
  void SetUp() override { lpdsn_reset_for_tests(); }
  void TearDown() override {
    lpdsn_reset_for_tests();
    trace_reset_for_tests();
    platform::set_env("KYTENV", nullptr);
  }
  int load(const std::string& text) {
    test::write_file(dir_.file("kytenv.dat"), text);
    return lpdsn_init_file(dir_.file("kytenv.dat"));
  }
  std::string get(const char* key) {
    std::string v;
    EXPECT_EQ(lpdsn_get(key, &v), 0) << key;
    return v;
  }
  std::string join(const std::string& a, const char* b) {
    return a + platform::path_separator() + b;
  }
  test::TempDir dir_;
};

TEST_F(LpdsnTest, EmptyFileGivesEveryDefaultInOrder) {
  ASSERT_EQ(load(""), 0);
  const std::string path = get("PATH");
  std::string expected_path;
  ASSERT_TRUE(platform::absolute_path(platform::default_install_path(), &expected_path));
  EXPECT_EQ(path, expected_path);
  EXPECT_EQ(get("DB"), join(path, "DB"));
  EXPECT_EQ(get("DSN_DIAG"), join(join(path, "TRACEDIR"), "diag.log"));
  EXPECT_EQ(get("DSN_DIA_LOG"), "rlb.log");
  EXPECT_EQ(get("DSN_DBTAB"), "%s%.0s/%s.db");
  EXPECT_EQ(get("MODE"), "d");
  EXPECT_EQ(get("LANGUAGE"), "E");
  EXPECT_EQ(get("DBG_LVL"), "0x90000001");
  EXPECT_EQ(get("DBG_NUMLOGS"), "3");
  EXPECT_EQ(get("DBTO"), "120");
  EXPECT_EQ(get("PGM"), get("SYSTEM"));
  EXPECT_EQ(get("VERSION"), "kytXP5.07.16 OFTP station core");
  char odt[32];
  std::snprintf(odt, sizeof odt, "rltr%04lu.log",
                static_cast<unsigned long>(platform::process_id() % 10000));
  EXPECT_EQ(get("DSN_ODT_LOG"), join(join(path, "TRACEDIR"), odt));
  std::string v;
  EXPECT_EQ(lpdsn_get("DBNAME", &v), 12);  // no default

  const auto& e = lpdsn_entries();
  ASSERT_EQ(e.size(), 1u + 21u + 2u + 34u);  // file name, settings, VERSION and PGM, datasets
  EXPECT_EQ(e.front().first, "DSN_KYTENV");
  EXPECT_EQ(e[1].first, "MODE");
  EXPECT_EQ(e[22].first, "VERSION");
  EXPECT_EQ(e.back().first, "DSN_CNS_OUT");
  const std::string listing = lpdsn_listing();
  EXPECT_EQ(listing.rfind("\nList of environment values:\n---------------------------\n"
                          "DSN_KYTENV           = '", 0),
            0u);
  EXPECT_NE(listing.find("\nMODE                 = 'd'\n"), std::string::npos);
  EXPECT_EQ(listing.substr(listing.size() - 2), "\n\n");
}

TEST_F(LpdsnTest, SettingsOverrideAndPositionalNamesAreKept) {
  const std::string base = dir_.file("X");
  const std::string sys = dir_.file("S");
  ASSERT_EQ(load("mode=Test LANGUAGE=german\nPATH=" + base + platform::path_separator() +
                 "\nSYSTEM=\"" + sys + "\" USRDIRS=a;b\nKYTNODENAME=\"node 1\" DBPSW=secret\n"),
            0);
  EXPECT_EQ(get("MODE"), "t");
  EXPECT_EQ(get("LANGUAGE"), "G");
  EXPECT_EQ(get("PATH"), base);  // trailing separator removed
  EXPECT_EQ(get("DB"), join(base, "DB"));
  EXPECT_EQ(get("PGM"), sys);
  EXPECT_EQ(get("DSN_PGM"), join(sys, "%s.exe"));
  EXPECT_EQ(get("USRDIRS"), "a;b");
  EXPECT_EQ(get("KYTNODENAME"), "node 1");
  EXPECT_EQ(get("DBPSW"), "secret");
}

TEST_F(LpdsnTest, LinesAreReadInPiecesOfNinetyNineBytes) {
  // The 99th byte ends a piece; the rest of the line is joined behind a blank.
  ASSERT_EQ(load("USRADDR=" + std::string(91, 'a') + "KYTNODENAME=n\n"), 0);
  EXPECT_EQ(get("USRADDR"), std::string(91, 'a'));
  EXPECT_EQ(get("KYTNODENAME"), "n");
}

TEST_F(LpdsnTest, FailuresGiveTheirCodes) {
  EXPECT_EQ(load("DB=a\nDB=b\n"), 4);  // a setting twice
  std::string v;
  EXPECT_EQ(lpdsn_get("DB", &v), 4);
  EXPECT_EQ(load("DB=\"open"), 99);
  EXPECT_EQ(load("FOO"), 99);
  EXPECT_EQ(lpdsn_init_file(dir_.file("missing.dat")), 99);
  EXPECT_EQ(lpdsn_entries().size(), 1u);  // only the file's name: nothing composed
}

TEST_F(LpdsnTest, FileNamedByTheProcessEnvironmentFeedsTheTrace) {
  test::write_file(dir_.file("site.env"), "TRACEDIR=" + dir_.path() + " DBG_LVL=1 DBG_TPC=z\n");
  platform::set_env("KYTENV", dir_.file("site.env").c_str());
  trace_reset_for_tests();
  TraceSettings t = trace_read_settings();
  EXPECT_EQ(t.file, dir_.file("diag.log"));
  EXPECT_EQ(t.level_mask, 1u);
  EXPECT_EQ(t.topics, "z");
  EXPECT_EQ(t.max_size, 1000000);
  EXPECT_EQ(get("DSN_KYTENV"), dir_.file("site.env"));
  trace_set_switch(1);
  KYT_TRACE("KYTEXE", "z", 1, "into the station's trace directory");
  EXPECT_NE(test::read_file(dir_.file("diag.log")).find("into the station's trace directory"),
            std::string::npos);
}

}  // namespace
}  // namespace kyt
