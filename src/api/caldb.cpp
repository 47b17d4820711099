// caldb: creating, dumping, loading and deleting the station database.
#include "api/caldb.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "api/dbline.h"
#include "kyt/kyt.h"
#include "runtime/runtime.h"
#include "services/services.h"

namespace kyt {

namespace {

namespace fs = std::filesystem;

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "s";
constexpr long kProgressStep = 1000;

DbadmReporter g_reporter;
char g_lang = 0;     // language of the call in progress
long g_dumped = 0;   // rows written to the dump file in progress

// --- reporting ------------------------------------------------------------------------------

void report(std::string_view key, std::initializer_list<std::string_view> args) {
  msg_report(key, args, g_lang);
  if (g_reporter.message == nullptr) return;
  MsgText m;
  msg_get(key, args, g_lang, &m);
  const std::string k(key);
  g_reporter.message(m.severity, k.c_str(), m.text.c_str(), g_reporter.context);
}

void progress(long rows) {
  if (g_reporter.rows != nullptr) g_reporter.rows(rows, g_reporter.context);
}

std::string num(long v) { return std::to_string(v); }

std::string setting(const char* key) {
  std::string v;
  return lpdsn_get(key, &v) == 0 ? v : std::string();
}

// The database directory: DBNAME when set, else DB.
std::string db_dir() {
  std::string d = setting("DBNAME");
  return d.empty() ? setting("DB") : d;
}

bool env_ok() {
  if (lpdsn_init() == 0) return true;
  const std::string& why = lpdsn_error_text();
  report("NO_ENV_DATASET", {why.empty() ? std::string_view("kytenv.dat") : std::string_view(why)});
  return false;
}

fs::path table_file(const std::string& dir, const char* table) {
  return fs::path(dir) / (std::string(table) + ".DB");
}

// The calling user's language when the database knows the user; else the environment's.
char user_language() {
  const std::string dir = db_dir();
  std::error_code ec;
  if (dir.empty() || !fs::exists(table_file(dir, "BT"), ec)) return 0;
  kyt_bt_elem bt{};
  if (getBTelemByUid(calling_user().c_str(), &bt) == 0 && bt.language[0] != '\0' &&
      bt.language[0] != ' ')
    return static_cast<char>(std::toupper(static_cast<unsigned char>(bt.language[0])));
  return 0;
}

// Sets the language for the call and puts back the one before (calls nest: the partial
// dumps call the group dumps).
class CallLanguage {
 public:
  CallLanguage() : saved_(g_lang) {
    if (saved_ == 0) g_lang = user_language();
  }
  ~CallLanguage() { g_lang = saved_; }
  CallLanguage(const CallLanguage&) = delete;
  CallLanguage& operator=(const CallLanguage&) = delete;

 private:
  char saved_;
};

std::string now_text() {
  char now[32] = "";
  if (dt_now(now, sizeof now) != 0) now[0] = '\0';
  return now;
}

int32_t open_db() { return rpdsql_run("OPEN DB"); }

// --- a cursor over every column of a table ---------------------------------------------------

class TableCursor {
 public:
  ~TableCursor() {
    if (id_ >= 0) isa805_set_cursor_frei(id_);
  }
  int32_t open(const SchemaTable& t) {
    std::string sql = "SELECT ";
    for (size_t i = 0; i < t.cols.size(); ++i) {
      if (i > 0) sql += ", ";
      for (const char* p = t.cols[i].s_colname; *p != '\0'; ++p)
        sql.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(*p))));
    }
    sql += " FROM ";
    sql += t.name;
    int32_t rc = isa801_alloc_cursor(&id_);
    if (rc != 0) {
      id_ = -1;
      return rc;
    }
    rc = isa201_prepare_stat(id_, sql);
    if (rc == 0) rc = isa950_put_input(id_, {});
    if (rc == 0) rc = isa203_open_cursor(id_);
    if (rc != 0) KYT_TRACE(kModule, kTopic, 1, "DECLARE DUMP_%s returns %d", t.name, rc);
    return rc;
  }
  // 0 a row, DBI_W_END_FETCH at the end, else the status.
  int32_t next(RowTexts* row) { return isa_fetch_texts(id_, row); }

 private:
  int32_t id_ = -1;
};

// --- dumping -----------------------------------------------------------------------------

class OutFile {
 public:
  ~OutFile() { close(); }
  bool open(const char* name, bool append) {
    f_ = std::fopen(name, append ? "ab" : "wb");
    if (f_ != nullptr) std::setvbuf(f_, nullptr, _IOFBF, 1 << 20);
    return f_ != nullptr;
  }
  bool write(const std::string& s) {
    return std::fwrite(s.data(), 1, s.size(), f_) == s.size();
  }
  bool close() {
    if (f_ == nullptr) return true;
    const bool ok = std::fclose(f_) == 0;
    f_ = nullptr;
    return ok;
  }

 private:
  std::FILE* f_ = nullptr;
};

int32_t dump_one(OutFile& out, const SchemaTable& t, bool station_form, long* total) {
  report("DUMP_TABLE", {t.name});
  TableCursor cur;
  int32_t rc = cur.open(t);
  RowTexts row;
  std::string line;
  while (rc == 0 && (rc = cur.next(&row)) == 0) {
    line.clear();
    dump_row_line(t, row, &line, station_form);
    line.push_back('\n');
    if (!out.write(line)) {
      rc = kDbNoFile;
      break;
    }
    if (++*total % kProgressStep == 0) progress(*total);
  }
  if (rc == DBI_W_END_FETCH) rc = 0;
  if (rc != 0) {
    KYT_TRACE(kModule, kTopic, 1, "FETCH DUMP_%s returns %d", t.name, rc);
    report("FUNCTION_FAILED", {std::string("dump ") + t.name, num(rc)});
    return rc;
  }
  progress(*total);
  report("TABLE_WRITTEN", {t.name});
  return 0;
}

// --- loading ------------------------------------------------------------------------------

// Prepared INSERT statements, one a table and set of columns given (nulls are left out).
class Inserts {
 public:
  ~Inserts() {
    for (const Entry& e : entries_) isa805_set_cursor_frei(e.id);
  }
  int32_t run(Tab t, const SchemaTable& st, uint64_t mask, std::span<const HostVar> vars) {
    auto it = std::find_if(entries_.begin(), entries_.end(),
                           [&](const Entry& e) { return e.t == t && e.mask == mask; });
    if (it == entries_.end()) {
      if (entries_.size() == kMax) {
        isa805_set_cursor_frei(entries_.front().id);
        entries_.erase(entries_.begin());
      }
      std::string sql = "INSERT INTO ";
      sql += st.name;
      sql += " (";
      std::string marks;
      for (size_t i = 0; i < st.cols.size(); ++i) {
        if ((mask & (uint64_t{1} << i)) == 0) continue;
        if (!marks.empty()) {
          sql += ", ";
          marks += ", ";
        }
        sql += st.cols[i].s_colname;
        marks += "?";
      }
      sql += ") VALUES(" + marks + ")";
      Entry e{t, mask, -1};
      int32_t rc = isa801_alloc_cursor(&e.id);
      if (rc != 0) return rc;
      rc = isa201_prepare_stat(e.id, sql);
      if (rc != 0) {
        isa805_set_cursor_frei(e.id);
        return rc;
      }
      entries_.push_back(e);
      it = entries_.end() - 1;
    }
    int32_t rc = isa950_put_input(it->id, vars);
    if (rc == 0) rc = isa203_open_cursor(it->id);
    return rc;
  }

 private:
  static constexpr size_t kMax = 8;
  struct Entry {
    Tab t;
    uint64_t mask;
    int32_t id;
  };
  std::vector<Entry> entries_;
};

// What a store handler leaves for the line loop.
struct LoadState {
  Inserts inserts;
  std::vector<bool> emptied;
  std::string error_key;  // the message of a refused line
  std::string error_arg1, error_arg2;
  int32_t error_rc = 0;
  std::vector<std::string> texts;
  std::vector<int32_t> ints;
  std::vector<HostVar> vars;
};

Tab tab_of(const SchemaTable& st) {
  const auto all = station_schema();
  return static_cast<Tab>(&st - all.data());
}

// The name of a keyword given twice on a line, found by a light walk over its pairs.
std::string twice_name(std::string_view line) {
  std::vector<std::string> seen;
  size_t i = 0;
  auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (i < line.size()) {
    while (i < line.size() && blank(line[i])) ++i;
    size_t start = i;
    while (i < line.size() && (std::isalnum(static_cast<unsigned char>(line[i])) || line[i] == '_'))
      ++i;
    std::string name(line.substr(start, i - start));
    if (i < line.size() && line[i] == '=') {
      ++i;
      std::transform(name.begin(), name.end(), name.begin(),
                     [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
      if (std::find(seen.begin(), seen.end(), name) != seen.end()) return name;
      seen.push_back(name);
      if (i < line.size() && (line[i] == '"' || line[i] == '\'')) {
        const char q = line[i++];
        while (i < line.size() && line[i] != q) ++i;
        ++i;
      } else {
        while (i < line.size() && !blank(line[i])) ++i;
      }
    } else {
      while (i < line.size() && !blank(line[i])) ++i;
      if (i == start) ++i;
    }
  }
  return "?";
}

// store_TT: one row line of table `st` into the table.
int32_t store_row(const SchemaTable& st, const cmd_args& args, LoadState* ls) {
  const Tab t = tab_of(st);
  if (args.positional_count() > 0) {
    std::string bad = args.positional(0);
    const size_t eq = bad.find('=');
    ls->error_key = eq == std::string::npos ? "INVALID_INPUT" : "INVALID_COLNAME";
    ls->error_arg1 = eq == std::string::npos ? bad : bad.substr(0, eq);
    ls->error_arg2 = st.name;
    return kDbBadLine;
  }
  const size_t n = st.cols.size();
  // Scratch kept from row to row (the host variables point into it).
  std::vector<std::string>& texts = ls->texts;
  std::vector<int32_t>& ints = ls->ints;
  std::vector<HostVar>& vars = ls->vars;
  if (texts.size() < n) texts.resize(n);
  if (ints.size() < n) ints.resize(n);
  vars.clear();
  uint64_t mask = 0;
  const bool is_rt = std::strcmp(st.name, "RT") == 0;
  for (size_t i = 0; i < n; ++i) {
    const COLDEF& c = st.cols[i];
    const char* v = args.keywords().value(i);
    if (v == nullptr) {
      if (c.not_null == 0) continue;  // null
      const char* shown =
          std::strcmp(st.name, "JS") == 0 && std::strcmp(c.s_colname, "CNTSENDATT") == 0
              ? "CNTSENATT"
              : c.s_colname;
      KYT_TRACE(kModule, kTopic, 1, "store_%s: GET_VAL(%s) failed (rc = %ld)", st.name, shown,
                12L);
      ls->error_key = "INVALID_INPUT";
      ls->error_arg1 = std::string("store_") + st.name + ": GET_VAL(" + shown + ") failed (rc = 12)";
      return kDbBadLine;
    }
    std::string why;
    int64_t number = 0;
    if (!dump_read_value(c, v, &texts[i], &number, &why)) {
      if (is_rt && std::strcmp(c.s_colname, "PRIORITY") == 0) {
        constexpr int kDefaultPriority = 1;
        KYT_TRACE(kModule, kTopic, 1, "RT priority (%d) invalid; using default (%d)", std::atoi(v),
                  kDefaultPriority);
        number = kDefaultPriority;
      } else {
        ls->error_key = "INVALID_INPUT";
        ls->error_arg1 = std::string(c.s_colname) + "=\"" + v + "\": " + why;
        return kDbBadLine;
      }
    }
    mask |= uint64_t{1} << i;
    if (c.type == kTypeChar) {
      vars.push_back(HostVar{kTypeChar, texts[i].data()});
    } else {
      ints[i] = static_cast<int32_t>(number);
      vars.push_back(HostVar{kTypeInteger, &ints[i]});
    }
  }
  const size_t ti = static_cast<size_t>(t);
  if (!ls->emptied[ti]) {
    const int32_t rc = rpdsql_run(std::string("DELETE FROM ") + st.name);
    if (rc != 0) {
      ls->error_key = "FUNCTION_FAILED";
      ls->error_arg1 = std::string("DELETE FROM ") + st.name;
      ls->error_rc = rc;
      return rc;
    }
    ls->emptied[ti] = true;
  }
  const int32_t rc = ls->inserts.run(t, st, mask, vars);
  if (rc != 0) {
    char text[200];
    if (is_rt)
      std::snprintf(text, sizeof text, "INSERT RT ( >%s< >%s< >%d< ) failed (rc = %ld)",
                    texts[0].c_str(), texts[1].c_str(), ints[2], static_cast<long>(rc));
    else
      std::snprintf(text, sizeof text, "INSERT %s failed (rc = %ld)", st.name,
                    static_cast<long>(rc));
    KYT_TRACE(kModule, kTopic, 1, "%s", text);
    ls->error_key = "FUNCTION_FAILED";
    ls->error_arg1 = text;
    ls->error_rc = rc;
  }
  return rc;
}

// Reads a file line by line, a block at a time; CR LF or LF end a line.
class InFile {
 public:
  ~InFile() {
    if (f_ != nullptr) std::fclose(f_);
  }
  bool open(const char* name) {
    f_ = std::fopen(name, "rb");
    return f_ != nullptr;
  }
  // False at the end of the file (or when it cannot be read on).
  bool line(std::string* out) {
    out->clear();
    bool any = false;
    for (;;) {
      if (pos_ == len_) {
        len_ = std::fread(buf_.data(), 1, buf_.size(), f_);
        pos_ = 0;
        if (len_ == 0) break;
      }
      any = true;
      const char* start = buf_.data() + pos_;
      const auto* nl = static_cast<const char*>(std::memchr(start, '\n', len_ - pos_));
      if (nl != nullptr) {
        out->append(start, static_cast<size_t>(nl - start));
        pos_ += static_cast<size_t>(nl - start) + 1;
        break;
      }
      out->append(start, len_ - pos_);
      pos_ = len_;
    }
    if (!out->empty() && out->back() == '\r') out->pop_back();
    return any;
  }
  bool failed() const { return std::ferror(f_) != 0; }

 private:
  std::FILE* f_ = nullptr;
  std::vector<char> buf_ = std::vector<char>(1 << 16);
  size_t pos_ = 0, len_ = 0;
};

const std::string kDbHeaderStart = "* Dump of KYT database";

}  // namespace

void dbadm_report(std::string_view key, std::initializer_list<std::string_view> args) {
  CallLanguage lang;
  report(key, args);
}

void dbadm_set_reporter(const DbadmReporter* reporter) {
  g_reporter = reporter != nullptr ? *reporter : DbadmReporter{};
}

std::span<const Tab> dump_group(int n) {
  static const auto groups = [] {
    std::array<std::vector<Tab>, 3> g;
    const size_t count = static_cast<size_t>(Tab::kCount);
    for (size_t i = 0; i < count; ++i) g[i * 3 / count].push_back(static_cast<Tab>(i));
    return g;
  }();
  if (n < 1 || n > 3) return {};
  return groups[static_cast<size_t>(n - 1)];
}

std::span<const Tab> station_group(int n) {
  static constexpr Tab g1[] = {Tab::kAC};
  static constexpr Tab g2[] = {Tab::kLU, Tab::kLX, Tab::kNK, Tab::kOP};
  static constexpr Tab g3[] = {Tab::kRT, Tab::kST, Tab::kTT, Tab::kTC, Tab::kXP};
  switch (n) {
    case 1:
      return g1;
    case 2:
      return g2;
    case 3:
      return g3;
    default:
      return {};
  }
}

std::string dump_header_db(const std::string& dbname, const std::string& at) {
  return kDbHeaderStart + " " + dbname + ": at " + at + " \n\n";
}

std::string dump_header_part(const char* what, const char* at) {
  std::string h = std::string("* Dump of ") + what;
  if (at != nullptr) {
    h += " at: ";
    h += at;
  }
  return h + " \n\n";
}

int32_t dump_tables(const char* file, const std::string& header, std::span<const Tab> tables,
                    bool station_form, bool append) {
  if (file == nullptr || *file == '\0') return -5;
  if (!env_ok()) return kDbNoEnv;
  CallLanguage lang;
  int32_t rc = open_db();
  if (rc != 0) {
    report("FUNCTION_FAILED", {"OPEN DB", num(rc)});
    return rc;
  }
  OutFile out;
  if (!out.open(file, append)) {
    report("FUNCTION_FAILED", {std::string("open ") + file, num(kDbNoFile)});
    return kDbNoFile;
  }
  if (!header.empty() && !out.write(header)) rc = kDbNoFile;
  if (!append) g_dumped = 0;  // the figure counts the rows of the file
  for (Tab t : tables) {
    if (rc != 0) break;
    rc = dump_one(out, tm::table(t), station_form, &g_dumped);
  }
  if (!out.close() && rc == 0) rc = kDbNoFile;
  if (rc == kDbNoFile) report("FUNCTION_FAILED", {std::string("write ") + file, num(rc)});
  return rc;
}

int32_t load_file(const char* file, std::span<const Tab> tables, long* bad_line) {
  if (bad_line != nullptr) *bad_line = 0;
  if (file == nullptr || *file == '\0') return -5;
  if (!env_ok()) return kDbNoEnv;
  CallLanguage lang;
  const std::string dir = db_dir();
  report("RECOVER_DATABASE", {dir, file});
  InFile in;
  if (!in.open(file)) {
    report("DATASET_NOT_EXIST", {file});
    report("RECOVER_FAILED", {num(kDbNoFile)});
    return kDbNoFile;
  }
  int32_t rc = open_db();
  if (rc != 0) {
    report("FUNCTION_FAILED", {"OPEN DB", num(rc)});
    report("RECOVER_FAILED", {num(rc)});
    return rc;
  }
  // The line reader: one verb a table of the load, its columns the keywords.
  auto ls = std::make_unique<LoadState>();
  ls->emptied.assign(static_cast<size_t>(Tab::kCount), false);
  CommandSet set;
  const auto all = station_schema();
  std::vector<bool> wanted(all.size(), tables.empty());
  for (Tab t : tables) wanted[static_cast<size_t>(t)] = true;
  for (size_t i = 0; i < all.size(); ++i) {
    if (!wanted[i]) continue;
    const SchemaTable& st = all[i];
    LoadState* state = ls.get();
    const int32_t d = rpxcid(set, dump_syntax(st), [&st, state](const cmd_args& a, cmd_msg*) {
      return store_row(st, a, state);
    });
    if (d != 0) {
      KYT_TRACE(kModule, kTopic, 1, "kytwdb: Definition of %s failed (rc = %ld)\n", st.name,
                static_cast<long>(d));
      report("FUNCTION_FAILED", {std::string("definition of ") + st.name, num(d)});
      return RC_INTERNAL_ERROR;
    }
  }
  rc = sqlSetAutocommOff();
  if (rc != 0) {
    report("RECOVER_FAILED", {num(rc)});
    return rc;
  }
  std::string line;
  long number = 0, rows = 0;
  while (in.line(&line)) {
    ++number;
    size_t b = line.find_first_not_of(" \t");
    if (b == std::string::npos) continue;
    if (line[b] == '*') {
      // The whole-database header: every table of the load is replaced.
      if (number == 1 && line.compare(0, kDbHeaderStart.size(), kDbHeaderStart) == 0) {
        for (size_t i = 0; i < all.size() && rc == 0; ++i) {
          if (!wanted[i]) continue;
          rc = rpdsql_run(std::string("DELETE FROM ") + all[i].name);
          ls->emptied[i] = true;
          if (rc != 0) {
            ls->error_key = "FUNCTION_FAILED";
            ls->error_arg1 = std::string("DELETE FROM ") + all[i].name;
            ls->error_rc = rc;
          }
        }
        if (rc != 0) break;
      }
      continue;
    }
    // A line of a station table outside the load's tables is passed over.
    size_t e = b;
    while (e < line.size() && (std::isalnum(static_cast<unsigned char>(line[e])) || line[e] == '_'))
      ++e;
    std::string verb = line.substr(b, e - b);
    std::transform(verb.begin(), verb.end(), verb.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    if (!tables.empty()) {
      const SchemaTable* st = schema_table(verb);
      if (st != nullptr && std::strcmp(st->creator, kStationCreator) == 0 &&
          !wanted[static_cast<size_t>(tab_of(*st))])
        continue;
    }
    ls->error_key.clear();
    ls->error_rc = 0;
    // The command language would end the line at a zero byte and read a byte 255 as ".":
    // neither stands unescaped in a dump, so such a line is damaged.
    if (line.find_first_of(std::string_view("\0\xff", 2)) != std::string::npos) {
      ls->error_key = "INVALID_INPUT";
      ls->error_arg1 = "a byte 0x00 or 0xFF outside an escape";
      rc = kDbBadLine;
      break;
    }
    cmd_msg msg;
    rc = rpxcie(set, line, &msg);
    if (rc != 0) {
      if (ls->error_key.empty()) {
        switch (rc) {
          case kCmdUnknownVerb:
            ls->error_key = "INVALID_CMD";
            ls->error_arg1 = verb;
            break;
          case kCmdKeywordTwice:
            ls->error_key = "PARM_USED_TWICE";
            ls->error_arg1 = twice_name(std::string_view(line).substr(e));
            break;
          case kCmdTooManyPositional:
            ls->error_key = "INVALID_INPUT";
            ls->error_arg1 = "too many columns not of the table";
            break;
          case kCmdSyntaxError:
            ls->error_key = "SYNTAX_ERROR";
            ls->error_arg1 = set.error_text();
            break;
          default:
            ls->error_key = "RPXCIE_FAILED";
            ls->error_arg1 = line;
            ls->error_arg2 = num(rc);
            break;
        }
        rc = kDbBadLine;  // the line itself is at fault
      }
      break;
    }
    if (++rows % kProgressStep == 0) progress(rows);
  }
  if (rc == 0 && in.failed()) {
    rc = kDbNoFile;
    ls->error_key = "FUNCTION_FAILED";
    ls->error_arg1 = std::string("read ") + file;
    ls->error_rc = rc;
  }
  if (rc != 0) {
    sqlRollback();
    sqlSetAutocommOn();
    if (bad_line != nullptr) *bad_line = number;
    const std::string& key = ls->error_key;
    std::string what;
    if (key == "INVALID_COLNAME") {
      report(key, {ls->error_arg1, ls->error_arg2});
      what = "INVALID_COLNAME " + ls->error_arg1;
    } else if (key == "RPXCIE_FAILED") {
      report(key, {ls->error_arg1, ls->error_arg2});
      what = "rc = " + ls->error_arg2;
    } else if (key == "FUNCTION_FAILED") {
      report(key, {ls->error_arg1, num(ls->error_rc)});
      what = ls->error_arg1;
    } else {
      report(key, {ls->error_arg1});
      what = key + " " + ls->error_arg1;
    }
    report("RECOVER_ERROR", {num(number), file, what});
    report("RECOVER_FAILED", {num(rc)});
    return rc;
  }
  progress(rows);
  rc = sqlCommit();
  if (rc == 0) rc = sqlSetAutocommOn();
  if (rc != 0) {
    report("RECOVER_FAILED", {num(rc)});
    return rc;
  }
  report("RECOVER_DONE", {file});
  return 0;
}

int32_t init_db() {
  if (!env_ok()) return kDbNoEnv;
  CallLanguage lang;
  const std::string dir = db_dir();
  if (dir.empty()) {
    report("NO_ENV_DATASET", {"DB"});
    return kDbNoEnv;
  }
  std::error_code ec;
  if (fs::exists(fs::path(dir) / "SYSCATLG.DB", ec)) {
    report("FUNCTION_FAILED", {"kytInitDB: database " + dir + " exists", num(kDbExists)});
    return kDbExists;
  }
  report("CREATING_DATABASE", {dir});
  fs::create_directories(dir, ec);
  int32_t rc = ec ? RPDSQL_OPEN_FAILED : open_db();
  if (rc == 0) rc = isa_create_catalogue();
  if (rc != 0) {
    report("FUNCTION_FAILED", {"isa_create_db", num(rc)});
    return rc;
  }
  report("DATABASE_CREATED", {dir});
  rc = sqlSetAutocommOff();
  const char* step = "SET AUTOCOMMIT OFF";
  if (rc == 0) {
    report("CREATING_TABLES", {});
    step = "rpdini";
    rc = rpdini_run();
  }
  if (rc == 0) {
    report("TABLES_CREATED", {});
    kyt_bt_elem bt{};
    std::strcpy(bt.uid, "SYSTEM");
    std::strcpy(bt.nameusr, "SYSTEM");
    std::strcpy(bt.privusr, "A");
    const std::string language = setting("LANGUAGE");
    bt.language[0] = language.empty() ? 'E' : language[0];
    step = "insBTelem";
    rc = insBTelem(&bt);
  }
  if (rc == 0) {
    kyt_db_elem db{};
    std::snprintf(db.dbversion, sizeof db.dbversion, "%s", version_banner());
    if (dt_to_stored(now_text().c_str(), &db.dbdate) != 0) db.dbdate = 0;
    step = "insDBelem";
    rc = insDBelem(&db);
  }
  if (rc == 0) {
    // The station's own id (LID) is no default parameter, yet the station list, send entries
    // and the initial command file's "setparm LID=..." need its row: it starts empty, before
    // the parameters, so that the command file can set it.
    kyt_pt_elem lid{};
    std::strcpy(lid.name, "LID");
    lid.type = 1;
    lid.len = 17;
    step = "insPTelem(LID)";
    rc = insPTelem(&lid);
  }
  if (rc == 0) {
    report("INIT_PARMS", {});
    step = "rpdipr";
    rc = rpdipr_run();
  }
  if (rc == 0) {
    std::string stat;
    if (lpdsn_get("DSN_STAT_INIT", &stat) == 0 && fs::exists(stat, ec)) {
      report("INIT_TABLES", {});
      step = "rpdist";
      rc = rpdist(stat.c_str(), [](const char* text) {
        if (g_reporter.message != nullptr && text != nullptr)
          g_reporter.message('I', "", text, g_reporter.context);
      });
    }
  }
  if (rc == 0) {
    step = "COMMIT WORK";
    rc = sqlCommit();
    if (rc == 0) rc = sqlSetAutocommOn();
  }
  if (rc != 0) {
    sqlRollback();
    sqlSetAutocommOn();
    report("FUNCTION_FAILED", {step, num(rc)});
    return rc;
  }
  report("INIT_DONE", {});
  char lid[18] = "";
  if (rpdprm_run("get", "LID", lid) != 0 || lid[0] == '\0') report("UNDEFINED_LID", {});
  return 0;
}

int32_t delete_db() {
  if (!env_ok()) return kDbNoEnv;
  CallLanguage lang;
  const std::string dir = db_dir();
  // A running station process keeps its files open: nothing is deleted under it.
  for (const char* process :
       {KYT_PROCESS_MONITOR, KYT_PROCESS_TRANSMITTER, KYT_PROCESS_LOGWRITER}) {
    const int32_t r = rpxunq(3, process);
    if (r == 4) {
      report("DBDEL_ACTIVE", {dir, process});
      return kDbStationRuns;
    }
    if (r != 0) {
      report("FUNCTION_FAILED", {std::string("rpxunq ") + process, num(r)});
      return r;
    }
  }
  report("DBDEL", {dir});
  sqlCloseDB();
  bool failed = false;
  // Deletes the regular files of `d` that `match` takes; false when one stays.
  auto remove_files = [&failed](const std::string& d, auto match) {
    std::error_code ec;
    for (fs::directory_iterator it(d, ec), end; !ec && it != end; it.increment(ec)) {
      std::error_code e2;
      if (!it->is_regular_file(e2) || !match(it->path())) continue;
      if (!fs::remove(it->path(), e2)) {
        failed = true;
        report("FUNCTION_FAILED", {"delete " + it->path().string(), num(e2.value())});
      }
    }
    if (ec) {
      failed = true;
      report("FUNCTION_FAILED", {"list " + d, num(ec.value())});
    }
  };
  auto ext_is = [](const fs::path& p, std::initializer_list<const char*> exts) {
    std::string e = p.extension().string();
    std::transform(e.begin(), e.end(), e.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    for (const char* x : exts)
      if (e == x) return true;
    return false;
  };
  std::error_code ec;
  if (dir.empty() || !fs::is_directory(dir, ec)) {
    report("NO_DB", {dir});
  } else {
    report("SYS_CMD", {"delete " + (fs::path(dir) / "*.DB *.IDX *.HOL").string()});
    remove_files(dir, [&](const fs::path& p) { return ext_is(p, {".DB", ".IDX", ".HOL"}); });
    report("DEL_DB", {dir});
  }
  const std::string logs = setting("TRACEDIR");
  if (!logs.empty() && fs::is_directory(logs, ec)) {
    report("SYS_CMD", {"delete " + (fs::path(logs) / "*.log").string()});
    remove_files(logs, [&](const fs::path& p) { return ext_is(p, {".LOG"}); });
    report("DEL_LOG", {logs});
  }
  const std::string temp = setting("TEMP");
  if (temp.empty() || !fs::is_directory(temp, ec)) {
    report("NO_TEMP", {temp});
  } else {
    report("SYS_CMD", {"delete " + (fs::path(temp) / "*").string()});
    remove_files(temp, [](const fs::path&) { return true; });
    report("DEL_TEMP", {temp});
  }
  return failed ? RC_INTERNAL_ERROR : 0;
}

int32_t db_version(char version[128], char date[20]) {
  if (version == nullptr || date == nullptr) return -5;
  if (lpdsn_init() != 0) return kDbNoEnv;
  int32_t rc = open_db();
  if (rc != 0) return rc;
  // The newest version row, read as texts.
  TableCursor cur;
  rc = cur.open(tm::table(Tab::kDB));
  RowTexts row;
  std::string best_version;
  long long best_date = -1;
  while (rc == 0 && (rc = cur.next(&row)) == 0) {
    const long long d = row.size() > 1 && row[1] ? std::stoll(*row[1]) : 0;
    if (d > best_date) {
      best_date = d;
      best_version = row[0] ? *row[0] : std::string();
    }
  }
  if (rc != DBI_W_END_FETCH) return rc;
  if (best_date < 0) return RPDSQL_NOT_FOUND;
  std::snprintf(version, 128, "%s", best_version.c_str());
  char text[32] = "";
  if (dt_from_stored(static_cast<int32_t>(best_date), text, sizeof text) != 0) text[0] = '\0';
  std::snprintf(date, 20, "%s", text);
  return 0;
}

}  // namespace kyt
