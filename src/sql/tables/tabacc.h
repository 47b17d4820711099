// tabacc: generic access to the station tables by their description, for the services that
// work on any table (the command table cache, the database's creation): the engine of the
// per-table modules (tabmod) with what it needs of the SQL layer's internals left out.
#ifndef KYT_SQL_TABLES_TABACC_H
#define KYT_SQL_TABLES_TABACC_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>

#include "kyt/kyt_elem.h"
#include "sql/schema.h"

namespace kyt {

// The station tables, in the order of station_schema().
enum class Tab : int {
#define KYT_ELEM_BEGIN(tt, TT) k##TT,
#define KYT_ELEM_MEMBER(tt, m, bytes)
#define KYT_ELEM_END(tt)
#include "sql/tables/elem_layout.inc"
#undef KYT_ELEM_BEGIN
#undef KYT_ELEM_MEMBER
#undef KYT_ELEM_END
  kCount
};

namespace tm {

// Where a table's element keeps each column.
struct ElemLayout {
  const char* tt;                  // "kt"
  size_t size;                     // sizeof the record
  size_t next;                     // offset of next
  std::span<const size_t> offset;  // one a column, column order
  std::span<const size_t> bytes;   // member sizes
};
const ElemLayout& layout(Tab t);
const SchemaTable& table(Tab t);

// A value a named function hands in: a condition's operand or a host variable.
struct Arg {
  int32_t type;  // kTypeChar, kTypeInteger, or kArgDt (date-time text)
  int32_t i;
  const char* s;
};
constexpr int32_t kArgDt = 16;
inline Arg arg(int32_t v) { return Arg{kTypeInteger, v, nullptr}; }
inline Arg arg(const char* s) { return Arg{kTypeChar, 0, s}; }
inline Arg dt(const char* s) { return Arg{kArgDt, 0, s}; }

using Args = std::initializer_list<Arg>;
using Cols = std::initializer_list<const char*>;

// CREATE TABLE and CREATE UNIQUE INDEX of the table through rpdsql.
int32_t create(Tab t, const char* fn);

// One row into `elem`: the first row of "SELECT <all columns> FROM <TT> WHERE <where>".
int32_t get(Tab t, const char* fn, const char* cursor, const char* where, Args in, void* elem);
// One column of the first row into `out` (text of the column's width, int32_t or int16_t).
int32_t get_col(Tab t, const char* fn, const char* cursor, const char* col, const char* where,
                Args in, void* out);
// Every row (where and order may be null): the first into `first`, the rest allocated.
// `cols` empty: all columns; else only those are read, the other members stay as they are
// (zero in the allocated elements).
int32_t list(Tab t, const char* fn, const char* cursor, const char* where, const char* order,
             Args in, void* first, Cols cols = {});
// The number of rows satisfying `where`.
int32_t count(Tab t, const char* fn, const char* cursor, const char* where, Args in,
              int32_t* n);
// Frees the elements behind `first` and clears first->next.
void free_list(Tab t, void* first);

// A row from the element, every column.
int32_t insert(Tab t, const char* fn, const void* elem);
// The columns `set` of the rows whose key columns equal the element's (every row of a table
// without key). `trace` (optional) replaces the failure text; it is given the status, the
// first key column's value and the first set column's value as ints.
int32_t update_cols(Tab t, const char* fn, const void* elem, std::span<const char* const> set,
                    const char* trace = nullptr);
inline int32_t update(Tab t, const char* fn, const void* elem, Cols set,
                      const char* trace = nullptr) {
  return update_cols(t, fn, elem, std::span<const char* const>(set.begin(), set.size()), trace);
}
// Whether a row whose key columns equal the element's is there: 0 with *found, or the
// failing status (traced "<fn> select returns %d"). A table without key: false.
int32_t key_exists(Tab t, const char* fn, const void* elem, bool* found);
// A statement text through rpdsql (bulk changes); traces "<fn> returns %d".
int32_t run(const char* fn, const char* statement);

// Insert timing of a table (milliseconds): count, min, max, average, average of the last 100.
struct Timing {
  long count = 0, min = 0, max = 0, avr = 0, avr100 = 0;
};
Timing timing(Tab t);

}  // namespace tm
}  // namespace kyt

#endif  // KYT_SQL_TABLES_TABACC_H
