// dbi: the statement interface's own types: host variables, and a statement as the
// interface parser (ISAsqlutil) answers it and the executor (isa_run) takes it.
//
// These are what the callers above the SQL layer hand in and get back; the statement record
// behind `stmt` stays the SQL layer's own (stmt.h), so this header needs none of it. The
// shared grammar (sqlparse) and the interface parser both build on it, and neither on the
// other's header.
#ifndef KYT_SQL_DBI_H
#define KYT_SQL_DBI_H

#include <cstdint>
#include <span>
#include <string_view>

namespace kyt {

struct STMT;

enum class DbiOp : uint8_t {
  kNone,           // nothing (after a refusal)
  kOpenDb,         // OPEN_DB / OPEN DB [dbname]
  kCloseDb,        // CLOSE_DB
  kAutocommitOn,   // SET AUTOCOMMIT ON
  kAutocommitOff,  // SET AUTOCOMMIT OFF
  kCommit,         // COMMIT WORK
  kRollback,       // ROLLBACK WORK
  kDeclare,        // DECLARE cursor CURSOR FOR select
  kFetch,          // FETCH cursor
  kClose,          // CLOSE cursor
  kStatement,      // INSERT, UPDATE, DELETE, CREATE, DROP: stmt->kind tells
};

struct HostVar {
  int32_t type;
  void* addr;
};

struct DbiStatement {
  DbiOp op = DbiOp::kNone;
  std::string_view text;       // the joined statement (NUL-terminated)
  std::string_view sql;        // what isapar is given: the SELECT of a DECLARE, or the statement
  const STMT* stmt = nullptr;  // the statement as read (stmt.h); names not resolved
  const char* cursor = nullptr;
  const char* dbname = nullptr;  // OPEN_DB's operand, or nullptr
  std::span<const HostVar> in;
  std::span<const HostVar> out;
};

}  // namespace kyt

#endif  // KYT_SQL_DBI_H
