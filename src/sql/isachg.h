// isachg: the changing statements (INSERT, UPDATE, DELETE) on one table.
//
// Each runs in a statement frame (isatrans.h): a failure part-way undoes what the statement
// changed, and under autocommit the statement commits by itself. Every row change is logged
// for undo before it is made and put into the log after it.
//
// INSERT fills the columns not named with null (refused with the column's status where the
// column is NOT NULL). A key that one of the table's unique indexes holds already is
// DBI_E_NO_DUP, checked before the row is added.
//
// UPDATE first finds every row of the condition, then changes them, each as a delete and an
// add: a changed row moves in the index and must not be met again by the same scan.
//
// `where` and the values carry their bound "?" values.
#ifndef KYT_SQL_ISACHG_H
#define KYT_SQL_ISACHG_H

#include <cstdint>

#include "sql/isatab.h"
#include "sql/stmt.h"

namespace kyt {

int32_t exec_insert(int flag, TABDESC* td, const PLIST<COLREF>& cols, const PLIST<EXPR*>& values);
int32_t exec_update(TABDESC* td, const PLIST<SETITEM>& set, const EXPR* where);
int32_t exec_delete(TABDESC* td, const EXPR* where);

}  // namespace kyt

#endif  // KYT_SQL_ISACHG_H
