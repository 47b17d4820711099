// The command table cache on a station database with a few jobs: fields read through the
// rows a job refers to, the Originator rules, forgetting, writing, and rpdch's refusals.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "isam/isam.h"
#include "kyt/kyt.h"
#include "runtime/lpdsn.h"
#include "services/rpdcch.h"
#include "sql/sql.h"
#include "sql/isa.h"
#include "sql/tables/tables.h"
#include "sql/tables/tabmod.h"
#include "sql/trace_capture.h"
#include "stationdb.h"
#include "testutil.h"

namespace kyt {
namespace {

class CommandCacheTest : public ::testing::Test {
 protected:
  void SetUp() override {
    reset();
    ASSERT_TRUE(test::open_station_db(dir_));
    ASSERT_EQ(rpdini(), 0);
    // 10 SE by user alice, 11 SK of it, 12 SE by operator op7, 13 SK of 12, 14 OK, 15 IE.
    kt(10, "SE"), kt(11, "SK"), kt(12, "SE"), kt(13, "SK"), kt(14, "OK"), kt(15, "IE");
    se(10, "alice", ""), se(12, "", "op7");
    sk(11, 10), sk(13, 12);
    kyt_vd_elem vd{};
    vd.cn = 10;
    std::strcpy(vd.dsnlocal, "/data/out.txt");
    std::strcpy(vd.recfm, "F");
    vd.maxrecl = 80;
    std::strcpy(vd.disp, "K");
    std::strcpy(vd.code, "A");
    std::strcpy(vd.statusdsn, "o");
    ASSERT_EQ(insVDelem(&vd), 0);
    kyt_ok_elem ok{};
    ok.cn = 14;
    std::strcpy(ok.cid, "op9");
    ok.cpid = 4242;
    std::strcpy(ok.textok, "STATUS");
    ASSERT_EQ(insOKelem(&ok), 0);
  }
  void TearDown() override { reset(); }
  static void reset() {
    rpdcch_reset_for_tests();
    test::forget_station();
  }
  static void kt(int32_t cn, const char* type) {
    kyt_kt_elem e{};
    e.cn = cn;
    std::strcpy(e.cmdtype, type);
    std::strcpy(e.dtcreated, "2026/03/01 10:00:00");
    std::strcpy(e.status, "qn");
    ASSERT_EQ(insKTelem(&e), 0);
  }
  static void se(int32_t cn, const char* uid, const char* cid) {
    kyt_se_elem e{};
    e.cn = cn;
    std::strcpy(e.uidsender, uid);
    std::strcpy(e.cidsender, cid);
    std::strcpy(e.sidsender, "KYT1");
    std::strcpy(e.infotype, "F");
    ASSERT_EQ(insSEelem(&e), 0);
  }
  static void sk(int32_t cn, int32_t cnse) {
    kyt_sk_elem e{};
    e.cn = cn;
    e.cnse = cnse;
    std::strcpy(e.sidneighb, "P1");
    std::strcpy(e.siddest, "P1");
    std::strcpy(e.vdsn, "OUT");
    std::strcpy(e.dtavail, "2026/03/01 10:00:00");
    std::strcpy(e.cntbyte, "0");
    ASSERT_EQ(tm::insert(Tab::kSK, "test", &e), 0);
  }
  static std::string get(const char* cn, const char* field) {
    char v[300] = {};
    const int32_t rc = rpdcch(123, cn, field, v, sizeof v);
    return rc == 0 ? std::string(v) : "<" + std::to_string(rc) + ">";
  }
  test::TempDir dir_;
};

TEST_F(CommandCacheTest, OriginatorFollowsTheJobToItsStarter) {
  EXPECT_EQ(get("11", "Originator"), "user: alice");  // SK -> its SE, created by a user
  EXPECT_EQ(get("10", "Originator"), "user: alice");
  EXPECT_EQ(get("13", "Originator"), "oper: op7");
  EXPECT_EQ(get("14", "Originator"), "oper: op9(4242)");
  EXPECT_EQ(get("15", "Originator"), "KYT");
  // An SE that stems from an incoming entry belongs to the station.
  ASSERT_EQ(rpdsql_run("UPDATE SE SET CNIE = 15 WHERE CN = 12"), 0);
  rpdcch(126, "12", nullptr, nullptr, 0);
  rpdcch(126, "13", nullptr, nullptr, 0);
  EXPECT_EQ(get("13", "Originator"), "KYT");
  // A value is cut to the buffer.
  char small[5] = {};
  EXPECT_EQ(rpdcch(123, "11", "Originator", small, sizeof small), 0);
  EXPECT_STREQ(small, "user");
}

TEST_F(CommandCacheTest, FieldsComeFromTheRowsAJobRefersTo) {
  EXPECT_EQ(get("10", "STATUS"), "qn");
  EXPECT_EQ(get("10", "DTCREATED"), "2026/03/01 10:00:00");
  EXPECT_EQ(get("10", "DSNLOCAL"), "/data/out.txt");  // VD of the SE
  EXPECT_EQ(get("11", "MAXRECL"), "80");              // VD through the SK's CNSE
  EXPECT_EQ(get("11", "CODE_VD"), "A");
  EXPECT_EQ(get("11", "UIDSENDER"), "alice");         // SE through CNSE
  EXPECT_EQ(get("11", "SIDNEIGHB"), "P1");
  EXPECT_EQ(get("14", "TEXTOK"), "STATUS");
  test::TraceCapture trace;
  EXPECT_EQ(get("10", "NOPE"), "<4>");
  EXPECT_TRUE(trace.has("rpdcch, cch_from_db: invalid field >SE NOPE<"));
  EXPECT_EQ(get("99", "STATUS"), "<4>");   // no such command
  EXPECT_EQ(get("12", "DSNLOCAL"), "<4>");  // no VD row behind it
  EXPECT_EQ(rpdcch(122, "10", "STATUS", nullptr, 0), 8);
  EXPECT_EQ(rpdcch(128, "10", "STATUS", nullptr, 0), 8);
}

TEST_F(CommandCacheTest, ForgetPutAndWrite) {
  EXPECT_EQ(get("10", "STATUS"), "qn");
  ASSERT_EQ(rpdsql_run("UPDATE KT SET STATUS = 'en' WHERE CN = 10"), 0);
  EXPECT_EQ(get("10", "STATUS"), "qn");  // cached
  EXPECT_EQ(rpdcch(126, "ALL", nullptr, nullptr, 0), 0);
  EXPECT_EQ(rpdcch_cached_commands(), 0);
  EXPECT_EQ(get("10", "STATUS"), "en");  // the cache is made again
  EXPECT_EQ(rpdcch_cached_commands(), 1);
  char v[] = "xx";
  EXPECT_EQ(rpdcch(124, "10", "STATUS", v, sizeof v), 0);
  EXPECT_EQ(get("10", "STATUS"), "xx");
  // Put and write: the row changes, then the cache.
  char done[] = "dn";
  EXPECT_EQ(rpdcch(125, "10", "STATUS", done, sizeof done), 0);
  char err[] = "17";
  EXPECT_EQ(rpdcch(125, "10", "ERRORCODE", err, sizeof err), 0);
  char when[] = "2026/04/01 08:00:00";
  EXPECT_EQ(rpdcch(125, "10", "DTSCHEDULE", when, sizeof when), 0);
  kyt_kt_elem row{};
  ASSERT_EQ(getKTelemByCn(10, &row), 0);
  EXPECT_STREQ(row.status, "dn");
  EXPECT_EQ(row.errorcode, 17);
  EXPECT_STREQ(row.dtschedule, "2026/04/01 08:00:00");
  // A failed write leaves the cache as it was.
  char bad[] = "not a date";
  EXPECT_EQ(rpdcch(125, "10", "DTSCHEDULE", bad, sizeof bad), 4);
  EXPECT_EQ(get("10", "DTSCHEDULE"), "2026/04/01 08:00:00");
  EXPECT_EQ(rpdcch(125, "10", "UIDSENDER", v, sizeof v), 4);
}

TEST_F(CommandCacheTest, RpdchServesTheCommandRowByColumnNumber) {
  test::TraceCapture trace;
  char v[32] = {};
  EXPECT_EQ(rpdch(123, 0, 8, v, sizeof v), 8);
  EXPECT_TRUE(trace.has("rpdcch : cn = 0 ! ( a: 123 , field: 8"));
  EXPECT_EQ(rpdch(127, 0, 0, nullptr, 0), 0);
  EXPECT_EQ(rpdch(122, 10, 8, v, sizeof v), 8);
  EXPECT_EQ(rpdch(128, 10, 8, v, sizeof v), 8);
  EXPECT_EQ(rpdch(123, 10, 7, v, sizeof v), 12);
  EXPECT_TRUE(trace.has("rpdch invalid : 123 10 7"));
  EXPECT_EQ(rpdch(123, 10, 8, v, sizeof v), 0);
  EXPECT_STREQ(v, "qn");
  EXPECT_EQ(rpdch(123, 99, 8, v, sizeof v), -1);
  EXPECT_TRUE(trace.has("dINITKT 99 8"));
  char held[] = "O";
  EXPECT_EQ(rpdch(125, 10, 9, held, sizeof held), 0);
  kyt_kt_elem row{};
  ASSERT_EQ(getKTelemByCn(10, &row), 0);
  EXPECT_STREQ(row.heldby, "O");
  EXPECT_EQ(rpdch(125, 10, 8, held, sizeof held), 12);
}

}  // namespace
}  // namespace kyt
