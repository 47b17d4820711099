// isatab: building descriptors, loading them from the catalogue, and Ep_htb_tabs.
#include "sql/isatab.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

#include "runtime/runtime.h"
#include "sql/isadbg.h"
#include "sql/schema.h"
#include "sql/status.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "s";

constexpr int16_t kMaxCharWidth = 32767;

// Every table descriptor of the process, keyed by table name; 10 buckets as the other
// tables of the executor.
// Never destroyed: prepared statements of cursors left open at process end point into them.
htb<std::unique_ptr<TABDESC>>& tabs() {
  static auto* Ep_htb_tabs = new htb<std::unique_ptr<TABDESC>>(10);
  return *Ep_htb_tabs;
}
CatalogueReader g_reader = nullptr;  // nullptr: the station schema
std::string g_database_dir;          // the open database's directory

std::string format_line(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

std::string format_line(const char* format, ...) {
  char buf[256];
  va_list args;
  va_start(args, format);
  int n = std::vsnprintf(buf, sizeof buf, format, args);
  va_end(args);
  if (n < 0) return std::string();
  return std::string(buf,
                     static_cast<size_t>(n) < sizeof buf ? static_cast<size_t>(n) : sizeof buf - 1);
}

}  // namespace

std::vector<std::string> dump_tab_desc_lines(const TABDESC& d) {
  std::vector<std::string> lines;
  lines.reserve(d.cols.size() + 2);
  lines.push_back(format_line("Table:  %s  (EX=%d) CN=%2d  RS=%2d  KS=%2d", d.ts.s_tabname,
                              d.exists, d.n_cols, d.row_size, d.key_size));
  lines.push_back("  #   COLUMN     TYPE KEY NOT_NULL WDTH ROFFS KOFFS");
  for (const COLDESC& c : d.cols) {
    std::string l =
        format_line(" (%02d) %-10.10s   %2d %3d %8d %4d %5d %5d\n", c.colno, c.s_colname, c.type,
                    c.key, c.not_null, c.width, c.row_offset, c.key_offset);
    l.pop_back();  // the line end is the line's, not part of its text
    lines.push_back(std::move(l));
  }
  return lines;
}

void dump_tab_desc(const TABDESC& desc) {
  for (const std::string& l : dump_tab_desc_lines(desc)) {
    KYT_TRACE(kModule, kTopic, 11, "%s", l.c_str());
  }
}

int32_t cash_upd_key(TABDESC* desc) {
  int32_t k = 0;
  for (const COLDESC& c : desc->cols) k += c.key > 0 ? 1 : 0;
  for (const COLDESC& c : desc->cols) {
    if (!KYT_ISACHECK(c.key >= 0 && c.key <= k, RC_INTERNAL_ERROR, "ret1"))
      return RC_INTERNAL_ERROR;
  }
  int32_t offset = 0;
  for (int32_t place = 1; place <= k; ++place) {
    COLDESC* found = nullptr;
    int holders = 0;
    for (COLDESC& c : desc->cols) {
      if (c.key == place) {
        found = &c;
        ++holders;
      }
    }
    if (!KYT_ISACHECK(holders == 1, RC_INTERNAL_ERROR, "ret1")) return RC_INTERNAL_ERROR;
    found->key_offset = offset;
    offset += found->size;
  }
  for (COLDESC& c : desc->cols) {
    if (c.key == 0) c.key_offset = 0;
  }
  desc->key_size = offset;
  return RC_OK;
}

int32_t tab_set_primary_key(TABDESC* desc, std::span<const char* const> colnames) {
  std::vector<int16_t> before;
  before.reserve(desc->cols.size());
  for (COLDESC& c : desc->cols) {
    before.push_back(c.key);
    c.key = 0;
  }
  auto restore = [&] {
    for (size_t i = 0; i < desc->cols.size(); ++i) desc->cols[i].key = before[i];
  };
  int16_t place = 0;
  for (const char* name : colnames) {
    const int16_t* i = name == nullptr ? nullptr : desc->p_htb_cols.find(name);
    if (!KYT_ISACHECK(i != nullptr, DBI_E_INV_COL_NAM, "err_return") ||
        !KYT_ISACHECK(desc->cols[static_cast<size_t>(*i)].key == 0, DBI_E_INV_COL_NAM,
                      "err_return")) {
      restore();
      return DBI_E_INV_COL_NAM;
    }
    desc->cols[static_cast<size_t>(*i)].key = ++place;
  }
  int32_t rc = cash_upd_key(desc);
  if (rc != RC_OK) restore();
  return rc;
}

int32_t tab_desc_build(const TABSPEC& ts, std::span<const COLDEF> cols,
                       std::unique_ptr<TABDESC>* out) {
  out->reset();
  if (!KYT_ISACHECK(!cols.empty() && cols.size() <= 32767, DBI_E_TABERR, "err_return"))
    return DBI_E_TABERR;
  auto d = std::make_unique<TABDESC>();
  d->ts = ts;
  d->cols.resize(cols.size());
  int32_t offset = 0;
  for (size_t i = 0; i < cols.size(); ++i) {
    const COLDEF& def = cols[i];
    COLDESC& c = d->cols[i];
    size_t len = def.s_colname == nullptr ? 0 : std::strlen(def.s_colname);
    if (!KYT_ISACHECK(len > 0 && len <= kNameMax, DBI_E_TABERR, "err_return") ||
        !KYT_ISACHECK(valid_col_type(def.type), DBI_E_TABERR, "err_return") ||
        !KYT_ISACHECK(def.type != kTypeChar || (def.width >= 1 && def.width <= kMaxCharWidth),
                      DBI_E_TABERR, "err_return") ||
        !KYT_ISACHECK(def.key >= 0, DBI_E_TABERR, "err_return")) {
      return DBI_E_TABERR;
    }
    std::memcpy(c.s_colname, def.s_colname, len + 1);
    c.colno = static_cast<int16_t>(i + 1);
    c.type = def.type;
    c.key = def.key;
    c.not_null = def.not_null != 0 ? 1 : 0;
    c.width = type_width(def.type, def.width);
    c.size = type_size(def.type, c.width);
    c.row_offset = offset;
    offset += c.size;
    if (!KYT_ISACHECK(d->p_htb_cols.insert(c.s_colname, static_cast<int16_t>(i)) != nullptr,
                      DBI_E_TABERR, "err_return")) {
      return DBI_E_TABERR;
    }
  }
  d->n_cols = static_cast<int16_t>(cols.size());
  d->row_size = offset;
  if (cash_upd_key(d.get()) != RC_OK) return DBI_E_TABERR;
  *out = std::move(d);
  return RC_OK;
}

void set_catalogue_reader(CatalogueReader reader) {
  g_reader = reader;
}

int32_t cash_tab(TABDESC* desc) {
  SyscatlgRow table;
  std::vector<SyscolsRow> rows;
  CatalogueReader read = g_reader != nullptr ? g_reader : schema_catalogue;
  int32_t rc = read(desc->ts, &table, &rows);
  if (!KYT_ISACHECK(rc == RC_OK, rc, "ret1")) return rc;

  size_t n = rows.size();
  if (!KYT_ISACHECK(n > 0 && table.ncols >= 0 && static_cast<size_t>(table.ncols) == n,
                    RC_INTERNAL_ERROR, "ret1")) {
    return RC_INTERNAL_ERROR;
  }
  std::vector<const SyscolsRow*> by_number(n, nullptr);
  for (const SyscolsRow& r : rows) {
    bool in_range = r.colno >= 1 && static_cast<size_t>(r.colno) <= n;
    if (!KYT_ISACHECK(in_range && by_number[static_cast<size_t>(r.colno) - 1] == nullptr,
                      RC_INTERNAL_ERROR, "ret1") ||
        !KYT_ISACHECK(valid_col_type(r.coltype) && r.length > 0 && r.length <= kMaxCharWidth,
                      RC_INTERNAL_ERROR, "ret1") ||
        !KYT_ISACHECK(r.coltype == kTypeChar ||
                          r.length == type_width(r.coltype, static_cast<int16_t>(r.length)),
                      RC_INTERNAL_ERROR, "ret1")) {
      return RC_INTERNAL_ERROR;
    }
    by_number[static_cast<size_t>(r.colno) - 1] = &r;
  }
  std::vector<COLDEF> defs(n);
  for (size_t i = 0; i < n; ++i) {
    const SyscolsRow& r = *by_number[i];
    defs[i] = COLDEF{r.cname.c_str(), r.coltype, static_cast<int16_t>(r.length),
                     static_cast<int16_t>(r.nulls == 0 ? 1 : 0), r.primkey};
  }
  TABSPEC ts;
  if (!KYT_ISACHECK(make_tabspec(table.creator, table.tname, &ts), RC_INTERNAL_ERROR, "ret1"))
    return RC_INTERNAL_ERROR;
  std::unique_ptr<TABDESC> built;
  if (!KYT_ISACHECK(tab_desc_build(ts, defs, &built) == RC_OK, RC_INTERNAL_ERROR, "ret1") ||
      !KYT_ISACHECK(built->row_size == table.rowlen, RC_INTERNAL_ERROR, "ret1")) {
    return RC_INTERNAL_ERROR;
  }
  desc->ts = built->ts;
  desc->exists = 1;
  desc->n_cols = built->n_cols;
  desc->row_size = built->row_size;
  desc->key_size = built->key_size;
  desc->cols = std::move(built->cols);
  desc->p_htb_cols = std::move(built->p_htb_cols);
  return RC_OK;
}

int32_t get_tab_desc(const TABSPEC& ts, TABDESC** out) {
  *out = nullptr;
  if (std::unique_ptr<TABDESC>* cached = tabs().find(ts.s_tabname)) {
    TABDESC* d = cached->get();
    if (!KYT_ISACHECK(ts.s_creator[0] == '\0' || std::strcmp(ts.s_creator, d->ts.s_creator) == 0,
                      DBI_E_TABERR, "ret1")) {
      return DBI_E_TABERR;
    }
    *out = d;
    return RC_OK;
  }
  auto d = std::make_unique<TABDESC>();
  d->ts = ts;
  int32_t rc = cash_tab(d.get());
  if (rc != RC_OK) return rc;
  TABDESC* raw = d.get();
  std::string name = raw->ts.s_tabname;
  if (!KYT_ISACHECK(tabs().insert(name, std::move(d)) != nullptr, DBI_E_TABERR, "ret1"))
    return DBI_E_TABERR;  // the catalogue answered another table than asked for
  *out = raw;
  return RC_OK;
}

TABDESC* find_tab_desc(std::string_view tabname) {
  std::unique_ptr<TABDESC>* d = tabs().find(tabname);
  return d == nullptr ? nullptr : d->get();
}

int32_t add_tab_desc(std::unique_ptr<TABDESC> desc, TABDESC** out) {
  if (out != nullptr) *out = nullptr;
  if (!KYT_ISACHECK(desc != nullptr, RC_INTERNAL_ERROR, "ret1")) return RC_INTERNAL_ERROR;
  TABDESC* raw = desc.get();
  std::string name = raw->ts.s_tabname;
  if (!KYT_ISACHECK(tabs().insert(name, std::move(desc)) != nullptr, DBI_E_TABERR, "ret1")) {
    return DBI_E_TABERR;
  }
  if (out != nullptr) *out = raw;
  return RC_OK;
}

bool drop_tab_desc(std::string_view tabname) {
  return tabs().erase(tabname);
}

void clear_tab_descs() {
  tabs().clear();
}

size_t tab_desc_count() {
  return tabs().size();
}

int32_t tab_file(const TABSPEC& ts, std::string* file) {
  file->clear();
  std::string dir = g_database_dir;
  if (dir.empty() && !KYT_ISACHECK(lpdsn_get("DB", &dir) == 0, RC_INTERNAL_ERROR, "ret1"))
    return RC_INTERNAL_ERROR;
  std::vector<char> buf(dir.size() + sizeof ts.s_tabname + 8);
  std::snprintf(buf.data(), buf.size(), "%s/%-.8s.DB", dir.c_str(), ts.s_tabname);
  *file = buf.data();
  return RC_OK;
}

void set_database_dir(const std::string& dir) {
  g_database_dir = dir;
}

void isatab_reset_for_tests() {
  g_database_dir.clear();
  clear_tab_descs();
  g_reader = nullptr;
}

}  // namespace kyt
