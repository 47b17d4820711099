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

#include <cstdint>
#include <initializer_list>

#include "sql/isatab.h"
#include "sql/stmt.h"
#include "sql/tables/tabacc.h"

namespace kyt {
namespace tm {

// A term of a condition built in memory: column, comparison (kExprEq, kExprLt, ...), value.
struct Cond {
  const char* col;
  uint32_t op;
  Arg value;
};
using Conds = std::initializer_list<Cond>;

// The table's descriptor (use_table with ISA_CHECK_TAB, then the cached descriptor), opening
// the database when needed. Traces "read_tabspec <TT> use_table returns %d".
int32_t read_tabspec(Tab t, TABDESC** out);

// The rows satisfying every term (AND).
int32_t remove(Tab t, const char* fn, Conds where);

}  // namespace tm
}  // namespace kyt

#endif  // KYT_SQL_TABLES_TABMOD_H
