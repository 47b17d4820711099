// rpdprm: the parameter service, its cache and snapshot.
#include "services/rpdprm.h"

#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "runtime/runtime.h"
#include "kyt/kyt.h"
#include "platform/platform.h"
#include "sql/sql.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "p";
constexpr size_t kNameMax = 19;
constexpr size_t kValueMax = 39;
constexpr size_t kOpsetMax = 59;
constexpr size_t kEnvPathMax = 254;
constexpr size_t kBuckets = 503;
constexpr const char* kNotSpecified = "VALUE_NOT_SPECIFIED";

// A row without its name: what the cache keeps.
struct Entry {
  int16_t type = 0;
  int32_t len = 0;
  char val[kValueMax + 1] = {};
};

// Chained hash table of 503 buckets, keyed by the upper-case name.
class Cache {
 public:
  const Entry* find(std::string_view name) const {
    for (const Slot& s : buckets_[bucket(name)]) {
      if (s.name == name) return &s.entry;
    }
    return nullptr;
  }
  void put(std::string_view name, const Entry& e) {
    auto& b = buckets_[bucket(name)];
    for (Slot& s : b) {
      if (s.name == name) {
        s.entry = e;
        return;
      }
    }
    b.push_back(Slot{std::string(name), e});
  }

 private:
  struct Slot {
    std::string name;
    Entry entry;
  };
  static size_t bucket(std::string_view name) {
    uint32_t h = 2166136261u;
    for (unsigned char c : name) h = (h ^ c) * 16777619u;
    return h % kBuckets;
  }
  std::array<std::vector<Slot>, kBuckets> buckets_;
};

struct State {
  bool initialised = false;  // snapshot taken, cache made (or tried)
  std::unique_ptr<Cache> cache;
  ParmSnapshot snap;
  char mode = 'n';
  int16_t testmode = 0;
  bool env_resolved = false;
  std::string env_path;
};

State& st() {
  static State s;
  return s;
}

void copy_cut(char* dst, size_t cap, std::string_view src) {
  const size_t n = src.size() < cap - 1 ? src.size() : cap - 1;
  std::memcpy(dst, src.data(), n);
  dst[n] = 0;
}

std::string norm_name(const char* name) {
  std::string n(name, strnlen(name, kNameMax));
  for (char& c : n) {
    if (std::islower(static_cast<unsigned char>(c))) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
  return n;
}

bool starts_with(std::string_view s, std::string_view p) { return s.substr(0, p.size()) == p; }

// Decimal text as an integer within [lo, hi]: leading blanks and a sign allowed, what
// follows the digits ignored, no digits 0, beyond the range the nearer bound.
int64_t decimal(std::string_view text, int64_t lo, int64_t hi) {
  int64_t v = 0;
  size_t used = 0;
  parse_int(text, lo, hi, &v, NumSyntax{true, true, false}, &used);
  return v;
}

// --- database ---------------------------------------------------------------------------

// The row `name` straight from PT: 0, RPDSQL_NOT_FOUND, or the failing status.
int32_t read_row(const std::string& name, Entry* e) {
  char key[kNameMax + 1];
  copy_cut(key, sizeof key, name);
  Entry row;
  const HostVar vars[] = {{KYT_HOST_TEXT, key},
                          {KYT_HOST_INT16, &row.type},
                          {KYT_HOST_INT32, &row.len},
                          {KYT_HOST_TEXT, row.val}};
  int32_t rc = rpdsql_run(
      "DECLARE GPTNAME CURSOR FOR SELECT TYPE       , LEN       , VAL  FROM PT WHERE NAME = ?",
      vars);
  rpdsql_run("CLOSE GPTNAME");
  if (rc != 0) {
    if (rc != RPDSQL_NOT_FOUND)
      KYT_TRACE(kModule, kTopic, 1, "rpdprm: read of %s returns %d", key, rc);
    return rc;
  }
  *e = row;
  return 0;
}

int32_t write_row(const std::string& name, const Entry& e) {
  kyt_pt_elem row{};
  copy_cut(row.name, sizeof row.name, name);
  row.type = e.type;
  row.len = e.len;
  copy_cut(row.val, sizeof row.val, e.val);
  int32_t rc = updPTStatus(&row);
  if (rc != 0) {
    KYT_TRACE(kModule, kTopic, 1, "rpdprm: update of %s returns %d", row.name, rc);
    return PRM_FAILED;
  }
  return 0;
}

// --- snapshot ---------------------------------------------------------------------------

struct Int32Var {
  const char* name;
  int32_t ParmSnapshot::*member;
};
struct Int16Var {
  const char* name;
  int16_t ParmSnapshot::*member;
};
using S = ParmSnapshot;
constexpr Int32Var kInt32Vars[] = {
    {"MONTIMEOUT", &S::montimeout},     {"OTIMEOUT", &S::otimeout},
    {"COMTIMEOUT", &S::comtimeout},     {"XMTTIMEOUT", &S::xmttimeout},
    {"MWTIMEOUT", &S::mwtimeout},       {"CNTGC", &S::cntgc},
    {"CNTIE", &S::cntie},               {"CNTMA", &S::cntma},
    {"SDSNMAX", &S::sdsnmax},           {"KEEPDAYS", &S::keepdays},
    {"MAXRECL", &S::maxrecl},           {"SENDBLOCKS", &S::sendblocks},
    {"RECVBLOCKS", &S::recvblocks},     {"AGENT_LOGLEVEL", &S::agent_loglevel},
    {"AGENT_HEARTBEAT", &S::agent_heartbeat}, {"RLCOMAXSIZE", &S::rlcomaxsize},
    {"RLOGMAXSIZE", &S::rlogmaxsize},   {"RLSTATMAXSIZE", &S::rlstatmaxsize},
    // The row is NUMRLSTATS; this name never matches, so numrlstat keeps 0. Kept so: the
    // transfer processes count on it.
    {"NUMRLSTAT", &S::numrlstat},       {"NUMRLOGS", &S::numrlogs},
    {"DISKSPACEWARN", &S::diskspacewarn}, {"DISKSPACEERR", &S::diskspaceerr},
    {"DISKSPACEDELAY", &S::diskspacedelay}, {"DISKSPACEREJECT", &S::diskspacereject},
    {"MWSTART", &S::mwstart},           {"MWSTOP", &S::mwstop},
    {"CRYPERRDELAY", &S::cryperrdelay}, {"MAXSENDERS", &S::maxsenders},
};
constexpr Int16Var kInt16Vars[] = {
    {"BBCREATE", &S::bbcreate},     {"BBPRIO", &S::bbprio},         {"SCPRIO", &S::scprio},
    {"LMPRIO", &S::lmprio},         {"SEPRIO", &S::seprio},         {"LDSNPRIO", &S::ldsnprio},
    {"SDSNPRIO", &S::sdsnprio},     {"IZPRIO", &S::izprio},         {"IEPRIO", &S::ieprio},
    {"OKPRIO", &S::okprio},         {"QSPRIO", &S::qsprio},         {"QEPRIO", &S::qeprio},
    {"MSGPRIO", &S::msgprio},       {"ODTRACELVL", &S::odtracelvl}, {"LITRACELVL", &S::litracelvl},
    {"CMDDELETE", &S::cmddelete},   {"STATISTICS", &S::statistics}, {"XMCREATE", &S::xmcreate},
};

void snapshot_row(ParmSnapshot& s, const char* name, const char* val) {
  for (const Int32Var& v : kInt32Vars) {
    if (std::strcmp(v.name, name) == 0) {
      s.*v.member = static_cast<int32_t>(decimal(val, INT32_MIN, INT32_MAX));
      return;
    }
  }
  for (const Int16Var& v : kInt16Vars) {
    if (std::strcmp(v.name, name) == 0) {
      s.*v.member = static_cast<int16_t>(decimal(val, INT16_MIN, INT16_MAX));
      return;
    }
  }
  if (std::strcmp(name, "LID") == 0) {
    copy_cut(s.lid, sizeof s.lid, val);
  } else if (std::strcmp(name, "VFTYP") == 0) {
    s.vftyp = val[0];
  } else if (std::strcmp(name, "AUTODECRYP") == 0) {
    s.autodecryp = val[0];
  } else if (std::strcmp(name, "RECERREX") == 0) {
    copy_cut(s.recerrex, sizeof s.recerrex, val);
  } else if (std::strcmp(name, "CHECKMAXPSESSIONS") == 0) {
    const char c = static_cast<char>(std::toupper(static_cast<unsigned char>(val[0])));
    s.checkmaxpsessions = (c == '1' || c == 'Y' || c == 'J') ? 1 : 0;
  }
}

void take_snapshot(ParmSnapshot& s) {
  char name[kNameMax + 2] = {};
  char val[kValueMax + 1] = {};
  const HostVar out[] = {{KYT_HOST_TEXT, name}, {KYT_HOST_TEXT, val}};
  int32_t rc = rpdsql_run("DECLARE SNAPPT CURSOR FOR SELECT NAME, VAL FROM PT", out);
  while (rc == 0) {
    snapshot_row(s, name, val);
    rc = rpdsql_run("FETCH SNAPPT", out);
  }
  rpdsql_run("CLOSE SNAPPT");
  if (rc != RPDSQL_NOT_FOUND)
    KYT_TRACE(kModule, kTopic, 1, "rpdprm: snapshot of PT returns %d", rc);
  s.fixed120 = 120;
  s.taken = true;
}

// What runtime modules read (trace settings, the environment store's KYTMODE and KYTENV):
// answered from the process settings and the cache only, never from the database, since
// they ask from within database work.
int runtime_lookup(const char* name, std::string* value) {
  State& s = st();
  const std::string n = norm_name(name);
  if (n == "KYTMODE") {
    value->assign(1, s.mode);
    return 0;
  }
  if (n == "KYTENV") {
    if (!s.env_resolved) return kParamNotFound;
    *value = s.env_path;
    return 0;
  }
  const Entry* e = s.cache ? s.cache->find(n) : nullptr;
  if (e == nullptr || (starts_with(n, "DTCONN") && std::strcmp(e->val, kNotSpecified) == 0))
    return kParamNotFound;
  *value = e->val;
  return 0;
}

void init_once() {
  State& s = st();
  if (s.initialised) return;
  s.initialised = true;
  take_snapshot(s.snap);
  try {
    s.cache = std::make_unique<Cache>();
  } catch (const std::bad_alloc&) {
    s.cache.reset();  // every lookup goes to the database
  }
  param_set_lookup(runtime_lookup);
}

void cache_put(const std::string& name, const Entry& e) {
  State& s = st();
  if (s.cache) s.cache->put(name, e);
}

// The common step: 0 with the entry, 12 or 20.
int32_t lookup(const std::string& name, Entry* out) {
  init_once();
  State& s = st();
  const bool dtconn = starts_with(name, "DTCONN");
  if (const Entry* e = s.cache ? s.cache->find(name) : nullptr) {
    if (dtconn && std::strcmp(e->val, kNotSpecified) == 0) return PRM_DTCONN_MISSING;
    *out = *e;
    return 0;
  }
  const int32_t rc = read_row(name, out);
  if (rc == 0) {
    cache_put(name, *out);
    return 0;
  }
  if (dtconn && rc == RPDSQL_NOT_FOUND) {
    Entry miss;
    miss.type = PRM_TEXT;
    miss.len = static_cast<int32_t>(std::strlen(kNotSpecified));
    copy_cut(miss.val, sizeof miss.val, kNotSpecified);
    cache_put(name, miss);
  }
  return PRM_NOT_FOUND;
}

// Cuts a text to the row's LEN - 1 characters (and to what VAL holds).
std::string cut_to_len(std::string_view v, int32_t len) {
  size_t max = len > 0 ? static_cast<size_t>(len - 1) : 0;
  if (max > kValueMax) max = kValueMax;
  return std::string(v.substr(0, max));
}

// Writes `text` as the value of the row `name` whose current entry is `e`.
int32_t store(const std::string& name, Entry e, std::string_view text) {
  copy_cut(e.val, sizeof e.val, cut_to_len(text, e.len));
  const int32_t rc = write_row(name, e);
  if (rc != 0) return rc;
  cache_put(name, e);
  return 0;
}

int64_t int_value(const char* val, int64_t lo, int64_t hi) {
  if (std::strcmp(val, "NOLIMIT") == 0 || std::strcmp(val, "NONE") == 0) return 0;
  return decimal(val, lo, hi);
}

// --- special names ------------------------------------------------------------------------

const std::string& env_path() {
  State& s = st();
  if (!s.env_resolved) {
    std::string p;
    if (lpdsn_get("DSN_KYTENV", &p) == 0) {
      s.env_path = p.substr(0, kEnvPathMax);
      s.env_resolved = true;
    }
  }
  return s.env_path;
}

int32_t set_mode(char c) {
  State& s = st();
  switch (c) {
    case 'n': s.mode = 'n'; s.testmode = 0; return 0;
    case 't': s.mode = 't'; s.testmode = 1; return 0;
    case 's':
    case 'w': s.mode = c; return 0;
    default: return PRM_BAD_VALUE;
  }
}

void set_testmode(bool on) {
  State& s = st();
  if (on) {
    s.testmode = 1;
    if (s.mode == 'n') s.mode = 't';
  } else {
    s.testmode = 0;
    if (s.mode == 't') s.mode = 'n';
  }
}

int32_t set_env(std::string_view path) {
  State& s = st();
  if (!s.env_resolved) return PRM_KYTENV_UNREAD;
  s.env_path = std::string(path.substr(0, kEnvPathMax));
  return lpdsn_init_file(s.env_path) == 0 ? 0 : PRM_FAILED;
}

// FORCEDEND: always the row itself.
int32_t forcedend_row(Entry* e) {
  init_once();
  return read_row("FORCEDEND", e) == 0 ? 0 : PRM_FAILED;
}

int32_t set_forcedend(const std::string& text) {
  Entry e;
  if (forcedend_row(&e) != 0) return PRM_FAILED;
  if (text != "0") st().mode = 's';
  copy_cut(e.val, sizeof e.val, cut_to_len(text, e.len));
  const int32_t rc = write_row("FORCEDEND", e);
  if (rc == 0) cache_put("FORCEDEND", e);
  return rc;
}

enum class Special { kNone, kMode, kTest, kEnv, kForced };
Special special(const std::string& n) {
  if (n == "KYTMODE") return Special::kMode;
  if (n == "TESTMODE") return Special::kTest;
  if (n == "KYTENV") return Special::kEnv;
  if (n == "FORCEDEND") return Special::kForced;
  return Special::kNone;
}

// --- verbs ----------------------------------------------------------------------------------

int32_t verb_get(const std::string& n, void* value) {
  if (value == nullptr) return PRM_BAD_VALUE;
  State& s = st();
  switch (special(n)) {
    case Special::kMode:
      static_cast<char*>(value)[0] = s.mode;
      static_cast<char*>(value)[1] = 0;
      return 0;
    case Special::kTest:
      *static_cast<int16_t*>(value) = s.testmode;
      return 0;
    case Special::kEnv: {
      const std::string& p = env_path();
      std::memcpy(value, p.c_str(), p.size() + 1);
      return 0;
    }
    case Special::kForced: {
      Entry e;
      if (forcedend_row(&e) != 0) return PRM_FAILED;
      *static_cast<int16_t*>(value) = static_cast<int16_t>(int_value(e.val, INT16_MIN, INT16_MAX));
      return 0;
    }
    case Special::kNone:
      break;
  }
  Entry e;
  const int32_t rc = lookup(n, &e);
  if (rc != 0) return rc;
  switch (e.type) {
    case PRM_TEXT: {
      const std::string v = cut_to_len(e.val, e.len);
      std::memcpy(value, v.c_str(), v.size() + 1);
      return 0;
    }
    case PRM_LONG:
      *static_cast<int32_t*>(value) = static_cast<int32_t>(int_value(e.val, INT32_MIN, INT32_MAX));
      return 0;
    case PRM_SHORT:
      *static_cast<int16_t*>(value) = static_cast<int16_t>(int_value(e.val, INT16_MIN, INT16_MAX));
      return 0;
    default:
      return PRM_FAILED;
  }
}

int32_t verb_set(const std::string& n, const void* value) {
  if (value == nullptr) return PRM_BAD_VALUE;
  switch (special(n)) {
    case Special::kMode:
      return set_mode(static_cast<const char*>(value)[0]);
    case Special::kTest:
      set_testmode(*static_cast<const int16_t*>(value) != 0);
      return 0;
    case Special::kEnv:
      return set_env(static_cast<const char*>(value));
    case Special::kForced:
      return set_forcedend(*static_cast<const int16_t*>(value) != 0 ? "1" : "0");
    case Special::kNone:
      break;
  }
  Entry e;
  const int32_t rc = lookup(n, &e);
  if (rc != 0) return rc;
  char text[32];
  switch (e.type) {
    case PRM_TEXT:
      return store(n, e, std::string_view(static_cast<const char*>(value),
                                          strnlen(static_cast<const char*>(value), kValueMax)));
    case PRM_LONG:
      std::snprintf(text, sizeof text, "%ld", static_cast<long>(*static_cast<const int32_t*>(value)));
      return store(n, e, text);
    case PRM_SHORT:
      std::snprintf(text, sizeof text, "%hd", *static_cast<const int16_t*>(value));
      return store(n, e, text);
    default:
      return PRM_FAILED;
  }
}

int32_t opset(const char* arg) {
  if (arg == nullptr) return PRM_BAD_VALUE;
  const std::string_view whole(arg, strnlen(arg, kOpsetMax));
  const size_t eq = whole.find('=');
  const std::string n = norm_name(std::string(whole.substr(0, eq)).c_str());
  const std::string v =
      eq == std::string_view::npos ? std::string() : std::string(whole.substr(eq + 1, kValueMax));
  if (v.empty()) return PRM_BAD_VALUE;
  switch (special(n)) {
    case Special::kMode:
      return set_mode(v[0]);
    case Special::kTest:
      set_testmode(v != "0");
      return 0;
    case Special::kEnv:
      return set_env(v);
    case Special::kForced:
      return set_forcedend(v);
    case Special::kNone:
      break;
  }
  Entry e;
  const int32_t rc = lookup(n, &e);
  if (rc != 0) return rc;
  return store(n, e, v);
}

}  // namespace

bool wake_monitor() {
  const std::string name = monitor_wakeup_name();
  return !name.empty() && platform::release_named_semaphore(name.c_str());
}

namespace {

int32_t verb_list(const std::string& n, ParmPrinter print) {
  State& s = st();
  const char mode[2] = {s.mode, 0};
  switch (special(n)) {
    case Special::kMode:
      return print("KYTMODE", mode);
    case Special::kTest:
      return print("TESTMODE", s.testmode ? "1" : "0");
    case Special::kEnv:
      return print("KYTENV", env_path().c_str());
    case Special::kForced: {
      Entry e;
      if (forcedend_row(&e) != 0) return PRM_FAILED;
      return print("FORCEDEND", e.val);
    }
    case Special::kNone:
      break;
  }
  if (n != "ALL") {
    Entry e;
    const int32_t rc = lookup(n, &e);
    if (rc != 0) return rc;
    return print(n.c_str(), e.val);
  }
  print("KYTMODE", mode);
  print("TESTMODE", s.testmode ? "1" : "0");
  int32_t last = print("KYTENV", env_path().c_str());
  char name[kNameMax + 2] = {};
  char val[kValueMax + 1] = {};
  const HostVar out[] = {{KYT_HOST_TEXT, name}, {KYT_HOST_TEXT, val}};
  int32_t rc = rpdsql_run("DECLARE LISTPT CURSOR FOR SELECT NAME, VAL FROM PT", out);
  while (rc == 0) {
    last = print(name, val);
    rc = rpdsql_run("FETCH LISTPT", out);
  }
  rpdsql_run("CLOSE LISTPT");
  if (rc != RPDSQL_NOT_FOUND) KYT_TRACE(kModule, kTopic, 1, "rpdprm: list of PT returns %d", rc);
  return last;
}

}  // namespace

int32_t rpdprm_default_printer(const char* name, const char* value) {
  std::printf("KYT Parameter %s = %s\n", name, value);
  return 0;
}

int32_t rpdprm_run(const char* verb, const char* name, void* value) {
  if (verb == nullptr) return PRM_UNKNOWN_VERB;
  const std::string_view v(verb);
  if (v == "opset") {
    const int32_t rc = opset(static_cast<const char*>(value));
    wake_monitor();
    return rc;
  }
  if (v != "get" && v != "set" && v != "list") return PRM_UNKNOWN_VERB;
  if (name == nullptr) return PRM_NOT_FOUND;
  const std::string n = norm_name(name);
  if (v == "get") return verb_get(n, value);
  if (v == "set") return verb_set(n, value);
  ParmPrinter print = value != nullptr ? reinterpret_cast<ParmPrinter>(value) : rpdprm_default_printer;
  return verb_list(n, print);
}

int32_t rpdprm_get_text(const char* name, std::string* text) {
  if (name == nullptr || text == nullptr) return PRM_NOT_FOUND;
  const std::string n = norm_name(name);
  char buf[kEnvPathMax + 2] = {};
  const int32_t rc = verb_get(n, buf);
  if (rc != 0) return rc;
  Entry e;
  int16_t type = PRM_TEXT;
  switch (special(n)) {
    case Special::kTest:
    case Special::kForced: type = PRM_SHORT; break;
    case Special::kMode:
    case Special::kEnv: break;
    case Special::kNone:
      if (lookup(n, &e) == 0) type = e.type;
      break;
  }
  if (type == PRM_LONG) {
    int32_t v;
    std::memcpy(&v, buf, sizeof v);
    *text = std::to_string(v);
  } else if (type == PRM_SHORT) {
    int16_t v;
    std::memcpy(&v, buf, sizeof v);
    *text = std::to_string(v);
  } else {
    *text = buf;
  }
  return 0;
}

const ParmSnapshot& rpdprm_snapshot() { return st().snap; }
char rpdprm_mode() { return st().mode; }
int16_t rpdprm_testmode() { return st().testmode; }

std::string monitor_wakeup_name(const std::string& db_dir) {
  if (db_dir.empty()) return {};
  std::string abs;
  if (!platform::absolute_path(db_dir, &abs)) abs = db_dir;
  uint64_t h = 14695981039346656037ull;
  for (unsigned char c : abs) h = (h ^ c) * 1099511628211ull;
  char name[40];
  std::snprintf(name, sizeof name, "kytmon.%016llx", static_cast<unsigned long long>(h));
  return name;
}

std::string monitor_wakeup_name() {
  std::string db;
  if (lpdsn_get("DB", &db) != 0) return {};
  return monitor_wakeup_name(db);
}

void rpdprm_reset_for_tests() {
  State& s = st();
  s = State();
  param_set_lookup(nullptr);
}

}  // namespace kyt

extern "C" int32_t rpdprm(const char* verb, const char* name, void* value) {
  return kyt::api_guard("rpdprm", [&]() -> int32_t { return kyt::rpdprm_run(verb, name, value); });
}
