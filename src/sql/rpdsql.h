// rpdsql: the one entry through which the station's services, the per-table modules and
// client programs issue statements as text.
//
// rpdsql(pieces..., NULL, host variables..., NULL) joins the pieces into the statement
// buffer (4096 bytes; a longer statement is 99), opens the database on first use (the
// directory named by DBNAME, else DB, of the environment file), runs the statement through
// the statement interface and the executor, and answers 0, 24200000 (no further row),
// 24200001 (the database could not be closed), 24200002 (the database could not be found or
// opened), 99, or the executor's status (among them DBI_E_LOCKED, DBI_E_KEY_TOO_LONG and
// DBI_E_DAMAGED, which kyt.h names for C callers). "OPEN DB" and "CLOSE DB" (compared by prefix) are
// handled here. With the environment variable KYTTRACESQL set, each statement but
// "SET AUTO..." is traced with its result.
//
// With the environment setting DBHOLD=Y (a positional "DBHOLD=Y" of the environment file)
// the process keeps every table it used open, and its files locked, until "CLOSE DB": much
// faster for a process that has the database to itself (imports, dumps, batch jobs), but
// other processes of the station cannot reach those tables meanwhile. Without it a table is
// closed as soon as no statement, cursor or transaction of the process uses it.
//
// The transaction nesting operations let modules that change several rows as one unit call
// each other: only the outermost begin and end issue "SET AUTOCOMMIT OFF" / "ON".
#ifndef KYT_SQL_RPDSQL_H
#define KYT_SQL_RPDSQL_H

#include <cstdint>
#include <span>
#include <string_view>

#include "sql/dbi.h"

namespace kyt {

constexpr int32_t RPDSQL_NOT_FOUND = 24200000;
constexpr int32_t RPDSQL_CLOSE_FAILED = 24200001;
constexpr int32_t RPDSQL_OPEN_FAILED = 24200002;

int32_t rpdsql_run(std::span<const std::string_view> pieces, std::span<const HostVar> hostvars);
inline int32_t rpdsql_run(std::string_view text, std::span<const HostVar> hostvars = {}) {
  return rpdsql_run(std::span<const std::string_view>(&text, 1), hostvars);
}

int32_t sqlSetAutocommOff();
int32_t sqlSetAutocommOn();
int32_t sqlCommit();
int32_t sqlRollback();
int32_t sqlOpenDB();
int32_t sqlCloseDB();
int32_t sqlDropTable(const char* table);

// Forgets the open database and the nesting depth. Tests only.
void rpdsql_reset_for_tests();

}  // namespace kyt

#endif  // KYT_SQL_RPDSQL_H
