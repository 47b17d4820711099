// numtext: decimal integer texts read into a given range.
#include "runtime/numtext.h"

namespace kyt {

namespace {

bool is_blank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
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
  const size_t first = p;
  for (; p < t.size(); ++p) {
    const unsigned digit = static_cast<unsigned char>(t[p]) - unsigned{'0'};
    if (digit > 9) break;
    if (d.magnitude > (UINT64_MAX - digit) / 10) d.over = true;  // asked before it can wrap
    if (!d.over) d.magnitude = d.magnitude * 10 + digit;
  }
  d.found = p > first;
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

}  // namespace kyt
