// isatrans: the open tables of the database, and transactions with their undo log.
#include "sql/isatrans.h"

#include <cstring>
#include <utility>

#include "platform/platform.h"
#include "runtime/runtime.h"
#include "sql/isadbg.h"
#include "sql/isaval.h"
#include "sql/status.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "s";

// One logged change. Rows are kept as their field texts, each with its zero byte.
struct State {
  std::string dbname;  // Ep_dbname
  bool open = false;
  htb<std::unique_ptr<TabHandle>> tables{10};  // open tables by name
  bool transact = false;                       // Eflg_transact: an explicit transaction
  bool trans_err = false;                      // Eflg_trans_err
  std::vector<Undo> log;
  std::vector<std::string> held;  // tables the transaction holds a use of
  int frames = 0;                 // statements running (a statement may run others)
  bool keep_open = false;         // tables stay open when unused (exclusive use)
};

// Never destroyed, as the cursors of isa.cpp that use these tables: the end of a process
// is handled by isa.cpp's exit handler, which rolls back and closes while everything exists.
State& st() {
  static State* s = new State;
  return *s;
}

}  // namespace

void claim_indexes(TabHandle* t, IndexOwner* by) {
  if (t->owner != nullptr && t->owner != by) t->owner->save();
  t->owner = by;
}

bool is_sort_index_name(const char* name) {
  if (name[0] != 'S' || name[1] == '\0') return false;
  for (const char* p = name + 1; *p != '\0'; ++p) {
    if (*p < '0' || *p > '9') return false;
  }
  return true;
}

namespace {

// A failed ISAM step on a table file: its status (DBI_E_LOCKED for a table another process
// holds, ...), traced and noted as the statement's cause at the calling line.
#define isam_fail(what, file) KYT_ISAMFAIL(what, file)

// Builds the handle of a freshly opened table file.
int32_t describe(TabHandle* t) {
  const TABDESC* td = t->td;
  if (!KYT_ISACHECK(inum_fields(t->db) == td->n_cols, RC_INTERNAL_ERROR, "err_return"))
    return RC_INTERNAL_ERROR;
  t->primary = ihandle(t->db, "PRIMARY");
  t->has_primary = t->primary != nullptr;
  if (!t->has_primary) t->primary = ihandle(t->db, kPhysicalIndex);
  if (!KYT_ISACHECK(t->primary != nullptr, RC_INTERNAL_ERROR, "err_return"))
    return RC_INTERNAL_ERROR;
  std::vector<std::string> names;
  for (const char* const* n = iindex_names(t->db); n != nullptr && *n != nullptr; ++n)
    names.emplace_back(*n);
  t->unique.clear();
  for (const std::string& n : names) {
    if (n == kPhysicalIndex || n[0] == '#' || is_sort_index_name(n.c_str())) continue;
    UniqueIndex u{ihandle(t->db, n.c_str()), {}};
    if (u.index == nullptr) return RC_INTERNAL_ERROR;
    for (const char* const* f = ifield_names(t->db, u.index); f != nullptr && *f != nullptr; ++f) {
      const COLDESC* c = td->col(*f);
      if (!KYT_ISACHECK(c != nullptr, RC_INTERNAL_ERROR, "err_return")) return RC_INTERNAL_ERROR;
      u.cols.push_back(c->colno - 1);
    }
    if (n == "PRIMARY") {
      t->unique.insert(t->unique.begin(), std::move(u));
    } else {
      t->unique.push_back(std::move(u));
    }
  }
  t->text_off.clear();
  int32_t off = 0;
  for (const COLDESC& c : td->cols) {
    t->text_off.push_back(off);
    off += field_capacity(c);
  }
  t->text_size = off;
  return RC_OK;
}

int32_t close_handle(TabHandle* t) {
  int32_t rc = RC_OK;
  if (t->db != nullptr && iclose_db(t->db) != 1) rc = isam_fail("iclose_db", t->file.c_str());
  t->db = nullptr;
  st().tables.erase(t->name);
  return rc;
}

// Room for one more element, growing geometrically, so that the push_back that follows
// allocates nothing.
template <typename T>
void make_room(std::vector<T>* v) {
  if (v->size() == v->capacity()) v->reserve(v->capacity() * 2 + 16);
}

std::string pack_row(const char* const* fields, int n) {
  std::string row;
  for (int i = 0; i < n; ++i) {
    const char* f = fields[i] != nullptr ? fields[i] : "";
    row.append(f, std::strlen(f) + 1);
  }
  return row;
}

std::vector<const char*> unpack_row(const std::string& row) {
  std::vector<const char*> fields;
  for (size_t p = 0; p < row.size(); p += std::strlen(row.data() + p) + 1)
    fields.push_back(row.data() + p);
  return fields;
}

// Finds a record with exactly these fields and deletes it.
int32_t delete_equal_row(TabHandle* t, const std::string& row) {
  std::vector<const char*> want = unpack_row(row);
  std::vector<char> buf(static_cast<size_t>(t->text_size) + 16);
  std::vector<const char*> got(static_cast<size_t>(t->td->n_cols) + 1);
  claim_indexes(t, nullptr);
  auto same = [&]() {
    if (igetrec(t->db, t->primary, got.data(), buf.data(), static_cast<int>(buf.size())) != 1)
      return false;
    for (size_t i = 0; i < want.size() && i < got.size(); ++i) {
      if (std::strcmp(want[i], got[i]) != 0) return false;
    }
    return true;
  };
  if (t->has_primary) {
    std::vector<const char*> key;
    for (int c : t->unique.front().cols) key.push_back(want[static_cast<size_t>(c)]);
    key.push_back(nullptr);
    if (ifindkey(t->db, t->primary, key.data()) == 2 && same() && idelrec(t->db, t->primary) == 1)
      return RC_OK;
    return isam_fail("undo delete", t->file.c_str());
  }
  IsamPos start;
  if (irestorepos(t->db, t->primary, &start) != 1) return isam_fail("undo scan", t->file.c_str());
  for (;;) {
    int rc = ifindnext(t->db, t->primary);
    if (rc != 1) break;
    if (same()) {
      if (idelrec(t->db, t->primary) == 1) return RC_OK;
      break;
    }
  }
  return isam_fail("undo delete", t->file.c_str());
}

int32_t undo_one(const Undo& u) {
  if (u.kind == Undo::kDropped) return RC_OK;  // the files stay until commit
  if (u.kind == Undo::kCreated) {
    if (std::unique_ptr<TabHandle>* h = st().tables.find(u.ts.s_tabname)) {
      if ((*h)->users > ((*h)->in_trans ? 1 : 0)) return RC_INTERNAL_ERROR;  // a cursor uses it
      close_handle(h->get());
    }
    drop_tab_desc(u.ts.s_tabname);
    if (idestroy_db(u.file.c_str()) != 1) return isam_fail("idestroy_db", u.file.c_str());
    return RC_OK;
  }
  TabHandle* t = nullptr;
  int32_t rc = open_table(u.ts, &t);
  if (rc != RC_OK) return rc;
  if (u.kind == Undo::kInserted) {
    rc = delete_equal_row(t, u.row);
  } else {
    std::vector<const char*> fields = unpack_row(u.row);
    fields.push_back(nullptr);
    claim_indexes(t, nullptr);
    if (iaddrec(t->db, t->primary, fields.data()) != 1) rc = isam_fail("undo add", t->file.c_str());
  }
  release_table(t, kReleaseCursor);
  return rc;
}

int32_t rollback_to(size_t savepoint) {
  State& s = st();
  int32_t rc = RC_OK;
  while (s.log.size() > savepoint) {
    int32_t r = undo_one(s.log.back());
    if (r != RC_OK && rc == RC_OK) rc = r;
    s.log.pop_back();
  }
  if (rc != RC_OK) {
    s.trans_err = true;
    KYT_TRACE(kModule, kTopic, 1, "rollback could not undo every change rc=%d", rc);
  }
  return rc;
}

// Ends the work of a transaction: removes dropped tables' files, hands the writes of the
// held tables to the system and gives their uses back.
int32_t finish_log() {
  State& s = st();
  int32_t rc = RC_OK;
  for (const Undo& u : s.log) {
    if (u.kind == Undo::kDropped && idestroy_db(u.file.c_str()) != 1)
      rc = isam_fail("idestroy_db", u.file.c_str());
  }
  s.log.clear();
  std::vector<std::string> held = std::move(s.held);
  s.held.clear();
  for (const std::string& name : held) {
    std::unique_ptr<TabHandle>* h = s.tables.find(name);
    if (h == nullptr) continue;
    TabHandle* t = h->get();
    // A table that closes or parks now is flushed by that; one that stays open is flushed here.
    const bool stays_open = t->users > 1 || s.keep_open;
    if (stays_open && t->db != nullptr && iflush_db(t->db) != 1)
      rc = isam_fail("iflush_db", t->file.c_str());
    t->in_trans = false;
    if (release_table(t, kReleaseCursor) != RC_OK) rc = RC_INTERNAL_ERROR;
  }
  return rc;
}

}  // namespace

// --- logging, used by the statements of isaexe.cpp -------------------------------------------

Undo undo_row(TabHandle* t, bool inserted, const char* const* fields) {
  Undo u{inserted ? Undo::kInserted : Undo::kDeleted, t->td->ts, std::string(),
         pack_row(fields, t->td->n_cols), t->in_trans ? std::string() : t->name};
  State& s = st();
  make_room(&s.log);
  if (!t->in_trans) make_room(&s.held);
  return u;
}

Undo undo_table(const TABSPEC& ts, const std::string& file, bool created) {
  Undo u{created ? Undo::kCreated : Undo::kDropped, ts, file, std::string(), std::string()};
  make_room(&st().log);
  return u;
}

void log_undo(TabHandle* t, Undo&& u) noexcept {
  State& s = st();
  if (t != nullptr && !t->in_trans) {
    // The transaction holds a use of the table until it ends.
    t->in_trans = true;
    ++t->users;
    s.held.push_back(std::move(u.hold_name));
  }
  s.log.push_back(std::move(u));
}

// Closes a table that is about to be dropped; false when a cursor still uses it.
bool close_for_drop(const char* name) {
  State& s = st();
  std::unique_ptr<TabHandle>* h = s.tables.find(name);
  if (h == nullptr) return true;
  TabHandle* t = h->get();
  if (t->users > (t->in_trans ? 1 : 0)) return false;
  for (size_t i = 0; i < s.held.size(); ++i) {
    if (s.held[i] == name) {
      s.held.erase(s.held.begin() + static_cast<std::ptrdiff_t>(i));
      break;
    }
  }
  close_handle(t);
  return true;
}

// --- the database ---------------------------------------------------------------------------

int32_t exe_open_db(const char* dbname) {
  State& s = st();
  if (s.open) return DBI_E_CONNECTED;
  if (dbname == nullptr || *dbname == '\0' || !platform::is_directory(dbname)) {
    KYT_TRACE(kModule, kTopic, 1, "isa100_open_db: no database directory %s",
              dbname == nullptr ? "(null)" : dbname);
    return DBI_E_NOT_OPEN;
  }
  s.dbname = dbname;
  s.open = true;
  s.transact = false;
  s.trans_err = false;
  set_database_dir(s.dbname);
  return OK_STATE;
}

void exe_close_db() {
  State& s = st();
  if (!s.log.empty()) {
    KYT_TRACE(kModule, kTopic, 1, "close of the database rolls back the open transaction");
    rollback_to(0);
  }
  finish_log();
  std::vector<TabHandle*> left;
  s.tables.for_each([&](const std::string&, std::unique_ptr<TabHandle>& h) { left.push_back(h.get()); });
  for (TabHandle* t : left) close_handle(t);
  s.transact = false;
  s.trans_err = false;
  s.open = false;
  s.dbname.clear();
  set_database_dir(std::string());
}

void exe_keep_tables_open(bool keep) {
  st().keep_open = keep;
  if (keep) return;
  std::vector<TabHandle*> idle;
  st().tables.for_each([&](const std::string&, std::unique_ptr<TabHandle>& h) {
    if (h->users <= 0) idle.push_back(h.get());
  });
  for (TabHandle* t : idle) close_handle(t);
}

bool exe_db_open() { return st().open; }
const char* exe_dbname() { return st().open ? st().dbname.c_str() : nullptr; }

int32_t open_table(const TABSPEC& ts, TabHandle** out) {
  *out = nullptr;
  State& s = st();
  if (!KYT_ISACHECK(s.open, DBI_E_NOT_OPEN, "ret1")) return DBI_E_NOT_OPEN;
  TABDESC* td = nullptr;
  int32_t rc = get_tab_desc(ts, &td);
  if (rc != RC_OK) return rc;
  if (std::unique_ptr<TabHandle>* h = s.tables.find(td->ts.s_tabname)) {
    TabHandle* t = h->get();
    if (!t->parked || iresume_db(t->db) == 1) {
      t->parked = false;
      t->td = td;
      ++t->users;
      *out = t;
      return RC_OK;
    }
    // Changed or taken away meanwhile: what this process held of it is stale, and the
    // table is opened anew (with the failures of a first open, when there is one).
    close_handle(t);
  }
  auto t = std::make_unique<TabHandle>();
  t->name = td->ts.s_tabname;
  t->td = td;
  rc = tab_file(td->ts, &t->file);
  if (rc != RC_OK) return rc;
  const std::string name = t->name;
  t->db = iopen_db(t->file.c_str());
  if (t->db == nullptr) {
    if (isam_errno == kIsamNoFile) {
      KYT_TRACE(kModule, kTopic, 1, "open_table: %s missing", t->file.c_str());
      sql_detail_note(&sql_detail().reason, {"its data file ", t->file, " is missing"});
      return DBI_E_TABLE_NOT_EXIST;
    }
    return isam_fail("iopen_db", t->file.c_str());
  }
  // Until the handle is registered nobody else would close the files: they are closed
  // here on every way out, an allocation that fails (an exception) among them.
  IsamDb* const db = t->db;
  try {
    rc = describe(t.get());
    if (rc != RC_OK) {
      iclose_db(db);
      return rc;
    }
    t->users = 1;
    TabHandle* raw = t.get();
    s.tables.insert(name, std::move(t));
    *out = raw;
    return RC_OK;
  } catch (...) {
    if (s.tables.find(name) == nullptr) iclose_db(db);
    throw;
  }
}

int32_t release_table(TabHandle* t, int flags) {
  (void)flags;  // every release gives back one use; the last one parks or closes the files
  if (t == nullptr) return RC_OK;
  if (--t->users > 0 || st().keep_open) return RC_OK;
  if (platform::removal_waits_for_close()) return close_handle(t);
  if (isuspend_db(t->db) == 1) {
    t->parked = true;
    return RC_OK;
  }
  const int32_t rc = isam_fail("isuspend_db", t->file.c_str());
  close_handle(t);
  return rc;
}

int32_t use_table(const TABSPEC& ts, int mode) {
  (void)mode;  // ISA_CHECK_TAB: the table is known and its files open
  TabHandle* t = nullptr;
  int32_t rc = open_table(ts, &t);
  if (rc == RC_OK) release_table(t, kReleaseCursor);
  return rc;
}

// Re-reads a table's indexes after one was added.
int32_t refresh_table(TabHandle* t) {
  claim_indexes(t, nullptr);
  return describe(t);
}

// --- transactions ---------------------------------------------------------------------------

int32_t trans_begin() {
  State& s = st();
  if (!KYT_ISACHECK(!s.transact, DBI_E_TRANSERR, "ret1")) return DBI_E_TRANSERR;
  s.transact = true;
  s.trans_err = false;
  return OK_STATE;
}

int32_t trans_end(bool commit) {
  State& s = st();
  int32_t rc = OK_STATE;
  if (!commit) rc = rollback_to(0);
  int32_t r = finish_log();
  s.transact = false;
  s.trans_err = false;
  return rc != OK_STATE ? rc : r;
}

bool trans_open() { return st().transact; }
bool trans_failed() { return st().trans_err; }
bool trans_pending() { return st().transact && !st().log.empty(); }

StmtFrame::StmtFrame() : savepoint_(st().log.size()) { ++st().frames; }

StmtFrame::~StmtFrame() {
  if (!finished_) finish(RC_INTERNAL_ERROR);
}

int32_t StmtFrame::finish(int32_t rc) {
  finished_ = true;
  State& s = st();
  const bool outermost = --s.frames == 0;
  bool failed = rc != OK_STATE && rc != DBI_W_END_FETCH;
  if (failed) {
    int32_t r = rollback_to(savepoint_);
    if (s.transact) s.trans_err = true;
    if (r != RC_OK) rc = r;
  }
  if (outermost && !s.transact) {
    int32_t r = finish_log();
    if (!failed && r != RC_OK) rc = r;
  }
  return rc;
}

void isatrans_reset_for_tests() {
  State& s = st();
  s.log.clear();
  s.held.clear();
  s.tables.clear();
  s.frames = 0;
  s.keep_open = false;
  s.open = false;
  s.transact = false;
  s.trans_err = false;
  s.dbname.clear();
  set_database_dir(std::string());
}

}  // namespace kyt
