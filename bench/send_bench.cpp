// Send entries: N "SEND /CREATE" command lines through kytcal (each: a new command number
// from LC, the station and route looked up, KT, SE, VD and ET rows written in one
// transaction) against SQLite doing the same work with prepared statements in one
// transaction a command (read and update LC, look up ST and RT, insert the four rows), side
// by side in one run. The ratio is SQLite's time / kytcal's (at least 1: kytcal is as fast
// or faster). SQLite keeps its journal in memory and does not sync, as the station's
// database does not either.
//
//   send_bench [ENTRIES [DBHOLD]]     (default 10000; DBHOLD Y keeps the tables open)
#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "benchutil.h"
#include "kyt/kyt.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "sql/sql.h"

namespace {

using kyt::bench::Clock;
using kyt::bench::since;

int die(const char* what, long rc) { return kyt::bench::fail("send_bench", what, rc); }

bool exec(sqlite3* db, const char* sql) {
  char* err = nullptr;
  if (sqlite3_exec(db, sql, nullptr, nullptr, &err) != SQLITE_OK) {
    std::fprintf(stderr, "send_bench: sqlite: %s: %s\n", sql, err != nullptr ? err : "?");
    sqlite3_free(err);
    return false;
  }
  return true;
}

sqlite3_stmt* prepare(sqlite3* db, const char* sql) {
  sqlite3_stmt* s = nullptr;
  if (sqlite3_prepare_v2(db, sql, -1, &s, nullptr) != SQLITE_OK) {
    std::fprintf(stderr, "send_bench: sqlite prepare: %s: %s\n", sql, sqlite3_errmsg(db));
    return nullptr;
  }
  return s;
}

bool done(sqlite3_stmt* s, int want) {
  const int rc = sqlite3_step(s);
  sqlite3_reset(s);
  return rc == want;
}

}  // namespace

int main(int argc, char** argv) {
  const long entries = argc > 1 ? std::atol(argv[1]) : 10000;
  const bool hold = argc > 2 && argv[2][0] == 'Y';
  if (entries <= 0) return die("arguments", 0);
  const char sep = kyt::platform::path_separator();
  const std::string dir = kyt::bench::make_environment("kytsendbench", hold ? "DBHOLD=Y\n" : "");
  if (dir.empty()) return die("environment", 0);
  const std::string payload = dir + sep + "payload.dat";
  if (std::FILE* f = std::fopen(payload.c_str(), "w")) {
    std::fputs("payload\n", f);
    std::fclose(f);
  }
  long rc;
  if (const char* step = kyt::bench::open_station_database(dir, &rc)) return die(step, rc);
  for (const char* s :
       {"INSERT INTO PT (NAME, TYPE, LEN, VAL) VALUES('LID', 1, 17, 'HOME')",
        "INSERT INTO ST (SID, NETID, STATNAME) VALUES('HOME', 'N', 'home')",
        "INSERT INTO ST (SID, NETID, STATNAME) VALUES('PARTNER1', 'N', 'partner')"})
    if ((rc = kyt::rpdsql_run(s)) != 0) return die(s, rc);

  // kytcal.
  char severity = ' ';
  char msg[KYT_SEND_MSG_SIZE];
  auto t = Clock::now();
  for (long i = 0; i < entries; ++i) {
    const std::string line = "SEND /CREATE DSN=\"" + payload + "\" FORMAT=T LABEL=L" +
                             std::to_string(i) + " (SID=PARTNER1 DSNNEW=\"ORDERS\")";
    int32_t msglen = sizeof msg;
    int32_t cn = 0;
    rc = kytcal(static_cast<int32_t>(line.size()), line.c_str(), &severity, msg, &msglen, &cn);
    if (rc != 0 || cn != i + 1) {
      std::fprintf(stderr, "send_bench: kytcal: %s\n", msg);
      return die("kytcal", rc);
    }
  }
  const double ours = since(t);
  kyt::rpdsql_run("CLOSE DB");

  // SQLite.
  sqlite3* db = nullptr;
  const std::string sfile = dir + sep + "send.sqlite";
  if (sqlite3_open(sfile.c_str(), &db) != SQLITE_OK) return die("sqlite open", 0);
  if (!exec(db, "PRAGMA journal_mode=MEMORY; PRAGMA synchronous=OFF;") ||
      !exec(db, "CREATE TABLE LC (CN INTEGER NOT NULL); INSERT INTO LC VALUES (0);") ||
      !exec(db, "CREATE TABLE ST (SID CHAR(17) NOT NULL PRIMARY KEY, NETID CHAR(26) NOT NULL, "
                "STATNAME CHAR(31) NOT NULL, PHONE CHAR(30), SIDTYP CHAR(2));"
                "INSERT INTO ST VALUES ('PARTNER1', 'N', 'partner', NULL, NULL);") ||
      !exec(db, "CREATE TABLE RT (SIDDEST CHAR(17) NOT NULL, SIDNEIGHB CHAR(17) NOT NULL, "
                "PRIORITY SMALLINT NOT NULL, PRIMARY KEY (SIDDEST, SIDNEIGHB))") ||
      !exec(db, "CREATE TABLE KT (CN INTEGER NOT NULL PRIMARY KEY, CMDTYPE CHAR(3) NOT NULL, "
                "PRIORITY SMALLINT, DTCREATED INTEGER NOT NULL, DTDONE INTEGER, DTSCHEDULE "
                "INTEGER, FLAGSERIAL SMALLINT NOT NULL, STATUS CHAR(3) NOT NULL, HELDBY CHAR(2), "
                "XIDHELD CHAR(21), DTHOLD INTEGER, FREEDBY CHAR(2), XIDFREED CHAR(21), DTFREE "
                "INTEGER, DELETEDBY CHAR(2), XIDDELETED CHAR(21), ERRORCODE SMALLINT NOT NULL, "
                "KYTID INTEGER NOT NULL, DTLASTUSED INTEGER)") ||
      !exec(db, "CREATE TABLE SE (CN INTEGER NOT NULL PRIMARY KEY, UIDSENDER CHAR(21), "
                "ACCTSENDER CHAR(21), CIDSENDER CHAR(12), SIDSENDER CHAR(17) NOT NULL, "
                "DTSCHEDUSR INTEGER, SEUSRLABEL CHAR(21), CNIE INTEGER NOT NULL, INFOTYPE "
                "CHAR(2) NOT NULL, CNTSK INTEGER NOT NULL, CNTACKN INTEGER NOT NULL)") ||
      !exec(db, "CREATE TABLE VD (CN INTEGER NOT NULL PRIMARY KEY, DSNLOCAL CHAR(255) NOT NULL, "
                "RECFM CHAR(2) NOT NULL, MAXRECL INTEGER NOT NULL, APPROXSIZE INTEGER NOT NULL, "
                "FILETYPE CHAR(9), DISP CHAR(2) NOT NULL, FLAGCOMPR SMALLINT NOT NULL, FLAGENCR "
                "SMALLINT NOT NULL, CODE CHAR(5) NOT NULL, STATUSDSN CHAR(2) NOT NULL, CODETRANS "
                "CHAR(2), CODETABLE CHAR(255), CRYPT CHAR(2), CRYPTABLE CHAR(255), RCOMPRESS "
                "CHAR(2), COMPTABLE CHAR(255), VFTYP CHAR(2))") ||
      !exec(db, "CREATE TABLE ET (UID CHAR(21) NOT NULL, CID CHAR(12) NOT NULL, SIDDEST "
                "CHAR(17) NOT NULL, CNSE INTEGER NOT NULL, CNIE INTEGER NOT NULL, CNSK INTEGER, "
                "CNIZ INTEGER, VDSN CHAR(27) NOT NULL, CODE CHAR(5) NOT NULL, CODETABLE "
                "CHAR(255), FLAGTSTAMP SMALLINT NOT NULL, FLAGCOMP SMALLINT NOT NULL, FLAGCRYP "
                "SMALLINT NOT NULL, SIDNEIGHB CHAR(17), STATUSET CHAR(3) NOT NULL, DELETEDBY "
                "CHAR(2), XIDDELETED CHAR(21), PRIMARY KEY (UID, CID, SIDDEST, CNSE, CNIE))"))
    return die("sqlite schema", 0);
  sqlite3_stmt* lc_get = prepare(db, "SELECT CN FROM LC");
  sqlite3_stmt* lc_set = prepare(db, "UPDATE LC SET CN = ?");
  sqlite3_stmt* st_get = prepare(db, "SELECT SID, NETID, STATNAME, PHONE, SIDTYP FROM ST WHERE SID = ?");
  sqlite3_stmt* rt_get = prepare(db, "SELECT SIDDEST, SIDNEIGHB, PRIORITY FROM RT WHERE SIDDEST = ?");
  sqlite3_stmt* kt_ins = prepare(db, "INSERT INTO KT VALUES (?, 'SE', 50, ?, 0, 0, 0, 'qn', '', "
                                     "'', 0, '', '', 0, '', '', 0, 0, ?)");
  sqlite3_stmt* se_ins = prepare(db, "INSERT INTO SE VALUES (?, 'SYSTEM', '', 'KYTCAL', 'HOME', "
                                     "0, ?, 0, 'F', 1, 0)");
  sqlite3_stmt* vd_ins = prepare(db, "INSERT INTO VD VALUES (?, ?, 'T', 0, 1, '', 'K', 0, 0, "
                                     "'A', 'N', 'N', '', '', '', '', '', 'V')");
  sqlite3_stmt* et_ins = prepare(db, "INSERT INTO ET VALUES ('SYSTEM', 'KYTCAL', 'PARTNER1', ?, "
                                     "0, 0, 0, 'ORDERS', 'A', '', 0, 0, 0, 'PARTNER1', 'qn', '', "
                                     "'')");
  sqlite3_stmt* begin = prepare(db, "BEGIN");
  sqlite3_stmt* commit = prepare(db, "COMMIT");
  if (!lc_get || !lc_set || !st_get || !rt_get || !kt_ins || !se_ins || !vd_ins || !et_ins ||
      !begin || !commit)
    return die("sqlite prepare", 0);
  const int64_t now = kyt::platform::now_seconds() - 946684800;
  t = Clock::now();
  for (long i = 0; i < entries; ++i) {
    const std::string label = "L" + std::to_string(i);
    if (!done(begin, SQLITE_DONE)) return die("sqlite begin", i);
    if (sqlite3_step(lc_get) != SQLITE_ROW) return die("sqlite LC", i);
    const int cn = sqlite3_column_int(lc_get, 0) + 1;
    sqlite3_reset(lc_get);
    sqlite3_bind_int(lc_set, 1, cn);
    sqlite3_bind_text(st_get, 1, "PARTNER1", -1, SQLITE_STATIC);
    sqlite3_bind_text(rt_get, 1, "PARTNER1", -1, SQLITE_STATIC);
    sqlite3_bind_int(kt_ins, 1, cn);
    sqlite3_bind_int64(kt_ins, 2, now);
    sqlite3_bind_int64(kt_ins, 3, now);
    sqlite3_bind_int(se_ins, 1, cn);
    sqlite3_bind_text(se_ins, 2, label.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_int(vd_ins, 1, cn);
    sqlite3_bind_text(vd_ins, 2, payload.c_str(), -1, SQLITE_STATIC);
    sqlite3_bind_int(et_ins, 1, cn);
    if (!done(lc_set, SQLITE_DONE) || !done(st_get, SQLITE_ROW) || !done(rt_get, SQLITE_DONE) ||
        !done(kt_ins, SQLITE_DONE) || !done(se_ins, SQLITE_DONE) || !done(vd_ins, SQLITE_DONE) ||
        !done(et_ins, SQLITE_DONE) || !done(commit, SQLITE_DONE))
      return die("sqlite entry", i);
  }
  const double theirs = since(t);
  for (sqlite3_stmt* s : {lc_get, lc_set, st_get, rt_get, kt_ins, se_ins, vd_ins, et_ins, begin,
                          commit})
    sqlite3_finalize(s);
  sqlite3_close(db);
  std::error_code ec;
  std::filesystem::remove_all(dir, ec);

  std::printf("send entries: %ld SEND /CREATE lines%s (us per entry)\n", entries,
              hold ? " (DBHOLD=Y)" : "");
  std::printf("  kytcal                     %10.1f\n", ours / entries * 1e6);
  std::printf("  SQLite (same rows)         %10.1f\n", theirs / entries * 1e6);
  std::printf("  ratio SQLite / kytcal      %10.2f  (target >= 1.0)\n", theirs / ours);
  return 0;
}
