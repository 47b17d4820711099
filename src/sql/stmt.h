// stmt: the statement record that the parsers build and the executor carries out, its
// expression trees, and its print-back for the trace.
//
// Everything here is plain data taken from a statement pool (pool.h); names are upper case
// and NUL-terminated, at most kNameMax characters.
//
// Expression nodes. The node-type flag word tells the kind:
//   kExprColumn  256     column reference: creator, table (either may be empty) and column
//   kExprValue   1024    constant or host variable; with kExprHostVar the value comes from
//                        the "?" mark numbered `param` (0-based, in text order) and is filled
//                        in when the input is bound
//   kExprEq      32768   "=" and "==" alike
//   kExprNe, kExprLt, kExprGt, kExprLe, kExprGe, kExprLike   the other comparisons
//   kExprAnd, kExprOr    conditions joined
// Operator nodes have a left and a right child. AND binds more tightly than OR ("a OR b AND
// c" is "a OR (b AND c)"); both group from the left; parentheses group as written.
//
// LIKE patterns: "%" stands for any run of characters (also none), "_" for exactly one
// character; every other character stands for itself, letter case counts, there is no
// escape character. The pattern must cover the whole value (like_match).
//
// Print-back templates: comparisons "(%s == %s)", "(%s <> %s)", "(%s > %s)", "(%s < %s)",
// "(%s >= %s)", "(%s <= %s)", "(%s LIKE %s)"; "(%s AND %s)", "(%s OR %s)"; lists "%s,%s";
// " ORDER BY %s " over "%s ASC " / "%s DESC "; "CREATE TABLE %s (%s) ",
// "CREATE UNIQUE INDEX %s ON %s (%s) ", "CREATE SYNONYM %s FOR %s ",
// "CREATE PUBLIC SYNONYM %s FOR %s ", "DROP TABLE %s ", "DROP VIEW %s ", "DROP SYNONYM %s ",
// "DROP INDEX %s ". Values print as "?", "NULL", 'text' (quotes doubled), decimal integers or
// "%.10E"; SELECT, INSERT INTO ... ") VALUES(", UPDATE ... SET and DELETE FROM read as
// written, with " WHERE " before the condition.
#ifndef KYT_SQL_STMT_H
#define KYT_SQL_STMT_H

#include <cstdint>
#include <string>
#include <string_view>

#include "sql/isatab.h"
#include "sql/pool.h"

namespace kyt {

// Statement kinds.
constexpr int16_t kStmtDelete = 1;
constexpr int16_t kStmtInsert = 2;
constexpr int16_t kStmtUpdate = 4;
constexpr int16_t kStmtSelect = 16;
constexpr int16_t kStmtCreateTable = 32;
constexpr int16_t kStmtCreateIndex = 64;
constexpr int16_t kStmtDropTable = 128;
constexpr int16_t kStmtDropView = 256;
constexpr int16_t kStmtDropSynonym = 512;
constexpr int16_t kStmtDropIndex = 1024;
constexpr int16_t kStmtCreateSynonym = 2048;
constexpr int16_t kStmtCreatePublicSynonym = 4096;

// Node-type flags.
constexpr uint32_t kExprColumn = 0x00000100;   // 256
constexpr uint32_t kExprValue = 0x00000400;    // 1024
constexpr uint32_t kExprHostVar = 0x00000800;  // with kExprValue
constexpr uint32_t kExprEq = 0x00008000;       // 32768
constexpr uint32_t kExprNe = 0x00010000;
constexpr uint32_t kExprLt = 0x00020000;
constexpr uint32_t kExprGt = 0x00040000;
constexpr uint32_t kExprLe = 0x00080000;
constexpr uint32_t kExprGe = 0x00100000;
constexpr uint32_t kExprLike = 0x00200000;
constexpr uint32_t kExprAnd = 0x00400000;
constexpr uint32_t kExprOr = 0x00800000;
constexpr uint32_t kExprCompare =
    kExprEq | kExprNe | kExprLt | kExprGt | kExprLe | kExprGe | kExprLike;
constexpr uint32_t kExprLogic = kExprAnd | kExprOr;

// A value: null indicator (-1 null, 0 a value), type code (1 text, 2 floating, 4 32-bit
// integer, 8 16-bit integer; 0 for a "?" not yet bound), its length in bytes (4 for INTEGER,
// 2 for SMALLINT, 8 floating, the text's length), and the value.
struct VALUE {
  int16_t null_ind;
  int16_t type;
  int32_t len;
  union {
    const char* s;
    int32_t l;
    int16_t i;
    double f;
  } val;
};

// A column as a statement names it; p_col is filled when isapar resolves the statement.
struct COLREF {
  const char* s_creator;  // "" when not written
  const char* s_tabname;  // "" when not written
  const char* s_colname;
  const COLDESC* p_col;
};

struct EXPR {
  uint32_t flags;
  uint16_t height;  // 1 for a leaf
  int16_t param;    // kExprHostVar: number of the "?" mark; else -1
  EXPR* left;
  EXPR* right;
  COLREF col;   // kExprColumn
  VALUE value;  // kExprValue
};

struct SETITEM {
  COLREF col;
  EXPR* value;
};

struct ORDERITEM {
  COLREF col;
  int16_t desc;  // 1 DESC, 0 ASC (also when not written)
};

struct STMT {
  int16_t kind;
  TABSPEC ts;              // the statement's table (SELECT, INSERT, UPDATE, DELETE, CREATE TABLE,
                           // CREATE INDEX, DROP TABLE, DROP INDEX ... ON)
  TABDESC* p_td;           // its descriptor once isapar resolved it
  PLIST<COLREF> cols;      // SELECT list, INSERT columns, CREATE INDEX columns
  PLIST<EXPR*> values;     // INSERT values (value nodes)
  PLIST<SETITEM> set;      // UPDATE
  EXPR* p_where;           // condition, or nullptr
  PLIST<ORDERITEM> order;  // ORDER BY
  PLIST<COLDEF> coldefs;   // CREATE TABLE
  const char* s_name;      // index, synonym, view or dropped object
  const char* s_target;    // synonym: the name it stands for
  int16_t unique;          // CREATE UNIQUE INDEX
  PLIST<EXPR*> params;     // the "?" value nodes in text order
};

// Node makers for records built in memory; nullptr when the pool is exhausted.
EXPR* expr_column(StmtPool& pool, const char* colname);
EXPR* expr_int(StmtPool& pool, int32_t v);
EXPR* expr_string(StmtPool& pool, std::string_view s);  // copied into the pool
EXPR* expr_null(StmtPool& pool);
EXPR* expr_op(StmtPool& pool, uint32_t op, EXPR* left, EXPR* right);

// Print-back of a record and of a condition, with the templates above.
std::string stmt_text(const STMT& stmt);
std::string expr_text(const EXPR* expr);

// LIKE: whether `text` matches `pattern` ("%" any run, "_" one character).
bool like_match(std::string_view text, std::string_view pattern);

}  // namespace kyt

#endif  // KYT_SQL_STMT_H
