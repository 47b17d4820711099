// status: the status codes of the SQL layer and their names.
//
// Codes of the executor and the table code (the DBI codes of the message catalogue) lie in
// 256000..256199; codes of the statement interface parser (trace tag "lpdbi") in
// 24201001..24201021. 0 is success everywhere, 99 an internal failure (also: the statement
// pool could not supply memory).
#ifndef KYT_SQL_STATUS_H
#define KYT_SQL_STATUS_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace kyt {

constexpr int32_t OK_STATE = 0;            // success
constexpr int32_t RC_OK = 0;               // success of an internal step
constexpr int32_t RC_INTERNAL_ERROR = 99;  // an internal step failed; out of memory

// Executor, tables and isapar.
constexpr int32_t DBI_E_SYNTAX = 256081;           // isapar: syntax error (also a name over 18
                                                   // characters, a number out of range, column
                                                   // and value lists of different lengths)
constexpr int32_t DBI_E_EXECERR = 256082;          // execution error
constexpr int32_t DBI_E_TABERR = 256083;           // unknown table, bad table definition, table
                                                   // file present at creation, drop failed
constexpr int32_t DBI_E_TABLE_NOT_EXIST = 256084;  // the table's files are missing
constexpr int32_t DBI_E_INV_COL_NAM = 256085;      // column not in the table
constexpr int32_t DBI_E_NO_DUP = 256086;           // duplicate key in a unique index
constexpr int32_t DBI_E_CURNOTOPE = 256087;        // cursor not open
constexpr int32_t DBI_E_CONNECTED = 256088;        // database already open
constexpr int32_t DBI_E_NYI = 256089;              // statement or construct not supported
constexpr int32_t DBI_E_TOO_COMPLEX = 256090;      // isapar: nesting too deep, more than 30
                                                   // "?" marks or selected columns
constexpr int32_t DBI_E_VALUE = 256091;            // a value does not fit its column or host
                                                   // variable, or is not a number
constexpr int32_t DBI_E_NOT_NULL = 256092;         // null for a NOT NULL numeric column
constexpr int32_t DBI_E_CURSOR = 256093;           // unknown cursor name, or no free cursor
constexpr int32_t DBI_E_NOT_OPEN = 256094;         // no database is open
constexpr int32_t DBI_E_CATALOGUE = 256098;        // INSERT, UPDATE or DELETE on a catalogue
                                                   // table (SYSCATLG, SYSCOLS): only the table
                                                   // statements change them
constexpr int32_t DBI_E_TRANSERR = 256114;         // transaction error (one is open already)
constexpr int32_t DBI_W_END_FETCH = 256180;        // no further row

// What a table's files say, not a fault of the program: an operator can act on these, and
// they get no severe-error report.
constexpr int32_t DBI_E_LOCKED = 256120;        // another process holds the table
constexpr int32_t DBI_E_KEY_TOO_LONG = 256121;  // a key longer than an index can hold (the
                                                // key columns' texts together over about
                                                // 8150 bytes)
constexpr int32_t DBI_E_DAMAGED = 256122;       // a table file is damaged: a stored field
                                                // longer than its column or not a number of
                                                // its type, a record or index entry that
                                                // cannot be read (kytadm check tells more)

// Statement interface parser. Each refusal has its own code; 24201007 and 24201012 to
// 24201019 are not used.
constexpr int32_t LPDBI_E_SYNTAX = 24201001;            // syntax error
constexpr int32_t LPDBI_E_HOSTVAR_MISSING = 24201002;   // fewer host variables than needed
constexpr int32_t LPDBI_E_HOSTVAR_LEFT = 24201003;      // host variables left over
constexpr int32_t LPDBI_E_HOSTVAR_NULL = 24201004;      // a host variable without address
constexpr int32_t LPDBI_E_TOO_MANY_INPUTS = 24201005;   // more than 30 "?" marks
constexpr int32_t LPDBI_E_TOO_MANY_OUTPUTS = 24201006;  // more than 30 selected columns or
                                                        // FETCH host variables
constexpr int32_t LPDBI_E_HOSTVAR_TYPE = 24201008;      // host variable of unknown type
constexpr int32_t LPDBI_E_NAME_TOO_LONG = 24201009;     // a name over 18 characters
constexpr int32_t LPDBI_E_NUMBER_RANGE = 24201010;      // integer literal beyond 32 bits, or
                                                        // CHAR width not 1 to 32767
constexpr int32_t LPDBI_E_VALUE_COUNT = 24201011;       // INSERT column and value lists of
                                                        // different lengths
constexpr int32_t LPDBI_E_NOT_SUPPORTED = 24201020;     // a word of the language the station
                                                        // does not implement (ALTER, GROUP,
                                                        // BETWEEN, IN, IS, arithmetic, ...)
constexpr int32_t LPDBI_E_TOO_DEEP = 24201021;          // condition nested too deeply

// The name of a status ("DBI_E_TABERR"); "OK_STATE" for 0; nullptr for an unknown code.
const char* sql_status_name(int32_t status);
// A short English text of a status (the message catalogue's text); nullptr when unknown.
const char* sql_status_text(int32_t status);

// The words behind the last refusal, for programs that show it to a person (kytadm sql): where
// reading stopped for a syntax error, the table and column involved, and why. It adds words
// and never changes a status. The statement interface parser empties it when it begins a
// statement; the parsers and the executor fill each field once (the first refusal is the
// cause, later ones its consequences). A caller that goes to isapar directly empties it first.
struct SqlDetail {
  bool syntax = false;    // a syntax error: reading stopped at `token`
  std::string token;      // raw text of the token where reading stopped; empty at the end
  int32_t position = -1;  // offset of that token in the statement text as given, from 0
  std::string table;      // the statement's table
  std::string column;     // a column not in the table
  std::string reason;     // why, in words ("table exists"), where the status says less
};
SqlDetail& sql_detail();
void sql_detail_clear();
// Sets `field` to the pieces joined unless it holds a value already. Never throws: a detail
// that cannot be had for want of memory is left out, and the statement's own status stands.
void sql_detail_note(std::string* field, std::initializer_list<std::string_view> pieces) noexcept;

}  // namespace kyt

#endif  // KYT_SQL_STATUS_H
