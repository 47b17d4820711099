// The import of a generated station table (PARTNERS partners, one ST, OP, NK and TC record
// each) into a new station database, against SQLite inserting the same rows into tables of
// the same columns and keys, one transaction a record (autocommit), side by side in one run.
// The import's time includes reading and parsing the file; SQLite's gets its values bound to
// prepared statements. Two SQLite settings are measured: no journal (as the other benchmarks
// of the project) and its rollback journal in memory, both without sync, since the station
// database does not sync either. Ratios are SQLite's time / the import's (above 1: the import
// is faster); the target is at least 1.0.
//
//   import_bench [PARTNERS [ROUNDS]]      (defaults 10000 and 2)
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "benchutil.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"

namespace {

using kyt::bench::Clock;
using kyt::bench::since;

int die(const char* what, long rc) { return kyt::bench::fail("import_bench", what, rc); }

std::string sid(long i) {
  char b[24];
  std::snprintf(b, sizeof b, "P%05ld", i);
  return b;
}

// The station table of `n` partners.
std::string station_table(long n) {
  std::string t;
  char line[512];
  for (long i = 0; i < n; ++i) {
    const std::string s = sid(i);
    std::snprintf(line, sizeof line,
                  "ST SID=%s NETID=O00130000%s STATNAME=\"Partner %ld\" PHONE=\"+49 711 %ld\" "
                  "SIDTYP=P\n"
                  "OP SID=%s ODETTEID=O00130000%s PSWFROM=PWA%ld PSWTO=PWB%ld SENDBLOCKS=1000 "
                  "RECVBLOCKS=1000\n"
                  "NK SID=%s FTP=O PROTOCOL=T PRIORITY=10 FLGSUSPND=0 AUTODIAL=Y DELAY=60 "
                  "PSESSIONS=1\n"
                  "TC SID=%s N=1 PROTOCOL=T INADDR=\"oftp%ld.example\" PORT=3305 MAX_IN=2 "
                  "MAX_OUT=2 RCV_N=1\n",
                  s.c_str(), s.c_str(), i, i, s.c_str(), s.c_str(), i, i, s.c_str(), s.c_str(), i);
    t += line;
  }
  return t;
}

double kyt_import(const std::string& dir, const std::string& table, long n, long* rc) {
  const std::string env = dir + kyt::platform::path_separator() + "kytenv.dat";
  if (std::FILE* f = std::fopen(env.c_str(), "w")) std::fclose(f);
  *rc = kyt::lpdsn_init_file(env);
  if (*rc == 0) *rc = kyt::lpdsn_set("DB", dir.c_str());
  if (*rc == 0) *rc = kyt::rpdsql_run("OPEN DB");
  if (*rc == 0) *rc = kyt::isa_create_catalogue();
  if (*rc == 0) *rc = kyt::rpdini_run();
  if (*rc != 0) return 0;
  const auto t = Clock::now();
  *rc = kyt::import_stations(table.c_str(), nullptr);
  const double s = since(t);
  int32_t rows = 0;
  if (*rc == 0) *rc = kyt::tm::count(kyt::Tab::kTC, "bench", "BCOUNT", nullptr, {}, &rows);
  if (*rc == 0 && rows != n) *rc = -1;
  kyt::rpdsql_run("CLOSE DB");
  return s;
}

double sqlite_insert(const std::string& file, long n, const char* pragmas, long* rc) {
  sqlite3* db = nullptr;
  *rc = sqlite3_open(file.c_str(), &db);
  if (*rc != SQLITE_OK) return 0;
  sqlite3_exec(db, pragmas, nullptr, nullptr, nullptr);
  *rc = sqlite3_exec(
      db,
      "CREATE TABLE ST (SID CHAR(17) NOT NULL, NETID CHAR(26) NOT NULL, STATNAME CHAR(31) NOT "
      "NULL, PHONE CHAR(30), SIDTYP CHAR(2), PRIMARY KEY (SID));"
      "CREATE TABLE OP (SID CHAR(17) NOT NULL, ODETTEID CHAR(26) NOT NULL, PSWFROM CHAR(9) NOT "
      "NULL, PSWTO CHAR(9) NOT NULL, SENDBLOCKS INTEGER, RECVBLOCKS INTEGER, OCREVAL INTEGER, "
      "OEXBUF INTEGER, CODEIN CHAR(2), CODEOUT CHAR(2), USERFIELD CHAR(10), RETRY INTEGER, "
      "EERP_IN CHAR(10), EERP_OUT CHAR(10), VDSNCHAR CHAR(10), FLAGCOMP SMALLINT NOT NULL, "
      "FLAGCRYP SMALLINT NOT NULL, ROUTING CHAR(2), SECURITY CHAR(10), USEPKI CHAR(4), USEULS "
      "CHAR(9), OFTPLEV CHAR(2), USERSEP CHAR(2), DIRECTION CHAR(2), COMPFLAGS CHAR(16), "
      "CRYPFLAGS CHAR(16), PRIMARY KEY (SID));"
      "CREATE UNIQUE INDEX IDX_OID ON OP (ODETTEID);"
      "CREATE TABLE NK (SID CHAR(17) NOT NULL, FTP CHAR(2) NOT NULL, PROTOCOL CHAR(2) NOT NULL, "
      "PRIORITY SMALLINT NOT NULL, FLAGSUSPND SMALLINT NOT NULL, AUTODIAL CHAR(2) NOT NULL, "
      "DELAY INTEGER, PSESSIONS INTEGER, PRIMARY KEY (SID, FTP, PROTOCOL));"
      "CREATE TABLE TC (SID CHAR(17) NOT NULL, PROTOCOL CHAR(2) NOT NULL, N INTEGER, INADDR "
      "CHAR(64) NOT NULL, PORT SMALLINT NOT NULL, MAX_IN SMALLINT, MAX_OUT SMALLINT, SECURITY "
      "CHAR(9), RCV_N INTEGER NOT NULL, PRIMARY KEY (SID, PROTOCOL, N));",
      nullptr, nullptr, nullptr);
  if (*rc != SQLITE_OK) return 0;
  sqlite3_stmt *st = nullptr, *op = nullptr, *nk = nullptr, *tc = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO ST VALUES (?, ?, ?, ?, ?)", -1, &st, nullptr);
  sqlite3_prepare_v2(db,
                     "INSERT INTO OP VALUES (?, ?, ?, ?, ?, ?, 0, 0, '', '', '', 0, '', '', '', 0, "
                     "0, '', '', '', '', '', '', '', '', '')",
                     -1, &op, nullptr);
  sqlite3_prepare_v2(db, "INSERT INTO NK VALUES (?, 'O', 'T', 10, 0, 'Y', 60, 1)", -1, &nk,
                     nullptr);
  sqlite3_prepare_v2(db, "INSERT INTO TC VALUES (?, 'T', 1, ?, 3305, 2, 2, '', 1)", -1, &tc,
                     nullptr);
  if (st == nullptr || op == nullptr || nk == nullptr || tc == nullptr) {
    *rc = -2;
    return 0;
  }
  auto step = [&](sqlite3_stmt* s) {
    if (sqlite3_step(s) != SQLITE_DONE) *rc = -3;
    sqlite3_reset(s);
  };
  const auto t = Clock::now();
  char a[64], b[64], c[64];
  for (long i = 0; i < n && *rc == SQLITE_OK; ++i) {
    const std::string s = sid(i);
    char oid[40];
    std::snprintf(oid, sizeof oid, "O00130000%s", s.c_str());
    std::snprintf(a, sizeof a, "Partner %ld", i);
    std::snprintf(b, sizeof b, "+49 711 %ld", i);
    sqlite3_bind_text(st, 1, s.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(st, 2, oid, -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(st, 3, a, -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(st, 4, b, -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(st, 5, "P", -1, SQLITE_STATIC);
    step(st);
    std::snprintf(a, sizeof a, "PWA%ld", i);
    std::snprintf(b, sizeof b, "PWB%ld", i);
    sqlite3_bind_text(op, 1, s.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(op, 2, oid, -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(op, 3, a, -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(op, 4, b, -1, SQLITE_TRANSIENT);
    sqlite3_bind_int(op, 5, 1000);
    sqlite3_bind_int(op, 6, 1000);
    step(op);
    sqlite3_bind_text(nk, 1, s.c_str(), -1, SQLITE_TRANSIENT);
    step(nk);
    std::snprintf(c, sizeof c, "oftp%ld.example", i);
    sqlite3_bind_text(tc, 1, s.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(tc, 2, c, -1, SQLITE_TRANSIENT);
    step(tc);
  }
  const double secs = since(t);
  for (sqlite3_stmt* s : {st, op, nk, tc}) sqlite3_finalize(s);
  sqlite3_close(db);
  return secs;
}

}  // namespace

int main(int argc, char** argv) {
  const long n = argc > 1 ? std::atol(argv[1]) : 10000;
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 2;
  if (n <= 0 || n > 99999 || rounds <= 0) return die("arguments", 0);
  const std::string dir = kyt::platform::make_temp_directory("kytimpbench");
  const char sep = kyt::platform::path_separator();
  const std::string table = dir + sep + "stations.txt";
  if (std::FILE* f = std::fopen(table.c_str(), "wb")) {
    const std::string text = station_table(n);
    std::fwrite(text.data(), 1, text.size(), f);
    std::fclose(f);
  } else {
    return die("station table", 0);
  }
  double import = 1e9, off = 1e9, memory = 1e9;
  long rc = 0;
  for (int r = 0; r < rounds; ++r) {
    const std::string db = dir + sep + "db" + std::to_string(r);
    kyt::platform::make_directory(db.c_str());
    import = std::min(import, kyt_import(db, table, n, &rc));
    if (rc != 0) return die("import", rc);
    const std::string s1 = dir + sep + "off" + std::to_string(r) + ".sqlite";
    off = std::min(off, sqlite_insert(s1, n, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;",
                                      &rc));
    if (rc != 0) return die("sqlite (no journal)", rc);
    const std::string s2 = dir + sep + "mem" + std::to_string(r) + ".sqlite";
    memory = std::min(memory, sqlite_insert(s2, n,
                                            "PRAGMA journal_mode=MEMORY; PRAGMA synchronous=OFF;",
                                            &rc));
    if (rc != 0) return die("sqlite (journal in memory)", rc);
  }
  std::error_code ec;
  std::filesystem::remove_all(dir, ec);
  const double rows = 4.0 * static_cast<double>(n);
  std::printf("station table of %ld partners (%.0f rows), best of %d rounds (us per row)\n", n,
              rows, rounds);
  std::printf("  import (rpdist: read, parse, insert)   %8.2f\n", import / rows * 1e6);
  std::printf("  SQLite, no journal                     %8.2f\n", off / rows * 1e6);
  std::printf("  SQLite, rollback journal in memory     %8.2f\n", memory / rows * 1e6);
  std::printf("ratio SQLite (no journal) / import:        %6.2f  (target >= 1.0)\n", off / import);
  std::printf("ratio SQLite (journal in memory) / import: %6.2f\n", memory / import);
  return 0;
}
