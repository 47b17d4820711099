// Operator commands through the batch command entry against SQLite writing the same rows,
// side by side in one run. Each kytcal line "OPCMD CMD=..." is parsed against the batch set,
// draws the next number from LC, and writes a KT and an OK row in one transaction; SQLite
// does the same three writes (prepared statements, one transaction a command, synchronous
// off as our engine does not sync either). The ratio is SQLite's time per command / kytcal's
// (above 1: kytcal is faster); the target is at least 1.
//
//   kytcal_bench [COMMANDS]      (default 10000)
#include <sqlite3.h>

#include <chrono>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "benchutil.h"
#include "api/kytcmd.h"
#include "kyt/kyt.h"
#include "platform/platform.h"
#include "runtime/lpdsn.h"
#include "services/rpdipr.h"
#include "sql/isa.h"
#include "sql/sql.h"

namespace {

using kyt::bench::Clock;
using kyt::bench::since;

int die(const char* what, long rc) { return kyt::bench::fail("kytcal_bench", what, rc); }

}  // namespace

int main(int argc, char** argv) {
  const long commands = argc > 1 ? std::atol(argv[1]) : 10000;
  if (commands <= 0) return die("arguments", 0);
  const std::string dir = kyt::bench::make_environment("kytcalbench");
  if (dir.empty()) return die("environment", 0);
  const std::string sep(1, kyt::platform::path_separator());
  long rc;
  if (const char* step = kyt::bench::open_station_database(dir, &rc)) return die(step, rc);
  kyt::api::set_batch_output([](std::string_view) {});

  auto t = Clock::now();
  for (long i = 0; i < commands; ++i) {
    const std::string line = "OPCMD CMD=\"STOP XMT " + std::to_string(i) + "\"";
    int32_t cn = 0;
    if ((rc = kytcal(static_cast<int32_t>(line.size()), line.c_str(), nullptr, nullptr, nullptr,
                     &cn)) != 0)
      return die("kytcal", rc);
  }
  const double ours = since(t) / static_cast<double>(commands);
  kyt::rpdsql_run("CLOSE DB");

  sqlite3* db = nullptr;
  if (sqlite3_open((dir + sep + "kt.sqlite").c_str(), &db) != SQLITE_OK) return die("sqlite open", 0);
  sqlite3_exec(db, "PRAGMA synchronous=OFF;", nullptr, nullptr, nullptr);
  sqlite3_exec(db,
               "CREATE TABLE LC (CN INTEGER NOT NULL); INSERT INTO LC VALUES(0);"
               "CREATE TABLE KT (CN INTEGER NOT NULL PRIMARY KEY, CMDTYPE CHAR(3) NOT NULL, "
               "PRIORITY SMALLINT, DTCREATED INTEGER NOT NULL, DTDONE INTEGER, DTSCHEDULE INTEGER, "
               "FLAGSERIAL SMALLINT NOT NULL, STATUS CHAR(3) NOT NULL, HELDBY CHAR(2), XIDHELD "
               "CHAR(21), DTHOLD INTEGER, FREEDBY CHAR(2), XIDFREED CHAR(21), DTFREE INTEGER, "
               "DELETEDBY CHAR(2), XIDDELETED CHAR(21), ERRORCODE SMALLINT NOT NULL, KYTID INTEGER "
               "NOT NULL, DTLASTUSED INTEGER);"
               "CREATE TABLE OK (CN INTEGER NOT NULL PRIMARY KEY, CID CHAR(12) NOT NULL, CPID "
               "INTEGER NOT NULL, TEXTOK CHAR(255) NOT NULL);",
               nullptr, nullptr, nullptr);
  sqlite3_stmt *num = nullptr, *upd = nullptr, *kt = nullptr, *ok = nullptr;
  sqlite3_prepare_v2(db, "SELECT MAX(CN) FROM LC", -1, &num, nullptr);
  sqlite3_prepare_v2(db, "UPDATE LC SET CN = ?", -1, &upd, nullptr);
  sqlite3_prepare_v2(db,
                     "INSERT INTO KT VALUES(?, 'OK', 10, ?, 0, 0, 0, 'qn', '', '', 0, '', '', 0, "
                     "'', '', 0, 0, ?)",
                     -1, &kt, nullptr);
  sqlite3_prepare_v2(db, "INSERT INTO OK VALUES(?, 'KYTCAL', ?, ?)", -1, &ok, nullptr);
  if (num == nullptr || upd == nullptr || kt == nullptr || ok == nullptr) return die("sqlite prepare", 0);
  t = Clock::now();
  for (long i = 0; i < commands; ++i) {
    const std::string text = "STOP XMT " + std::to_string(i);
    sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
    if (sqlite3_step(num) != SQLITE_ROW) return die("sqlite number", i);
    const int cn = sqlite3_column_int(num, 0) + 1;
    sqlite3_reset(num);
    sqlite3_bind_int(upd, 1, cn);
    sqlite3_step(upd);
    sqlite3_reset(upd);
    const int now = static_cast<int>(std::time(nullptr));
    sqlite3_bind_int(kt, 1, cn);
    sqlite3_bind_int(kt, 2, now);
    sqlite3_bind_int(kt, 3, now);
    if (sqlite3_step(kt) != SQLITE_DONE) return die("sqlite KT", i);
    sqlite3_reset(kt);
    sqlite3_bind_int(ok, 1, cn);
    sqlite3_bind_int(ok, 2, 1234);
    sqlite3_bind_text(ok, 3, text.c_str(), -1, SQLITE_TRANSIENT);
    if (sqlite3_step(ok) != SQLITE_DONE) return die("sqlite OK", i);
    sqlite3_reset(ok);
    if (sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK) return die("sqlite commit", i);
  }
  const double theirs = since(t) / static_cast<double>(commands);
  for (sqlite3_stmt* s : {num, upd, kt, ok}) sqlite3_finalize(s);
  sqlite3_close(db);
  std::error_code ec;
  std::filesystem::remove_all(dir, ec);

  std::printf("operator commands, %ld (us per command)\n", commands);
  std::printf("  kytcal OPCMD (parse, LC, KT, OK)   %10.1f\n", ours * 1e6);
  std::printf("  SQLite (LC, KT, OK, prepared)      %10.1f\n", theirs * 1e6);
  std::printf("  ratio SQLite / kytcal              %10.2f  (target >= 1.0)\n", theirs / ours);
  return 0;
}
