// The station and routing table import: the sample files of a realistic station read back
// row by row, the consistency check, comments and quotes, number conversion and values too
// long for their columns (named with their line), a directory in name order, a second
// import updating rows, and the failures that stop an import.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "kyt/kyt.h"
#include "platform/platform.h"
#include "services/services.h"
#include "sql/sql.h"
#include "sql/trace_capture.h"
#include "stationdb.h"
#include "testutil.h"

namespace kyt {
namespace {

class ImportTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(test::open_station_db(dir_));
    ASSERT_EQ(rpdini(), 0);
  }
  void TearDown() override {
    rpdsql_run("CLOSE DB");
    test::forget_station();
  }

  // Writes `text` as file `name` of the test directory and imports it.
  int32_t stations(const std::string& name, const std::string& text) {
    test::write_file(dir_.file(name), text);
    return import_stations(dir_.file(name).c_str(), out_);
  }
  int32_t routes(const std::string& name, const std::string& text) {
    test::write_file(dir_.file(name), text);
    return import_routes(dir_.file(name).c_str(), out_);
  }
  std::string said() const {
    std::string all;
    for (const std::string& m : messages_) all += m;
    return all;
  }
  int32_t count(Tab t) {
    int32_t n = 0;
    EXPECT_EQ(tm::count(t, "count", "TCOUNT", nullptr, {}, &n), 0);
    return n;
  }
  kyt_st_elem st(const char* sid) {
    kyt_st_elem e{};
    EXPECT_EQ(getSTelemBySid(sid, &e), 0) << sid;
    return e;
  }
  kyt_op_elem op(const char* sid) {
    kyt_op_elem e{};
    EXPECT_EQ(getOPelemBySid(sid, &e), 0) << sid;
    return e;
  }

  test::TempDir dir_;
  kyt_st_elem spare_st_{};
  kyt_op_elem spare_op_{};
  std::vector<std::string> messages_;
  ImportOut out_ = [this](const char* text) { messages_.emplace_back(text); };
};

TEST_F(ImportTest, SampleStationAndRoutesReadBack) {
  const std::string src = KYT_SOURCE_DIR;
  ASSERT_EQ(import_stations((src + "/samples/stations.txt").c_str(), out_), 0) << said();
  EXPECT_NE(said().find("25 records of \""), std::string::npos) << said();
  EXPECT_EQ(count(Tab::kST), 6);
  EXPECT_EQ(count(Tab::kOP), 6);
  EXPECT_EQ(count(Tab::kNK), 4);
  EXPECT_EQ(count(Tab::kRT), 2);

  kyt_st_elem s = st("ZULIEF01");  // single quotes around double quotes, case kept
  EXPECT_STREQ(s.statname, "Zulieferer \"Nord\" GmbH");
  EXPECT_STREQ(s.netid, "O0013000000ZULIEF01");
  s = st("CLEARING");  // a tab between two pairs
  EXPECT_STREQ(s.statname, "Clearing centre");
  EXPECT_STREQ(s.phone, "+49 69 5550");
  EXPECT_STREQ(st("KYTHUB").sidtyp, "L");

  kyt_op_elem o = op("AUTOWERK");
  EXPECT_EQ(o.sendblocks, 2000);
  EXPECT_EQ(o.oexbuf, 4096);
  EXPECT_EQ(o.retry, 3);
  EXPECT_EQ(o.flagcomp, 1);
  EXPECT_STREQ(o.userfield, "Plant 7");
  EXPECT_STREQ(o.useuls, "OPTIONAL");
  o = op("ZULIEF01");
  EXPECT_STREQ(o.pswfrom, "zN0rd1");  // quoted: case kept
  EXPECT_EQ(o.recvblocks, 500);
  EXPECT_STREQ(op("SMALL01").pswfrom, "SM1A");
  EXPECT_STREQ(op("CLEARING").odetteid, "O0013000000CLEARING");

  kyt_tc_elem tc{};
  ASSERT_EQ(tm::get(Tab::kTC, "t", "TTC", "SID = ? AND N = ?", {tm::arg("AUTOWERK"), tm::arg(2)},
                    &tc),
            0);
  EXPECT_STREQ(tc.inaddr, "192.0.2.17");  // the comment after the record is not a value
  EXPECT_EQ(tc.port, 3305);
  EXPECT_EQ(tc.rcv_n, 1);
  ASSERT_EQ(tm::get(Tab::kTC, "t", "TTC", "SID = ? AND N = ?", {tm::arg("AUTOWERK"), tm::arg(1)},
                    &tc),
            0);
  EXPECT_STREQ(tc.inaddr, "oftp.autowerk.example");  // quoted: lower case kept
  EXPECT_STREQ(tc.security, "TLS");

  kyt_xp_elem xp{};
  ASSERT_EQ(tm::get(Tab::kXP, "t", "TXP", "SID = ?", {tm::arg("AUTOWERK")}, &xp), 0);
  EXPECT_EQ(xp.l3packetsz, 1024);
  EXPECT_STREQ(xp.alias, "AUTOWERK ISDN");
  EXPECT_STREQ(xp.cug, "00");
  EXPECT_EQ(xp.rcvtimeout, 120);

  kyt_nk_elem nk{};
  ASSERT_EQ(tm::get(Tab::kNK, "t", "TNK", "SID = ? AND PROTOCOL = ?",
                    {tm::arg("AUTOWERK"), tm::arg("X")}, &nk),
            0);
  EXPECT_EQ(nk.priority, 20);
  EXPECT_EQ(nk.delay, 300);
  EXPECT_STREQ(nk.autodial, "N");

  kyt_lx_elem lx{};
  ASSERT_EQ(getLXelemBySidName("AUTOWERK", "NOTE", &lx), 0);
  EXPECT_STREQ(lx.val, "gate 4*");  // quoted "*" is a value, not a comment
  EXPECT_EQ(lx.type, 1);
  EXPECT_EQ(lx.len, 30);
  ASSERT_EQ(getLXelemBySidName("AUTOWERK", "SENDBLOCKS", &lx), 0);
  EXPECT_STREQ(lx.val, "2000");
  EXPECT_EQ(lx.type, 4);  // the type and length of the default parameter
  EXPECT_EQ(lx.len, 12);
  ASSERT_EQ(getLXelemBySidName("KYTHUB", "CODEIN", &lx), 0);
  EXPECT_STREQ(lx.val, "A");

  kyt_rt_elem rt{};
  ASSERT_EQ(getRTelemBySid("SMALL02", &rt), 0);
  EXPECT_STREQ(rt.sidneighb, "CLEARING");
  EXPECT_EQ(rt.priority, 1);

  ASSERT_EQ(import_routes((src + "/samples/routes.txt").c_str(), out_), 0) << said();
  EXPECT_EQ(count(Tab::kTR), 5);
  kyt_tr_elem tr{};
  ASSERT_EQ(tm::get(Tab::kTR, "t", "TTR", "SIDORG = ?", {tm::arg("*")}, &tr), 0);
  EXPECT_STREQ(tr.direction, "R");
  EXPECT_STREQ(tr.sidneighb, "AUTOWERK");
  EXPECT_STREQ(tr.vdsn, "INVOIC");
  ASSERT_EQ(tm::get(Tab::kTR, "t", "TTR", "SIDNEIGHB = ? AND SIDDEST = ?",
                    {tm::arg("AUTOWERK"), tm::arg("AUTOWERK")}, &tr),
            0);
  EXPECT_STREQ(tr.vdsn, "Drawings.v2");
  // The same files again: every row updated in place, none added, no failure.
  messages_.clear();
  ASSERT_EQ(import_stations((src + "/samples/stations.txt").c_str(), out_), 0) << said();
  ASSERT_EQ(import_routes((src + "/samples/routes.txt").c_str(), out_), 0) << said();
  EXPECT_EQ(count(Tab::kST), 6);
  EXPECT_EQ(count(Tab::kTR), 5);
  EXPECT_EQ(count(Tab::kLX), 5);
}

TEST_F(ImportTest, ConsistencyCheckWritesNothing) {
  // The same ODETTEID in another case, both unquoted: 9, and the ST line before it is not
  // written either.
  EXPECT_EQ(stations("oid.txt",
                     "ST SID=P1 NETID=N1 STATNAME=ONE\n"
                     "OP SID=P1 ODETTEID=O001P1 PSWFROM=A PSWTO=B\n"
                     "op sid=p2 odetteid=o001p1 pswfrom=a pswto=b\n"),
            9);
  EXPECT_NE(said().find("inconsistent line in station table: op sid=p2 odetteid=o001p1"),
            std::string::npos)
      << said();
  EXPECT_EQ(count(Tab::kST), 0);
  EXPECT_EQ(count(Tab::kOP), 0);
  // The same SID: 8.
  EXPECT_EQ(stations("sid.txt",
                     "OP SID=P1 ODETTEID=O1 PSWFROM=A PSWTO=B\n"
                     "OP SID=p1 ODETTEID=O2 PSWFROM=A PSWTO=B * again\n"),
            8);
  // Quoted values keep their case, so these differ; a commented-out OP line is no OP line.
  messages_.clear();
  EXPECT_EQ(stations("quoted.txt",
                     "OP SID=P1 ODETTEID=\"O001p1\" PSWFROM=A PSWTO=B\n"
                     "OP SID=P2 ODETTEID=O001P1 PSWFROM=A PSWTO=B\n"
                     "* OP SID=P2 ODETTEID=O001P1\n"
                     "   * OP SID=P2 ODETTEID=O001P1\n"),
            0)
      << said();
  EXPECT_STREQ(op("P1").odetteid, "O001p1");
  EXPECT_EQ(count(Tab::kOP), 2);
}

TEST_F(ImportTest, CommentsQuotesAndBlanks) {
  ASSERT_EQ(stations("c.txt",
                     "\n"
                     "   \t\n"
                     "ST SID=S1 NETID=N1 STATNAME=NAME * PHONE=123\n"
                     "ST SID=S2 NETID=N2 STATNAME=\"a * b  c\" PHONE='x\"*y'\n"
                     "st sid=s3 netid=n3 statname=lower\r\n"),
            0)
      << said();
  EXPECT_STREQ(st("S1").phone, "");  // after the comment's "*"
  EXPECT_STREQ(st("S2").statname, "a * b  c");
  EXPECT_STREQ(st("S2").phone, "x\"*y");
  EXPECT_STREQ(st("S3").statname, "LOWER");  // unquoted: upper case; the CR dropped
  EXPECT_EQ(said(), "3 records of \"" + dir_.file("c.txt") + "\" imported\n");
}

TEST_F(ImportTest, NumbersAndLengthsNameTheLine) {
  const std::string base =
      "ST SID=S1 NETID=N1 STATNAME=ONE\n"
      "OP SID=S1 ODETTEID=O1 PSWFROM=A PSWTO=B SENDBLOCKS=-7\n";
  EXPECT_EQ(stations("n.txt", base + "\n\nOP SID=S2 ODETTEID=O2 SENDBLOCKS=many\n"), 16);
  EXPECT_NE(said().find("store_OP: value of SENDBLOCKS is not a number: 'MANY'"),
            std::string::npos)
      << said();
  EXPECT_NE(said().find("line 5 of \"" + dir_.file("n.txt") + "\" not imported (rc = 16)"),
            std::string::npos)
      << said();
  EXPECT_EQ(op("S1").sendblocks, -7);  // the lines before stay
  EXPECT_EQ(getOPelemBySid("S2", &spare_op_), KYT_SQL_NOT_FOUND);

  EXPECT_EQ(stations("n2.txt", "OP SID=S2 ODETTEID=O2 SENDBLOCKS=12x\n"), 16);
  EXPECT_EQ(stations("n3.txt", "OP SID=S2 ODETTEID=O2 SENDBLOCKS=\"\"\n"), 16);
  // 32767 fits a SMALLINT, 32768 does not; 2147483648 does not fit an INTEGER.
  EXPECT_EQ(stations("n4.txt", "NK SID=S1 FTP=O PROTOCOL=T PRIORITY=32767\n"), 0) << said();
  EXPECT_EQ(stations("n5.txt", "NK SID=S1 FTP=O PROTOCOL=T PRIORITY=32768\n"), 17);
  EXPECT_NE(said().find("store_NK: value of PRIORITY is too large"), std::string::npos);
  EXPECT_EQ(stations("n6.txt", "OP SID=S1 ODETTEID=O1 RECVBLOCKS=2147483648\n"), 17);
  // STATNAME is CHAR(31): 30 characters fit, 31 do not.
  const std::string thirty(30, 'X');
  EXPECT_EQ(stations("l1.txt", "ST SID=S1 NETID=N1 STATNAME=" + thirty + "\n"), 0) << said();
  EXPECT_STREQ(st("S1").statname, thirty.c_str());
  messages_.clear();
  EXPECT_EQ(stations("l2.txt", "* long\nST SID=S1 NETID=N1 STATNAME=" + thirty + "Y\n"), 17);
  EXPECT_NE(said().find("store_ST: value of STATNAME is too long for its column (31 "
                        "characters, at most 30)"),
            std::string::npos)
      << said();
  EXPECT_NE(said().find("line 2 of"), std::string::npos);
  EXPECT_STREQ(st("S1").statname, thirty.c_str());
  // A line longer than 2048 bytes: nothing of the file is written.
  EXPECT_EQ(stations("l3.txt", "ST SID=S9 NETID=N9 STATNAME=Z\nST SID=S8 NETID=N STATNAME=" +
                                   std::string(2100, 'Q') + "\n"),
            17);
  EXPECT_EQ(getSTelemBySid("S9", &spare_st_), KYT_SQL_NOT_FOUND);
}

TEST_F(ImportTest, StationIdsAndMandatoryValues) {
  EXPECT_EQ(stations("a.txt", "ST NETID=N1 STATNAME=X\n"), 12);
  EXPECT_NE(said().find("store_ST: GET_VAL(SID) failed (rc = 12)"), std::string::npos) << said();
  EXPECT_EQ(stations("b.txt", "ST SID=S1 STATNAME=X\n"), 12);
  EXPECT_NE(said().find("store_ST: GET_VAL(NETID) failed (rc = 12)"), std::string::npos);
  EXPECT_EQ(stations("c.txt", "ST SID=ABCDEFGHIJKLMNOPQ NETID=N1 STATNAME=X\n"), 18);
  EXPECT_NE(said().find("store_ST: SID 'ABCDEFGHIJKLMNOPQ' is to long or contains invalid "
                        "character(s)"),
            std::string::npos);
  EXPECT_EQ(stations("d.txt", "ST SID=\"A B\" NETID=N1 STATNAME=X\n"), 18);
  EXPECT_EQ(stations("e.txt", "ST SID=A NETID=N=1 STATNAME=X\n"), 18);
  EXPECT_NE(said().find("store_ST: NETID 'N=1' is to long"), std::string::npos);
  EXPECT_EQ(stations("f.txt", "ST SID=ABCDEFGHIJKLMNOP NETID=N_1.$#@-x STATNAME=X\n"), 0)
      << said();
  EXPECT_EQ(stations("g.txt", "RT SIDDEST=A PRIORITY=1\n"), 12);
  EXPECT_NE(said().find("store_RT: GET_VAL(SIDNEIGHB) failed"), std::string::npos);
  EXPECT_EQ(stations("h.txt", "RT SIDDEST=\"*\" SIDNEIGHB=B PRIORITY=1\n"), 18);
  EXPECT_EQ(routes("r.txt", "TR DIRECTION=S SIDORG=A SIDDEST=B VDSN=X\n"), 12);
  EXPECT_NE(said().find("store_TR: GET_VAL(SIDNEIGHB) failed (rc = 12)"), std::string::npos);
  // Unknown records and keywords are the command language's 2 and 3; TR is no station record.
  EXPECT_EQ(stations("i.txt", "XX SID=A\n"), 2);
  EXPECT_NE(said().find("unknown record type"), std::string::npos);
  EXPECT_EQ(stations("j.txt", "ST SID=A NETID=B STATNAME=C COLOUR=RED\n"), 3);
  EXPECT_EQ(stations("k.txt", "TR DIRECTION=S SIDORG=A SIDDEST=B SIDNEIGHB=C VDSN=X\n"), 2);
  EXPECT_EQ(routes("l.txt", "ST SID=A NETID=B STATNAME=C\n"), 2);
  EXPECT_EQ(stations("m.txt", "ST SID=A SID=B NETID=B STATNAME=C\n"), 4);
  EXPECT_EQ(stations("n.txt", "ST SID=\"A NETID=B\n"), 99);
  EXPECT_EQ(count(Tab::kST), 1);
  EXPECT_EQ(count(Tab::kTR), 0);
}

TEST_F(ImportTest, ExtensionPairs) {
  ASSERT_EQ(stations("x.txt", "LX SID=P1 SENDBLOCKS=50 /VFTYP=F mykey='Mixed Case'\n"), 0)
      << said();
  kyt_lx_elem lx{};
  ASSERT_EQ(getLXelemBySidName("P1", "VFTYP", &lx), 0);
  EXPECT_STREQ(lx.val, "F");
  EXPECT_EQ(lx.type, 1);
  EXPECT_EQ(lx.len, 2);
  ASSERT_EQ(getLXelemBySidName("P1", "MYKEY", &lx), 0);
  EXPECT_STREQ(lx.val, "Mixed Case");
  // An update of one pair, and a bad pair that leaves every pair of its line unwritten.
  ASSERT_EQ(stations("y.txt", "LX SID=P1 SENDBLOCKS=60\n"), 0) << said();
  ASSERT_EQ(getLXelemBySidName("P1", "SENDBLOCKS", &lx), 0);
  EXPECT_STREQ(lx.val, "60");
  EXPECT_EQ(stations("z.txt", "LX SID=P1 SENDBLOCKS=70 /NOPAIR\n"), 16);
  EXPECT_NE(said().find("store_LX: \"NOPAIR\" invalid\n\t(rc = 16, sid = P1)"),
            std::string::npos)
      << said();
  ASSERT_EQ(getLXelemBySidName("P1", "SENDBLOCKS", &lx), 0);
  EXPECT_STREQ(lx.val, "60");
  EXPECT_EQ(stations("z2.txt", "LX SID=P1 SLEEP=soon\n"), 16);  // a number parameter
  EXPECT_EQ(stations("z3.txt", "LX SID=P1 ABCDEFGHIJKL=1\n"), 17);  // NAME is CHAR(12)
  EXPECT_EQ(stations("z4.txt", "LX SID=P1 NOTE=" + std::string(30, 'v') + "\n"), 17);
  EXPECT_EQ(stations("z5.txt", "LX SID=P1\n"), 6);
  EXPECT_EQ(stations("z6.txt", "LX X=1\n"), 12);
  EXPECT_NE(said().find("store_LX: GET_VAL(SID) failed (rc = 12)"), std::string::npos);
  EXPECT_EQ(count(Tab::kLX), 3);
}

TEST_F(ImportTest, SecondImportUpdatesRows) {
  ASSERT_EQ(stations("1.txt",
                     "ST SID=P1 NETID=N1 STATNAME=FIRST PHONE=111\n"
                     "OP SID=P1 ODETTEID=OID1 PSWFROM=A PSWTO=B SENDBLOCKS=10\n"
                     "OP SID=P2 ODETTEID=OID2 PSWFROM=A PSWTO=B\n"),
            0)
      << said();
  ASSERT_EQ(stations("2.txt",
                     "ST SID=P1 NETID=N1 STATNAME=SECOND\n"
                     "OP SID=P1 ODETTEID=OID9 PSWFROM=C PSWTO=D SENDBLOCKS=20\n"),
            0)
      << said();
  EXPECT_EQ(count(Tab::kST), 1);
  EXPECT_STREQ(st("P1").statname, "SECOND");
  EXPECT_STREQ(st("P1").phone, "");  // the row is what the record says
  kyt_op_elem o = op("P1");
  EXPECT_STREQ(o.odetteid, "OID9");
  EXPECT_EQ(o.sendblocks, 20);
  // A new SID with an ODETTEID that another station has: refused, nothing changed.
  EXPECT_EQ(stations("3.txt", "OP SID=P3 ODETTEID=OID2 PSWFROM=A PSWTO=B\n"), DBI_E_NO_DUP);
  EXPECT_NE(said().find("INSERT/UPDATE OP failed (rc = " + std::to_string(DBI_E_NO_DUP) + ")"),
            std::string::npos)
      << said();
  EXPECT_EQ(stations("4.txt", "OP SID=P1 ODETTEID=OID2 PSWFROM=A PSWTO=B\n"), DBI_E_NO_DUP);
  EXPECT_STREQ(op("P1").odetteid, "OID9");
  EXPECT_EQ(count(Tab::kOP), 2);
  // A TR line twice, in one file and again: one row.
  const std::string tr = "TR DIRECTION=S SIDORG=A SIDDEST=B SIDNEIGHB=C VDSN=F\n";
  EXPECT_EQ(routes("t.txt", tr + tr), 0) << said();
  EXPECT_EQ(routes("t.txt", tr), 0);
  EXPECT_EQ(count(Tab::kTR), 1);
}

TEST_F(ImportTest, DirectoryInNameOrder) {
  const std::string d = dir_.file("tables");
  ASSERT_TRUE(platform::make_directory(d.c_str()));
  test::write_file(d + "/b.txt", "ST SID=P1 NETID=N1 STATNAME=FROMB\n");
  test::write_file(d + "/a.txt", "ST SID=P1 NETID=N1 STATNAME=FROMA\nST SID=P2 NETID=N STATNAME=A\n");
  test::write_file(d + "/C.txt", "ST SID=P3 NETID=N3 STATNAME=FROMC\n");
  ASSERT_TRUE(platform::make_directory((d + "/sub").c_str()));
  test::write_file(d + "/sub/z.txt", "ST SID=P1 NETID=N1 STATNAME=FROMSUB\n");
  ASSERT_EQ(import_stations(d.c_str(), out_), 0) << said();
  ASSERT_EQ(messages_.size(), 3u) << said();
  EXPECT_NE(messages_[0].find("C.txt"), std::string::npos);  // byte order: upper case first
  EXPECT_NE(messages_[1].find("2 records of"), std::string::npos);
  EXPECT_NE(messages_[1].find("a.txt"), std::string::npos);
  EXPECT_NE(messages_[2].find("b.txt"), std::string::npos);
  EXPECT_STREQ(st("P1").statname, "FROMB");  // b after a, the subdirectory not read
  EXPECT_EQ(count(Tab::kST), 3);
  // A failing file stops the files after it.
  test::write_file(d + "/b.txt", "ST SID=P1 NETID=N1 STATNAME=FROMB2 BAD=1\n");
  test::write_file(d + "/c.txt", "ST SID=P4 NETID=N4 STATNAME=FROMC\n");
  EXPECT_EQ(import_stations(d.c_str(), out_), 3);
  EXPECT_EQ(getSTelemBySid("P4", &spare_st_), KYT_SQL_NOT_FOUND);
}

// Records are committed in batches: after a failure far into a file every record before it
// is in the database as another process (here: the database opened afresh) sees it; inside a
// caller's transaction the rows are the caller's to commit or roll back.
TEST_F(ImportTest, RowsCommittedAcrossBatchesAndCallersTransaction) {
  std::string text;
  for (int i = 0; i < 600; ++i)
    text += "ST SID=P" + std::to_string(i) + " NETID=N STATNAME=X\n";
  text += "ST SID=BAD NETID=N STATNAME=X PHONE=" + std::string(30, '9') + "\n";
  text += "ST SID=AFTER NETID=N STATNAME=X\n";
  EXPECT_EQ(stations("big.txt", text), 17);
  EXPECT_NE(said().find("line 601 of"), std::string::npos);
  rpdsql_run("CLOSE DB");
  ASSERT_TRUE(test::open_station_db(dir_));
  EXPECT_EQ(count(Tab::kST), 600);
  EXPECT_EQ(getSTelemBySid("AFTER", &spare_st_), KYT_SQL_NOT_FOUND);

  ASSERT_EQ(sqlSetAutocommOff(), 0);
  EXPECT_EQ(stations("t.txt", "ST SID=T1 NETID=N STATNAME=X\nST SID=P1 NETID=N STATNAME=Y\n"),
            0);
  EXPECT_STREQ(st("T1").statname, "X");
  ASSERT_EQ(sqlRollback(), 0);
  ASSERT_EQ(sqlSetAutocommOn(), 0);
  EXPECT_EQ(getSTelemBySid("T1", &spare_st_), KYT_SQL_NOT_FOUND);
  EXPECT_STREQ(st("P1").statname, "X");
}

// The trace of an import, and passwords kept out of traces and messages.
TEST_F(ImportTest, TracesWithoutPasswords) {
  test::TraceCapture trace;
  ASSERT_EQ(stations("t.txt",
                     "ST SID=S1 NETID=N1 STATNAME=\"One\" PHONE=12\n"
                     "ST SID=S1 NETID=N1 STATNAME=Two SIDTYP=P\n"
                     "OP SID=S1 ODETTEID=O1 PSWFROM=Secret1 pswto='Secret2'\n"
                     "LX SID=S1 A=1\n"),
            0)
      << said();
  EXPECT_TRUE(trace.has("modst first station S1"));
  EXPECT_TRUE(trace.has("modst found oid O1"));
  EXPECT_TRUE(trace.has("modst read do it "));
  EXPECT_TRUE(trace.has("ST: SID=\"S1\", NETID=\"N1\", STATNAME=\"One\", PHONE=\"12\" SIDTYP=\"\""));
  EXPECT_TRUE(trace.has("ST insert 0"));
  EXPECT_TRUE(trace.has("ST update 0"));
  EXPECT_TRUE(trace.has("modst read OP SID=S1 ODETTEID=O1 PSWFROM=*** pswto=***"));
  EXPECT_TRUE(trace.has("LX  SID=S1"));
  EXPECT_TRUE(trace.has("\t\tA=1"));
  EXPECT_EQ(stations("u.txt",
                     "OP SID=S2 ODETTEID=O2 PSWFROM=\"Secret3 x\"\n"
                     "OP SID=S3 ODETTEID=O3 PSWTO=Secret4Secret4\n"),
            17);
  EXPECT_EQ(stations("v.txt",
                     "OP SID=S4 ODETTEID=O4 PSWFROM=Secret5\n"
                     "OP SID=S4 ODETTEID=O5 PSWFROM=Secret6\n"),
            8);
  EXPECT_TRUE(trace.has("modst check error 8"));
  EXPECT_TRUE(trace.has("modst check error line OP SID=S4 ODETTEID=O5 PSWFROM=***"));
  EXPECT_NE(said().find("not imported (rc = 17): OP SID=S2 ODETTEID=O2 PSWFROM=***"),
            std::string::npos)
      << said();
  EXPECT_EQ(said().find("Secret"), std::string::npos) << said();
  // The import's own lines (the command engine traces every command line as it is given).
  std::string own;
  for (size_t at = 0, nl; at < trace.text().size(); at = nl + 1) {
    nl = trace.text().find('\n', at);
    if (nl == std::string::npos) nl = trace.text().size();
    const std::string line = trace.text().substr(at, nl - at);
    if (line.find(" rpdist.cpp ") != std::string::npos) own += line + "\n";
  }
  EXPECT_NE(own.find("modst read"), std::string::npos);
  EXPECT_EQ(own.find("Secret"), std::string::npos) << own;
  EXPECT_EQ(own.find("SECRET"), std::string::npos) << own;
}

std::vector<std::string> c_messages;
void collect(const char* text) { c_messages.emplace_back(text); }

TEST_F(ImportTest, UnreadablePathThroughExportedEntries) {
  const std::string missing = dir_.file("no-such-file.txt");
  c_messages.clear();
  EXPECT_EQ(rpdist(missing.c_str(), collect), 99);
  ASSERT_EQ(c_messages.size(), 1u);
  EXPECT_EQ(c_messages[0], "Could not open input file \"" + missing + "\"\n");
  EXPECT_EQ(rpditr(missing.c_str(), collect), 99);
  EXPECT_EQ(rpdist(nullptr, nullptr), 99);
  EXPECT_EQ(rpdist(missing.c_str(), nullptr), 99);
  test::write_file(dir_.file("bin.txt"), std::string("ST SID=A\0 NETID=B\n", 18));
  EXPECT_EQ(rpdist(dir_.file("bin.txt").c_str(), collect), 99);
  test::write_file(dir_.file("ok.txt"), "TR DIRECTION=R SIDORG=A SIDDEST=B SIDNEIGHB=C VDSN=V\n");
  EXPECT_EQ(rpditr(dir_.file("ok.txt").c_str(), nullptr), 0);
  EXPECT_EQ(count(Tab::kTR), 1);
}

}  // namespace
}  // namespace kyt
