// sql: the front door of the SQL layer for the folders above it (services, api, tools, and
// the tests of other folders). They include this header only, never one of the layer's own.
//
// What the layer offers:
//   status.h        the statuses (OK_STATE, RC_INTERNAL_ERROR, DBI_..., LPDBI_...) and their
//                   names and texts (sql_status_name, sql_status_text)
//   dblog.h         the database log: the sink that receives each changing statement
//                   rendered with its values (DBLOG)
//   dbi.h           host variables (HostVar) and the statement as the interface reads it
//   isa.h           the statement entry (isa_exec, isa_run), the database and transaction
//                   operations, the cursors (isa801_alloc_cursor ... isa_fetch_texts), and
//                   the reset of the layer for tests
//   schema.h        the description of every station table and of the catalogue, with the
//                   column types and names it is made of (sqltype.h)
//   rpdsql.h        rpdsql: statements as text through the statement interface, the database
//                   opened on first use, the transaction nesting operations (sqlCommit, ...)
//   tables/tables.h the per-table modules (getKTelemByCn, insKTelem, ...) over the C element
//                   records of include/kyt/kyt_elem.h, which read through rpdsql
//   tables/tabacc.h generic access to any station table by its description (tm::get, list,
//                   update, create, ...), for services that work on every table
//
// Nothing of the executor's internals passes this door: the statement record, descriptors,
// open tables, scans and transactions stay inside src/sql. Each header listed is narrow and
// includes no other header of the layer but those listed here.
#ifndef KYT_SQL_SQL_H
#define KYT_SQL_SQL_H

#include "sql/dblog.h"
#include "sql/dbi.h"
#include "sql/isa.h"
#include "sql/rpdsql.h"
#include "sql/schema.h"
#include "sql/status.h"
#include "sql/tables/tabacc.h"
#include "sql/tables/tables.h"

#endif  // KYT_SQL_SQL_H
