// Every verb of the batch set through kytcal: the rows it writes, read back, and what it
// refuses (with the rows left as they were).
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "api/batchdb.h"
#include "api/verbs.h"

namespace kyt::test {
namespace {

class VerbsTest : public BatchTest {
 protected:
  static void station(const char* sid, bool suspended_link = false) {
    kyt_st_elem s{};
    std::strcpy(s.sid, sid);
    std::strcpy(s.netid, (std::string("O") + sid).c_str());
    std::strcpy(s.statname, "partner");
    ASSERT_EQ(tm::insert(Tab::kST, "test", &s), 0);
    if (suspended_link) {
      kyt_nk_elem n{};
      std::strcpy(n.sid, sid);
      std::strcpy(n.ftp, "O");
      std::strcpy(n.protocol, "T");
      n.flagsuspnd = 1;
      std::strcpy(n.autodial, "Y");
      ASSERT_EQ(tm::insert(Tab::kNK, "test", &n), 0);
      std::strcpy(n.protocol, "X");
      ASSERT_EQ(tm::insert(Tab::kNK, "test", &n), 0);
    }
  }
  // A command row of a type and status, numbered as the entry numbers them.
  static int32_t command(const char* type, const char* status) {
    int32_t cn = 0;
    EXPECT_EQ(next_command_number(&cn), 0);
    kyt_kt_elem k{};
    k.cn = cn;
    std::strcpy(k.cmdtype, type);
    std::strcpy(k.status, status);
    k.errorcode = 7;
    EXPECT_EQ(insKT(&k), 0);
    return cn;
  }
  static void destination(int32_t cnse, const char* sid, const char* uid) {
    kyt_et_elem e{};
    std::strcpy(e.uid, uid);
    std::strcpy(e.cid, "C1");
    std::strcpy(e.siddest, sid);
    e.cnse = cnse;
    std::strcpy(e.vdsn, "PAYROLL");
    std::strcpy(e.code, "A");
    std::strcpy(e.statuset, "qn");
    ASSERT_EQ(insETelem(&e), 0);
  }
  static std::string param(const char* name) {
    std::string v;
    return rpdprm_get_text(name, &v) == 0 ? v : "<missing>";
  }
};

TEST_F(VerbsTest, StartAndEndWriteForcedEnd) {
  Call c = call("END");
  ASSERT_EQ(c.rc, 0);
  EXPECT_EQ(param("FORCEDEND"), "1");
  EXPECT_STREQ(kt(c.cn).cmdtype, "EN");
  EXPECT_STREQ(kt(c.cn).status, "dn");
  EXPECT_STRNE(kt(c.cn).dtdone, "");
  c = call("START");
  ASSERT_EQ(c.rc, 0);
  EXPECT_EQ(param("FORCEDEND"), "0");
  EXPECT_STREQ(kt(c.cn).cmdtype, "SA");
  // A new environment file must be readable; both forms at once are refused.
  const int32_t rows = count(Tab::kKT);
  EXPECT_EQ(rc("START KYTENV=" + dir_.file("missing.dat")), 99);
  EXPECT_EQ(rc("START /a KYTENV=b"), 16);
  EXPECT_EQ(count(Tab::kKT), rows);
  EXPECT_EQ(rc("START KYTENV=" + dir_.file("kytenv.dat")), 0);
  EXPECT_EQ(param("KYTENV"), dir_.file("kytenv.dat"));
}

TEST_F(VerbsTest, UserCreateModifyDelete) {
  station("P1");
  Call c = call("USER /CREATE UID=op1 NAME=\"Oper One\" PRIV=o LANGUAGE=d PASSWORD=s3cret "
                "USERSID=p1 PROFSESS=x");
  ASSERT_EQ(c.rc, 0) << c.msg;
  kyt_bt_elem u{};
  ASSERT_EQ(getBTelemByUid("OP1", &u), 0);
  EXPECT_STREQ(u.nameusr, "Oper One");
  EXPECT_STREQ(u.privusr, "O");
  EXPECT_STREQ(u.language, "D");
  EXPECT_STREQ(u.password, "s3cret");
  EXPECT_STREQ(u.usersid, "P1");
  EXPECT_STREQ(u.profsess, "X");
  EXPECT_STREQ(kt(c.cn).cmdtype, "US");
  // Defaults: English, privilege U.
  ASSERT_EQ(rc("USER/CREATE UID=op2 NAME=two"), 0);
  ASSERT_EQ(getBTelemByUid("OP2", &u), 0);
  EXPECT_STREQ(u.language, "E");
  EXPECT_STREQ(u.privusr, "U");
  // Modify changes only what is given.
  ASSERT_EQ(rc("USER /MODIFY UID=OP1 PRIV=A"), 0);
  ASSERT_EQ(getBTelemByUid("OP1", &u), 0);
  EXPECT_STREQ(u.privusr, "A");
  EXPECT_STREQ(u.nameusr, "Oper One");
  EXPECT_STREQ(u.password, "s3cret");
  // Refusals change nothing.
  const int32_t commands = count(Tab::kKT);
  EXPECT_EQ(rc("USER /CREATE NAME=x"), 8);
  EXPECT_EQ(rc("USER /CREATE UID=OP3"), 8);
  EXPECT_EQ(rc("USER UID=OP3 NAME=x"), 8);
  EXPECT_EQ(rc("USER /RENAME UID=OP1"), 9);
  EXPECT_EQ(rc("USER /CREATE UID=OP1 NAME=again"), 19);
  EXPECT_EQ(rc("USER /CREATE UID=OP3 NAME=x PRIV=Z"), 16);
  EXPECT_EQ(rc("USER /CREATE UID=OP3 NAME=x LANGUAGE=DE"), 16);
  EXPECT_EQ(rc("USER /CREATE UID=ABCDEFGHIJKLMNOPQRSTU NAME=x"), 16);  // 21 characters
  EXPECT_EQ(rc("USER /CREATE UID=OP3 NAME=x PASSWORD=12345678901234567"), 16);
  EXPECT_EQ(rc("USER /CREATE UID=OP3 NAME=x USERSID=NOWHERE"), 13);
  EXPECT_EQ(rc("USER /MODIFY UID=OP9 NAME=x"), 12);
  EXPECT_EQ(rc("USER /MODIFY UID=OP1 PRIV=Q"), 16);
  EXPECT_EQ(getBTelemByUid("OP3", &u), RPDSQL_NOT_FOUND);
  ASSERT_EQ(getBTelemByUid("OP1", &u), 0);
  EXPECT_STREQ(u.privusr, "A");
  EXPECT_EQ(count(Tab::kKT), commands);
  ASSERT_EQ(rc("USER /DELETE UID=op1"), 0);
  EXPECT_EQ(getBTelemByUid("OP1", &u), RPDSQL_NOT_FOUND);
  EXPECT_EQ(rc("USER /DELETE UID=op1"), 12);
}

TEST_F(VerbsTest, RecvQueuesAReceivedFileAgainAndEerpQueuesAResponse) {
  const int32_t ie = command("IE", "er");
  const int32_t se = command("SE", "qn");
  Call c = call("RECV CMDID=" + std::to_string(ie));
  ASSERT_EQ(c.rc, 0);
  EXPECT_EQ(c.cn, ie);
  kyt_kt_elem k = kt(ie);
  EXPECT_STREQ(k.status, "qn");
  EXPECT_EQ(k.errorcode, 0);
  EXPECT_STRNE(k.dtschedule, "");
  EXPECT_EQ(rc("RECV /" + std::to_string(ie)), 0);
  EXPECT_EQ(rc("RECV CMDID=" + std::to_string(se)), 14);
  EXPECT_EQ(kt(se).errorcode, 7);
  EXPECT_EQ(rc("RECV CMDID=99999"), 12);
  EXPECT_EQ(rc("RECV CMDID=abc"), 16);
  EXPECT_EQ(rc("RECV CMDID=0"), 16);
  EXPECT_EQ(rc("RECV"), 8);

  c = call("EERP CMDID=" + std::to_string(ie));
  ASSERT_EQ(c.rc, 0);
  ASSERT_GT(c.cn, se);
  EXPECT_STREQ(kt(c.cn).cmdtype, "EE");
  EXPECT_STREQ(kt(c.cn).status, "qn");
  EXPECT_EQ(kt(c.cn).priority, 50);  // IEPRIO
  kyt_ec_elem ec{};
  ASSERT_EQ(getECelemByCn(c.cn, &ec), 0);
  EXPECT_EQ(ec.cncmd, ie);
  EXPECT_STREQ(ec.statuscn, "Q");
  // One response waits at a time; another type is refused.
  EXPECT_EQ(rc("EERP CMDID=" + std::to_string(ie)), 19);
  EXPECT_EQ(rc("EERP CMDID=" + std::to_string(se)), 14);
  EXPECT_EQ(count(Tab::kEC), 1);
}

TEST_F(VerbsTest, ReceiverAddsAndDeletesDestinations) {
  station("P1");
  station("P2");
  const int32_t se = command("SE", "qn");
  destination(se, "P1", "U1");
  Call c = call("RECEIVER /ADD CMDID=" + std::to_string(se) + " SID=p2");
  ASSERT_EQ(c.rc, 0);
  EXPECT_EQ(c.cn, se);
  kyt_et_elem e{};
  ASSERT_EQ(getETelemByKey("U1", "C1", "P2", se, 0, &e), 0);
  EXPECT_STREQ(e.vdsn, "PAYROLL");
  EXPECT_STREQ(e.statuset, "qn");
  const std::string n = std::to_string(se);
  EXPECT_EQ(rc("RECEIVER /ADD CMDID=" + n + " SID=P2"), 19);
  EXPECT_EQ(rc("RECEIVER /ADD CMDID=" + n + " SID=P9"), 13);
  EXPECT_EQ(rc("RECEIVER /ADD CMDID=" + n), 8);
  EXPECT_EQ(rc("RECEIVER /MOVE CMDID=" + n + " SID=P2"), 9);
  EXPECT_EQ(rc("RECEIVER /ADD CMDID=99999 SID=P2"), 12);
  const int32_t ie = command("IE", "qn");
  EXPECT_EQ(rc("RECEIVER /ADD CMDID=" + std::to_string(ie) + " SID=P2"), 14);
  EXPECT_EQ(count(Tab::kET), 2);

  ASSERT_EQ(rc("RECEIVER /DELETE CMDID=" + n + " SID=P1"), 0);
  ASSERT_EQ(getETelemByKey("U1", "C1", "P1", se, 0, &e), 0);
  EXPECT_STREQ(e.deletedby, "U");
  EXPECT_STREQ(e.xiddeleted, "SYSTEM");
  EXPECT_STREQ(e.statuset, "de");
  EXPECT_EQ(rc("RECEIVER /DELETE CMDID=" + n + " SID=P1"), 12);  // already gone
  EXPECT_EQ(rc("RECEIVER /DELETE CMDID=" + n + " SID=P2"), 14);  // the last one
  ASSERT_EQ(getETelemByKey("U1", "C1", "P2", se, 0, &e), 0);
  EXPECT_STREQ(e.statuset, "qn");
  // An ended send takes no more changes.
  const int32_t done = command("SE", "en");
  destination(done, "P1", "U1");
  EXPECT_EQ(rc("RECEIVER /ADD CMDID=" + std::to_string(done) + " SID=P2"), 14);
}

TEST_F(VerbsTest, ActivateLiftsTheSuspension) {
  station("P1", true);
  station("P2");
  Call c = call("ACTIVATE SID=p1");
  ASSERT_EQ(c.rc, 0);
  EXPECT_STREQ(kt(c.cn).cmdtype, "AC");
  kyt_nk_elem first{};
  ASSERT_EQ(getNKelemList(&first), 0);
  int links = 0;
  for (const kyt_nk_elem* n = &first; n != nullptr; n = n->next, ++links) EXPECT_EQ(n->flagsuspnd, 0);
  freeNKelemList(&first);
  EXPECT_EQ(links, 2);
  EXPECT_EQ(rc("ACTIVATE /P1"), 0);
  EXPECT_EQ(rc("ACTIVATE SID=P2"), 12);  // no link to lift
  EXPECT_EQ(rc("ACTIVATE SID=P7"), 13);
  EXPECT_EQ(rc("ACTIVATE"), 8);
}

TEST_F(VerbsTest, SetparmWritesAndFlagsTheMonitors) {
  kyt_ri_elem ri{};
  ri.kytid = 1;
  std::strcpy(ri.mname, "kytmon");
  std::strcpy(ri.ptype, "M");
  ri.flgflush = 64;
  std::strcpy(ri.stopmode, "N");
  ASSERT_EQ(insRIelem(&ri), 0);
  ri.kytid = 2;
  std::strcpy(ri.ptype, "W");
  ri.flgflush = 0;
  ASSERT_EQ(insRIelem(&ri), 0);
  Call c = call("SETPARM SLEEP=45");
  ASSERT_EQ(c.rc, 0) << c.msg;
  EXPECT_STREQ(kt(c.cn).cmdtype, "SP");
  rpdprm_reset_for_tests();
  EXPECT_EQ(param("SLEEP"), "45");
  ASSERT_EQ(getRIelemByKytid(1, &ri), 0);
  EXPECT_EQ(ri.flgflush, 64 | 4);
  ASSERT_EQ(getRIelemByKytid(2, &ri), 0);
  EXPECT_EQ(ri.flgflush, 0);
  EXPECT_EQ(rc("SETPARM PARM=vftyp=F"), 0);
  EXPECT_EQ(rc("SETPARM /SLEEP=50"), 0);
  EXPECT_EQ(rc("SETPARM PARM=NOSUCH=1"), 12);
  EXPECT_EQ(rc("SETPARM PARM=SLEEP="), 16);
  EXPECT_EQ(rc("SETPARM PARM=SLEEP"), 16);
  EXPECT_EQ(rc("SETPARM"), 8);
  rpdprm_reset_for_tests();
  EXPECT_EQ(param("SLEEP"), "50");
  EXPECT_EQ(param("VFTYP"), "F");
}

TEST_F(VerbsTest, ListparmPrintsOneOrAll) {
  Call c = call("LISTPARM PARM=sleep");
  ASSERT_EQ(c.rc, 0);
  EXPECT_EQ(c.msg, "SLEEP = 30");
  EXPECT_EQ(c.cn, 0);
  EXPECT_EQ(out_, "KYT Parameter SLEEP = 30\n");
  out_.clear();
  c = call("LISTPARM");
  ASSERT_EQ(c.rc, 0);
  EXPECT_EQ(out_.rfind("KYT Parameter KYTMODE = n\nKYT Parameter TESTMODE = 0\n", 0), 0u) << out_;
  EXPECT_NE(out_.find("KYT Parameter NUMREDOLOGS = NOLIMIT\n"), std::string::npos);
  EXPECT_EQ(c.msg, "Command executed: LISTPARM");
  EXPECT_EQ(rc("LISTPARM /NOSUCH"), 12);
}

TEST_F(VerbsTest, PrintFilesAndLists) {
  write_file(dir_.file("note.txt"), "line one\nline two\n");
  ASSERT_EQ(rc("PRINT /" + dir_.file("note.txt")), 0);
  EXPECT_EQ(out_, "line one\nline two\n");
  EXPECT_EQ(rc("PRINT /" + dir_.file("none.txt")), 17);
  EXPECT_EQ(rc("PRINT /" + dir_.path()), 17);  // a directory
  write_file(dir_.file("big.txt"), std::string((1 << 20) + 1, 'b'));
  EXPECT_EQ(rc("PRINT /" + dir_.file("big.txt")), 16);
  out_.clear();
  out_.clear();
  ASSERT_EQ(rc("USER /CREATE UID=OP1 NAME=One PASSWORD=topsecret"), 0);
  ASSERT_EQ(rc("PRINT LIST=users"), 0);
  EXPECT_NE(out_.find("OP1"), std::string::npos);
  EXPECT_EQ(out_.find("topsecret"), std::string::npos);
  out_.clear();
  ASSERT_EQ(rc("PRINT LIST=COMMANDS"), 0);
  EXPECT_NE(out_.find(" US dn "), std::string::npos) << out_;
  const int32_t commands = count(Tab::kKT);
  EXPECT_EQ(rc("PRINT LIST=TABLES"), 16);
  EXPECT_EQ(rc("PRINT LIST=STATIONS"), 0);
  EXPECT_EQ(count(Tab::kKT), commands);
}

TEST_F(VerbsTest, SendjobWritesAJob) {
  station("P1");
  Call c = call("SENDJOB VDSN=payroll SIDSENDER=p1 JOB=\"/opt/jobs/pay.sh -x\" ATTEMPTS=3 "
                "COMMENT=\"monthly run\"");
  ASSERT_EQ(c.rc, 0) << c.msg;
  kyt_js_elem j{};
  ASSERT_EQ(getJSelemByCn(c.cn, &j), 0);
  EXPECT_STREQ(j.vdsn, "PAYROLL");
  EXPECT_STREQ(j.sidsender, "P1");
  EXPECT_STREQ(j.sidrcv, "*");
  EXPECT_STREQ(j.uidsender, "*");
  EXPECT_STREQ(j.batchjob, "/opt/jobs/pay.sh -x");
  EXPECT_EQ(j.cntsendatt, 3);
  EXPECT_STREQ(j.commentjs, "monthly run");
  EXPECT_STREQ(j.uidcreator, "SYSTEM");
  EXPECT_STREQ(kt(c.cn).cmdtype, "JS");
  EXPECT_STREQ(kt(c.cn).status, "pn");
  EXPECT_EQ(rc("SENDJOB /CREATE VDSN=X SIDSENDER=* JOB=j SID=P1"), 0);
  const int32_t jobs = count(Tab::kJS);
  EXPECT_EQ(rc("SENDJOB VDSN=X SIDSENDER=P1"), 8);
  EXPECT_EQ(rc("SENDJOB VDSN=X SIDSENDER=P5 JOB=j"), 13);
  EXPECT_EQ(rc("SENDJOB VDSN=X SIDSENDER=P1 JOB=j SID=P5"), 13);
  EXPECT_EQ(rc("SENDJOB VDSN=X SIDSENDER=P1 JOB=j ATTEMPTS=many"), 16);
  EXPECT_EQ(rc("SENDJOB VDSN=ABCDEFGHIJKLMNOPQRSTUVWXYZ0 SIDSENDER=P1 JOB=j"), 16);
  EXPECT_EQ(rc("SENDJOB /DELETE VDSN=X SIDSENDER=P1 JOB=j"), 9);
  EXPECT_EQ(count(Tab::kJS), jobs);
}

TEST_F(VerbsTest, OpcmdQueuesAnOperatorCommand) {
  Call c = call("OPCMD CMD=\"STOP XMT\"");
  ASSERT_EQ(c.rc, 0);
  kyt_ok_elem ok{};
  ASSERT_EQ(getOKelemByCn(c.cn, &ok), 0);
  EXPECT_STREQ(ok.textok, "STOP XMT");
  EXPECT_STREQ(ok.cid, "KYTCAL");
  EXPECT_GT(ok.cpid, 0);
  EXPECT_STREQ(kt(c.cn).cmdtype, "OK");
  EXPECT_STREQ(kt(c.cn).status, "qn");
  EXPECT_EQ(kt(c.cn).priority, 10);  // OKPRIO
  EXPECT_EQ(rc("OPCMD /ACT"), 0);
  EXPECT_EQ(rc("OPCMD"), 8);
  EXPECT_EQ(rc("OPCMD CMD=\"" + std::string(255, 'x') + "\""), 16);
  EXPECT_EQ(count(Tab::kOK), 2);
}

TEST_F(VerbsTest, ModstImportsAStationFile) {
  write_file(dir_.file("stations.txt"),
             "* two partners\n"
             "ST SID=P1 NETID=O001P1 STATNAME=\"Partner one\"\n"
             "OP SID=P1 ODETTEID=O001P1 PSWFROM=A PSWTO=B\n"
             "NK SID=P1 FTP=O PROTOCOL=T PRIORITY=1 FLGSUSPND=1 AUTODIAL=Y  * suspended\n"
             "ST SID=P2 NETID=O001P2 STATNAME=two\n");
  Call c = call("MODST DSN=\"" + dir_.file("stations.txt") + "\"");
  ASSERT_EQ(c.rc, 0) << c.msg;
  EXPECT_STREQ(kt(c.cn).cmdtype, "MS");
  EXPECT_NE(out_.find("stations.txt"), std::string::npos) << out_;  // the import's messages
  kyt_st_elem st{};
  ASSERT_EQ(getSTelemBySid("P1", &st), 0);
  EXPECT_STREQ(st.statname, "Partner one");
  EXPECT_EQ(getSTelemBySid("P2", &st), 0);
  // The imported station's link can be taken back into service.
  EXPECT_EQ(rc("ACTIVATE SID=P1"), 0);
  kyt_nk_elem nk{};
  ASSERT_EQ(getNKelemList(&nk), 0);
  EXPECT_EQ(nk.flagsuspnd, 0);
  freeNKelemList(&nk);
  // A failing import hands on its code, its last message is the command's; no command row.
  write_file(dir_.file("bad.txt"), "ST SID=P3 NETID=O001P3 STATNAME=x\nST SID=P4 FROB=1\n");
  const int32_t commands = count(Tab::kKT);
  c = call("MODST /" + dir_.file("bad.txt"));
  EXPECT_EQ(c.rc, 3);
  EXPECT_EQ(c.severity, 'E');
  EXPECT_NE(c.msg.find("not imported"), std::string::npos) << c.msg;
  EXPECT_EQ(c.cn, 0);
  EXPECT_EQ(count(Tab::kKT), commands);
  EXPECT_EQ(rc("MODST DSN=" + dir_.file("none.txt")), 99);
  EXPECT_EQ(rc("MODST"), 8);
  EXPECT_EQ(rc("MODST /a DSN=b"), 16);
}

}  // namespace
}  // namespace kyt::test
