// The SQL layer against SQLite, side by side in one run, on the station's command table KT:
// insert N rows one statement each, read 10000 of them by CN, list the rows of given
// STATUS values, update 10000 by CN, delete 10000 by CN. kyt runs every statement through
// rpdsql (parsed anew each time, each its own transaction); SQLite prepares every statement
// anew too (journal_mode=OFF, synchronous=OFF, autocommit). Prints the time of each phase
// and the ratio SQLite time / kyt time (above 1: kyt is faster). The whole workload runs
// ROUNDS times on fresh databases, the engines taking turns, and each phase reports its
// best round: a machine shared with other work slows single rounds by half and more.
//
//   sql_exec_bench [ROWS [ROUNDS]]      (defaults 100000 and 3)
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <cstdio>
#include <cstdlib>
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

const char* kStatuses[] = {"qn", "qs", "ok", "er", "hd", "dl", "rn", "wt", "sx", "zz"};

const char* kInsert =
    "INSERT INTO KT (CN, CMDTYPE, PRIORITY, DTCREATED, DTSCHEDULE, FLAGSERIAL, STATUS, "
    "ERRORCODE, KYTID) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)";
const char* kSelectOne = "SELECT STATUS, DTCREATED FROM KT WHERE CN = ?";
const char* kList = "SELECT CN, PRIORITY FROM KT WHERE STATUS = ?";
const char* kUpdate = "UPDATE KT SET STATUS = ?, DTDONE = ? WHERE CN = ?";
const char* kDelete = "DELETE FROM KT WHERE CN = ?";

struct Times {
  double insert = 0, read = 0, list = 0, update = 0, del = 0;
  long listed = 0;
};

std::vector<int32_t> sample(int32_t n, size_t count, unsigned seed) {
  std::mt19937 rng(seed);
  std::vector<int32_t> v(count);
  for (int32_t& x : v) x = static_cast<int32_t>(rng() % static_cast<uint32_t>(n)) + 1;
  return v;
}

std::vector<int32_t> order_of(int32_t n) {
  std::vector<int32_t> v(static_cast<size_t>(n));
  for (int32_t i = 0; i < n; ++i) v[static_cast<size_t>(i)] = i + 1;
  std::shuffle(v.begin(), v.end(), std::mt19937(3));
  return v;
}

Times run_kyt(const std::string& dir, int32_t n, bool hold) {
  using kyt::HostVar;
  Times t;
  kyt::platform::make_directory(dir.c_str());
  kyt::lpdsn_set("DB", dir.c_str());
  kyt::lpdsn_set("DBHOLD", hold ? "Y" : "N");
  if (kyt::rpdsql_run("OPEN DB") != 0 || kyt::isa_create_catalogue() != 0) std::abort();
  const kyt::SchemaTable* kt = kyt::schema_table("KT");
  if (kyt::rpdsql_run(kyt::create_table_text(*kt)) != 0) std::abort();
  for (const std::string& s : kyt::create_index_texts(*kt)) kyt::rpdsql_run(s);

  int32_t cn = 0, dt = 0, kytid = 7;
  int16_t prio = 0, flag = 0, err = 0;
  char cmd[4] = "SND", status[3] = "qn";
  std::vector<HostVar> ins{{4, &cn}, {1, cmd},   {8, &prio}, {4, &dt},   {4, &dt},
                           {8, &flag}, {1, status}, {8, &err}, {4, &kytid}};
  auto c0 = Clock::now();
  for (int32_t k : order_of(n)) {
    cn = k;
    prio = static_cast<int16_t>(k % 10);
    dt = 800000000 + k;
    std::snprintf(status, sizeof status, "%s", kStatuses[k % 10]);
    if (kyt::rpdsql_run(kInsert, ins) != 0) std::abort();
  }
  t.insert = since(c0);

  char got[3];
  int32_t created = 0;
  std::vector<HostVar> one{{4, &cn}, {1, got}, {4, &created}};
  c0 = Clock::now();
  for (int32_t k : sample(n, 10000, 1)) {
    cn = k;
    std::string decl = std::string("DECLARE one CURSOR FOR ") + kSelectOne;
    if (kyt::rpdsql_run(decl, one) != 0) std::abort();
    kyt::rpdsql_run("CLOSE one");
  }
  t.read = since(c0);

  std::vector<HostVar> list{{1, status}, {4, &cn}, {8, &prio}};
  std::vector<HostVar> fetch{{4, &cn}, {8, &prio}};
  c0 = Clock::now();
  for (int i = 0; i < 3; ++i) {
    std::snprintf(status, sizeof status, "%s", kStatuses[i]);
    int32_t rc = kyt::rpdsql_run(std::string("DECLARE lst CURSOR FOR ") + kList, list);
    while (rc == 0) {
      ++t.listed;
      rc = kyt::rpdsql_run("FETCH lst", fetch);
    }
    kyt::rpdsql_run("CLOSE lst");
  }
  t.list = since(c0);

  std::vector<HostVar> upd{{1, status}, {4, &dt}, {4, &cn}};
  c0 = Clock::now();
  for (int32_t k : sample(n, 10000, 2)) {
    cn = k;
    dt = 900000000 + k;
    std::snprintf(status, sizeof status, "ok");
    if (kyt::rpdsql_run(kUpdate, upd) != 0) std::abort();
  }
  t.update = since(c0);

  std::vector<HostVar> del{{4, &cn}};
  c0 = Clock::now();
  for (int32_t k : sample(n, 10000, 3)) {
    cn = k;
    if (kyt::rpdsql_run(kDelete, del) != 0) std::abort();
  }
  t.del = since(c0);
  kyt::rpdsql_run("CLOSE DB");
  return t;
}

Times run_sqlite(const std::string& dir, int32_t n) {
  Times t;
  sqlite3* db = nullptr;
  if (sqlite3_open((dir + "/bench.sqlite").c_str(), &db) != SQLITE_OK) std::abort();
  sqlite3_exec(db, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;", nullptr, nullptr, nullptr);
  const kyt::SchemaTable* kt = kyt::schema_table("KT");
  sqlite3_exec(db, kyt::create_table_text(*kt).c_str(), nullptr, nullptr, nullptr);
  for (const std::string& s : kyt::create_index_texts(*kt))
    sqlite3_exec(db, s.c_str(), nullptr, nullptr, nullptr);
  auto run = [&](const char* sql, auto bind, auto each) {
    sqlite3_stmt* st = nullptr;
    if (sqlite3_prepare_v2(db, sql, -1, &st, nullptr) != SQLITE_OK) std::abort();
    bind(st);
    int rc;
    while ((rc = sqlite3_step(st)) == SQLITE_ROW) each(st);
    if (rc != SQLITE_DONE) std::abort();
    sqlite3_finalize(st);
  };
  auto none = [](sqlite3_stmt*) {};
  auto c0 = Clock::now();
  for (int32_t k : order_of(n)) {
    run(kInsert,
        [&](sqlite3_stmt* s) {
          sqlite3_bind_int(s, 1, k);
          sqlite3_bind_text(s, 2, "SND", -1, SQLITE_STATIC);
          sqlite3_bind_int(s, 3, k % 10);
          sqlite3_bind_int(s, 4, 800000000 + k);
          sqlite3_bind_int(s, 5, 800000000 + k);
          sqlite3_bind_int(s, 6, 0);
          sqlite3_bind_text(s, 7, kStatuses[k % 10], -1, SQLITE_STATIC);
          sqlite3_bind_int(s, 8, 0);
          sqlite3_bind_int(s, 9, 7);
        },
        none);
  }
  t.insert = since(c0);
  c0 = Clock::now();
  for (int32_t k : sample(n, 10000, 1))
    run(kSelectOne, [&](sqlite3_stmt* s) { sqlite3_bind_int(s, 1, k); }, none);
  t.read = since(c0);
  c0 = Clock::now();
  long listed = 0;
  for (int i = 0; i < 3; ++i) {
    run(kList, [&](sqlite3_stmt* s) { sqlite3_bind_text(s, 1, kStatuses[i], -1, SQLITE_STATIC); },
        [&](sqlite3_stmt*) { ++listed; });
  }
  t.list = since(c0);
  t.listed = listed;
  c0 = Clock::now();
  for (int32_t k : sample(n, 10000, 2)) {
    run(kUpdate,
        [&](sqlite3_stmt* s) {
          sqlite3_bind_text(s, 1, "ok", -1, SQLITE_STATIC);
          sqlite3_bind_int(s, 2, 900000000 + k);
          sqlite3_bind_int(s, 3, k);
        },
        none);
  }
  t.update = since(c0);
  c0 = Clock::now();
  for (int32_t k : sample(n, 10000, 3))
    run(kDelete, [&](sqlite3_stmt* s) { sqlite3_bind_int(s, 1, k); }, none);
  t.del = since(c0);
  sqlite3_close(db);
  return t;
}

}  // namespace

// The best of two measurements, phase by phase.
Times best(const Times& a, const Times& b) {
  Times t = a;
  t.insert = std::min(a.insert, b.insert);
  t.read = std::min(a.read, b.read);
  t.list = std::min(a.list, b.list);
  t.update = std::min(a.update, b.update);
  t.del = std::min(a.del, b.del);
  return t;
}

int main(int argc, char** argv) {
  int32_t n = argc > 1 ? std::atoi(argv[1]) : 100000;
  if (n < 10000) n = 10000;
  int rounds = argc > 2 ? std::atoi(argv[2]) : 3;
  if (rounds < 1) rounds = 1;
  const std::string dir = kyt::bench::make_environment("kytsqlbench");
  if (dir.empty()) return 1;
  Times s, k, h;
  for (int r = 0; r < rounds; ++r) {
    const std::string round = dir + "/r" + std::to_string(r);
    kyt::platform::make_directory(round.c_str());
    Times rs = run_sqlite(round, n);
    Times rk = run_kyt(round + "/shared", n, false);
    Times rh = run_kyt(round + "/held", n, true);
    s = r == 0 ? rs : best(s, rs);
    k = r == 0 ? rk : best(k, rk);
    h = r == 0 ? rh : best(h, rh);
    std::error_code ec;
    std::filesystem::remove_all(round, ec);
  }
  std::printf("KT workload, %d rows, one statement each, best of %d rounds; ratio = SQLite time / "
              "kyt time\n", n, rounds);
  std::printf("kyt: tables given up after each statement (default) and kept held (DBHOLD=Y)\n");
  std::printf("%-24s %9s %9s %9s %8s %8s\n", "phase", "SQLite s", "kyt s", "held s", "ratio",
              "held");
  auto line = [](const char* what, double q, double a, double b) {
    std::printf("%-24s %9.3f %9.3f %9.3f %8.2f %8.2f\n", what, q, a, b, q / a, q / b);
  };
  line("insert one by one", s.insert, k.insert, h.insert);
  line("read 10000 by CN", s.read, k.read, h.read);
  line("list 3 STATUS values", s.list, k.list, h.list);
  line("update 10000 by CN", s.update, k.update, h.update);
  line("delete 10000 by CN", s.del, k.del, h.del);
  if (k.listed != s.listed || h.listed != s.listed)
    std::printf("rows listed differ: SQLite %ld, kyt %ld, held %ld\n", s.listed, k.listed, h.listed);
  std::error_code ec;
  std::filesystem::remove_all(dir, ec);
  return 0;
}
