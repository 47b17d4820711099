// The command table's module against the statement path and SQLite, side by side in one run:
// insert N full KT rows (every column, date-time columns given as text) one by one, then read
// 10000 of them by CN into an element record.
// kyt runs twice: tables given up after each statement (the default) and kept held by the
// process (DBHOLD=Y).
//   module     insKTelem (value list built in memory, exec_insert, no parser) and
//              getKTelemByCn (a cursor through rpdsql)
//   statement  the same INSERT and DECLARE/CLOSE as statement text through rpdsql, with host
//              variables, converting the date-time texts as the module does
//   SQLite     the same statements, prepared anew each time (autocommit, journal_mode=OFF,
//              synchronous=OFF), converting likewise; and once more with both statements
//              prepared once and reused
// Each phase reports its best of ROUNDS rounds on fresh databases; ratios are the other
// path's time / the module's time (above 1: the module is faster).
//
//   tabmod_bench [ROWS [ROUNDS]]      (defaults 20000 and 3)
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "benchutil.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "sql/sql.h"

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point t) {
  return std::chrono::duration<double>(Clock::now() - t).count();
}

struct Times {
  double insert = 1e9, read = 1e9;
};

std::vector<int32_t> order_of(int32_t n) {
  std::vector<int32_t> v(static_cast<size_t>(n));
  for (int32_t i = 0; i < n; ++i) v[static_cast<size_t>(i)] = i + 1;
  std::shuffle(v.begin(), v.end(), std::mt19937(3));
  return v;
}

std::vector<int32_t> sample(int32_t n, size_t count) {
  std::mt19937 rng(1);
  std::vector<int32_t> v(count);
  for (int32_t& x : v) x = static_cast<int32_t>(rng() % static_cast<uint32_t>(n)) + 1;
  return v;
}

// The row of command k.
void make(int32_t k, kyt_kt_elem* e) {
  std::memset(e, 0, sizeof *e);
  e->cn = k;
  std::strcpy(e->cmdtype, "SE");
  e->priority = static_cast<int16_t>(k % 10);
  char text[64];
  std::snprintf(text, sizeof text, "2026/03/%02d 10:%02d:%02d", 1 + k % 28, k % 60,
                (k / 60) % 60);
  std::memcpy(e->dtcreated, text, sizeof e->dtcreated - 1);
  std::strcpy(e->dtschedule, e->dtcreated);
  std::strcpy(e->status, k % 2 ? "qn" : "en");
  std::strcpy(e->heldby, "U");
  std::snprintf(e->xidheld, sizeof e->xidheld, "USER%d", k % 100);
  e->kytid = 7;
  std::strcpy(e->dtlastused, e->dtcreated);
}

const char* kCols =
    "CN, CMDTYPE, PRIORITY, DTCREATED, DTDONE, DTSCHEDULE, FLAGSERIAL, STATUS, HELDBY, XIDHELD, "
    "DTHOLD, FREEDBY, XIDFREED, DTFREE, DELETEDBY, XIDDELETED, ERRORCODE, KYTID, DTLASTUSED";
const int kDt[] = {3, 4, 5, 10, 13, 18};  // 0-based positions of the date-time columns

std::string insert_text() {
  return std::string("INSERT INTO KT (") + kCols +
         ") VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";
}

// The element's columns as host variables, date-time texts into `dts`.
std::vector<kyt::HostVar> vars_of(kyt_kt_elem* e, int32_t* dts) {
  return {{4, &e->cn},       {1, e->cmdtype},    {8, &e->priority},  {4, &dts[0]},
          {4, &dts[1]},      {4, &dts[2]},       {8, &e->flagserial}, {1, e->status},
          {1, e->heldby},    {1, e->xidheld},    {4, &dts[3]},       {1, e->freedby},
          {1, e->xidfreed},  {4, &dts[4]},       {1, e->deletedby},  {1, e->xiddeleted},
          {8, &e->errorcode}, {4, &e->kytid},    {4, &dts[5]}};
}
char* dt_member(kyt_kt_elem* e, int i) {
  char* m[] = {e->dtcreated, e->dtdone, e->dtschedule, e->dthold, e->dtfree, e->dtlastused};
  return m[i];
}

void open_kyt(const std::string& dir, bool hold) {
  kyt::platform::make_directory(dir.c_str());
  kyt::lpdsn_set("DB", dir.c_str());
  kyt::lpdsn_set("DBHOLD", hold ? "Y" : "N");
  if (kyt::rpdsql_run("OPEN DB") != 0 || kyt::isa_create_catalogue() != 0) std::abort();
  if (kyt::createKTtable() != 0) std::abort();
}

Times run_module(const std::string& dir, int32_t n, bool hold) {
  Times t;
  open_kyt(dir, hold);
  kyt_kt_elem e;
  auto c0 = Clock::now();
  for (int32_t k : order_of(n)) {
    make(k, &e);
    if (kyt::insKTelem(&e) != 0) std::abort();
  }
  t.insert = since(c0);
  c0 = Clock::now();
  for (int32_t k : sample(n, 10000)) {
    if (kyt::getKTelemByCn(k, &e) != 0 || e.cn != k) std::abort();
  }
  t.read = since(c0);
  kyt::rpdsql_run("CLOSE DB");
  return t;
}

Times run_statement(const std::string& dir, int32_t n, bool hold) {
  Times t;
  open_kyt(dir, hold);
  kyt_kt_elem e;
  int32_t dts[6];
  const std::vector<kyt::HostVar> vars = vars_of(&e, dts);
  const std::string ins = insert_text();
  auto c0 = Clock::now();
  for (int32_t k : order_of(n)) {
    make(k, &e);
    for (int i = 0; i < 6; ++i) kyt::dt_to_stored(dt_member(&e, i), &dts[i]);
    if (kyt::rpdsql_run(ins, vars) != 0) std::abort();
  }
  t.insert = since(c0);
  const std::string decl = std::string("DECLARE KTCN CURSOR FOR SELECT ") + kCols +
                           " FROM KT WHERE CN = ?";
  int32_t cn = 0;
  std::vector<kyt::HostVar> sel{{4, &cn}};
  sel.insert(sel.end(), vars.begin(), vars.end());
  c0 = Clock::now();
  for (int32_t k : sample(n, 10000)) {
    cn = k;
    if (kyt::rpdsql_run(decl, sel) != 0) std::abort();
    kyt::rpdsql_run("CLOSE KTCN");
    for (int i = 0; i < 6; ++i) kyt::dt_from_stored(dts[i], dt_member(&e, i), 20);
    if (e.cn != k) std::abort();
  }
  t.read = since(c0);
  kyt::rpdsql_run("CLOSE DB");
  return t;
}

Times run_sqlite(const std::string& dir, int32_t n, bool reuse) {
  Times t;
  sqlite3* db = nullptr;
  std::filesystem::create_directories(dir);
  if (sqlite3_open((dir + "/bench.sqlite").c_str(), &db) != SQLITE_OK) std::abort();
  sqlite3_exec(db, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;", nullptr, nullptr, nullptr);
  const kyt::SchemaTable* kt = kyt::schema_table("KT");
  sqlite3_exec(db, kyt::create_table_text(*kt).c_str(), nullptr, nullptr, nullptr);
  for (const std::string& s : kyt::create_index_texts(*kt))
    sqlite3_exec(db, s.c_str(), nullptr, nullptr, nullptr);
  const std::string ins = insert_text();
  const std::string sel = std::string("SELECT ") + kCols + " FROM KT WHERE CN = ?";
  sqlite3_stmt* ins_st = nullptr;
  sqlite3_stmt* sel_st = nullptr;
  auto prepare = [&](const std::string& sql, sqlite3_stmt** st) {
    if (*st != nullptr && reuse) {
      sqlite3_reset(*st);
      return;
    }
    if (*st != nullptr) sqlite3_finalize(*st);
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, st, nullptr) != SQLITE_OK) std::abort();
  };
  kyt_kt_elem e;
  int32_t dts[6];
  const std::vector<kyt::HostVar> vars = vars_of(&e, dts);
  auto c0 = Clock::now();
  for (int32_t k : order_of(n)) {
    make(k, &e);
    for (int i = 0; i < 6; ++i) kyt::dt_to_stored(dt_member(&e, i), &dts[i]);
    prepare(ins, &ins_st);
    for (size_t i = 0; i < vars.size(); ++i) {
      const kyt::HostVar& h = vars[i];
      const int p = static_cast<int>(i) + 1;
      if (h.type == 1)
        sqlite3_bind_text(ins_st, p, static_cast<const char*>(h.addr), -1, SQLITE_STATIC);
      else if (h.type == 8)
        sqlite3_bind_int(ins_st, p, *static_cast<int16_t*>(h.addr));
      else
        sqlite3_bind_int(ins_st, p, *static_cast<int32_t*>(h.addr));
    }
    if (sqlite3_step(ins_st) != SQLITE_DONE) std::abort();
  }
  t.insert = since(c0);
  c0 = Clock::now();
  for (int32_t k : sample(n, 10000)) {
    prepare(sel, &sel_st);
    sqlite3_bind_int(sel_st, 1, k);
    if (sqlite3_step(sel_st) != SQLITE_ROW) std::abort();
    for (size_t i = 0; i < vars.size(); ++i) {
      const kyt::HostVar& h = vars[i];
      const int c = static_cast<int>(i);
      if (h.type == 1) {
        const unsigned char* s = sqlite3_column_text(sel_st, c);
        const size_t cap = static_cast<size_t>(kt->cols[i].width);
        std::snprintf(static_cast<char*>(h.addr), cap, "%s",
                      s != nullptr ? reinterpret_cast<const char*>(s) : "");
      } else if (h.type == 8) {
        *static_cast<int16_t*>(h.addr) = static_cast<int16_t>(sqlite3_column_int(sel_st, c));
      } else {
        *static_cast<int32_t*>(h.addr) = sqlite3_column_int(sel_st, c);
      }
    }
    for (int i = 0; i < 6; ++i) kyt::dt_from_stored(dts[i], dt_member(&e, i), 20);
    if (e.cn != k) std::abort();
  }
  t.read = since(c0);
  sqlite3_finalize(ins_st);
  sqlite3_finalize(sel_st);
  sqlite3_close(db);
  return t;
}

void keep_best(Times* best, const Times& t) {
  best->insert = std::min(best->insert, t.insert);
  best->read = std::min(best->read, t.read);
}

}  // namespace

int main(int argc, char** argv) {
  int32_t n = argc > 1 ? std::atoi(argv[1]) : 20000;
  if (n < 10000) n = 10000;
  int rounds = argc > 2 ? std::atoi(argv[2]) : 3;
  if (rounds < 1) rounds = 1;
  const std::string dir = kyt::bench::make_environment("kyttabmodbench");
  if (dir.empty()) return 1;
  Times mod, stm, lite, prep, modh, stmh;
  for (int r = 0; r < rounds; ++r) {
    const std::string round = dir + "/r" + std::to_string(r);
    kyt::platform::make_directory(round.c_str());
    keep_best(&lite, run_sqlite(round + "/lite", n, false));
    keep_best(&prep, run_sqlite(round + "/prep", n, true));
    keep_best(&mod, run_module(round + "/module", n, false));
    keep_best(&stm, run_statement(round + "/stmt", n, false));
    keep_best(&modh, run_module(round + "/moduleh", n, true));
    keep_best(&stmh, run_statement(round + "/stmth", n, true));
    std::error_code ec;
    std::filesystem::remove_all(round, ec);
  }
  std::printf("KT, %d full rows inserted one by one, 10000 read by CN; best of %d rounds\n", n,
              rounds);
  std::printf("ratio = other path's time / module time (above 1: the module is faster)\n");
  std::printf("%-22s %9s %9s %9s %9s %8s %8s %8s\n", "phase", "module s", "stmt s", "SQLite s",
              "prep s", "stmt", "SQLite", "prep");
  auto line = [](const char* what, double m, double s, double l, double p) {
    std::printf("%-22s %9.3f %9.3f %9.3f %9.3f %8.2f %8.2f %8.2f\n", what, m, s, l, p, s / m,
                l / m, p / m);
  };
  line("insKTelem", mod.insert, stm.insert, lite.insert, prep.insert);
  line("getKTelemByCn", mod.read, stm.read, lite.read, prep.read);
  std::printf("tables kept held (DBHOLD=Y):\n");
  line("insKTelem", modh.insert, stmh.insert, lite.insert, prep.insert);
  line("getKTelemByCn", modh.read, stmh.read, lite.read, prep.read);
  std::printf("statement path against SQLite: insert %.2f, read %.2f\n", lite.insert / stm.insert,
              lite.read / stm.read);
  std::error_code ec;
  std::filesystem::remove_all(dir, ec);
  return 0;
}
