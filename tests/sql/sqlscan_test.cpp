// The scanner: longest match, keywords before names, the two dialects.
#include "sql/sqlscan.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kyt::sql {
namespace {

std::vector<Token> scan(Dialect d, const std::string& text, std::string* buf) {
  buf->assign(2 * text.size() + 1, '\0');
  Scanner s(d, text, buf->data());
  std::vector<Token> out;
  Token t;
  do {
    s.next(&t);
    out.push_back(t);
  } while (t.kind != kEnd && out.size() < 200);
  return out;
}

TEST(SqlScan, TokensByLongestMatch) {
  std::string buf;
  std::string text =
      "select Char(17) CHAR (17) VALUES(? values (?WHERE a-1 -12 1.5 2e5 1.5E-3 12e 'it''s' "
      "== <> >= > <= < = + - * / ; close_db x_1 _";
  std::vector<Token> t = scan(Dialect::kIsapar, text, &buf);
  std::vector<Tok> kinds;
  for (const Token& x : t) kinds.push_back(x.kind);
  EXPECT_EQ(kinds,
            (std::vector<Tok>{kSELECT,   kCHARP,   kInteger, kChar,    kName,    kChar,    kInteger,
                              kChar,     kVALUESP, kChar,    kName,    kChar,    kChar,    kWHERE,
                              kName,     kInteger, kInteger, kDecimal, kDecimal, kDecimal, kInteger,
                              kName,     kString,  kEqEq,    kNe,      kGe,      kGt,      kLe,
                              kLt,       kChar,    kPlus,    kMinus,   kStar,    kSlash,   kChar,
                              kCLOSE_DB, kName,    kChar,    kEnd}));
  EXPECT_STREQ(t[4].text, "CHAR");  // "CHAR (" is a name and a parenthesis
  EXPECT_STREQ(t[10].text, "VALUES");
  EXPECT_EQ(t[15].ival, -1);  // "a-1" is A and -1
  EXPECT_EQ(t[16].ival, -12);
  EXPECT_DOUBLE_EQ(t[17].fval, 1.5);
  EXPECT_DOUBLE_EQ(t[18].fval, 2e5);
  EXPECT_DOUBLE_EQ(t[19].fval, 1.5e-3);
  EXPECT_EQ(t[20].ival, 12);
  EXPECT_STREQ(t[21].text, "E");
  EXPECT_STREQ(t[22].text, "it's");
  EXPECT_EQ(text.substr(t[22].pos, t[22].len), "'it''s'");
  EXPECT_STREQ(t[36].text, "X_1");

  t = scan(Dialect::kIsapar, "x 'open", &buf);
  EXPECT_EQ(t[1].kind, kBadString);
  EXPECT_TRUE(scan(Dialect::kIsapar, "1e999", &buf)[0].out_of_range);

  // Integers beyond 64 bits are one token each, saturated and marked, never wrapped.
  t = scan(Dialect::kIsapar, "9223372036854775807 9223372036854775808 -9223372036854775808 "
                             "-18446744073709551615 18446744073709551617)",
           &buf);
  ASSERT_EQ(t.size(), 7u);
  EXPECT_EQ(t[0].ival, INT64_MAX);
  EXPECT_FALSE(t[0].out_of_range);
  EXPECT_EQ(t[1].ival, INT64_MAX);
  EXPECT_TRUE(t[1].out_of_range);
  EXPECT_EQ(t[2].ival, INT64_MIN);
  EXPECT_FALSE(t[2].out_of_range);
  EXPECT_EQ(t[3].ival, INT64_MIN);
  EXPECT_TRUE(t[3].out_of_range);
  EXPECT_EQ(t[4].ival, INT64_MAX);
  EXPECT_TRUE(t[4].out_of_range);
  EXPECT_EQ(t[4].len, 20u);
  EXPECT_EQ(t[5].kind, kChar);
  t = scan(Dialect::kIsapar, std::string(300, '9') + ".5", &buf);
  EXPECT_EQ(t[0].kind, kDecimal);
  EXPECT_EQ(t[0].len, 302u);
  EXPECT_FALSE(t[0].out_of_range);
}

TEST(SqlScan, DialectsDifferOnlyInTheirKeywords) {
  EXPECT_EQ(keyword_count(Dialect::kIsapar), 63);
  EXPECT_EQ(keyword_count(Dialect::kInterface), 54);
  std::string buf;
  std::string words = "INT PREPARE EXECUTE IMMEDIATE VIEW AS USING integer";
  std::vector<Token> i = scan(Dialect::kInterface, words, &buf);
  EXPECT_EQ(i[0].kind, kINT);
  for (int k = 1; k <= 6; ++k) EXPECT_EQ(i[k].kind, kName) << k;
  EXPECT_EQ(i[7].kind, kINTEGER);
  std::vector<Token> p = scan(Dialect::kIsapar, words, &buf);
  EXPECT_EQ(p[0].kind, kName);
  EXPECT_EQ(p[1].kind, kPREPARE);
  EXPECT_EQ(p[5].kind, kAS);
  EXPECT_STREQ(keyword_text(kVALUESP), "VALUES(");
}

}  // namespace
}  // namespace kyt::sql
