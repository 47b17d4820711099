// ISAsqlutil: the statement interface parser: parse, then bind the host variables.
#include "sql/ISAsqlutil.h"

#include <cstring>
#include <string>

#include "runtime/runtime.h"
#include "sql/sqlparse.h"
#include "sql/status.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "s";

bool valid_hostvar_type(int32_t type) {
  return type == kTypeChar || type == kTypeFloat || type == kTypeInteger || type == kTypeSmallint;
}

}  // namespace

void bind_hostvar(EXPR* e, const HostVar& h) {
  VALUE& v = e->value;
  v.null_ind = 0;
  v.type = static_cast<int16_t>(h.type);
  switch (h.type) {
    case kTypeChar:
      v.val.s = static_cast<const char*>(h.addr);
      v.len = static_cast<int32_t>(std::strlen(v.val.s));
      break;
    case kTypeFloat:
      std::memcpy(&v.val.f, h.addr, sizeof v.val.f);
      v.len = static_cast<int32_t>(sizeof v.val.f);
      break;
    case kTypeInteger:
      std::memcpy(&v.val.l, h.addr, sizeof v.val.l);
      v.len = 4;
      break;
    default:
      std::memcpy(&v.val.i, h.addr, sizeof v.val.i);
      v.len = 2;
      break;
  }
}

namespace {

// The cursor statements a fetch loop sends again and again ("FETCH C1", "CLOSE C1"), as the
// parser understood them: the same text is not parsed again. Such a statement has no tree
// and no parameters; its cursor name lives here until the entry is replaced, which happens
// only in a later lpdbi_parse, after the statement has run.
struct CursorStatement {
  std::string text;
  DbiOp op = DbiOp::kNone;
  std::string cursor;
};
constexpr size_t kCursorStatements = 8;

CursorStatement (&cursor_statements())[kCursorStatements] {
  static CursorStatement known[kCursorStatements];
  return known;
}

const CursorStatement* known_cursor_statement(std::string_view text) {
  for (const CursorStatement& k : cursor_statements()) {
    if (k.op != DbiOp::kNone && k.text == text) return &k;
  }
  return nullptr;
}

// The entry a newly parsed cursor statement replaces: the oldest.
CursorStatement* new_cursor_statement() {
  static size_t next = 0;
  CursorStatement* slot = &cursor_statements()[next];
  next = (next + 1) % kCursorStatements;
  return slot;
}

int32_t refuse(int32_t rc, std::string_view text, DbiStatement* out) {
  *out = DbiStatement{};
  KYT_TRACE(kModule, kTopic, 1, "lpdbi: %s \n", sql_status_text(rc));
  KYT_TRACE(kModule, kTopic, 1, " stmt = |%.*s|\n", static_cast<int>(text.size()), text.data());
  return rc;
}

}  // namespace

int32_t lpdbi_parse(std::span<const std::string_view> pieces, std::span<const HostVar> hostvars,
                    DbiStatement* out) {
  *out = DbiStatement{};
  sql_detail_clear();
  StmtPool& pool = dbi_pool();
  pool.reset();
  std::string_view text;
  if (!sql::join_pieces(pool, {}, pieces, &text)) {
    KYT_TRACE(kModule, kTopic, 1, "lpdbi: %s \n", sql_status_text(RC_INTERNAL_ERROR));
    return RC_INTERNAL_ERROR;
  }

  sql::ParseOut po;
  if (const CursorStatement* k = known_cursor_statement(text)) {
    po.op = k->op;
    po.cursor = k->cursor.c_str();
  } else {
    sql::parse(sql::Dialect::kInterface, pool, text, &po);
    if (po.refusal == sql::Refusal::kNone && po.stmt == nullptr && po.cursor != nullptr &&
        (po.op == DbiOp::kFetch || po.op == DbiOp::kClose)) {
      CursorStatement* slot = new_cursor_statement();
      slot->text.assign(text);
      slot->op = po.op;
      slot->cursor = po.cursor;
      po.cursor = slot->cursor.c_str();
    }
  }
  if (po.refusal != sql::Refusal::kNone && po.refusal != sql::Refusal::kNoMemory) {
    SqlDetail& d = sql_detail();
    d.syntax = po.refusal == sql::Refusal::kSyntax;
    sql_detail_note(&d.token, {po.last_token});
    d.position = static_cast<int32_t>(po.last_token.data() - text.data());
  } else if (po.stmt != nullptr) {
    sql_detail_note(&sql_detail().table, {po.stmt->ts.s_tabname});
  }
  if (po.refusal == sql::Refusal::kSyntax) {
    KYT_TRACE(kModule, kTopic, 1, "lpdbi: %s \n", "syntax error");
    KYT_TRACE(kModule, kTopic, 1, "last token read was |%.*s|\n",
              static_cast<int>(po.last_token.size()), po.last_token.data());
    KYT_TRACE(kModule, kTopic, 1, " stmt = |%s|\n", text.data());
    return LPDBI_E_SYNTAX;
  }
  if (po.refusal != sql::Refusal::kNone) {
    return refuse(sql::refusal_status(sql::Dialect::kInterface, po.refusal), text, out);
  }

  size_t n_in = po.stmt != nullptr ? po.stmt->params.count : 0;
  size_t n_out = 0;
  if (po.op == DbiOp::kDeclare) {
    n_out = po.stmt->cols.count;
  } else if (po.op == DbiOp::kFetch) {
    n_out = hostvars.size();
    if (n_out > sql::kMaxOutputs) return refuse(LPDBI_E_TOO_MANY_OUTPUTS, text, out);
  }
  for (size_t i = 0; i < n_in + n_out; ++i) {
    if (i >= hostvars.size()) return refuse(LPDBI_E_HOSTVAR_MISSING, text, out);
    if (!valid_hostvar_type(hostvars[i].type)) return refuse(LPDBI_E_HOSTVAR_TYPE, text, out);
    if (hostvars[i].addr == nullptr) return refuse(LPDBI_E_HOSTVAR_NULL, text, out);
    if (i < n_in) bind_hostvar(po.stmt->params[static_cast<uint32_t>(i)], hostvars[i]);
  }
  if (hostvars.size() > n_in + n_out) return refuse(LPDBI_E_HOSTVAR_LEFT, text, out);

  out->op = po.op;
  out->text = text;
  if (po.op == DbiOp::kDeclare || po.op == DbiOp::kStatement) out->sql = text.substr(po.sql_pos);
  out->stmt = po.stmt;
  out->cursor = po.cursor;
  out->dbname = po.dbname;
  out->in = hostvars.subspan(0, n_in);
  out->out = hostvars.subspan(n_in, n_out);
  return OK_STATE;
}

}  // namespace kyt
