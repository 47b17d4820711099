// sqltype: what a table description is made of: column types, names, column definitions
// and the catalogue's rows. It stands below everything that describes tables (schema, the
// descriptors of isatab, the statement record), and knows none of them.
//
// Column types carry the type codes of the host variables:
//   CHAR(n)   1  text width n   n bytes in the row (zero-terminated text of up to n-1 chars)
//   FLOAT     2  text width 25  8 bytes (a double)
//   INTEGER   4  text width 11  4 bytes (32-bit signed)
//   SMALLINT  8  text width 6   2 bytes (16-bit signed)
// Row layout: the columns in declaration order, each at its row offset, no padding; the row
// size is the sum of the column sizes. The primary key is the key columns concatenated in
// key order (the order of the PRIM_ index's column list), each at its key offset; the key
// size is their sum. A table without primary index has key size 0.
//
// Names (creators, tables, columns) are at most kNameMax characters, upper case.
#ifndef KYT_SQL_SQLTYPE_H
#define KYT_SQL_SQLTYPE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kyt {

constexpr size_t kNameMax = 18;

// Column type codes (also the host variable type codes).
constexpr int16_t kTypeChar = 1;
constexpr int16_t kTypeFloat = 2;
constexpr int16_t kTypeInteger = 4;
constexpr int16_t kTypeSmallint = 8;

bool valid_col_type(int32_t type);
// The text width of a type: n for CHAR(n), 25 FLOAT, 11 INTEGER, 6 SMALLINT.
int16_t type_width(int16_t type, int16_t char_width);
// The bytes a column of the type takes in the row.
int32_t type_size(int16_t type, int16_t width);

// A table as statements name it: owner and name. An empty creator in a lookup matches any owner.
struct TABSPEC {
  char s_creator[kNameMax + 1];
  char s_tabname[kNameMax + 1];
};
// Fills a TABSPEC; false (and an empty one) when a name is longer than kNameMax.
bool make_tabspec(std::string_view creator, std::string_view tabname, TABSPEC* ts);

// Column descriptor.
struct COLDESC {
  char s_colname[kNameMax + 1];
  int16_t colno;       // 1-based, declaration order
  int16_t type;        // kType...
  int16_t key;         // place in the primary key (1-based), 0 when not a key column
  int16_t not_null;    // 1 when declared NOT NULL
  int16_t width;       // text width of the type
  int32_t size;        // bytes in the row
  int32_t row_offset;  // start in the row
  int32_t key_offset;  // start in the primary key; 0 for columns outside the key
};

// A column as a definition gives it (CREATE TABLE, the catalogue, the station schema).
struct COLDEF {
  const char* s_colname;
  int16_t type;
  int16_t width;  // text width; for CHAR the n of CHAR(n)
  int16_t not_null;
  int16_t key;  // place in the primary key, 0 none
};
// The type as a CREATE TABLE statement writes it: "CHAR(n)", "FLOAT", "INTEGER", "SMALLINT";
// "?" for an unknown type.
std::string col_type_text(const COLDEF& c);

// Catalogue rows.
struct SyscatlgRow {
  std::string creator;
  std::string tname;
  int32_t rowlen = 0;
  int16_t ncols = 0;
};
struct SyscolsRow {
  std::string creator;
  std::string tname;
  std::string cname;
  int16_t coltype = 0;
  int16_t colno = 0;
  int32_t length = 0;   // text width
  int16_t nulls = 0;    // 1 nullable, 0 NOT NULL
  int16_t primkey = 0;  // place in the primary key, 0 none
};

}  // namespace kyt

#endif  // KYT_SQL_SQLTYPE_H
