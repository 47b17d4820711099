// isapar: the SQL statement parser of the executor.
//
// isapar(cursor id, keyword, pieces) reads "PREPARE <statement>" (a cursor's statement,
// prepared for the given cursor id) or "EXECUTE IMMEDIATE <statement>" (run at once; callers
// pass -1 or 0 as cursor id): the text is the keyword, one blank, and the pieces joined with
// nothing between them. It builds the statement record and resolves it: the table's
// descriptor with get_tab_desc, every column named (select list, INSERT columns, SET list,
// condition, ORDER BY, index columns) against the table's column hash table. It runs
// nothing; the executor stores or runs the record.
//
// Statuses: 0; DBI_E_SYNTAX a syntax error, a name over 18 characters, a number out of range,
// or INSERT column and value lists of different lengths (also: an INSERT without column
// list whose values do not match the table's columns); DBI_E_NYI a word of the language the
// station does not implement; DBI_E_TOO_COMPLEX nesting deeper than 64, more than 30 "?"
// marks or selected columns; DBI_E_TABERR an unknown table; DBI_E_INV_COL_NAM a column not in
// the table (or qualified with another table); RC_INTERNAL_ERROR the pool is exhausted.
//
// Trace: a syntax error writes "isapar: %s \n" with "syntax error" and "last token read was
// |%s|\n"; other refusals "isapar: %s \n" with the status's text; an unknown table "%s not
// found"; failed name checks an isaerr line.
//
// The record lives in stmt_pool() and stays valid until the next isapar call (which resets
// the pool); an executor that keeps a prepared statement takes it out with
// stmt_pool().detach() right after the call.
#ifndef KYT_SQL_ISAPAR_H
#define KYT_SQL_ISAPAR_H

#include <cstdint>
#include <span>
#include <string_view>

#include "sql/stmt.h"

namespace kyt {

struct IsaparResult {
  STMT* stmt = nullptr;
  bool immediate = false;  // EXECUTE IMMEDIATE; false for PREPARE
  int32_t cursor_id = -1;
};

int32_t isapar(int32_t cursor_id, std::string_view keyword,
               std::span<const std::string_view> pieces, IsaparResult* out);
inline int32_t isapar(int32_t cursor_id, std::string_view keyword, std::string_view text,
                      IsaparResult* out) {
  return isapar(cursor_id, keyword, std::span<const std::string_view>(&text, 1), out);
}

}  // namespace kyt

#endif  // KYT_SQL_ISAPAR_H
