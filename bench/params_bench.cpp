// A parameter "get" from the cache against the first read of the same parameters from the
// database and against SQLite's primary-key lookup of the same row (a prepared statement
// bound, stepped and reset per lookup), side by side in one run. Ratios are the other path's
// time per lookup / the cached get's (above 1: the cache is faster); the target is at least
// 20 against SQLite.
//
//   params_bench [LOOKUPS [ROUNDS]]      (defaults 1000000 and 3)
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "benchutil.h"
#include "platform/platform.h"
#include "runtime/lpdsn.h"
#include "services/rpdipr.h"
#include "services/rpdprm.h"
#include "sql/sql.h"
#include "sql/isa.h"

namespace {

using kyt::bench::Clock;
using kyt::bench::since;

int die(const char* what, long rc) { return kyt::bench::fail("params_bench", what, rc); }

}  // namespace

int main(int argc, char** argv) {
  const long lookups = argc > 1 ? std::atol(argv[1]) : 1000000;
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 3;
  if (lookups <= 0 || rounds <= 0) return die("arguments", 0);
  const std::string dir = kyt::bench::make_environment("kytprmbench");
  if (dir.empty()) return die("environment", 0);
  long rc;
  if (const char* step = kyt::bench::open_station_database(dir, &rc)) return die(step, rc);
  const auto defaults = kyt::default_parameters();

  double first = 1e9, cached = 1e9, sqlite = 1e9;
  volatile int32_t sink = 0;
  for (int r = 0; r < rounds; ++r) {
    // First reads: a fresh cache (snapshot taken untimed), then every parameter once.
    kyt::rpdprm_reset_for_tests();
    char buf[64];
    kyt::rpdprm_run("get", "SLEEP", buf);
    auto t = Clock::now();
    long n = 0;
    for (const kyt::ParmDefault& d : defaults) {
      if (std::string(d.name) == "SLEEP" || std::string(d.name) == "FORCEDEND") continue;
      if ((rc = kyt::rpdprm_run("get", d.name, buf)) != 0) return die(d.name, rc);
      ++n;
    }
    first = std::min(first, since(t) / static_cast<double>(n));
    // Cached gets of one parameter.
    int32_t v = 0;
    t = Clock::now();
    for (long i = 0; i < lookups; ++i) {
      kyt::rpdprm_run("get", "MAXRECL", &v);
      sink = sink + v;
    }
    cached = std::min(cached, since(t) / static_cast<double>(lookups));
  }
  kyt::rpdsql_run("CLOSE DB");

  sqlite3* db = nullptr;
  const std::string sfile = dir + kyt::platform::path_separator() + "pt.sqlite";
  if (sqlite3_open(sfile.c_str(), &db) != SQLITE_OK) return die("sqlite open", 0);
  sqlite3_exec(db, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;", nullptr, nullptr, nullptr);
  sqlite3_exec(db,
               "CREATE TABLE PT (NAME CHAR(20) NOT NULL PRIMARY KEY, TYPE SMALLINT NOT NULL, "
               "LEN INTEGER NOT NULL, VAL CHAR(40) NOT NULL)",
               nullptr, nullptr, nullptr);
  sqlite3_stmt* ins = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO PT VALUES(?, ?, ?, ?)", -1, &ins, nullptr);
  for (const kyt::ParmDefault& d : defaults) {
    sqlite3_bind_text(ins, 1, d.name, -1, SQLITE_STATIC);
    sqlite3_bind_int(ins, 2, d.type);
    sqlite3_bind_int(ins, 3, d.len);
    sqlite3_bind_text(ins, 4, d.value, -1, SQLITE_STATIC);
    sqlite3_step(ins);
    sqlite3_reset(ins);
  }
  sqlite3_finalize(ins);
  sqlite3_stmt* sel = nullptr;
  if (sqlite3_prepare_v2(db, "SELECT TYPE, LEN, VAL FROM PT WHERE NAME = ?", -1, &sel, nullptr) !=
      SQLITE_OK)
    return die("sqlite prepare", 0);
  for (int r = 0; r < rounds; ++r) {
    auto t = Clock::now();
    for (long i = 0; i < lookups; ++i) {
      sqlite3_bind_text(sel, 1, "MAXRECL", -1, SQLITE_STATIC);
      if (sqlite3_step(sel) != SQLITE_ROW) return die("sqlite step", i);
      sink = sink + std::atoi(reinterpret_cast<const char*>(sqlite3_column_text(sel, 2)));
      sqlite3_reset(sel);
    }
    sqlite = std::min(sqlite, since(t) / static_cast<double>(lookups));
  }
  sqlite3_finalize(sel);
  sqlite3_close(db);
  std::error_code ec;
  std::filesystem::remove_all(dir, ec);

  std::printf("parameter lookup, best of %d rounds (ns per lookup)\n", rounds);
  std::printf("  cached get (rpdprm)        %10.1f\n", cached * 1e9);
  std::printf("  first get (database read)  %10.1f\n", first * 1e9);
  std::printf("  SQLite prepared SELECT     %10.1f\n", sqlite * 1e9);
  std::printf("ratio first read / cached get:   %8.1f\n", first / cached);
  std::printf("ratio SQLite lookup / cached get: %8.1f  (target >= 20)\n", sqlite / cached);
  return 0;
}
