// tabmod: the shared code of the per-table access modules.
//
// Every station table has its module of named functions (ISAsqlkt.cpp: getKTelemByCn,
// insKTelem, ...); each named function is one call into this engine with its table, its
// statement pieces (cursor name, condition, order) or key columns, and the columns it sets.
// The engine knows the table from the one description (schema.h) and the element record from
// the generated member table (elem_layout.inc, the same rule as include/kyt/kyt_elem.h), so
// no module names a column's type, offset or width.
//
// Paths:
//   reads     statement text through rpdsql: "DECLARE <cursor> CURSOR FOR SELECT <cols> FROM
//             <TT> [WHERE <cond>] [ORDER BY <order>]" (the declaration delivers the first row),
//             FETCH <cursor> for further rows of a list, always "CLOSE <cursor>".
//   changes   records built in the statement pool and handed to exec_insert, exec_update and
//             exec_delete directly: no statement text, no parser.
//   DT        date-time columns: the element holds the text, the row the integer (rpxdt);
//             reads bind integer temporaries and convert after each row, writes convert first.
// Lists: the caller's element takes the first row; every further row goes into an element
// allocated with malloc (so a C caller may free it too) and linked behind the last; free_list
// frees everything behind the first element and clears its next pointer.
//
// Statuses: those of rpdsql (24200000 no such row / end of list) and of the executor,
// unchanged; DBI_E_VALUE for a date-time text that is not one. Every failure is traced once
// at level 1 with the named function's text: "<fn> select returns %d", "<fn> exec_insert
// returns %d", "<fn> exec_insert ptd_<tt> is NULL!", "<fn> exec_update returns %d", "<fn>
// exec_delete (<key>) returns %d", "create<TT>table create table returns %d", ...
#ifndef KYT_SQL_TABLES_TABMOD_H
#define KYT_SQL_TABLES_TABMOD_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>

#include "kyt/kyt_elem.h"
#include "sql/isatab.h"
#include "sql/schema.h"
#include "sql/stmt.h"

namespace kyt {

// The station tables, in the order of station_schema().
enum class Tab : int {
#define KYT_ELEM_BEGIN(tt, TT) k##TT,
#define KYT_ELEM_MEMBER(tt, m, bytes)
#define KYT_ELEM_END(tt)
#include "sql/tables/elem_layout.inc"
#undef KYT_ELEM_BEGIN
#undef KYT_ELEM_MEMBER
#undef KYT_ELEM_END
  kCount
};

namespace tm {

// Where a table's element keeps each column.
struct ElemLayout {
  const char* tt;                  // "kt"
  size_t size;                     // sizeof the record
  size_t next;                     // offset of next
  std::span<const size_t> offset;  // one a column, column order
  std::span<const size_t> bytes;   // member sizes
};
const ElemLayout& layout(Tab t);
const SchemaTable& table(Tab t);

// A value a named function hands in: a condition's operand or a host variable.
struct Arg {
  int32_t type;  // kTypeChar, kTypeInteger, or kArgDt (date-time text)
  int32_t i;
  const char* s;
};
constexpr int32_t kArgDt = 16;
inline Arg arg(int32_t v) { return Arg{kTypeInteger, v, nullptr}; }
inline Arg arg(const char* s) { return Arg{kTypeChar, 0, s}; }
inline Arg dt(const char* s) { return Arg{kArgDt, 0, s}; }

// A term of a condition built in memory: column, comparison (kExprEq, kExprLt, ...), value.
struct Cond {
  const char* col;
  uint32_t op;
  Arg value;
};

using Args = std::initializer_list<Arg>;
using Cols = std::initializer_list<const char*>;
using Conds = std::initializer_list<Cond>;

// The table's descriptor (use_table with ISA_CHECK_TAB, then the cached descriptor), opening
// the database when needed. Traces "read_tabspec <TT> use_table returns %d".
int32_t read_tabspec(Tab t, TABDESC** out);

// CREATE TABLE and CREATE UNIQUE INDEX of the table through rpdsql.
int32_t create(Tab t, const char* fn);

// One row into `elem`: the first row of "SELECT <all columns> FROM <TT> WHERE <where>".
int32_t get(Tab t, const char* fn, const char* cursor, const char* where, Args in, void* elem);
// One column of the first row into `out` (text of the column's width, int32_t or int16_t).
int32_t get_col(Tab t, const char* fn, const char* cursor, const char* col, const char* where,
                Args in, void* out);
// Every row (where and order may be null): the first into `first`, the rest allocated.
// `cols` empty: all columns; else only those are read, the other members stay as they are
// (zero in the allocated elements).
int32_t list(Tab t, const char* fn, const char* cursor, const char* where, const char* order,
             Args in, void* first, Cols cols = {});
// The number of rows satisfying `where`.
int32_t count(Tab t, const char* fn, const char* cursor, const char* where, Args in,
              int32_t* n);
// Frees the elements behind `first` and clears first->next.
void free_list(Tab t, void* first);

// A row from the element, every column.
int32_t insert(Tab t, const char* fn, const void* elem);
// The columns `set` of the rows whose key columns equal the element's (every row of a table
// without key). `trace` (optional) replaces the failure text; it is given the status, the
// first key column's value and the first set column's value as ints.
int32_t update(Tab t, const char* fn, const void* elem, Cols set, const char* trace = nullptr);
// The rows satisfying every term (AND).
int32_t remove(Tab t, const char* fn, Conds where);
// A statement text through rpdsql (bulk changes); traces "<fn> returns %d".
int32_t run(const char* fn, const char* statement);

// Insert timing of a table (milliseconds): count, min, max, average, average of the last 100.
struct Timing {
  long count = 0, min = 0, max = 0, avr = 0, avr100 = 0;
};
Timing timing(Tab t);

}  // namespace tm
}  // namespace kyt

#endif  // KYT_SQL_TABLES_TABMOD_H
