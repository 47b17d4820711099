// sqlscan: the scanners of the two SQL parsers (internal to src/sql).
//
// One scanner, two dialects: the statement interface scanner and the isapar scanner share
// every rule and differ only in their keywords (the interface scanner lacks AS, CONNECT,
// DESCRIBE, DESCRIPTOR, EXECUTE, IDENTIFIED, IMMEDIATE, PREPARE, USING and VIEW, and alone
// knows INT, a second spelling of INTEGER). A word that is not a keyword of the dialect is a
// name.
//
// Tokens, longest match first, keywords before names:
//   words      [A-Za-z][A-Za-z0-9_]*: keywords in any letter case, else names, kept in upper
//              case. "CHAR" and "VALUES" directly followed by "(" are the single tokens
//              "CHAR(" and "VALUES("; with a blank between they are names.
//   numbers    -?[0-9]+ integer; -?[0-9]+\.[0-9]+([eE][+-]?[0-9]+)? decimal;
//              -?[0-9]+[eE][+-]?[0-9]+ exponent (floating values). "-" followed by a digit
//              begins a number, so "a-1" is the name A and the integer -1.
//   strings    '...' with '' standing for one quote; the token's text is the unquoted value.
//              An unclosed quote is a token of its own (kBadString), always a syntax error.
//   operators  "==" "<>" ">=" ">" "<=" "<"  "+" "-" "*" "/"
//   any other character is a token by itself (kChar): "=" "?" "(" ")" "," "." ";" ...
//   blank, tab, CR and LF separate tokens.
//
// Names and string values are written, NUL-terminated, into the work buffer given to the
// scanner; it must hold twice the text's length plus one byte (a stored token of n >= 1
// source bytes takes at most n + 1 <= 2n bytes).
#ifndef KYT_SQL_SQLSCAN_H
#define KYT_SQL_SQLSCAN_H

#include <cstdint>
#include <string_view>

namespace kyt::sql {

enum class Dialect : uint8_t { kInterface, kIsapar };

enum Tok : uint8_t {
  kEnd,
  kName,
  kInteger,
  kDecimal,  // decimal and exponent literals alike
  kString,
  kBadString,
  kEqEq,
  kNe,
  kGe,
  kGt,
  kLe,
  kLt,
  kPlus,
  kMinus,
  kStar,
  kSlash,
  kChar,  // any other single character, in Token::ch
  // Keywords, in the order of the scanner's rules.
  kADD,
  kALL,
  kALTER,
  kANY,
  kAS,
  kASC,
  kAUTOCOMMIT,
  kBETWEEN,
  kBY,
  kCHARP,  // "CHAR("
  kCLOSE,
  kCLOSE_DB,
  kCOMMENT,
  kCOMMIT,
  kCONNECT,
  kCREATE,
  kCURSOR,
  kDECLARE,
  kDELETE,
  kDESC,
  kDESCRIBE,
  kDESCRIPTOR,
  kDISTINCT,
  kDROP,
  kEXECUTE,
  kFETCH,
  kFLOAT,
  kFOR,
  kFROM,
  kEXISTS,
  kGROUP,
  kHAVING,
  kIDENTIFIED,
  kIMMEDIATE,
  kINDEX,
  kINSERT,
  kINTEGER,
  kIN,
  kINTO,
  kIS,
  kLIKE,
  kNOT,
  kNULL,
  kOFF,
  kON,
  kOPEN,
  kOPEN_DB,
  kORDER,
  kPREPARE,
  kROLLBACK,
  kSELECT,
  kSET,
  kSMALLINT,
  kTABLE,
  kUNIQUE,
  kUPDATE,
  kUSING,
  kVALUESP,  // "VALUES("
  kVIEW,
  kWHERE,
  kWORK,
  kAND,
  kOR,
  kINT,  // statement interface only
};

struct Token {
  Tok kind = kEnd;
  char ch = 0;       // kChar
  uint32_t pos = 0;  // raw text: source[pos, pos + len)
  uint32_t len = 0;
  const char* text = nullptr;  // kName (upper case), kString (value); NUL-terminated
  uint32_t text_len = 0;
  int64_t ival = 0;           // kInteger; saturated beyond the int64 range
  double fval = 0;            // kDecimal
  bool out_of_range = false;  // kInteger beyond the int64 range, kDecimal beyond the double range
};

class Scanner {
 public:
  Scanner(Dialect dialect, std::string_view src, char* buf) : d_(dialect), s_(src), buf_(buf) {}
  void next(Token* t);

 private:
  void number(Token* t, size_t start);
  Dialect d_;
  std::string_view s_;
  char* buf_;
  size_t i_ = 0;
};

// Keywords of a dialect, in rule order (for tests and documentation).
int keyword_count(Dialect d);
const char* keyword_text(Tok kind);  // "CHAR(" for kCHARP; nullptr for non-keywords

}  // namespace kyt::sql

#endif  // KYT_SQL_SQLSCAN_H
