// Resident receive entries: the exported calls and the RESENTR verb on a station database of
// the test's own.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "api/batchdb.h"
#include "api/calre.h"
#include "api/verbs.h"
#include "kyt/kyt.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"
#include "stationdb.h"

namespace kyt {
namespace {

int32_t run(const std::string& statement) { return rpdsql_run(statement); }

// A station with partners PARTNER1 and PARTNER%, and users ADMIN (A), OPER (O), PLAIN (U).
class ReTest : public ::testing::Test {
 protected:
  void SetUp() override {
    reset();
    ASSERT_TRUE(test::open_station_db(dir_, {{"DSN_KYT_LOG", dir_.file("rlog.log")}}));
    ASSERT_EQ(rpdini(), 0);
    for (const char* sid : {"PARTNER1", "PARTNER%"}) {
      ASSERT_EQ(run(std::string("INSERT INTO ST VALUES('") + sid + "', 'NET', 'A partner', '', '')"),
                0);
    }
    add_user("ADMIN", "A");
    add_user("OPER", "O");
    add_user("PLAIN", "U");
    ASSERT_EQ(kytSetUser("admin"), 0);
    test::write_file(dir_.file("job.sh"), "echo\n");
  }
  void TearDown() override {
    kytSetUser(nullptr);
    reset();
  }
  static void reset() {
    api::re_reset_for_tests();
    rpdprm_reset_for_tests();
    test::forget_station();
  }
  static void add_user(const char* uid, const char* priv) {
    kyt_bt_elem u{};
    std::snprintf(u.uid, sizeof u.uid, "%s", uid);
    std::snprintf(u.nameusr, sizeof u.nameusr, "%s", uid);
    std::snprintf(u.privusr, sizeof u.privusr, "%s", priv);
    std::snprintf(u.language, sizeof u.language, "E");
    ASSERT_EQ(insBTelem(&u), 0);
  }
  static kyt_re_record record(const char* vdsn, const char* sid) {
    kyt_re_record r{};
    std::snprintf(r.vdsn, sizeof r.vdsn, "%s", vdsn);
    std::snprintf(r.sidsender, sizeof r.sidsender, "%s", sid);
    return r;
  }
  static kyt_kt_elem kt(int32_t cn) {
    kyt_kt_elem e{};
    EXPECT_EQ(getKTelemByCn(cn, &e), 0) << cn;
    return e;
  }
  static kyt_re_elem re(int32_t cn) {
    kyt_re_elem e{};
    EXPECT_EQ(getREelemByCn(cn, &e), 0) << cn;
    return e;
  }
  // The active entries as kytGetNextRE walks them, read afresh.
  static std::vector<int32_t> active() {
    std::vector<int32_t> out;
    int32_t cn = 0, rc = kytGetNextRE(0, &cn);
    while (rc == 0) {
      out.push_back(cn);
      rc = kytGetNextRE(cn, &cn);
    }
    EXPECT_EQ(rc, -1);
    return out;
  }
  std::string log() const { return test::read_file(dir_.file("rlog.log")); }
  test::TempDir dir_;
};

TEST_F(ReTest, ChecksAnswerInTheirOrderAndWriteNothing) {
  // Privilege first: a user without A or O gets 18 whatever else is wrong.
  kytSetUser("plain");
  kyt_re_record bad = record("ABCDEFGHIJKLMNOPQRSTUVWXYZ1", "NOSUCH");
  EXPECT_EQ(kytResidentReceiveEntry(KYT_RE_CREATE, &bad, nullptr), 18);
  EXPECT_EQ(kytResidentReceiveEntry(KYT_RE_DELETE, &bad, nullptr), 18);
  kytSetUser("nobody");  // no row in BT
  EXPECT_EQ(kytResidentReceiveEntry(KYT_RE_CREATE, &bad, nullptr), 99);
  kytSetUser("oper");
  EXPECT_EQ(kytResidentReceiveEntry(KYT_RE_CREATE, nullptr, nullptr), -5);
  EXPECT_EQ(kytResidentReceiveEntry(4, &bad, nullptr), 99);
  // Then the key: 27 characters of VDSN, 17 of SIDSENDER, empty ones, unterminated ones.
  EXPECT_EQ(kytResidentReceiveEntry(KYT_RE_CREATE, &bad, nullptr), -5);
  kyt_re_record r = record("VDSN1", "PARTNER1234567890");
  EXPECT_EQ(kytResidentReceiveEntry(KYT_RE_CREATE, &r, nullptr), -5);
  r = record("", "PARTNER1");
  EXPECT_EQ(kytResidentReceiveEntry(KYT_RE_CREATE, &r, nullptr), -5);
  r = record("VDSN1", "PARTNER1");
  std::memset(r.vdsn, 'A', sizeof r.vdsn);
  EXPECT_EQ(kytResidentReceiveEntry(KYT_RE_CREATE, &r, nullptr), -5);
  // The station: unknown 13, and a LIKE pattern matches only itself.
  r = record("VDSN1", "NOSUCH");
  EXPECT_EQ(kytResidentReceiveEntry(KYT_RE_CREATE, &r, nullptr), 13);
  r = record("VDSN1", "PARTNER_");
  EXPECT_EQ(kytResidentReceiveEntry(KYT_RE_CREATE, &r, nullptr), 13);
  r = record("VDSN1", "PARTNER1");
  // Replace and delete need an active entry (deletion does not look at the station).
  EXPECT_EQ(kytResidentReceiveEntry(KYT_RE_REPLACE, &r, nullptr), 14);
  r = record("VDSN1", "NOSUCH");
  EXPECT_EQ(kytResidentReceiveEntry(KYT_RE_DELETE, &r, nullptr), 14);
  // The other fields, in the order of the record.
  auto with = [&](auto set) {
    kyt_re_record x = record("VDSN1", "PARTNER1");
    set(x);
    return kytResidentReceiveEntry(KYT_RE_CREATE, &x, nullptr);
  };
  EXPECT_EQ(with([](kyt_re_record& x) { std::memset(x.dsnlocal, 'a', 255); }), -5);
  EXPECT_EQ(with([](kyt_re_record& x) { std::strcpy(x.dsnlocal, "in|box"); }), 16);
  EXPECT_EQ(with([](kyt_re_record& x) { std::strcpy(x.dsnlocal, "inbox/"); }), 16);
  EXPECT_EQ(with([](kyt_re_record& x) { std::strcpy(x.dsnlocal, "a\tb"); }), 16);
  EXPECT_EQ(with([&](kyt_re_record& x) {
              std::strcpy(x.dsnlocal, "in|box");
              std::strcpy(x.batchjob, "nosuchjob.sh");
            }),
            16);  // DSNLOCAL before BATCHJOB
  EXPECT_EQ(with([](kyt_re_record& x) { std::strcpy(x.batchjob, "nosuchjob.sh"); }), 17);
  EXPECT_EQ(with([](kyt_re_record& x) { std::strcpy(x.codetable, "nosuch.tab"); }), 17);
  EXPECT_EQ(with([](kyt_re_record& x) { std::memset(x.acctrecvr, 'b', 21); }), -5);
  EXPECT_EQ(with([](kyt_re_record& x) { std::memset(x.commentre, 'c', 51); }), -5);
  // Nothing of all that reached a table or the log.
  EXPECT_TRUE(test::kt_cns().empty());
  kyt_re_elem first{};
  EXPECT_EQ(getREelemList(&first), RPDSQL_NOT_FOUND);
  EXPECT_EQ(log().find("RE /"), std::string::npos);
  // Limits themselves pass: 26 and 16 characters, 50 of comment, 20 of account.
  kyt_re_record ok = record("ABCDEFGHIJKLMNOPQRSTUVWXYZ", "PARTNER1");
  std::memset(ok.commentre, 'c', 50);
  std::memset(ok.acctrecvr, 'b', 20);
  EXPECT_EQ(kytResidentReceiveEntry(KYT_RE_CREATE, &ok, nullptr), 0);
  EXPECT_EQ(std::string(re(ok.cn).commentre).size(), 50u);
}

TEST_F(ReTest, CreationNormalisesAndWritesEntryCommandRowAndLog) {
  kyt_re_record r = record("invoice.dat", "partner1");
  std::strcpy(r.replace, "x");
  std::strcpy(r.disp, "x");
  std::strcpy(r.uidlocal, "SOMEONE");
  std::strcpy(r.dsnlocal, "   ");
  std::strcpy(r.batchjob, dir_.file("job.sh").c_str());
  std::strcpy(r.acctrecvr, "  ");
  std::strcpy(r.commentre, "first entry");
  std::strcpy(r.vftyp, "F");
  r.flagtstamp = 1;
  r.flagcomp = 2;
  r.flagcryp = 3;
  int32_t cn = 0;
  ASSERT_EQ(kytCreateRECmd(&cn, &r), 0);
  EXPECT_GT(cn, 0);
  EXPECT_EQ(r.cn, cn);
  const kyt_re_elem row = re(cn);
  EXPECT_STREQ(row.vdsn, "INVOICE.DAT");
  EXPECT_STREQ(row.sidsender, "PARTNER1");
  EXPECT_STREQ(row.uidlocal, "*");
  EXPECT_STREQ(row.uidsender, "*");
  EXPECT_STREQ(row.replace, "N");
  EXPECT_STREQ(row.disp, "K");
  EXPECT_STREQ(row.dsnlocal, "");
  EXPECT_STREQ(row.batchjob, dir_.file("job.sh").c_str());
  EXPECT_STREQ(row.uidcreator, "ADMIN");
  EXPECT_STREQ(row.acctrecvr, "ADMIN");
  EXPECT_STREQ(row.commentre, "first entry");
  EXPECT_STREQ(row.vftyp, "F");
  EXPECT_EQ(row.flagtstamp, 1);
  EXPECT_EQ(row.flagcomp, 2);
  EXPECT_EQ(row.flagcryp, 3);
  const kyt_kt_elem k = kt(cn);
  EXPECT_STREQ(k.cmdtype, "RE");
  EXPECT_STREQ(k.status, "pn");
  EXPECT_EQ(k.priority, 1);
  EXPECT_NE(k.dtcreated[0], '\0');
  EXPECT_NE(log().find("I CMD_EXECUTED Command executed: RE /CREATE CMDID=" + std::to_string(cn) +
                       "\n"),
            std::string::npos)
      << log();
  // The kept letters, in either case.
  kyt_re_record s = record("OTHER", "PARTNER1");
  std::strcpy(s.replace, "r");
  std::strcpy(s.disp, "d");
  ASSERT_EQ(kytResidentReceiveEntry(KYT_RE_CREATE, &s, nullptr), 0);
  EXPECT_STREQ(re(s.cn).replace, "R");
  EXPECT_STREQ(re(s.cn).disp, "D");
  // kytGetRE hands the entry back as written.
  kyt_re_record back{};
  ASSERT_EQ(kytGetRE(cn, &back), 0);
  EXPECT_STREQ(back.vdsn, "INVOICE.DAT");
  EXPECT_STREQ(back.replace, "N");
  EXPECT_STREQ(back.uidcreator, "ADMIN");
  EXPECT_EQ(back.flagcryp, 3);
  EXPECT_EQ(std::strlen(back.dtlastused), 19u);
  EXPECT_EQ(kytGetRE(cn, nullptr), -5);
}

TEST_F(ReTest, CreateTwiceDeleteCreateAgainReplaceAndWalk) {
  kyt_re_record r = record("ORDERS", "PARTNER1");
  ASSERT_EQ(kytResidentReceiveEntry(KYT_RE_CREATE, &r, nullptr), 0);
  const int32_t first = r.cn;
  EXPECT_EQ(kytResidentReceiveEntry(KYT_RE_CREATE, &r, nullptr), 19);
  kyt_re_record lower = record("orders", "partner1");  // the same key after upper-casing
  EXPECT_EQ(kytResidentReceiveEntry(KYT_RE_CREATE, &lower, nullptr), 19);
  kytSetUser("oper");
  ASSERT_EQ(kytResidentReceiveEntry(KYT_RE_DELETE, &lower, nullptr), 0);
  const kyt_kt_elem done = kt(first);
  EXPECT_STREQ(done.status, "dn");
  EXPECT_STREQ(done.deletedby, "U");
  EXPECT_STREQ(done.xiddeleted, "OPER");
  EXPECT_NE(done.dtdone[0], '\0');
  EXPECT_STREQ(re(first).vdsn, "ORDERS");  // the RE row stays
  EXPECT_NE(log().find("RE /DELETE CMDID=" + std::to_string(first) + "\n"), std::string::npos);
  EXPECT_EQ(kytResidentReceiveEntry(KYT_RE_DELETE, &r, nullptr), 14);
  ASSERT_EQ(kytResidentReceiveEntry(KYT_RE_CREATE, &r, nullptr), 0);
  const int32_t second = r.cn;
  EXPECT_GT(second, first);

  // Replacement: a new entry with the new fields, the old one done, one transaction.
  kyt_re_record s = record("ORDERS", "PARTNER1");
  std::strcpy(s.commentre, "replaced");
  ASSERT_EQ(kytResidentReceiveEntry(KYT_RE_REPLACE, &s, nullptr), 0);
  const int32_t third = s.cn;
  EXPECT_GT(third, second);
  EXPECT_STREQ(kt(second).status, "dn");
  EXPECT_STREQ(kt(third).status, "pn");
  EXPECT_STREQ(re(third).commentre, "replaced");
  kyt_re_record other = record("INVOICES", "PARTNER%");
  ASSERT_EQ(kytResidentReceiveEntry(KYT_RE_CREATE, &other, nullptr), 0);

  // The walk: active entries only, ascending; the highest gives -1.
  EXPECT_EQ(active(), (std::vector<int32_t>{third, other.cn}));
  int32_t cn = 0;
  EXPECT_EQ(kytGetNextRE(other.cn, &cn), -1);
  EXPECT_EQ(kytGetNextRE(0, nullptr), -5);
  kyt_re_record back{};
  EXPECT_EQ(kytGetRE(first, &back), 14);
  EXPECT_EQ(kytGetRE(second, &back), 14);
  ASSERT_EQ(kytGetRE(third, &back), 0);
  EXPECT_STREQ(back.commentre, "replaced");
  // A command row of another type with the same number pattern is not an entry.
  ASSERT_EQ(run("UPDATE KT SET CMDTYPE = 'SE' WHERE CN = " + std::to_string(other.cn)), 0);
  EXPECT_EQ(active(), (std::vector<int32_t>{third}));
}

// The line of RESENTR: the same checks and rows, the command number handed back.
TEST_F(ReTest, ResentrVerbSharesTheEntrysChecksAndRows) {
  CommandSet set;
  ASSERT_EQ(rpxcid(set,
                   "RESENTR: 0-1 ACCOUNT COMMENT DISP DSN DSNNEW JOB LUID REPLACE SID TSTAMP UID  "
                   "VFTYP CODETRANS CODETABLE FLAGCOMP FLAGCRYP",
                   api::verb_resentr),
            0);
  cmd_msg msg;
  const std::string job = dir_.file("job.sh");
  ASSERT_EQ(rpxcie(set,
                   "RESENTR DSN=daily.csv SID=partner1 DSNNEW=\"in box/daily.csv\" REPLACE=replace "
                   "DISP=delete TSTAMP=Y COMMENT=\"two words\" JOB=\"" + job +
                       "\" FLAGCOMP=1 FLAGCRYP=-1 VFTYP=T LUID=* UID=*",
                   &msg),
            0);
  const int32_t cn = api::command_number();
  ASSERT_GT(cn, 0);
  const kyt_re_elem row = re(cn);
  EXPECT_STREQ(row.vdsn, "DAILY.CSV");
  EXPECT_STREQ(row.dsnlocal, "in box/daily.csv");
  EXPECT_STREQ(row.replace, "R");
  EXPECT_STREQ(row.disp, "D");
  EXPECT_EQ(row.flagtstamp, 1);
  EXPECT_STREQ(row.commentre, "two words");
  EXPECT_STREQ(row.batchjob, job.c_str());
  EXPECT_EQ(row.flagcomp, 1);
  EXPECT_EQ(row.flagcryp, -1);
  EXPECT_STREQ(kt(cn).status, "pn");
  EXPECT_EQ(rpxcie(set, "RESENTR /CREATE DSN=daily.csv SID=PARTNER1", &msg), 19);
  // Refusals of the line itself.
  EXPECT_EQ(rpxcie(set, "RESENTR /MODIFY DSN=daily.csv SID=PARTNER1", &msg), -5);
  EXPECT_EQ(rpxcie(set, "RESENTR DSN=x SID=PARTNER1 UID=BOB", &msg), -5);
  EXPECT_EQ(rpxcie(set, "RESENTR DSN=x SID=PARTNER1 TSTAMP=often", &msg), -5);
  EXPECT_EQ(rpxcie(set, "RESENTR DSN=x SID=PARTNER1 VFTYP=TT", &msg), -5);
  EXPECT_EQ(rpxcie(set, "RESENTR DSN=ABCDEFGHIJKLMNOPQRSTUVWXYZ1 SID=PARTNER1", &msg), -5);
  EXPECT_EQ(rpxcie(set, std::string("RESENTR DSN=x SID=PARTNER1 COMMENT=") + std::string(60, 'c'),
                   &msg),
            -5);
  EXPECT_EQ(rpxcie(set, "RESENTR DSN=x SID=NOSUCH", &msg), 13);
  EXPECT_EQ(api::command_number(), 0);
  kytSetUser("plain");
  EXPECT_EQ(rpxcie(set, "RESENTR /DELETE DSN=daily.csv SID=PARTNER1", &msg), 18);
  kytSetUser("admin");
  ASSERT_EQ(rpxcie(set, "RESENTR /REPLACE DSN=daily.csv SID=PARTNER1 DISP=K", &msg), 0);
  const int32_t replaced = api::command_number();
  EXPECT_GT(replaced, cn);
  EXPECT_STREQ(kt(cn).status, "dn");
  ASSERT_EQ(rpxcie(set, "resentr /delete dsn=DAILY.CSV sid=partner1", &msg), 0);
  EXPECT_STREQ(kt(replaced).status, "dn");
  EXPECT_TRUE(active().empty());
}

// The second process of EntriesOfAnotherProcessAreSeenAfterAReload: with the database of
// args[1], deletes the entry VDSN args[2] of PARTNER1 after finding that creating it again
// gives 19.
TEST(SecondProcess, ReDeleteEntry) {
  std::vector<std::string> args;
  if (!test::in_role("ReDeleteEntry", &args)) GTEST_SKIP() << "a second process of ReTest";
  bool ok = lpdsn_init_file(args.at(0)) == 0 && lpdsn_set("DB", args.at(1).c_str()) == 0 &&
            kytSetUser("OPER") == 0;
  kyt_re_record r{};
  std::snprintf(r.vdsn, sizeof r.vdsn, "%s", args.at(2).c_str());
  std::snprintf(r.sidsender, sizeof r.sidsender, "PARTNER1");
  ok = ok && kytResidentReceiveEntry(KYT_RE_CREATE, &r, nullptr) == 19;
  int32_t cn = 0;
  ok = ok && kytGetNextRE(0, &cn) == 0 && cn > 0;
  ok = ok && kytResidentReceiveEntry(KYT_RE_DELETE, &r, nullptr) == 0;
  rpdsql_run("CLOSE DB");
  test::end_role(ok ? 0 : 1);
}

TEST_F(ReTest, EntriesOfAnotherProcessAreSeenAfterAReload) {
  kyt_re_record r = record("SHARED", "PARTNER1");
  ASSERT_EQ(kytResidentReceiveEntry(KYT_RE_CREATE, &r, nullptr), 0);
  int32_t cn = 0;
  ASSERT_EQ(kytGetNextRE(0, &cn), 0);
  ASSERT_EQ(rpdsql_run("CLOSE DB"), 0);  // the other process needs the tables
  ASSERT_EQ(test::run_role("ReDeleteEntry", {dir_.file("kytenv.dat"), dir_.path(), "shared"}), 0);
  kyt_re_record back{};
  EXPECT_EQ(kytGetRE(r.cn, &back), 0);  // this process's list is as it was read
  EXPECT_TRUE(active().empty());        // reading it again shows the deletion
  EXPECT_EQ(kytGetRE(r.cn, &back), 14);
  EXPECT_STREQ(kt(r.cn).xiddeleted, "OPER");
}

}  // namespace
}  // namespace kyt

namespace kyt {
namespace {

// RESENTR through the exported command entry: the command number comes back to the caller,
// the message names the line, a refusal reports its code; the entry reads back through the
// client calls.
class ResentrBatchTest : public test::BatchTest {
 protected:
  void SetUp() override {
    api::re_reset_for_tests();
    BatchTest::SetUp();
  }
};

TEST_F(ResentrBatchTest, ThroughKytcal) {
  ASSERT_EQ(rpdsql_run("INSERT INTO ST VALUES('PARTNER1', 'N', 'P', '', '')"), 0);
  ASSERT_EQ(call("USER /CREATE UID=OP1 NAME=\"Op One\" PRIV=O LANGUAGE=E").rc, 0);
  ASSERT_EQ(kytSetUser("op1"), 0);
  const test::Call made = call("RESENTR DSN=weekly SID=PARTNER1 ACCOUNT=ACC7");
  ASSERT_EQ(made.rc, 0) << made.msg;
  EXPECT_GT(made.cn, 0);
  EXPECT_EQ(made.severity, 'I');
  EXPECT_NE(made.msg.find("RESENTR DSN=weekly"), std::string::npos) << made.msg;
  kyt_re_record back{};
  ASSERT_EQ(kytGetRE(made.cn, &back), 0);
  EXPECT_STREQ(back.vdsn, "WEEKLY");
  EXPECT_STREQ(back.acctrecvr, "ACC7");
  EXPECT_STREQ(back.uidcreator, "OP1");
  const test::Call twice = call("RESENTR DSN=WEEKLY SID=PARTNER1");
  EXPECT_EQ(twice.rc, 19);
  EXPECT_EQ(twice.severity, 'E');
  EXPECT_EQ(twice.cn, 0);
  const test::Call gone = call("RESENTR /DELETE DSN=WEEKLY SID=PARTNER1");
  EXPECT_EQ(gone.rc, 0);
  EXPECT_EQ(gone.cn, 0);  // a deletion makes no command row
  int32_t cn = 0;
  EXPECT_EQ(kytGetNextRE(0, &cn), -1);
}

}  // namespace
}  // namespace kyt
