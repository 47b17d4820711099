// rpdist, rpditr: the import of the station table and of the routing table.
//
// Both files are text, one record a line, and every record is a command line of a command
// set of its own whose verbs are table names: "ST SID=KYT01 NETID=O0013000000KYT01 ...".
//   station table  AC LU LX NK OP RT ST TC XP   (import_stations, the exported rpdist)
//   routing table  TR                           (import_routes, the exported rpditr)
// Syntax strings are those of kStationSyntax / kRouteSyntax below; the keywords are the
// table's column names (NK's FLGSUSPND fills FLAGSUSPND; LU's SYNCLEVEL and TYPE have no
// column and are accepted and ignored).
//
// Lines: at most kImportLineMax bytes (a CR before the line end is dropped). Outside quotes a
// "*" starts a comment that runs to the end of the line, letters are taken in upper case, and
// a tab is a blank; a value in double or single quotes keeps its case, blanks and "*".
// Quotes are tracked as the command language reads them (a "'" inside "..." is an ordinary
// byte), which for lines without mixed quotes is the rule "an even number of each kind of
// quote before the *". A line with nothing but blanks before its comment is skipped.
//
// A record writes one row (LX: one row a pair): every column from the keyword of its name;
// a keyword not given leaves a text empty and a number 0. Texts for SMALLINT and INTEGER
// columns are read as decimal numbers with an optional sign. The row is inserted; when its
// primary key is there already the other columns are updated instead (so a second import of
// a changed file brings the rows up to date; a TR line equal to a row present changes
// nothing). A key taken by another row's unique ODETTEID fails the line.
//
// Mandatory values (missing or empty: "store_XX: GET_VAL(KEY) failed (rc = 12)"): the key
// columns that are NOT NULL (SID everywhere; NK FTP and PROTOCOL; TC PROTOCOL; RT SIDDEST
// and SIDNEIGHB; every TR column), OP's ODETTEID and ST's NETID.
//
// Station ids: SID, SIDDEST, SIDNEIGHB, SIDORG and ST's NETID hold 1 to width-1 characters
// (16 for SID, 25 for NETID) out of the letters A-Z and a-z, the digits and "_-.$#@" only, so
// that an id can always be written unquoted into a command line (no blank, quote, "=",
// "/", "*", parenthesis, comma or control byte). The routing table also allows "*" in its
// station ids (written in quotes), for a route to or from any station. Anything else:
// "store_XX: SID '...' is to long or contains invalid character(s)", 18.
//
// LX records carry 1 to 99 positional pairs "NAME=VALUE" (written NAME=VALUE or /NAME=VALUE)
// for the station of their SID: NAME 1 to 11 letters, digits or "_" (upper-cased), VALUE at
// most 29 characters. A NAME of the default parameter table takes that parameter's TYPE and
// LEN (LEN at most 30) and, for a number type, must be a number in its range; any other NAME
// is TYPE 1 (text), LEN 30. Every pair is checked before the first is written.
//
// Import of one file:
//   1. A first reading checks every line: longer than kImportLineMax bytes, or holding a
//      zero byte, ends the import with 17 / 99; in a station table two OP lines with the
//      same ODETTEID give 9, with the same SID 8 ("inconsistent line in station table: ..."):
//      nothing is written.
//   2. A second reading runs each record through the command set. The first failing line
//      ends the import with its code, reported as "line N of "FILE" not imported (rc = C):
//      LINE"; the rows of the lines before it stay (each row commits by itself).
// A directory is imported file by file (regular files, in byte order of their names);
// the first failing file ends it.
//
// Codes: 0 done; the command language's 1 to 6 (2 an unknown record type, 3 a keyword the
// record does not have, 4 a keyword twice, 5/6 the positional count of LX); 8, 9 the
// consistency check; 12 a mandatory value missing; 16 a text that is not a number, an LX
// pair that is not NAME=VALUE; 17 a value too long for its column (texts, numbers out of the
// column's range, lines); 18 a station id too long or with characters outside the set;
// 99 the file or directory cannot be read, the command set cannot be made, a syntax error;
// any other: the status of the failed INSERT/UPDATE (SQL layer).
//
// Messages for the operator go, one formatted text a call, to the caller's output.
#ifndef KYT_SERVICES_RPDIST_H
#define KYT_SERVICES_RPDIST_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

namespace kyt {

constexpr int32_t IMP_DUP_SID = 8;
constexpr int32_t IMP_DUP_OID = 9;
constexpr int32_t IMP_MISSING = 12;
constexpr int32_t IMP_NOT_NUMBER = 16;
constexpr int32_t IMP_TOO_LONG = 17;
constexpr int32_t IMP_BAD_ID = 18;
constexpr int32_t IMP_FAILED = 99;

constexpr size_t kImportLineMax = 2048;

// The verbs of the two command sets, in the order they are defined.
extern const char* const kStationSyntax[9];
extern const char* const kRouteSyntax[1];

// Receives one operator message (it may hold line breaks of its own).
using ImportOut = std::function<void(const char* text)>;

int32_t import_stations(const char* path, const ImportOut& out);
int32_t import_routes(const char* path, const ImportOut& out);

// Whether `id` is a station id of at most `max` characters (see above); `wildcard` allows "*".
bool valid_station_id(std::string_view id, size_t max, bool wildcard = false);

}  // namespace kyt

#endif  // KYT_SERVICES_RPDIST_H
