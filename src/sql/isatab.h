// isatab: table descriptors, the process-wide table of descriptors (Ep_htb_tabs), and the
// catalogue from which descriptors are loaded.
//
// Column types, names and the layout of a row are described in sqltype.h.
//
// Descriptors come from a catalogue: a reader that, for a creator and a table name, yields
// the table's SYSCATLG row and its SYSCOLS rows. Until the executor installs the reader of
// the on-disk catalogue (when it opens a database), the reader is the station schema
// (schema.h), so every station table and the two catalogue tables resolve.
//
// The table files and ISAM handles (use_table, open_table, release_table) belong to the
// executor and are not here; tab_file only composes the file name.
#ifndef KYT_SQL_ISATAB_H
#define KYT_SQL_ISATAB_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sql/htb.h"
#include "sql/sqltype.h"

namespace kyt {

// Table descriptor. Not copyable; held by Ep_htb_tabs, pointers to it stay valid until the
// table is dropped or the descriptors are cleared.
struct TABDESC {
  TABSPEC ts;
  int16_t exists = 0;           // EX: the catalogue knows the table (1), or it is being created (0)
  int16_t n_cols = 0;           // CN
  int32_t row_size = 0;         // RS
  int32_t key_size = 0;         // KS
  std::vector<COLDESC> cols;    // declaration order
  htb<int16_t> p_htb_cols{10};  // column name -> index into cols

  TABDESC() : ts{} {}
  TABDESC(const TABDESC&) = delete;
  TABDESC& operator=(const TABDESC&) = delete;

  const COLDESC* col(std::string_view name) const {
    const int16_t* i = p_htb_cols.find(name);
    return i == nullptr ? nullptr : &cols[static_cast<size_t>(*i)];
  }
};

// Builds a descriptor from column definitions: row offsets, column hash table, key offsets.
// DBI_E_TABERR (with an isaerr line) for no columns, a bad or duplicate name, a bad type or
// width, or key places that are not 1..k without gaps.
int32_t tab_desc_build(const TABSPEC& ts, std::span<const COLDEF> cols,
                       std::unique_ptr<TABDESC>* out);

// The descriptor dump, one line each:
//   "Table:  %s  (EX=%d) CN=%2d  RS=%2d  KS=%2d"              table name, exists flag,
//                                                             columns, row size, key size
//   "  #   COLUMN     TYPE KEY NOT_NULL WDTH ROFFS KOFFS"
//   " (%02d) %-10.10s   %2d %3d %8d %4d %5d %5d"              per column: number, name, type,
//                                                             key place, not-null, width, row
//                                                             offset, key offset
std::vector<std::string> dump_tab_desc_lines(const TABDESC& desc);
// Writes the dump to the trace (level 11).
void dump_tab_desc(const TABDESC& desc);

// Key offsets and key size from the columns' key places; RC_INTERNAL_ERROR when the places
// are not 1..k without gaps.
int32_t cash_upd_key(TABDESC* desc);
// Makes the listed columns the primary key, in list order (a PRIM_ index was created), then
// cash_upd_key; DBI_E_INV_COL_NAM for an unknown or repeated column.
int32_t tab_set_primary_key(TABDESC* desc, std::span<const char* const> colnames);

// Yields a table's rows: 0, DBI_E_TABERR when the catalogue has no such table, or the
// reader's own failure code. An empty creator matches any.
using CatalogueReader = int32_t (*)(const TABSPEC& ts, SyscatlgRow* table,
                                    std::vector<SyscolsRow>* columns);
// Installs a reader; nullptr goes back to the station schema.
void set_catalogue_reader(CatalogueReader reader);

// Loads a descriptor (ts set by the caller) from the catalogue. DBI_E_TABERR for an unknown
// table; RC_INTERNAL_ERROR when the rows contradict each other (column numbers not 1..n,
// NCOLS or ROWLEN not matching the columns, bad types or key places).
int32_t cash_tab(TABDESC* desc);

// The descriptor of a table: from Ep_htb_tabs, else loaded with cash_tab and kept there.
// DBI_E_TABERR for an unknown table (or one cached under another creator).
int32_t get_tab_desc(const TABSPEC& ts, TABDESC** out);
// The cached descriptor of a table, or nullptr; no catalogue access.
TABDESC* find_tab_desc(std::string_view tabname);
// Keeps a new descriptor (create table); DBI_E_TABERR when the name is cached already.
int32_t add_tab_desc(std::unique_ptr<TABDESC> desc, TABDESC** out);
// Forgets a table's descriptor (drop table); false when it was not cached.
bool drop_tab_desc(std::string_view tabname);
// Forgets every descriptor (close of the database).
void clear_tab_descs();
size_t tab_desc_count();

// The table's file name: "%s/%-.8s.DB" with the database directory (the open database's,
// else the environment key DB) and the first eight characters of the table name.
// RC_INTERNAL_ERROR when the directory is not known.
int32_t tab_file(const TABSPEC& ts, std::string* file);
// The directory of the open database; empty when none is open.
void set_database_dir(const std::string& dir);

// Forgets all descriptors and the installed reader. Tests only.
void isatab_reset_for_tests();

}  // namespace kyt

#endif  // KYT_SQL_ISATAB_H
