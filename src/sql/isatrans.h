// isatrans: the tables of the open database, and transactions with their undo log.
//
// Open tables. A table is opened (its ISAM database "%s/%-.8s.DB") when a statement or a
// cursor first needs it and closed again as soon as nobody uses it: the running statement,
// an open cursor, and the open transaction each hold a use. Closing releases the lock on the
// table's files, so that other processes of the station can reach the table between our
// statements. Within one process all users share the one open handle: the indexes' positions
// belong to one reader at a time (TabHandle::owner); whoever takes them over first has the
// owner save its position (IsamPos), which the owner restores when it reads on.
//
// Indexes of a table file:
//   "PRIMARY"     the primary key (unique), made by CREATE UNIQUE INDEX PRIM_<table>
//   other names   further unique indexes (CREATE UNIQUE INDEX IDX_OID ...)
//   "#<name>"     an index made by CREATE INDEX without UNIQUE (duplicates allowed)
//   "S<n>"        sort indexes made by ORDER BY on first use and kept; n counts from 1
//                 within a table; duplicates allowed
// A table without PRIMARY is read in the order of its data file (the physical index).
//
// Transactions. Every change is logged in memory with the row before or after it, so that
// ROLLBACK WORK undoes everything since the transaction began and a statement that fails
// part-way is undone by itself. Under autocommit every statement is its own transaction.
// The end of a transaction hands every deferred write of its tables to the operating
// system. Creating a table is undone by removing its files; a dropped table's files are
// removed only when the transaction commits. Sort indexes stay.
//
// The executor's other modules sit on this one: isascan (scans with key ranges), isachg
// (the changing statements) and isaddl (the table statements and the catalogue on disk).
// This module knows a reader of the indexes only as an IndexOwner, so that it needs none
// of them.
#ifndef KYT_SQL_ISATRANS_H
#define KYT_SQL_ISATRANS_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "isam/isam.h"
#include "sql/isatab.h"
#include "sql/isadbg.h"
#include "sql/stmt.h"

namespace kyt {

constexpr int ISA_CHECK_TAB = 1;
constexpr int kReleaseCreated = 0x0010;  // after table creation
constexpr int kReleaseCursor = 0x0011;   // when a cursor closes or a statement ends

// A reader of a table's indexes (a scan) that keeps its place in them while another user
// moves them: save() stores the position, which the reader restores itself when it reads on.
class IndexOwner {
 public:
  virtual void save() = 0;

 protected:
  ~IndexOwner() = default;
};

struct UniqueIndex {
  IsamIndex* index;
  std::vector<int> cols;  // column positions of its key fields
};

struct TabHandle {
  std::string name;          // table name (key of the open tables)
  std::string file;          // base name of the ISAM files
  TABDESC* td = nullptr;
  IsamDb* db = nullptr;
  IsamIndex* primary = nullptr;   // "PRIMARY", or the physical index when there is none
  bool has_primary = false;
  std::vector<UniqueIndex> unique;  // PRIMARY first
  std::vector<int32_t> text_off;    // field slot of each column in a row buffer
  int32_t text_size = 0;            // bytes of a row buffer
  int users = 0;
  bool parked = false;       // unused: files open but unlocked (isuspend_db) until used again
  bool in_trans = false;     // the open transaction holds a use
  IndexOwner* owner = nullptr;  // the reader whose position the indexes hold
};

// Takes over the indexes' positions for `by` (nullptr: a statement that moves them once);
// a reader that held them saves its position first.
void claim_indexes(TabHandle* t, IndexOwner* by);

// The database directory in use.
int32_t exe_open_db(const char* dbname);
void exe_close_db();
bool exe_db_open();
// With `keep`, tables stay open between statements (and their files locked against other
// processes) until the database is closed. Without, an unused table gives up its locks at
// once, so that other processes may use it; it stays open unlocked, and its next use
// takes it up again as it was when nobody changed it meanwhile, or opens it anew (where a
// removal would wait for the open file, on Windows, it is closed instead).
void exe_keep_tables_open(bool keep);
const char* exe_dbname();

int32_t open_table(const TABSPEC& ts, TabHandle** out);
// Gives back a use; the last one closes the table (RC_INTERNAL_ERROR when that fails).
int32_t release_table(TabHandle* t, int flags);
int32_t use_table(const TABSPEC& ts, int mode);

// A use of a table for the length of one statement (open_table ... release_table).
class TableUse {
 public:
  TableUse() = default;
  TableUse(const TableUse&) = delete;
  TableUse& operator=(const TableUse&) = delete;
  ~TableUse() { release_table(t_, kReleaseCursor); }
  int32_t open(const TABDESC* td) { return open_table(td->ts, &t_); }
  TabHandle* operator->() const { return t_; }
  TabHandle* get() const { return t_; }

 private:
  TabHandle* t_ = nullptr;
};

// A failed ISAM step on an open table (or none): its status (a lock held elsewhere, a key
// too long, a damaged file, else an internal failure), traced with the table's file and
// noted as the statement's cause at the calling line.
#define KYT_TABFAIL(what, t) KYT_ISAMFAIL(what, (t) != nullptr ? (t)->file : std::string())

// Transactions.
int32_t trans_begin();
int32_t trans_end(bool commit);
bool trans_open();
bool trans_failed();
// An open transaction holds changes not yet committed.
bool trans_pending();
// A statement's frame: its changes are undone when it fails; under autocommit it commits.
class StmtFrame {
 public:
  StmtFrame();
  ~StmtFrame();
  int32_t finish(int32_t rc);

 private:
  size_t savepoint_;
  bool finished_ = false;
};

// Internal to the executor: the undo log and the open tables.
//
// A change is logged in two steps, so that no change can ever be left out of the log: the
// record is made before the change (undo_row, undo_table: these allocate, and may fail for
// memory while nothing is changed yet), and put into the log after it (log_undo, which
// allocates nothing and cannot fail).
struct Undo {
  enum Kind { kInserted, kDeleted, kCreated, kDropped } kind;
  TABSPEC ts;
  std::string file;       // kCreated, kDropped: the table's file
  std::string row;        // kInserted, kDeleted: the fields, each ended by a zero byte
  std::string hold_name;  // the table's name when the transaction does not hold it yet
};
Undo undo_row(TabHandle* t, bool inserted, const char* const* fields);
Undo undo_table(const TABSPEC& ts, const std::string& file, bool created);
// `t`: the table changed (a row change), or null.
void log_undo(TabHandle* t, Undo&& u) noexcept;
bool close_for_drop(const char* name);
bool is_sort_index_name(const char* name);
int32_t refresh_table(TabHandle* t);

// Resets everything (tests).
void isatrans_reset_for_tests();

}  // namespace kyt

#endif  // KYT_SQL_ISATRANS_H
