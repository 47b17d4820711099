// stmt: node makers, print-back, LIKE.
#include "sql/stmt.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace kyt {

namespace {

// Applies a template: each "%s" in turn takes the next argument.
std::string tpl(std::string_view t, std::string_view a, std::string_view b = {},
                std::string_view c = {}) {
  std::string_view args[] = {a, b, c};
  size_t next = 0;
  std::string out;
  out.reserve(t.size() + a.size() + b.size() + c.size());
  for (size_t i = 0; i < t.size(); ++i) {
    if (t[i] == '%' && i + 1 < t.size() && t[i + 1] == 's' && next < 3) {
      out.append(args[next++]);
      ++i;
    } else {
      out.push_back(t[i]);
    }
  }
  return out;
}

// Joins items with the "%s,%s" template.
template <class List, class F>
std::string join(const List& list, F item) {
  std::string out;
  bool first = true;
  for (const auto& x : list) {
    out = first ? item(x) : tpl("%s,%s", out, item(x));
    first = false;
  }
  return out;
}

const char* op_template(uint32_t flags) {
  switch (flags & (kExprCompare | kExprLogic)) {
    case kExprEq:
      return "(%s == %s)";
    case kExprNe:
      return "(%s <> %s)";
    case kExprGt:
      return "(%s > %s)";
    case kExprLt:
      return "(%s < %s)";
    case kExprGe:
      return "(%s >= %s)";
    case kExprLe:
      return "(%s <= %s)";
    case kExprLike:
      return "(%s LIKE %s)";
    case kExprAnd:
      return "(%s AND %s)";
    case kExprOr:
      return "(%s OR %s)";
    default:
      return "(%s ? %s)";
  }
}

std::string colref_text(const COLREF& c) {
  std::string s;
  if (c.s_creator != nullptr && c.s_creator[0] != '\0') s.append(c.s_creator).append(".");
  if (c.s_tabname != nullptr && c.s_tabname[0] != '\0') s.append(c.s_tabname).append(".");
  return s.append(c.s_colname == nullptr ? "" : c.s_colname);
}

std::string table_text(const TABSPEC& ts) {
  std::string s;
  if (ts.s_creator[0] != '\0') s.append(ts.s_creator).append(".");
  return s.append(ts.s_tabname);
}

std::string value_text(const EXPR& e) {
  if (e.flags & kExprHostVar) return "?";
  const VALUE& v = e.value;
  if (v.null_ind < 0) return "NULL";
  char buf[64];
  switch (v.type) {
    case kTypeChar: {
      std::string s = "'";
      for (const char* p = v.val.s; p != nullptr && *p != '\0'; ++p) {
        if (*p == '\'') s.push_back('\'');
        s.push_back(*p);
      }
      return s + "'";
    }
    case kTypeInteger:
      return std::to_string(v.val.l);
    case kTypeSmallint:
      return std::to_string(v.val.i);
    case kTypeFloat:
      std::snprintf(buf, sizeof buf, "%.10E", v.val.f);
      return buf;
    default:
      return "?";
  }
}

std::string where_text(const EXPR* e) {
  return e == nullptr ? std::string() : " WHERE " + expr_text(e);
}

EXPR* new_expr(StmtPool& pool, uint32_t flags) {
  EXPR* e = pool.make<EXPR>();
  if (e == nullptr) return nullptr;
  e->flags = flags;
  e->height = 1;
  e->param = -1;
  e->col.s_creator = "";
  e->col.s_tabname = "";
  return e;
}

}  // namespace

EXPR* expr_column(StmtPool& pool, const char* colname) {
  EXPR* e = new_expr(pool, kExprColumn);
  if (e != nullptr) e->col.s_colname = colname;
  return e;
}

EXPR* expr_int(StmtPool& pool, int32_t v) {
  EXPR* e = new_expr(pool, kExprValue);
  if (e == nullptr) return nullptr;
  e->value.type = kTypeInteger;
  e->value.len = 4;
  e->value.val.l = v;
  return e;
}

EXPR* expr_string(StmtPool& pool, std::string_view s) {
  char* copy = pool.copy(s.data(), s.size());
  EXPR* e = copy == nullptr ? nullptr : new_expr(pool, kExprValue);
  if (e == nullptr) return nullptr;
  e->value.type = kTypeChar;
  e->value.len = static_cast<int32_t>(s.size());
  e->value.val.s = copy;
  return e;
}

EXPR* expr_null(StmtPool& pool) {
  EXPR* e = new_expr(pool, kExprValue);
  if (e != nullptr) e->value.null_ind = -1;
  return e;
}

EXPR* expr_op(StmtPool& pool, uint32_t op, EXPR* left, EXPR* right) {
  EXPR* e = new_expr(pool, op);
  if (e == nullptr) return nullptr;
  e->left = left;
  e->right = right;
  uint16_t h = std::max(left == nullptr ? 0 : left->height, right == nullptr ? 0 : right->height);
  e->height = static_cast<uint16_t>(h + 1);
  return e;
}

// Recursion is bounded by the tree height, which the parsers limit.
std::string expr_text(const EXPR* e) {
  if (e == nullptr) return std::string();
  if (e->flags & kExprColumn) return colref_text(e->col);
  if (e->flags & kExprValue) return value_text(*e);
  return tpl(op_template(e->flags), expr_text(e->left), expr_text(e->right));
}

std::string stmt_text(const STMT& s) {
  std::string table = table_text(s.ts);
  switch (s.kind) {
    case kStmtSelect: {
      std::string t =
          "SELECT " + join(s.cols, colref_text) + " FROM " + table + where_text(s.p_where);
      if (!s.order.empty()) {
        t += tpl(" ORDER BY %s ", join(s.order, [](const ORDERITEM& o) {
                   return tpl(o.desc ? "%s DESC " : "%s ASC ", colref_text(o.col));
                 }));
      }
      return t;
    }
    case kStmtInsert: {
      std::string values = join(s.values, [](const EXPR* e) { return expr_text(e); });
      if (s.cols.empty()) return "INSERT INTO " + table + " VALUES(" + values + ")";
      return "INSERT INTO " + table + "(" + join(s.cols, colref_text) + ") VALUES(" + values + ")";
    }
    case kStmtUpdate:
      return "UPDATE " + table + " SET " +
             join(
                 s.set,
                 [](const SETITEM& i) { return colref_text(i.col) + " = " + expr_text(i.value); }) +
             where_text(s.p_where);
    case kStmtDelete:
      return "DELETE FROM " + table + where_text(s.p_where);
    case kStmtCreateTable:
      return tpl("CREATE TABLE %s (%s) ", table, join(s.coldefs, [](const COLDEF& c) {
                   return std::string(c.s_colname) + " " + col_type_text(c) +
                          (c.not_null ? " NOT NULL" : "");
                 }));
    case kStmtCreateIndex:
      return tpl(s.unique ? "CREATE UNIQUE INDEX %s ON %s (%s) " : "CREATE INDEX %s ON %s (%s) ",
                 s.s_name, table, join(s.cols, colref_text));
    case kStmtCreateSynonym:
      return tpl("CREATE SYNONYM %s FOR %s ", s.s_name, s.s_target);
    case kStmtCreatePublicSynonym:
      return tpl("CREATE PUBLIC SYNONYM %s FOR %s ", s.s_name, s.s_target);
    case kStmtDropTable:
      return tpl("DROP TABLE %s ", table);
    case kStmtDropView:
      return tpl("DROP VIEW %s ", s.s_name);
    case kStmtDropSynonym:
      return tpl("DROP SYNONYM %s ", s.s_name);
    case kStmtDropIndex:
      return tpl("DROP INDEX %s ", s.s_name) +
             (s.ts.s_tabname[0] != '\0' ? "ON " + table + " " : "");
    default:
      return std::string();
  }
}

// Greedy matching with one backtrack point (the last "%"): linear in practice, never
// recursive.
bool like_match(std::string_view text, std::string_view pattern) {
  size_t t = 0, p = 0;
  size_t star_p = std::string_view::npos, star_t = 0;
  while (t < text.size()) {
    if (p < pattern.size() && (pattern[p] == '_' || pattern[p] == text[t]) && pattern[p] != '%') {
      ++t;
      ++p;
    } else if (p < pattern.size() && pattern[p] == '%') {
      star_p = p++;
      star_t = t;
    } else if (star_p != std::string_view::npos) {
      p = star_p + 1;
      t = ++star_t;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '%') ++p;
  return p == pattern.size();
}

}  // namespace kyt
