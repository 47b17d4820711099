// isascan: the key-range planner and the scan (see isascan.h).
#include "sql/isascan.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "runtime/runtime.h"
#include "sql/isadbg.h"
#include "sql/status.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "s";

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
  if (imkindex(t->db, name, fields.data()) != 1) return KYT_TABFAIL("imkindex", t);
  KYT_TRACE(kModule, kTopic, 6, "sort index %s made on %s", name, t->name.c_str());
  int32_t rc = refresh_table(t);
  if (rc != RC_OK) return rc;
  *out = ihandle(t->db, name);
  return *out != nullptr ? RC_OK : KYT_TABFAIL("ihandle", t);
}

}  // namespace

Scan::~Scan() { close(); }

void Scan::save() {
  if (t_ == nullptr) return;
  if (isavepos(t_->db, index_, &pos_) != 1) save_rc_ = KYT_TABFAIL("isavepos", t_);
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
  return irestorepos(t->db, index, &pos) == 1 ? RC_OK : KYT_TABFAIL("irestorepos", t);
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
  if (rc != 1) return KYT_TABFAIL("positioning", t_);
  return RC_OK;
}

int32_t Scan::read_current() {
  const int rc = igetrec(t_->db, index_, fields_.data(), buf_.data(), static_cast<int>(buf_.size()));
  if (rc != 1) {
    KYT_TRACE(kModule, kTopic, 1, "igetrec failed rc=%d isam_errno=%d", rc, isam_errno);
    return KYT_TABFAIL("igetrec", t_);
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
    if (rc != 2) return KYT_TABFAIL(backward_ ? "ifindprev" : "ifindnext", t_);
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
  if (idelrec(t_->db, index_) != 1) return KYT_TABFAIL("idelrec", t_);
  log_undo(t_, std::move(undo));
  return RC_OK;
}

}  // namespace kyt
