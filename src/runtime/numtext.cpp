// numtext: integer texts read into a given range.
#include "runtime/numtext.h"

namespace kyt {

namespace {

bool is_blank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

// The value of a hex digit (also of a decimal one), 16 for any other character.
unsigned hex_digit(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
  return 16;
}

// The common part: blanks, sign and the digit run, as a magnitude that saturates at
// UINT64_MAX (`over` set) instead of wrapping.
struct Digits {
  bool found = false;
  bool negative = false;
  bool over = false;
  uint64_t magnitude = 0;
  size_t end = 0;  // index behind the last digit
};

Digits scan(std::string_view t, NumSyntax syntax) {
  Digits d;
  size_t p = 0;
  if (syntax.blanks) {
    while (p < t.size() && is_blank(t[p])) ++p;
  }
  if (syntax.sign && p < t.size() && (t[p] == '+' || t[p] == '-')) d.negative = t[p++] == '-';
  unsigned base = 10;
  bool zero = false;  // the "0" of a prefix counts as a digit of its own
  if (syntax.c_prefix && p < t.size() && t[p] == '0') {
    if (p + 2 < t.size() && (t[p + 1] == 'x' || t[p + 1] == 'X') && hex_digit(t[p + 2]) < 16) {
      base = 16;
      p += 2;
    } else {
      base = 8;
      zero = true;
      ++p;
    }
  }
  const size_t first = p;
  for (; p < t.size(); ++p) {
    const unsigned digit = hex_digit(t[p]);
    if (digit >= base) break;
    if (d.magnitude > (UINT64_MAX - digit) / base) d.over = true;  // asked before it can wrap
    if (!d.over) d.magnitude = d.magnitude * base + digit;
  }
  d.found = p > first || zero;
  d.end = d.found ? p : 0;
  return d;
}

NumText finish(const Digits& d, std::string_view t, size_t* used, NumText in_range) {
  if (used != nullptr) *used = d.end;
  if (!d.found) return NumText::kNoNumber;
  if (in_range != NumText::kOk) return in_range;
  if (used == nullptr && d.end != t.size()) return NumText::kTrailing;
  return NumText::kOk;
}

}  // namespace

NumText parse_int(std::string_view text, int64_t lo, int64_t hi, int64_t* value,
                  NumSyntax syntax, size_t* used) {
  const Digits d = scan(text, syntax);
  *value = 0;
  if (!d.found) return finish(d, text, used, NumText::kNoNumber);
  NumText range = NumText::kOk;
  if (!d.negative || d.magnitude == 0) {
    // Non-negative: compared as unsigned so that no bound needs a conversion that could fail.
    if (d.over || hi < 0 || d.magnitude > static_cast<uint64_t>(hi)) {
      *value = hi;
      range = NumText::kOutOfRange;
    } else if (lo > 0 && d.magnitude < static_cast<uint64_t>(lo)) {
      *value = lo;
      range = NumText::kOutOfRange;
    } else {
      *value = static_cast<int64_t>(d.magnitude);
    }
  } else {
    // Negative: the largest magnitude lo allows, computed without negating INT64_MIN.
    const uint64_t max_neg = lo < 0 ? static_cast<uint64_t>(-(lo + 1)) + 1 : 0;
    if (d.over || d.magnitude > max_neg) {
      *value = lo;
      range = NumText::kOutOfRange;
    } else {
      const int64_t v = -static_cast<int64_t>(d.magnitude - 1) - 1;
      if (v > hi) {
        *value = hi;
        range = NumText::kOutOfRange;
      } else {
        *value = v;
      }
    }
  }
  return finish(d, text, used, range);
}

NumText parse_uint(std::string_view text, uint64_t hi, uint64_t* value, NumSyntax syntax,
                   size_t* used) {
  const Digits d = scan(text, syntax);
  *value = 0;
  if (!d.found) return finish(d, text, used, NumText::kNoNumber);
  NumText range = NumText::kOk;
  if (d.negative && d.magnitude != 0) {
    range = NumText::kOutOfRange;  // *value stays 0, the nearer bound
  } else if (d.over || d.magnitude > hi) {
    *value = hi;
    range = NumText::kOutOfRange;
  } else {
    *value = d.magnitude;
  }
  return finish(d, text, used, range);
}

bool nonzero_number(std::string_view text) {
  int64_t v = 0;
  size_t used = 0;
  const NumText r = parse_int(text, INT64_MIN, INT64_MAX, &v,
                              NumSyntax{.blanks = true, .sign = true, .c_prefix = true}, &used);
  return r == NumText::kOutOfRange || (r == NumText::kOk && v != 0);
}

}  // namespace kyt
