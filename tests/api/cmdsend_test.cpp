// The SEND verb's handler through a command set of its own: the rows of SEND /CREATE read
// back, its refusals leaving nothing behind, a failure in the middle of the transaction,
// and /HOLD, /RELEASE, /DELETE with the states they refuse.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api/calsnd.h"
#include "api/verbs.h"
#include "kyt/kyt.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"
#include "send_rows.h"
#include "stationdb.h"
#include "testutil.h"

namespace kyt {
namespace {

constexpr const char* kSendSyntax =
    "SEND: 0-1 ACCOUNT CODEIN DSN DISP FORMAT VFTYP MAXRECL INITTIME LABEL SERIAL SIDORIG "
    "OIDORIG USEUSERSID CMDID EFCHECK (CODEOUT CODETABLE DSNNEW SID OIDDEST TSTAMP COMPRESSION  "
    "ENCRYPTION UID)";

void sql(const std::string& statement) {
  ASSERT_EQ(rpdsql_run(statement), 0) << statement;
}

// A station with three partners (HOME the local one), a route to PARTNER2 via PARTNER1, a
// partner with an ODETTE id, a user with a station of its own, and a 3000-byte file.
class SendVerbTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(test::open_station_db(dir_));
    rpdprm_reset_for_tests();
    api::calsnd_reset_for_tests();
    set_calling_user(nullptr);
    ASSERT_EQ(rpdini(), 0);
    ASSERT_EQ(rpdipr(nullptr), 0);
    if (with_lid_) sql("INSERT INTO PT (NAME, TYPE, LEN, VAL) VALUES('LID', 1, 17, 'HOME')");
    for (const char* s : {"HOME", "PARTNER1", "PARTNER2", "PARTNER3"})
      sql(std::string("INSERT INTO ST (SID, NETID, STATNAME) VALUES('") + s + "', 'N', 'x')");
    sql("INSERT INTO OP (SID, ODETTEID, PSWFROM, PSWTO, FLAGCOMP, FLAGCRYP) VALUES("
        "'PARTNER3', 'O0013PARTNER3', 'A', 'B', 0, 0)");
    sql("INSERT INTO RT (SIDDEST, SIDNEIGHB, PRIORITY) VALUES('PARTNER2', 'PARTNER1', 1)");
    sql("INSERT INTO BT (UID, NAMEUSR, PRIVUSR, LANGUAGE, USERSID) VALUES("
        "'CLERK', 'Clerk', 'U', 'E', 'PARTNER1')");
    file_ = dir_.file("payload.dat");
    test::write_file(file_, std::string(3000, 'x'));
    ASSERT_EQ(rpxcid(set_, kSendSyntax, api::verb_send), 0);
  }
  void TearDown() override { rpdsql_run("CLOSE DB"); }

  int32_t send(const std::string& line) {
    msg_ = cmd_msg{};
    api::set_command_number(0);
    return rpxcie(set_, line, &msg_);
  }
  std::string create_line(const std::string& rest = "(SID=PARTNER1)") {
    return "SEND /CREATE DSN=\"" + file_ + "\" " + rest;
  }
  int32_t next_cn() {
    kyt_lc_elem lc{};
    EXPECT_EQ(getLCelem(&lc), 0);
    return lc.cn + 1;
  }
  std::vector<kyt_et_elem> ets(int32_t cn) { return test::et_rows(cn); }

  bool with_lid_ = true;
  test::TempDir dir_;
  CommandSet set_;
  cmd_msg msg_;
  std::string file_;
};

TEST_F(SendVerbTest, CreateWritesCommandSenderFileAndOneDestinationAGroup) {
  const int32_t expected = next_cn();
  ASSERT_EQ(send(create_line("DISP=d FORMAT=f CODEIN=E VFTYP=F MAXRECL=80 "
                             "INITTIME='2030/01/02 03:04:05' LABEL=lab SERIAL=Y ACCOUNT=acc "
                             "EFCHECK=Y (SID=partner1 DSNNEW=\"VIRT.NAME\" CODEOUT=A TSTAMP=Y "
                             "COMPRESSION=Y UID=bob) (SID=PARTNER2)")),
            0)
      << msg_.text;
  const int32_t cn = api::command_number();
  EXPECT_EQ(cn, expected);

  kyt_kt_elem kt{};
  ASSERT_EQ(getKTelemByCn(cn, &kt), 0);
  EXPECT_STREQ(kt.cmdtype, "SE");
  EXPECT_STREQ(kt.status, "qn");
  EXPECT_EQ(kt.priority, 50);  // SEPRIO
  EXPECT_STREQ(kt.dtschedule, "2030/01/02 03:04:05");
  EXPECT_NE(kt.dtcreated[0], '\0');
  EXPECT_EQ(kt.flagserial, 1);

  kyt_se_elem se{};
  ASSERT_EQ(getSEelemByCn(cn, &se), 0);
  EXPECT_STREQ(se.uidsender, "SYSTEM");
  EXPECT_STREQ(se.acctsender, "acc");
  EXPECT_STREQ(se.sidsender, "HOME");
  EXPECT_STREQ(se.seusrlabel, "lab");
  EXPECT_STREQ(se.infotype, "E");
  EXPECT_EQ(se.cntsk, 2);

  kyt_vd_elem vd{};
  ASSERT_EQ(getVDelemByCn(cn, &vd), 0);
  EXPECT_EQ(std::string(vd.dsnlocal), file_);
  EXPECT_STREQ(vd.recfm, "F");
  EXPECT_EQ(vd.maxrecl, 80);
  EXPECT_EQ(vd.approxsize, 3);
  EXPECT_STREQ(vd.disp, "D");
  EXPECT_STREQ(vd.code, "E");
  EXPECT_STREQ(vd.vftyp, "F");
  EXPECT_STREQ(vd.codetrans, "Y");
  EXPECT_EQ(vd.flagcompr, 1);

  std::vector<kyt_et_elem> rows = ets(cn);
  ASSERT_EQ(rows.size(), 2u);
  const kyt_et_elem* p1 = nullptr;
  const kyt_et_elem* p2 = nullptr;
  for (const kyt_et_elem& e : rows) (std::string(e.siddest) == "PARTNER1" ? p1 : p2) = &e;
  ASSERT_TRUE(p1 && p2);
  EXPECT_STREQ(p1->uid, "bob");
  EXPECT_STREQ(p1->vdsn, "VIRT.NAME");
  EXPECT_STREQ(p1->code, "A");
  EXPECT_EQ(p1->flagtstamp, 1);
  EXPECT_EQ(p1->flagcomp, 1);
  EXPECT_STREQ(p1->sidneighb, "PARTNER1");
  EXPECT_STREQ(p1->statuset, "qn");
  EXPECT_STREQ(p2->siddest, "PARTNER2");
  EXPECT_STREQ(p2->sidneighb, "PARTNER1");  // by the route
  EXPECT_STREQ(p2->uid, "SYSTEM");
  EXPECT_STREQ(p2->vdsn, "payload.dat");
  EXPECT_STREQ(p2->code, "E");
  EXPECT_EQ(p2->flagtstamp, 0);

  // The next entry takes the next number; defaults come from the parameters.
  ASSERT_EQ(send(create_line()), 0) << msg_.text;
  EXPECT_EQ(api::command_number(), cn + 1);
  ASSERT_EQ(getVDelemByCn(cn + 1, &vd), 0);
  EXPECT_STREQ(vd.code, "A");   // CODEIN
  EXPECT_STREQ(vd.vftyp, "V");  // VFTYP
  EXPECT_STREQ(vd.disp, "K");
  EXPECT_STREQ(vd.recfm, "U");
  EXPECT_EQ(vd.maxrecl, 0);
  EXPECT_STREQ(vd.codetrans, "N");
  ASSERT_EQ(getKTelemByCn(cn + 1, &kt), 0);
  EXPECT_STREQ(kt.dtschedule, "");
}

TEST_F(SendVerbTest, RefusalsWriteNothingAndDrawNoNumber) {
  const int32_t expected = next_cn();
  const std::string dir = dir_.path();
  const struct {
    std::string line;
    int32_t code;
  } cases[] = {
      {"SEND /CREATE (SID=PARTNER1)", api::kSendMissing},
      {"SEND /CREATE DSN=\"" + dir_.file("missing.dat") + "\" (SID=PARTNER1)", api::kSendNoFile},
      {"SEND /CREATE DSN=\"" + dir + "\" (SID=PARTNER1)", api::kSendNoFile},
      {create_line(""), api::kSendMissing},
      {create_line("(DSNNEW=X)"), api::kSendMissing},
      {create_line("(SID=NOBODY)"), api::kSendUnknown},
      {create_line("(SID=PARTNER1234567890)"), api::kSendBadValue},
      {create_line("(SID=PARTNER1) (SID=partner1)"), api::kSendBadValue},
      {create_line("DISP=X (SID=PARTNER1)"), api::kSendBadValue},
      {create_line("FORMAT=Q (SID=PARTNER1)"), api::kSendBadValue},
      {create_line("VFTYP=U (SID=PARTNER1)"), api::kSendBadValue},
      {create_line("CODEIN=ASCII (SID=PARTNER1)"), api::kSendBadValue},
      {create_line("MAXRECL=abc (SID=PARTNER1)"), api::kSendBadValue},
      {create_line("MAXRECL=100000 (SID=PARTNER1)"), api::kSendBadValue},
      {create_line("MAXRECL=-2 (SID=PARTNER1)"), api::kSendBadValue},
      {create_line("INITTIME=tomorrow (SID=PARTNER1)"), api::kSendBadValue},
      {create_line("LABEL=ABCDEFGHIJKLMNOPQRSTU (SID=PARTNER1)"), api::kSendBadValue},
      {create_line("SERIAL=maybe (SID=PARTNER1)"), api::kSendBadValue},
      {create_line("CMDID=1 (SID=PARTNER1)"), api::kSendNotForAction},
      {create_line("(SID=PARTNER1 DSNNEW=\"ABCDEFGHIJKLMNOPQRSTUVWXYZ1\")"), api::kSendBadValue},
      {create_line("(SID=PARTNER1 TSTAMP=sometimes)"), api::kSendBadValue},
      {create_line("(OIDDEST=\"O0013NOBODY\")"), api::kSendUnknown},
      {create_line("(SID=PARTNER1 OIDDEST=\"O0013PARTNER3\")"), api::kSendBadValue},
      {create_line("SIDORIG=PARTNER1 USEUSERSID=Y (SID=PARTNER2)"), api::kSendBadValue},
      {create_line("SIDORIG=NOBODY (SID=PARTNER2)"), api::kSendUnknown},
      {create_line("USEUSERSID=Y (SID=PARTNER2)"), api::kSendUnknown},  // SYSTEM has none
      {create_line("LABEL=\"a\tb\" (SID=PARTNER1)"), api::kSendBadValue},
      {"SEND /FROB CMDID=1", api::kSendBadAction},
      {"SEND FROB=1", api::kSendBadAction},
      // The command language's own refusals reach no handler.
      {"SEND /CREATE FROB=1", kCmdKeywordNotAllowed},
      {create_line("DSN=\"x\" (SID=PARTNER1)"), kCmdKeywordTwice},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(send(c.line), c.code) << c.line;
    EXPECT_EQ(api::command_number(), 0) << c.line;
    if (c.code >= api::kSendBadAction) {
      EXPECT_EQ(msg_.severity, 'E') << c.line;
    }
  }
  EXPECT_TRUE(test::kt_cns().empty());
  EXPECT_EQ(next_cn(), expected);
  kyt_se_elem se{};
  EXPECT_EQ(getSEelemList(&se), RPDSQL_NOT_FOUND);
  kyt_vd_elem vd{};
  EXPECT_EQ(getVDelemList(&vd), RPDSQL_NOT_FOUND);
  EXPECT_TRUE(ets(expected).empty());
}

TEST_F(SendVerbTest, PartnersByOdetteIdAndTheUsersOwnStation) {
  // OIDDEST alone names the destination; OIDORIG the sender.
  ASSERT_EQ(send(create_line("OIDORIG=\"o0013partner3\" (OIDDEST=\"O0013PARTNER3\")")), 0)
      << msg_.text;
  int32_t cn = api::command_number();
  std::vector<kyt_et_elem> rows = ets(cn);
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_STREQ(rows[0].siddest, "PARTNER3");
  kyt_se_elem se{};
  ASSERT_EQ(getSEelemByCn(cn, &se), 0);
  EXPECT_STREQ(se.sidsender, "PARTNER3");

  // The acting user's own station; the acting user on the sender's row.
  api::set_send_acting_user("CLERK");
  ASSERT_EQ(send(create_line("USEUSERSID=Y (SID=PARTNER2)")), 0) << msg_.text;
  cn = api::command_number();
  ASSERT_EQ(getSEelemByCn(cn, &se), 0);
  EXPECT_STREQ(se.sidsender, "PARTNER1");
  EXPECT_STREQ(se.uidsender, "CLERK");
  rows = ets(cn);
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_STREQ(rows[0].uid, "CLERK");

  // The same station in two groups for different users is two destinations.
  ASSERT_EQ(send(create_line("(SID=PARTNER1 UID=A) (SID=PARTNER1 UID=B)")), 0) << msg_.text;
  EXPECT_EQ(ets(api::command_number()).size(), 2u);
}

TEST_F(SendVerbTest, AFailedRowUndoesTheWholeEntry) {
  const int32_t expected = next_cn();
  ASSERT_EQ(sqlDropTable("ET"), 0);
  EXPECT_EQ(send(create_line()), 99);
  EXPECT_NE(std::string(msg_.text).find("ET"), std::string::npos) << msg_.text;
  EXPECT_EQ(api::command_number(), 0);
  EXPECT_TRUE(test::kt_cns().empty());
  kyt_se_elem se{};
  EXPECT_EQ(getSEelemByCn(expected, &se), RPDSQL_NOT_FOUND);
  kyt_vd_elem vd{};
  EXPECT_EQ(getVDelemByCn(expected, &vd), RPDSQL_NOT_FOUND);
  EXPECT_EQ(next_cn(), expected);  // the number went back with the rows
}

TEST_F(SendVerbTest, HoldReleaseDeleteChangeTheMarksInTheirStates) {
  ASSERT_EQ(send(create_line("(SID=PARTNER1) (SID=PARTNER2)")), 0) << msg_.text;
  const int32_t cn = api::command_number();
  const std::string id = " CMDID=" + std::to_string(cn);
  set_calling_user("OPER");

  kyt_kt_elem kt{};
  EXPECT_EQ(send("SEND /RELEASE" + id), api::kSendWrongState);
  ASSERT_EQ(send("SEND /hold" + id), 0) << msg_.text;
  EXPECT_EQ(api::command_number(), 0);  // no new command row
  ASSERT_EQ(getKTelemByCn(cn, &kt), 0);
  EXPECT_STREQ(kt.status, "ho");
  EXPECT_STREQ(kt.heldby, "U");
  EXPECT_STREQ(kt.xidheld, "OPER");
  EXPECT_NE(kt.dthold[0], '\0');
  EXPECT_EQ(send("SEND /HOLD" + id), api::kSendWrongState);

  ASSERT_EQ(send("SEND /RELEASE" + id), 0) << msg_.text;
  ASSERT_EQ(getKTelemByCn(cn, &kt), 0);
  EXPECT_STREQ(kt.status, "qn");
  EXPECT_STREQ(kt.freedby, "U");
  EXPECT_STREQ(kt.xidfreed, "OPER");
  EXPECT_NE(kt.dtfree[0], '\0');

  ASSERT_EQ(send("SEND /DELETE" + id), 0) << msg_.text;
  ASSERT_EQ(getKTelemByCn(cn, &kt), 0);
  EXPECT_STREQ(kt.status, "de");
  EXPECT_STREQ(kt.deletedby, "U");
  EXPECT_STREQ(kt.xiddeleted, "OPER");
  for (const kyt_et_elem& e : ets(cn)) {
    EXPECT_STREQ(e.statuset, "de");
    EXPECT_STREQ(e.deletedby, "U");
    EXPECT_STREQ(e.xiddeleted, "OPER");
  }
  EXPECT_EQ(ets(cn).size(), 2u);
  EXPECT_EQ(send("SEND /DELETE" + id), api::kSendWrongState);
  EXPECT_EQ(send("SEND /HOLD" + id), api::kSendWrongState);
  EXPECT_EQ(send("SEND /RELEASE" + id), api::kSendWrongState);

  // Commands that are not send entries, and malformed requests.
  sql("INSERT INTO KT (CN, CMDTYPE, DTCREATED, FLAGSERIAL, STATUS, ERRORCODE, KYTID) VALUES("
      "90000, 'OK', 1, 0, 'qn', 0, 0)");
  EXPECT_EQ(send("SEND /HOLD CMDID=90000"), api::kSendUnknown);
  ASSERT_EQ(getKTelemByCn(90000, &kt), 0);
  EXPECT_STREQ(kt.status, "qn");
  EXPECT_EQ(send("SEND /HOLD CMDID=90001"), api::kSendUnknown);
  EXPECT_EQ(send("SEND /HOLD"), api::kSendMissing);
  EXPECT_EQ(send("SEND /HOLD CMDID=abc"), api::kSendBadValue);
  EXPECT_EQ(send("SEND /HOLD CMDID=0"), api::kSendBadValue);
  EXPECT_EQ(send("SEND /HOLD CMDID=99999999999"), api::kSendBadValue);
  EXPECT_EQ(send("SEND /HOLD LABEL=x" + id), api::kSendNotForAction);
  EXPECT_EQ(send("SEND /HOLD" + id + " (SID=PARTNER1)"), api::kSendNotForAction);
  set_calling_user(nullptr);
}

class SendVerbWithoutLidTest : public SendVerbTest {
 protected:
  SendVerbWithoutLidTest() { with_lid_ = false; }
};

TEST_F(SendVerbWithoutLidTest, TheSenderMustBeKnown) {
  EXPECT_EQ(send(create_line()), api::kSendUnknown);
  EXPECT_NE(std::string(msg_.text).find("LID"), std::string::npos) << msg_.text;
  EXPECT_TRUE(test::kt_cns().empty());
  ASSERT_EQ(send(create_line("SIDORIG=partner2 (SID=PARTNER1)")), 0) << msg_.text;
  kyt_se_elem se{};
  ASSERT_EQ(getSEelemByCn(api::command_number(), &se), 0);
  EXPECT_STREQ(se.sidsender, "PARTNER2");
}

}  // namespace
}  // namespace kyt
