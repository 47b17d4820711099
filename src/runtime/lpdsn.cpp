// lpdsn: environment store, environment file reader and dataset names.
#include "runtime/lpdsn.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <unordered_map>

#include "platform/platform.h"
#include "runtime/cmdlang.h"
#include "runtime/dsnfmt.h"
#include "runtime/params.h"
#include "runtime/numtext.h"
#include "runtime/trace.h"
#include "runtime/version.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "e";
constexpr int kFailed = 99;
constexpr int kNotFound = 12;
constexpr int kKeywordTwice = 4;          // the command language's codes, for the same faults
constexpr int kTooManyOthers = 5;
constexpr size_t kMaxOthers = 99;         // settings of names that are not keywords
constexpr size_t kMaxFile = 1 << 20;      // larger environment files are refused
constexpr size_t kMaxShown = 80;          // bytes of an offending text shown in a failure
constexpr size_t kMaxPath = 255;

// How a keyword's value is taken.
enum class Kind { kText, kFirstLower, kFirstUpper, kPath, kDirectory, kDebug };

struct Keyword {
  const char* name;
  Kind kind;
  const char* fallback;  // default; nullptr: none (a directory's default derives from PATH)
};

// Keywords of the environment file, in the order defaults are applied.
constexpr Keyword kKeywords[] = {
    {"MODE", Kind::kFirstLower, "d"},
    {"LANGUAGE", Kind::kFirstUpper, "E"},
    {"DEBUG", Kind::kDebug, nullptr},
    {"PATH", Kind::kPath, nullptr},
    {"TRACEDIR", Kind::kDirectory, nullptr},
    {"DB", Kind::kDirectory, nullptr},
    {"INIT", Kind::kDirectory, nullptr},
    {"SYSTEM", Kind::kDirectory, nullptr},
    {"TEMP", Kind::kDirectory, nullptr},
    {"USRDAT", Kind::kDirectory, nullptr},
    {"ARCDIR", Kind::kDirectory, nullptr},
    {"SPDIR", Kind::kDirectory, nullptr},
    {"SPINDIR", Kind::kDirectory, nullptr},
    {"SPOUTDIR", Kind::kDirectory, nullptr},
    {"SPFILESDIR", Kind::kDirectory, nullptr},
    {"DFTAUT", Kind::kText, nullptr},
    {"DBG_LVL", Kind::kText, "0x90000001"},
    {"DBG_TPC", Kind::kText, "abcdefghijklmnopqrstuvwxyz"},
    {"DBG_MAXSIZE", Kind::kText, "1000000"},
    {"DBG_NUMLOGS", Kind::kText, "3"},
    {"DBNAME", Kind::kText, nullptr},
    {"DBUSER", Kind::kText, nullptr},
    {"DBPSW", Kind::kText, nullptr},
    {"DBTO", Kind::kText, "120"},
    {"DBDL", Kind::kText, "5"},
    {"LOGINDB", Kind::kText, "0"},
};

struct Dataset {
  const char* key;
  const char* directory;  // setting that holds the directory; nullptr: the pattern alone
  const char* pattern;
};

// Dataset names, composed in this order.
constexpr Dataset kDatasets[] = {
    {"DSN_CMDTRACE", "TEMP", "rlctrace.log"},
    {"DSN_COCO", "INIT", "rtc%.5s.dat"},
    {"DSN_DB_DUMP", "ARCDIR", "rldbdump.log"},
    {"DSN_LOG_DUMP", "ARCDIR", "logdump.log"},
    {"DSN_RU_DUMP", "ARCDIR", "rlrudump.log"},
    {"DSN_DB_LOG", "DB", "rldb.log"},
    {"DSN_STAT_LOG", "DB", "rlstat.log"},
    {"DSN_DIA_LOG", nullptr, "rlb.log"},
    {"DSN_DIA_TAB", "SYSTEM", "rdbtab.dat"},
    {"DSN_HLP", "SYSTEM", "rh%.1s%.5s.hlp"},
    {"DSN_MON_INIT", "INIT", "rdmini.dat"},
    {"DSN_MSG", "SYSTEM", "rm%.1s%.5s.msg"},
    {"DSN_KYT_LOG", "DB", "rlog.log"},
    {"DSN_SYS_LOG", "TEMP", "rsyslog.log"},
    {"DSN_STAT_INIT", "INIT", "rdstat.dat"},
    {"DSN_TR_INIT", "INIT", "rdtr.dat"},
    {"DSN_RPL_LOG", "TRACEDIR", "rltr_%06lu_%s.rpl"},
    {"DSN_TRACE_LOG", "TRACEDIR", "trace%06lu.log"},
    {"DSN_ODT_LOG", "TRACEDIR", "rltr%04ld.log"},
    {"DSN_RES_TEMP", "TEMP", "restmp.log"},
    {"DSN_DBTAB", nullptr, "%s%.0s/%s.db"},
    {"DSN_JOB_TEMP", "TEMP", "r%03lu%07lu.bat"},
    {"DSN_JOB_SEND", "TEMP", "j%03lu%07lu.bat"},
    {"DSN_MSK", "SYSTEM", "rm%.1s%.5s.mas"},
    {"DSN_DIAG", "TRACEDIR", "diag.log"},
    {"DSN_DIAG_ARC", "TRACEDIR", "diag.%03d"},
    {"DSN_DELREASON", "TEMP", "delreason.%06d"},
    {"DSN_TIME_LOG", "TEMP", "time.log"},
    {"DSN_PGM", "PGM", "%s.exe"},
    {"DSN_RCV_TEMP", "TEMP", "d%07lu.dat"},
    {"DSN_CNV_TEMP", "TEMP", "c%07lu.dat"},
    {"DSN_CNV_JOB_IN", "SPINDIR", "%.10lu.job"},
    {"DSN_CNV_JOB_OUT", "SPOUTDIR", "%.10lu.job"},
    {"DSN_CNS_OUT", "DB", "rlco.log"},
};

// The process-wide store: entries in insertion order, with an index by key.
struct Store {
  std::vector<std::pair<std::string, std::string>> entries;
  std::unordered_map<std::string, size_t> index;
  bool initialised = false;   // the file was read and the store is complete
  bool initialising = false;  // the file is being read (lookups are refused meanwhile)
  bool named = false;         // the file was named by the caller (lpdsn_init_file)
  int code = 0;               // result of the last reading
  std::string file;           // the environment file read
  std::string error;          // what the last failure was: file, line, offending text

  void set(const std::string& key, const std::string& value) {
    auto it = index.find(key);
    if (it != index.end()) {
      entries[it->second].second = value;
      return;
    }
    index.emplace(key, entries.size());
    entries.emplace_back(key, value);
  }
  const std::string* get(const std::string& key) const {
    auto it = index.find(key);
    return it == index.end() ? nullptr : &entries[it->second].second;
  }
  void clear() {
    entries.clear();
    index.clear();
    initialised = false;
    code = 0;
    file.clear();
    error.clear();
  }
};

Store& store() {
  static Store s;
  return s;
}

// One setting as the file writes it.
struct Written {
  std::string name;
  std::string value;
  int line = 0;
  std::string text;  // the setting as written, for failures
};

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\v' || c == '\f' || c == '\r'; }
bool is_name_start(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}
bool is_name_char(char c) { return is_name_start(c) || (c >= '0' && c <= '9'); }
bool same_name(const std::string& a, const char* b) {
  size_t i = 0;
  for (; i < a.size() && b[i] != '\0'; ++i) {
    if (std::toupper(static_cast<unsigned char>(a[i])) != static_cast<unsigned char>(b[i])) {
      return false;
    }
  }
  return i == a.size() && b[i] == '\0';
}
int keyword_index(const std::string& name) {
  for (size_t i = 0; i < std::size(kKeywords); ++i) {
    if (same_name(name, kKeywords[i].name)) return static_cast<int>(i);
  }
  return -1;
}

// "FILE:LINE: WHY: TEXT", the text cut to a readable length.
std::string failure(const std::string& file, int line, const char* why, std::string_view text) {
  std::string out = file;
  if (line > 0) out += ":" + std::to_string(line);
  out += ": ";
  out += why;
  if (!text.empty()) {
    out += ": ";
    if (text.size() > kMaxShown) {
      out.append(text.substr(0, kMaxShown));
      out += "...";
    } else {
      out.append(text);
    }
  }
  return out;
}

// The settings of one line: blank-separated NAME=value, a value quoted with " or ' when it
// holds blanks, anything else up to the next blank otherwise (parentheses included); an
// empty value is allowed. A line whose first non-blank byte is "#" is a comment.
int read_line(const std::string& file, int line_no, std::string_view line,
              std::vector<Written>* out, std::string* error) {
  if (line.find('\0') != std::string_view::npos) {
    *error = failure(file, line_no, "a NUL byte in the line", "");
    return kFailed;
  }
  size_t i = 0;
  const size_t n = line.size();
  while (i < n && is_blank(line[i])) ++i;
  if (i < n && line[i] == '#') return 0;
  for (;;) {
    while (i < n && is_blank(line[i])) ++i;
    if (i == n) return 0;
    const size_t start = i;
    auto token = [&] {
      size_t e = start;
      while (e < n && !is_blank(line[e])) ++e;
      return line.substr(start, e - start);
    };
    if (!is_name_start(line[i])) {
      *error = failure(file, line_no, "a setting must be NAME=value", token());
      return kFailed;
    }
    while (i < n && is_name_char(line[i])) ++i;
    if (i == n || line[i] != '=') {
      *error = failure(file, line_no, "a setting must be NAME=value", token());
      return kFailed;
    }
    Written w;
    w.name.assign(line.substr(start, i - start));
    w.line = line_no;
    ++i;
    if (i < n && (line[i] == '"' || line[i] == '\'')) {
      const size_t close = line.find(line[i], i + 1);
      if (close == std::string_view::npos) {
        *error = failure(file, line_no, "quote not closed on its line", line.substr(start));
        return kFailed;
      }
      w.value.assign(line.substr(i + 1, close - i - 1));
      i = close + 1;
      if (i < n && !is_blank(line[i])) {
        *error = failure(file, line_no, "no blank after the closing quote", token());
        return kFailed;
      }
    } else {
      const size_t v = i;
      while (i < n && !is_blank(line[i])) ++i;
      w.value.assign(line.substr(v, i - v));
    }
    w.text.assign(line.substr(start, i - start));
    out->push_back(std::move(w));
  }
}

// Reads the whole file, lines of any length, and checks its settings. 0 or a failure code
// with the failure described in *error.
int read_environment_file(const std::string& name, std::vector<Written>* settings,
                          std::string* error) {
  std::FILE* f = std::fopen(name.c_str(), "rb");
  if (f == nullptr) {
    *error = failure(name, 0, "cannot open the environment file", "");
    return kFailed;
  }
  std::string data;
  char buf[4096];
  size_t got = 0;
  bool too_large = false;
  while ((got = std::fread(buf, 1, sizeof buf, f)) > 0) {
    if (data.size() + got > kMaxFile) {
      too_large = true;
      break;
    }
    data.append(buf, got);
  }
  const bool failed = std::ferror(f) != 0;
  std::fclose(f);
  if (failed || too_large) {
    *error = failure(name, 0,
                     too_large ? "the environment file is larger than 1 MiB"
                               : "cannot read the environment file",
                     "");
    return kFailed;
  }
  int line_no = 0;
  for (size_t pos = 0; pos < data.size();) {
    size_t end = data.find('\n', pos);
    if (end == std::string::npos) end = data.size();
    std::string_view line(data.data() + pos, end - pos);
    pos = end + 1;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    int rc = read_line(name, ++line_no, line, settings, error);
    if (rc != 0) return rc;
  }
  // The command language refuses these as well, but without saying where.
  std::vector<int> first(std::size(kKeywords), 0);
  size_t others = 0;
  for (const Written& w : *settings) {
    int k = keyword_index(w.name);
    if (k < 0) {
      if (++others > kMaxOthers) {
        *error = failure(name, w.line, "more than 99 settings of names that are not keywords",
                         w.text);
        return kTooManyOthers;
      }
    } else if (first[static_cast<size_t>(k)] != 0) {
      const std::string why = std::string(kKeywords[k].name) + " given twice (first on line " +
                              std::to_string(first[static_cast<size_t>(k)]) + ")";
      *error = failure(name, w.line, why.c_str(), w.text);
      return kKeywordTwice;
    } else {
      first[static_cast<size_t>(k)] = w.line;
    }
  }
  return 0;
}

// The settings as one SET command of the command language. Every value is quoted, so that
// an empty value or one with parentheses reads as written; a value holding both kinds of
// quote stands as a bare word, which it can when it has no parentheses.
int command_of(const std::string& file, const std::vector<Written>& settings,
               std::string* command, std::string* error) {
  *command = "SET";
  for (const Written& w : settings) {
    *command += ' ';
    *command += w.name;
    *command += '=';
    if (w.value.find('"') == std::string::npos) {
      *command += '"' + w.value + '"';
    } else if (w.value.find('\'') == std::string::npos) {
      *command += '\'' + w.value + '\'';
    } else if (w.value.find_first_of("()") == std::string::npos) {
      *command += w.value;
    } else {
      *error = failure(file, w.line, "a value with both kinds of quote and a parenthesis",
                       w.text);
      return kFailed;
    }
  }
  return 0;
}

std::string syntax_string() {
  std::string s = "SET: 0-99";
  for (const Keyword& k : kKeywords) {
    s += ' ';
    s += k.name;
  }
  return s;
}

std::string join_path(const std::string& dir, const char* name) {
  std::string r = dir;
  r += platform::path_separator();
  r += name;
  return r;
}

// PATH made absolute, without one trailing separator; false when it cannot be.
bool installation_path(const std::string& given, std::string* out) {
  std::string abs;
  if (!platform::absolute_path(given, &abs)) return false;
  if (abs.size() > 1 && (abs.back() == '\\' || abs.back() == '/')) abs.pop_back();
  if (abs.size() > kMaxPath) return false;
  *out = abs;
  return true;
}

// Applies the parsed SET command to the store. An empty value of a keyword that has a
// default (a directory, PATH, MODE, LANGUAGE, the trace settings) leaves the default; other
// keywords and names keep the empty value. DEBUG is only noted: the switch goes on once the
// store is complete.
int apply_settings(const cmd_args& args, const std::string& file,
                   const std::vector<Written>& written, bool* debug, std::string* error) {
  Store& s = store();
  const cmd_table& kw = args.keywords();
  for (size_t i = 0; i < std::size(kKeywords); ++i) {
    const Keyword& k = kKeywords[i];
    const char* v = kw.value(i);
    if (v == nullptr) continue;
    std::string value = v;
    if (value.empty() && (k.fallback != nullptr || k.kind != Kind::kText)) continue;
    switch (k.kind) {
      case Kind::kFirstLower:
        value = std::string(1, static_cast<char>(std::tolower(static_cast<unsigned char>(v[0]))));
        break;
      case Kind::kFirstUpper:
        value = std::string(1, static_cast<char>(std::toupper(static_cast<unsigned char>(v[0]))));
        break;
      case Kind::kPath:
        if (!installation_path(v, &value)) {
          int line = 0;
          for (const Written& w : written) {
            if (same_name(w.name, k.name)) line = w.line;
          }
          *error = failure(file, line, "PATH cannot be made absolute (at most 255 characters)",
                           v);
          return kFailed;
        }
        break;
      case Kind::kDebug:
        if (nonzero_number(v)) *debug = true;
        break;
      default:
        break;
    }
    s.set(k.name, value);
  }
  for (const char* p : args.positionals()) {
    const char* eq = std::strchr(p, '=');
    if (eq == nullptr || eq == p) continue;  // only name=value sets anything
    s.set(std::string(p, eq), std::string(eq + 1));
  }
  return 0;
}

int apply_defaults() {
  Store& s = store();
  std::string path;
  if (const std::string* given = s.get("PATH")) {
    path = *given;
  } else if (!installation_path(platform::default_install_path(), &path)) {
    return kFailed;
  }
  for (const Keyword& k : kKeywords) {
    if (s.get(k.name) != nullptr) continue;
    if (k.kind == Kind::kPath) {
      s.set(k.name, path);
    } else if (k.kind == Kind::kDirectory) {
      s.set(k.name, join_path(path, k.name));
    } else if (k.fallback != nullptr) {
      s.set(k.name, k.fallback);
    }
  }
  if (*s.get("MODE") == "t") {
    std::string mode;
    if (param_get("KYTMODE", &mode) == 0) s.set("KYTMODE", mode);
  }
  s.set("VERSION", version_banner());
  s.set("PGM", *s.get("SYSTEM"));
  return 0;
}

// The file pattern is completed before the directory is put in front of it: a directory is
// never a pattern, whatever it holds.
void compose_datasets() {
  Store& s = store();
  for (const Dataset& d : kDatasets) {
    std::string pattern = d.pattern;
    if (std::strcmp(d.key, "DSN_ODT_LOG") == 0) {
      pattern = dsn_complete(pattern, static_cast<long long>(platform::process_id() % 10000u));
    }
    const std::string* dir = d.directory != nullptr ? s.get(d.directory) : nullptr;
    s.set(d.key, dir != nullptr ? join_path(*dir, pattern.c_str()) : pattern);
  }
}

bool trace_lookup(const char* key, std::string* value);
void trace_reload();

// The store becomes the trace's source of settings when the trace has none; a source of the
// store's own takes the settings afresh after each successful reading. (A failed reading asks
// for no fresh settings: the trace's lookups would only read the failing file again.)
void offer_to_trace(bool read) {
  const TraceEnvSource current = trace_env_source();
  if (current.lookup == nullptr || (read && current.lookup == trace_lookup)) {
    trace_set_env_source(lpdsn_trace_source());
  }
}

// Reads the file into the empty store, holding the trace back meanwhile: no trace line may
// take its settings from a store half read. 0 or the failure code, *error the failure.
int read_store(const std::string& file, bool* debug, std::string* error) {
  TraceHold hold;
  std::vector<Written> written;
  int rc = read_environment_file(file, &written, error);
  std::string command;
  if (rc == 0) rc = command_of(file, written, &command, error);
  if (rc != 0) return rc;
  CommandSet set;
  rc = rpxcid(set, syntax_string(), [&](const cmd_args& args, cmd_msg*) {
    return apply_settings(args, file, written, debug, error);
  });
  // Apart from any command in progress: the file may be needed first inside a handler.
  if (rc == 0) rc = rpxcie_apart(set, command, nullptr);
  if (rc != 0) {
    if (error->empty()) {
      *error = failure(file, 0, "the settings are not valid", set.error_text());
      *error += " (code " + std::to_string(rc) + ")";
    }
    return rc;
  }
  rc = apply_defaults();
  if (rc != 0) {
    *error = failure(file, 0, "the installation directory cannot be made absolute",
                     platform::default_install_path());
    return rc;
  }
  compose_datasets();
  return 0;
}

int initialise(const std::string& file, bool named) {
  Store& s = store();
  s.clear();
  s.initialising = true;
  s.named = named;
  s.file = file;
  s.set("DSN_KYTENV", file);
  bool debug = false;
  std::string error;
  const int rc = read_store(file, &debug, &error);
  s.initialising = false;
  s.code = rc;
  s.initialised = rc == 0;
  s.error = rc == 0 ? std::string() : error;
  if (rc != 0) {
    // Nothing but the file's name stays: no setting of a file that was refused is used.
    const std::string name = file;
    s.entries.clear();
    s.index.clear();
    s.set("DSN_KYTENV", name);
    // A copy: taking the trace settings may read the store again, which rewrites s.error.
    const std::string why = error;
    KYT_TRACE(kModule, kTopic, 1, "lpdsn : %s (code %d)", why.c_str(), rc);
  }
  offer_to_trace(rc == 0);
  if (debug && rc == 0) trace_set_switch(1);
  return rc;
}

std::string environment_file_name() {
  std::string name;
  if (param_get("KYTENV", &name) == 0 && !name.empty()) return name;
  if (platform::get_env("KYTENV", &name) && !name.empty()) return name;
  return "kytenv.dat";
}

bool trace_lookup(const char* key, std::string* value) { return lpdsn_get(key, value) == 0; }
void trace_reload() {
  Store& s = store();
  if (s.initialising) return;
  const std::string file = s.file;
  initialise(s.named ? file : environment_file_name(), s.named);
}

}  // namespace

int lpdsn_init() {
  Store& s = store();
  if (s.initialised || s.initialising) return s.code;
  // Not read yet, or the last reading failed: read (again), so that a failure whose cause
  // is gone does not stay with the process.
  return initialise(s.named ? std::string(s.file) : environment_file_name(), s.named);
}

int lpdsn_init_file(const std::string& file) { return initialise(file, true); }

const std::string& lpdsn_error_text() { return store().error; }

int lpdsn(int action, const char* key, std::string* value) {
  Store& s = store();
  if (s.initialising) return kNotFound;  // asked from within the initialisation itself
  int rc = lpdsn_init();
  if (action == kLpdsnList) {
    std::string text = lpdsn_listing();
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
    return rc;
  }
  if (rc != 0) return rc;
  if (key == nullptr) return kNotFound;
  const std::string* v = s.get(key);
  if (v == nullptr) return kNotFound;
  if (value != nullptr) *value = *v;
  return 0;
}

const std::vector<std::pair<std::string, std::string>>& lpdsn_entries() {
  return store().entries;
}

std::string lpdsn_listing() {
  std::string out = "\nList of environment values:\n---------------------------\n";
  for (const auto& [key, value] : store().entries) {
    char head[32];
    std::snprintf(head, sizeof head, "%-20s", key.c_str());
    out += key.size() >= 20 ? key : std::string(head);
    out += " = '";
    out += value;
    out += "'\n";
  }
  out += "\n";
  return out;
}

int lpdsn_set(const char* key, const char* value) {
  if (key == nullptr) return kFailed;
  store().set(key, value != nullptr ? value : "");
  return 0;
}

void lpdsn_reset_for_tests() {
  store().clear();
  store().named = false;
}

// The environment store answers the trace settings first (see trace.h).
TraceEnvSource lpdsn_trace_source() { return {trace_lookup, trace_reload}; }

}  // namespace kyt
