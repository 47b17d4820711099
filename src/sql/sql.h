// sql: the front door of the SQL layer for the other folders.
//
//   status.h      status codes (OK_STATE, RC_INTERNAL_ERROR, DBI_..., LPDBI_...) and names
//   pool.h        statement pools (stmt_pool, dbi_pool) and pool lists
//   isatab.h      table and column descriptors, Ep_htb_tabs, get_tab_desc, cash_tab,
//                 cash_upd_key, tab_file, the catalogue reader
//   isadbg.h      descriptor dump, isaerr line
//   schema.h      the station schema: every table, its CREATE statements, catalogue rows
//   stmt.h        the statement record, expression trees, print-back, LIKE
//   ISAsqlutil.h  the statement interface parser (lpdbi_parse) and its bound statement
//   isapar.h      the executor's statement parser (isapar)
//   isaval.h      stored fields, conversions, comparisons
//   isaexe.h      open tables, scans with key ranges, changing statements, transactions
//   isa.h         the executor's numbered operations and cursors
#ifndef KYT_SQL_SQL_H
#define KYT_SQL_SQL_H

#include "sql/ISAsqlutil.h"
#include "sql/isa.h"
#include "sql/isaexe.h"
#include "sql/isaval.h"
#include "sql/isadbg.h"
#include "sql/isapar.h"
#include "sql/isatab.h"
#include "sql/pool.h"
#include "sql/schema.h"
#include "sql/status.h"
#include "sql/stmt.h"

#endif  // KYT_SQL_SQL_H
