// dbline: the row lines of a database dump, written and read from the one table description.
//
// A row line is the table's two letters, then one pair NAME="value" a column in column order,
// pairs separated by one blank ("RT SIDDEST=\"P1\" SIDNEIGHB=\"P2\" PRIORITY=\"5\""); the TR
// line has two blanks before SIDNEIGHB. A column whose value is null (only numeric columns
// can be) is left out of the line.
//
// Values:
//   CHAR      the text, escaped (below)
//   INTEGER   "%ld", SMALLINT "%d"
//   DT        (INTEGER columns whose name begins with DT, and DBDATE) the date-time text of the stored
//             instant, "" for 0; an instant whose text does not read back as the same value
//             (outside the calendar, the repeated hour of a clock change) as "%ld"
//
// Escape: the command language reads a quoted text up to the next quote, knows no escapes
// and reads a byte 255 as "."; a line ends at a line break. So the dump writes as "%XX" (two
// upper-case hex digits) every byte of a text that is a double quote, "%", below 0x20, 0x7F
// or 0xFF; every other byte stands for itself. Reading takes "%XX" back (either case of
// hex digit); a "%" not followed by two hex digits is refused.
#ifndef KYT_API_DBLINE_H
#define KYT_API_DBLINE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sql/sql.h"

namespace kyt {

using RowTexts = std::vector<std::optional<std::string>>;

// The escape both ways. dump_unescape answers false for a bad "%".
void dump_escape(std::string_view text, std::string* out);
bool dump_unescape(std::string_view text, std::string* out);

// Date-time columns of the dump: INTEGER columns named DT..., and DB's DBDATE.
bool is_dt_col(const COLDEF& c);

// Appends the row line of `t` (without its line end) for the plain texts of a row as the
// executor gives them (numbers in decimal, null as no value). `station_form` writes the
// OP line of the station information dump ("OP: SID=..., ODETTEID=..., ...").
void dump_row_line(const SchemaTable& t, const RowTexts& row, std::string* out,
                   bool station_form = false);

// The date-time text of a stored instant as the dump writes it ("" for 0), false when no
// text reads back as the same instant; and a text back to the instant (the codes of
// dt_to_stored). Both give what rpxdt's dt_from_stored and dt_to_stored give, faster.
bool dump_dt_text(int32_t value, std::string* out);
int32_t dump_dt_value(const std::string& text, int32_t* value);

// The syntax string by which a table is defined to the line reader: "RT: 0-99 SIDDEST
// SIDNEIGHB PRIORITY" (the positional room takes pairs of unknown names, so that the loader
// can name them).
std::string dump_syntax(const SchemaTable& t);

// One value of a row line back to what the table holds: `out` the plain text (a number in
// decimal) for the column. False, with `why`, when the value is not one of the column.
bool dump_read_value(const COLDEF& c, std::string_view value, std::string* out, int64_t* number,
                     std::string* why);

}  // namespace kyt

#endif  // KYT_API_DBLINE_H
