// numtext: integer texts read into a given range, with out-of-range reported.
//
// Every reader of a decimal number in the system (the SQL scanner, stored fields, command
// options, the command language, date texts) goes through these two functions, so that a
// number too large for its place is refused the same way everywhere instead of wrapping.
//
// Syntax: [blanks] [sign] digits [rest]
//   blanks  space, tab, LF, VT, FF, CR; skipped only when NumSyntax::blanks is set
//   sign    '+' or '-'; accepted only when NumSyntax::sign is set
//   digits  one or more of 0-9, any number of them (leading zeros included); with
//           NumSyntax::c_prefix, "0x" or "0X" and hex digits, or a leading 0 and octal
//           digits, as C's strtol with base 0 reads them
//   rest    anything after the last digit: allowed only when the caller asks where the
//           number ended (`used` not null); otherwise it is kTrailing
// No input, however long, has undefined behaviour: the digits are accumulated with an
// overflow check and the run is read to its end whatever its length.
#ifndef KYT_RUNTIME_NUMTEXT_H
#define KYT_RUNTIME_NUMTEXT_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kyt {

enum class NumText {
  kOk,          // a number within the range
  kNoNumber,    // no digit where the number should start
  kOutOfRange,  // digits that lie outside [lo, hi]
  kTrailing,    // a number, followed by text the caller did not allow
};

struct NumSyntax {
  bool blanks = false;  // leading blanks are skipped
  bool sign = true;     // a leading '+' or '-' is accepted
  bool c_prefix = false;  // "0x" hex and "0" octal prefixes (settings such as DBG_LVL)
};

// Reads `text` as an integer in [lo, hi] (lo <= hi).
// *value: the number for kOk and kTrailing, the nearer bound for kOutOfRange, 0 for
// kNoNumber. *used (when not null): bytes up to and including the last digit (the whole digit
// run, also when out of range), 0 for kNoNumber; with `used` given, text after the number is
// the caller's business and never kTrailing.
NumText parse_int(std::string_view text, int64_t lo, int64_t hi, int64_t* value,
                  NumSyntax syntax = {}, size_t* used = nullptr);

// The same for [0, hi] as unsigned: "-0" is 0, any other negative number is out of range.
NumText parse_uint(std::string_view text, uint64_t hi, uint64_t* value, NumSyntax syntax = {},
                   size_t* used = nullptr);

// Whether `text` starts with a number other than 0, as C's strtol with base 0 reads it (a
// switch such as DEBUG or DBG_LVL): a number out of any range is not 0.
bool nonzero_number(std::string_view text);

}  // namespace kyt

#endif  // KYT_RUNTIME_NUMTEXT_H
