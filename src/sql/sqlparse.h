// sqlparse: the grammar shared by the statement interface parser (ISAsqlutil) and isapar
// (internal to src/sql).
//
// One recursive-descent parser over one token stream, for both dialects. It builds the
// statement record (stmt.h) in a pool; binding host variables (interface) and resolving
// tables and columns (isapar) are done by the two parsers on the finished record.
//
// Statements, [ ] optional, { } repeated; a trailing ";" is allowed:
//   interface only
//     OPEN_DB [dbname] | OPEN DB [dbname]          dbname: 'string' or a name
//     CLOSE_DB
//     SET AUTOCOMMIT ON | SET AUTOCOMMIT OFF
//     COMMIT [WORK] | ROLLBACK [WORK]
//     DECLARE cursor CURSOR FOR select
//     FETCH cursor | CLOSE cursor
//     insert | update | delete | create | drop
//   isapar only
//     PREPARE statement | EXECUTE IMMEDIATE statement     (statement: select or the above)
//   select  SELECT colref {, colref} FROM table [WHERE cond]
//           [ORDER BY colref [ASC|DESC] {, colref [ASC|DESC]}]
//   insert  INSERT INTO table [( name {, name} )] VALUES( value {, value} )
//   update  UPDATE table SET name =|== value {, name =|== value} [WHERE cond]
//   delete  DELETE FROM table [WHERE cond]
//   create  CREATE TABLE table ( name type [NOT NULL] {, name type [NOT NULL]} )
//           CREATE [UNIQUE] INDEX name ON table ( name {, name} )
//           CREATE SYNONYM name FOR name | CREATE PUBLIC SYNONYM name FOR name
//   drop    DROP TABLE table | DROP VIEW name | DROP SYNONYM name | DROP INDEX name [ON table]
//   type    CHAR( n ) | SMALLINT | INTEGER | FLOAT | INT (interface only); n 1 to 32767
//   table   [creator .] name        colref   [[creator .] table .] name
//   cond    conj {OR conj}          conj     factor {AND factor}
//   factor  ( cond ) | operand op operand
//   op      = | == | <> | < | > | <= | >= | LIKE
//   operand colref | ? | 'string' | integer | decimal
//   value   ? | 'string' | integer | decimal | NULL
// SYNONYM and PUBLIC are plain names, read by their text.
//
// Limits, each with its own refusal: names up to 18 characters; integers within 32 bits;
// at most 30 "?" marks and 30 selected columns; parentheses nested at most kMaxDepth deep
// and at most kMaxDepth AND/OR nodes along any path of a condition tree, so that every walk
// of a tree (print-back, evaluation) is bounded. A syntax error at one of the words the
// station does not implement (ADD, ALL, ALTER, ANY, AS, BETWEEN, COMMENT, CONNECT, DESCRIBE,
// DESCRIPTOR, DISTINCT, EXISTS, GROUP, HAVING, IDENTIFIED, IN, IS, USING) or at an
// arithmetic operator is reported as not supported rather than as a syntax error.
#ifndef KYT_SQL_SQLPARSE_H
#define KYT_SQL_SQLPARSE_H

#include <cstdint>
#include <span>
#include <string_view>

#include "sql/dbi.h"
#include "sql/pool.h"
#include "sql/sqlscan.h"
#include "sql/stmt.h"

namespace kyt::sql {

constexpr int kMaxDepth = 64;
constexpr uint32_t kMaxInputs = 30;
constexpr uint32_t kMaxOutputs = 30;

enum class Refusal : uint8_t {
  kNone,
  kSyntax,
  kNotSupported,
  kNameTooLong,
  kNumberRange,
  kValueCount,
  kTooDeep,
  kTooManyInputs,
  kTooManyOutputs,
  kNoMemory,
};

struct ParseOut {
  Refusal refusal = Refusal::kNone;
  std::string_view last_token;   // raw text of the token at which the parse stopped
  DbiOp op = DbiOp::kStatement;  // interface
  bool immediate = false;        // isapar: EXECUTE IMMEDIATE
  STMT* stmt = nullptr;          // the SQL statement (for DECLARE its SELECT)
  const char* cursor = nullptr;
  const char* dbname = nullptr;
  uint32_t sql_pos = 0;  // where the SQL statement (the SELECT of a DECLARE) begins
};

// The status of a refusal: the interface parser's own codes, or isapar's DBI codes.
int32_t refusal_status(Dialect dialect, Refusal r);

// Joins the pieces with nothing between them into one NUL-terminated text taken from the
// pool (exactly the summed length plus one); a non-empty `prefix` and one blank go first.
// false when the pool is exhausted.
bool join_pieces(StmtPool& pool, std::string_view prefix, std::span<const std::string_view> pieces,
                 std::string_view* text);

// Parses `text`, which must stay valid as long as the pool's contents (it is normally
// taken from the same pool). The work buffer comes from the pool too.
void parse(Dialect dialect, StmtPool& pool, std::string_view text, ParseOut* out);

}  // namespace kyt::sql

#endif  // KYT_SQL_SQLPARSE_H
