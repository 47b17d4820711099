// isaexe: scans with key ranges, the changing statements, and the catalogue on disk.
#include "sql/isaexe.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <set>
#include <string_view>

#include "platform/platform.h"
#include "runtime/numtext.h"
#include "runtime/trace.h"
#include "sql/isadbg.h"
#include "sql/isapar.h"
#include "sql/isaval.h"
#include "sql/schema.h"
#include "sql/status.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "s";

// A failed ISAM step on a table: its status (a lock held elsewhere, a key too long, a
// damaged file, else an internal failure), traced and noted as the statement's cause here.
#define ISAM_ERROR(what, t) KYT_ISAMFAIL(what, (t) != nullptr ? (t)->file : std::string())

// --- key ranges -----------------------------------------------------------------------------

// What the conditions allow for one column's stored text.
struct ColBound {
  bool eq = false;
  std::string eqv;
  bool has_lo = false;
  std::string lo;  // inclusive
  bool has_hi = false;
  bool hi_incl = false;
  std::string hi;

  void lower(std::string v) {
    if (!has_lo || v > lo) lo = std::move(v);
    has_lo = true;
  }
  void upper(std::string v, bool incl) {
    if (!has_hi || v < hi) {
      hi = std::move(v);
      hi_incl = incl;
    } else if (v == hi) {
      hi_incl = hi_incl && incl;
    }
    has_hi = true;
  }
};

void conjuncts(const EXPR* e, std::vector<const EXPR*>* out) {
  if (e == nullptr) return;
  if (e->flags & kExprAnd) {
    conjuncts(e->left, out);
    conjuncts(e->right, out);
  } else {
    out->push_back(e);
  }
}

// 1 + the highest column number the condition reads (0 for none); an unresolved column
// counts as every column.
int last_column(const EXPR* e) {
  if (e == nullptr) return 0;
  if (e->flags & kExprColumn) return e->col.p_col != nullptr ? e->col.p_col->colno : 1 << 20;
  return std::max(last_column(e->left), last_column(e->right));
}

std::string int_text(const COLDESC& c, int64_t v) {
  char buf[32];
  const int width = c.type == kTypeSmallint ? 6 : 11;  // the text widths of the two types
  std::snprintf(buf, sizeof buf, "%+0*lld", width, static_cast<long long>(v));
  return buf;
}

// Narrows `b` by "column op value" where that comparison orders like the stored texts.
void bound_by(const COLDESC& c, uint32_t op, const VALUE& v, ColBound* b) {
  if (v.null_ind != 0) return;
  if (c.type == kTypeChar) {
    if (v.type != kTypeChar) return;  // a number compares numerically: no text order
    std::string t(v.val.s, static_cast<size_t>(v.len));
    switch (op) {
      case kExprEq:
        if (!b->eq) b->eqv = t;
        b->eq = true;
        break;
      case kExprGt:
      case kExprGe:
        b->lower(t);
        break;
      case kExprLt:
        b->upper(t, false);
        break;
      case kExprLe:
        b->upper(t, true);
        break;
      default:
        break;
    }
    return;
  }
  if (c.type != kTypeInteger && c.type != kTypeSmallint) return;
  int64_t x = 0;
  if (v.type == kTypeInteger) {
    x = v.val.l;
  } else if (v.type == kTypeSmallint) {
    x = v.val.i;
  } else if (v.type == kTypeChar) {
    std::string_view t(v.val.s, static_cast<size_t>(v.len));
    if (t.find_first_of(".eE") != std::string_view::npos || !read_integer(t, &x)) return;
  } else {
    return;
  }
  const int64_t lo = c.type == kTypeSmallint ? -32768 : -2147483648LL;
  const int64_t hi = c.type == kTypeSmallint ? 32767 : 2147483647LL;
  if (x < lo || x > hi) return;
  // Stored order: 0 ... max, then -1 ... min (see isaval.h).
  auto at_least = [&](int64_t a) {
    if (a > hi || a < lo) return;
    if (a >= 0) {
      b->lower(int_text(c, a));
      b->upper(",", false);  // ',' follows '+': the end of the non-negative texts
    } else {
      b->lower("+");
      b->upper(int_text(c, a), true);
    }
  };
  auto at_most = [&](int64_t m) {
    if (m < 0 && m >= lo) b->lower(int_text(c, m));
  };
  switch (op) {
    case kExprEq:
      if (!b->eq) b->eqv = int_text(c, x);
      b->eq = true;
      break;
    case kExprGe:
      at_least(x);
      break;
    case kExprGt:
      at_least(x + 1);
      break;
    case kExprLe:
      at_most(x);
      break;
    case kExprLt:
      at_most(x - 1);
      break;
    default:
      break;
  }
}

uint32_t mirrored(uint32_t op) {
  switch (op) {
    case kExprLt:
      return kExprGt;
    case kExprGt:
      return kExprLt;
    case kExprLe:
      return kExprGe;
    case kExprGe:
      return kExprLe;
    default:
      return op;
  }
}

// The bound of one column from the top-level AND terms of a condition.
ColBound column_bound(const TABDESC* td, int col, const std::vector<const EXPR*>& terms) {
  ColBound b;
  for (const EXPR* e : terms) {
    uint32_t op = e->flags & kExprCompare;
    if (op == 0 || op == kExprLike || op == kExprNe) continue;
    const EXPR* c = e->left;
    const EXPR* v = e->right;
    if (!(c->flags & kExprColumn)) {
      std::swap(c, v);
      op = mirrored(op);
    }
    if (!(c->flags & kExprColumn) || !(v->flags & kExprValue) || c->col.p_col == nullptr) continue;
    if (c->col.p_col != &td->cols[static_cast<size_t>(col)]) continue;
    bound_by(*c->col.p_col, op, v->value, &b);
  }
  return b;
}

// The number of a sort index name "S<digits>". A damaged name with a longer run reads as the
// bound, which leaves room for the next number.
int64_t sort_number(const char* name) {
  int64_t v = 0;
  parse_int(name + 1, 0, INT64_MAX - 1, &v, NumSyntax{false, false});
  return v;
}

std::vector<std::string> index_fields(IsamDb* db, IsamIndex* index) {
  std::vector<std::string> out;
  for (const char* const* f = ifield_names(db, index); f != nullptr && *f != nullptr; ++f)
    out.emplace_back(*f);
  return out;
}

// The index that delivers rows in the order of the sort columns: PRIMARY when its key is
// exactly these columns, else the sort index "S<n>" over them, made on first use.
int32_t sort_index(TabHandle* t, const PLIST<ORDERITEM>& order, IsamIndex** out) {
  std::vector<std::string> want;
  for (const ORDERITEM& o : order) {
    if (!KYT_ISACHECK(o.col.s_creator[0] == '\0' && o.col.s_tabname[0] == '\0', DBI_E_EXECERR,
                      "err_return"))
      return DBI_E_EXECERR;
    want.emplace_back(o.col.p_col->s_colname);
  }
  if (t->has_primary && index_fields(t->db, t->primary) == want) {
    *out = t->primary;
    return RC_OK;
  }
  std::vector<std::string> names;
  for (const char* const* n = iindex_names(t->db); n != nullptr && *n != nullptr; ++n)
    names.emplace_back(*n);
  int64_t last = 0;
  for (const std::string& n : names) {
    if (!is_sort_index_name(n.c_str())) continue;
    IsamIndex* i = ihandle(t->db, n.c_str());
    if (i != nullptr && index_fields(t->db, i) == want) {
      *out = i;
      return RC_OK;
    }
    int64_t k = sort_number(n.c_str());
    if (k > last) last = k;
  }
  char name[32];
  std::snprintf(name, sizeof name, "S%lld", static_cast<long long>(last + 1));
  std::vector<const char*> fields;
  for (const std::string& w : want) fields.push_back(w.c_str());
  fields.push_back(nullptr);
  if (imkindex(t->db, name, fields.data()) != 1) return ISAM_ERROR("imkindex", t);
  KYT_TRACE(kModule, kTopic, 6, "sort index %s made on %s", name, t->name.c_str());
  int32_t rc = refresh_table(t);
  if (rc != RC_OK) return rc;
  *out = ihandle(t->db, name);
  return *out != nullptr ? RC_OK : ISAM_ERROR("ihandle", t);
}

std::string quoted(const char* s) { return std::string("'") + s + "'"; }

// Non-zero while the table statements write the catalogue rows they keep (run_immediate):
// no other statement may change a catalogue table, or its tables become unknown.
int g_catalogue_writers = 0;

struct CatalogueWrite {
  CatalogueWrite() { ++g_catalogue_writers; }
  ~CatalogueWrite() { --g_catalogue_writers; }
  CatalogueWrite(const CatalogueWrite&) = delete;
  CatalogueWrite& operator=(const CatalogueWrite&) = delete;
};

bool catalogue_change_refused(const TABDESC* td) {
  if (td == nullptr || g_catalogue_writers > 0 ||
      std::strcmp(td->ts.s_creator, kSystemCreator) != 0)
    return false;
  KYT_TRACE(kModule, kTopic, 1, "%s.%s is changed only by the table statements", td->ts.s_creator,
            td->ts.s_tabname);
  return true;
}

// Runs a statement on the catalogue for the table statements.
int32_t run_immediate(const std::string& text) {
  IsaparResult r;
  int32_t rc = isapar(-1, "EXECUTE IMMEDIATE", text, &r);
  if (rc != OK_STATE) return rc;
  CatalogueWrite allowed;
  return exec_statement(r.stmt);
}

// The values of the unique index `u` for a row.
std::vector<const char*> key_of(const UniqueIndex& u, const char* const* fields) {
  std::vector<const char*> key;
  for (int c : u.cols) key.push_back(fields[c]);
  key.push_back(nullptr);
  return key;
}

// Adds a row, refusing a key that a unique index holds already.
int32_t add_row(TabHandle* t, const char* const* fields) {
  claim_indexes(t, nullptr);
  for (const UniqueIndex& u : t->unique) {
    std::vector<const char*> key = key_of(u, fields);
    int rc = ifindkey(t->db, u.index, key.data());
    if (rc == 2) return DBI_E_NO_DUP;
    if (rc != 3) return ISAM_ERROR("ifindkey", t);
  }
  Undo undo = undo_row(t, true, fields);
  if (iaddrec(t->db, t->primary, fields) != 1) return ISAM_ERROR("iaddrec", t);
  log_undo(t, std::move(undo));
  return RC_OK;
}

// A row being built: one field slot a column.
struct RowBuf {
  std::vector<char> bytes;
  std::vector<const char*> fields;
  explicit RowBuf(const TabHandle* t)
      : bytes(static_cast<size_t>(t->text_size)), fields(t->td->cols.size() + 1, nullptr) {
    for (size_t i = 0; i < t->td->cols.size(); ++i) fields[i] = bytes.data() + t->text_off[i];
  }
  char* slot(const TabHandle* t, int col) { return bytes.data() + t->text_off[static_cast<size_t>(col)]; }
};

int32_t put_value(const TabHandle* t, RowBuf* row, const COLDESC* c, const EXPR* value) {
  if (!KYT_ISACHECK(c != nullptr && value != nullptr && (value->flags & kExprValue),
                    RC_INTERNAL_ERROR, "err_return"))
    return RC_INTERNAL_ERROR;
  if (!KYT_ISACHECK(value->value.null_ind != 0 || value->value.type != 0, RC_INTERNAL_ERROR,
                    "err_return"))
    return RC_INTERNAL_ERROR;  // a "?" without value
  int32_t rc = field_from_value(*c, value->value, row->slot(t, c->colno - 1));
  if (rc != RC_OK)
    KYT_TRACE(kModule, kTopic, 1, "column %s: %s", c->s_colname, sql_status_text(rc));
  return rc;
}

class TableUse {
 public:
  ~TableUse() { release_table(t_, kReleaseCursor); }
  int32_t open(const TABDESC* td) { return open_table(td->ts, &t_); }
  TabHandle* operator->() const { return t_; }
  TabHandle* get() const { return t_; }

 private:
  TabHandle* t_ = nullptr;
};

}  // namespace

// --- Scan -----------------------------------------------------------------------------------

void claim_indexes(TabHandle* t, Scan* by) {
  if (t->owner != nullptr && t->owner != by) t->owner->save();
  t->owner = by;
}

Scan::~Scan() { close(); }

void Scan::save() {
  if (t_ == nullptr) return;
  if (isavepos(t_->db, index_, &pos_) != 1) save_rc_ = ISAM_ERROR("isavepos", t_);
}

const IsamPos& Scan::saved_position() {
  if (t_ != nullptr && t_->owner == this) save();
  return pos_;
}

// Makes this scan the owner of the indexes again, back at its own position.
static int32_t reclaim(Scan* s, TabHandle* t, IsamIndex* index, const IsamPos& pos, int32_t save_rc) {
  if (t->owner == s) return RC_OK;
  if (save_rc != RC_OK) return save_rc;
  claim_indexes(t, s);
  return irestorepos(t->db, index, &pos) == 1 ? RC_OK : ISAM_ERROR("irestorepos", t);
}

void Scan::close() {
  if (t_ != nullptr && t_->owner == this) t_->owner = nullptr;
  if (t_ != nullptr) release_table(t_, kReleaseCursor);
  t_ = nullptr;
  index_ = nullptr;
}

int32_t Scan::open(const TABSPEC& ts, const PLIST<ORDERITEM>* order, const EXPR* where) {
  close();
  int32_t rc = open_table(ts, &t_);
  if (rc != RC_OK) return rc;
  where_ = where;
  cond_.prepare(where);
  backward_ = false;
  index_ = t_->primary;
  if (order != nullptr && !order->empty()) {
    rc = sort_index(t_, *order, &index_);
    if (rc != RC_OK) {
      close();
      return rc;
    }
    backward_ = (*order)[0].desc != 0;  // the first sort column sets the direction
  }
  key_cols_.clear();
  for (const std::string& f : index_fields(t_->db, index_)) {
    if (index_ == t_->primary && !t_->has_primary) break;  // the physical index has no key
    const COLDESC* c = t_->td->col(f);
    if (!KYT_ISACHECK(c != nullptr, RC_INTERNAL_ERROR, "err_return")) {
      close();
      return RC_INTERNAL_ERROR;
    }
    key_cols_.push_back(c->colno - 1);
  }
  eq_.clear();
  has_lo_ = has_hi_ = hi_incl_ = false;
  std::vector<const EXPR*> terms;
  conjuncts(where, &terms);
  for (int col : key_cols_) {
    ColBound b = column_bound(t_->td, col, terms);
    if (b.eq) {
      eq_.push_back(b.eqv);
      continue;
    }
    has_lo_ = b.has_lo;
    lo_ = b.lo;
    has_hi_ = b.has_hi;
    hi_ = b.hi;
    hi_incl_ = b.hi_incl;
    break;
  }
  // The row test reads the key columns of the range and the columns of the condition.
  shown_ = 0;
  for (size_t i = 0; i < key_cols_.size() && i <= eq_.size(); ++i) shown_ = std::max(shown_, key_cols_[i] + 1);
  shown_ = std::max(shown_, last_column(where));
  started_ = done_ = false;
  buf_.assign(static_cast<size_t>(t_->text_size) + 16, '\0');
  fields_.assign(static_cast<size_t>(t_->td->n_cols) + 1, nullptr);
  return RC_OK;
}

int32_t Scan::start() {
  started_ = true;
  claim_indexes(t_, this);
  std::string key;
  for (const std::string& e : eq_) key.append(e).push_back('\0');
  int rc = 0;
  if (!backward_ && (has_lo_ || !key.empty())) {
    if (has_lo_) key += lo_;
    rc = ifindfrom(t_->db, index_, key.data(), static_cast<int>(key.size()), false);
  } else if (backward_ && (has_hi_ || !key.empty())) {
    if (has_hi_) {
      key += hi_;
      if (hi_incl_) key.push_back('\x01');
    } else {
      key.back() = '\x01';  // just after every key with this prefix
    }
    rc = ifindfrom(t_->db, index_, key.data(), static_cast<int>(key.size()), true);
  }
  if (rc != 1 && rc != 0 && isam_errno == kIsamKeyTooLong) {
    // A bound longer than any key of the index: the range is given up, and the condition
    // alone decides every row of the whole index.
    eq_.clear();
    has_lo_ = has_hi_ = false;
    rc = 0;
  }
  if (rc == 0) {  // no range: from the first (last) entry
    IsamPos edge;
    edge.status = backward_ ? -3 : -2;
    rc = irestorepos(t_->db, index_, &edge);
  }
  if (rc != 1) return ISAM_ERROR("positioning", t_);
  return RC_OK;
}

int32_t Scan::read_current() {
  const int rc = igetrec(t_->db, index_, fields_.data(), buf_.data(), static_cast<int>(buf_.size()));
  if (rc != 1) {
    KYT_TRACE(kModule, kTopic, 1, "igetrec failed rc=%d isam_errno=%d", rc, isam_errno);
    return ISAM_ERROR("igetrec", t_);
  }
  return RC_OK;
}

// Every field of a row read from the file must fit its column before anything uses it:
// rows are copied into slots of the column's capacity, keys and host variables are built
// from them. A longer field (a damaged file, a record another program wrote, a record cut
// at the row buffer's end) makes the row damaged.
int32_t Scan::check_row() {
  const TABDESC* td = t_->td;
  for (size_t i = 0; i < td->cols.size(); ++i) {
    const char* f = fields_[i];
    const size_t cap = static_cast<size_t>(field_capacity(td->cols[i]));
    if (f != nullptr && std::memchr(f, '\0', cap) != nullptr) continue;
    KYT_TRACE(kModule, kTopic, 1, "%s: a row's field %s is longer than its column (%d bytes)",
              t_->file.c_str(), td->cols[i].s_colname, static_cast<int>(cap) - 1);
    fail_cause_note(DBI_E_DAMAGED, "row check on " + t_->file, __FILE__, __LINE__);
    return DBI_E_DAMAGED;
  }
  return RC_OK;
}

int Scan::judge(void* self, const char* const* fields) {
  const Scan& s = *static_cast<const Scan*>(self);
  // The key range: rows outside it are skipped until the scan has passed it.
  for (size_t i = 0; i < s.eq_.size(); ++i) {
    if (s.eq_[i] != fields[static_cast<size_t>(s.key_cols_[i])]) return 2;
  }
  if (s.has_lo_ || s.has_hi_) {
    std::string_view f = fields[static_cast<size_t>(s.key_cols_[s.eq_.size()])];
    const bool below = s.has_lo_ && f < std::string_view(s.lo_);
    const bool above =
        s.has_hi_ && (s.hi_incl_ ? f > std::string_view(s.hi_) : f >= std::string_view(s.hi_));
    if (s.backward_ ? below : above) return 2;
    if (s.backward_ ? above : below) return 0;
  }
  return s.cond_.test(RowView{s.t_->td, fields}) ? 1 : 0;
}

int32_t Scan::next() {
  if (t_ == nullptr) return DBI_E_CURNOTOPE;
  if (done_) return 0;
  if (!started_) {
    int32_t rc = start();
    if (rc != RC_OK) return rc;
  }
  for (;;) {
    int32_t r = reclaim(this, t_, index_, pos_, save_rc_);
    if (r != RC_OK) return r;
    // Rows are judged where they lie; only a row taken (or one that cannot be judged in
    // place) is read out.
    const int rc = ifindwhere(t_->db, index_, !backward_, &Scan::judge, this, fields_.data(), buf_.data(),
                              static_cast<int>(buf_.size()), shown_);
    if (rc == -2 || rc == -3 || rc == 0) {
      done_ = true;
      return 0;
    }
    if (rc == 1) return check_row() == RC_OK ? 1 : DBI_E_DAMAGED;
    if (rc != 2) return ISAM_ERROR(backward_ ? "ifindprev" : "ifindnext", t_);
    r = read_current();
    if (r != RC_OK) return r;
    const int verdict = judge(this, fields_.data());
    if (verdict == 1) return check_row() == RC_OK ? 1 : DBI_E_DAMAGED;
    if (verdict == 2) {
      done_ = true;
      return 0;
    }
  }
}

int32_t Scan::delete_current() {
  int32_t r = reclaim(this, t_, index_, pos_, save_rc_);
  if (r != RC_OK) return r;
  Undo undo = undo_row(t_, false, fields_.data());
  if (idelrec(t_->db, index_) != 1) return ISAM_ERROR("idelrec", t_);
  log_undo(t_, std::move(undo));
  return RC_OK;
}

// --- changing statements --------------------------------------------------------------------

int32_t exec_insert(int flag, TABDESC* td, const PLIST<COLREF>& cols, const PLIST<EXPR*>& values) {
  (void)flag;
  if (td == nullptr) {
    KYT_TRACE(kModule, kTopic, 1, "exec_ins p_td is NULL!");
    return RC_INTERNAL_ERROR;
  }
  StmtFrame frame;
  TableUse t;
  int32_t rc = t.open(td);
  if (rc != RC_OK) return frame.finish(rc);
  RowBuf row(t.get());
  std::vector<bool> set(td->cols.size(), false);
  if (cols.empty() && values.count != static_cast<uint32_t>(td->n_cols))
    return frame.finish(DBI_E_SYNTAX);
  if (!cols.empty() && cols.count != values.count) return frame.finish(DBI_E_SYNTAX);
  for (uint32_t i = 0; i < values.count; ++i) {
    const COLDESC* c = cols.empty() ? &td->cols[i] : cols[i].p_col;
    rc = put_value(t.get(), &row, c, values[i]);
    if (rc != RC_OK) return frame.finish(rc);
    set[static_cast<size_t>(c->colno - 1)] = true;
  }
  VALUE null{};
  null.null_ind = -1;
  for (size_t i = 0; i < td->cols.size(); ++i) {
    if (set[i]) continue;
    rc = field_from_value(td->cols[i], null, row.slot(t.get(), static_cast<int>(i)));
    if (rc != RC_OK) {
      KYT_TRACE(kModule, kTopic, 1, "column %s: %s", td->cols[i].s_colname, sql_status_text(rc));
      return frame.finish(rc);
    }
  }
  return frame.finish(add_row(t.get(), row.fields.data()));
}

int32_t exec_update(TABDESC* td, const PLIST<SETITEM>& set, const EXPR* where) {
  if (!KYT_ISACHECK(td != nullptr, RC_INTERNAL_ERROR, "err_return")) return RC_INTERNAL_ERROR;
  StmtFrame frame;
  Scan scan;
  int32_t rc = scan.open(td->ts, nullptr, where);
  if (rc != RC_OK) return frame.finish(rc);
  TabHandle* t = scan.table();
  // First find every row, then change them: a changed row moves in the index and must not
  // be met again by the same scan.
  struct Found {
    IsamPos pos;
    std::string row;
  };
  std::vector<Found> found;
  while ((rc = scan.next()) == 1) {
    std::string row;
    for (int i = 0; i < td->n_cols; ++i) {
      const char* f = scan.fields()[i];
      row.append(f, std::strlen(f) + 1);
    }
    found.push_back(Found{scan.saved_position(), std::move(row)});
  }
  if (rc != 0) return frame.finish(rc);
  RowBuf nrow(t);
  std::vector<const char*> old(static_cast<size_t>(td->n_cols) + 1, nullptr);
  for (Found& f : found) {
    size_t p = 0;
    for (int i = 0; i < td->n_cols; ++i) {
      // The scan checked that every field fits its slot (Scan::check_row).
      const size_t n = std::strlen(f.row.data() + p);
      old[static_cast<size_t>(i)] = f.row.data() + p;
      std::memcpy(nrow.slot(t, i), f.row.data() + p, n + 1);
      p += n + 1;
    }
    for (const SETITEM& s : set) {
      rc = put_value(t, &nrow, s.col.p_col, s.value);
      if (rc != RC_OK) return frame.finish(rc);
    }
    claim_indexes(t, nullptr);
    f.pos.pending = false;
    if (irestorepos(t->db, scan.index(), &f.pos) != 1) return frame.finish(ISAM_ERROR("irestorepos", t));
    Undo undo = undo_row(t, false, old.data());
    if (idelrec(t->db, scan.index()) != 1) return frame.finish(ISAM_ERROR("idelrec", t));
    log_undo(t, std::move(undo));
    rc = add_row(t, nrow.fields.data());
    if (rc != RC_OK) return frame.finish(rc);
  }
  return frame.finish(OK_STATE);
}

int32_t exec_delete(TABDESC* td, const EXPR* where) {
  if (!KYT_ISACHECK(td != nullptr, RC_INTERNAL_ERROR, "err_return")) return RC_INTERNAL_ERROR;
  StmtFrame frame;
  Scan scan;
  int32_t rc = scan.open(td->ts, nullptr, where);
  if (rc != RC_OK) return frame.finish(rc);
  while ((rc = scan.next()) == 1) {
    rc = scan.delete_current();
    if (rc != RC_OK) return frame.finish(rc);
  }
  return frame.finish(rc == 0 ? OK_STATE : rc);
}

// --- tables and indexes ---------------------------------------------------------------------

namespace {

int32_t insert_catalogue_rows(const TABDESC& d) {
  char text[160];
  std::snprintf(text, sizeof text, "INSERT INTO SYSTEM.SYSCATLG VALUES(%s, %s, %d, %d)",
                quoted(d.ts.s_creator).c_str(), quoted(d.ts.s_tabname).c_str(), d.row_size,
                d.n_cols);
  int32_t rc = run_immediate(text);
  for (const COLDESC& c : d.cols) {
    if (rc != OK_STATE) break;
    std::snprintf(text, sizeof text,
                  "INSERT INTO SYSTEM.SYSCOLS VALUES(%s, %s, %s, %d, %d, %d, %d, %d)",
                  quoted(d.ts.s_creator).c_str(), quoted(d.ts.s_tabname).c_str(),
                  quoted(c.s_colname).c_str(), c.type, c.colno, c.width, c.not_null ? 0 : 1,
                  c.key);
    rc = run_immediate(text);
  }
  return rc;
}

// Creates a table's files with its fields (and, when given, the PRIMARY index).
int32_t create_files(const TABDESC& d, const std::string& file, bool with_primary) {
  std::vector<const char*> fields;
  for (const COLDESC& c : d.cols) fields.push_back(c.s_colname);
  fields.push_back(nullptr);
  Undo undo = undo_table(d.ts, file, true);
  if (icreate_db(file.c_str(), fields.data()) != 1) return KYT_ISAMFAIL("icreate_db", file);
  log_undo(nullptr, std::move(undo));
  if (!with_primary || d.key_size == 0) return RC_OK;
  std::vector<const char*> keys(static_cast<size_t>(d.n_cols), nullptr);
  int k = 0;
  for (const COLDESC& c : d.cols) {
    if (c.key > 0) {
      keys[static_cast<size_t>(c.key - 1)] = c.s_colname;
      ++k;
    }
  }
  keys.resize(static_cast<size_t>(k) + 1);
  keys.back() = nullptr;
  IsamDb* db = iopen_db(file.c_str());
  if (db == nullptr) return KYT_ISAMFAIL("iopen_db", file);
  if (imkindex(db, "PRIMARY", keys.data()) != 1) {
    const int32_t rc = KYT_ISAMFAIL("imkindex", file);
    iclose_db(db);
    return rc;
  }
  return iclose_db(db) == 1 ? RC_OK : KYT_ISAMFAIL("iclose_db", file);
}

int32_t create_table(const STMT& s) {
  TABSPEC ts = s.ts;
  if (ts.s_creator[0] == '\0') {
    const std::string name = ts.s_tabname;
    make_tabspec(kStationCreator, name, &ts);
  }
  // Asked of the cache and the catalogue directly: an unknown table is no error here.
  SyscatlgRow row;
  std::vector<SyscolsRow> rows;
  if (find_tab_desc(ts.s_tabname) != nullptr || disk_catalogue_reader()(ts, &row, &rows) == RC_OK) {
    std::fprintf(stderr, "E: Table '%s' already exists\n", ts.s_tabname);
    sql_detail_note(&sql_detail().reason, {"the table exists already"});
    KYT_TRACE(kModule, kTopic, 1, "E: Table '%s' already exists", ts.s_tabname);
    return DBI_E_TABERR;
  }
  std::string file;
  int32_t rc = tab_file(ts, &file);
  if (rc != RC_OK) return rc;
  if (!KYT_ISACHECK(!platform::file_exists(file.c_str()), DBI_E_TABERR, "err_return")) {
    sql_detail_note(&sql_detail().reason, {"its data file ", file, " exists already"});
    return DBI_E_TABERR;
  }
  std::vector<COLDEF> defs(s.coldefs.begin(), s.coldefs.end());
  std::unique_ptr<TABDESC> d;
  rc = tab_desc_build(ts, defs, &d);
  if (rc != RC_OK) return rc;
  file.resize(file.size() - 3);  // the ISAM base name, without ".DB"
  rc = create_files(*d, file, false);
  if (rc != RC_OK) return rc;
  TABDESC* raw = nullptr;
  rc = add_tab_desc(std::move(d), &raw);
  if (rc != RC_OK) return rc;
  rc = insert_catalogue_rows(*raw);
  if (rc == OK_STATE) raw->exists = 1;
  dump_tab_desc(*raw);
  return rc;
}

int32_t create_index(const STMT& s) {
  TABDESC* td = s.p_td;
  if (!KYT_ISACHECK(td != nullptr && !s.cols.empty(), DBI_E_TABERR, "err_return"))
    return DBI_E_TABERR;
  std::string name = s.s_name;
  bool primary = name.rfind("PRIM_", 0) == 0;
  if (!KYT_ISACHECK(!is_sort_index_name(name.c_str()), DBI_E_TABERR, "err_return")) {
    sql_detail_note(&sql_detail().reason, {"index names S1, S2, ... are kept for ORDER BY"});
    return DBI_E_TABERR;
  }
  std::string isam_name = primary ? "PRIMARY" : (s.unique ? name : "#" + name);
  std::vector<const char*> fields;
  for (const COLREF& c : s.cols) fields.push_back(c.p_col->s_colname);
  TABSPEC ts = td->ts;
  TableUse t;
  int32_t rc = t.open(td);
  if (rc != RC_OK) return rc;
  if (primary || s.unique) {
    // A unique index over rows that repeat a key is refused before it is made.
    std::set<std::string> keys;
    Scan scan;
    rc = scan.open(ts, nullptr, nullptr);
    while (rc == RC_OK && (rc = scan.next()) == 1) {
      std::string key;
      for (const COLREF& c : s.cols) key.append(scan.fields()[c.p_col->colno - 1]).push_back('\0');
      rc = keys.insert(std::move(key)).second ? RC_OK : DBI_E_NO_DUP;
    }
    if (rc != 0) return rc;
  }
  fields.push_back(nullptr);
  if (imkindex(t->db, isam_name.c_str(), fields.data()) != 1) {
    if (isam_errno == kIsamIndexExists) {
      sql_detail_note(&sql_detail().reason, {"the index ", name, " exists already"});
      return DBI_E_TABERR;
    }
    return ISAM_ERROR("imkindex", t.get());
  }
  rc = refresh_table(t.get());
  if (rc != RC_OK || !primary) return rc;
  fields.pop_back();
  rc = tab_set_primary_key(td, fields);
  if (rc != RC_OK) return rc;
  for (const COLDESC& c : td->cols) {
    if (c.key == 0) continue;
    char text[200];
    std::snprintf(text, sizeof text,
                  "UPDATE SYSTEM.SYSCOLS SET PRIMKEY = %d WHERE CREATOR == %s AND TNAME == %s "
                  "AND CNAME == %s",
                  c.key, quoted(ts.s_creator).c_str(), quoted(ts.s_tabname).c_str(),
                  quoted(c.s_colname).c_str());
    rc = run_immediate(text);
    if (rc != OK_STATE) return rc;
  }
  dump_tab_desc(*td);
  return OK_STATE;
}

int32_t drop_table(const TABSPEC& given) {
  TABDESC* td = nullptr;
  int32_t rc = get_tab_desc(given, &td);
  if (rc != RC_OK) {
    if (rc == DBI_E_TABERR) sql_detail_note(&sql_detail().reason, {"no such table"});
    return DBI_E_TABERR;
  }
  TABSPEC ts = td->ts;
  if (!KYT_ISACHECK(std::strcmp(ts.s_creator, kSystemCreator) != 0, DBI_E_TABERR, "err_return")) {
    sql_detail_note(&sql_detail().reason, {"catalogue tables cannot be dropped"});
    return DBI_E_TABERR;
  }
  if (!KYT_ISACHECK(close_for_drop(ts.s_tabname), DBI_E_TABERR, "err_return")) {
    sql_detail_note(&sql_detail().reason, {"the table is in use (an open cursor)"});
    return DBI_E_TABERR;
  }
  std::string file;
  rc = tab_file(ts, &file);
  if (rc != RC_OK) return rc;
  file.resize(file.size() - 3);
  for (const char* cat : {"SYSCATLG", "SYSCOLS"}) {
    std::string text = std::string("DELETE FROM SYSTEM.") + cat + " WHERE CREATOR == " +
                       quoted(ts.s_creator) + " AND TNAME == " + quoted(ts.s_tabname);
    rc = run_immediate(text);
    if (rc != OK_STATE) return rc;
  }
  Undo undo = undo_table(ts, file, false);
  drop_tab_desc(ts.s_tabname);
  log_undo(nullptr, std::move(undo));
  return OK_STATE;
}

}  // namespace

int32_t exec_statement(STMT* s) {
  if (s == nullptr) return RC_INTERNAL_ERROR;
  if ((s->kind == kStmtInsert || s->kind == kStmtUpdate || s->kind == kStmtDelete) &&
      catalogue_change_refused(s->p_td))
    return DBI_E_CATALOGUE;
  switch (s->kind) {
    case kStmtInsert:
      return exec_insert(0, s->p_td, s->cols, s->values);
    case kStmtUpdate:
      return exec_update(s->p_td, s->set, s->p_where);
    case kStmtDelete:
      return exec_delete(s->p_td, s->p_where);
    case kStmtCreateTable:
    case kStmtCreateIndex:
    case kStmtDropTable: {
      StmtFrame frame;
      int32_t rc = s->kind == kStmtCreateTable   ? create_table(*s)
                   : s->kind == kStmtCreateIndex ? create_index(*s)
                                                 : drop_table(s->ts);
      return frame.finish(rc);
    }
    case kStmtCreatePublicSynonym:
      KYT_TRACE(kModule, kTopic, 1, "undef. statement - CREATE_PUBLIC_SYNONYM");
      return DBI_E_NYI;
    default:
      KYT_TRACE(kModule, kTopic, 1, "statement not supported: %s", stmt_text(*s).c_str());
      return DBI_E_NYI;
  }
}

int32_t exec_create_catalogue() {
  StmtFrame frame;
  bool made = false;
  std::vector<const TABDESC*> descs;
  for (const SchemaTable& t : catalogue_schema()) {
    TABSPEC ts;
    make_tabspec(t.creator, t.name, &ts);
    TABDESC* td = nullptr;
    int32_t rc = get_tab_desc(ts, &td);
    if (rc != RC_OK) return frame.finish(rc);
    descs.push_back(td);
    std::string file;
    rc = tab_file(ts, &file);
    if (rc != RC_OK) return frame.finish(rc);
    if (platform::file_exists(file.c_str())) continue;
    file.resize(file.size() - 3);
    rc = create_files(*td, file, true);
    if (rc != RC_OK) return frame.finish(rc);
    made = true;
  }
  int32_t rc = OK_STATE;
  if (made) {
    for (const TABDESC* td : descs) {
      if (rc == OK_STATE) rc = insert_catalogue_rows(*td);
    }
  }
  return frame.finish(rc);
}

// --- the catalogue on disk ------------------------------------------------------------------

namespace {

int32_t read_rows(const char* table, const TABSPEC& ts,
                  const std::function<int32_t(const TABDESC&, const char* const*)>& each) {
  TABSPEC cat;
  make_tabspec(kSystemCreator, table, &cat);
  TABDESC* td = nullptr;
  int32_t rc = get_tab_desc(cat, &td);
  if (rc != RC_OK) return rc;
  StmtPool pool;
  auto col = [&](const char* name) {
    EXPR* e = expr_column(pool, name);
    if (e != nullptr) e->col.p_col = td->col(name);
    return e;
  };
  EXPR* where = expr_op(pool, kExprEq, col("TNAME"), expr_string(pool, ts.s_tabname));
  if (ts.s_creator[0] != '\0') {
    where = expr_op(pool, kExprAnd,
                    expr_op(pool, kExprEq, col("CREATOR"), expr_string(pool, ts.s_creator)), where);
  }
  if (where == nullptr) return RC_INTERNAL_ERROR;
  Scan scan;
  rc = scan.open(cat, nullptr, where);
  if (rc != RC_OK) return rc;
  while ((rc = scan.next()) == 1) {
    rc = each(*td, scan.fields());
    if (rc != RC_OK) return rc;
  }
  return rc;
}

int16_t small_field(const char* f) {
  int64_t v = 0;
  return read_integer(f, &v) ? static_cast<int16_t>(v) : -1;
}

int32_t disk_catalogue(const TABSPEC& ts, SyscatlgRow* table, std::vector<SyscolsRow>* cols) {
  if (schema_table(ts.s_tabname) != nullptr &&
      std::strcmp(schema_table(ts.s_tabname)->creator, kSystemCreator) == 0)
    return schema_catalogue(ts, table, cols);
  cols->clear();
  int found = 0;
  int32_t rc = read_rows("SYSCATLG", ts, [&](const TABDESC&, const char* const* f) {
    table->creator = f[0];
    table->tname = f[1];
    int64_t v = 0;
    table->rowlen = read_integer(f[2], &v) ? static_cast<int32_t>(v) : -1;
    table->ncols = small_field(f[3]);
    ++found;
    return RC_OK;
  });
  if (rc != 0) return rc;
  if (found != 1) return DBI_E_TABERR;  // unknown, or one name under several creators
  TABSPEC exact;
  make_tabspec(table->creator, table->tname, &exact);
  rc = read_rows("SYSCOLS", exact, [&](const TABDESC&, const char* const* f) {
    int64_t len = 0;
    read_integer(f[5], &len);
    cols->push_back(SyscolsRow{f[0], f[1], f[2], small_field(f[3]), small_field(f[4]),
                               static_cast<int32_t>(len), small_field(f[6]), small_field(f[7])});
    return RC_OK;
  });
  return rc == 0 ? RC_OK : rc;
}

}  // namespace

CatalogueReader disk_catalogue_reader() { return disk_catalogue; }

}  // namespace kyt
