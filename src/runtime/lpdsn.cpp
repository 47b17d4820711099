// lpdsn: environment store, environment file reader and dataset names.
#include "runtime/lpdsn.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unordered_map>

#include "platform/platform.h"
#include "runtime/cmdlang.h"
#include "runtime/dsnfmt.h"
#include "runtime/params.h"
#include "runtime/trace.h"
#include "runtime/version.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "e";
constexpr int kFailed = 99;
constexpr int kNotFound = 12;
constexpr size_t kPiece = 99;             // bytes per read of the file (a 100-byte buffer)
constexpr size_t kMaxFile = 1 << 20;      // larger environment files are refused
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
  bool initialised = false;
  bool initialising = false;  // lpdsn_init is running (its own trace lines must not recurse)
  int code = 0;               // result of the initialisation
  std::string file;           // the environment file read

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
  }
};

Store& store() {
  static Store s;
  return s;
}

// The file's lines joined with blanks behind "SET"; false when it cannot be read.
bool read_environment_file(const std::string& name, std::string* command) {
  std::FILE* f = std::fopen(name.c_str(), "r");
  if (f == nullptr) return false;
  *command = "SET";
  char piece[kPiece + 1];
  size_t total = 0;
  bool ok = true;
  while (std::fgets(piece, sizeof piece, f) != nullptr) {
    size_t n = std::strlen(piece);
    total += n;
    if (total > kMaxFile) {
      ok = false;
      break;
    }
    while (n > 0 && (piece[n - 1] == '\n' || piece[n - 1] == '\r')) --n;
    command->push_back(' ');
    command->append(piece, n);
  }
  if (std::ferror(f)) ok = false;
  std::fclose(f);
  return ok;
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

// Applies the parsed SET command to the store.
int apply_settings(const cmd_args& args) {
  Store& s = store();
  const cmd_table& kw = args.keywords();
  for (size_t i = 0; i < std::size(kKeywords); ++i) {
    const Keyword& k = kKeywords[i];
    const char* v = kw.value(i);
    if (v == nullptr) continue;
    std::string value = v;
    switch (k.kind) {
      case Kind::kFirstLower:
        value = value.empty() ? "" : std::string(1, static_cast<char>(std::tolower(
                                                        static_cast<unsigned char>(value[0]))));
        break;
      case Kind::kFirstUpper:
        value = value.empty() ? "" : std::string(1, static_cast<char>(std::toupper(
                                                        static_cast<unsigned char>(value[0]))));
        break;
      case Kind::kPath:
        if (!installation_path(v, &value)) {
          KYT_TRACE(kModule, kTopic, 1, "lpdsn : PATH '%s' cannot be made absolute", v);
          return kFailed;
        }
        break;
      case Kind::kDebug:
        if (std::strtol(v, nullptr, 0) != 0) trace_set_switch(1);
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

void compose_datasets() {
  Store& s = store();
  for (const Dataset& d : kDatasets) {
    std::string value;
    const std::string* dir = d.directory != nullptr ? s.get(d.directory) : nullptr;
    value = dir != nullptr ? join_path(*dir, d.pattern) : std::string(d.pattern);
    if (std::strcmp(d.key, "DSN_ODT_LOG") == 0) {
      value = dsn_complete(value, static_cast<long long>(platform::process_id() % 10000u));
    }
    s.set(d.key, value);
  }
}

int initialise(const std::string& file) {
  Store& s = store();
  s.clear();
  s.initialising = true;
  s.file = file;
  s.set("DSN_KYTENV", file);
  int rc = 0;
  std::string command;
  if (!read_environment_file(file, &command)) {
    KYT_TRACE(kModule, kTopic, 1, "lpdsn : cannot read environment file %s", file.c_str());
    rc = kFailed;
  } else {
    CommandSet set;
    rc = rpxcid(set, syntax_string(), [](const cmd_args& args, cmd_msg*) {
      return apply_settings(args);
    });
    if (rc == 0) rc = rpxcie(set, command, nullptr);
    if (rc != 0) {
      KYT_TRACE(kModule, kTopic, 1, "lpdsn : environment file %s gives %d", file.c_str(), rc);
    }
    if (rc == 0) rc = apply_defaults();
    if (rc == 0) compose_datasets();
  }
  s.initialised = true;
  s.initialising = false;
  s.code = rc;
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
  const std::string file = store().file;
  initialise(file.empty() ? environment_file_name() : file);
}

}  // namespace

int lpdsn_init() {
  Store& s = store();
  if (s.initialised || s.initialising) return s.code;
  return initialise(environment_file_name());
}

int lpdsn_init_file(const std::string& file) { return initialise(file); }

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

void lpdsn_reset_for_tests() { store().clear(); }

// The environment store answers the trace settings first (see trace.h).
TraceEnvSource lpdsn_trace_source() { return {trace_lookup, trace_reload}; }

}  // namespace kyt
