// The exported send entry calls through kytcal: the command line each composes (read back
// from the trace and from the rows), values that would change the line, the Cmd variants,
// the acting user, the list with its filter and its walk, and kytSetSendEntry.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "api/calsnd.h"
#include "kyt/kyt.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"
#include "sql/trace_capture.h"
#include "send_rows.h"
#include "stationdb.h"
#include "testutil.h"

namespace kyt {
namespace {

void sql(const std::string& statement) { ASSERT_EQ(rpdsql_run(statement), 0) << statement; }

class SendApiTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(test::open_station_db(dir_, {{"DSN_KYT_LOG", dir_.file("rlog.log")},
                                             {"DSN_MON_INIT", dir_.file("none.dat")}}));
    rpdprm_reset_for_tests();
    api::calsnd_reset_for_tests();
    set_calling_user(nullptr);
    ASSERT_EQ(rpdini(), 0);
    ASSERT_EQ(rpdipr(nullptr), 0);
    sql("INSERT INTO PT (NAME, TYPE, LEN, VAL) VALUES('LID', 1, 17, 'HOME')");
    for (const char* s : {"HOME", "P1", "P2"})
      sql(std::string("INSERT INTO ST (SID, NETID, STATNAME) VALUES('") + s + "', 'N', 'x')");
    sql("INSERT INTO OP (SID, ODETTEID, PSWFROM, PSWTO, FLAGCOMP, FLAGCRYP) VALUES("
        "'P2', 'O0013P2', 'A', 'B', 0, 0)");
    file_ = dir_.file("data.txt");
    test::write_file(file_, "hello\n");
  }
  void TearDown() override {
    set_calling_user(nullptr);
    rpdsql_run("CLOSE DB");
  }

  kytSendEntryRequest req() {
    kytSendEntryRequest r{};
    r.dsn = file_.c_str();
    r.sid = "P1";
    r.maxrecl = -1;
    r.msg = msg_;
    return r;
  }
  kyt_vd_elem vd(int32_t cn) {
    kyt_vd_elem e{};
    EXPECT_EQ(getVDelemByCn(cn, &e), 0) << cn;
    return e;
  }
  // The number of the last entry made (KT's highest).
  int32_t last_cn() {
    std::vector<int32_t> cns = test::kt_cns();
    return cns.empty() ? 0 : cns.back();
  }

  test::TempDir dir_;
  std::string file_;
  char msg_[KYT_SEND_MSG_SIZE] = {};
};

TEST_F(SendApiTest, TheLineHasItsPartsInOrderAndMaxreclOnlyWhenGiven) {
  test::TraceCapture trace;
  kytSendEntryRequest r = req();
  r.disp = "K";
  r.inittime = "2031/02/03 04:05:06";
  r.label = "L1";
  r.vftyp = "F";
  r.maxrecl = 128;
  r.codeout = "E";
  r.dsnnew = "NEW NAME";
  r.tstamp = "Y";
  ASSERT_EQ(kytCreateSendEntryS(&r), 0) << msg_;
  EXPECT_TRUE(trace.has("kytcal >SEND /CREATE DSN=\"" + file_ +
                        "\" DISP=K   INITTIME='2031/02/03 04:05:06'  LABEL=L1 VFTYP=F "
                        "MAXRECL=128    (SID=P1  DSNNEW=\"NEW NAME\" CODEOUT=E  TSTAMP=Y  )< "
                        "returns 0"))
      << trace.text();
  int32_t cn = last_cn();
  EXPECT_EQ(vd(cn).maxrecl, 128);
  kyt_et_elem et{};
  ASSERT_EQ(getETelemByCnse(cn, &et), 0);
  EXPECT_STREQ(et.vdsn, "NEW NAME");
  kyt_kt_elem kt{};
  ASSERT_EQ(getKTelemByCn(cn, &kt), 0);
  EXPECT_STREQ(kt.dtschedule, "2031/02/03 04:05:06");

  for (int32_t m : {0, -1}) {
    r = req();
    r.maxrecl = m;
    ASSERT_EQ(kytCreateSendEntryS(&r), 0) << msg_;
    EXPECT_EQ(vd(last_cn()).maxrecl, 0);
  }
  EXPECT_FALSE(trace.has("MAXRECL=0")) << trace.text();
  EXPECT_FALSE(trace.has("MAXRECL=-1")) << trace.text();

  // OIDDEST alone: the partner with that id.
  r = req();
  r.sid = nullptr;
  r.oiddest = "O0013P2";
  ASSERT_EQ(kytCreateSendEntryS(&r), 0) << msg_;
  EXPECT_TRUE(trace.has("( OIDDEST=\"O0013P2\"")) << trace.text();
  ASSERT_EQ(getETelemByCnse(last_cn(), &et), 0);
  EXPECT_STREQ(et.siddest, "P2");
}

TEST_F(SendApiTest, MissingDsnOrDestinationAndOddArguments) {
  kytSendEntryRequest r = req();
  r.dsn = "";
  EXPECT_EQ(kytCreateSendEntryS(&r), 99);
  EXPECT_STREQ(msg_, "kytCreateSendEntry: invalid dsn.");
  r = req();
  r.sid = "";
  EXPECT_EQ(kytCreateSendEntryS(&r), 99);
  EXPECT_STREQ(msg_, "kytCreateSendEntry: invalid sid.");
  r.msg = nullptr;
  EXPECT_EQ(kytCreateSendEntryS(&r), 99);
  EXPECT_EQ(kytCreateSendEntryS(nullptr), -5);
  // The command's own refusal comes back with its message.
  r = req();
  r.sid = "NOBODY";
  EXPECT_EQ(kytCreateSendEntryS(&r), api::kSendUnknown);
  EXPECT_NE(std::string(msg_).find("NOBODY"), std::string::npos) << msg_;
  EXPECT_TRUE(test::kt_cns().empty());
}

TEST_F(SendApiTest, ValuesThatWouldChangeTheLineAreRefusedOrCarriedUnchanged) {
  // Every text field, each with every character that could end its part.
  using Field = const char* kytSendEntryRequest::*;
  const Field fields[] = {
      &kytSendEntryRequest::dsn,         &kytSendEntryRequest::disp,
      &kytSendEntryRequest::format,      &kytSendEntryRequest::codein,
      &kytSendEntryRequest::inittime,    &kytSendEntryRequest::serial,
      &kytSendEntryRequest::label,       &kytSendEntryRequest::vftyp,
      &kytSendEntryRequest::tstamp,      &kytSendEntryRequest::compression,
      &kytSendEntryRequest::encryption,  &kytSendEntryRequest::sid,
      &kytSendEntryRequest::dsnnew,      &kytSendEntryRequest::codeout,
      &kytSendEntryRequest::codetable,   &kytSendEntryRequest::sidorig,
      &kytSendEntryRequest::efcheck,     &kytSendEntryRequest::oidorig,
      &kytSendEntryRequest::oiddest};
  const Field double_quoted[] = {&kytSendEntryRequest::dsn, &kytSendEntryRequest::dsnnew,
                                 &kytSendEntryRequest::efcheck, &kytSendEntryRequest::oidorig,
                                 &kytSendEntryRequest::oiddest};
  // Refused in every field, since they could end any part.
  const char* always[] = {"Y\" LABEL=\"x", "Y\nLABEL=x", "Y\xff", "Y\tZ"};
  // Refused where the value stands without quotes; carried inside double quotes.
  const char* unquoted_only[] = {"Y (SID=P2)", "Y) (SID=P2", "Y LABEL=x", "Y=x", "(Y", "Y)"};
  for (Field f : fields) {
    const bool dq = std::find(std::begin(double_quoted), std::end(double_quoted), f) !=
                    std::end(double_quoted);
    const bool sq = f == &kytSendEntryRequest::inittime;
    auto attempt = [&](const char* a, bool refused) {
      kytSendEntryRequest r = req();
      r.*f = a;
      const int32_t rc = kytCreateSendEntryS(&r);
      if (refused) {
        EXPECT_EQ(rc, -5) << a;
        EXPECT_STREQ(msg_, "kytCreateSendEntry: invalid character in a value.");
      } else {
        EXPECT_NE(rc, -5) << a;
      }
      // Whatever was accepted reached the command whole, as one value of its keyword: no
      // second destination, no label of its own.
      for (int32_t cn : test::kt_cns()) {
        EXPECT_EQ(test::et_rows(cn).size(), 1u) << a;
        kyt_se_elem se{};
        ASSERT_EQ(getSEelemByCn(cn, &se), 0);
        EXPECT_STRNE(se.seusrlabel, "x") << a;
        EXPECT_EQ(rpdsql_run("DELETE FROM KT WHERE CN = " + std::to_string(cn)), 0);
      }
    };
    for (const char* a : always) attempt(a, true);
    for (const char* a : unquoted_only) attempt(a, !dq && !sq);
    attempt("'Y'", !dq);  // a single quote: refused but inside double quotes
  }
  EXPECT_TRUE(test::kt_cns().empty());

  // Quoted parts carry blanks, parentheses, "=" and single quotes unchanged.
  const std::string odd = dir_.file("it's (a)=b c.dat");
  test::write_file(odd, "x");
  kytSendEntryRequest r = req();
  r.dsn = odd.c_str();
  r.dsnnew = "A (B)=C 'D'";
  r.inittime = "2032/01/01 00:00:00";
  ASSERT_EQ(kytCreateSendEntryS(&r), 0) << msg_;
  const int32_t cn = last_cn();
  EXPECT_EQ(std::string(vd(cn).dsnlocal), odd);
  kyt_et_elem et{};
  ASSERT_EQ(getETelemByCnse(cn, &et), 0);
  EXPECT_STREQ(et.vdsn, "A (B)=C 'D'");
}

TEST_F(SendApiTest, CmdVariantsAnswerTheNumberOrMinusFour) {
  const int32_t a = kytCreateSendEntryCmd(file_.c_str(), "K", "T", "A", nullptr, "N", "lab",
                                          "N", "P1", "V1", "A", msg_);
  ASSERT_GT(a, 0) << msg_;
  EXPECT_EQ(a, last_cn());
  const int32_t b = kytCreateSendEntryCmd2(file_.c_str(), nullptr, nullptr, nullptr, nullptr,
                                           nullptr, nullptr, "F", 80, nullptr, "P2", nullptr,
                                           nullptr, msg_);
  EXPECT_EQ(b, a + 1) << msg_;
  EXPECT_EQ(vd(b).maxrecl, 80);
  EXPECT_STREQ(vd(b).vftyp, "F");
  const int32_t c = kytCreateSendEntryCmdWithOrig(file_.c_str(), nullptr, nullptr, nullptr,
                                                  nullptr, nullptr, nullptr, nullptr, 0, nullptr,
                                                  "P1", "P2", nullptr, nullptr, msg_);
  EXPECT_EQ(c, b + 1) << msg_;
  kyt_se_elem se{};
  ASSERT_EQ(getSEelemByCn(c, &se), 0);
  EXPECT_STREQ(se.sidsender, "P2");
  kytSendEntryRequest r = req();
  EXPECT_EQ(kytCreateSendEntryCmdS(&r), c + 1);

  // Failures of every kind become -4.
  EXPECT_EQ(kytCreateSendEntryCmd(file_.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr,
                                  nullptr, nullptr, "NOBODY", nullptr, nullptr, msg_),
            -4);
  EXPECT_EQ(kytCreateSendEntryCmd(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                  nullptr, "P1", nullptr, nullptr, msg_),
            -4);
  EXPECT_EQ(kytCreateSendEntryCmd2(file_.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr,
                                   "a b", nullptr, 0, nullptr, "P1", nullptr, nullptr, msg_),
            -4);
  EXPECT_EQ(kytCreateSendEntryCmdS(nullptr), -4);
  // The plain variants answer the codes.
  EXPECT_EQ(kytCreateSendEntry(file_.c_str(), "Q", nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, "P1", nullptr, nullptr, msg_),
            api::kSendBadValue);
  EXPECT_EQ(kytCreateSendEntry2(file_.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, 5, nullptr, "P1", nullptr, nullptr, msg_,
                                nullptr),
            0);
  EXPECT_EQ(kytCreateSendEntryWithOrig(file_.c_str(), nullptr, nullptr, nullptr, nullptr,
                                       nullptr, nullptr, nullptr, 0, nullptr, "P1", "NOBODY",
                                       nullptr, nullptr, msg_, nullptr),
            api::kSendUnknown);
}

TEST_F(SendApiTest, TheActingUserStaysUntilChanged) {
  kytSendEntryRequest r = req();
  r.uid = "CLERK";
  ASSERT_EQ(kytCreateSendEntryS(&r), 0) << msg_;
  r = req();
  ASSERT_EQ(kytCreateSendEntryS(&r), 0) << msg_;
  kyt_se_elem se{};
  ASSERT_EQ(getSEelemByCn(last_cn(), &se), 0);
  EXPECT_STREQ(se.uidsender, "CLERK");
  r.uid = "ABCDEFGHIJKLMNOPQRSTU";  // 21
  EXPECT_EQ(kytCreateSendEntryS(&r), -5);
  r.uid = nullptr;
  ASSERT_EQ(kytCreateSendEntryS(&r), 0) << msg_;
  ASSERT_EQ(getSEelemByCn(last_cn(), &se), 0);
  EXPECT_STREQ(se.uidsender, "CLERK");
}

TEST_F(SendApiTest, TheListWalksInOrderWithItsFilterAndIsKeptUntilRestarted) {
  int32_t cn = 0;
  EXPECT_EQ(kytGetNextSendCmd(0, &cn), -1);  // nothing yet
  std::vector<int32_t> made;
  for (const char* uid : {"ANNA", "BERT", "ANNA"}) {
    kytSendEntryRequest r = req();
    r.uid = uid;
    r.label = uid;
    ASSERT_EQ(kytCreateSendEntryS(&r), 0) << msg_;
    made.push_back(last_cn());
  }
  std::vector<int32_t> seen;
  int32_t rc = kytGetNextSendCmd(0, &cn);
  while (rc == 0) {
    seen.push_back(cn);
    rc = kytGetNextSendCmd(cn, &cn);
  }
  EXPECT_EQ(rc, -1);
  EXPECT_EQ(seen, made);
  EXPECT_EQ(kytGetNextSendCmd(made.back(), &cn), -1);  // the highest number
  EXPECT_EQ(kytGetNextSendCmd(5, nullptr), -5);

  kytSendEntry e{};
  ASSERT_EQ(kytGetSendEntry(made[1], &e), 0);
  EXPECT_EQ(e.cn, made[1]);
  EXPECT_STREQ(e.uidsender, "BERT");
  EXPECT_STREQ(e.sidsender, "HOME");
  EXPECT_STREQ(e.seusrlabel, "BERT");
  EXPECT_EQ(e.cntdest, 1);
  EXPECT_STREQ(e.siddest, "P1");
  EXPECT_STREQ(e.vdsn, "data.txt");
  EXPECT_EQ(e.has_kt, 1);
  EXPECT_STREQ(e.status, "qn");
  EXPECT_NE(e.dtcreated[0], '\0');
  EXPECT_EQ(e.has_vd, 1);
  EXPECT_EQ(std::string(e.dsnlocal), file_);
  EXPECT_EQ(e.has_sk, 0);
  EXPECT_EQ(kytGetSendEntry(999999, &e), -1);
  EXPECT_EQ(kytGetSendEntry(made[0], nullptr), -5);

  // A new entry appears only when a walk starts again. It is ANNA's too: the acting user
  // given last stays.
  kytSendEntryRequest r = req();
  ASSERT_EQ(kytCreateSendEntryS(&r), 0) << msg_;
  made.push_back(last_cn());
  EXPECT_EQ(kytGetNextSendCmd(made[2], &cn), -1);
  ASSERT_EQ(kytGetNextSendCmd(0, &cn), 0);
  EXPECT_EQ(kytGetNextSendCmd(made[2], &cn), 0);
  EXPECT_EQ(cn, made[3]);

  // The sender filter: 20 characters accepted, 21 refused (filter kept).
  EXPECT_EQ(SetUIDSEList("ANNA"), 0);
  seen.clear();
  for (rc = kytGetNextSendCmd(0, &cn); rc == 0; rc = kytGetNextSendCmd(cn, &cn))
    seen.push_back(cn);
  EXPECT_EQ(seen, (std::vector<int32_t>{made[0], made[2], made[3]}));
  EXPECT_EQ(SetUIDSEList("ABCDEFGHIJKLMNOPQRST"), 0);
  EXPECT_EQ(kytGetNextSendCmd(0, &cn), -1);
  EXPECT_EQ(SetUIDSEList("BERTBERTBERTBERTBERTX"), -5);
  EXPECT_EQ(kytGetNextSendCmd(0, &cn), -1);  // still the 20-character filter
  EXPECT_EQ(SetUIDSEList(nullptr), 0);
  ASSERT_EQ(kytGetNextSendCmd(0, &cn), 0);
  EXPECT_EQ(cn, made[0]);
}

TEST_F(SendApiTest, ErrorInformationAndQueueRowsAreAttached) {
  kytSendEntryRequest r = req();
  ASSERT_EQ(kytCreateSendEntryS(&r), 0) << msg_;
  const int32_t cn = last_cn();
  // As send processing would: the queue row, the command's and the station's last errors.
  const std::string n = std::to_string(cn);
  sql("UPDATE ET SET CNSK = 7001 WHERE CNSE = " + n);
  sql("INSERT INTO SK (CN, CNSE, SIDNEIGHB, FLAGZREC, SIDDEST, VDSN, DTAVAIL, CNTRECORD, "
      "CNTBYTE, CNTSENDATT, CNTRETRY, CNQE) VALUES(7001, " + n +
      ", 'P1', 0, 'P1', 'data.txt', 1000, 3, '5000000000', 2, 0, 0)");
  sql("INSERT INTO FK (CN, ERR, ERRNO, ERRTYPE, ERRMSG) VALUES(" + n + ", 5, 6, 7, 'refused')");
  sql("INSERT INTO FS (SID, ERR, ERRNO, ERRTYPE, ERRMSG) VALUES('P1', 8, 9, 10, 'no line')");
  int32_t got = 0;
  kytSendErrInfo info{};
  ASSERT_EQ(kytGetNextSendErrCh(0, &got, &info), 0);
  EXPECT_EQ(got, cn);
  EXPECT_EQ(info.entry.cn, cn);
  EXPECT_EQ(info.entry.has_sk, 1);
  EXPECT_EQ(info.entry.cntbyte, 5000000000LL);
  EXPECT_EQ(info.entry.cntrecord, 3);
  EXPECT_EQ(info.entry.cntsendatt, 2);
  EXPECT_NE(info.entry.dtavail[0], '\0');
  EXPECT_EQ(info.has_fk, 1);
  EXPECT_EQ(info.fk_err, 5);
  EXPECT_EQ(info.fk_errno, 6);
  EXPECT_STREQ(info.fk_errmsg, "refused");
  EXPECT_EQ(info.has_fs, 1);
  EXPECT_STREQ(info.fs_sid, "P1");
  EXPECT_STREQ(info.fs_errmsg, "no line");
  EXPECT_EQ(kytGetNextSendErrCh(cn, &got, &info), -1);
  EXPECT_EQ(kytGetNextSendErrCh(0, nullptr, &info), -5);
}

TEST_F(SendApiTest, SetSendEntryRunsOneCommandPerAction) {
  kytSendEntryRequest r = req();
  ASSERT_EQ(kytCreateSendEntryS(&r), 0) << msg_;
  const int32_t cn = last_cn();
  kyt_kt_elem kt{};
  std::strcpy(msg_, "untouched");
  EXPECT_EQ(kytSetSendEntry(cn, 4, nullptr, msg_), 99);
  EXPECT_EQ(kytSetSendEntry(cn, 0, nullptr, msg_), 99);
  EXPECT_STREQ(msg_, "untouched");  // no command ran
  ASSERT_EQ(getKTelemByCn(cn, &kt), 0);
  EXPECT_STREQ(kt.status, "qn");

  const std::string log = kytlog_file();
  ASSERT_EQ(kytSetSendEntry(cn, 1, nullptr, msg_), 0) << msg_;
  ASSERT_EQ(getKTelemByCn(cn, &kt), 0);
  EXPECT_STREQ(kt.status, "ho");
  EXPECT_NE(test::read_file(log).find("CMD_EXECUTED Command executed: SEND /HOLD CMDID=" +
                                      std::to_string(cn)),
            std::string::npos)
      << test::read_file(log);
  EXPECT_EQ(kytSetSendEntry(cn, 1, nullptr, msg_), api::kSendWrongState);
  ASSERT_EQ(kytSetSendEntry(cn, 2, nullptr, nullptr), 0);
  ASSERT_EQ(getKTelemByCn(cn, &kt), 0);
  EXPECT_STREQ(kt.status, "qn");
  ASSERT_EQ(kytSetSendEntry(cn, 3, nullptr, msg_), 0) << msg_;
  ASSERT_EQ(getKTelemByCn(cn, &kt), 0);
  EXPECT_STREQ(kt.status, "de");
  EXPECT_EQ(kytSetSendEntry(cn + 1000, 3, nullptr, msg_), api::kSendUnknown);
}

}  // namespace
}  // namespace kyt
