// isa: database, transactions and cursors of the executor; the statement interface's dispatch.
#include "sql/isa.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "cbt/cbt.h"
#include "isam/isam.h"
#include "runtime/runtime.h"
#include "sql/ISAsqlutil.h"
#include "sql/dblog.h"
#include "sql/isaddl.h"
#include "sql/isadbg.h"
#include "sql/isapar.h"
#include "sql/isascan.h"
#include "sql/isatrans.h"
#include "sql/isaval.h"
#include "sql/schema.h"
#include "sql/status.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "s";

struct SQLVAR {
  int16_t len;
  int16_t type;
  union {
    int32_t l;
    const void* addr;
  } v;
};

// Descriptor area: at most 30 values.
struct SQLDA {
  int16_t count = 0;
  int16_t cap = kSqldaSize;
  SQLVAR var[kSqldaSize] = {};
};

struct CURSOR {
  std::unique_ptr<StmtPool> pool;  // holds p_stmt
  STMT* p_stmt = nullptr;
  Scan scan;                       // F_db, index and direction while open
  bool flg_open = false;
  SQLDA in, out;                   // Ep_sqlda_in, Ep_sqlda_out
  std::vector<std::string> texts;  // copies of the input texts
  double floats[kSqldaSize] = {};
  // A snapshot cursor (kCursorSnapshot): the rows read at open, each as its selected fields
  // in select-list order, every field ending in a zero; `next` is the offset of the first
  // field of the next row to deliver, `left` the number of rows not yet delivered, `row`
  // the fields of the row delivered last; `end` what the FETCH after the last kept row
  // answers: DBI_W_END_FETCH, or the status that ended the reading (a damaged row), so that
  // a snapshot delivers what a stable cursor would, up to the same status.
  bool snapshot = false;
  std::vector<char> kept;
  size_t next = 0;
  size_t left = 0;
  int32_t end = DBI_W_END_FETCH;
  std::vector<const char*> row;
};

struct Slot {
  int16_t frei = 1;
  int32_t id = 0;
  int32_t* caller = nullptr;  // the caller's cursor-id variable
  Slot* next = nullptr;
  Slot* prev = nullptr;
};

struct State {
  bool open = false;
  int cursor_mode = kCursorStable;
  std::string dbname;
  Slot slots[kMaxCursors];
  Slot* head = nullptr;
  Slot* tail = nullptr;
  htb<std::unique_ptr<CURSOR>> curs{10};  // Ep_htb_curs
  htb<int32_t> names{10};                 // cursor names of the statement interface

  State() { reset_list(); }
  void reset_list() {
    for (int i = 0; i < kMaxCursors; ++i) {
      slots[i].frei = 1;
      slots[i].id = i;
      slots[i].caller = nullptr;
      slots[i].prev = i > 0 ? &slots[i - 1] : nullptr;
      slots[i].next = i + 1 < kMaxCursors ? &slots[i + 1] : nullptr;
    }
    head = &slots[0];
    tail = &slots[kMaxCursors - 1];
  }
  void unlink(Slot* s) {
    (s->prev != nullptr ? s->prev->next : head) = s->next;
    (s->next != nullptr ? s->next->prev : tail) = s->prev;
    s->next = s->prev = nullptr;
  }
  void to_head(Slot* s) {
    unlink(s);
    s->next = head;
    if (head != nullptr) head->prev = s;
    head = s;
    if (tail == nullptr) tail = s;
  }
  void to_tail(Slot* s) {
    unlink(s);
    s->prev = tail;
    if (tail != nullptr) tail->next = s;
    tail = s;
    if (head == nullptr) head = s;
  }
};

// Never destroyed: static objects go in the reverse order of their construction, and
// the cursors' scans would then give their tables back to a registry of open tables
// (isatrans.cpp) that may already be gone. What a process leaves open is closed by
// at_process_end instead, in one defined order.
State& st() {
  static State* s = new State;
  return *s;
}

// "CURS_%02d"; every fetch asks for it, so the slot numbers are written without printf.
std::string cursor_key(int32_t id) {
  if (id >= 0 && id < 100) {
    std::string key = "CURS_00";
    key[5] = static_cast<char>('0' + id / 10);
    key[6] = static_cast<char>('0' + id % 10);
    return key;
  }
  char key[16];
  std::snprintf(key, sizeof key, "CURS_%02d", static_cast<int>(id));
  return key;
}

CURSOR* find_cursor(int32_t id) {
  std::unique_ptr<CURSOR>* c = st().curs.find(cursor_key(id));
  return c == nullptr ? nullptr : c->get();
}

bool valid_id(int32_t id) { return id >= 0 && id < kMaxCursors && st().slots[id].frei == 0; }

// Every slot free again, every caller's variable -1 (close of the database).
void reset_cursors() {
  State& s = st();
  for (Slot& slot : s.slots) {
    if (slot.frei == 0 && slot.caller != nullptr) *slot.caller = -1;
  }
  s.curs.clear();
  s.names.clear();
  s.reset_list();
}

// Binds a cursor's input area to its statement's "?" nodes.
void bind_inputs(CURSOR* c) {
  for (uint32_t i = 0; i < c->p_stmt->params.count && i < static_cast<uint32_t>(c->in.count); ++i) {
    const SQLVAR& v = c->in.var[i];
    HostVar h{v.type, nullptr};
    int32_t l = v.v.l;
    int16_t small = static_cast<int16_t>(v.v.l);
    switch (v.type) {
      case kTypeInteger:
        h.addr = &l;
        break;
      case kTypeSmallint:
        h.addr = &small;
        break;
      default:
        h.addr = const_cast<void*>(v.v.addr);
        break;
    }
    bind_hostvar(c->p_stmt->params[i], h);
  }
}

// The end of a process that still has the database open (returning from main, exit()):
// the open transaction is rolled back, the cursors are freed, the tables closed. Runs
// before the ISAM layer's own exit handler, which would otherwise write whatever the
// buffers hold, uncommitted changes too (see register_process_end).
void at_process_end() {
  if (!st().open) return;
  // The callers' cursor-id variables are not told: one may lie in a stack frame long gone.
  for (Slot& slot : st().slots) slot.caller = nullptr;
  if (trans_open())
    KYT_TRACE(kModule, kTopic, 1, "end of process: uncommitted work is rolled back");
  isa110_close_db();
}

// Exit handlers run in the reverse order of their registration: the ISAM layer registers
// its own when it is first initialised, so it is initialised here first (as its first use
// would, with its default pool) and ours comes after it in the list.
void register_process_end() {
  static bool registered = false;
  if (registered) return;
  const int saved = isam_errno;
  isaminit(0, 0);  // -1 when it ran already: nothing changes then
  isam_errno = saved;
  // The trace's state, too, must exist before the handler is registered, to outlive it.
  KYT_TRACE(kModule, kTopic, 6, "rollback at process end armed");
  std::atexit(at_process_end);
  registered = true;
}

int32_t finish(int32_t rc, std::string_view text) {
  // What the clean-up after a failure did to isam_errno is not what a caller asks about.
  if (rc != OK_STATE && fail_cause().rc != 0) isam_errno = fail_cause().isam_err;
  if (rc == RC_INTERNAL_ERROR || rc == DBI_E_EXECERR) isa_severe(rc, text, __FILE__, __LINE__);
  return rc;
}

}  // namespace

// --- database and transactions --------------------------------------------------------------

int32_t isa100_open_db(const char* s_dbname, const char* s_user, const char* s_password) {
  (void)s_user;
  (void)s_password;
  State& s = st();
  if (!KYT_ISACHECK(!s.open, DBI_E_CONNECTED, "ret1")) return DBI_E_CONNECTED;
  int32_t rc = exe_open_db(s_dbname);
  if (rc != OK_STATE) return rc;
  register_process_end();
  s.open = true;
  s.dbname = s_dbname;
  reset_cursors();
  clear_tab_descs();
  set_catalogue_reader(disk_catalogue_reader());
  // The catalogue's own descriptors (cash_sys_tab).
  for (const char* name : {"SYSCATLG", "SYSCOLS"}) {
    TABSPEC ts;
    TABDESC* td = nullptr;
    make_tabspec(kSystemCreator, name, &ts);
    rc = get_tab_desc(ts, &td);
    if (rc != RC_OK) break;
  }
  if (rc != RC_OK) {
    isa110_close_db();
    return rc;
  }
  KYT_TRACE(kModule, kTopic, 6, "isa100_open_db %s", s_dbname);
  return OK_STATE;
}

int32_t isa110_close_db() {
  State& s = st();
  if (!KYT_ISACHECK(s.open, DBI_E_EXECERR, "ret1")) return DBI_E_EXECERR;
  reset_cursors();
  exe_close_db();
  clear_tab_descs();
  set_catalogue_reader(nullptr);
  s.open = false;
  s.dbname.clear();
  return OK_STATE;
}

void isa_keep_tables_open(bool keep) { exe_keep_tables_open(keep); }

bool isa_db_open() { return st().open; }
bool isa_uncommitted_work() { return st().open && trans_pending(); }

bool isa_transaction_open() { return st().open && trans_open(); }

int32_t isa300_start_trans(int mode) {
  (void)mode;  // DBI_RW_TRANS: every transaction may write
  if (!KYT_ISACHECK(st().open, DBI_E_NOT_OPEN, "ret1")) return DBI_E_NOT_OPEN;
  return trans_begin();
}

int32_t isa310_end_trans(int how) {
  if (!KYT_ISACHECK(trans_open(), DBI_E_TRANSERR, "ret1")) return DBI_E_TRANSERR;
  return trans_end(how == DBI_COMMIT);
}

int32_t isa_create_catalogue() {
  int32_t rc = isa300_start_trans(DBI_RW_TRANS);
  if (rc != OK_STATE) return rc;
  rc = exec_create_catalogue();
  int32_t r = isa310_end_trans(rc == OK_STATE ? DBI_COMMIT : DBI_ROLLBACK);
  return rc != OK_STATE ? rc : r;
}

// --- cursors --------------------------------------------------------------------------------

int32_t isa801_alloc_cursor(int32_t* cursor_id) {
  State& s = st();
  Slot* slot = s.head;
  while (slot != nullptr && slot->frei != 1) slot = slot->next;
  if (slot == nullptr) {
    KYT_TRACE(kModule, kTopic, 1, "Alle cursor sind gelockt !");
    return DBI_E_CURSOR;
  }
  if (find_cursor(slot->id) != nullptr) {
    KYT_TRACE(kModule, kTopic, 1, "Fataler Fehler bei Cursorvergabe in ISA801!");
    return RC_INTERNAL_ERROR;
  }
  slot->frei = 0;
  slot->caller = cursor_id;
  s.to_head(slot);
  *cursor_id = slot->id;
  return OK_STATE;
}

int32_t isa201_prepare_stat(int32_t cursor_id, std::string_view statement) {
  if (!KYT_ISACHECK(valid_id(cursor_id), DBI_E_CURSOR, "err_return")) return DBI_E_CURSOR;
  st().curs.erase(cursor_key(cursor_id));
  IsaparResult r;
  int32_t rc = isapar(cursor_id, "PREPARE", statement, &r);
  if (rc != OK_STATE) return rc;
  STMT* p = r.stmt;
  if (!KYT_ISACHECK(p->kind == kStmtSelect || p->kind == kStmtInsert || p->kind == kStmtUpdate ||
                        p->kind == kStmtDelete,
                    DBI_E_NYI, "err_return"))
    return DBI_E_NYI;
  auto c = std::make_unique<CURSOR>();
  c->pool = stmt_pool().detach();
  c->p_stmt = p;
  if (p->kind == kStmtSelect) {
    if (!KYT_ISACHECK(p->cols.count <= kSqldaSize, DBI_E_TOO_COMPLEX, "err_return"))
      return DBI_E_TOO_COMPLEX;
    c->out.count = static_cast<int16_t>(p->cols.count);
    for (uint32_t i = 0; i < p->cols.count; ++i) {
      const COLDESC* col = p->cols[i].p_col;
      if (!KYT_ISACHECK(col != nullptr, DBI_E_INV_COL_NAM, "err_return")) return DBI_E_INV_COL_NAM;
      c->out.var[i].len = col->width;
      c->out.var[i].type = col->type;
      c->out.var[i].v.addr = nullptr;
    }
  }
  st().curs.insert(cursor_key(cursor_id), std::move(c));
  return OK_STATE;
}

int32_t isa950_put_input(int32_t cursor_id, std::span<const HostVar> input) {
  CURSOR* c = find_cursor(cursor_id);
  if (!KYT_ISACHECK(c != nullptr, DBI_E_CURSOR, "err_return")) return DBI_E_CURSOR;
  if (input.size() > kSqldaSize) return LPDBI_E_TOO_MANY_INPUTS;
  if (input.size() < c->p_stmt->params.count) return LPDBI_E_HOSTVAR_MISSING;
  if (input.size() > c->p_stmt->params.count) return LPDBI_E_HOSTVAR_LEFT;
  c->texts.assign(input.size(), std::string());
  c->in.count = static_cast<int16_t>(input.size());
  for (size_t i = 0; i < input.size(); ++i) {
    const HostVar& h = input[i];
    SQLVAR& v = c->in.var[i];
    if (h.addr == nullptr) return LPDBI_E_HOSTVAR_NULL;
    v.type = static_cast<int16_t>(h.type);
    switch (h.type) {
      case kTypeChar:
        c->texts[i] = static_cast<const char*>(h.addr);
        v.len = static_cast<int16_t>(c->texts[i].size() > 32767 ? 32767 : c->texts[i].size());
        v.v.addr = c->texts[i].c_str();
        break;
      case kTypeFloat:
        std::memcpy(&c->floats[i], h.addr, sizeof(double));
        v.len = sizeof(double);
        v.v.addr = &c->floats[i];
        break;
      case kTypeInteger:
        std::memcpy(&v.v.l, h.addr, sizeof(int32_t));
        v.len = 4;
        break;
      case kTypeSmallint: {
        int16_t x = 0;
        std::memcpy(&x, h.addr, sizeof x);
        v.v.l = x;
        v.len = 2;
        break;
      }
      default:
        return LPDBI_E_HOSTVAR_TYPE;
    }
  }
  bind_inputs(c);
  return OK_STATE;
}

namespace {

// Reads every row of a snapshot cursor's open scan into the cursor, up to the end or a
// status of the scan (kept for the FETCH that reaches it). OK_STATE, or RC_INTERNAL_ERROR
// when memory runs out.
int32_t take_snapshot(CURSOR* c) {
  const PLIST<COLREF>& cols = c->p_stmt->cols;
  try {
    c->row.assign(cols.count, nullptr);
    for (;;) {
      const int32_t rc = c->scan.next();
      if (rc != 1) {
        c->end = rc == 0 ? DBI_W_END_FETCH : rc;
        return OK_STATE;
      }
      for (const COLREF& r : cols) {
        const char* f = c->scan.fields()[r.p_col->colno - 1];
        c->kept.insert(c->kept.end(), f, f + std::strlen(f) + 1);
      }
      ++c->left;
    }
  } catch (const std::bad_alloc&) {
    KYT_TRACE(kModule, kTopic, 1, "snapshot of %lu rows: out of memory",
              static_cast<unsigned long>(c->left));
    return RC_INTERNAL_ERROR;
  }
}

}  // namespace

bool isa_set_cursor_mode(int mode) {
  if (mode != kCursorSnapshot && mode != kCursorStable) return false;
  st().cursor_mode = mode;
  return true;
}

int isa_cursor_mode() { return st().cursor_mode; }

int32_t isa203_open_cursor(int32_t cursor_id) {
  CURSOR* c = find_cursor(cursor_id);
  if (!KYT_ISACHECK(c != nullptr, DBI_E_CURSOR, "err_return")) return DBI_E_CURSOR;
  STMT* p = c->p_stmt;
  if (p->kind != kStmtSelect) return exec_statement(p);
  c->flg_open = false;
  c->snapshot = st().cursor_mode == kCursorSnapshot;
  c->kept.clear();
  c->next = c->left = 0;
  c->end = DBI_W_END_FETCH;
  int32_t rc = c->scan.open(p->p_td->ts, &p->order, p->p_where);
  if (rc != RC_OK) return rc;
  if (c->snapshot) {
    rc = take_snapshot(c);
    c->scan.close();  // the table goes back now, whatever the reading brought
    if (rc != OK_STATE) {
      c->kept.clear();
      c->left = 0;
      return rc;
    }
  }
  c->flg_open = true;
  return OK_STATE;
}

namespace {

// The next row of an open cursor: 1, DBI_W_END_FETCH, or a status.
int32_t next_row(CURSOR* c) {
  if (c == nullptr || !c->flg_open) return DBI_E_CURNOTOPE;
  if (c->snapshot) {
    if (c->left == 0) return c->end;
    --c->left;
    for (const char*& f : c->row) {
      f = c->kept.data() + c->next;
      c->next += std::strlen(f) + 1;
    }
    return 1;
  }
  int32_t rc = c->scan.next();
  if (rc == 0) return DBI_W_END_FETCH;
  return rc;
}

// The stored field of select-list column i of the row delivered last.
const char* selected_field(const CURSOR* c, uint32_t i) {
  if (c->snapshot) return c->row[i];
  return c->scan.fields()[c->p_stmt->cols[i].p_col->colno - 1];
}

}  // namespace

int32_t isa204_fetch(int32_t cursor_id, std::span<const HostVar> output) {
  CURSOR* c = find_cursor(cursor_id);
  // Refused before the row is taken: a refused FETCH leaves the cursor where it was.
  if (c != nullptr && output.size() > c->p_stmt->cols.count) return LPDBI_E_HOSTVAR_LEFT;
  for (const HostVar& h : output) {
    if (h.addr == nullptr) return LPDBI_E_HOSTVAR_NULL;
  }
  int32_t rc = next_row(c);
  if (rc != 1) return rc;
  const STMT* p = c->p_stmt;
  for (size_t i = 0; i < output.size(); ++i) {
    const COLDESC* col = p->cols[static_cast<uint32_t>(i)].p_col;
    const HostVar& h = output[i];
    rc = field_to_host(*col, selected_field(c, static_cast<uint32_t>(i)), h.type, h.addr,
                       field_capacity(*col));
    if (rc != RC_OK) {
      KYT_TRACE(kModule, kTopic, 1, "fetch of column %s: %s", col->s_colname, sql_status_text(rc));
      return rc;
    }
    c->out.var[i].v.addr = h.addr;
  }
  return OK_STATE;
}

int32_t isa_fetch_texts(int32_t cursor_id, std::vector<std::optional<std::string>>* row) {
  row->clear();
  CURSOR* c = find_cursor(cursor_id);
  int32_t rc = next_row(c);
  if (rc != 1) return rc;
  for (uint32_t i = 0; i < c->p_stmt->cols.count; ++i) {
    const COLREF& r = c->p_stmt->cols[i];
    const char* f = selected_field(c, i);
    if (r.p_col->type != kTypeChar && *f == '\0') {
      row->emplace_back();
      continue;
    }
    std::string text;
    if (!field_plain_text(*r.p_col, f, &text)) return DBI_E_DAMAGED;
    row->emplace_back(std::move(text));
  }
  return OK_STATE;
}

std::vector<std::string> isa_column_names(int32_t cursor_id) {
  std::vector<std::string> names;
  if (CURSOR* c = find_cursor(cursor_id)) {
    for (const COLREF& r : c->p_stmt->cols) names.emplace_back(r.s_colname);
  }
  return names;
}

int32_t isa805_set_cursor_frei(int32_t cursor_id) {
  if (!KYT_ISACHECK(valid_id(cursor_id), DBI_E_CURSOR, "err_return")) return DBI_E_CURSOR;
  State& s = st();
  s.curs.erase(cursor_key(cursor_id));  // closes the scan: the table is released
  s.slots[cursor_id].frei = 1;
  s.slots[cursor_id].caller = nullptr;
  return isa806_put_cursor_last(cursor_id);
}

int32_t isa806_put_cursor_last(int32_t cursor_id) {
  if (cursor_id < 0 || cursor_id >= kMaxCursors) return DBI_E_CURSOR;
  st().to_tail(&st().slots[cursor_id]);
  return OK_STATE;
}

std::vector<int32_t> isa_cursor_order() {
  std::vector<int32_t> ids;
  for (Slot* s = st().head; s != nullptr; s = s->next) ids.push_back(s->id);
  return ids;
}

// --- the statement interface ----------------------------------------------------------------

namespace {

int32_t close_named(const char* name) {
  State& s = st();
  int32_t* id = s.names.find(name);
  if (id == nullptr) {
    KYT_TRACE(kModule, kTopic, 1, "cursor %s not declared", name);
    return DBI_E_CURSOR;
  }
  int32_t rc = *id >= 0 ? isa805_set_cursor_frei(*id) : OK_STATE;
  s.names.erase(name);
  return rc;
}

int32_t declare(const DbiStatement& d) {
  State& s = st();
  if (s.names.find(d.cursor) != nullptr) close_named(d.cursor);  // declared again: the old one goes
  int32_t* id = s.names.insert(d.cursor, -1);
  if (id == nullptr) return RC_INTERNAL_ERROR;
  int32_t rc = isa801_alloc_cursor(id);
  if (rc != OK_STATE) {
    s.names.erase(d.cursor);
    return rc;
  }
  rc = isa201_prepare_stat(*id, d.sql);
  if (rc == OK_STATE) rc = isa950_put_input(*id, d.in);
  if (rc == OK_STATE) rc = isa203_open_cursor(*id);
  if (rc == OK_STATE) rc = isa204_fetch(*id, d.out);
  return rc;
}

int32_t immediate(const DbiStatement& d) {
  IsaparResult r;
  int32_t rc = isapar(-1, "EXECUTE IMMEDIATE", d.sql, &r);
  if (rc != OK_STATE) return rc;
  if (r.stmt->params.count != d.in.size()) return LPDBI_E_HOSTVAR_MISSING;
  for (uint32_t i = 0; i < r.stmt->params.count; ++i) bind_hostvar(r.stmt->params[i], d.in[i]);
  return exec_statement(r.stmt);
}

}  // namespace

int32_t isa_run(const DbiStatement& d) {
  State& s = st();
  int32_t rc = OK_STATE;
  fail_cause_reset();
  if (d.op != DbiOp::kOpenDb && d.op != DbiOp::kCloseDb && !s.open) return DBI_E_NOT_OPEN;
  switch (d.op) {
    case DbiOp::kOpenDb:
      rc = isa100_open_db(d.dbname != nullptr ? d.dbname : s.dbname.c_str(), nullptr, nullptr);
      break;
    case DbiOp::kCloseDb:
      rc = isa110_close_db();
      break;
    case DbiOp::kAutocommitOff:
      rc = isa300_start_trans(DBI_RW_TRANS);
      break;
    case DbiOp::kAutocommitOn:
      if (trans_open()) rc = isa310_end_trans(DBI_COMMIT);
      break;
    case DbiOp::kCommit:
    case DbiOp::kRollback:
      // Without autocommit the next transaction begins at once.
      if (trans_open()) {
        rc = isa310_end_trans(d.op == DbiOp::kCommit ? DBI_COMMIT : DBI_ROLLBACK);
        int32_t r = isa300_start_trans(DBI_RW_TRANS);
        if (rc == OK_STATE) rc = r;
      }
      break;
    case DbiOp::kDeclare:
      rc = declare(d);
      break;
    case DbiOp::kFetch: {
      int32_t* id = s.names.find(d.cursor);
      rc = id == nullptr || *id < 0 ? DBI_E_CURNOTOPE : isa204_fetch(*id, d.out);
      break;
    }
    case DbiOp::kClose:
      rc = close_named(d.cursor);
      break;
    case DbiOp::kStatement:
      rc = immediate(d);
      break;
    case DbiOp::kNone:
      rc = RC_INTERNAL_ERROR;
      break;
  }
  return finish(rc, d.text);
}

int32_t isa_exec(std::string_view text, std::span<const HostVar> hostvars) {
  DbiStatement d;
  int32_t rc = lpdbi_parse(text, hostvars, &d);
  if (rc != OK_STATE) return rc;
  rc = isa_run(d);
  if (rc == OK_STATE) dblog_statement(d);
  return rc;
}

void isa_severe(int32_t rc, std::string_view statement, const char* file, int line) {
  // The codes and the place of the statement's first cause where one was noted: the
  // clean-up that followed it has changed the engine's codes since.
  const FailCause& cause = fail_cause();
  const bool noted = cause.rc == RC_INTERNAL_ERROR || cause.rc == DBI_E_EXECERR;
  const int err = noted ? cause.sys_err : errno;
  const int ie = noted ? cause.isam_err : isam_errno;
  const int cb_err = noted ? cause.cb_err : cb_errcode;
  const int cb_fcn = noted ? cause.cb_fcn : cb_fcncode;
  const int cb_con = noted ? cause.cb_con : cb_concode;
  const char* base = noted ? cause.file : file;
  for (const char* p = base; *p != '\0'; ++p) {
    if (*p == '/' || *p == '\\') base = p + 1;
  }
  if (noted) line = cause.line;
  std::string text(statement);
  KYT_TRACE(kModule, kTopic, 1, "Severe error >%s<", text.c_str());
  KYT_TRACE(kModule, kTopic, 1, "errno, isam_errno, cb(err,fcn,con)code, = %d, %d, %d %d %d)", err,
            ie, cb_err, cb_fcn, cb_con);
  State& s = st();
  std::fprintf(stderr,
               "E: ===>  Severe data base error  <===\n  Please take note of these error codes and "
               "pass them to your kyt administrator\n Statement : >%s<\n",
               text.c_str());
  std::fprintf(stderr, "E: Error %ld occured in data base routine %s(%d):\n", static_cast<long>(rc),
               base, line);
  if (noted) std::fprintf(stderr, "  failing step: %s\n", cause.step.c_str());
  std::fprintf(stderr, "  isam_errno: %s\n", isam_strerror(ie));
  std::fprintf(stderr, "E:  (errno, isam_errno, cb(err,fcn,con)code, = %d, %d, %d %d %d)\n", err, ie,
               cb_err, cb_fcn, cb_con);
  std::fprintf(stderr, "E:  Ep_dbname = %s Eflg_transact = %d Eflg_trans_err = %d\n",
               s.open ? s.dbname.c_str() : "NULL", trans_open() ? 1 : 0, trans_failed() ? 1 : 0);
  if (err != 0) {
    std::fprintf(stderr, "  errno %s\n", std::strerror(err));
    errno = 0;
  }
}

void isa_reset_for_tests() {
  State& s = st();
  if (s.open) isa110_close_db();
  s.curs.clear();
  s.names.clear();
  s.reset_list();
  s.open = false;
  s.cursor_mode = kCursorStable;
  s.dbname.clear();
  isatrans_reset_for_tests();
  clear_tab_descs();
  set_catalogue_reader(nullptr);
}

}  // namespace kyt
