// rpdist: the import of station and routing tables (the reading of the files, the
// consistency check, the store_ handlers of every record) and the exported rpdist.
#include "services/rpdist.h"

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <unordered_set>
#include <utility>
#include <vector>

#include "kyt/kyt.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/rpdipr.h"
#include "sql/sql.h"

namespace kyt {

const char* const kStationSyntax[9] = {
    "AC: SID PORT DATABITS STOPBITS PARITY BAUDRATE XONXOFF    DIALNUMBER DIALMETHOD NETUID "
    "NETPSW PADPARMS    X25ADDRESS",
    "LU: SID NETID LUNAME TPNAME USERID PASSWORD PROFILE    MODE SECURITY FLGSYNC SYNCLEVEL "
    "FLGCONV TYPE",
    "LX: 1-99 SID ",
    "NK: SID  FTP  PROTOCOL  PRIORITY  FLGSUSPND  AUTODIAL  DELAY  PSESSIONS",
    "OP: SID  ODETTEID  PSWFROM  PSWTO SENDBLOCKS RECVBLOCKS OCREVAL OEXBUF CODEIN CODEOUT "
    "USERFIELD RETRY  EERP_IN EERP_OUT VDSNCHAR ROUTING SECURITY USEPKI USEULS FLAGCOMP "
    "FLAGCRYP  OFTPLEV USERSEP DIRECTION COMPFLAGS CRYPFLAGS ",
    "RT: SIDDEST  SIDNEIGHB  PRIORITY",
    "ST: SID NETID STATNAME PHONE SIDTYP",
    "TC: SID N PROTOCOL INADDR PORT MAX_IN MAX_OUT SECURITY RCV_N",
    "XP: SID ALIAS RECV_ALIAS N XADDRESS SUBADDRESS    TIMEOUT ISDNNO LINK FACILITIES    DBIT "
    "CUG REQREVERSE ACCREVERSE FASTSELECT    USERDATA VC SESSIONS    L3PACKETSZ ISDN_FAC "
    "ISDN_USRDT    ISDN_PROT ISDN_TEI RCV_N RCVTIMEOUT",
};
const char* const kRouteSyntax[1] = {"TR: DIRECTION  SIDORG  SIDDEST  SIDNEIGHB  VDSN"};

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "i";
constexpr size_t kCompareMax = 512;  // characters of SID and ODETTEID compared
constexpr int kBatch = 256;          // records a transaction

bool id_char(char c, bool wildcard) {
  if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) return true;
  if (c == '*') return wildcard;
  return c != '\0' && std::strchr("_-.$#@", c) != nullptr;
}

// An import in progress: where its messages go.
struct Run {
  const ImportOut* out;
  std::string file;

  void say(const char* format, ...)
#if defined(__GNUC__)
      __attribute__((format(printf, 2, 3)))
#endif
  {
    char buffer[4096];
    va_list ap;
    va_start(ap, format);
    std::vsnprintf(buffer, sizeof buffer, format, ap);
    va_end(ap);
    if (out != nullptr && *out) (*out)(buffer);
  }
};

// A message of a handler: to the operator, to the trace and into the message record.
#define KYT_IMPORT_FAIL(run, msg, ...)                         \
  do {                                                          \
    char text_[1024];                                           \
    std::snprintf(text_, sizeof text_, __VA_ARGS__);            \
    KYT_TRACE(kModule, kTopic, 1, "%s", text_);                 \
    cmd_msg_set((msg), 'E', text_);                             \
    (run).say("%s\n", text_);                                   \
  } while (0)

// How a record maps to its table.
struct Record {
  const char* verb;
  Tab tab;
  bool routes;  // the routing table's station ids may hold "*"
};

constexpr Record kRecords[] = {
    {"AC", Tab::kAC, false}, {"LU", Tab::kLU, false}, {"LX", Tab::kLX, false},
    {"NK", Tab::kNK, false}, {"OP", Tab::kOP, false}, {"RT", Tab::kRT, false},
    {"ST", Tab::kST, false}, {"TC", Tab::kTC, false}, {"XP", Tab::kXP, false},
};
constexpr Record kRouteRecord = {"TR", Tab::kTR, true};

// The keyword that fills a column: its name, but for one spelling of NK.
const char* keyword_of(const Record& r, const char* col) {
  if (r.tab == Tab::kNK && std::strcmp(col, "FLAGSUSPND") == 0) return "FLGSUSPND";
  return col;
}

bool is_station_id(const Record& r, const char* col) {
  if (r.tab == Tab::kST && std::strcmp(col, "NETID") == 0) return true;
  return std::strcmp(col, "SID") == 0 || std::strcmp(col, "SIDDEST") == 0 ||
         std::strcmp(col, "SIDNEIGHB") == 0 || std::strcmp(col, "SIDORG") == 0;
}

bool mandatory(const Record& r, const COLDEF& c) {
  if (c.key > 0 && c.not_null != 0) return true;
  return (r.tab == Tab::kOP && std::strcmp(c.s_colname, "ODETTEID") == 0) ||
         (r.tab == Tab::kST && std::strcmp(c.s_colname, "NETID") == 0);
}

bool is_password(const char* col) {
  return std::strcmp(col, "PSWFROM") == 0 || std::strcmp(col, "PSWTO") == 0 ||
         std::strcmp(col, "PASSWORD") == 0 || std::strcmp(col, "NETPSW") == 0;
}

bool is_dt(const COLDEF& c) {
  return c.type == kTypeInteger && std::strncmp(c.s_colname, "DT", 2) == 0;
}

// The line as traces and messages show it: the values of the password keywords replaced by
// "***" (whatever their case, quoted or not), everything else as written.
std::string masked(const std::string& line) {
  std::string out;
  out.reserve(line.size());
  size_t i = 0;
  while (i < line.size()) {
    if (line[i] == ' ' || line[i] == '\t') {
      out.push_back(line[i++]);
      continue;
    }
    // A token: up to the next blank outside quotes.
    size_t end = i;
    char quote = 0;
    while (end < line.size() && (quote != 0 || (line[end] != ' ' && line[end] != '\t'))) {
      if (quote != 0 && line[end] == quote)
        quote = 0;
      else if (quote == 0 && (line[end] == '"' || line[end] == '\''))
        quote = line[end];
      ++end;
    }
    const std::string token = line.substr(i, end - i);
    const size_t eq = token.find('=');
    std::string key = eq == std::string::npos ? std::string() : token.substr(0, eq);
    while (!key.empty() && key[0] == '/') key.erase(0, 1);
    for (char& c : key) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    if (!key.empty() && is_password(key.c_str()))
      out += token.substr(0, eq + 1) + "***";
    else
      out += token;
    i = end;
  }
  return out;
}

// Reads a number for a column of `type`: 0, IMP_NOT_NUMBER or IMP_TOO_LONG.
int32_t read_number(const char* text, int16_t type, int64_t* value) {
  const int64_t lo = type == kTypeSmallint ? INT16_MIN : INT32_MIN;
  const int64_t hi = type == kTypeSmallint ? INT16_MAX : INT32_MAX;
  switch (parse_int(text, lo, hi, value)) {
    case NumText::kOk: return 0;
    case NumText::kOutOfRange: return IMP_TOO_LONG;
    default: return IMP_NOT_NUMBER;
  }
}

// An element record of any table, zeroed (every byte: texts end at their first zero) and
// aligned for its integer and pointer members.
class Elem {
 public:
  explicit Elem(Tab t) : words_((tm::layout(t).size + sizeof(uint64_t) - 1) / sizeof(uint64_t)) {}
  char* data() { return reinterpret_cast<char*>(words_.data()); }

 private:
  std::vector<uint64_t> words_;
};

// Inserts the row, or updates it when its key is there. 0 or the failing status.
int32_t insert_or_update(const Record& r, const char* fn, const void* elem) {
  const SchemaTable& st = tm::table(r.tab);
  int32_t rc = tm::insert(r.tab, fn, elem);
  KYT_TRACE(kModule, kTopic, 11, "%s insert %d", r.verb, rc);
  if (rc != DBI_E_NO_DUP) return rc;
  bool found = false;
  const int32_t rc2 = tm::key_exists(r.tab, fn, elem, &found);
  if (rc2 != 0) return rc2;
  if (!found) return rc;  // another unique index refused the row
  std::vector<const char*> set;
  for (const COLDEF& c : st.cols) {
    if (c.key <= 0) set.push_back(c.s_colname);
  }
  rc = set.empty() ? 0 : tm::update_cols(r.tab, fn, elem, set);
  KYT_TRACE(kModule, kTopic, 11, "%s update %d", r.verb, rc);
  return rc;
}

// store_XX: one row from the keyword values of a record.
int32_t store_row(Run& run, const Record& r, const cmd_args& a, cmd_msg* msg) {
  const SchemaTable& st = tm::table(r.tab);
  const tm::ElemLayout& lay = tm::layout(r.tab);
  Elem elem(r.tab);
  std::string shown;  // the row as traced
  for (size_t i = 0; i < st.cols.size(); ++i) {
    const COLDEF& c = st.cols[i];
    const char* kw = keyword_of(r, c.s_colname);
    const char* v = a.value(kw);
    if (v == nullptr || (*v == '\0' && (mandatory(r, c) || c.type == kTypeChar))) {
      if (mandatory(r, c)) {
        KYT_IMPORT_FAIL(run, msg, "store_%s: GET_VAL(%s) failed (rc = %ld)", r.verb, kw,
                        static_cast<long>(IMP_MISSING));
        return IMP_MISSING;
      }
      continue;
    }
    const size_t len = std::strlen(v);
    char* m = elem.data() + lay.offset[i];
    if (is_station_id(r, c.s_colname) &&
        !valid_station_id(v, static_cast<size_t>(c.width - 1), r.routes)) {
      KYT_IMPORT_FAIL(run, msg, "store_%s: %s '%.40s' is to long or contains invalid character(s)",
                      r.verb, kw, v);
      return IMP_BAD_ID;
    }
    if (c.type == kTypeChar || is_dt(c)) {
      const size_t room = lay.bytes[i] - 1;
      if (len > room) {
        KYT_IMPORT_FAIL(run, msg,
                        "store_%s: value of %s is too long for its column (%lu characters, at "
                        "most %lu): '%.40s...'",
                        r.verb, kw, static_cast<unsigned long>(len),
                        static_cast<unsigned long>(room), is_password(c.s_colname) ? "***" : v);
        return IMP_TOO_LONG;
      }
      std::memcpy(m, v, len);
    } else {
      int64_t n = 0;
      const int32_t rc = read_number(v, c.type, &n);
      if (rc == IMP_NOT_NUMBER) {
        KYT_IMPORT_FAIL(run, msg, "store_%s: value of %s is not a number: '%.40s'", r.verb, kw, v);
        return rc;
      }
      if (rc != 0) {
        KYT_IMPORT_FAIL(run, msg, "store_%s: value of %s is too large for its column (%s): '%.40s'",
                        r.verb, kw, c.type == kTypeSmallint ? "-32768 to 32767"
                                                            : "-2147483648 to 2147483647",
                        v);
        return rc;
      }
      if (c.type == kTypeSmallint) {
        const int16_t s = static_cast<int16_t>(n);
        std::memcpy(m, &s, sizeof s);
      } else {
        const int32_t l = static_cast<int32_t>(n);
        std::memcpy(m, &l, sizeof l);
      }
    }
    if (r.tab != Tab::kST) {
      shown += shown.empty() ? "" : ", ";
      shown += c.s_colname;
      shown += "=\"";
      shown += is_password(c.s_colname) ? "***" : v;
      shown += "\"";
    }
  }
  if (r.tab == Tab::kST) {
    const kyt_st_elem* e = reinterpret_cast<const kyt_st_elem*>(elem.data());
    KYT_TRACE(kModule, kTopic, 6,
              "ST: SID=\"%s\", NETID=\"%s\", STATNAME=\"%s\", PHONE=\"%s\" SIDTYP=\"%s\"", e->sid,
              e->netid, e->statname, e->phone, e->sidtyp);
  } else {
    KYT_TRACE(kModule, kTopic, 6, "%s: %s", r.verb, shown.c_str());
  }
  const std::string fn = std::string("store_") + r.verb;
  const int32_t rc = insert_or_update(r, fn.c_str(), elem.data());
  if (rc != 0) {
    if (r.tab == Tab::kTR)
      KYT_IMPORT_FAIL(run, msg, "INSERT TR failed (rc = %ld)", static_cast<long>(rc));
    else
      KYT_IMPORT_FAIL(run, msg, "INSERT/UPDATE %s failed (rc = %ld)", r.verb,
                      static_cast<long>(rc));
  }
  return rc;
}

// One pair "NAME=VALUE" of an LX record into `e` (SID already there): 0, IMP_NOT_NUMBER (not
// a pair, a bad name, a number type's value not a number) or IMP_TOO_LONG.
int32_t lx_pair(const char* pair, kyt_lx_elem* e) {
  const char* eq = std::strchr(pair, '=');
  if (eq == nullptr || eq == pair) return IMP_NOT_NUMBER;
  const size_t nlen = static_cast<size_t>(eq - pair);
  if (nlen > sizeof e->name - 1) return IMP_TOO_LONG;
  std::memset(e->name, 0, sizeof e->name);
  for (size_t i = 0; i < nlen; ++i) {
    const unsigned char u = static_cast<unsigned char>(pair[i]);
    if (u >= 128 || (std::isalnum(u) == 0 && u != '_')) return IMP_NOT_NUMBER;
    e->name[i] = static_cast<char>(std::toupper(u));
  }
  const char* value = eq + 1;
  if (std::strlen(value) > sizeof e->val - 1) return IMP_TOO_LONG;
  e->type = 1;
  e->len = static_cast<int32_t>(sizeof e->val);
  for (const ParmDefault& d : default_parameters()) {
    if (std::strcmp(d.name, e->name) != 0) continue;
    e->type = d.type;
    e->len = std::min<int32_t>(d.len, static_cast<int32_t>(sizeof e->val));
    if (d.type != 1) {
      int64_t n = 0;
      const int32_t rc = read_number(value, d.type == 8 ? kTypeSmallint : kTypeInteger, &n);
      if (rc != 0) return rc;
    }
    break;
  }
  std::memset(e->val, 0, sizeof e->val);
  std::memcpy(e->val, value, std::strlen(value));
  return 0;
}

// store_LX: the station's extension rows, one a positional pair.
int32_t store_lx(Run& run, const cmd_args& a, cmd_msg* msg) {
  const char* sid = a.value("SID");
  KYT_TRACE(kModule, kTopic, 6, "LX  SID=%s", sid != nullptr ? sid : "");
  if (sid == nullptr || *sid == '\0') {
    KYT_IMPORT_FAIL(run, msg, "store_LX: GET_VAL(SID) failed (rc = %ld)",
                    static_cast<long>(IMP_MISSING));
    return IMP_MISSING;
  }
  if (!valid_station_id(sid, sizeof(kyt_lx_elem::sid) - 1)) {
    KYT_IMPORT_FAIL(run, msg, "store_LX: SID '%.40s' is to long or contains invalid character(s)",
                    sid);
    return IMP_BAD_ID;
  }
  std::vector<kyt_lx_elem> rows(static_cast<size_t>(a.positional_count()));
  for (int i = 0; i < a.positional_count(); ++i) {
    const char* pair = a.positional(i);
    KYT_TRACE(kModule, kTopic, 6, "\t\t%s", masked(pair).c_str());
    kyt_lx_elem& e = rows[static_cast<size_t>(i)];
    std::memcpy(e.sid, sid, std::strlen(sid));
    const int32_t rc = lx_pair(pair, &e);
    if (rc != 0) {
      KYT_IMPORT_FAIL(run, msg, "store_LX: \"%.60s\" invalid\n\t(rc = %ld, sid = %s)", pair,
                      static_cast<long>(rc), sid);
      return rc;
    }
  }
  for (int i = 0; i < a.positional_count(); ++i) {
    const kyt_lx_elem& e = rows[static_cast<size_t>(i)];
    int32_t rc = insLXelem(&e);
    if (rc == DBI_E_NO_DUP) rc = updLXelem(&e);
    if (rc != 0) {
      KYT_IMPORT_FAIL(run, msg, "store_LX: \"%.60s\" invalid\n\t(rc = %ld, sid = %s)",
                      a.positional(i), static_cast<long>(rc), sid);
      return rc;
    }
  }
  return 0;
}

// The record set of one import; nullptr-free: 0 or 99.
int32_t define_records(CommandSet& set, bool routes, Run& run) {
  set.set_print_fn([&run](std::string_view text) {
    run.say("%.*s", static_cast<int>(text.size()), text.data());
  });
  auto define = [&](const char* syntax, const Record& r) {
    cmd_handler h;
    if (r.tab == Tab::kLX) {
      h = [&run](const cmd_args& a, cmd_msg* m) { return store_lx(run, a, m); };
    } else {
      h = [&run, &r](const cmd_args& a, cmd_msg* m) { return store_row(run, r, a, m); };
    }
    const int32_t rc = rpxcid(set, syntax, std::move(h));
    if (rc != 0) KYT_TRACE(kModule, kTopic, 1, "rpxcid %s returns %d", r.verb, rc);
    return rc;
  };
  if (routes) return define(kRouteSyntax[0], kRouteRecord) == 0 ? 0 : IMP_FAILED;
  for (size_t i = 0; i < std::size(kRecords); ++i) {
    if (define(kStationSyntax[i], kRecords[i]) != 0) return IMP_FAILED;
  }
  return 0;
}

// Lines of a file read in blocks, so that any byte (a zero too) is part of its line.
class LineReader {
 public:
  explicit LineReader(std::FILE* f) : f_(f) {}

  // The next line (without its end, a CR before it dropped) into *line: false at the end of
  // the file. *too_long when the line is longer than kImportLineMax (the rest is skipped).
  bool next(std::string* line, bool* too_long) {
    line->clear();
    *too_long = false;
    bool any = false;
    for (;;) {
      if (pos_ == len_) {
        len_ = std::fread(buf_, 1, sizeof buf_, f_);
        pos_ = 0;
        if (len_ == 0) break;
      }
      any = true;
      const char* start = buf_ + pos_;
      const void* nl = std::memchr(start, '\n', len_ - pos_);
      const size_t n = nl != nullptr ? static_cast<size_t>(static_cast<const char*>(nl) - start)
                                     : len_ - pos_;
      if (line->size() <= kImportLineMax) line->append(start, std::min(n, kImportLineMax + 2));
      pos_ += n;
      if (nl != nullptr) {
        ++pos_;
        break;
      }
    }
    if (!any) return false;
    if (!line->empty() && line->back() == '\r') line->pop_back();
    if (line->size() > kImportLineMax) *too_long = true;
    return true;
  }

 private:
  std::FILE* f_;
  char buf_[65536];
  size_t pos_ = 0, len_ = 0;
};

// The line as the command set reads it: the comment cut off, letters outside quotes in upper
// case. Empty when only blanks are left.
std::string prepare(const std::string& line) {
  std::string out;
  out.reserve(line.size());
  char quote = 0;
  for (char c : line) {
    if (quote != 0) {
      if (c == quote) quote = 0;
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '*') {
      break;
    } else {
      c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    out.push_back(c);
  }
  if (out.find_first_not_of(" \t\r\n\v\f") == std::string::npos) out.clear();
  return out;
}

// Tokens separated by blanks outside quotes.
std::vector<std::string> tokens_of(const std::string& line) {
  std::vector<std::string> toks;
  std::string cur;
  char quote = 0;
  for (char c : line) {
    if (quote == 0 && (c == ' ' || c == '\t')) {
      if (!cur.empty()) toks.push_back(std::move(cur));
      cur.clear();
      continue;
    }
    if (quote != 0 && c == quote)
      quote = 0;
    else if (quote == 0 && (c == '"' || c == '\''))
      quote = c;
    cur.push_back(c);
  }
  if (!cur.empty()) toks.push_back(std::move(cur));
  return toks;
}

std::string unquote(std::string v) {
  if (v.size() >= 2 && (v[0] == '"' || v[0] == '\'') && v.back() == v[0])
    return v.substr(1, v.size() - 2);
  return v;
}

const char* meaning(int32_t rc) {
  switch (rc) {
    case kCmdWrongStatement: return "not a record";
    case kCmdUnknownVerb: return "unknown record type";
    case kCmdKeywordNotAllowed: return "keyword not allowed here";
    case kCmdKeywordTwice: return "keyword given twice";
    case kCmdTooManyPositional: return "too many positional parameters";
    case kCmdTooFewPositional: return "too few positional parameters";
    case kCmdSyntaxError: return "syntax error";
    default: return nullptr;
  }
}

// The first reading of a file. 0, or the code of the first bad line.
int32_t check_file(Run& run, std::FILE* f, bool stations) {
  // The SIDs and ODETTEIDs of the OP lines before, for lookups in constant time.
  std::unordered_set<std::string> sids, oids;
  bool first = true;
  std::string line;
  bool too_long = false;
  long number = 0;
  auto reader = std::make_unique<LineReader>(f);
  while (reader->next(&line, &too_long)) {
    ++number;
    if (too_long) {
      KYT_TRACE(kModule, kTopic, 1, "modst check error %d", IMP_TOO_LONG);
      run.say("line %ld of \"%s\" is longer than %lu bytes\n", number, run.file.c_str(),
              static_cast<unsigned long>(kImportLineMax));
      return IMP_TOO_LONG;
    }
    if (line.find('\0') != std::string::npos) {
      KYT_TRACE(kModule, kTopic, 1, "modst check error %d", IMP_FAILED);
      run.say("line %ld of \"%s\" holds a zero byte: not a text file\n", number,
              run.file.c_str());
      return IMP_FAILED;
    }
    if (!stations) continue;
    const std::string text = prepare(line);
    KYT_TRACE(kModule, kTopic, 11, "modst tokline %s", masked(text).c_str());
    const std::vector<std::string> toks = tokens_of(text);
    if (toks.empty() || toks[0] != "OP") continue;
    KYT_TRACE(kModule, kTopic, 6, "modst check line %s", masked(text).c_str());
    std::string sid, oid;
    int oid_count = 0;
    for (size_t i = 1; i < toks.size(); ++i) {
      KYT_TRACE(kModule, kTopic, 11, "modst check next tok %s", masked(toks[i]).c_str());
      const size_t eq = toks[i].find('=');
      if (eq == std::string::npos) continue;
      const std::string key = toks[i].substr(0, eq);
      std::string value = unquote(toks[i].substr(eq + 1)).substr(0, kCompareMax);
      if (key == "SID" && sid.empty()) {
        sid = std::move(value);
      } else if (key == "ODETTEID" && oid_count < 2) {
        KYT_TRACE(kModule, kTopic, 11, "modst found oid %s", value.c_str());
        if (oid_count++ == 0) oid = std::move(value);
      }
    }
    const int32_t rc = !oid.empty() && oids.count(oid) != 0   ? IMP_DUP_OID
                       : !sid.empty() && sids.count(sid) != 0 ? IMP_DUP_SID
                                                              : 0;
    if (rc != 0) {
      KYT_TRACE(kModule, kTopic, 1, "modst check error %d", rc);
      KYT_TRACE(kModule, kTopic, 1, "modst check error line %s", masked(line).c_str());
      run.say("inconsistent line in station table: %s\n", masked(line).c_str());
      return rc;
    }
    KYT_TRACE(kModule, kTopic, 6, first ? "modst first station %s" : "modst new station %s",
              sid.c_str());
    first = false;
    if (!sid.empty()) sids.insert(std::move(sid));
    if (!oid.empty()) oids.insert(std::move(oid));
  }
  return 0;
}

// The transaction of a batch of records, ended however the import ends.
class Transaction {
 public:
  Transaction() { sqlSetAutocommOff(); }
  ~Transaction() {
    if (open_) sqlSetAutocommOn();
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  // Commits the batch (when this is the outermost transaction) and begins the next.
  void next() {
    sqlSetAutocommOn();
    sqlSetAutocommOff();
  }
  int32_t end() {
    open_ = false;
    return sqlSetAutocommOn();
  }

 private:
  bool open_ = true;
};

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

File open_input(Run& run) {
  File f(std::fopen(run.file.c_str(), "rb"));
  if (!f) run.say("Could not open input file \"%s\"\n", run.file.c_str());
  return f;
}

int32_t import_file(Run& run, CommandSet& set, bool stations) {
  {
    File f = open_input(run);
    if (!f) return IMP_FAILED;
    const int32_t rc = check_file(run, f.get(), stations);
    if (rc != 0) return rc;
  }
  File f = open_input(run);
  if (!f) return IMP_FAILED;
  std::string line;
  bool too_long = false;
  long number = 0, records = 0;
  auto reader = std::make_unique<LineReader>(f.get());
  // Records are committed in batches (one transaction each, or the caller's transaction when
  // one is open): far fewer table locks and writes than a commit a record, while another
  // process waits for a batch at most. A failing record undoes itself; the records before it
  // are committed with their batch.
  int batch = 0;
  Transaction trans;
  int32_t rc = 0;
  while (rc == 0 && reader->next(&line, &too_long)) {
    ++number;
    KYT_TRACE(kModule, kTopic, 11, "modst read %s", masked(line).c_str());
    if (too_long) {  // the file changed since the first reading
      run.say("line %ld of \"%s\" is longer than %lu bytes\n", number, run.file.c_str(),
              static_cast<unsigned long>(kImportLineMax));
      rc = IMP_TOO_LONG;
      break;
    }
    const std::string text = prepare(line);
    if (text.empty()) continue;
    KYT_TRACE(kModule, kTopic, 11, "modst read do it ");
    cmd_msg msg;
    rc = rpxcie(set, text, &msg);
    if (rc != 0) {
      if (const char* why = meaning(rc); why != nullptr && msg.severity == ' ')
        run.say("%s%s%s\n", why, rc == kCmdSyntaxError && !set.error_text().empty() ? ": " : "",
                rc == kCmdSyntaxError ? set.error_text().c_str() : "");
      run.say("line %ld of \"%s\" not imported (rc = %ld): %s\n", number, run.file.c_str(),
              static_cast<long>(rc), masked(line).c_str());
      break;
    }
    ++records;
    if (++batch == kBatch) {
      batch = 0;
      trans.next();
    }
  }
  if (const int32_t end = trans.end(); end != 0 && rc == 0 && records > 0) {
    KYT_TRACE(kModule, kTopic, 1, "modst commit returns %d", end);
    run.say("\"%s\" not imported: commit failed (rc = %ld)\n", run.file.c_str(),
            static_cast<long>(end));
    return end;
  }
  if (rc == 0) run.say("%ld records of \"%s\" imported\n", records, run.file.c_str());
  return rc;
}

int32_t import_path(const char* path, const ImportOut& out, bool stations) {
  Run run{&out, path != nullptr ? path : ""};
  CommandSet set;
  if (define_records(set, !stations, run) != 0) return IMP_FAILED;
  if (path == nullptr || !platform::is_directory(path)) return import_file(run, set, stations);
  std::vector<std::string> names;
  std::error_code ec;
  const std::filesystem::path dir(path);
  std::filesystem::directory_iterator it(dir, ec), end;
  for (; !ec && it != end; it.increment(ec)) {
    const std::string name = it->path().filename().string();
    const std::string full = (dir / name).string();
    if (platform::is_regular_file(full.c_str())) names.push_back(name);
  }
  if (ec) {
    run.say("Could not open files in directory \"%s\"\n", path);
    return IMP_FAILED;
  }
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) {
    run.file = (dir / name).string();
    const int32_t rc = import_file(run, set, stations);
    if (rc != 0) return rc;
  }
  return 0;
}

}  // namespace

bool valid_station_id(std::string_view id, size_t max, bool wildcard) {
  if (id.empty() || id.size() > max) return false;
  return std::all_of(id.begin(), id.end(), [wildcard](char c) { return id_char(c, wildcard); });
}

int32_t import_stations(const char* path, const ImportOut& out) {
  return import_path(path, out, true);
}

int32_t import_routes(const char* path, const ImportOut& out) {
  return import_path(path, out, false);
}

}  // namespace kyt

extern "C" int32_t rpdist(const char* path, kyt_msg_out out) {
  return kyt::api_guard("rpdist", [&]() -> int32_t {
    return kyt::import_stations(path, [out](const char* text) {
      if (out != nullptr) out(text);
    });
  });
}
