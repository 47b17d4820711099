#include "runtime/numtext.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace kyt {
namespace {

// "status value used" for one signed read.
std::string s(std::string_view t, int64_t lo = INT64_MIN, int64_t hi = INT64_MAX,
              NumSyntax syn = {}, bool want_used = false) {
  int64_t v = -42;
  size_t used = 99;
  NumText r = parse_int(t, lo, hi, &v, syn, want_used ? &used : nullptr);
  std::string out = std::to_string(static_cast<int>(r)) + " " + std::to_string(v);
  if (want_used) out += " " + std::to_string(used);
  return out;
}

std::string u(std::string_view t, uint64_t hi = UINT64_MAX, NumSyntax syn = {}) {
  uint64_t v = 42;
  NumText r = parse_uint(t, hi, &v, syn);
  return std::to_string(static_cast<int>(r)) + " " + std::to_string(v);
}

// 0 kOk, 1 kNoNumber, 2 kOutOfRange, 3 kTrailing.
TEST(NumText, SignedBoundariesNeverWrap) {
  EXPECT_EQ(s("9223372036854775807"), "0 9223372036854775807");
  EXPECT_EQ(s("9223372036854775808"), "2 9223372036854775807");
  EXPECT_EQ(s("-9223372036854775808"), "0 -9223372036854775808");
  EXPECT_EQ(s("-9223372036854775809"), "2 -9223372036854775808");
  EXPECT_EQ(s("18446744073709551615"), "2 9223372036854775807");
  EXPECT_EQ(s("18446744073709551617"), "2 9223372036854775807");  // UINT64_MAX + 2, not 1
  EXPECT_EQ(s("-18446744073709551617"), "2 -9223372036854775808");
  EXPECT_EQ(s(std::string(400, '9')), "2 9223372036854775807");
  EXPECT_EQ(s("000000000000000000000000000000042"), "0 42");  // long, but small
  EXPECT_EQ(s("-0"), "0 0");
  EXPECT_EQ(s("+7"), "0 7");

  // A range of the caller's own: the nearer bound is given back with the refusal.
  EXPECT_EQ(s("32767", 1, 32767), "0 32767");
  EXPECT_EQ(s("32768", 1, 32767), "2 32767");
  EXPECT_EQ(s("0", 1, 32767), "2 1");
  EXPECT_EQ(s("-0", 1, 32767), "2 1");
  EXPECT_EQ(s("-5", 1, 32767), "2 1");
  EXPECT_EQ(s("-3", -10, -5), "2 -5");
  EXPECT_EQ(s("4", -10, -5), "2 -5");
  EXPECT_EQ(s("-10", -10, -5), "0 -10");
  EXPECT_EQ(s("-2147483649", INT32_MIN, INT32_MAX), "2 -2147483648");
}

TEST(NumText, SyntaxAsTheCallerAsks) {
  EXPECT_EQ(s(""), "1 0");
  EXPECT_EQ(s("-"), "1 0");
  EXPECT_EQ(s("+-1"), "1 0");
  EXPECT_EQ(s("abc"), "1 0");
  EXPECT_EQ(s(" 5"), "1 0");  // blanks only when asked for
  EXPECT_EQ(s(" \t\n5", INT64_MIN, INT64_MAX, {true, true}), "0 5");
  EXPECT_EQ(s("-5", INT64_MIN, INT64_MAX, {false, false}), "1 0");
  EXPECT_EQ(s("5x"), "3 5");
  EXPECT_EQ(s("5 "), "3 5");
  EXPECT_EQ(s(std::string_view("12\0" "3", 4)), "3 12");  // an embedded NUL is junk too
  // With `used` asked for, the rest is the caller's; out of range still reports the whole run.
  EXPECT_EQ(s("  -12abc", INT64_MIN, INT64_MAX, {true, true}, true), "0 -12 5");
  EXPECT_EQ(s("99999999999999999999999.5", INT64_MIN, INT64_MAX, {}, true),
            "2 9223372036854775807 23");
  EXPECT_EQ(s("x1", INT64_MIN, INT64_MAX, {}, true), "1 0 0");

  EXPECT_EQ(u("18446744073709551615"), "0 18446744073709551615");
  EXPECT_EQ(u("18446744073709551616"), "2 18446744073709551615");
  EXPECT_EQ(u("18446744073709551617"), "2 18446744073709551615");
  EXPECT_EQ(u(std::string(25, '1')), "2 18446744073709551615");
  EXPECT_EQ(u("-0"), "0 0");
  EXPECT_EQ(u("-1"), "2 0");
  EXPECT_EQ(u("256", 255), "2 255");
  EXPECT_EQ(u("255", 255), "0 255");
  EXPECT_EQ(u("", 255), "1 0");
  EXPECT_EQ(u("1e3"), "3 1");
}

TEST(NumText, CPrefixesAndSwitches) {
  const NumSyntax c{.blanks = true, .sign = true, .c_prefix = true};
  EXPECT_EQ(s("0x1F", INT64_MIN, INT64_MAX, c), "0 31");
  EXPECT_EQ(s("0X7fffffffffffffff", INT64_MIN, INT64_MAX, c), "0 9223372036854775807");
  EXPECT_EQ(s("0x10000000000000000", INT64_MIN, INT64_MAX, c), "2 9223372036854775807");
  EXPECT_EQ(s("010", INT64_MIN, INT64_MAX, c), "0 8");
  EXPECT_EQ(s("0", INT64_MIN, INT64_MAX, c), "0 0");
  EXPECT_EQ(s("-0x10", INT64_MIN, INT64_MAX, c), "0 -16");
  EXPECT_EQ(s("09", INT64_MIN, INT64_MAX, c, true), "0 0 1");  // 9 is no octal digit
  EXPECT_EQ(s("0xg", INT64_MIN, INT64_MAX, c, true), "0 0 1");  // "0", then junk
  EXPECT_EQ(s("0x", INT64_MIN, INT64_MAX, c, true), "0 0 1");
  EXPECT_EQ(s("0x1F", INT64_MIN, INT64_MAX, {}, true), "0 0 1");  // decimal: the 0 alone
  EXPECT_TRUE(nonzero_number(" 1"));
  EXPECT_TRUE(nonzero_number("0x10"));
  EXPECT_TRUE(nonzero_number("-18446744073709551616"));  // out of range is still not 0
  EXPECT_TRUE(nonzero_number("18446744073709551616"));
  EXPECT_FALSE(nonzero_number("0"));
  EXPECT_FALSE(nonzero_number("0x0"));
  EXPECT_FALSE(nonzero_number("junk"));
  EXPECT_FALSE(nonzero_number(""));
}

}  // namespace
}  // namespace kyt
