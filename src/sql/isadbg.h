// isadbg: the descriptor dump and the isaerr line of the SQL layer.
//
// Descriptor dump, one line each:
//   "Table:  %s  (EX=%d) CN=%2d  RS=%2d  KS=%2d"              table name, exists flag,
//                                                             columns, row size, key size
//   "  #   COLUMN     TYPE KEY NOT_NULL WDTH ROFFS KOFFS"
//   " (%02d) %-10.10s   %2d %3d %8d %4d %5d %5d"              per column: number, name, type,
//                                                             key place, not-null, width, row
//                                                             offset, key offset
//
// isaerr line, written for every checked condition that fails:
//   isaerr : cond="<source text>" err="<status name>" label="<label>" in file="<file>"
//   line="<line>" rc="<status>" isamerrno="<isam_errno>"
#ifndef KYT_SQL_ISADBG_H
#define KYT_SQL_ISADBG_H

#include <cstdint>
#include <string>
#include <vector>

#include "sql/isatab.h"

namespace kyt {

std::vector<std::string> dump_tab_desc_lines(const TABDESC& desc);
// Writes the dump to the trace (level 11).
void dump_tab_desc(const TABDESC& desc);

// Writes the isaerr line (level 1); `file` may be a path, its base name is written.
void isaerr(const char* cond, int32_t rc, const char* label, const char* file, int line,
            int isamerrno);

}  // namespace kyt

// Checks a condition; when it fails, writes the isaerr line with the condition's source text
// and answers false:  if (!KYT_ISACHECK(n > 0, DBI_E_TABERR, "err_return")) return ...;
// Code above the ISAM layer has no isam_errno of its own and writes 0.
#define KYT_ISACHECK(cond, rc, label) \
  ((cond) ? true : (::kyt::isaerr(#cond, rc, label, __FILE__, __LINE__, 0), false))

#endif  // KYT_SQL_ISADBG_H
