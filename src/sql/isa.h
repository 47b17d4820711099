// isa: the executor's numbered operations: the database, transactions, and the 20 cursors.
//
// Cursor slots: ids 0 to 19 in one doubly linked list, at start 0, 1, ..., 19, all free.
// isa801_alloc_cursor takes the first free slot from the head and moves it to the head;
// isa805_set_cursor_frei frees a slot and isa806_put_cursor_last moves it to the tail, so
// that slots are reused in the order they were freed. A cursor's record (its prepared
// statement, descriptor areas and scan) is kept under "CURS_%02d".
//
// Descriptor areas: per cursor an input and an output area of 30 entries {length, type code,
// value or address}. Input values are copied (texts too), so a cursor keeps its values from
// DECLARE to its last FETCH whatever the caller does with its variables meanwhile.
//
// The end of the process: a process that ends with the database open (returning from main,
// exit()) has it closed as by isa110_close_db, by an exit handler registered at the first
// open: its uncommitted work is rolled back, its cursors are freed, its tables closed,
// before the ISAM layer closes its files. The executor's own state is never destroyed, so
// no order of static destructors can reach a part that is gone.
//
// A statement that fails with RC_INTERNAL_ERROR or DBI_E_EXECERR is reported as a severe
// error: two trace lines and the report on the message output (standard error).
#ifndef KYT_SQL_ISA_H
#define KYT_SQL_ISA_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sql/dbi.h"

namespace kyt {

constexpr int kMaxCursors = 20;
constexpr int kSqldaSize = 30;
constexpr int DBI_RW_TRANS = 1;
constexpr int DBI_COMMIT = 1;
constexpr int DBI_ROLLBACK = 2;

int32_t isa100_open_db(const char* s_dbname, const char* s_user, const char* s_password);
int32_t isa110_close_db();
bool isa_db_open();
// With `keep`, tables stay open between statements, their files locked against other
// processes, until the database is closed; without, an unused table gives up its locks at
// once (see exe_keep_tables_open).
void isa_keep_tables_open(bool keep);
// Cursor modes: how a cursor declared from now on reads its table.
//   kCursorStable (2, the mode at start): each FETCH reads the next row from the table, so
//     a row changed behind the cursor's position is seen as it is now; the cursor holds its
//     table, and the table's file lock against other processes, from DECLARE to CLOSE.
//   kCursorSnapshot (1): DECLARE reads every row the SELECT delivers into the cursor (the
//     selected fields only) and gives the table back at once (other processes can then use
//     it, unless this process's transaction or DBHOLD keeps it); each FETCH hands out the
//     next kept row, and after the last the end, or the status that stopped the reading (a
//     damaged row) where a stable cursor would have met it. The cursor sees the table as it
//     was at DECLARE. Meant for lists walked at a person's pace; it costs the memory of
//     the whole result.
// A cursor keeps the mode it was declared with. false, and nothing changed, for another
// number.
constexpr int kCursorSnapshot = 1;
constexpr int kCursorStable = 2;
bool isa_set_cursor_mode(int mode);
int isa_cursor_mode();
// Changes of an open transaction not yet committed: closing the database, and the end of
// the process, roll them back.
bool isa_uncommitted_work();
// Whether a transaction is open ("SET AUTOCOMMIT OFF" without its "ON" yet).
bool isa_transaction_open();
int32_t isa300_start_trans(int mode);
int32_t isa310_end_trans(int how);
int32_t isa801_alloc_cursor(int32_t* cursor_id);
int32_t isa201_prepare_stat(int32_t cursor_id, std::string_view statement);
int32_t isa950_put_input(int32_t cursor_id, std::span<const HostVar> input);
int32_t isa203_open_cursor(int32_t cursor_id);
int32_t isa204_fetch(int32_t cursor_id, std::span<const HostVar> output);
int32_t isa805_set_cursor_frei(int32_t cursor_id);
int32_t isa806_put_cursor_last(int32_t cursor_id);

// Creates SYSCATLG and SYSCOLS in the open database unless present, in one transaction.
int32_t isa_create_catalogue();

// The ids of the slots in list order (tests, the trace).
std::vector<int32_t> isa_cursor_order();
// The next row of an open cursor as texts (numbers in plain decimal), null as no value;
// DBI_W_END_FETCH at the end. For callers that show rows (kytadm sql).
int32_t isa_fetch_texts(int32_t cursor_id, std::vector<std::optional<std::string>>* row);
// The names of a prepared SELECT's columns.
std::vector<std::string> isa_column_names(int32_t cursor_id);

// Runs a statement of the statement interface (parsed and bound by lpdbi_parse): cursor
// statements by name, database and transaction statements, and the others at once.
int32_t isa_run(const DbiStatement& d);
// Parses and runs a statement text with host variables.
int32_t isa_exec(std::string_view text, std::span<const HostVar> hostvars);

// The severe-error report of a failed statement.
void isa_severe(int32_t rc, std::string_view statement, const char* file, int line);

// Closes everything without writing and forgets all state. Tests only.
void isa_reset_for_tests();

}  // namespace kyt

#endif  // KYT_SQL_ISA_H
