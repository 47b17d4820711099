// ISAM against SQLite, side by side in one run: 200000 records of five text fields with a
// unique and a duplicate index; add all, find each by key, read all in index order, delete
// all. SQLite runs the same work on the same table and indexes (journal_mode=OFF,
// synchronous=OFF, one transaction, prepared statements, the same cache bytes). Prints
// operations per second and the ratio kyt / SQLite for each phase.
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "isam/isam.h"
#include "platform/platform.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Row {
  std::string f[5];
};

double seconds(Clock::time_point a, Clock::time_point b) {
  return std::chrono::duration<double>(b - a).count();
}

std::vector<Row> make_rows(size_t n) {
  std::mt19937 rng(42);
  std::vector<Row> rows(n);
  auto text = [&](size_t len) {
    std::string s(len, ' ');
    for (char& c : s) c = static_cast<char>('a' + rng() % 26);
    return s;
  };
  for (size_t i = 0; i < n; ++i) {
    char key[24];
    std::snprintf(key, sizeof key, "k%08zu", i);
    rows[i].f[0] = key;
    rows[i].f[1] = "group" + std::to_string(rng() % 1000);
    for (int j = 2; j < 5; ++j) rows[i].f[j] = text(8 + rng() % 16);
  }
  std::shuffle(rows.begin(), rows.end(), rng);
  return rows;
}

struct Times {
  double add, find, scan, del;
};

Times run_isam(const std::string& dir, const std::vector<Row>& rows) {
  const std::string base = dir + "/BENCH";
  const char* fields[] = {"K", "G", "A", "B", "C", nullptr};
  const char* primary[] = {"K", nullptr};
  const char* group[] = {"G", nullptr};
  kyt::icreate_db(base.c_str(), fields);
  kyt::IsamDb* db = kyt::iopen_db(base.c_str());
  kyt::imkindex(db, "PRIMARY", primary);
  kyt::imkindex(db, "GROUP", group);
  kyt::IsamIndex* pk = kyt::ihandle(db, "PRIMARY");
  kyt::IsamIndex* gi = kyt::ihandle(db, "GROUP");
  Times t{};
  const char* out[5];
  char buf[512];
  auto t0 = Clock::now();
  for (const Row& r : rows) {
    const char* v[] = {r.f[0].c_str(), r.f[1].c_str(), r.f[2].c_str(), r.f[3].c_str(), r.f[4].c_str()};
    if (kyt::iaddrec(db, pk, v) != 1) std::fprintf(stderr, "iaddrec failed\n");
  }
  auto t1 = Clock::now();
  size_t found = 0;
  for (const Row& r : rows) {
    const char* k[] = {r.f[0].c_str()};
    if (kyt::ifindkey(db, pk, k) == 2 && kyt::igetrec(db, pk, out, buf, sizeof buf) == 1) ++found;
  }
  auto t2 = Clock::now();
  size_t scanned = 0;
  while (kyt::ifindnext(db, gi) == 1 && kyt::igetrec(db, gi, out, buf, sizeof buf) == 1) ++scanned;
  auto t3 = Clock::now();
  for (const Row& r : rows) {
    const char* k[] = {r.f[0].c_str()};
    if (kyt::ifindkey(db, pk, k) != 2 || kyt::idelrec(db, pk) != 1) std::fprintf(stderr, "delete failed\n");
  }
  auto t4 = Clock::now();
  kyt::iclose_db(db);
  if (found != rows.size() || scanned != rows.size()) std::fprintf(stderr, "kyt: found %zu scanned %zu\n", found, scanned);
  t = {seconds(t0, t1), seconds(t1, t2), seconds(t2, t3), seconds(t3, t4)};
  return t;
}

Times run_sqlite(const std::string& dir, const std::vector<Row>& rows, int cache_kib) {
  sqlite3* db = nullptr;
  sqlite3_open((dir + "/bench.sqlite").c_str(), &db);
  const std::string pragmas = "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; PRAGMA cache_size=-" +
                              std::to_string(cache_kib) + ";";
  sqlite3_exec(db, pragmas.c_str(), nullptr, nullptr, nullptr);
  sqlite3_exec(db,
               "CREATE TABLE t(k TEXT, g TEXT, a TEXT, b TEXT, c TEXT);"
               "CREATE UNIQUE INDEX tk ON t(k); CREATE INDEX tg ON t(g);",
               nullptr, nullptr, nullptr);
  sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
  sqlite3_stmt *ins, *sel, *scan, *del;
  sqlite3_prepare_v2(db, "INSERT INTO t VALUES(?,?,?,?,?)", -1, &ins, nullptr);
  sqlite3_prepare_v2(db, "SELECT k,g,a,b,c FROM t WHERE k=?", -1, &sel, nullptr);
  sqlite3_prepare_v2(db, "SELECT k,g,a,b,c FROM t ORDER BY g", -1, &scan, nullptr);
  sqlite3_prepare_v2(db, "DELETE FROM t WHERE k=?", -1, &del, nullptr);
  size_t sink = 0;
  auto t0 = Clock::now();
  for (const Row& r : rows) {
    for (int j = 0; j < 5; ++j) sqlite3_bind_text(ins, j + 1, r.f[j].c_str(), -1, SQLITE_STATIC);
    sqlite3_step(ins);
    sqlite3_reset(ins);
  }
  auto t1 = Clock::now();
  for (const Row& r : rows) {
    sqlite3_bind_text(sel, 1, r.f[0].c_str(), -1, SQLITE_STATIC);
    if (sqlite3_step(sel) == SQLITE_ROW) {
      for (int j = 0; j < 5; ++j) sink += static_cast<size_t>(sqlite3_column_bytes(sel, j));
    }
    sqlite3_reset(sel);
  }
  auto t2 = Clock::now();
  while (sqlite3_step(scan) == SQLITE_ROW) {
    for (int j = 0; j < 5; ++j) sink += static_cast<size_t>(sqlite3_column_bytes(scan, j));
  }
  auto t3 = Clock::now();
  for (const Row& r : rows) {
    sqlite3_bind_text(del, 1, r.f[0].c_str(), -1, SQLITE_STATIC);
    sqlite3_step(del);
    sqlite3_reset(del);
  }
  auto t4 = Clock::now();
  sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
  for (sqlite3_stmt* s : {ins, sel, scan, del}) sqlite3_finalize(s);
  sqlite3_close(db);
  if (sink == 0) std::fprintf(stderr, "sqlite read nothing\n");
  return {seconds(t0, t1), seconds(t1, t2), seconds(t2, t3), seconds(t3, t4)};
}

}  // namespace

int main(int argc, char** argv) {
  const size_t n = argc > 1 ? static_cast<size_t>(std::atol(argv[1])) : 200000;
  const std::vector<Row> rows = make_rows(n);
  const std::string dir = kyt::platform::make_temp_directory("kytbench");
  kyt::isaminit(100, 8192);
  const Times k = run_isam(dir, rows);
  const Times s = run_sqlite(dir, rows, 100 * 8192 / 1024);
  std::printf("ISAM vs SQLite, %zu records of five text fields, two indexes, 800 KiB cache\n", n);
  std::printf("%-22s %14s %14s %8s\n", "phase", "kyt ops/s", "SQLite ops/s", "ratio");
  auto line = [&](const char* name, double kt, double st) {
    const double ko = static_cast<double>(n) / kt, so = static_cast<double>(n) / st;
    std::printf("%-22s %14.0f %14.0f %8.2f\n", name, ko, so, ko / so);
  };
  line("add", k.add, s.add);
  line("find by key", k.find, s.find);
  line("read in index order", k.scan, s.scan);
  line("delete by key", k.del, s.del);
  for (const char* f : {"/BENCH.DB", "/BENCH.IDX", "/BENCH.HOL", "/bench.sqlite"}) {
    kyt::platform::remove_file((dir + f).c_str());
  }
  return 0;
}
