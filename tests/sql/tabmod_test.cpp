// The per-table access modules against a real database in a temporary directory: one round
// trip a table driven by the table description, the element records against the
// description, and the failure traces of the modules.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "isam/isam.h"
#include "runtime/runtime.h"
#include "sql/rpdsql.h"
#include "sql/isa.h"
#include "sql/pool.h"
#include "sql/schema.h"
#include "sql/status.h"
#include "sql/tables/elemgen.h"
#include "sql/tables/tables.h"
#include "sql/tables/tabmod.h"
#include "stationdb.h"
#include "testutil.h"
#include "trace_capture.h"

namespace kyt {
namespace {

// --- the element records against the description ---------------------------------------------

// Compares a committed generated file with its text; KYT_REGEN_ELEM=1 writes it anew.
void check_generated(const std::string& rel, const std::string& text) {
  const std::string path = std::string(KYT_SOURCE_DIR) + "/" + rel;
  if (std::getenv("KYT_REGEN_ELEM") != nullptr) test::write_file(path, text);
  EXPECT_EQ(test::read_file(path), text)
      << rel << " differs from the table description; run the tests with KYT_REGEN_ELEM=1";
}

TEST(ElemRecords, GeneratedFilesMatchTheDescription) {
  check_generated("include/kyt/kyt_elem.h", elem_header_text());
  check_generated("src/sql/tables/elem_layout.inc", elem_layout_text());
}

TEST(ElemRecords, LayoutFollowsTheRule) {
  ASSERT_EQ(station_schema().size(), static_cast<size_t>(Tab::kCount));
  for (int i = 0; i < static_cast<int>(Tab::kCount); ++i) {
    const Tab t = static_cast<Tab>(i);
    const tm::ElemLayout& l = tm::layout(t);
    const SchemaTable& s = tm::table(t);
    SCOPED_TRACE(s.name);
    ASSERT_EQ(l.offset.size(), s.cols.size());
    size_t end = 0;
    for (size_t c = 0; c < s.cols.size(); ++c) {
      EXPECT_EQ(l.bytes[c], elem_member_size(s.cols[c])) << s.cols[c].s_colname;
      EXPECT_GE(l.offset[c], end) << "members in column order";
      end = l.offset[c] + l.bytes[c];
    }
    EXPECT_GE(l.next, end) << "next is last";
    EXPECT_EQ(l.size, l.next + sizeof(void*));
  }
  // A few members by name, as a client sees them.
  EXPECT_EQ(sizeof(kyt_kt_elem::cmdtype), 3u);
  EXPECT_EQ(sizeof(kyt_kt_elem::dtcreated), 20u);
  EXPECT_EQ(sizeof(kyt_kt_elem::priority), 2u);
  EXPECT_EQ(sizeof(kyt_fk_elem::errno_), 4u);
}

// --- a database ------------------------------------------------------------------------------

class TabmodTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(test::open_station_db(dir_));
  }
  void TearDown() override {
    pool_reset_for_tests();
    test::forget_station();
  }
  test::TempDir dir_;
};

// Values from the column types: every seed gives other values, and key columns grow with the
// seed (texts by their first letter, numbers by value), so that key order is seed order.
void fill(Tab t, int seed, void* elem) {
  const tm::ElemLayout& l = tm::layout(t);
  const SchemaTable& s = tm::table(t);
  std::memset(elem, 0, l.size);
  for (size_t c = 0; c < s.cols.size(); ++c) {
    char* m = static_cast<char*>(elem) + l.offset[c];
    const COLDEF& d = s.cols[c];
    const int v = seed * 100 + static_cast<int>(c);
    if (is_dt_column(d)) {
      char text[64];
      std::snprintf(text, sizeof text, "2025/%02d/%02d %02d:%02d:%02d", 1 + seed % 12,
                    1 + static_cast<int>(c) % 28, 9 + seed % 8, static_cast<int>(c) % 60,
                    seed % 60);
      std::memcpy(m, text, kElemDtSize - 1);
    } else if (d.type == kTypeChar) {
      const size_t n = std::min<size_t>(static_cast<size_t>(d.width) - 1, 12);
      for (size_t k = 0; k < n; ++k)
        m[k] = static_cast<char>(k == 0 ? 'A' + seed % 26 : 'a' + (seed * 7 + c + k) % 26);
      m[n] = '\0';
    } else if (d.type == kTypeSmallint) {
      const int16_t x = static_cast<int16_t>(v);
      std::memcpy(m, &x, sizeof x);
    } else {
      const int32_t x = v;
      std::memcpy(m, &x, sizeof x);
    }
  }
}

// Member-by-member differences of two elements ("COL" names), next pointers aside.
std::vector<std::string> diff(Tab t, const void* a, const void* b) {
  std::vector<std::string> out;
  const tm::ElemLayout& l = tm::layout(t);
  const SchemaTable& s = tm::table(t);
  for (size_t c = 0; c < s.cols.size(); ++c) {
    const char* x = static_cast<const char*>(a) + l.offset[c];
    const char* y = static_cast<const char*>(b) + l.offset[c];
    const bool text = s.cols[c].type == kTypeChar || is_dt_column(s.cols[c]);
    if (text ? std::strncmp(x, y, l.bytes[c]) != 0 : std::memcmp(x, y, l.bytes[c]) != 0)
      out.emplace_back(s.cols[c].s_colname);
  }
  return out;
}

struct Elem {
  explicit Elem(Tab t) : bytes(tm::layout(t).size + 8, '\0') {}
  void* p() { return bytes.data(); }
  std::vector<char> bytes;
};

void* next_of(Tab t, const void* e) {
  void* n;
  std::memcpy(&n, static_cast<const char*>(e) + tm::layout(t).next, sizeof n);
  return n;
}

using Fn1 = std::function<int32_t(const void*)>;
using GetFn = std::function<int32_t(const void*, void*)>;
using ListFn = std::function<int32_t(void*)>;
using FreeFn = std::function<void(void*)>;

template <class E>
Fn1 in(int32_t (*f)(const E*)) {
  return [f](const void* e) { return f(static_cast<const E*>(e)); };
}
template <class E>
ListFn ls(int32_t (*f)(E*)) {
  return [f](void* e) { return f(static_cast<E*>(e)); };
}
template <class E>
FreeFn fr(void (*f)(E*)) {
  return [f](void* e) { f(static_cast<E*>(e)); };
}
#define GET(tt, call)                                          \
  [](const void* kv, void* ov) {                               \
    auto k = static_cast<const kyt_##tt##_elem*>(kv);          \
    auto o = static_cast<kyt_##tt##_elem*>(ov);                \
    (void)k;                                                   \
    return call;                                               \
  }
#define DEL(tt, call)                                 \
  [](const void* kv) {                                \
    auto k = static_cast<const kyt_##tt##_elem*>(kv); \
    return call;                                      \
  }

struct Module {
  Tab t;
  int32_t (*create)();
  Fn1 ins;  // null: the engine's insert (the table is written by statements elsewhere)
  GetFn get;
  ListFn list;
  std::vector<Fn1> upd;
  Fn1 del;  // null: "DELETE FROM"
  FreeFn free;
};

std::vector<Module> modules() {
  return {
      {Tab::kRI, createRItable, in(insRIelem), GET(ri, getRIelemByKytid(k->kytid, o)),
       ls(getRIelemList), {}, DEL(ri, delRIelem(k->kytid)), fr(freeRIelemList)},
      {Tab::kPT, createPTtable, in(insPTelem), nullptr, ls(getPTelemList), {in(updPTStatus)},
       nullptr, fr(freePTelemList)},
      {Tab::kKT, createKTtable, in(insKTelem), GET(kt, getKTelemByCn(k->cn, o)), ls(getKTelemList),
       {in(updKTStatus), in(updKTStatusDel), in(updKTStatusDon), in(updKTStatusErr),
        in(updKTStatusSch), in(updKT_free), in(updKTFlagser), in(updKTErrorcode),
        in(updKTDtschedule)},
       DEL(kt, delKTelem(k->cn)), fr(freeKTelemList)},
      {Tab::kLM, createLMtable, in(insLMelem), GET(lm, getLMelemByCn(k->cn, o)), ls(getLMelemList),
       {}, DEL(lm, delLMelem(k->cn)), fr(freeLMelemList)},
      {Tab::kLT, createLTtable, in(insLTelem), nullptr, nullptr, {}, nullptr, fr(freeLTelemList)},
      {Tab::kOP, createOPtable, nullptr, GET(op, getOPelemBySid(k->sid, o)), ls(getOPelemList), {},
       nullptr, fr(freeOPelemList)},
      {Tab::kLX, createLXtable, nullptr, GET(lx, getLXelemBySidName(k->sid, k->name, o)),
       ls(getLXelemList), {}, nullptr, fr(freeLXelemList)},
      {Tab::kBT, createBTtable, in(insBTelem), GET(bt, getBTelemByUid(k->uid, o)),
       ls(getBTelemList), {}, DEL(bt, delBTelem(k->uid)), fr(freeBTelemList)},
      {Tab::kOK, createOKtable, in(insOKelem), GET(ok, getOKelemByCn(k->cn, o)), ls(getOKelemList),
       {}, DEL(ok, delOKelem(k->cn)), fr(freeOKelemList)},
      {Tab::kJS, createJStable, in(insJSelem), GET(js, getJSelemByCn(k->cn, o)), nullptr,
       {in(updJSelem), in(updJSDtlastused)}, DEL(js, delJSelem(k->cn)), fr(freeJSelemList)},
      {Tab::kST, createSTtable, nullptr, GET(st, getSTelemBySid(k->sid, o)), ls(getSTelemList), {},
       nullptr, fr(freeSTelemList)},
      {Tab::kNK, createNKtable, nullptr, nullptr, ls(getNKelemList), {}, nullptr,
       fr(freeNKelemList)},
      {Tab::kLU, createLUtable, nullptr, GET(lu, getLUelemBySid(k->sid, o)), ls(getLUelemList), {},
       nullptr, fr(freeLUelemList)},
      {Tab::kET, createETtable, in(insETelem),
       GET(et, getETelemByKey(k->uid, k->cid, k->siddest, k->cnse, k->cnie, o)), ls(getETelemList),
       {}, DEL(et, delETelemByCnse(k->cnse)), fr(freeETelemList)},
      {Tab::kRE, createREtable, in(insREelem), GET(re, getREelemByCn(k->cn, o)), ls(getREelemList),
       {in(updREDtlastused)}, DEL(re, delREelem(k->cn)), fr(freeREelemList)},
      {Tab::kSK, createSKtable, nullptr, GET(sk, getSKelemByCn(k->cn, o)), ls(getSKelemList),
       {in(updSKBegSend), in(updSKCnqe), in(updSKCntRecByt), in(updSKCntbyte), in(updSKCntrecord),
        in(updSKCode), in(updSKDsntemp), in(updSKDtendsend)},
       DEL(sk, delSKelem(k->cn)), fr(freeSKelemList)},
      {Tab::kVD, createVDtable, in(insVDelem), GET(vd, getVDelemByCn(k->cn, o)), ls(getVDelemList),
       {in(updVDFlagsCode), in(updVDRecfm), in(updVDStatusdsn)}, DEL(vd, delVDelem(k->cn)),
       fr(freeVDelemList)},
      {Tab::kSL, createSLtable, in(insSLelem), GET(sl, getSLelemByCnfirst(k->cnfirst, o)),
       ls(getSLelemList), {}, nullptr, fr(freeSLelemList)},
      {Tab::kSE, createSEtable, in(insSEelem), GET(se, getSEelemByCn(k->cn, o)), ls(getSEelemList),
       {in(updSECntackn), in(updSECntsk)}, DEL(se, delSEelem(k->cn)), fr(freeSEelemList)},
      {Tab::kTR, createTRtable, nullptr, nullptr, ls(getTRelemList), {}, nullptr,
       fr(freeTRelemList)},
      {Tab::kLC, createLCtable, in(insLCelem), nullptr, nullptr, {}, DEL(lc, delLCelem(k->cn)),
       fr(freeLCelemList)},
      {Tab::kIZ, createIZtable, in(insIZelem), GET(iz, getIZelemByCn(k->cn, o)), ls(getIZelemList),
       {in(updIZCnre)}, DEL(iz, delIZelem(k->cn)), fr(freeIZelemList)},
      {Tab::kSS, createSStable, in(insSSelem), GET(ss, getSSelemByCn(k->cn, o)), ls(getSSelemList),
       {}, DEL(ss, delSSelem(k->cn)), fr(freeSSelemList)},
      {Tab::kRT, createRTtable, nullptr, GET(rt, getRTelemBySid(k->siddest, o)), ls(getRTelemList),
       {}, nullptr, fr(freeRTelemList)},
      {Tab::kEC, createECtable, in(insECelem), GET(ec, getECelemByCn(k->cn, o)), ls(getECelemList),
       {}, DEL(ec, delECelem(k->cn)), fr(freeECelemList)},
      {Tab::kQS, createQStable, nullptr, GET(qs, getQSelemByCn(k->cn, o)), ls(getQSelemList),
       {in(updQSBegSend), in(updQSDtendsend)}, DEL(qs, delQSelem(k->cn)), fr(freeQSelemList)},
      {Tab::kQE, createQEtable, nullptr, GET(qe, getQEelemByCn(k->cn, o)), ls(getQEelemList), {},
       DEL(qe, delQEelem(k->cn)), fr(freeQEelemList)},
      {Tab::kIE, createIEtable, nullptr, GET(ie, getIEelemByCn(k->cn, o)), ls(getIEelemList),
       {in(updIECntRecByt), in(updIECntackn), in(updIECntizandse), in(updIECntsendatt),
        in(updIEDtreceived), in(updIESidUid), in(updIEUidCid)},
       DEL(ie, delIEelem(k->cn)), fr(freeIEelemList)},
      {Tab::kFK, createFKtable, in(insFKelem), GET(fk, getFKelemByCn(k->cn, o)), ls(getFKelemList),
       {}, DEL(fk, delFKelem(k->cn)), fr(freeFKelemList)},
      {Tab::kAV, createAVtable, in(insAVelem), GET(av, getAVelemBySid(k->sid, o)),
       ls(getAVelemList), {}, DEL(av, delAVelem(k->kytid)), fr(freeAVelemList)},
      {Tab::kBB, createBBtable, in(insBBelem), GET(bb, getBBelemByCn(k->cn, o)), ls(getBBelemList),
       {}, DEL(bb, delBBelem(k->cn)), fr(freeBBelemList)},
      {Tab::kTT, createTTtable, nullptr, GET(tt, getTTelemByKey(k->key, o)), ls(getTTelemList), {},
       nullptr, fr(freeTTelemList)},
      {Tab::kDB, createDBtable, in(insDBelem), nullptr, ls(getDBelemList), {}, nullptr,
       fr(freeDBelemList)},
      {Tab::kFS, createFStable, in(insFSelem), GET(fs, getFSelemByCn(k->sid, o)), ls(getFSelemList),
       {}, DEL(fs, delFSelem(k->sid)), fr(freeFSelemList)},
      {Tab::kLD, createLDtable, in(insLDelem), nullptr, ls(getLDelemList), {in(updLDelem)},
       DEL(ld, delLDelem(k->kytdate)), fr(freeLDelemList)},
  };
}

TEST_F(TabmodTest, RoundTripOfEveryTable) {
  const std::vector<Module> mods = modules();
  ASSERT_EQ(mods.size(), 35u);
  for (const Module& m : mods) {
    const Tab t = m.t;
    const SchemaTable& s = tm::table(t);
    SCOPED_TRACE(s.name);
    ASSERT_EQ(m.create(), 0);
    auto ins = [&](const void* e) { return m.ins ? m.ins(e) : tm::insert(t, "test", e); };
    // A chain of three, inserted out of key order.
    Elem e[3] = {Elem(t), Elem(t), Elem(t)};
    for (int i = 0; i < 3; ++i) fill(t, i + 1, e[i].p());
    ASSERT_EQ(ins(e[2].p()), 0);
    ASSERT_EQ(ins(e[0].p()), 0);
    ASSERT_EQ(ins(e[1].p()), 0);
    // Read by key: every member, date-time texts too, comes back.
    if (m.get) {
      Elem got(t);
      ASSERT_EQ(m.get(e[1].p(), got.p()), 0);
      EXPECT_EQ(diff(t, got.p(), e[1].p()), std::vector<std::string>{});
    }
    // The list in key order (the keyless tables in the order written).
    if (m.list) {
      Elem first(t);
      ASSERT_EQ(m.list(first.p()), 0);
      const int order[3] = {0, 1, 2};
      const int written[3] = {2, 0, 1};
      const int* want = s.has_primary() ? order : written;
      const void* p = first.p();
      for (int i = 0; i < 3; ++i) {
        ASSERT_NE(p, nullptr) << "row " << i;
        EXPECT_EQ(diff(t, p, e[want[i]].p()), std::vector<std::string>{}) << "row " << i;
        p = next_of(t, p);
      }
      EXPECT_EQ(p, nullptr);
      m.free(first.p());
      EXPECT_EQ(next_of(t, first.p()), nullptr);
    }
    // Delete by key: the row is gone, the others stay.
    if (m.del) {
      ASSERT_EQ(m.del(e[1].p()), 0);
      if (m.get) {
        Elem got(t);
        EXPECT_EQ(m.get(e[1].p(), got.p()), RPDSQL_NOT_FOUND);
      }
    }
    if (m.list) {
      Elem first(t);
      ASSERT_EQ(m.list(first.p()), 0);
      int n = 0;
      for (const void* p = first.p(); p != nullptr; p = next_of(t, p)) ++n;
      EXPECT_EQ(n, m.del ? 2 : 3);
      m.free(first.p());
    }
    // Each update: the key stays, every other column holds its old or its new value, and at
    // least one took the new value.
    for (size_t u = 0; u < m.upd.size(); ++u) {
      SCOPED_TRACE("update " + std::to_string(u));
      Elem before(t), changed(t), after(t);
      ASSERT_EQ(m.get ? m.get(e[0].p(), before.p()) : m.list(before.p()), 0);
      if (!m.get) m.free(before.p());
      fill(t, 40 + static_cast<int>(u), changed.p());
      for (size_t c = 0; c < s.cols.size(); ++c) {  // keep the key
        if (s.cols[c].key > 0)
          std::memcpy(static_cast<char*>(changed.p()) + tm::layout(t).offset[c],
                      static_cast<char*>(before.p()) + tm::layout(t).offset[c], tm::layout(t).bytes[c]);
      }
      ASSERT_EQ(m.upd[u](changed.p()), 0);
      ASSERT_EQ(m.get ? m.get(e[0].p(), after.p()) : m.list(after.p()), 0);
      if (!m.get) m.free(after.p());
      const std::vector<std::string> from_old = diff(t, after.p(), before.p());
      const std::vector<std::string> from_new = diff(t, after.p(), changed.p());
      EXPECT_FALSE(from_old.empty()) << "nothing changed";
      for (const std::string& c : from_old)
        EXPECT_EQ(std::count(from_new.begin(), from_new.end(), c), 0) << c;
    }
  }
}

TEST_F(TabmodTest, SingleReadsAndListsOfTheOtherKeys) {
  ASSERT_EQ(createKTtable(), 0);
  ASSERT_EQ(createAVtable(), 0);
  ASSERT_EQ(createSStable(), 0);
  ASSERT_EQ(createJStable(), 0);
  // An unknown command: the end status, and the cursor is closed each time (more calls than
  // there are cursors).
  kyt_kt_elem kt{};
  for (int i = 0; i < 25; ++i) ASSERT_EQ(getKTelemByCn(77, &kt), RPDSQL_NOT_FOUND) << i;
  // Commands: types, statuses and schedules.
  struct Row {
    int32_t cn;
    const char* type;
    const char* status;
    const char* sched;
    int16_t prio;
  };
  const Row rows[] = {{1, "OK", "qn", "", 5},  {2, "OK", "en", "", 1},
                      {3, "SE", "qn", "2025/06/01 12:00:00", 3},
                      {4, "OK", "qn", "2030/01/01 00:00:00", 2}, {5, "SE", "er", "", 4}};
  for (const Row& r : rows) {
    kyt_kt_elem e{};
    e.cn = r.cn;
    std::strcpy(e.cmdtype, r.type);
    std::strcpy(e.status, r.status);
    std::strcpy(e.dtschedule, r.sched);
    e.priority = r.prio;
    ASSERT_EQ(insKT(&e), 0);
  }
  ASSERT_EQ(getKTelemByCn(3, &kt), 0);
  EXPECT_STREQ(kt.dtschedule, "2025/06/01 12:00:00");
  EXPECT_NE(kt.dtcreated[0], '\0') << "insKT stamps the creation";
  EXPECT_STREQ(kt.dtdone, "") << "0 reads as the empty text";
  char status[3] = "";
  char type[3] = "";
  ASSERT_EQ(getKTStatusByCn(5, status), 0);
  ASSERT_EQ(getKTCmdtypByCn(5, type), 0);
  EXPECT_STREQ(status, "er");
  EXPECT_STREQ(type, "SE");
  auto cns = [](kyt_kt_elem* first) {
    std::vector<int32_t> v;
    for (kyt_kt_elem* p = first; p != nullptr; p = p->next) v.push_back(p->cn);
    freeKTelemList(first);
    return v;
  };
  kyt_kt_elem first{};
  ASSERT_EQ(getKTelemListByPriority(&first), 0);
  EXPECT_EQ(cns(&first), (std::vector<int32_t>{2, 4, 3, 5, 1}));
  first = kyt_kt_elem{};
  ASSERT_EQ(getKTCnPrListByStatus("qn", &first), 0);
  EXPECT_EQ(first.cmdtype[0], '\0') << "only CN and PRIORITY are read";
  EXPECT_EQ(cns(&first), (std::vector<int32_t>{1, 3, 4}));
  ASSERT_EQ(getKTCnPrListByStatusDtselect("qn", "2026/01/01 00:00:00", &first), 0);
  EXPECT_EQ(cns(&first), (std::vector<int32_t>{1, 3}));
  ASSERT_EQ(getKTOKList(&first), 0);
  EXPECT_EQ(cns(&first), (std::vector<int32_t>{1, 2, 4}));
  ASSERT_EQ(getKTcListbyCmd("SE", &first), 0);
  EXPECT_EQ(cns(&first), (std::vector<int32_t>{3, 5}));
  ASSERT_EQ(getKTDelList(&first), 0);
  EXPECT_EQ(cns(&first), (std::vector<int32_t>{2, 5}));
  EXPECT_EQ(getKTcListbyCmd("XX", &first), RPDSQL_NOT_FOUND);
  EXPECT_EQ(first.next, nullptr);
  // The bulk delete takes only queued operator commands.
  ASSERT_EQ(delKT(), 0);
  ASSERT_EQ(getKTelemList(&first), 0);
  EXPECT_EQ(cns(&first), (std::vector<int32_t>{2, 3, 5}));

  // Statistics per station: counted by station.
  for (int i = 0; i < 3; ++i) {
    kyt_av_elem av{};
    av.kytid = i + 1;
    std::strcpy(av.sid, i < 2 ? "PARTNER" : "OTHER");
    ASSERT_EQ(insAVelem(&av), 0);
  }
  int32_t n = -1;
  ASSERT_EQ(getAVCountBySid("PARTNER", &n), 0);
  EXPECT_EQ(n, 2);
  ASSERT_EQ(getAVCountBySid("NOBODY", &n), 0);
  EXPECT_EQ(n, 0);

  // Old statistics go by their creation time.
  const char* created[] = {"2024/01/01 10:00:00", "2025/03/01 10:00:00", "2025/09/01 10:00:00"};
  for (int i = 0; i < 3; ++i) {
    kyt_ss_elem ss{};
    ss.cn = i + 1;
    std::strcpy(ss.dtcreat, created[i]);
    ASSERT_EQ(insSSelem(&ss), 0);
  }
  ASSERT_EQ(delSSelemListOld("2025/06/01 00:00:00"), 0);
  kyt_ss_elem ss{};
  EXPECT_EQ(getSSelemByCn(2, &ss), RPDSQL_NOT_FOUND);
  ASSERT_EQ(getSSelemByCn(3, &ss), 0);
  EXPECT_STREQ(ss.dtcreat, "2025/09/01 10:00:00");

  // The last command number: the one row of LC.
  ASSERT_EQ(createLCtable(), 0);
  kyt_lc_elem lc{};
  EXPECT_EQ(getLCelem(&lc), RPDSQL_NOT_FOUND);
  lc.cn = 41;
  ASSERT_EQ(insLCelem(&lc), 0);
  lc.cn = 0;
  ASSERT_EQ(getLCelem(&lc), 0);
  EXPECT_EQ(lc.cn, 41);

  // Jobs: most send attempts first.
  for (int i = 0; i < 3; ++i) {
    kyt_js_elem js{};
    js.cn = i + 1;
    js.cntsendatt = (i * 2) % 3;  // 0, 2, 1
    ASSERT_EQ(insJSelem(&js), 0);
  }
  kyt_js_elem jfirst{};
  ASSERT_EQ(getJSelemList(&jfirst), 0);
  std::vector<int32_t> jobs;
  for (kyt_js_elem* p = &jfirst; p != nullptr; p = p->next) jobs.push_back(p->cn);
  freeJSelemList(&jfirst);
  EXPECT_EQ(jobs, (std::vector<int32_t>{2, 3, 1}));
}

TEST_F(TabmodTest, FailuresAreTracedWithTheModulesTexts) {
  test::TraceCapture trace;
  ASSERT_EQ(createKTtable(), 0);
  kyt_kt_elem kt{};
  kt.cn = 5;
  kt.errorcode = 7;
  std::strcpy(kt.cmdtype, "OK");
  ASSERT_EQ(insKTelem(&kt), 0);
  // The timing line counts every insert of the process.
  const long inserts = tm::timing(Tab::kKT).count;
  EXPECT_GE(inserts, 1);
  EXPECT_TRUE(trace.has("insKTelem : insKT (" + std::to_string(inserts) + ") min "));
  EXPECT_TRUE(trace.has("millisecs avr100 "));
  EXPECT_EQ(insKTelem(&kt), DBI_E_NO_DUP);
  EXPECT_TRUE(trace.has("insKTelem exec_insert returns 256086"));
  EXPECT_EQ(createKTtable(), DBI_E_TABERR);
  EXPECT_TRUE(trace.has("createKTtable create table returns 256083"));
  kyt_kt_elem got{};
  EXPECT_EQ(getKTelemByCn(6, &got), RPDSQL_NOT_FOUND);
  EXPECT_TRUE(trace.has("getKTelemByCn select returns 24200000"));
  // A date-time text that is none: refused, nothing written.
  kyt_kt_elem bad = kt;
  bad.cn = 6;
  std::strcpy(bad.dtcreated, "yesterday");
  EXPECT_EQ(insKTelem(&bad), DBI_E_VALUE);
  EXPECT_EQ(getKTelemByCn(6, &got), RPDSQL_NOT_FOUND);
  // Members without their zero byte are read no further than the member: a text is cut to
  // the column, a date-time text is refused.
  kyt_kt_elem full = kt;
  full.cn = 9;
  std::memset(full.xidheld, 'x', sizeof full.xidheld);
  ASSERT_EQ(insKTelem(&full), 0);
  ASSERT_EQ(getKTelemByCn(9, &got), 0);
  EXPECT_EQ(std::string(got.xidheld), std::string(sizeof got.xidheld - 1, 'x'));
  full.cn = 10;
  std::memset(full.dtcreated, '2', sizeof full.dtcreated);
  EXPECT_EQ(insKTelem(&full), DBI_E_VALUE);
  // The statement pool gives out: every change fails cleanly with its text.
  stmt_pool().set_limit(1);
  kt.cn = 8;
  EXPECT_EQ(insKTelem(&kt), RC_INTERNAL_ERROR);
  EXPECT_TRUE(trace.has("(p_value=POOL_ALLOC(STMT, sizeof(VALUE))) != NULL"));
  EXPECT_TRUE(trace.has("insKTelem exec_insert returns 99"));
  kt.cn = 5;
  EXPECT_EQ(updKTErrorcode(&kt), RC_INTERNAL_ERROR);
  EXPECT_TRUE(trace.has("updKTErrorcode exec_update returns 99 ( c:5 e:7 )"));
  EXPECT_EQ(updKTFlagser(&kt), RC_INTERNAL_ERROR);
  EXPECT_TRUE(trace.has("updKTFlagser exec_update returns 99 for 5"));
  EXPECT_EQ(updKT_free(&kt), RC_INTERNAL_ERROR);
  EXPECT_TRUE(trace.has("updKT_free exec_update returns 99"));
  EXPECT_EQ(delKTelem(5), RC_INTERNAL_ERROR);
  EXPECT_TRUE(trace.has("delKTelem exec_delete (5) returns 99"));
  stmt_pool().set_limit(0);
  ASSERT_EQ(getKTelemByCn(5, &got), 0) << "the failed changes changed nothing";
  EXPECT_EQ(got.errorcode, 7);
  // Without the table: no descriptor.
  ASSERT_EQ(sqlDropTable("KT"), 0);
  EXPECT_NE(insKTelem(&kt), 0);
  EXPECT_TRUE(trace.has("read_tabspec KT use_table returns"));
  EXPECT_TRUE(trace.has("insKTelem exec_insert ptd_kt is NULL!"));
}

TEST_F(TabmodTest, ListsSurviveAClosedDatabaseAndFreeCleanly) {
  ASSERT_EQ(createBBtable(), 0);
  for (int i = 0; i < 50; ++i) {
    kyt_bb_elem bb{};
    bb.cn = i;
    std::snprintf(bb.msgtextbb, sizeof bb.msgtextbb, "message %d", i);
    ASSERT_EQ(insBBelem(&bb), 0);
  }
  // The descriptor cache goes with the database; the module finds the table again.
  ASSERT_EQ(sqlCloseDB(), 0);
  kyt_bb_elem first{};
  ASSERT_EQ(getBBelemList(&first), 0);
  int n = 0;
  for (kyt_bb_elem* p = &first; p != nullptr; p = p->next, ++n)
    EXPECT_EQ(p->cn, n);
  EXPECT_EQ(n, 50);
  freeBBelemList(&first);
  ASSERT_EQ(sqlCloseDB(), 0);
  kyt_bb_elem more{};
  more.cn = 50;
  EXPECT_EQ(insBBelem(&more), 0);
  EXPECT_EQ(delBBelem(50), 0);
}

}  // namespace
}  // namespace kyt
