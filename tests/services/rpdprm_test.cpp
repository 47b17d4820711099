// The parameter service on a new station database: the default rows, the cache and its
// DTCONN rule, the special names, the snapshot, the initial command file, the monitor's
// wake-up, and a FORCEDEND written by another process.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "isam/isam.h"
#include "kyt/kyt.h"
#include "platform/platform.h"
#include "runtime/lpdsn.h"
#include "services/rpdipr.h"
#include "services/rpdprm.h"
#include "sql/sql.h"
#include "sql/isa.h"
#include "sql/trace_capture.h"
#include "stationdb.h"
#include "testutil.h"

namespace kyt {
namespace {

// The default parameter table as the station documents it: name|type|LEN|default.
const char* const kExpectedDefaults[] = {
      "ACTPCOUNT|short|7|10",
      "AECCHECK|short|2|0",
      "STATISTICS|short|2|2",
      "RLDB|short|2|0",
      "BBCREATE|short|2|0",
      "BBPRIO|short|4|90",
      "CNTIE|long|12|1000",
      "CNTGC|long|12|40",
      "CNTMA|long|12|40",
      "CMDDELETE|short|2|1",
      "CMDTRACE|short|2|0",
      "CNSMSGS|text|40|ABEIRWSOL+",
      "RECERREX|text|255|recerrex.sh",
      "DTCONN01|text|40|00/00/00 00:01:00",
      "DTCONN02|text|40|00/00/00 00:02:00",
      "DTCONN03|text|40|00/00/00 00:03:00",
      "DTCONN05|text|40|00/00/00 00:05:00",
      "DTCONN07|text|40|00/00/00 00:07:00",
      "DTCONN10|text|40|00/00/00 00:10:00",
      "DTCONN15|text|40|00/00/00 00:15:00",
      "DTCONN20|text|40|00/00/00 00:20:00",
      "DTCOPY|text|40|00/00/00 00:10:00",
      "EFIDGAPTIMEOUT|text|40|00/00/00 02:00:00",
      "IECLEANTIME|text|40|00/00/14 00:00:00",
      "STATCHECKINT|text|40|00/00/00 01:00:00",
      "HEAVYDUTY|text|40|00/00/00 01:00:00",
      "FORCEDEND|short|2|0",
      "IEPRIO|short|4|50",
      "INITCMDS|short|2|1",
      "IZPRIO|short|4|40",
      "JSERRHOLD|text|4|NO",
      "KEEPDAYS|short|7|7",
      "LDSNPRIO|short|4|50",
      "LITRACELVL|short|7|",
      "RPTRACELVL|short|7|0",
      "SIDTRACE|text|17|   ",
      "LMPRIO|short|4|20",
      "MASKSND|short|2|0",
      "MASKRCV|short|2|0",
      "MAXCMD|long|12|1",
      "MAXRECL|long|12|99999",
      "MAXSENDERS|short|7|1",
      "MAXX25RCV|short|7|0",
      "SNARCV|short|7|0",
      "TCPIPRCV|short|7|0",
      "MSGPRIO|short|4|60",
      "VDSNCHAR|text|10|ODETTE",
      "SECURITY|text|10|OPT",
      "COMPFLAGS|text|10|1",
      "CRYPFLAGS|text|10|1",
      "AUTODECRYP|text|2|Y",
      "CHECKMAXPSESSIONS|text|2|N",
      "CALLINGNUMCHECK|text|2|N",
      "USEPKI|text|4|NO",
      "USEULS|text|9|OPTIONAL",
      "ROUTING|text|2|B",
      "OCREVAL|long|12|99",
      "ORETRY|text|20|10111000111011111111",
      "ODTRACELVL|short|7|0",
      "OEXBUF|long|12|2048",
      "OKPRIO|short|4|10",
      "OTIMEOUT|short|7|600",
      "MONTIMEOUT|short|7|700",
      "COMTIMEOUT|short|7|700",
      "XMTTIMEOUT|short|7|700",
      "MWTIMEOUT|short|7|700",
      "MWSTART|short|2|1",
      "MWSTOP|short|2|1",
      "QEPRIO|short|4|30",
      "QSPRIO|short|4|30",
      "RECVBLOCKS|long|12|1000",
      "SCPRIO|short|4|10",
      "SDSNMAX|long|12|100",
      "SDSNPRIO|short|4|40",
      "SENDBLOCKS|long|12|1000",
      "SEPRIO|short|4|50",
      "SLEEP|short|7|30",
      "SSCREATE|short|2|0",
      "DISKSPACEWARN|long|12|50000",
      "DISKSPACEERR|long|12|1000",
      "DISKSPACEDELAY|long|12|600",
      "DISKSPACEREJECT|long|12|5000",
      "CRYPERRDELAY|long|12|300",
      "SYNCDL|long|12|500",
      "SYNCTO|long|12|120",
      "TIMESTAMP|short|7|2",
      "TMAXCON|long|12|0",
      "TSTODPRCT|short|7|90",
      "VFTYP|text|2|V",
      "XMCREATE|short|2|1",
      "KYTDIAEXTENDEDMODE|text|4|0",
      "JOBIDSTAMP|text|4|0",
      "RLOGMAXSIZE|long|12|2000000",
      "NUMRLOGS|long|12|NOLIMIT",
      "RLCOMAXSIZE|long|12|200000",
      "RLSTATMAXSIZE|long|12|2000000",
      "NUMRLSTATS|long|12|NOLIMIT",
      "RLDBMAXSIZE|long|12|1000000",
      "BACKUPINT|long|12|720",
      "CDWAIT|short|7|0",
      "BRICKOFTPTI|long|12|20",
      "CODEIN|text|2|A",
      "CODEOUT|text|2|X",
      "USERFIELD|text|10| ",
      "EERP_IN|text|10|NORMAL",
      "EERP_OUT|text|10|NORMAL",
      "RETRY|text|40|00/00/00 00:01:00",
      "TRACEOFF|long|12|0",
      "TRACEALWAYSTOFILE|long|12|0",
      "TRACECONNERR|long|12|0",
      "TRACEMAXITEM|long|12|1024",
      "TRACEMAXSIZE|long|12|1024",
      "AGENT_LOGLEVEL|short|7|0",
      "AGENT_HEARTBEAT|short|7|0",
      "DIALCOUNT|long|12|5",
      "DIALRTIME|long|12|5",
      "REDOMAXSIZE|long|12|1000000",
      "NUMREDOLOGS|long|12|NOLIMIT",
};

// A fresh station database in a private directory: catalogue, schema, default rows.
class ParamsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    reset();
    ASSERT_TRUE(test::open_station_db(dir_, {{"DSN_MON_INIT", dir_.file("rdmini.dat")}, {"DSN_KYT_LOG", dir_.file("rlog.log")}}));
    ASSERT_EQ(rpdini(), 0);
  }
  void TearDown() override { reset(); }
  static void reset() {
    rpdprm_reset_for_tests();
    test::forget_station();
  }
  // The VAL of a row straight from the table.
  static std::string row(const char* name) {
    char key[20] = {}, val[40] = {};
    std::strncpy(key, name, sizeof key - 1);
    const HostVar vars[] = {{1, key}, {1, val}};
    int32_t rc = rpdsql_run("DECLARE TPT CURSOR FOR SELECT VAL FROM PT WHERE NAME = ?", vars);
    rpdsql_run("CLOSE TPT");
    return rc == 0 ? std::string(val) : "<" + std::to_string(rc) + ">";
  }
  static std::string get_text(const char* name) {
    char buf[256] = {};
    const int32_t rc = rpdprm("get", name, buf);
    return rc == 0 ? std::string(buf) : "<" + std::to_string(rc) + ">";
  }
  test::TempDir dir_;
};

std::vector<std::string>* g_lines = nullptr;
int32_t collect(const char* name, const char* value) {
  g_lines->push_back(std::string(name) + "=" + value);
  return 7;
}

TEST_F(ParamsTest, DefaultTableIsWrittenRowByRowInOrder) {
  ASSERT_EQ(rpdipr(nullptr), 0);
  const auto defaults = default_parameters();
  ASSERT_EQ(defaults.size(), std::size(kExpectedDefaults));
  const char* kTypes[] = {"", "text", "", "", "long", "", "", "", "short"};
  for (size_t i = 0; i < defaults.size(); ++i) {
    const ParmDefault& d = defaults[i];
    EXPECT_EQ(std::string(d.name) + "|" + kTypes[d.type] + "|" + std::to_string(d.len) + "|" +
                  d.value,
              kExpectedDefaults[i])
        << "row " << i;
    EXPECT_EQ(row(d.name), d.value) << d.name;
  }
  // A second run fails on the first row, with its trace line, and leaves the rows as they are.
  test::TraceCapture trace;
  EXPECT_EQ(rpdipr(nullptr), 99);
  EXPECT_TRUE(trace.has("rpdipr, ipr_store: Unable to INSERT parameter \"ACTPCOUNT\" (rc ="));
  EXPECT_EQ(row("ACTPCOUNT"), "10");
}

TEST_F(ParamsTest, GetConvertsByTypeAndCachesWithTheDtconnRule) {
  ASSERT_EQ(rpdipr(nullptr), 0);
  int32_t l = -1;
  EXPECT_EQ(rpdprm("get", "maxrecl", &l), 0);
  EXPECT_EQ(l, 99999);
  EXPECT_EQ(rpdprm("get", "NUMRLOGS", &l), 0);  // "NOLIMIT"
  EXPECT_EQ(l, 0);
  int16_t s = -1;
  EXPECT_EQ(rpdprm("get", "Sleep", &s), 0);
  EXPECT_EQ(s, 30);
  EXPECT_EQ(get_text("VDSNCHAR"), "ODETTE");
  EXPECT_EQ(get_text("DTCONN03"), "00/00/00 00:03:00");
  // Names longer than 19 characters are cut to 19.
  ASSERT_EQ(rpdsql_run("INSERT INTO PT VALUES('ABCDEFGHIJKLMNOPQRS', 1, 10, 'long')"), 0);
  EXPECT_EQ(get_text("abcdefghijklmnopqrsTUVWXYZ"), "long");
  EXPECT_EQ(get_text("DTCONN04"), "<12>");
  EXPECT_EQ(get_text("dtconn04"), "<20>");
  EXPECT_EQ(get_text("NOSUCHNAME"), "<12>");
  EXPECT_EQ(get_text("NOSUCHNAME"), "<12>");
  EXPECT_EQ(rpdprm("fetch", "SLEEP", &s), 8);
  EXPECT_EQ(rpdprm("GET", "SLEEP", &s), 8);
  // A cached value is served from the cache: another writer's change of the row is not seen.
  ASSERT_EQ(rpdsql_run("UPDATE PT SET VAL = '77' WHERE NAME = 'SLEEP'"), 0);
  EXPECT_EQ(rpdprm("get", "SLEEP", &s), 0);
  EXPECT_EQ(s, 30);
}

TEST_F(ParamsTest, SetAndOpsetWriteRowAndCache) {
  ASSERT_EQ(rpdipr(nullptr), 0);
  char text[] = "SLEEP=";
  EXPECT_EQ(rpdprm("opset", nullptr, text), 16);
  char sleep[] = "sleep=45";
  EXPECT_EQ(rpdprm("opset", nullptr, sleep), 0);
  EXPECT_EQ(row("SLEEP"), "45");
  int16_t s = 0;
  EXPECT_EQ(rpdprm("get", "SLEEP", &s), 0);
  EXPECT_EQ(s, 45);
  // A text longer than LEN keeps LEN - 1 characters (VFTYP: LEN 2).
  char vf[] = "FIXED";
  EXPECT_EQ(rpdprm("set", "VFTYP", vf), 0);
  EXPECT_EQ(row("VFTYP"), "F");
  EXPECT_EQ(get_text("VFTYP"), "F");
  int32_t big = 123456;
  EXPECT_EQ(rpdprm("set", "MAXRECL", &big), 0);
  EXPECT_EQ(row("MAXRECL"), "123456");
  int16_t sh = -3;
  EXPECT_EQ(rpdprm("set", "SLEEP", &sh), 0);
  EXPECT_EQ(row("SLEEP"), "-3");
  EXPECT_EQ(rpdprm("set", "NOSUCHNAME", vf), 12);
  char miss[] = "NOSUCHNAME=1";
  EXPECT_EQ(rpdprm("opset", nullptr, miss), 12);
  // A row of an unexpected type.
  ASSERT_EQ(rpdsql_run("INSERT INTO PT VALUES('ODD', 3, 5, 'x')"), 0);
  EXPECT_EQ(get_text("ODD"), "<99>");
  // After writing NUMRLSTATS the snapshot's statistics-log count is still 0.
  int32_t n = 9;
  EXPECT_EQ(rpdprm("set", "NUMRLSTATS", &n), 0);
  EXPECT_EQ(row("NUMRLSTATS"), "9");
  EXPECT_EQ(rpdprm_snapshot().numrlstat, 0);
}

TEST_F(ParamsTest, SnapshotIsTakenOnceWithItsRules) {
  ASSERT_EQ(rpdipr(nullptr), 0);
  ASSERT_EQ(rpdsql_run("UPDATE PT SET VAL = 'yes' WHERE NAME = 'CHECKMAXPSESSIONS'"), 0);
  ASSERT_EQ(rpdsql_run("UPDATE PT SET VAL = '12' WHERE NAME = 'NUMRLSTATS'"), 0);
  EXPECT_FALSE(rpdprm_snapshot().taken);
  int16_t s = 0;
  ASSERT_EQ(rpdprm("get", "SLEEP", &s), 0);
  const ParmSnapshot& snap = rpdprm_snapshot();
  EXPECT_TRUE(snap.taken);
  EXPECT_EQ(snap.montimeout, 700);
  EXPECT_EQ(snap.maxrecl, 99999);
  EXPECT_EQ(snap.bbprio, 90);
  EXPECT_EQ(snap.numrlogs, 0);   // NOLIMIT
  EXPECT_EQ(snap.numrlstat, 0);  // looked for under NUMRLSTAT
  EXPECT_EQ(snap.checkmaxpsessions, 1);
  EXPECT_EQ(snap.vftyp, 'V');
  EXPECT_EQ(snap.autodecryp, 'Y');
  EXPECT_STREQ(snap.recerrex, "recerrex.sh");
  EXPECT_EQ(snap.fixed120, 120);
  int32_t m = 5;
  ASSERT_EQ(rpdprm("set", "MAXRECL", &m), 0);
  EXPECT_EQ(snap.maxrecl, 99999);  // written later: the snapshot stays
}

TEST_F(ParamsTest, SpecialNames) {
  ASSERT_EQ(rpdipr(nullptr), 0);
  EXPECT_EQ(get_text("KYTMODE"), "n");
  char x[] = "KYTMODE=x";
  EXPECT_EQ(rpdprm("opset", nullptr, x), 16);
  char t[] = "kytmode=t";
  EXPECT_EQ(rpdprm("opset", nullptr, t), 0);
  EXPECT_EQ(rpdprm_mode(), 't');
  int16_t flag = 0;
  EXPECT_EQ(rpdprm("get", "TESTMODE", &flag), 0);
  EXPECT_EQ(flag, 1);
  int16_t off = 0;
  EXPECT_EQ(rpdprm("set", "TESTMODE", &off), 0);
  EXPECT_EQ(rpdprm_mode(), 'n');
  char w[] = "w";
  EXPECT_EQ(rpdprm("set", "KYTMODE", w), 0);
  int16_t on = 1;
  EXPECT_EQ(rpdprm("set", "TESTMODE", &on), 0);
  EXPECT_EQ(rpdprm_mode(), 'w');  // other modes stay
  EXPECT_EQ(rpdprm_testmode(), 1);
  // KYTENV: written before it was read is 4; read, it is the file of the store.
  char env[] = "KYTENV=/nowhere/kytenv.dat";
  EXPECT_EQ(rpdprm("opset", nullptr, env), 4);
  EXPECT_EQ(get_text("KYTENV"), dir_.file("kytenv.dat"));
  // FORCEDEND: a non-zero value sets the run mode "s".
  char fe[] = "FORCEDEND=1";
  EXPECT_EQ(rpdprm("opset", nullptr, fe), 0);
  EXPECT_EQ(row("FORCEDEND"), "1");
  EXPECT_EQ(rpdprm_mode(), 's');
  int16_t zero = 0;
  EXPECT_EQ(rpdprm("set", "FORCEDEND", &zero), 0);
  EXPECT_EQ(row("FORCEDEND"), "0");
  ASSERT_EQ(rpdsql_run("DELETE FROM PT WHERE NAME = 'FORCEDEND'"), 0);
  EXPECT_EQ(rpdprm("get", "FORCEDEND", &flag), 99);
}

TEST_F(ParamsTest, ListReportsSettingsThenRows) {
  ASSERT_EQ(rpdipr(nullptr), 0);
  std::vector<std::string> lines;
  g_lines = &lines;
  EXPECT_EQ(rpdprm("list", "ALL", reinterpret_cast<void*>(&collect)), 7);
  ASSERT_EQ(lines.size(), default_parameters().size() + 3);
  EXPECT_EQ(lines[0], "KYTMODE=n");
  EXPECT_EQ(lines[1], "TESTMODE=0");
  EXPECT_EQ(lines[2], "KYTENV=" + dir_.file("kytenv.dat"));
  EXPECT_NE(std::find(lines.begin(), lines.end(), "NUMRLOGS=NOLIMIT"), lines.end());
  lines.clear();
  EXPECT_EQ(rpdprm("list", "sleep", reinterpret_cast<void*>(&collect)), 7);
  EXPECT_EQ(rpdprm("list", "NOSUCHNAME", reinterpret_cast<void*>(&collect)), 12);
  EXPECT_EQ(lines, std::vector<std::string>{"SLEEP=30"});
  g_lines = nullptr;
  testing::internal::CaptureStdout();
  EXPECT_EQ(rpdprm("list", "SLEEP", nullptr), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "KYT Parameter SLEEP = 30\n");
}

TEST_F(ParamsTest, InitialCommandFileSetsParametersAndWakesTheMonitor) {
  test::write_file(dir_.file("rdmini.dat"),
                   "# start-up parameters\r\n"
                   "SETPARM SLEEP=12\r\n"
                   "sp PARM=maxrecl=4711\n"
                   "setparm NOSUCHNAME=1\n"
                   "spx SLEEP=99\n"
                   "Setparm VDSNCHAR=OFTP\n"
                   "setparm\n");
  platform::NamedSemaphore wake;
  ASSERT_TRUE(wake.create(monitor_wakeup_name().c_str()));
  test::TraceCapture trace;
  ASSERT_EQ(rpdipr(nullptr), 0);
  EXPECT_EQ(row("SLEEP"), "12");
  EXPECT_EQ(row("MAXRECL"), "4711");
  EXPECT_EQ(row("VDSNCHAR"), "OFTP");
  EXPECT_TRUE(trace.has("OK_READ SETPARM SLEEP=12"));
  EXPECT_TRUE(trace.has("OK_INVALID_SYNTAX setparm NOSUCHNAME=1 (rc = 12)"));
  EXPECT_FALSE(trace.has("spx"));
  EXPECT_FALSE(trace.has("start-up"));
  // The station log has every line read, and the refused one with its code.
  const std::string log = test::read_file(kytlog_file());
  EXPECT_NE(log.find(" I OK_READ Command read: SETPARM SLEEP=12\n"), std::string::npos) << log;
  EXPECT_NE(log.find(" I OK_READ Command read: sp PARM=maxrecl=4711\n"), std::string::npos);
  EXPECT_NE(log.find(" E OK_INVALID_SYNTAX Command refused (rc = 12): setparm NOSUCHNAME=1\n"),
            std::string::npos)
      << log;
  EXPECT_EQ(log.find("spx"), std::string::npos);
  // One release per "opset" run (three good, one refused).
  int woken = 0;
  while (wake.try_wait()) ++woken;
  EXPECT_EQ(woken, 4);
  // Another station's directory has another name.
  EXPECT_NE(monitor_wakeup_name(dir_.path()), monitor_wakeup_name(dir_.file("other")));
}

TEST_F(ParamsTest, MissingInitialCommandFileIsSuccess) {
  ASSERT_EQ(lpdsn_set("DSN_MON_INIT", dir_.file("none/rdmini.dat").c_str()), 0);
  EXPECT_EQ(rpdipr(nullptr), 0);
  EXPECT_EQ(row("SLEEP"), "30");
  // With no monitor waiting the wake-up is no error.
  char s[] = "SLEEP=31";
  EXPECT_EQ(rpdprm("opset", nullptr, s), 0);
}

// The second process of ForcedEndOfAnotherProcessIsSeenAtOnce: writes FORCEDEND=1 and
// SLEEP=5 into the database of the environment file args[0].
TEST(SecondProcess, ParamsForcedEnd) {
  std::vector<std::string> args;
  if (!test::in_role("ParamsForcedEnd", &args)) GTEST_SKIP() << "a second process of ParamsTest";
  bool ok = lpdsn_init_file(args.at(0)) == 0 && lpdsn_set("DB", args.at(1).c_str()) == 0;
  char fe[] = "FORCEDEND=1", sl[] = "SLEEP=5";
  ok = ok && rpdprm("opset", nullptr, fe) == 0 && rpdprm("opset", nullptr, sl) == 0;
  rpdsql_run("CLOSE DB");
  test::end_role(ok ? 0 : 1);
}

TEST_F(ParamsTest, ForcedEndOfAnotherProcessIsSeenAtOnce) {
  ASSERT_EQ(rpdipr(nullptr), 0);
  int16_t fe = -1, s = 0;
  ASSERT_EQ(rpdprm("get", "FORCEDEND", &fe), 0);
  ASSERT_EQ(rpdprm("get", "SLEEP", &s), 0);
  EXPECT_EQ(fe, 0);
  ASSERT_EQ(rpdsql_run("CLOSE DB"), 0);  // the other process needs the tables
  ASSERT_EQ(test::run_role("ParamsForcedEnd", {dir_.file("kytenv.dat"), dir_.path()}), 0);
  EXPECT_EQ(rpdprm("get", "FORCEDEND", &fe), 0);
  EXPECT_EQ(fe, 1);
  EXPECT_EQ(rpdprm("get", "SLEEP", &s), 0);
  EXPECT_EQ(s, 30);  // cached before the other process wrote it
}

}  // namespace
}  // namespace kyt
