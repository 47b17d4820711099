// Dumping and loading a station database of ROWS KT and ROWS SE rows (kytDumpDB, then
// kytWriteDB into a new database), against the sqlite3 shell doing the same with the same
// rows: ".dump" to a file, and the file read back into a new database (the dump is one
// transaction). Both in one run. Ratios are SQLite's time / ours (above 1: we are faster);
// the target is at least 1.0 for each.
//
//   dbadmin_bench [ROWS]      (default 100000)
#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "benchutil.h"
#include "kyt/kyt.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "sql/sql.h"

namespace {

using kyt::bench::Clock;
using kyt::bench::since;

int die(const char* what, long rc) { return kyt::bench::fail("dbadmin_bench", what, rc); }

std::string sep() { return std::string(1, kyt::platform::path_separator()); }

// Points the environment at a database directory of its own.
bool use_db(const std::string& dir) {
  kyt::rpdsql_run("CLOSE DB");
  return kyt::lpdsn_set("DB", dir.c_str()) == 0;
}

struct KtRow {
  int32_t cn, dt;
  std::string status, xid;
};

// Fills KT and SE through prepared statements of the library, in one transaction.
long fill_kyt(long rows) {
  long rc = kyt::rpdsql_run("SET AUTOCOMMIT OFF");
  for (long i = 1; i <= rows && rc == 0; ++i) {
    int32_t cn = static_cast<int32_t>(i), dt = 800000000 + static_cast<int32_t>(i) * 7;
    int32_t prio = static_cast<int32_t>(i % 100), kytid = 3, flag = 0, err = 0;
    char type[] = "SN", status[] = "qn", xid[] = "USER \"ONE\"";
    kyt::HostVar kt[] = {{kyt::kTypeInteger, &cn},    {kyt::kTypeChar, type},
                         {kyt::kTypeInteger, &prio},  {kyt::kTypeInteger, &dt},
                         {kyt::kTypeInteger, &dt},    {kyt::kTypeInteger, &flag},
                         {kyt::kTypeChar, status},    {kyt::kTypeChar, xid},
                         {kyt::kTypeInteger, &err},   {kyt::kTypeInteger, &kytid}};
    rc = kyt::rpdsql_run(
        "INSERT INTO KT (CN, CMDTYPE, PRIORITY, DTCREATED, DTSCHEDULE, FLAGSERIAL, STATUS, "
        "XIDHELD, ERRORCODE, KYTID) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
        kt);
    if (rc != 0) break;
    char uid[] = "SENDER1", acct[] = "ACCOUNT", cid[] = "C1", sid[] = "PARTNER7", label[] = "a=b *";
    char info[] = "S";
    int32_t cnie = cn + 1, cnt = 1;
    kyt::HostVar se[] = {{kyt::kTypeInteger, &cn},  {kyt::kTypeChar, uid},
                         {kyt::kTypeChar, acct},    {kyt::kTypeChar, cid},
                         {kyt::kTypeChar, sid},     {kyt::kTypeInteger, &dt},
                         {kyt::kTypeChar, label},   {kyt::kTypeInteger, &cnie},
                         {kyt::kTypeChar, info},    {kyt::kTypeInteger, &cnt},
                         {kyt::kTypeInteger, &cnt}};
    rc = kyt::rpdsql_run(
        "INSERT INTO SE (CN, UIDSENDER, ACCTSENDER, CIDSENDER, SIDSENDER, DTSCHEDUSR, "
        "SEUSRLABEL, CNIE, INFOTYPE, CNTSK, CNTACKN) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
        se);
  }
  if (rc == 0) rc = kyt::rpdsql_run("COMMIT WORK");
  kyt::rpdsql_run("SET AUTOCOMMIT ON");
  return rc;
}

// The same rows in SQLite, tables of the same columns and keys.
long fill_sqlite(const std::string& file, long rows) {
  sqlite3* db = nullptr;
  if (sqlite3_open(file.c_str(), &db) != SQLITE_OK) return 1;
  const char* schema =
      "CREATE TABLE KT (CN INTEGER NOT NULL PRIMARY KEY, CMDTYPE CHAR(3) NOT NULL, PRIORITY "
      "SMALLINT, DTCREATED INTEGER NOT NULL, DTDONE INTEGER, DTSCHEDULE INTEGER, FLAGSERIAL "
      "SMALLINT NOT NULL, STATUS CHAR(3) NOT NULL, HELDBY CHAR(2), XIDHELD CHAR(21), DTHOLD "
      "INTEGER, FREEDBY CHAR(2), XIDFREED CHAR(21), DTFREE INTEGER, DELETEDBY CHAR(2), "
      "XIDDELETED CHAR(21), ERRORCODE SMALLINT NOT NULL, KYTID INTEGER NOT NULL, DTLASTUSED "
      "INTEGER);"
      "CREATE TABLE SE (CN INTEGER NOT NULL PRIMARY KEY, UIDSENDER CHAR(21), ACCTSENDER "
      "CHAR(21), CIDSENDER CHAR(12), SIDSENDER CHAR(17) NOT NULL, DTSCHEDUSR INTEGER, "
      "SEUSRLABEL CHAR(21), CNIE INTEGER NOT NULL, INFOTYPE CHAR(2) NOT NULL, CNTSK INTEGER NOT "
      "NULL, CNTACKN INTEGER NOT NULL);";
  long rc = sqlite3_exec(db, schema, nullptr, nullptr, nullptr);
  sqlite3_stmt *kt = nullptr, *se = nullptr;
  if (rc == 0)
    rc = sqlite3_prepare_v2(db,
                            "INSERT INTO KT (CN, CMDTYPE, PRIORITY, DTCREATED, DTSCHEDULE, "
                            "FLAGSERIAL, STATUS, XIDHELD, ERRORCODE, KYTID, HELDBY, FREEDBY, "
                            "XIDFREED, DELETEDBY, XIDDELETED) VALUES(?, 'SN', ?, ?, ?, 0, 'qn', "
                            "'USER \"ONE\"', 0, 3, '', '', '', '', '')",
                            -1, &kt, nullptr);
  if (rc == 0)
    rc = sqlite3_prepare_v2(db,
                            "INSERT INTO SE VALUES(?, 'SENDER1', 'ACCOUNT', 'C1', 'PARTNER7', ?, "
                            "'a=b *', ?, 'S', 1, 1)",
                            -1, &se, nullptr);
  if (rc == 0) rc = sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
  for (long i = 1; i <= rows && rc == 0; ++i) {
    const int dt = 800000000 + static_cast<int>(i) * 7;
    sqlite3_bind_int(kt, 1, static_cast<int>(i));
    sqlite3_bind_int(kt, 2, static_cast<int>(i % 100));
    sqlite3_bind_int(kt, 3, dt);
    sqlite3_bind_int(kt, 4, dt);
    if (sqlite3_step(kt) != SQLITE_DONE) rc = 1;
    sqlite3_reset(kt);
    sqlite3_bind_int(se, 1, static_cast<int>(i));
    sqlite3_bind_int(se, 2, dt);
    sqlite3_bind_int(se, 3, static_cast<int>(i) + 1);
    if (sqlite3_step(se) != SQLITE_DONE) rc = 1;
    sqlite3_reset(se);
  }
  if (rc == 0) rc = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
  sqlite3_finalize(kt);
  sqlite3_finalize(se);
  sqlite3_close(db);
  return rc;
}

std::string quoted(const std::string& s) { return "\"" + s + "\""; }

}  // namespace

int main(int argc, char** argv) {
  const long rows = argc > 1 ? std::atol(argv[1]) : 100000;
  if (rows <= 0) return die("arguments", 0);
  const std::string dir = kyt::bench::make_environment("kytdbadmbench", "DBHOLD=Y\n");
  if (dir.empty() || kyt::lpdsn_set("PATH", dir.c_str()) != 0) return die("environment", 0);
  const std::string first = dir + sep() + "db1", second = dir + sep() + "db2";
  const std::string dump = dir + sep() + "kyt.dmp";
  long rc = 0;
  if (!use_db(first) || (rc = kytInitDB()) != 0) return die("kytInitDB", rc);
  std::printf("filling %ld KT and %ld SE rows ...\n", rows, rows);
  if ((rc = fill_kyt(rows)) != 0) return die("fill", rc);

  auto t = Clock::now();
  if ((rc = kytDumpDB(dump.c_str())) != 0) return die("kytDumpDB", rc);
  const double kyt_dump = since(t);
  if (!use_db(second) || (rc = kytInitDB()) != 0) return die("kytInitDB", rc);
  t = Clock::now();
  if ((rc = kytWriteDB(dump.c_str())) != 0) return die("kytWriteDB", rc);
  const double kyt_load = since(t);
  kyt::rpdsql_run("CLOSE DB");

  const std::string sdb = dir + sep() + "s1.db", sdb2 = dir + sep() + "s2.db";
  const std::string sdump = dir + sep() + "sqlite.sql";
  if ((rc = fill_sqlite(sdb, rows)) != 0) return die("sqlite fill", rc);
  t = Clock::now();
  if ((rc = std::system(("sqlite3 " + quoted(sdb) + " .dump > " + quoted(sdump)).c_str())) != 0)
    return die("sqlite3 .dump", rc);
  const double sqlite_dump = since(t);
  t = Clock::now();
  if ((rc = std::system(("sqlite3 " + quoted(sdb2) + " < " + quoted(sdump)).c_str())) != 0)
    return die("sqlite3 read", rc);
  const double sqlite_load = since(t);

  std::error_code ec;
  const auto kyt_size = std::filesystem::file_size(dump, ec);
  const auto sqlite_size = std::filesystem::file_size(sdump, ec);
  std::printf("dump  kyt %8.3f s (%llu bytes)   sqlite3 %8.3f s (%llu bytes)   ratio %.2f\n",
              kyt_dump, static_cast<unsigned long long>(kyt_size), sqlite_dump,
              static_cast<unsigned long long>(sqlite_size), sqlite_dump / kyt_dump);
  std::printf("load  kyt %8.3f s   sqlite3 %8.3f s   ratio %.2f\n", kyt_load, sqlite_load,
              sqlite_load / kyt_load);
  std::filesystem::remove_all(dir, ec);
  return 0;
}
