// sqlscan: one pass, no backtracking beyond the character after a number or a word.
#include "sql/sqlscan.h"

#include <charconv>
#include <cstring>

#include "runtime/runtime.h"

namespace kyt::sql {

namespace {

constexpr uint8_t kI = 1;  // known to the statement interface scanner
constexpr uint8_t kP = 2;  // known to the isapar scanner
constexpr uint8_t kBoth = kI | kP;

struct Keyword {
  const char* word;  // without the "(" of CHAR( and VALUES(
  Tok kind;
  uint8_t dialects;
};

// In the order of the scanner's rules.
constexpr Keyword kKeywords[] = {
    {"ADD", kADD, kBoth},
    {"ALL", kALL, kBoth},
    {"ALTER", kALTER, kBoth},
    {"ANY", kANY, kBoth},
    {"AS", kAS, kP},
    {"ASC", kASC, kBoth},
    {"AUTOCOMMIT", kAUTOCOMMIT, kBoth},
    {"BETWEEN", kBETWEEN, kBoth},
    {"BY", kBY, kBoth},
    {"CHAR", kCHARP, kBoth},
    {"CLOSE", kCLOSE, kBoth},
    {"CLOSE_DB", kCLOSE_DB, kBoth},
    {"COMMENT", kCOMMENT, kBoth},
    {"COMMIT", kCOMMIT, kBoth},
    {"CONNECT", kCONNECT, kP},
    {"CREATE", kCREATE, kBoth},
    {"CURSOR", kCURSOR, kBoth},
    {"DECLARE", kDECLARE, kBoth},
    {"DELETE", kDELETE, kBoth},
    {"DESC", kDESC, kBoth},
    {"DESCRIBE", kDESCRIBE, kP},
    {"DESCRIPTOR", kDESCRIPTOR, kP},
    {"DISTINCT", kDISTINCT, kBoth},
    {"DROP", kDROP, kBoth},
    {"EXECUTE", kEXECUTE, kP},
    {"FETCH", kFETCH, kBoth},
    {"FLOAT", kFLOAT, kBoth},
    {"FOR", kFOR, kBoth},
    {"FROM", kFROM, kBoth},
    {"EXISTS", kEXISTS, kBoth},
    {"GROUP", kGROUP, kBoth},
    {"HAVING", kHAVING, kBoth},
    {"IDENTIFIED", kIDENTIFIED, kP},
    {"IMMEDIATE", kIMMEDIATE, kP},
    {"INDEX", kINDEX, kBoth},
    {"INSERT", kINSERT, kBoth},
    {"INTEGER", kINTEGER, kBoth},
    {"IN", kIN, kBoth},
    {"INTO", kINTO, kBoth},
    {"IS", kIS, kBoth},
    {"LIKE", kLIKE, kBoth},
    {"NOT", kNOT, kBoth},
    {"NULL", kNULL, kBoth},
    {"OFF", kOFF, kBoth},
    {"ON", kON, kBoth},
    {"OPEN", kOPEN, kBoth},
    {"OPEN_DB", kOPEN_DB, kBoth},
    {"ORDER", kORDER, kBoth},
    {"PREPARE", kPREPARE, kP},
    {"ROLLBACK", kROLLBACK, kBoth},
    {"SELECT", kSELECT, kBoth},
    {"SET", kSET, kBoth},
    {"SMALLINT", kSMALLINT, kBoth},
    {"TABLE", kTABLE, kBoth},
    {"UNIQUE", kUNIQUE, kBoth},
    {"UPDATE", kUPDATE, kBoth},
    {"USING", kUSING, kP},
    {"VALUES", kVALUESP, kBoth},
    {"VIEW", kVIEW, kP},
    {"WHERE", kWHERE, kBoth},
    {"WORK", kWORK, kBoth},
    {"AND", kAND, kBoth},
    {"OR", kOR, kBoth},
    {"INT", kINT, kI},
};

constexpr size_t kMaxKeywordLen = 10;

// Keywords grouped by length, for the lookup of a word.
struct KeywordIndex {
  const Keyword* by_len[kMaxKeywordLen + 1][16] = {};
  uint8_t count[kMaxKeywordLen + 1] = {};
  KeywordIndex() {
    for (const Keyword& k : kKeywords) {
      size_t n = std::strlen(k.word);
      by_len[n][count[n]++] = &k;
    }
  }
};

const KeywordIndex& keyword_index() {
  static const KeywordIndex index;
  return index;
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
bool is_alpha(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
bool is_word(char c) {
  return is_alpha(c) || is_digit(c) || c == '_';
}
char upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

}  // namespace

int keyword_count(Dialect d) {
  uint8_t bit = d == Dialect::kInterface ? kI : kP;
  int n = 0;
  for (const Keyword& k : kKeywords) n += (k.dialects & bit) ? 1 : 0;
  return n;
}

const char* keyword_text(Tok kind) {
  if (kind == kCHARP) return "CHAR(";
  if (kind == kVALUESP) return "VALUES(";
  for (const Keyword& k : kKeywords) {
    if (k.kind == kind) return k.word;
  }
  return nullptr;
}

void Scanner::number(Token* t, size_t start) {
  size_t n = s_.size();
  // The integer part with its minus sign: the whole digit run is read, whatever its length;
  // beyond the int64 range the value saturates and the token says it is out of range.
  int64_t iv = 0;
  size_t used = 0;
  const NumText read = parse_int(s_.substr(start), INT64_MIN, INT64_MAX, &iv, NumSyntax{}, &used);
  size_t j = start + used;
  auto exponent_at = [&](size_t k) {
    if (k >= n || (s_[k] != 'e' && s_[k] != 'E')) return size_t{0};
    size_t m = k + 1;
    if (m < n && (s_[m] == '+' || s_[m] == '-')) ++m;
    if (m >= n || !is_digit(s_[m])) return size_t{0};
    while (m < n && is_digit(s_[m])) ++m;
    return m;
  };
  bool decimal = false;
  if (j + 1 < n && s_[j] == '.' && is_digit(s_[j + 1])) {
    decimal = true;
    for (++j; j < n && is_digit(s_[j]); ++j) {
    }
    if (size_t e = exponent_at(j)) j = e;
  } else if (size_t e = exponent_at(j)) {
    decimal = true;
    j = e;
  }
  t->pos = static_cast<uint32_t>(start);
  t->len = static_cast<uint32_t>(j - start);
  if (decimal) {
    t->kind = kDecimal;
    double f = 0;
    auto r = std::from_chars(s_.data() + start, s_.data() + j, f);
    t->fval = r.ec == std::errc() ? f : 0;
    t->out_of_range = r.ec != std::errc();
  } else {
    t->kind = kInteger;
    t->ival = iv;
    t->out_of_range = read == NumText::kOutOfRange;
  }
  i_ = j;
}

void Scanner::next(Token* t) {
  size_t n = s_.size();
  while (i_ < n && (s_[i_] == ' ' || s_[i_] == '\t' || s_[i_] == '\n' || s_[i_] == '\r')) ++i_;
  t->text = nullptr;
  t->text_len = 0;
  t->ch = 0;
  t->ival = 0;
  t->fval = 0;
  t->out_of_range = false;
  if (i_ >= n) {
    t->kind = kEnd;
    t->pos = static_cast<uint32_t>(n);
    t->len = 0;
    return;
  }
  size_t start = i_;
  char c = s_[i_];

  if (is_alpha(c)) {
    size_t j = i_;
    char* out = buf_;
    while (j < n && is_word(s_[j])) *out++ = upper(s_[j++]);
    *out = '\0';
    size_t wlen = j - i_;
    t->pos = static_cast<uint32_t>(start);
    if (wlen <= kMaxKeywordLen) {
      const KeywordIndex& ix = keyword_index();
      uint8_t bit = d_ == Dialect::kInterface ? kI : kP;
      for (uint8_t k = 0; k < ix.count[wlen]; ++k) {
        const Keyword* kw = ix.by_len[wlen][k];
        if (kw->word[0] != buf_[0] || (kw->dialects & bit) == 0 || std::memcmp(kw->word, buf_, wlen) != 0)
          continue;
        if (kw->kind == kCHARP || kw->kind == kVALUESP) {
          if (j >= n || s_[j] != '(') break;  // without its parenthesis the word is a name
          ++j;
        }
        t->kind = kw->kind;
        t->len = static_cast<uint32_t>(j - start);
        i_ = j;
        return;
      }
    }
    t->kind = kName;
    t->text = buf_;
    t->text_len = static_cast<uint32_t>(wlen);
    t->len = static_cast<uint32_t>(wlen);
    buf_ = out + 1;
    i_ = j;
    return;
  }

  if (is_digit(c) || (c == '-' && i_ + 1 < n && is_digit(s_[i_ + 1]))) {
    number(t, i_);
    return;
  }

  if (c == '\'') {
    size_t j = i_ + 1;
    char* out = buf_;
    for (;;) {
      if (j >= n) {
        t->kind = kBadString;
        t->pos = static_cast<uint32_t>(start);
        t->len = static_cast<uint32_t>(n - start);
        i_ = n;
        return;
      }
      if (s_[j] == '\'') {
        if (j + 1 < n && s_[j + 1] == '\'') {
          *out++ = '\'';
          j += 2;
          continue;
        }
        ++j;
        break;
      }
      *out++ = s_[j++];
    }
    *out = '\0';
    t->kind = kString;
    t->text = buf_;
    t->text_len = static_cast<uint32_t>(out - buf_);
    t->pos = static_cast<uint32_t>(start);
    t->len = static_cast<uint32_t>(j - start);
    buf_ = out + 1;
    i_ = j;
    return;
  }

  char c2 = i_ + 1 < n ? s_[i_ + 1] : '\0';
  Tok kind = kChar;
  size_t len = 1;
  switch (c) {
    case '=':
      if (c2 == '=') kind = kEqEq, len = 2;
      break;
    case '<':
      if (c2 == '>')
        kind = kNe, len = 2;
      else if (c2 == '=')
        kind = kLe, len = 2;
      else
        kind = kLt;
      break;
    case '>':
      if (c2 == '=')
        kind = kGe, len = 2;
      else
        kind = kGt;
      break;
    case '+':
      kind = kPlus;
      break;
    case '-':
      kind = kMinus;
      break;
    case '*':
      kind = kStar;
      break;
    case '/':
      kind = kSlash;
      break;
    default:
      break;
  }
  t->kind = kind;
  t->ch = kind == kChar ? c : 0;
  t->pos = static_cast<uint32_t>(start);
  t->len = static_cast<uint32_t>(len);
  i_ += len;
}

}  // namespace kyt::sql
