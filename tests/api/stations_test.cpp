// The station list of the client API: loading and the merge walk, the cursor of
// kytGetNextStation, copies, updates, deletion (also through DELST) and what the monitors
// are told.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "api/calstlst.h"
#include "api/verbs.h"
#include "kyt/kyt.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"
#include "sql/trace_capture.h"
#include "stationdb.h"

namespace kyt::test {
namespace {

struct StationDb {
  TempDir dir;
  StationDb() {
    kytFreeStationList();
    rpdprm_reset_for_tests();
    EXPECT_TRUE(open_station_db(dir));
    EXPECT_EQ(rpdini(), 0);
    EXPECT_EQ(rpdipr(nullptr), 0);
    // The local station id: not a default parameter, written when a station is set up.
    kyt_pt_elem lid{};
    std::strcpy(lid.name, "LID");
    lid.type = 1;
    lid.len = 17;
    std::strcpy(lid.val, "HUB");
    EXPECT_EQ(insPTelem(&lid), 0);
  }
  ~StationDb() {
    kytFreeStationList();
    rpdprm_reset_for_tests();
    forget_station();
  }
};

void add_st(const char* sid) {
  kyt_st_elem e{};
  std::strcpy(e.sid, sid);
  std::strcpy(e.netid, "NET");
  std::snprintf(e.statname, sizeof e.statname, "name of %s", sid);
  ASSERT_EQ(tm::insert(Tab::kST, "test", &e), 0) << sid;
}
void add_nk(const char* sid, const char* protocol) {
  kyt_nk_elem e{};
  std::strcpy(e.sid, sid);
  std::strcpy(e.ftp, "F");
  std::strcpy(e.protocol, protocol);
  std::strcpy(e.autodial, "Y");
  e.priority = 3;
  e.psessions = 2;
  ASSERT_EQ(tm::insert(Tab::kNK, "test", &e), 0) << sid;
}
void add_rt(const char* dest, const char* neighbour) {
  kyt_rt_elem e{};
  std::strcpy(e.siddest, dest);
  std::strcpy(e.sidneighb, neighbour);
  e.priority = 1;
  ASSERT_EQ(tm::insert(Tab::kRT, "test", &e), 0) << dest;
}
void add_op(const char* sid, const char* oid) {
  kyt_op_elem e{};
  std::strcpy(e.sid, sid);
  std::strcpy(e.odetteid, oid);
  std::strcpy(e.pswfrom, "SECRETA");
  std::strcpy(e.pswto, "SECRETB");
  ASSERT_EQ(tm::insert(Tab::kOP, "test", &e), 0) << sid;
}
void add_ri(int32_t kytid, const char* type, int32_t flags) {
  kyt_ri_elem e{};
  e.kytid = kytid;
  std::strcpy(e.mname, "proc");
  std::strcpy(e.ptype, type);
  std::strcpy(e.stopmode, "N");
  e.flgflush = flags;
  ASSERT_EQ(insRIelem(&e), 0);
}
Tab tab_named(const char* name) {
  for (int i = 0; i < static_cast<int>(Tab::kCount); ++i) {
    if (std::strcmp(tm::table(static_cast<Tab>(i)).name, name) == 0) return static_cast<Tab>(i);
  }
  ADD_FAILURE() << name;
  return Tab::kST;
}
// The rows of `table` whose `column` is `sid`.
int32_t count(const char* table, const char* column, const char* sid) {
  int32_t n = -1;
  const std::string where = std::string(column) + " = ?";
  EXPECT_EQ(tm::count(tab_named(table), "test", "TESTCOUNT", where.c_str(), {tm::arg(sid)}, &n), 0);
  return n;
}

std::vector<std::string> walk() {
  std::vector<std::string> ids;
  char next[17];
  int32_t rc = kytGetNextStation("", next);
  while (rc == 0) {
    ids.push_back(next);
    rc = kytGetNextStation(next, next);
  }
  EXPECT_EQ(rc, -1);
  return ids;
}

// ALPHA, BRAVO, DELTA and a 16-character id; NK has an orphan between them and RT a row
// whose id differs in case.
void sample() {
  add_st("ALPHA");
  add_st("BRAVO");
  add_st("DELTA");
  add_st("SIXTEENCHARSID16");
  add_nk("ALPHA", "T");
  add_nk("ALPHA", "X");
  add_nk("CHARLIE", "T");
  add_nk("DELTA", "T");
  add_rt("bravo", "ALPHA");
  add_op("DELTA", "O0013DELTA");
}

TEST(StationList, MergeAttachesRowsTracesOrphansAndMatchesCase) {
  StationDb db;
  sample();
  TraceCapture trace;
  ASSERT_EQ(kytInitStationList(), 0);
  const kyt_station* n = kytGetStationListHead();
  ASSERT_NE(n, nullptr);
  EXPECT_STREQ(n->sid, "ALPHA");
  ASSERT_NE(n->nk, nullptr);
  ASSERT_NE(n->nk->next, nullptr);
  EXPECT_STREQ(n->nk->next->protocol, "X");
  EXPECT_EQ(n->nk->next->next, nullptr);
  EXPECT_STREQ(n->st.statname, "name of ALPHA");
  const kyt_station* bravo = n->next;
  ASSERT_NE(bravo, nullptr);
  EXPECT_EQ(bravo->prev, n);
  ASSERT_NE(bravo->rt, nullptr);  // "bravo" matched BRAVO
  EXPECT_STREQ(bravo->rt->sidneighb, "ALPHA");
  EXPECT_EQ(bravo->nk, nullptr);
  const kyt_station* delta = bravo->next;
  ASSERT_NE(delta, nullptr);
  ASSERT_NE(delta->nk, nullptr);  // attached after the orphan
  EXPECT_STREQ(delta->nk->sid, "DELTA");
  ASSERT_NE(delta->op, nullptr);
  EXPECT_STREQ(delta->op->odetteid, "O0013DELTA");
  ASSERT_NE(delta->next, nullptr);
  EXPECT_EQ(delta->next->next, nullptr);
  EXPECT_TRUE(trace.has("NK sid not found >CHARLIE<"));
  EXPECT_TRUE(trace.has("RT check >ALPHA<,>bravo<"));
  EXPECT_TRUE(trace.has("------ BEGIN OF SID=DELTA------."));
  EXPECT_TRUE(trace.has("INFO_NK ftp=F protocol=T autodial=Y pr_nk=3 flg_suspnd=0 cntpsessions=2 cntdelay=0."));
  EXPECT_TRUE(trace.has("pswfrom=* pswto=*"));
  EXPECT_FALSE(trace.has("SECRETA"));
  EXPECT_FALSE(trace.has("SECRETB"));
}

TEST(StationList, NextStationWalksInOrderAndRefusesBadIds) {
  StationDb db;
  sample();
  ASSERT_EQ(rpdsql_run("DELETE FROM PT WHERE NAME = 'LID'"), 0);
  EXPECT_EQ(kytInitStationList(), 12);  // no local station id: nothing loaded
  EXPECT_EQ(kytGetStationListHead(), nullptr);
  char next[17] = "unchanged";
  EXPECT_EQ(kytGetNextStation("ALPHA", next), -1);  // nothing loaded yet
  EXPECT_EQ(walk(), (std::vector<std::string>{"ALPHA", "BRAVO", "DELTA", "SIXTEENCHARSID16"}));
  EXPECT_EQ(kytGetNextStation("bravo", next), 0);
  EXPECT_STREQ(next, "DELTA");
  EXPECT_EQ(kytGetNextStation("SIXTEENCHARSID16", next), -1);  // 16 characters: the last
  EXPECT_EQ(kytGetNextStation("SEVENTEENCHARID17", next), -5);
  EXPECT_EQ(kytGetNextStation("AL\x01PHA", next), -5);
  EXPECT_EQ(kytGetNextStation(nullptr, next), -5);
  EXPECT_EQ(kytGetNextStation("", nullptr), -5);
  // Ids equal but for case are both visited, in byte order.
  add_st("delta");
  EXPECT_EQ(walk(), (std::vector<std::string>{"ALPHA", "BRAVO", "DELTA", "delta", "SIXTEENCHARSID16"}));
}

TEST(StationList, TypesFollowLidAndCopiesBelongToTheCaller) {
  StationDb db;
  sample();
  char lid[] = "lid=bravo";
  ASSERT_EQ(rpdprm_run("opset", nullptr, lid), 0);
  ASSERT_EQ(kytInitStationList(), 0);
  kyt_station copy{};
  ASSERT_EQ(kytGetStation("BRAVO", &copy), 0);
  EXPECT_EQ(copy.stationtype, KYT_STATION_LOCAL);
  ASSERT_NE(copy.rt, nullptr);
  EXPECT_NE(copy.rt, kytGetStationListHead()->next->rt);  // a copy, not the list's row
  EXPECT_EQ(copy.next, nullptr);
  EXPECT_EQ(kytFreeStationEntries(&copy), 0);
  EXPECT_EQ(copy.rt, nullptr);
  ASSERT_EQ(kytGetStation("alpha", &copy), 0);
  EXPECT_EQ(copy.stationtype, KYT_STATION_PARTNER);
  EXPECT_STREQ(copy.nk->protocol, "T");
  kytFreeStationEntries(&copy);
  EXPECT_EQ(kytGetStation("ECHO", &copy), 13);
  EXPECT_EQ(kytGetStation(nullptr, &copy), -5);
  EXPECT_EQ(kytGetStation("ALPHA", nullptr), -5);
  EXPECT_EQ(kytFreeStationEntries(nullptr), -5);
}

TEST(StationList, UpdateWritesEveryTableReadBack) {
  StationDb db;
  sample();
  kyt_station r{};
  std::strcpy(r.sid, "ECHO");
  std::strcpy(r.st.netid, "NET2");
  std::strcpy(r.st.statname, "Echo");
  kyt_nk_elem nk{};
  std::strcpy(nk.ftp, "F");
  std::strcpy(nk.protocol, "T");
  std::strcpy(nk.autodial, "N");
  r.nk = &nk;
  kyt_rt_elem rt1{}, rt2{};
  std::strcpy(rt1.sidneighb, "ALPHA");
  std::strcpy(rt2.sidneighb, "DELTA");
  rt1.next = &rt2;
  r.rt = &rt1;
  kyt_op_elem op{};
  std::strcpy(op.odetteid, "o0013echo");
  std::strcpy(op.pswfrom, "pw1");
  std::strcpy(op.pswto, "pw2");
  r.op = &op;
  kyt_tc_elem tc{};
  std::strcpy(tc.protocol, "T");
  std::strcpy(tc.inaddr, "192.0.2.7");
  tc.port = 3305;
  tc.n = 1;
  r.tc = &tc;
  kyt_lx_elem lx{};
  std::strcpy(lx.name, "MAXRECL");
  lx.type = 4;
  std::strcpy(lx.val, "2048");
  r.lx = &lx;
  ASSERT_EQ(kytUpdateStation(&r), 0);
  // Once more with one route and another NK protocol: routes replaced, NK T kept.
  rt1.next = nullptr;
  std::strcpy(nk.protocol, "X");
  ASSERT_EQ(kytUpdateStation(&r), 0);
  EXPECT_EQ(count("RT", "SIDDEST", "ECHO"), 1);
  EXPECT_EQ(count("NK", "SID", "ECHO"), 2);
  EXPECT_EQ(count("TC", "SID", "ECHO"), 1);
  EXPECT_EQ(count("LX", "SID", "ECHO"), 1);
  ASSERT_EQ(kytRefreshStationList(), 0);
  kyt_station got{};
  ASSERT_EQ(kytGetStation("ECHO", &got), 0);
  EXPECT_STREQ(got.st.statname, "Echo");
  ASSERT_NE(got.op, nullptr);
  EXPECT_STREQ(got.op->odetteid, "O0013ECHO");
  EXPECT_STREQ(got.op->pswfrom, "PW1");
  EXPECT_STREQ(got.tc->inaddr, "192.0.2.7");
  EXPECT_EQ(got.tc->port, 3305);
  EXPECT_STREQ(got.lx->val, "2048");
  kytFreeStationEntries(&got);
  // Invalid records change nothing.
  std::strcpy(lx.sid, "ALPHA");  // a row of another station
  EXPECT_EQ(kytUpdateStation(&r), -5);
  lx.sid[0] = 0;
  std::memset(op.pswto, 'x', sizeof op.pswto);  // no zero byte
  EXPECT_EQ(kytUpdateStation(&r), -5);
  EXPECT_EQ(kytUpdateStation(nullptr), -5);
}

TEST(StationList, DeleteRemovesEveryRowMarksMonitorsAndWakesThem) {
  StationDb db;
  sample();
  add_rt("ALPHA", "DELTA");
  add_ri(1, "M", 4);
  add_ri(2, "T", 0);
  add_ri(3, "M", 0);
  platform::NamedSemaphore sem;
  ASSERT_TRUE(sem.create(monitor_wakeup_name().c_str()));
  ASSERT_EQ(kytInitStationList(), 0);
  ASSERT_EQ(kytDeleteStation("DELTA"), 0);
  EXPECT_TRUE(sem.try_wait());
  EXPECT_FALSE(sem.try_wait());  // once
  EXPECT_EQ(count("ST", "SID", "DELTA"), 0);
  EXPECT_EQ(count("NK", "SID", "DELTA"), 0);
  EXPECT_EQ(count("OP", "SID", "DELTA"), 0);
  EXPECT_EQ(count("RT", "SIDNEIGHB", "DELTA"), 1);  // routes through it stay
  EXPECT_EQ(count("ST", "SID", "ALPHA"), 1);
  EXPECT_EQ(count("NK", "SID", "ALPHA"), 2);
  kyt_ri_elem ri{};
  ASSERT_EQ(getRIelemByKytid(1, &ri), 0);
  EXPECT_EQ(ri.flgflush, 68);
  ASSERT_EQ(getRIelemByKytid(2, &ri), 0);
  EXPECT_EQ(ri.flgflush, 0);
  ASSERT_EQ(getRIelemByKytid(3, &ri), 0);
  EXPECT_EQ(ri.flgflush, 64);
  // The node is gone from the loaded list, both ways.
  const kyt_station* b = kytGetStationListHead()->next;
  ASSERT_NE(b->next, nullptr);
  EXPECT_STREQ(b->next->sid, "SIXTEENCHARSID16");
  EXPECT_EQ(b->next->prev, b);
  char next[17];
  ASSERT_EQ(kytGetNextStation("BRAVO", next), 0);
  EXPECT_STREQ(next, "SIXTEENCHARSID16");
  EXPECT_EQ(kytDeleteStation("SEVENTEENCHARID17"), -5);
  EXPECT_EQ(kytDeleteStation("BAD\tID"), -5);
  EXPECT_EQ(kytDeleteStation(nullptr), -5);
}

// A table of one row is a list of one: the lone OP row, the lone station's own columns and
// the lone monitor are all seen.
TEST(StationList, SingleRowsAreSeen) {
  StationDb db;
  add_st("ALPHA");
  add_op("ALPHA", "O0013ALPHA");
  add_ri(1, "M", 0);
  ASSERT_EQ(kytInitStationList(), 0);
  const kyt_station* n = kytGetStationListHead();
  ASSERT_NE(n, nullptr);
  EXPECT_STREQ(n->st.statname, "name of ALPHA");
  ASSERT_NE(n->op, nullptr);
  EXPECT_STREQ(n->op->odetteid, "O0013ALPHA");
  ASSERT_EQ(kytDeleteStation("ALPHA"), 0);
  EXPECT_EQ(kytGetStationListHead(), nullptr);
  kyt_ri_elem ri{};
  ASSERT_EQ(getRIelemByKytid(1, &ri), 0);
  EXPECT_EQ(ri.flgflush, 64);
}

// The second process of AnotherProcessDeletes: the environment file args[0] with DB args[1];
// deletes the station args[2] and ends with the code, its work left as the call left it.
TEST(SecondProcess, StationDelete) {
  std::vector<std::string> args;
  if (!in_role("StationDelete", &args)) GTEST_SKIP() << "a second process of StationList";
  const bool ready = lpdsn_init_file(args.at(0)) == 0 && lpdsn_set("DB", args.at(1).c_str()) == 0;
  end_role(ready ? kytDeleteStation(args.at(2).c_str()) : 98);
}

// A deletion by another program of the station is committed when that program ends, tells
// the monitor's row, and a refresh here shows it. The list loaded here holds no table: the
// other program reaches every one of them (LU and XP have no rows, their cursors none).
TEST(StationList, AnotherProcessDeletes) {
  StationDb db;
  sample();
  add_ri(1, "M", 0);
  ASSERT_EQ(kytInitStationList(), 0);
  ASSERT_EQ(run_role("StationDelete", {db.dir.file("kytenv.dat"), db.dir.path(), "DELTA"}), 0);
  EXPECT_STREQ(kytGetStationListHead()->next->next->sid, "DELTA");  // this list is not changed
  ASSERT_EQ(kytRefreshStationList(), 0);
  EXPECT_EQ(walk(), (std::vector<std::string>{"ALPHA", "BRAVO", "SIXTEENCHARSID16"}));
  EXPECT_EQ(count("OP", "SID", "DELTA"), 0);
  EXPECT_EQ(count("NK", "SID", "DELTA"), 0);
  kyt_ri_elem ri{};
  ASSERT_EQ(getRIelemByKytid(1, &ri), 0);
  EXPECT_EQ(ri.flgflush, 64);
}

TEST(StationList, DelstDeletesAsTheApiDoes) {
  StationDb db;
  sample();
  CommandSet set;
  ASSERT_EQ(rpxcid(set, "DELST: 0-1 SID ", api::verb_delst), 0);
  cmd_msg msg;
  EXPECT_EQ(rpxcie(set, "DELST SID=DELTA", &msg), 0);
  EXPECT_STREQ(msg.text, "station DELTA deleted");
  EXPECT_EQ(count("ST", "SID", "DELTA"), 0);
  EXPECT_EQ(count("OP", "SID", "DELTA"), 0);
  EXPECT_EQ(rpxcie(set, "DELST /ALPHA", &msg), 0);
  EXPECT_EQ(count("NK", "SID", "ALPHA"), 0);
  EXPECT_EQ(rpxcie(set, "DELST SID=ALPHA", &msg), 13);
  EXPECT_EQ(rpxcie(set, "DELST SID=CHARLIE", &msg), 13);  // its orphan NK row goes all the same
  EXPECT_EQ(count("NK", "SID", "CHARLIE"), 0);
  EXPECT_EQ(rpxcie(set, "DELST", &msg), 16);
  EXPECT_EQ(rpxcie(set, "DELST SID=SEVENTEENCHARID17", &msg), 16);
  EXPECT_EQ(rpxcie(set, "DELST /BRAVO SID=DELTA", &msg), 16);
  EXPECT_EQ(count("ST", "SID", "BRAVO"), 1);
}

}  // namespace
}  // namespace kyt::test
