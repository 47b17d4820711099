// ISAsqlutil: the statement interface parser (trace tag "lpdbi").
//
// rpdsql hands every statement to this parser as pieces (joined with nothing between them)
// and host variable descriptors. The parser reads the whole statement, the cursor, database
// and transaction statements included, binds the host variables to the "?" marks, and
// answers a parsed, bound statement (DbiStatement). It runs nothing: the executor dispatches
// the result to its numbered operations (alloc cursor, prepare with isapar, put input, open,
// fetch, close; or the database and transaction operations).
//
// Host variables: one per "?" mark in text order (inputs); then, for DECLARE, one per
// selected column in select-list order (outputs, which the declaration's first fetch fills);
// for FETCH every host variable is an output. Type codes: 1 zero-terminated text, 2 double,
// 4 32-bit integer, 8 16-bit integer. The value of each input is read when it is bound and
// stored in its "?" node of the statement record.
//
// Statuses (status.h): 0; LPDBI_E_SYNTAX 24201001 syntax error; LPDBI_E_HOSTVAR_MISSING
// 24201002 fewer host variables than inputs and outputs; LPDBI_E_HOSTVAR_LEFT 24201003 host
// variables left over; LPDBI_E_HOSTVAR_NULL 24201004 a host variable without address;
// LPDBI_E_TOO_MANY_INPUTS 24201005 more than 30 "?" marks; LPDBI_E_TOO_MANY_OUTPUTS 24201006
// more than 30 selected columns or FETCH host variables; LPDBI_E_HOSTVAR_TYPE 24201008 a
// type code other than 1, 2, 4, 8; LPDBI_E_NAME_TOO_LONG 24201009 a name over 18
// characters; LPDBI_E_NUMBER_RANGE 24201010 an integer beyond 32 bits, a decimal beyond the
// double range, or CHAR(n) with n not 1 to 32767; LPDBI_E_VALUE_COUNT 24201011 INSERT column
// and value lists of different lengths; LPDBI_E_NOT_SUPPORTED 24201020 a word of the language
// the station does not implement (see sqlparse.h); LPDBI_E_TOO_DEEP 24201021 a condition
// nested more than 64 deep; 99 the statement pool could not supply memory. Host variables are
// checked in order, mark by mark; the first failing one gives the status. On any failure the
// result is empty.
//
// A refusal is traced at level 1: "lpdbi: %s \n" with "syntax error" (then "last token read
// was |%s|\n") or the status's text, then " stmt = |%s|\n".
//
// The result and everything it points to live in dbi_pool() until the next call; the host
// variable spans point into the caller's array.
#ifndef KYT_SQL_ISASQLUTIL_H
#define KYT_SQL_ISASQLUTIL_H

#include <cstdint>
#include <span>
#include <string_view>

#include "sql/dbi.h"
#include "sql/stmt.h"

namespace kyt {

// Reads an input host variable (type 1, 2, 4 or 8, address set) into a "?" value node.
void bind_hostvar(EXPR* e, const HostVar& h);

int32_t lpdbi_parse(std::span<const std::string_view> pieces, std::span<const HostVar> hostvars,
                    DbiStatement* out);
inline int32_t lpdbi_parse(std::string_view text, std::span<const HostVar> hostvars,
                           DbiStatement* out) {
  return lpdbi_parse(std::span<const std::string_view>(&text, 1), hostvars, out);
}

}  // namespace kyt

#endif  // KYT_SQL_ISASQLUTIL_H
