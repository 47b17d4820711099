// isapar: parse, then resolve the table and every column of the record.
#include "sql/isapar.h"

#include <cstring>

#include "runtime/runtime.h"
#include "sql/isadbg.h"
#include "sql/sqlparse.h"
#include "sql/status.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "s";

class Resolver {
 public:
  explicit Resolver(TABDESC* td) : td_(td) {}

  bool col(COLREF& c) {
    bool same_table =
        (c.s_tabname[0] == '\0' || std::strcmp(c.s_tabname, td_->ts.s_tabname) == 0) &&
        (c.s_creator[0] == '\0' || std::strcmp(c.s_creator, td_->ts.s_creator) == 0);
    c.p_col = same_table ? td_->col(c.s_colname) : nullptr;
    if (c.p_col == nullptr) {
      sql_detail_note(&sql_detail().column, {c.s_colname});
      KYT_TRACE(kModule, kTopic, 1, "isapar: column %s not in table %s", c.s_colname,
                td_->ts.s_tabname);
    }
    return KYT_ISACHECK(c.p_col != nullptr, DBI_E_INV_COL_NAM, "err_return");
  }

  // Recursion bounded by the tree height, which the parser limits.
  bool tree(EXPR* e) {
    if (e == nullptr) return true;
    if (e->flags & kExprColumn) return col(e->col);
    return tree(e->left) && tree(e->right);
  }

  template <class T, class F>
  bool each(PLIST<T>& list, F colref_of) {
    for (T& item : list) {
      if (!col(colref_of(item))) return false;
    }
    return true;
  }

 private:
  TABDESC* td_;
};

int32_t resolve(STMT* s) {
  switch (s->kind) {
    case kStmtSelect:
    case kStmtInsert:
    case kStmtUpdate:
    case kStmtDelete:
    case kStmtCreateIndex:
      break;
    default:
      return OK_STATE;  // creating and dropping name tables that need not exist yet
  }
  sql_detail_note(&sql_detail().table, {s->ts.s_tabname});
  int32_t rc = get_tab_desc(s->ts, &s->p_td);
  if (rc != OK_STATE) {
    if (rc == DBI_E_TABERR) sql_detail_note(&sql_detail().reason, {"no such table"});
    KYT_TRACE(kModule, kTopic, 1, "%s not found", s->ts.s_tabname);
    return rc;
  }
  Resolver r(s->p_td);
  bool ok = r.each(s->cols, [](COLREF& c) -> COLREF& { return c; }) &&
            r.each(s->set, [](SETITEM& i) -> COLREF& { return i.col; }) &&
            r.each(s->order, [](ORDERITEM& o) -> COLREF& { return o.col; }) && r.tree(s->p_where);
  if (!ok) return DBI_E_INV_COL_NAM;
  if (s->kind == kStmtInsert && s->cols.empty() &&
      s->values.count != static_cast<uint32_t>(s->p_td->n_cols)) {
    KYT_TRACE(kModule, kTopic, 1, "isapar: %s \n", sql_status_text(LPDBI_E_VALUE_COUNT));
    return DBI_E_SYNTAX;
  }
  return OK_STATE;
}

}  // namespace

int32_t isapar(int32_t cursor_id, std::string_view keyword,
               std::span<const std::string_view> pieces, IsaparResult* out) {
  *out = IsaparResult{};
  StmtPool& pool = stmt_pool();
  pool.reset();
  std::string_view text;
  if (!sql::join_pieces(pool, keyword, pieces, &text)) {
    KYT_TRACE(kModule, kTopic, 1, "isapar: %s \n", sql_status_text(RC_INTERNAL_ERROR));
    return RC_INTERNAL_ERROR;
  }
  sql::ParseOut po;
  sql::parse(sql::Dialect::kIsapar, pool, text, &po);
  if (po.refusal != sql::Refusal::kNone && po.refusal != sql::Refusal::kNoMemory &&
      sql_detail().position < 0) {
    // Offsets count in the statement as given, without the keyword and its blank.
    const size_t prefix = keyword.empty() ? 0 : keyword.size() + 1;
    const size_t at = static_cast<size_t>(po.last_token.data() - text.data());
    SqlDetail& d = sql_detail();
    d.syntax = po.refusal == sql::Refusal::kSyntax;
    sql_detail_note(&d.token, {po.last_token});
    d.position = static_cast<int32_t>(at >= prefix ? at - prefix : 0);
  }
  if (po.refusal == sql::Refusal::kSyntax) {
    KYT_TRACE(kModule, kTopic, 1, "isapar: %s \n", "syntax error");
    KYT_TRACE(kModule, kTopic, 1, "last token read was |%.*s|\n",
              static_cast<int>(po.last_token.size()), po.last_token.data());
    return DBI_E_SYNTAX;
  }
  if (po.refusal != sql::Refusal::kNone) {
    int32_t rc = sql::refusal_status(sql::Dialect::kIsapar, po.refusal);
    // The interface's code names the refusal more finely than the DBI code does.
    KYT_TRACE(kModule, kTopic, 1, "isapar: %s \n",
              sql_status_text(sql::refusal_status(sql::Dialect::kInterface, po.refusal)));
    return rc;
  }
  int32_t rc = resolve(po.stmt);
  if (rc != OK_STATE) return rc;
  out->stmt = po.stmt;
  out->immediate = po.immediate;
  out->cursor_id = cursor_id;
  return OK_STATE;
}

}  // namespace kyt
