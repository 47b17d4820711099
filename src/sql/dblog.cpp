// dblog: rendering changing statements for the database log.
#include "sql/dblog.h"

#include <cstdio>
#include <string>

#include "runtime/runtime.h"
#include "sql/stmt.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "s";

struct State {
  DbLogSink sink = nullptr;
  void* context = nullptr;
};

State& st() {
  static State s;
  return s;
}

bool wanted() {
  std::string v;
  return lpdsn_get("DBLOG", &v) == 0 && !v.empty() && (v[0] == 'Y' || v[0] == 'y');
}

std::string name_text(const char* creator, const char* name) {
  std::string s;
  if (creator != nullptr && creator[0] != '\0') s.append(creator).append(".");
  return s.append(name != nullptr ? name : "");
}

std::string colref(const COLREF& c) {
  std::string s;
  if (c.s_creator != nullptr && c.s_creator[0] != '\0') s.append(c.s_creator).append(".");
  if (c.s_tabname != nullptr && c.s_tabname[0] != '\0') s.append(c.s_tabname).append(".");
  return s.append(c.s_colname != nullptr ? c.s_colname : "");
}

// A value node; false for a "?" that has no value bound.
bool value(const EXPR& e, std::string* out) {
  const VALUE& v = e.value;
  if (v.null_ind < 0) {
    out->append("NULL");
    return true;
  }
  switch (v.type) {
    case kTypeChar:
      out->push_back('\'');
      for (const char* p = v.val.s; p != nullptr && *p != '\0'; ++p) {
        if (*p == '\'') out->push_back('\'');
        out->push_back(*p);
      }
      out->push_back('\'');
      return true;
    case kTypeInteger:
      out->append(std::to_string(v.val.l));
      return true;
    case kTypeSmallint:
      out->append(std::to_string(v.val.i));
      return true;
    case kTypeFloat: {
      char buf[40];
      std::snprintf(buf, sizeof buf, "%.17g", v.val.f);
      out->append(buf);
      return true;
    }
    default:
      return false;
  }
}

const char* op_word(uint32_t flags) {
  switch (flags & (kExprCompare | kExprLogic)) {
    case kExprEq:
      return " = ";
    case kExprNe:
      return " <> ";
    case kExprLt:
      return " < ";
    case kExprGt:
      return " > ";
    case kExprLe:
      return " <= ";
    case kExprGe:
      return " >= ";
    case kExprLike:
      return " LIKE ";
    case kExprAnd:
      return " AND ";
    case kExprOr:
      return " OR ";
    default:
      return nullptr;
  }
}

// Recursion is bounded by the tree height, which the parser limits.
bool expr(const EXPR* e, uint32_t parent_logic, std::string* out) {
  if (e == nullptr) return false;
  if (e->flags & kExprColumn) {
    out->append(colref(e->col));
    return true;
  }
  if (e->flags & kExprValue) return value(*e, out);
  const char* word = op_word(e->flags);
  if (word == nullptr) return false;
  const uint32_t logic = e->flags & kExprLogic;
  const bool paren = logic != 0 && parent_logic != 0 && logic != parent_logic;
  if (paren) out->push_back('(');
  if (!expr(e->left, logic, out)) return false;
  out->append(word);
  if (!expr(e->right, logic, out)) return false;
  if (paren) out->push_back(')');
  return true;
}

bool where(const EXPR* e, std::string* out) {
  if (e == nullptr) return true;
  out->append(" WHERE ");
  return expr(e, 0, out);
}

// The rendering of a changing statement; false for another statement, or for one with a
// "?" left without a value (*missing is then set).
bool render(const STMT& s, std::string* out, bool* missing) {
  *missing = false;
  const std::string table = name_text(s.ts.s_creator, s.ts.s_tabname);
  bool ok = true;
  switch (s.kind) {
    case kStmtInsert:
      out->append("INSERT INTO ").append(table);
      if (!s.cols.empty()) {
        out->push_back('(');
        for (uint32_t i = 0; i < s.cols.size(); ++i) {
          if (i > 0) out->push_back(',');
          out->append(colref(s.cols[i]));
        }
        out->append(") VALUES(");
      } else {
        out->append(" VALUES(");
      }
      for (uint32_t i = 0; ok && i < s.values.size(); ++i) {
        if (i > 0) out->push_back(',');
        ok = expr(s.values[i], 0, out);
      }
      out->push_back(')');
      break;
    case kStmtUpdate:
      out->append("UPDATE ").append(table).append(" SET ");
      for (uint32_t i = 0; ok && i < s.set.size(); ++i) {
        if (i > 0) out->push_back(',');
        out->append(colref(s.set[i].col)).append(" = ");
        ok = expr(s.set[i].value, 0, out);
      }
      ok = ok && where(s.p_where, out);
      break;
    case kStmtDelete:
      out->append("DELETE FROM ").append(table);
      ok = where(s.p_where, out);
      break;
    default:
      return false;
  }
  if (!ok) *missing = true;
  return ok;
}

}  // namespace

void dblog_set_sink(DbLogSink sink, void* context) {
  State& s = st();
  s.sink = sink;
  s.context = sink != nullptr ? context : nullptr;
}

void dblog_statement(const DbiStatement& d) {
  State& s = st();
  if (s.sink == nullptr || d.op != DbiOp::kStatement || d.stmt == nullptr) return;
  const int16_t kind = d.stmt->kind;
  if (kind != kStmtInsert && kind != kStmtUpdate && kind != kStmtDelete) return;
  if (!wanted()) return;
  std::string text;
  bool missing = false;
  if (!render(*d.stmt, &text, &missing)) {
    if (missing) {
      const std::string cmd(d.text);
      KYT_TRACE(kModule, kTopic, 1, "SendDBLogToLogWriter: missing hostvar (cmd=%s).", cmd.c_str());
    }
    return;
  }
  s.sink(text, s.context);
}

}  // namespace kyt
