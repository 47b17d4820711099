// schema: the station's tables, described once.
//
// Every station table (39) and the two catalogue tables are listed here with their columns
// in declaration order: name, type, width, not-null flag and place in the primary key. From
// this one description come the CREATE TABLE and CREATE UNIQUE INDEX statements of every
// table, the catalogue rows from which descriptors are loaded until the on-disk catalogue is
// open, and the element layouts of the per-table modules (sql/tables).
//
// Deliberate quirks, kept: the key columns KEYID and FLAGPUBLIC of SV and N of TC and XP may
// be null; LC and LD have no primary index (no index statement); OP has a second unique
// index IDX_OID over ODETTEID.
//
// Catalogue tables (creator "SYSTEM"), primary keys first:
//   SYSCATLG  CREATOR CHAR(19), TNAME CHAR(19), ROWLEN INTEGER, NCOLS SMALLINT
//             (one row a table; ROWLEN the row size in bytes, NCOLS the number of columns)
//   SYSCOLS   CREATOR CHAR(19), TNAME CHAR(19), CNAME CHAR(19), COLTYPE SMALLINT,
//             COLNO SMALLINT, LENGTH INTEGER, NULLS SMALLINT, PRIMKEY SMALLINT
//             (one row a column; COLTYPE the type code, COLNO 1-based, LENGTH the text width,
//             NULLS 1 when the column may be null, PRIMKEY the place in the primary key or 0)
// every column NOT NULL; names take up to 18 characters.
//
// The station tables belong to the creator "KYT"; the station's statements name no creator,
// which matches any.
#ifndef KYT_SQL_SCHEMA_H
#define KYT_SQL_SCHEMA_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sql/sqltype.h"

namespace kyt {

constexpr const char* kStationCreator = "KYT";
constexpr const char* kSystemCreator = "SYSTEM";

// A unique index besides the primary one.
struct SchemaIndex {
  const char* name;
  std::span<const char* const> cols;
};

struct SchemaTable {
  const char* creator;
  const char* name;
  std::span<const COLDEF> cols;          // declaration order; key places in COLDEF::key
  std::span<const SchemaIndex> indexes;  // further unique indexes

  bool has_primary() const {
    for (const COLDEF& c : cols) {
      if (c.key > 0) return true;
    }
    return false;
  }
};

// The 39 station tables in catalogue order (RI, PT, KT, ... XP, LD).
std::span<const SchemaTable> station_schema();
// SYSCATLG and SYSCOLS.
std::span<const SchemaTable> catalogue_schema();
// A table of either list by name, or nullptr.
const SchemaTable* schema_table(std::string_view name);

// "CREATE TABLE KT (CN INTEGER NOT NULL, CMDTYPE CHAR(3) NOT NULL, PRIORITY SMALLINT, ...)";
// catalogue tables are named with their creator ("SYSTEM.SYSCATLG").
std::string create_table_text(const SchemaTable& t);
// "CREATE UNIQUE INDEX PRIM_NK ON NK (SID,FTP,PROTOCOL)" first, then the further indexes
// ("CREATE UNIQUE INDEX IDX_OID ON OP (ODETTEID)"); none for a table without primary key.
std::vector<std::string> create_index_texts(const SchemaTable& t);

// The catalogue reader backed by this description (isatab.h installs it until the
// executor installs the reader of the catalogue on disk): the SYSCATLG row and the
// SYSCOLS rows of a station or catalogue table; DBI_E_TABERR for any other.
int32_t schema_catalogue(const TABSPEC& ts, SyscatlgRow* table, std::vector<SyscolsRow>* cols);

}  // namespace kyt

#endif  // KYT_SQL_SCHEMA_H
