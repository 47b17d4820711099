// isaval: stored fields, conversions and comparisons.
#include "sql/isaval.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <limits>

#include "runtime/runtime.h"
#include "sql/status.h"

namespace kyt {

namespace {

bool is_numeric_type(int16_t type) {
  return type == kTypeInteger || type == kTypeSmallint || type == kTypeFloat;
}

void int_range(int16_t type, int64_t* lo, int64_t* hi) {
  if (type == kTypeSmallint) {
    *lo = std::numeric_limits<int16_t>::min();
    *hi = std::numeric_limits<int16_t>::max();
  } else {
    *lo = std::numeric_limits<int32_t>::min();
    *hi = std::numeric_limits<int32_t>::max();
  }
}

bool looks_floating(std::string_view t) {
  return t.find_first_of(".eE") != std::string_view::npos;
}

// One operand of a comparison.
struct Operand {
  enum Kind { kNull, kInt, kFloat, kText } kind = kNull;
  int64_t i = 0;
  double f = 0;
  std::string_view text;
  char buf[40];

  std::string_view as_text() {
    if (kind == kText) return text;
    int n = kind == kInt ? std::snprintf(buf, sizeof buf, "%lld", static_cast<long long>(i))
                         : std::snprintf(buf, sizeof buf, "%.10E", f);
    return std::string_view(buf, n > 0 ? static_cast<size_t>(n) : 0);
  }
  // Makes a text operand numeric; false when it holds no number.
  bool to_number() {
    if (kind != kText) return true;
    if (looks_floating(text)) {
      kind = kFloat;
      return read_floating(text, &f);
    }
    kind = kInt;
    return read_integer(text, &i);
  }
};

void operand_of(const EXPR* e, const RowView& row, Operand* o) {
  if (e->flags & kExprColumn) {
    const COLDESC* c = e->col.p_col;
    if (c == nullptr) return;  // unresolved: null
    const char* f = row.fields[c->colno - 1];
    std::string_view t = f == nullptr ? std::string_view() : std::string_view(f);
    if (!is_numeric_type(c->type)) {
      o->kind = Operand::kText;
      o->text = t;
      return;
    }
    if (t.empty()) return;  // null
    if (c->type == kTypeFloat) {
      if (read_floating(t, &o->f)) o->kind = Operand::kFloat;
    } else if (read_integer(t, &o->i)) {
      o->kind = Operand::kInt;
    }
    return;  // a damaged field compares as null
  }
  const VALUE& v = e->value;
  if (v.null_ind != 0) return;
  switch (v.type) {
    case kTypeChar:
      o->kind = Operand::kText;
      o->text = std::string_view(v.val.s, static_cast<size_t>(v.len));
      break;
    case kTypeInteger:
      o->kind = Operand::kInt;
      o->i = v.val.l;
      break;
    case kTypeSmallint:
      o->kind = Operand::kInt;
      o->i = v.val.i;
      break;
    case kTypeFloat:
      o->kind = Operand::kFloat;
      o->f = v.val.f;
      break;
    default:
      break;  // a "?" never bound
  }
}

// <0, 0, >0; false when the operands cannot be compared (null, or a text without number).
bool compare(Operand& a, Operand& b, int* result) {
  if (a.kind == Operand::kNull || b.kind == Operand::kNull) return false;
  if (a.kind == Operand::kText && b.kind == Operand::kText) {
    size_t n = a.text.size() < b.text.size() ? a.text.size() : b.text.size();
    int c = n == 0 ? 0 : std::memcmp(a.text.data(), b.text.data(), n);
    if (c == 0) c = a.text.size() < b.text.size() ? -1 : (a.text.size() > b.text.size() ? 1 : 0);
    *result = c;
    return true;
  }
  if (!a.to_number() || !b.to_number()) return false;
  if (a.kind == Operand::kFloat || b.kind == Operand::kFloat) {
    double x = a.kind == Operand::kFloat ? a.f : static_cast<double>(a.i);
    double y = b.kind == Operand::kFloat ? b.f : static_cast<double>(b.i);
    if (std::isnan(x) || std::isnan(y)) return false;
    *result = x < y ? -1 : (x > y ? 1 : 0);
    return true;
  }
  *result = a.i < b.i ? -1 : (a.i > b.i ? 1 : 0);
  return true;
}

// The common test of a scan, a text column equal (or not) to a text: decided on the field's
// bytes without measuring it first. False when the shape is another one.
// Whether `e` compares a text column with a text value; then `col` and `val` are its sides.
bool text_shape(const EXPR* e, const EXPR** col, const EXPR** val) {
  *col = e->left;
  *val = e->right;
  if (!((*col)->flags & kExprColumn)) std::swap(*col, *val);
  return ((*col)->flags & kExprColumn) && ((*val)->flags & kExprValue) &&
         (*col)->col.p_col != nullptr && !is_numeric_type((*col)->col.p_col->type) &&
         (*val)->value.null_ind == 0 && (*val)->value.type == kTypeChar;
}

bool text_equality(const EXPR* e, const RowView& row, bool* equal) {
  const EXPR* col;
  const EXPR* val;
  if (!text_shape(e, &col, &val)) return false;
  const char* f = row.fields[col->col.p_col->colno - 1];
  const size_t n = static_cast<size_t>(val->value.len);
  const char* v = val->value.val.s;
  if (f == nullptr || v == nullptr || val->value.len < 0 || std::memchr(v, '\0', n) != nullptr) return false;
  // strncmp stops at the field's end, so f[n] is only read when the field is that long.
  *equal = std::strncmp(f, v, n) == 0 && f[n] == '\0';
  return true;
}

bool eval_compare(const EXPR* e, const RowView& row) {
  const uint32_t op = e->flags & kExprCompare;
  bool equal = false;
  if ((op == kExprEq || op == kExprNe) && !(e->flags & kExprLike) && text_equality(e, row, &equal)) {
    return op == kExprEq ? equal : !equal;
  }
  Operand a, b;
  operand_of(e->left, row, &a);
  operand_of(e->right, row, &b);
  if (e->flags & kExprLike) {
    if (a.kind == Operand::kNull || b.kind == Operand::kNull) return false;
    return like_match(a.as_text(), b.as_text());
  }
  int c = 0;
  if (!compare(a, b, &c)) return false;
  switch (e->flags & kExprCompare) {
    case kExprEq:
      return c == 0;
    case kExprNe:
      return c != 0;
    case kExprLt:
      return c < 0;
    case kExprGt:
      return c > 0;
    case kExprLe:
      return c <= 0;
    case kExprGe:
      return c >= 0;
    default:
      return false;
  }
}

// A value as a number: false when it is null or a text without number.
bool value_number(const VALUE& v, bool* floating, int64_t* i, double* f) {
  if (v.null_ind != 0) return false;
  *floating = false;
  switch (v.type) {
    case kTypeInteger:
      *i = v.val.l;
      return true;
    case kTypeSmallint:
      *i = v.val.i;
      return true;
    case kTypeFloat:
      *floating = true;
      *f = v.val.f;
      return true;
    case kTypeChar: {
      std::string_view t(v.val.s, static_cast<size_t>(v.len));
      if (!looks_floating(t)) return read_integer(t, i);
      *floating = true;
      return read_floating(t, f);
    }
    default:
      return false;
  }
}

void put_text(char* out, int32_t cap, std::string_view t) {
  size_t n = t.size() < static_cast<size_t>(cap - 1) ? t.size() : static_cast<size_t>(cap - 1);
  if (n > 0) std::memcpy(out, t.data(), n);
  out[n] = '\0';
}

}  // namespace

int32_t field_capacity(const COLDESC& c) {
  switch (c.type) {
    case kTypeChar:
      return c.width > 0 ? c.width : 1;
    case kTypeFloat:
      return 26;
    case kTypeInteger:
      return 12;
    default:
      return 7;
  }
}

bool read_integer(std::string_view t, int64_t* v) {
  // As "%ld" reads: blanks, a sign, the digits; what follows them is not looked at.
  // Beyond 2^62 is far beyond any column, and refused rather than brought into range.
  constexpr int64_t kLimit = int64_t{1} << 62;
  // Stored integer fields are "%+0*ld": a sign and at most 18 digits is the whole text. Read
  // directly; it is what every row of a scan brings, and the answer is the general reader's.
  if (t.size() >= 2 && t.size() <= 19 && (t[0] == '+' || t[0] == '-')) {
    int64_t m = 0;
    size_t k = 1;
    for (; k < t.size() && t[k] >= '0' && t[k] <= '9'; ++k) m = m * 10 + (t[k] - '0');
    if (k == t.size()) {
      *v = t[0] == '-' ? -m : m;
      return true;
    }
  }
  int64_t x = 0;
  size_t used = 0;
  if (parse_int(t, -kLimit, kLimit, &x, NumSyntax{true, true}, &used) != NumText::kOk) return false;
  *v = x;
  return true;
}

bool read_floating(std::string_view t, double* v) {
  char buf[64];
  size_t n = t.size() < sizeof buf - 1 ? t.size() : sizeof buf - 1;
  std::memcpy(buf, t.data(), n);
  buf[n] = '\0';
  char* end = nullptr;
  *v = std::strtod(buf, &end);
  return end != buf;
}

int32_t field_from_value(const COLDESC& c, const VALUE& v, char* out) {
  const int32_t cap = field_capacity(c);
  out[0] = '\0';
  if (v.null_ind != 0) return c.type == kTypeChar || c.not_null == 0 ? RC_OK : DBI_E_NOT_NULL;
  if (c.type == kTypeChar) {
    char num[40];
    switch (v.type) {
      case kTypeChar:
        put_text(out, cap, std::string_view(v.val.s, static_cast<size_t>(v.len)));
        return RC_OK;
      case kTypeInteger:
      case kTypeSmallint:
        std::snprintf(num, sizeof num, "%d", v.type == kTypeInteger ? v.val.l : v.val.i);
        break;
      case kTypeFloat:
        std::snprintf(num, sizeof num, "%.10E", v.val.f);
        break;
      default:
        return DBI_E_VALUE;
    }
    put_text(out, cap, num);
    return RC_OK;
  }
  bool floating = false;
  int64_t i = 0;
  double f = 0;
  if (!value_number(v, &floating, &i, &f)) return DBI_E_VALUE;
  if (c.type == kTypeFloat) {
    double d = floating ? f : static_cast<double>(i);
    if (!std::isfinite(d)) return DBI_E_VALUE;
    std::snprintf(out, static_cast<size_t>(cap), "%+0*.10E", c.width, d);
    return RC_OK;
  }
  int64_t lo = 0, hi = 0;
  int_range(c.type, &lo, &hi);
  if (floating) {
    if (!(f >= static_cast<double>(lo) && f <= static_cast<double>(hi))) return DBI_E_VALUE;
    i = static_cast<int64_t>(f);
  }
  if (i < lo || i > hi) return DBI_E_VALUE;
  std::snprintf(out, static_cast<size_t>(cap), "%+0*lld", c.width, static_cast<long long>(i));
  return RC_OK;
}

bool field_plain_text(const COLDESC& c, const char* field, std::string* out) {
  out->clear();
  std::string_view t = field == nullptr ? std::string_view() : std::string_view(field);
  if (c.type == kTypeChar || t.empty()) {
    out->assign(t);
    return true;
  }
  char buf[40];
  if (c.type == kTypeFloat) {
    double f = 0;
    if (!read_floating(t, &f)) return false;
    std::snprintf(buf, sizeof buf, "%.10E", f);
  } else {
    int64_t i = 0;
    if (!read_integer(t, &i)) return false;
    std::snprintf(buf, sizeof buf, "%lld", static_cast<long long>(i));
  }
  out->assign(buf);
  return true;
}

int32_t field_to_host(const COLDESC& c, const char* field, int32_t type, void* addr,
                      int32_t text_cap) {
  std::string_view t = field == nullptr ? std::string_view() : std::string_view(field);
  if (type == kTypeChar) {
    if (c.type == kTypeChar) {
      put_text(static_cast<char*>(addr), text_cap, t);
      return RC_OK;
    }
    std::string plain;
    if (!field_plain_text(c, field, &plain)) return DBI_E_DAMAGED;
    put_text(static_cast<char*>(addr), text_cap, plain);
    return RC_OK;
  }
  // A number is wanted.
  bool floating = false;
  int64_t i = 0;
  double f = 0;
  if (t.empty()) {
    if (c.type == kTypeChar) return DBI_E_VALUE;  // no number in an empty text
  } else if (c.type == kTypeFloat || (c.type == kTypeChar && looks_floating(t))) {
    floating = true;
    if (!read_floating(t, &f)) return c.type == kTypeChar ? DBI_E_VALUE : DBI_E_DAMAGED;
  } else if (!read_integer(t, &i)) {
    return c.type == kTypeChar ? DBI_E_VALUE : DBI_E_DAMAGED;
  }
  if (type == kTypeFloat) {
    double d = floating ? f : static_cast<double>(i);
    std::memcpy(addr, &d, sizeof d);
    return RC_OK;
  }
  if (floating) {
    if (!(f >= -9.2e18 && f <= 9.2e18)) return DBI_E_VALUE;
    i = static_cast<int64_t>(f);
  }
  int64_t lo = 0, hi = 0;
  int_range(type == kTypeSmallint ? kTypeSmallint : kTypeInteger, &lo, &hi);
  if (i < lo || i > hi) return DBI_E_VALUE;
  if (type == kTypeSmallint) {
    int16_t s = static_cast<int16_t>(i);
    std::memcpy(addr, &s, sizeof s);
  } else {
    int32_t l = static_cast<int32_t>(i);
    std::memcpy(addr, &l, sizeof l);
  }
  return RC_OK;
}

bool eval_bool(const EXPR* e, const RowView& row) {
  if (e == nullptr) return true;
  if (e->flags & kExprAnd) return eval_bool(e->left, row) && eval_bool(e->right, row);
  if (e->flags & kExprOr) return eval_bool(e->left, row) || eval_bool(e->right, row);
  if (e->flags & kExprCompare) return eval_compare(e, row);
  return false;
}

namespace {
// Adds the terms of a conjunction of text (in)equalities; false for any other shape.
bool text_terms(const EXPR* e, std::vector<RowCondition::Term>* out);
}  // namespace

void RowCondition::prepare(const EXPR* where) {
  where_ = where;
  terms_.clear();
  direct_ = where != nullptr && text_terms(where, &terms_);
  if (!direct_) terms_.clear();
}

bool RowCondition::test(const RowView& row) const {
  if (!direct_) return eval_bool(where_, row);
  for (const Term& t : terms_) {
    // Byte by byte up to the value's end: the field's zero byte ends a shorter field's
    // comparison, as the value holds none, so nothing past the field is read.
    const char* f = row.fields[t.field];
    if (f == nullptr) return eval_bool(where_, row);  // a row without the field's text
    const size_t n = t.value.size();
    size_t i = 0;
    while (i < n && f[i] == t.value[i]) ++i;
    if ((i == n && f[n] == '\0') != t.equal) return false;
  }
  return true;
}

namespace {
bool text_terms(const EXPR* e, std::vector<RowCondition::Term>* out) {
  if (e->flags & kExprAnd) return text_terms(e->left, out) && text_terms(e->right, out);
  const uint32_t op = e->flags & kExprCompare;
  if ((op != kExprEq && op != kExprNe) || (e->flags & kExprLike)) return false;
  const EXPR* col;
  const EXPR* val;
  if (!text_shape(e, &col, &val) || val->value.val.s == nullptr || val->value.len < 0) return false;
  std::string v(val->value.val.s, static_cast<size_t>(val->value.len));
  if (v.find('\0') != std::string::npos) return false;
  out->push_back(RowCondition::Term{col->col.p_col->colno - 1, std::move(v), op == kExprEq});
  return true;
}
}  // namespace

}  // namespace kyt
