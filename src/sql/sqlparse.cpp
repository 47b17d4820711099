// sqlparse: recursive descent with one token of lookahead. Every function returns false at
// the first failure, after recording it; nothing is undone, since the pool is reset before
// the next parse anyway. Recursion happens only for parentheses, which are counted.
#include "sql/sqlparse.h"

#include <cstring>

#include "runtime/runtime.h"
#include "sql/status.h"

namespace kyt::sql {

namespace {

bool unsupported(Tok k) {
  switch (k) {
    case kADD:
    case kALL:
    case kALTER:
    case kANY:
    case kAS:
    case kBETWEEN:
    case kCOMMENT:
    case kCONNECT:
    case kDESCRIBE:
    case kDESCRIPTOR:
    case kDISTINCT:
    case kEXISTS:
    case kGROUP:
    case kHAVING:
    case kIDENTIFIED:
    case kIN:
    case kIS:
    case kUSING:
    case kPlus:
    case kMinus:
    case kStar:
    case kSlash:
      return true;
    default:
      return false;
  }
}

uint32_t comparison(const Token& t) {
  switch (t.kind) {
    case kEqEq:
      return kExprEq;
    case kNe:
      return kExprNe;
    case kLt:
      return kExprLt;
    case kGt:
      return kExprGt;
    case kLe:
      return kExprLe;
    case kGe:
      return kExprGe;
    case kLIKE:
      return kExprLike;
    case kChar:
      return t.ch == '=' ? kExprEq : 0;
    default:
      return 0;
  }
}

class Parser {
 public:
  Parser(Dialect d, StmtPool& pool, std::string_view text, char* buf)
      : pool_(pool), text_(text), sc_(d, text, buf) {
    sc_.next(&tok_);
  }

  void interface_statement(ParseOut* out);
  void isapar_statement(ParseOut* out);

  Refusal refusal() const { return refusal_; }
  std::string_view bad_token() const { return text_.substr(bad_.pos, bad_.len); }

 private:
  bool fail(Refusal r) {
    if (refusal_ == Refusal::kNone) {
      refusal_ = r;
      bad_ = tok_;
    }
    return false;
  }
  bool syntax() { return fail(unsupported(tok_.kind) ? Refusal::kNotSupported : Refusal::kSyntax); }
  bool memory(const void* p) { return p != nullptr || fail(Refusal::kNoMemory); }
  template <class T>
  bool add(PLIST<T>& list, const T& v) {
    return list.append(pool_, v) || fail(Refusal::kNoMemory);
  }
  void advance() { sc_.next(&tok_); }
  bool is(Tok k) const { return tok_.kind == k; }
  bool is_ch(char c) const { return tok_.kind == kChar && tok_.ch == c; }
  bool is_word(const char* w) const { return tok_.kind == kName && std::strcmp(tok_.text, w) == 0; }
  bool accept(Tok k) {
    if (!is(k)) return false;
    advance();
    return true;
  }
  bool accept_ch(char c) {
    if (!is_ch(c)) return false;
    advance();
    return true;
  }
  bool expect(Tok k) { return accept(k) || syntax(); }
  bool expect_ch(char c) { return accept_ch(c) || syntax(); }
  bool expect_word(const char* w) {
    if (!is_word(w)) return syntax();
    advance();
    return true;
  }

  bool name(const char** out);
  bool table(TABSPEC* ts);
  bool colref(COLREF* c);
  bool plain_col(COLREF* c);
  bool literal(EXPR** out, bool null_ok);
  bool hostvar(EXPR** out);
  bool value(EXPR** out, bool null_ok);
  bool operand(EXPR** out);
  bool join(uint32_t op, EXPR** left, EXPR* right);
  bool condition(int depth, EXPR** out);
  bool conjunction(int depth, EXPR** out);
  bool factor(int depth, EXPR** out);
  bool where();
  bool select();
  bool insert();
  bool update();
  bool delete_from();
  bool create();
  bool drop();
  bool statement(bool select_ok);
  bool end();
  bool new_stmt(int16_t kind);

  StmtPool& pool_;
  std::string_view text_;
  Scanner sc_;
  Token tok_;
  Token bad_;
  Refusal refusal_ = Refusal::kNone;
  STMT* s_ = nullptr;
};

bool Parser::new_stmt(int16_t kind) {
  s_ = pool_.make<STMT>();
  if (!memory(s_)) return false;
  s_->kind = kind;
  return true;
}

bool Parser::name(const char** out) {
  if (!is(kName)) return syntax();
  if (tok_.text_len > kNameMax) return fail(Refusal::kNameTooLong);
  *out = tok_.text;
  advance();
  return true;
}

bool Parser::table(TABSPEC* ts) {
  const char* first = nullptr;
  const char* second = nullptr;
  if (!name(&first)) return false;
  if (accept_ch('.') && !name(&second)) return false;
  make_tabspec(second != nullptr ? first : "", second != nullptr ? second : first, ts);
  return true;
}

bool Parser::colref(COLREF* c) {
  const char* part[3] = {};
  int n = 0;
  do {
    if (n == 3) return syntax();
    if (!name(&part[n++])) return false;
  } while (accept_ch('.'));
  c->s_creator = n == 3 ? part[0] : "";
  c->s_tabname = n >= 2 ? part[n - 2] : "";
  c->s_colname = part[n - 1];
  c->p_col = nullptr;
  return true;
}

bool Parser::plain_col(COLREF* c) {
  *c = COLREF{"", "", nullptr, nullptr};
  return name(&c->s_colname);
}

bool Parser::hostvar(EXPR** out) {
  if (s_->params.count >= kMaxInputs) return fail(Refusal::kTooManyInputs);
  EXPR* e = pool_.make<EXPR>();
  if (!memory(e)) return false;
  e->flags = kExprValue | kExprHostVar;
  e->height = 1;
  e->param = static_cast<int16_t>(s_->params.count);
  e->col = COLREF{"", "", nullptr, nullptr};
  if (!add(s_->params, e)) return false;
  advance();
  *out = e;
  return true;
}

// A constant: string, integer, decimal, or (where allowed) NULL. The string's text stays
// in the scanner's buffer, which lives in the pool.
bool Parser::literal(EXPR** out, bool null_ok) {
  EXPR* e = nullptr;
  switch (tok_.kind) {
    case kString:
      e = pool_.make<EXPR>();
      if (!memory(e)) return false;
      e->flags = kExprValue;
      e->value.type = kTypeChar;
      e->value.len = static_cast<int32_t>(tok_.text_len);
      e->value.val.s = tok_.text;
      break;
    case kInteger:
      if (tok_.out_of_range || tok_.ival < INT32_MIN || tok_.ival > INT32_MAX)
        return fail(Refusal::kNumberRange);
      e = expr_int(pool_, static_cast<int32_t>(tok_.ival));
      if (!memory(e)) return false;
      break;
    case kDecimal:
      if (tok_.out_of_range) return fail(Refusal::kNumberRange);
      e = pool_.make<EXPR>();
      if (!memory(e)) return false;
      e->flags = kExprValue;
      e->value.type = kTypeFloat;
      e->value.len = static_cast<int32_t>(sizeof(double));
      e->value.val.f = tok_.fval;
      break;
    case kNULL:
      if (!null_ok) return syntax();
      e = expr_null(pool_);
      if (!memory(e)) return false;
      break;
    default:
      return syntax();
  }
  e->height = 1;
  e->param = -1;
  e->col = COLREF{"", "", nullptr, nullptr};
  advance();
  *out = e;
  return true;
}

bool Parser::value(EXPR** out, bool null_ok) {
  if (is_ch('?')) return hostvar(out);
  return literal(out, null_ok);
}

bool Parser::operand(EXPR** out) {
  if (!is(kName)) return value(out, false);
  EXPR* e = expr_column(pool_, "");
  if (!memory(e)) return false;
  if (!colref(&e->col)) return false;
  *out = e;
  return true;
}

bool Parser::join(uint32_t op, EXPR** left, EXPR* right) {
  EXPR* e = expr_op(pool_, op, *left, right);
  if (!memory(e)) return false;
  if (e->height > kMaxDepth) return fail(Refusal::kTooDeep);
  *left = e;
  return true;
}

bool Parser::condition(int depth, EXPR** out) {
  if (depth > kMaxDepth) return fail(Refusal::kTooDeep);
  if (!conjunction(depth, out)) return false;
  while (accept(kOR)) {
    EXPR* right = nullptr;
    if (!conjunction(depth, &right) || !join(kExprOr, out, right)) return false;
  }
  return true;
}

bool Parser::conjunction(int depth, EXPR** out) {
  if (!factor(depth, out)) return false;
  while (accept(kAND)) {
    EXPR* right = nullptr;
    if (!factor(depth, &right) || !join(kExprAnd, out, right)) return false;
  }
  return true;
}

bool Parser::factor(int depth, EXPR** out) {
  if (accept_ch('(')) return condition(depth + 1, out) && expect_ch(')');
  EXPR* left = nullptr;
  EXPR* right = nullptr;
  if (!operand(&left)) return false;
  uint32_t op = comparison(tok_);
  if (op == 0) return syntax();
  advance();
  if (!operand(&right)) return false;
  *out = left;
  return join(op, out, right);
}

bool Parser::where() {
  if (!accept(kWHERE)) return true;
  return condition(1, &s_->p_where);
}

bool Parser::select() {
  if (!expect(kSELECT) || !new_stmt(kStmtSelect)) return false;
  do {
    COLREF c;
    if (!colref(&c)) return false;
    if (s_->cols.count >= kMaxOutputs) return fail(Refusal::kTooManyOutputs);
    if (!add(s_->cols, c)) return false;
  } while (accept_ch(','));
  if (!expect(kFROM) || !table(&s_->ts) || !where()) return false;
  if (accept(kORDER)) {
    if (!expect(kBY)) return false;
    do {
      ORDERITEM o{};
      if (!colref(&o.col)) return false;
      if (accept(kDESC))
        o.desc = 1;
      else
        accept(kASC);
      if (!add(s_->order, o)) return false;
    } while (accept_ch(','));
  }
  return true;
}

bool Parser::insert() {
  if (!expect(kINSERT) || !expect(kINTO) || !new_stmt(kStmtInsert) || !table(&s_->ts)) return false;
  if (accept_ch('(')) {
    do {
      COLREF c;
      if (!plain_col(&c) || !add(s_->cols, c)) return false;
    } while (accept_ch(','));
    if (!expect_ch(')')) return false;
  }
  if (!expect(kVALUESP)) return false;
  do {
    EXPR* v = nullptr;
    if (!value(&v, true) || !add(s_->values, v)) return false;
  } while (accept_ch(','));
  if (!expect_ch(')')) return false;
  if (!s_->cols.empty() && s_->cols.count != s_->values.count) return fail(Refusal::kValueCount);
  return true;
}

bool Parser::update() {
  if (!expect(kUPDATE) || !new_stmt(kStmtUpdate) || !table(&s_->ts) || !expect(kSET)) return false;
  do {
    SETITEM item{};
    if (!plain_col(&item.col)) return false;
    if (!accept(kEqEq) && !expect_ch('=')) return false;
    if (!value(&item.value, true) || !add(s_->set, item)) return false;
  } while (accept_ch(','));
  return where();
}

bool Parser::delete_from() {
  return expect(kDELETE) && expect(kFROM) && new_stmt(kStmtDelete) && table(&s_->ts) && where();
}

bool Parser::create() {
  if (!expect(kCREATE)) return false;
  if (accept(kTABLE)) {
    if (!new_stmt(kStmtCreateTable) || !table(&s_->ts) || !expect_ch('(')) return false;
    do {
      COLDEF c{};
      if (!name(&c.s_colname)) return false;
      switch (tok_.kind) {
        case kCHARP:
          advance();
          if (!is(kInteger)) return syntax();
          if (tok_.out_of_range || tok_.ival < 1 || tok_.ival > 32767)
            return fail(Refusal::kNumberRange);
          c.type = kTypeChar;
          c.width = static_cast<int16_t>(tok_.ival);
          advance();
          if (!expect_ch(')')) return false;
          break;
        case kSMALLINT:
          c.type = kTypeSmallint;
          advance();
          break;
        case kINTEGER:
        case kINT:
          c.type = kTypeInteger;
          advance();
          break;
        case kFLOAT:
          c.type = kTypeFloat;
          advance();
          break;
        default:
          return syntax();
      }
      c.width = type_width(c.type, c.width);
      if (accept(kNOT)) {
        if (!expect(kNULL)) return false;
        c.not_null = 1;
      }
      if (!add(s_->coldefs, c)) return false;
    } while (accept_ch(','));
    return expect_ch(')');
  }
  if (is(kUNIQUE) || is(kINDEX)) {
    if (!new_stmt(kStmtCreateIndex)) return false;
    s_->unique = accept(kUNIQUE) ? 1 : 0;
    if (!expect(kINDEX) || !name(&s_->s_name) || !expect(kON) || !table(&s_->ts) ||
        !expect_ch('(')) {
      return false;
    }
    do {
      COLREF c;
      if (!plain_col(&c) || !add(s_->cols, c)) return false;
    } while (accept_ch(','));
    return expect_ch(')');
  }
  int16_t kind = kStmtCreateSynonym;
  if (is_word("PUBLIC")) {
    advance();
    kind = kStmtCreatePublicSynonym;
  }
  if (!expect_word("SYNONYM") || !new_stmt(kind) || !name(&s_->s_name) || !expect(kFOR) ||
      !name(&s_->s_target)) {
    return false;
  }
  if (kind == kStmtCreatePublicSynonym) {
    KYT_TRACE("KYTEXE", "s", 6, "undef. statement - CREATE_PUBLIC_SYNONYM");
  }
  return true;
}

bool Parser::drop() {
  if (!expect(kDROP)) return false;
  if (accept(kTABLE)) return new_stmt(kStmtDropTable) && table(&s_->ts);
  if (accept(kVIEW)) return new_stmt(kStmtDropView) && name(&s_->s_name);
  if (accept(kINDEX)) {
    if (!new_stmt(kStmtDropIndex) || !name(&s_->s_name)) return false;
    return !accept(kON) || table(&s_->ts);
  }
  return expect_word("SYNONYM") && new_stmt(kStmtDropSynonym) && name(&s_->s_name);
}

bool Parser::statement(bool select_ok) {
  switch (tok_.kind) {
    case kSELECT:
      return select_ok ? select() : syntax();
    case kINSERT:
      return insert();
    case kUPDATE:
      return update();
    case kDELETE:
      return delete_from();
    case kCREATE:
      return create();
    case kDROP:
      return drop();
    default:
      return syntax();
  }
}

bool Parser::end() {
  accept_ch(';');
  return is(kEnd) || syntax();
}

void Parser::interface_statement(ParseOut* out) {
  bool ok = false;
  out->op = DbiOp::kNone;
  switch (tok_.kind) {
    case kOPEN_DB:
    case kOPEN:
      if (is(kOPEN)) {
        advance();
        if (!expect_word("DB")) break;
      } else {
        advance();
      }
      if (is(kString) || is(kName)) {
        out->dbname = tok_.text;
        advance();
      }
      out->op = DbiOp::kOpenDb;
      ok = true;
      break;
    case kCLOSE_DB:
      advance();
      out->op = DbiOp::kCloseDb;
      ok = true;
      break;
    case kSET:
      advance();
      if (!expect(kAUTOCOMMIT)) break;
      if (accept(kON))
        out->op = DbiOp::kAutocommitOn;
      else if (accept(kOFF))
        out->op = DbiOp::kAutocommitOff;
      ok = out->op != DbiOp::kNone || syntax();
      break;
    case kCOMMIT:
    case kROLLBACK:
      out->op = is(kCOMMIT) ? DbiOp::kCommit : DbiOp::kRollback;
      advance();
      accept(kWORK);
      ok = true;
      break;
    case kDECLARE:
      advance();
      if (!name(&out->cursor) || !expect(kCURSOR) || !expect(kFOR)) break;
      out->sql_pos = tok_.pos;
      ok = select();
      out->op = DbiOp::kDeclare;
      break;
    case kFETCH:
    case kCLOSE:
      out->op = is(kFETCH) ? DbiOp::kFetch : DbiOp::kClose;
      advance();
      ok = name(&out->cursor);
      break;
    default:
      out->sql_pos = tok_.pos;
      ok = statement(false);
      out->op = DbiOp::kStatement;
      break;
  }
  if (ok) end();
  out->stmt = s_;
}

void Parser::isapar_statement(ParseOut* out) {
  bool ok = false;
  if (accept(kPREPARE)) {
    ok = true;
  } else if (accept(kEXECUTE)) {
    ok = expect(kIMMEDIATE);
    out->immediate = true;
  } else {
    syntax();
  }
  if (ok) {
    out->sql_pos = tok_.pos;
    if (statement(true)) end();
  }
  out->stmt = s_;
}

}  // namespace

int32_t refusal_status(Dialect dialect, Refusal r) {
  bool dbi = dialect == Dialect::kInterface;
  switch (r) {
    case Refusal::kNone:
      return OK_STATE;
    case Refusal::kSyntax:
      return dbi ? LPDBI_E_SYNTAX : DBI_E_SYNTAX;
    case Refusal::kNotSupported:
      return dbi ? LPDBI_E_NOT_SUPPORTED : DBI_E_NYI;
    case Refusal::kNameTooLong:
      return dbi ? LPDBI_E_NAME_TOO_LONG : DBI_E_SYNTAX;
    case Refusal::kNumberRange:
      return dbi ? LPDBI_E_NUMBER_RANGE : DBI_E_SYNTAX;
    case Refusal::kValueCount:
      return dbi ? LPDBI_E_VALUE_COUNT : DBI_E_SYNTAX;
    case Refusal::kTooDeep:
      return dbi ? LPDBI_E_TOO_DEEP : DBI_E_TOO_COMPLEX;
    case Refusal::kTooManyInputs:
      return dbi ? LPDBI_E_TOO_MANY_INPUTS : DBI_E_TOO_COMPLEX;
    case Refusal::kTooManyOutputs:
      return dbi ? LPDBI_E_TOO_MANY_OUTPUTS : DBI_E_TOO_COMPLEX;
    case Refusal::kNoMemory:
      return RC_INTERNAL_ERROR;
  }
  return RC_INTERNAL_ERROR;
}

bool join_pieces(StmtPool& pool, std::string_view prefix, std::span<const std::string_view> pieces,
                 std::string_view* text) {
  size_t len = prefix.empty() ? 0 : prefix.size() + 1;
  for (std::string_view p : pieces) len += p.size();
  char* buf = static_cast<char*>(pool.alloc(len + 1));
  if (buf == nullptr) return false;
  char* o = buf;
  if (!prefix.empty()) {
    std::memcpy(o, prefix.data(), prefix.size());
    o += prefix.size();
    *o++ = ' ';
  }
  for (std::string_view p : pieces) {
    if (!p.empty()) std::memcpy(o, p.data(), p.size());
    o += p.size();
  }
  *o = '\0';
  *text = std::string_view(buf, len);
  return true;
}

void parse(Dialect dialect, StmtPool& pool, std::string_view text, ParseOut* out) {
  *out = ParseOut{};
  char* buf = static_cast<char*>(pool.alloc(2 * text.size() + 1));
  if (buf == nullptr) {
    out->refusal = Refusal::kNoMemory;
    return;
  }
  Parser p(dialect, pool, text, buf);
  if (dialect == Dialect::kInterface) {
    p.interface_statement(out);
  } else {
    p.isapar_statement(out);
  }
  out->refusal = p.refusal();
  if (out->refusal != Refusal::kNone) {
    out->last_token = p.bad_token();
    out->stmt = nullptr;
    out->op = DbiOp::kNone;
  }
}

}  // namespace kyt::sql
