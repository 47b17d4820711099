// isaddl: the table statements, the statement dispatch and the catalogue on disk (see
// isaddl.h).
#include "sql/isaddl.h"

#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "runtime/runtime.h"
#include "sql/isachg.h"
#include "sql/isadbg.h"
#include "sql/isapar.h"
#include "sql/isascan.h"
#include "sql/isatrans.h"
#include "sql/schema.h"
#include "sql/status.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "s";

std::string quoted(const char* s) { return std::string("'") + s + "'"; }

// Non-zero while the table statements write the catalogue rows they keep (run_immediate):
// no other statement may change a catalogue table, or its tables become unknown.
int g_catalogue_writers = 0;

struct CatalogueWrite {
  CatalogueWrite() { ++g_catalogue_writers; }
  ~CatalogueWrite() { --g_catalogue_writers; }
  CatalogueWrite(const CatalogueWrite&) = delete;
  CatalogueWrite& operator=(const CatalogueWrite&) = delete;
};

bool catalogue_change_refused(const TABDESC* td) {
  if (td == nullptr || g_catalogue_writers > 0 ||
      std::strcmp(td->ts.s_creator, kSystemCreator) != 0)
    return false;
  KYT_TRACE(kModule, kTopic, 1, "%s.%s is changed only by the table statements", td->ts.s_creator,
            td->ts.s_tabname);
  return true;
}

// Runs a statement on the catalogue for the table statements.
int32_t run_immediate(const std::string& text) {
  IsaparResult r;
  int32_t rc = isapar(-1, "EXECUTE IMMEDIATE", text, &r);
  if (rc != OK_STATE) return rc;
  CatalogueWrite allowed;
  return exec_statement(r.stmt);
}

int32_t insert_catalogue_rows(const TABDESC& d) {
  char text[160];
  std::snprintf(text, sizeof text, "INSERT INTO SYSTEM.SYSCATLG VALUES(%s, %s, %d, %d)",
                quoted(d.ts.s_creator).c_str(), quoted(d.ts.s_tabname).c_str(), d.row_size,
                d.n_cols);
  int32_t rc = run_immediate(text);
  for (const COLDESC& c : d.cols) {
    if (rc != OK_STATE) break;
    std::snprintf(text, sizeof text,
                  "INSERT INTO SYSTEM.SYSCOLS VALUES(%s, %s, %s, %d, %d, %d, %d, %d)",
                  quoted(d.ts.s_creator).c_str(), quoted(d.ts.s_tabname).c_str(),
                  quoted(c.s_colname).c_str(), c.type, c.colno, c.width, c.not_null ? 0 : 1,
                  c.key);
    rc = run_immediate(text);
  }
  return rc;
}

// Creates a table's files with its fields (and, when given, the PRIMARY index).
int32_t create_files(const TABDESC& d, const std::string& file, bool with_primary) {
  std::vector<const char*> fields;
  for (const COLDESC& c : d.cols) fields.push_back(c.s_colname);
  fields.push_back(nullptr);
  Undo undo = undo_table(d.ts, file, true);
  if (icreate_db(file.c_str(), fields.data()) != 1) return KYT_ISAMFAIL("icreate_db", file);
  log_undo(nullptr, std::move(undo));
  if (!with_primary || d.key_size == 0) return RC_OK;
  std::vector<const char*> keys(static_cast<size_t>(d.n_cols), nullptr);
  int k = 0;
  for (const COLDESC& c : d.cols) {
    if (c.key > 0) {
      keys[static_cast<size_t>(c.key - 1)] = c.s_colname;
      ++k;
    }
  }
  keys.resize(static_cast<size_t>(k) + 1);
  keys.back() = nullptr;
  IsamDb* db = iopen_db(file.c_str());
  if (db == nullptr) return KYT_ISAMFAIL("iopen_db", file);
  if (imkindex(db, "PRIMARY", keys.data()) != 1) {
    const int32_t rc = KYT_ISAMFAIL("imkindex", file);
    iclose_db(db);
    return rc;
  }
  return iclose_db(db) == 1 ? RC_OK : KYT_ISAMFAIL("iclose_db", file);
}

int32_t create_table(const STMT& s) {
  TABSPEC ts = s.ts;
  if (ts.s_creator[0] == '\0') {
    const std::string name = ts.s_tabname;
    make_tabspec(kStationCreator, name, &ts);
  }
  // Asked of the cache and the catalogue directly: an unknown table is no error here.
  SyscatlgRow row;
  std::vector<SyscolsRow> rows;
  if (find_tab_desc(ts.s_tabname) != nullptr || disk_catalogue_reader()(ts, &row, &rows) == RC_OK) {
    std::fprintf(stderr, "E: Table '%s' already exists\n", ts.s_tabname);
    sql_detail_note(&sql_detail().reason, {"the table exists already"});
    KYT_TRACE(kModule, kTopic, 1, "E: Table '%s' already exists", ts.s_tabname);
    return DBI_E_TABERR;
  }
  std::string file;
  int32_t rc = tab_file(ts, &file);
  if (rc != RC_OK) return rc;
  if (!KYT_ISACHECK(!platform::file_exists(file.c_str()), DBI_E_TABERR, "err_return")) {
    sql_detail_note(&sql_detail().reason, {"its data file ", file, " exists already"});
    return DBI_E_TABERR;
  }
  std::vector<COLDEF> defs(s.coldefs.begin(), s.coldefs.end());
  std::unique_ptr<TABDESC> d;
  rc = tab_desc_build(ts, defs, &d);
  if (rc != RC_OK) return rc;
  file.resize(file.size() - 3);  // the ISAM base name, without ".DB"
  rc = create_files(*d, file, false);
  if (rc != RC_OK) return rc;
  TABDESC* raw = nullptr;
  rc = add_tab_desc(std::move(d), &raw);
  if (rc != RC_OK) return rc;
  rc = insert_catalogue_rows(*raw);
  if (rc == OK_STATE) raw->exists = 1;
  dump_tab_desc(*raw);
  return rc;
}

int32_t create_index(const STMT& s) {
  TABDESC* td = s.p_td;
  if (!KYT_ISACHECK(td != nullptr && !s.cols.empty(), DBI_E_TABERR, "err_return"))
    return DBI_E_TABERR;
  std::string name = s.s_name;
  bool primary = name.rfind("PRIM_", 0) == 0;
  if (!KYT_ISACHECK(!is_sort_index_name(name.c_str()), DBI_E_TABERR, "err_return")) {
    sql_detail_note(&sql_detail().reason, {"index names S1, S2, ... are kept for ORDER BY"});
    return DBI_E_TABERR;
  }
  std::string isam_name = primary ? "PRIMARY" : (s.unique ? name : "#" + name);
  std::vector<const char*> fields;
  for (const COLREF& c : s.cols) fields.push_back(c.p_col->s_colname);
  TABSPEC ts = td->ts;
  TableUse t;
  int32_t rc = t.open(td);
  if (rc != RC_OK) return rc;
  if (primary || s.unique) {
    // A unique index over rows that repeat a key is refused before it is made.
    std::set<std::string> keys;
    Scan scan;
    rc = scan.open(ts, nullptr, nullptr);
    while (rc == RC_OK && (rc = scan.next()) == 1) {
      std::string key;
      for (const COLREF& c : s.cols) key.append(scan.fields()[c.p_col->colno - 1]).push_back('\0');
      rc = keys.insert(std::move(key)).second ? RC_OK : DBI_E_NO_DUP;
    }
    if (rc != 0) return rc;
  }
  fields.push_back(nullptr);
  if (imkindex(t->db, isam_name.c_str(), fields.data()) != 1) {
    if (isam_errno == kIsamIndexExists) {
      sql_detail_note(&sql_detail().reason, {"the index ", name, " exists already"});
      return DBI_E_TABERR;
    }
    return KYT_TABFAIL("imkindex", t.get());
  }
  rc = refresh_table(t.get());
  if (rc != RC_OK || !primary) return rc;
  fields.pop_back();
  rc = tab_set_primary_key(td, fields);
  if (rc != RC_OK) return rc;
  for (const COLDESC& c : td->cols) {
    if (c.key == 0) continue;
    char text[200];
    std::snprintf(text, sizeof text,
                  "UPDATE SYSTEM.SYSCOLS SET PRIMKEY = %d WHERE CREATOR == %s AND TNAME == %s "
                  "AND CNAME == %s",
                  c.key, quoted(ts.s_creator).c_str(), quoted(ts.s_tabname).c_str(),
                  quoted(c.s_colname).c_str());
    rc = run_immediate(text);
    if (rc != OK_STATE) return rc;
  }
  dump_tab_desc(*td);
  return OK_STATE;
}

int32_t drop_table(const TABSPEC& given) {
  TABDESC* td = nullptr;
  int32_t rc = get_tab_desc(given, &td);
  if (rc != RC_OK) {
    if (rc == DBI_E_TABERR) sql_detail_note(&sql_detail().reason, {"no such table"});
    return DBI_E_TABERR;
  }
  TABSPEC ts = td->ts;
  if (!KYT_ISACHECK(std::strcmp(ts.s_creator, kSystemCreator) != 0, DBI_E_TABERR, "err_return")) {
    sql_detail_note(&sql_detail().reason, {"catalogue tables cannot be dropped"});
    return DBI_E_TABERR;
  }
  if (!KYT_ISACHECK(close_for_drop(ts.s_tabname), DBI_E_TABERR, "err_return")) {
    sql_detail_note(&sql_detail().reason, {"the table is in use (an open cursor)"});
    return DBI_E_TABERR;
  }
  std::string file;
  rc = tab_file(ts, &file);
  if (rc != RC_OK) return rc;
  file.resize(file.size() - 3);
  for (const char* cat : {"SYSCATLG", "SYSCOLS"}) {
    std::string text = std::string("DELETE FROM SYSTEM.") + cat + " WHERE CREATOR == " +
                       quoted(ts.s_creator) + " AND TNAME == " + quoted(ts.s_tabname);
    rc = run_immediate(text);
    if (rc != OK_STATE) return rc;
  }
  Undo undo = undo_table(ts, file, false);
  drop_tab_desc(ts.s_tabname);
  log_undo(nullptr, std::move(undo));
  return OK_STATE;
}


}  // namespace

int32_t exec_statement(STMT* s) {
  if (s == nullptr) return RC_INTERNAL_ERROR;
  if ((s->kind == kStmtInsert || s->kind == kStmtUpdate || s->kind == kStmtDelete) &&
      catalogue_change_refused(s->p_td))
    return DBI_E_CATALOGUE;
  switch (s->kind) {
    case kStmtInsert:
      return exec_insert(0, s->p_td, s->cols, s->values);
    case kStmtUpdate:
      return exec_update(s->p_td, s->set, s->p_where);
    case kStmtDelete:
      return exec_delete(s->p_td, s->p_where);
    case kStmtCreateTable:
    case kStmtCreateIndex:
    case kStmtDropTable: {
      StmtFrame frame;
      int32_t rc = s->kind == kStmtCreateTable   ? create_table(*s)
                   : s->kind == kStmtCreateIndex ? create_index(*s)
                                                 : drop_table(s->ts);
      return frame.finish(rc);
    }
    case kStmtCreatePublicSynonym:
      KYT_TRACE(kModule, kTopic, 1, "undef. statement - CREATE_PUBLIC_SYNONYM");
      return DBI_E_NYI;
    default:
      KYT_TRACE(kModule, kTopic, 1, "statement not supported: %s", stmt_text(*s).c_str());
      return DBI_E_NYI;
  }
}

int32_t exec_create_catalogue() {
  StmtFrame frame;
  bool made = false;
  std::vector<const TABDESC*> descs;
  for (const SchemaTable& t : catalogue_schema()) {
    TABSPEC ts;
    make_tabspec(t.creator, t.name, &ts);
    TABDESC* td = nullptr;
    int32_t rc = get_tab_desc(ts, &td);
    if (rc != RC_OK) return frame.finish(rc);
    descs.push_back(td);
    std::string file;
    rc = tab_file(ts, &file);
    if (rc != RC_OK) return frame.finish(rc);
    if (platform::file_exists(file.c_str())) continue;
    file.resize(file.size() - 3);
    rc = create_files(*td, file, true);
    if (rc != RC_OK) return frame.finish(rc);
    made = true;
  }
  int32_t rc = OK_STATE;
  if (made) {
    for (const TABDESC* td : descs) {
      if (rc == OK_STATE) rc = insert_catalogue_rows(*td);
    }
  }
  return frame.finish(rc);
}

// --- the catalogue on disk ------------------------------------------------------------------

namespace {

int32_t read_rows(const char* table, const TABSPEC& ts,
                  const std::function<int32_t(const TABDESC&, const char* const*)>& each) {
  TABSPEC cat;
  make_tabspec(kSystemCreator, table, &cat);
  TABDESC* td = nullptr;
  int32_t rc = get_tab_desc(cat, &td);
  if (rc != RC_OK) return rc;
  StmtPool pool;
  auto col = [&](const char* name) {
    EXPR* e = expr_column(pool, name);
    if (e != nullptr) e->col.p_col = td->col(name);
    return e;
  };
  EXPR* where = expr_op(pool, kExprEq, col("TNAME"), expr_string(pool, ts.s_tabname));
  if (ts.s_creator[0] != '\0') {
    where = expr_op(pool, kExprAnd,
                    expr_op(pool, kExprEq, col("CREATOR"), expr_string(pool, ts.s_creator)), where);
  }
  if (where == nullptr) return RC_INTERNAL_ERROR;
  Scan scan;
  rc = scan.open(cat, nullptr, where);
  if (rc != RC_OK) return rc;
  while ((rc = scan.next()) == 1) {
    rc = each(*td, scan.fields());
    if (rc != RC_OK) return rc;
  }
  return rc;
}

int16_t small_field(const char* f) {
  int64_t v = 0;
  return read_integer(f, &v) ? static_cast<int16_t>(v) : -1;
}

int32_t disk_catalogue(const TABSPEC& ts, SyscatlgRow* table, std::vector<SyscolsRow>* cols) {
  if (schema_table(ts.s_tabname) != nullptr &&
      std::strcmp(schema_table(ts.s_tabname)->creator, kSystemCreator) == 0)
    return schema_catalogue(ts, table, cols);
  cols->clear();
  int found = 0;
  int32_t rc = read_rows("SYSCATLG", ts, [&](const TABDESC&, const char* const* f) {
    table->creator = f[0];
    table->tname = f[1];
    int64_t v = 0;
    table->rowlen = read_integer(f[2], &v) ? static_cast<int32_t>(v) : -1;
    table->ncols = small_field(f[3]);
    ++found;
    return RC_OK;
  });
  if (rc != 0) return rc;
  if (found != 1) return DBI_E_TABERR;  // unknown, or one name under several creators
  TABSPEC exact;
  make_tabspec(table->creator, table->tname, &exact);
  rc = read_rows("SYSCOLS", exact, [&](const TABDESC&, const char* const* f) {
    int64_t len = 0;
    read_integer(f[5], &len);
    cols->push_back(SyscolsRow{f[0], f[1], f[2], small_field(f[3]), small_field(f[4]),
                               static_cast<int32_t>(len), small_field(f[6]), small_field(f[7])});
    return RC_OK;
  });
  return rc == 0 ? RC_OK : rc;
}

}  // namespace

CatalogueReader disk_catalogue_reader() { return disk_catalogue; }

}  // namespace kyt
