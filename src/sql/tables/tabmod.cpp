// tabmod: the shared code of the per-table access modules.
#include "sql/tables/tabmod.h"

#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/runtime.h"
#include "sql/rpdsql.h"
#include "sql/isa.h"
#include "sql/isadbg.h"
#include "sql/isachg.h"
#include "sql/isatrans.h"
#include "sql/pool.h"
#include "sql/status.h"
#include "sql/stmt.h"
#include "sql/tables/elemgen.h"

namespace kyt::tm {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "s";

// Member sizes are checked against the rule here, at compile time: a header that does not
// match the member table does not build.
#define KYT_ELEM_BEGIN(tt, TT)
#define KYT_ELEM_MEMBER(tt, m, bytes) static_assert(sizeof(kyt_##tt##_elem::m) == (bytes));
#define KYT_ELEM_END(tt)
#include "sql/tables/elem_layout.inc"
#undef KYT_ELEM_BEGIN
#undef KYT_ELEM_MEMBER
#undef KYT_ELEM_END

#define KYT_ELEM_BEGIN(tt, TT) constexpr size_t k_off_##tt[] = {
#define KYT_ELEM_MEMBER(tt, m, bytes) offsetof(kyt_##tt##_elem, m),
#define KYT_ELEM_END(tt) };
#include "sql/tables/elem_layout.inc"
#undef KYT_ELEM_BEGIN
#undef KYT_ELEM_MEMBER
#undef KYT_ELEM_END

#define KYT_ELEM_BEGIN(tt, TT) constexpr size_t k_bytes_##tt[] = {
#define KYT_ELEM_MEMBER(tt, m, bytes) bytes,
#define KYT_ELEM_END(tt) };
#include "sql/tables/elem_layout.inc"
#undef KYT_ELEM_BEGIN
#undef KYT_ELEM_MEMBER
#undef KYT_ELEM_END

#define KYT_ELEM_BEGIN(tt, TT)                                                          \
  ElemLayout{#tt, sizeof(kyt_##tt##_elem), offsetof(kyt_##tt##_elem, next), k_off_##tt, \
             k_bytes_##tt},
#define KYT_ELEM_MEMBER(tt, m, bytes)
#define KYT_ELEM_END(tt)
const ElemLayout kLayouts[] = {
#include "sql/tables/elem_layout.inc"
};
#undef KYT_ELEM_BEGIN
#undef KYT_ELEM_MEMBER
#undef KYT_ELEM_END
static_assert(std::size(kLayouts) == static_cast<size_t>(Tab::kCount));

constexpr size_t kMaxVars = 64;
constexpr size_t kRecentInserts = 100;

struct TabState {
  bool ready = false;
  std::string select_all;  // "CN, CMDTYPE, ..."
  std::vector<bool> dt;    // date-time columns
  TABSPEC ts{};
  Timing timing;
  long total_ms = 0;
  std::deque<long> recent;
  long recent_ms = 0;
};

TabState& state(Tab t) {
  static std::array<TabState, static_cast<size_t>(Tab::kCount)> s;
  TabState& ts = s[static_cast<size_t>(t)];
  if (!ts.ready) {
    const SchemaTable& st = table(t);
    for (const COLDEF& c : st.cols) {
      if (!ts.select_all.empty()) ts.select_all += ", ";
      ts.select_all += c.s_colname;
      ts.dt.push_back(is_dt_column(c));
    }
    make_tabspec("", st.name, &ts.ts);
    ts.ready = true;
  }
  return ts;
}

char* member(Tab t, void* elem, size_t col) {
  return static_cast<char*>(elem) + layout(t).offset[col];
}
const char* member(Tab t, const void* elem, size_t col) {
  return static_cast<const char*>(elem) + layout(t).offset[col];
}
void*& next_of(Tab t, void* elem) {
  return *reinterpret_cast<void**>(static_cast<char*>(elem) + layout(t).next);
}

int col_index(Tab t, std::string_view name) {
  const SchemaTable& st = table(t);
  for (size_t i = 0; i < st.cols.size(); ++i) {
    if (name == st.cols[i].s_colname) return static_cast<int>(i);
  }
  return -1;
}

// Host variables of one statement: inputs first, then outputs; integer temporaries for
// inputs and for the date-time columns read.
struct Vars {
  std::array<HostVar, kMaxVars> hv{};
  std::array<int32_t, kMaxVars> ints{};
  size_t n = 0;
  // Output column -> temporary for date-time columns (-1 none).
  std::array<int, kMaxVars> dt_col{};
  std::array<size_t, kMaxVars> dt_tmp{};
  size_t n_dt = 0;

  std::span<const HostVar> span() const { return {hv.data(), n}; }
};

int32_t bind_inputs(const char* fn, Args in, Vars* v) {
  for (const Arg& a : in) {
    if (v->n == kMaxVars) return LPDBI_E_TOO_MANY_INPUTS;
    if (a.type == kTypeChar) {
      v->hv[v->n] = HostVar{kTypeChar, const_cast<char*>(a.s != nullptr ? a.s : "")};
    } else {
      int32_t& slot = v->ints[v->n];
      slot = a.i;
      if (a.type == kArgDt) {
        const int32_t rc = dt_to_stored(a.s != nullptr ? a.s : "", &slot);
        if (rc != 0) {
          KYT_TRACE(kModule, kTopic, 1, "%s date-time >%s< returns %d", fn, a.s, rc);
          return DBI_E_VALUE;
        }
      }
      v->hv[v->n] = HostVar{kTypeInteger, &slot};
    }
    ++v->n;
  }
  return OK_STATE;
}

// An output host variable for column `col` of the table, into `elem`.
void bind_output(Tab t, size_t col, void* elem, Vars* v) {
  const COLDEF& c = table(t).cols[col];
  char* m = member(t, elem, col);
  if (state(t).dt[col]) {
    const size_t k = v->n_dt++;
    v->dt_col[k] = static_cast<int>(col);
    v->dt_tmp[k] = v->n;
    v->ints[v->n] = 0;
    v->hv[v->n] = HostVar{kTypeInteger, &v->ints[v->n]};
    ++v->n;
    return;
  }
  const int32_t type = c.type == kTypeChar ? kTypeChar : c.type == kTypeSmallint ? kTypeSmallint
                       : c.type == kTypeFloat                                  ? kTypeFloat
                                                                               : kTypeInteger;
  v->hv[v->n++] = HostVar{type, m};
}

// Binds the outputs of the selected columns into `elem`, after `n_in` inputs.
void bind_outputs(Tab t, const std::vector<int>& cols, void* elem, size_t n_in, Vars* v) {
  v->n = n_in;
  v->n_dt = 0;
  for (int c : cols) bind_output(t, static_cast<size_t>(c), elem, v);
}

// The date-time temporaries of the last row into the element's text fields.
int32_t convert_dt(Tab t, const Vars& v, void* elem) {
  for (size_t k = 0; k < v.n_dt; ++k) {
    const size_t col = static_cast<size_t>(v.dt_col[k]);
    const int32_t rc = dt_from_stored(v.ints[v.dt_tmp[k]], member(t, elem, col), kElemDtSize);
    if (rc != 0) return DBI_E_VALUE;
  }
  return OK_STATE;
}

std::vector<int> selected(Tab t, Cols cols, std::string* list) {
  std::vector<int> out;
  if (cols.size() == 0) {
    for (size_t i = 0; i < table(t).cols.size(); ++i) out.push_back(static_cast<int>(i));
    *list = state(t).select_all;
    return out;
  }
  list->clear();
  for (const char* c : cols) {
    const int i = col_index(t, c);
    if (i < 0) continue;
    if (!list->empty()) *list += ", ";
    *list += c;
    out.push_back(i);
  }
  return out;
}

int32_t declare(Tab t, const char* cursor, const std::string& select, const char* where,
                const char* order, const Vars& v) {
  const std::string_view none;
  const std::string_view pieces[] = {"DECLARE ",
                                     cursor,
                                     " CURSOR FOR SELECT ",
                                     select,
                                     " FROM ",
                                     table(t).name,
                                     where != nullptr ? " WHERE " : none,
                                     where != nullptr ? where : none,
                                     order != nullptr ? " ORDER BY " : none,
                                     order != nullptr ? order : none};
  return rpdsql_run(pieces, v.span());
}

void close_cursor(const char* cursor) {
  const std::string_view pieces[] = {"CLOSE ", cursor};
  rpdsql_run(pieces, {});
}

// The value node of column `col` from the element; nullptr when the pool is exhausted.
// `rc` is set to DBI_E_VALUE for a date-time text that is not one.
EXPR* value_of(StmtPool& pool, Tab t, const void* elem, size_t col, int32_t* rc) {
  const COLDEF& c = table(t).cols[col];
  const char* m = member(t, elem, col);
  if (state(t).dt[col]) {
    char text[kElemDtSize + 1];
    std::memcpy(text, m, kElemDtSize);
    text[kElemDtSize] = '\0';
    int32_t v = 0;
    if (dt_to_stored(text, &v) != 0) {
      *rc = DBI_E_VALUE;
      return nullptr;
    }
    return expr_int(pool, v);
  }
  switch (c.type) {
    case kTypeChar:
      return expr_string(pool, std::string_view(m, strnlen(m, layout(t).bytes[col])));
    case kTypeSmallint: {
      int16_t v;
      std::memcpy(&v, m, sizeof v);
      return expr_int(pool, v);
    }
    default: {
      int32_t v;
      std::memcpy(&v, m, sizeof v);
      return expr_int(pool, v);
    }
  }
}

int32_t value_int(Tab t, const void* elem, size_t col) {
  const COLDEF& c = table(t).cols[col];
  const char* m = member(t, elem, col);
  if (state(t).dt[col] || c.type == kTypeChar) return 0;
  if (c.type == kTypeSmallint) {
    int16_t v;
    std::memcpy(&v, m, sizeof v);
    return v;
  }
  int32_t v;
  std::memcpy(&v, m, sizeof v);
  return v;
}

EXPR* column_node(StmtPool& pool, TABDESC* td, const char* name) {
  const COLDESC* c = td->col(name);
  if (c == nullptr) return nullptr;
  EXPR* e = expr_column(pool, c->s_colname);
  if (e != nullptr) e->col.p_col = c;
  return e;
}

// The descriptor for a change; traces a missing one with the function's text.
TABDESC* change_desc(Tab t, const char* fn, const char* what, int32_t* rc) {
  TABDESC* td = nullptr;
  *rc = read_tabspec(t, &td);
  if (td == nullptr) {
    KYT_TRACE(kModule, kTopic, 1, "%s %s ptd_%s is NULL!", fn, what, layout(t).tt);
    if (*rc == OK_STATE) *rc = RC_INTERNAL_ERROR;
  }
  return td;
}

void record_timing(Tab t, const char* fn, long ms) {
  TabState& s = state(t);
  Timing& tm = s.timing;
  if (tm.count == 0 || ms < tm.min) tm.min = ms;
  if (ms > tm.max) tm.max = ms;
  ++tm.count;
  s.total_ms += ms;
  tm.avr = s.total_ms / tm.count;
  s.recent.push_back(ms);
  s.recent_ms += ms;
  if (s.recent.size() > kRecentInserts) {
    s.recent_ms -= s.recent.front();
    s.recent.pop_front();
  }
  tm.avr100 = s.recent_ms / static_cast<long>(s.recent.size());
  if (t == Tab::kKT)
    KYT_TRACE(kModule, kTopic, 11, "%s : insKT (%ld) min %ld max %ld avr %ld millisecs avr100 %ld",
              fn, tm.count, tm.min, tm.max, tm.avr, tm.avr100);
}

}  // namespace

const ElemLayout& layout(Tab t) { return kLayouts[static_cast<size_t>(t)]; }
const SchemaTable& table(Tab t) { return station_schema()[static_cast<size_t>(t)]; }

Timing timing(Tab t) { return state(t).timing; }

int32_t read_tabspec(Tab t, TABDESC** out) {
  *out = nullptr;
  TabState& s = state(t);
  if (!isa_db_open()) {
    const int32_t rc = rpdsql_run("OPEN DB");
    if (rc != OK_STATE) return rc;
  }
  if ((*out = find_tab_desc(s.ts.s_tabname)) != nullptr) return OK_STATE;
  int32_t rc = use_table(s.ts, ISA_CHECK_TAB);
  if (rc == OK_STATE) rc = get_tab_desc(s.ts, out);
  if (rc != OK_STATE) {
    *out = nullptr;
    KYT_TRACE(kModule, kTopic, 1, "read_tabspec %s use_table returns %d", s.ts.s_tabname, rc);
  }
  return rc;
}

int32_t create(Tab t, const char* fn) {
  const SchemaTable& st = table(t);
  int32_t rc = rpdsql_run(create_table_text(st));
  if (rc != OK_STATE) {
    KYT_TRACE(kModule, kTopic, 1, "%s create table returns %d", fn, rc);
    return rc;
  }
  for (const std::string& ix : create_index_texts(st)) {
    rc = rpdsql_run(ix);
    if (rc != OK_STATE) {
      KYT_TRACE(kModule, kTopic, 1, "%s create index returns %d", fn, rc);
      return rc;
    }
  }
  return OK_STATE;
}

int32_t get(Tab t, const char* fn, const char* cursor, const char* where, Args in, void* elem) {
  Vars v;
  int32_t rc = bind_inputs(fn, in, &v);
  if (rc == OK_STATE) {
    std::string select;
    const std::vector<int> cols = selected(t, {}, &select);
    bind_outputs(t, cols, elem, in.size(), &v);
    rc = declare(t, cursor, select, where, nullptr, v);
    close_cursor(cursor);
    if (rc == OK_STATE) rc = convert_dt(t, v, elem);
  }
  if (rc != OK_STATE) KYT_TRACE(kModule, kTopic, 1, "%s select returns %d", fn, rc);
  return rc;
}

int32_t get_col(Tab t, const char* fn, const char* cursor, const char* col, const char* where,
                Args in, void* out) {
  Vars v;
  int32_t rc = bind_inputs(fn, in, &v);
  const int c = col_index(t, col);
  if (rc == OK_STATE && c < 0) rc = DBI_E_INV_COL_NAM;
  if (rc == OK_STATE) {
    // The output is bound as if `out` were an element whose member `col` starts at `out`.
    char* base = static_cast<char*>(out) - layout(t).offset[static_cast<size_t>(c)];
    bind_outputs(t, {c}, base, in.size(), &v);
    rc = declare(t, cursor, col, where, nullptr, v);
    close_cursor(cursor);
    if (rc == OK_STATE) rc = convert_dt(t, v, base);
  }
  if (rc != OK_STATE) KYT_TRACE(kModule, kTopic, 1, "%s select returns %d", fn, rc);
  return rc;
}

int32_t list(Tab t, const char* fn, const char* cursor, const char* where, const char* order,
             Args in, void* first, Cols cols) {
  next_of(t, first) = nullptr;
  Vars v;
  int32_t rc = bind_inputs(fn, in, &v);
  if (rc == OK_STATE) {
    std::string select;
    const std::vector<int> sel = selected(t, cols, &select);
    bind_outputs(t, sel, first, in.size(), &v);
    rc = declare(t, cursor, select, where, order, v);
    if (rc == OK_STATE) rc = convert_dt(t, v, first);
    void* last = first;
    const std::string_view fetch[] = {"FETCH ", cursor};
    while (rc == OK_STATE) {
      void* e = std::calloc(1, layout(t).size);
      if (e == nullptr) {
        rc = RC_INTERNAL_ERROR;
        break;
      }
      bind_outputs(t, sel, e, 0, &v);
      rc = rpdsql_run(fetch, v.span());
      if (rc == OK_STATE) rc = convert_dt(t, v, e);
      if (rc != OK_STATE) {
        std::free(e);  // no row in it; the chain stays as far as it was built
        break;
      }
      next_of(t, last) = e;
      last = e;
    }
    close_cursor(cursor);
    if (rc == RPDSQL_NOT_FOUND && last != first) rc = OK_STATE;
  }
  if (rc != OK_STATE && rc != RPDSQL_NOT_FOUND)
    KYT_TRACE(kModule, kTopic, 1, "%s select returns %d", fn, rc);
  return rc;
}

int32_t key_exists(Tab t, const char* fn, const void* elem, bool* found) {
  *found = false;
  const SchemaTable& st = table(t);
  Vars v;
  std::string where;
  int32_t rc = OK_STATE;
  for (size_t i = 0; i < st.cols.size() && rc == OK_STATE; ++i) {
    if (st.cols[i].key <= 0) continue;
    if (!where.empty()) where += " AND ";
    where += st.cols[i].s_colname;
    where += " = ?";
    const char* m = member(t, elem, i);
    if (state(t).dt[i]) {
      char text[kElemDtSize + 1];
      std::memcpy(text, m, kElemDtSize);
      text[kElemDtSize] = '\0';
      rc = bind_inputs(fn, {dt(text)}, &v);
    } else if (st.cols[i].type == kTypeChar) {
      rc = bind_inputs(fn, {arg(m)}, &v);  // the element's texts are zero-terminated
    } else {
      rc = bind_inputs(fn, {arg(value_int(t, elem, i))}, &v);
    }
  }
  if (where.empty()) return OK_STATE;
  if (rc == OK_STATE) {
    std::vector<char> scratch(layout(t).size);
    const size_t inputs = v.n;
    bind_outputs(t, {0}, scratch.data(), inputs, &v);
    rc = declare(t, "TMKEYEX", st.cols[0].s_colname, where.c_str(), nullptr, v);
    close_cursor("TMKEYEX");
    if (rc == OK_STATE) *found = true;
    if (rc == RPDSQL_NOT_FOUND) rc = OK_STATE;
  }
  if (rc != OK_STATE) KYT_TRACE(kModule, kTopic, 1, "%s select returns %d", fn, rc);
  return rc;
}

int32_t count(Tab t, const char* fn, const char* cursor, const char* where, Args in,
              int32_t* n) {
  *n = 0;
  Vars v;
  int32_t rc = bind_inputs(fn, in, &v);
  if (rc == OK_STATE) {
    // The first column only, into a scratch element.
    std::vector<char> scratch(layout(t).size);
    bind_outputs(t, {0}, scratch.data(), in.size(), &v);
    const std::string col = table(t).cols[0].s_colname;
    rc = declare(t, cursor, col, where, nullptr, v);
    const std::string_view fetch[] = {"FETCH ", cursor};
    while (rc == OK_STATE) {
      ++*n;
      bind_outputs(t, {0}, scratch.data(), 0, &v);
      rc = rpdsql_run(fetch, v.span());
    }
    close_cursor(cursor);
    if (rc == RPDSQL_NOT_FOUND) rc = OK_STATE;
  }
  if (rc != OK_STATE) KYT_TRACE(kModule, kTopic, 1, "%s select returns %d", fn, rc);
  return rc;
}

void free_list(Tab t, void* first) {
  if (first == nullptr) return;
  void* e = next_of(t, first);
  next_of(t, first) = nullptr;
  while (e != nullptr) {
    void* n = next_of(t, e);
    std::free(e);
    e = n;
  }
}

int32_t insert(Tab t, const char* fn, const void* elem) {
  int32_t rc = OK_STATE;
  TABDESC* td = change_desc(t, fn, "exec_insert", &rc);
  if (td == nullptr) return rc;
  const auto start = std::chrono::steady_clock::now();
  StmtPool& pool = stmt_pool();
  pool.reset();
  PLIST<COLREF> cols{};
  PLIST<EXPR*> values{};
  const size_t n = table(t).cols.size();
  for (size_t i = 0; i < n && rc == OK_STATE; ++i) {
    EXPR* p_value = value_of(pool, t, elem, i, &rc);
    if (rc != OK_STATE) break;
    if (p_value == nullptr) {
      isaerr("(p_value=POOL_ALLOC(STMT, sizeof(VALUE))) != NULL", RC_INTERNAL_ERROR, "ret1",
             __FILE__, __LINE__, 0);
      rc = RC_INTERNAL_ERROR;
      break;
    }
    const COLDESC* c = td->col(table(t).cols[i].s_colname);
    if (!KYT_ISACHECK(c != nullptr, RC_INTERNAL_ERROR, "ret1") ||
        !cols.append(pool, COLREF{"", "", c->s_colname, c}) || !values.append(pool, p_value))
      rc = RC_INTERNAL_ERROR;
  }
  if (rc == OK_STATE) rc = exec_insert(1, td, cols, values);
  if (rc != OK_STATE) {
    KYT_TRACE(kModule, kTopic, 1, "%s exec_insert returns %d", fn, rc);
    return rc;
  }
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now() - start);
  record_timing(t, fn, static_cast<long>(ms.count()));
  return OK_STATE;
}

int32_t update_cols(Tab t, const char* fn, const void* elem, std::span<const char* const> set,
                    const char* trace) {
  int32_t rc = OK_STATE;
  TABDESC* td = change_desc(t, fn, "exec_update", &rc);
  if (td == nullptr) return rc;
  StmtPool& pool = stmt_pool();
  pool.reset();
  PLIST<SETITEM> items{};
  // The figures of a failure's trace: the first key column and the first column set.
  const SchemaTable& st = table(t);
  int32_t first_key = 0;
  for (size_t i = 0; i < st.cols.size(); ++i) {
    if (st.cols[i].key == 1) first_key = value_int(t, elem, i);
  }
  const int first_col = set.size() > 0 ? col_index(t, *set.begin()) : -1;
  const int32_t first_set = first_col >= 0 ? value_int(t, elem, static_cast<size_t>(first_col)) : 0;
  for (const char* name : set) {
    const int i = col_index(t, name);
    const COLDESC* c = td->col(name);
    if (i < 0 || c == nullptr) {
      rc = DBI_E_INV_COL_NAM;
      break;
    }
    EXPR* v = value_of(pool, t, elem, static_cast<size_t>(i), &rc);
    if (rc != OK_STATE) break;
    if (v == nullptr || !items.append(pool, SETITEM{COLREF{"", "", c->s_colname, c}, v})) {
      rc = RC_INTERNAL_ERROR;
      break;
    }
  }
  // The condition: every key column equal to the element's value.
  EXPR* where = nullptr;
  for (size_t i = 0; i < st.cols.size() && rc == OK_STATE; ++i) {
    if (st.cols[i].key <= 0) continue;
    EXPR* v = value_of(pool, t, elem, i, &rc);
    if (rc != OK_STATE) break;
    EXPR* col = column_node(pool, td, st.cols[i].s_colname);
    EXPR* eq = col != nullptr && v != nullptr ? expr_op(pool, kExprEq, col, v) : nullptr;
    where = where == nullptr || eq == nullptr ? eq : expr_op(pool, kExprAnd, where, eq);
    if (!KYT_ISACHECK(where != nullptr, RC_INTERNAL_ERROR, "ret1")) rc = RC_INTERNAL_ERROR;
  }
  if (rc == OK_STATE) rc = exec_update(td, items, where);
  if (rc != OK_STATE) {
    if (trace != nullptr)
      KYT_TRACE(kModule, kTopic, 1, trace, rc, first_key, first_set);
    else
      KYT_TRACE(kModule, kTopic, 1, "%s exec_update returns %d", fn, rc);
  }
  return rc;
}

int32_t remove(Tab t, const char* fn, Conds conds) {
  int32_t rc = OK_STATE;
  TABDESC* td = change_desc(t, fn, "exec_delete", &rc);
  if (td == nullptr) return rc;
  StmtPool& pool = stmt_pool();
  pool.reset();
  EXPR* where = nullptr;
  std::string key;
  for (const Cond& c : conds) {
    EXPR* v = nullptr;
    if (!key.empty()) key += ",";
    if (c.value.type == kTypeChar) {
      const char* s = c.value.s != nullptr ? c.value.s : "";
      v = expr_string(pool, s);
      key += s;
    } else {
      int32_t i = c.value.i;
      if (c.value.type == kArgDt && dt_to_stored(c.value.s != nullptr ? c.value.s : "", &i) != 0) {
        rc = DBI_E_VALUE;
        break;
      }
      v = expr_int(pool, i);
      key += c.value.type == kArgDt ? std::string(c.value.s) : std::to_string(i);
    }
    if (td->col(c.col) == nullptr) {
      rc = DBI_E_INV_COL_NAM;
      break;
    }
    EXPR* col = column_node(pool, td, c.col);
    EXPR* term = v != nullptr && col != nullptr ? expr_op(pool, c.op, col, v) : nullptr;
    where = where == nullptr || term == nullptr ? term : expr_op(pool, kExprAnd, where, term);
    if (!KYT_ISACHECK(where != nullptr, RC_INTERNAL_ERROR, "ret1")) {
      rc = RC_INTERNAL_ERROR;
      break;
    }
  }
  if (rc == OK_STATE) rc = exec_delete(td, where);
  if (rc != OK_STATE)
    KYT_TRACE(kModule, kTopic, 1, "%s exec_delete (%s) returns %d", fn, key.c_str(), rc);
  return rc;
}

int32_t run(const char* fn, const char* statement) {
  const int32_t rc = rpdsql_run(statement);
  if (rc != OK_STATE) KYT_TRACE(kModule, kTopic, 1, "%s returns %d", fn, rc);
  return rc;
}

}  // namespace kyt::tm
