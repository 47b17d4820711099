// isaddl: the table statements (CREATE TABLE, CREATE [UNIQUE] INDEX, DROP TABLE), the
// dispatch of every statement other than SELECT, and the catalogue on disk.
//
// The catalogue. SYSTEM.SYSCATLG and SYSTEM.SYSCOLS (schema.h) hold a row for every table and
// every column of the database. Only the table statements write them, through statements of
// their own (INSERT, UPDATE, DELETE run as EXECUTE IMMEDIATE); any other statement that would
// change a catalogue table is DBI_E_CATALOGUE, so that no table becomes unknown.
//
// CREATE TABLE makes the table's files and its descriptor, then its catalogue rows; a table
// the cache or the catalogue knows already, or whose file exists, is DBI_E_TABERR. CREATE
// INDEX PRIM_<table> makes the PRIMARY index and writes the key places into SYSCOLS; a unique
// index over rows that repeat a key is refused before it is made. DROP TABLE deletes the
// catalogue rows and forgets the descriptor; the files go when the transaction commits.
// Every table statement runs in its own statement frame.
//
// The catalogue reader of the open database (disk_catalogue_reader) reads SYSCATLG and
// SYSCOLS with scans of their own; the catalogue tables themselves are described by the
// station schema, whatever the files hold.
#ifndef KYT_SQL_ISADDL_H
#define KYT_SQL_ISADDL_H

#include <cstdint>

#include "sql/isatab.h"
#include "sql/stmt.h"

namespace kyt {

// INSERT, UPDATE, DELETE (through isachg), CREATE TABLE, CREATE [UNIQUE] INDEX, DROP TABLE;
// DBI_E_NYI for the statements of the other kinds.
int32_t exec_statement(STMT* s);
// Creates SYSCATLG and SYSCOLS in the open database unless present.
int32_t exec_create_catalogue();

// The catalogue reader of the open database (SYSCATLG and SYSCOLS on disk).
CatalogueReader disk_catalogue_reader();

}  // namespace kyt

#endif  // KYT_SQL_ISADDL_H
