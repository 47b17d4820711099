#include "runtime/lpdsn.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/platform.h"
#include "runtime/cmdlang.h"
#include "runtime/rpxdt.h"
#include "runtime/trace.h"
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

TEST_F(LpdsnTest, LinesOfAnyLengthAreReadWhole) {
  // A long installation directory and a long quoted value keep every byte: no blank appears
  // in them, whatever the length of their line.
  std::string base = dir_.file(std::string(60, 'p'));
  base += platform::path_separator() + std::string(60, 'q');
  const std::string addr = "Building " + std::string(300, 'a') + " Floor 4";
  ASSERT_EQ(load("PATH=" + base + "\nUSRADDR=\"" + addr + "\" KYTNODENAME=n\n"), 0)
      << lpdsn_error_text();
  EXPECT_EQ(get("PATH"), base);
  EXPECT_EQ(get("DSN_DB_LOG"), join(join(base, "DB"), "rldb.log"));
  EXPECT_EQ(get("USRADDR"), addr);
  EXPECT_EQ(get("KYTNODENAME"), "n");
  EXPECT_TRUE(lpdsn_error_text().empty());
}

TEST_F(LpdsnTest, NaturalWritingIsTakenAndWhatIsRefusedIsNamedByItsLine) {
  ASSERT_EQ(load("# site settings\r\nDBPSW=\r\n   # DB=commented\r\nDB=/data(old) "
                 "USRADDR='(a) \"b\"' LANGUAGE= X=a\"b'c\n"),
            0)
      << lpdsn_error_text();
  EXPECT_EQ(get("DBPSW"), "");
  EXPECT_EQ(get("DB"), "/data(old)");
  EXPECT_EQ(get("DSN_DB_LOG"), join("/data(old)", "rldb.log"));
  EXPECT_EQ(get("USRADDR"), "(a) \"b\"");
  EXPECT_EQ(get("LANGUAGE"), "E");  // an empty keyword with a default keeps it
  EXPECT_EQ(get("X"), "a\"b'c");

  const std::string f = dir_.file("kytenv.dat");
  struct Case {
    std::string text;
    int code;
    std::string error;
  } cases[] = {
      {"DB=x\n\nFOO\n", 99, f + ":3: a setting must be NAME=value: FOO"},
      {"DB=x (SID=a)\n", 99, f + ":1: a setting must be NAME=value: (SID=a)"},
      {"A=1\nUSRADDR=\"a b\nC=2\"\n", 99, f + ":2: quote not closed on its line: USRADDR=\"a b"},
      {"A=\"x\"y\n", 99, f + ":1: no blank after the closing quote: A=\"x\"y"},
      {"db=a\n\nDB=b\n", 4, f + ":3: DB given twice (first on line 1): DB=b"},
      {std::string("A=1\nB=\0\n", 8), 99, f + ":2: a NUL byte in the line"},
      {"X=\"(a\" Y=a\"b'(c)\n", 99,
       f + ":1: a value with both kinds of quote and a parenthesis: Y=a\"b'(c)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    test::write_file(f, c.text);
    EXPECT_EQ(lpdsn_init_file(f), c.code);
    EXPECT_EQ(lpdsn_error_text(), c.error);
    EXPECT_EQ(lpdsn_entries().size(), 1u);  // nothing of a refused file is used
  }
  std::string many;
  for (int i = 0; i < 100; ++i) many += "N" + std::to_string(i) + "=v\n";
  EXPECT_EQ(load(many), 5);
  EXPECT_EQ(lpdsn_error_text(),
            f + ":100: more than 99 settings of names that are not keywords: N99=v");
  EXPECT_EQ(lpdsn_init_file(dir_.file("missing.dat")), 99);
  EXPECT_EQ(lpdsn_error_text(), dir_.file("missing.dat") + ": cannot open the environment file");
}

TEST_F(LpdsnTest, PlaceholdersAreFilledInTheFilePatternOnly) {
  // A directory is taken as written, "%" and all.
  const std::string trace_dir = dir_.file("t%d%%x");
  ASSERT_EQ(load("TRACEDIR=\"" + trace_dir + "\"\n"), 0);
  char odt[32];
  std::snprintf(odt, sizeof odt, "rltr%04lu.log",
                static_cast<unsigned long>(platform::process_id() % 10000));
  EXPECT_EQ(get("DSN_ODT_LOG"), join(trace_dir, odt));
  EXPECT_EQ(get("DSN_TRACE_LOG"), join(trace_dir, "trace%06lu.log"));
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

// The file's trace settings hold whichever module is used first: the trace (switched on by
// the process itself), the store, or the command language with the store first needed
// inside a handler (itself called from another: the reading must not count as nesting).
TEST_F(LpdsnTest, TraceSettingsOfTheFileHoldInEveryOrderOfFirstUse) {
  for (const char* k : {"DBG_LVL", "DBG_TPC", "DBG_MAXSIZE", "DBG_NUMLOGS"}) {
    platform::set_env(k, nullptr);
  }
  for (const char* order : {"trace", "store", "cmdlang"}) {
    SCOPED_TRACE(order);
    lpdsn_reset_for_tests();
    trace_reset_for_tests();
    test::TempDir traces;
    test::write_file(dir_.file("site.env"), "DEBUG=1\nTRACEDIR=\"" + traces.path() +
                                                "\"\nDBG_LVL=0x41 DBG_TPC=cz\n");
    platform::set_env("KYTENV", dir_.file("site.env").c_str());
    std::string db;
    if (std::string(order) == "trace") {
      trace_set_switch(1);
      KYT_TRACE("KYTEXE", "z", 1, "before the store was read");
      EXPECT_EQ(lpdsn_get("DB", &db), 0);
    } else if (std::string(order) == "store") {
      EXPECT_EQ(lpdsn_get("DB", &db), 0);
    } else {
      CommandSet outer, inner;
      int32_t got = -1;
      ASSERT_EQ(rpxcid(inner, "NEED:", [&](const cmd_args&, cmd_msg*) {
                  got = lpdsn_get("DB", &db);
                  return 0;
                }),
                0);
      ASSERT_EQ(rpxcid(outer, "RUN:", [&](const cmd_args&, cmd_msg*) {
                  return rpxcie(inner, "NEED", nullptr);
                }),
                0);
      EXPECT_EQ(rpxcie(outer, "RUN", nullptr), 0);
      EXPECT_EQ(got, 0);
    }
    EXPECT_EQ(trace_switch(), 1);
    KYT_TRACE("KYTEXE", "z", 1, "after the store was read");
    KYT_TRACE("KYTEXE", "q", 1, "topic not listed");
    CommandSet set;
    ASSERT_EQ(rpxcid(set, "PING:", nullptr), 0);
    EXPECT_EQ(rpxcie(set, "PING", nullptr), 0);  // its own lines: topic c, level 7
    const std::string log = test::read_file(traces.file("diag.log"));
    EXPECT_NE(log.find(" KYTEXE 1 after the store was read\n"), std::string::npos) << log;
    EXPECT_NE(log.find(" kytcal 7 rpxcie (cmd 'PING') entered.\n"), std::string::npos) << log;
    EXPECT_EQ(log.find("topic not listed"), std::string::npos) << log;
    trace_reset_for_tests();
  }
}

// A failed reading does not stay with the process: once the file is there, it is read.
TEST_F(LpdsnTest, AFailedFirstReadingIsTriedAgain) {
  platform::set_env("KYTENV", dir_.file("later.env").c_str());
  std::string v;
  EXPECT_EQ(lpdsn_get("DB", &v), 99);
  EXPECT_EQ(lpdsn_init(), 99);
  test::write_file(dir_.file("later.env"), "DB=there\n");
  EXPECT_EQ(lpdsn_get("DB", &v), 0);
  EXPECT_EQ(v, "there");
  EXPECT_TRUE(lpdsn_error_text().empty());
  // An explicitly named file stays the one read again.
  test::write_file(dir_.file("named.env"), "DB=a DB=b\n");
  EXPECT_EQ(lpdsn_init_file(dir_.file("named.env")), 4);
  test::write_file(dir_.file("named.env"), "DB=b\n");
  EXPECT_EQ(lpdsn_get("DB", &v), 0);
  EXPECT_EQ(v, "b");
}

// Failure lines are written at level 1 with a topic of the file's default DBG_TPC.
TEST_F(LpdsnTest, FailureLinesPassTheDefaultFilter) {
  for (const char* k : {"DBG_LVL", "DBG_TPC"}) platform::set_env(k, nullptr);
  trace_reset_for_tests();
  ASSERT_EQ(load("DEBUG=1 TRACEDIR=\"" + dir_.path() + "\"\n"), 0);
  EXPECT_NE(dt_to_tm(nullptr, nullptr), 0);
  EXPECT_EQ(load("DEBUG=1 TRACEDIR=\"" + dir_.path() + "\" BAD\n"), 99);
  const std::string log = test::read_file(dir_.file("diag.log"));
  EXPECT_NE(log.find(" KYTEXE 1 dt_to_tm : NULL is invalid"), std::string::npos) << log;
  EXPECT_NE(log.find(" KYTEXE 1 lpdsn : " + dir_.file("kytenv.dat") +
                     ":1: a setting must be NAME=value: BAD (code 99)"),
            std::string::npos)
      << log;
}

}  // namespace
}  // namespace kyt
