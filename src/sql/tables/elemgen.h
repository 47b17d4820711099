// elemgen: the element records of the station tables, written from the table description.
//
// The public header include/kyt/kyt_elem.h and the member table elem_layout.inc beside this
// file are both produced by these functions from station_schema() and kept in the tree (the
// Windows build is cross-compiled, so nothing is generated while building). The unit test
// ElemRecords compares both files byte for byte with what these functions write, and writes
// them anew when run with KYT_REGEN_ELEM=1 in the environment:
//   KYT_REGEN_ELEM=1 out/linux/tests/kyt_tests --gtest_filter='ElemRecords.*'
//
// The rule (fixed, clients rely on it): struct kyt_<tt>_elem with tt the table name in lower
// case; one member a column, in column order, named by the column in lower case; CHAR(n) as
// char[n], SMALLINT int16_t, INTEGER int32_t, date-time columns (INTEGER columns whose name
// begins with DT) char[20] holding the date-time text; last `struct kyt_<tt>_elem *next`. One
// name differs: the column ERRNO is the member errno_, since errno is a macro of <errno.h>.
#ifndef KYT_SQL_TABLES_ELEMGEN_H
#define KYT_SQL_TABLES_ELEMGEN_H

#include <cstddef>
#include <string>

#include "sql/isatab.h"

namespace kyt {

// Bytes of a date-time text field, its zero byte included ("YYYY/MM/DD hh:mm:ss").
constexpr size_t kElemDtSize = 20;

// Whether a column is a date-time column: INTEGER and named DT...
bool is_dt_column(const COLDEF& c);
// The member name of a column ("cmdtype"; "errno_" for ERRNO).
std::string elem_member_name(const char* colname);
// The bytes of a column's member.
size_t elem_member_size(const COLDEF& c);

// The text of include/kyt/kyt_elem.h and of src/sql/tables/elem_layout.inc.
std::string elem_header_text();
std::string elem_layout_text();

}  // namespace kyt

#endif  // KYT_SQL_TABLES_ELEMGEN_H
