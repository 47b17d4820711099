// rpdcch, rpdch: the command table cache.
#include "services/rpdcch.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/runtime.h"
#include "kyt/kyt.h"
#include "sql/sql.h"

namespace kyt {

namespace {

constexpr const char* kModule = "kytmon";
constexpr const char* kTopic = "c";
constexpr size_t kMaxValue = 32767;
constexpr int32_t kFieldUnavailable = 90;

// A chained hash table of 20 buckets keyed by text.
template <typename V>
class Htb20 {
 public:
  V* find(std::string_view key) {
    for (auto& s : buckets_[bucket(key)]) {
      if (s.first == key) return &s.second;
    }
    return nullptr;
  }
  V& put(std::string_view key, V value) {
    auto& b = buckets_[bucket(key)];
    for (auto& s : b) {
      if (s.first == key) return s.second = std::move(value);
    }
    b.emplace_back(std::string(key), std::move(value));
    return b.back().second;
  }
  void erase(std::string_view key) {
    auto& b = buckets_[bucket(key)];
    for (size_t i = 0; i < b.size(); ++i) {
      if (b[i].first == key) {
        b.erase(b.begin() + static_cast<std::ptrdiff_t>(i));
        return;
      }
    }
  }
  size_t size() const {
    size_t n = 0;
    for (const auto& b : buckets_) n += b.size();
    return n;
  }

 private:
  static size_t bucket(std::string_view key) {
    uint32_t h = 0;
    for (unsigned char c : key) h = h * 31 + c;
    return h % 20;
  }
  std::array<std::vector<std::pair<std::string, V>>, 20> buckets_;
};

// --- field map -----------------------------------------------------------------------------

// Where a job's related row is found: the table, the column of the job's own row that holds
// the key (nullptr: the command number itself) and the column of the table it is compared
// with.
struct Source {
  Tab tab;
  const char* ref;
  const char* col;
};
struct TypeSources {
  const char* type;
  Tab own;
  std::vector<Source> related;
  const char* fields;
};

const std::vector<TypeSources>& type_sources() {
  static const std::vector<TypeSources> v = {
      {"IE", Tab::kIE, {{Tab::kVD, nullptr, "CN"}, {Tab::kET, nullptr, "CNIE"}},
       "SIDNEIGHB CNSK VDSN DTAVAIL DTRECEIVED UIDSENDER CIDSENDER SIDSENDER INFOTYPE FLAGZREC "
       "CNTRECORD CNTBYTE CNTIZANDSE CNTACKN CNTSENDATT APPROXSIZE DISP DSNLOCAL FLAGCOMPR "
       "FLAGENCR MAXRECL RECFM FILETYPE CODE_VD"},
      {"IZ", Tab::kIZ,
       {{Tab::kIE, "CNIE", "CN"}, {Tab::kVD, "CNIE", "CN"}, {Tab::kET, nullptr, "CNIZ"}},
       "CNIE UID CID CNRE DSNLOCAL DSNTEMP BATCHJOBID SIDNEIGHB VDSN DTAVAIL DTRECEIVED "
       "UIDSENDER CIDSENDER SIDSENDER INFOTYPE FLAGZREC CNTRECORD CNTBYTE FLAGCOMPR FLAGENCR "
       "MAXRECL RECFM FILETYPE CODE_VD CODE FLAGTSTAMP FLAGCOMP FLAGCRYP"},
      {"KT", Tab::kKT, {},
       "CN CMDTYPE PRIORITY DTCREATED DTDONE DTSCHEDULE FLAGSERIAL STATUS HELDBY XIDHELD DTHOLD "
       "FREEDBY XIDFREED DTFREE DELETEDBY XIDDELETED ERRORCODE"},
      {"OK", Tab::kOK, {}, "CID CPID TEXTOK"},
      {"QE", Tab::kQE, {}, "SIDNEIGHB CNQS SIDORIG SIDDEST VDSN DTAVAIL"},
      {"QS", Tab::kQS, {},
       "CNIE CNQE SIDORIG SIDDEST VDSN DTAVAIL DTBEGSEND DTENDSEND SIDNEIGHB CNTSENDATT "
       "CNTRETRY"},
      {"SE", Tab::kSE,
       {{Tab::kET, nullptr, "CNSE"}, {Tab::kVD, nullptr, "CN"}, {Tab::kSK, nullptr, "CNSE"}},
       "UIDSENDER ACCTSENDER CIDSENDER SIDSENDER DTSCHEDUSR SEUSRLABEL CNIE INFOTYPE CNTSK "
       "CNTACKN APPROXSIZE DISP DSNLOCAL FLAGCOMPR FLAGENCR MAXRECL RECFM VFTYP FILETYPE CODE_VD "
       "VDSN DTAVAIL CNSK"},
      {"SK", Tab::kSK,
       {{Tab::kSE, "CNSE", "CN"}, {Tab::kVD, "CNSE", "CN"}, {Tab::kET, nullptr, "CNSK"}},
       "CNSE DTBEGSEND DTENDSEND SIDNEIGHB FLAGZREC SIDDEST VDSN DTAVAIL FLAGCOMPR FLAGENCR CODE "
       "CNTRECORD CNTBYTE CNTSENDATT CNTRETRY CNQE DSNTEMP ACCTSENDER APPROXSIZE CODE_VD DSNLOCAL "
       "INFOTYPE MAXRECL RECFM VFTYP FILETYPE UIDSENDER CIDSENDER SIDSENDER FLAGCOMP FLAGCRYP"},
  };
  return v;
}

// One key of the field map.
struct FieldPlace {
  Tab tab;
  int col;          // column index in tab
  const char* ref;  // as Source (own table: nullptr, "CN")
  const char* key_col;
};

int col_index(Tab t, std::string_view name) {
  const auto cols = tm::table(t).cols;
  for (size_t i = 0; i < cols.size(); ++i) {
    if (name == cols[i].s_colname) return static_cast<int>(i);
  }
  return -1;
}

// Builds the field map: false when a listed field has no column behind it.
bool create_field_map(Htb20<FieldPlace>* map) {
  for (const TypeSources& ts : type_sources()) {
    std::string_view fields(ts.fields);
    while (!fields.empty()) {
      const size_t sp = fields.find(' ');
      const std::string f(fields.substr(0, sp));
      fields = sp == std::string_view::npos ? std::string_view() : fields.substr(sp + 1);
      const std::string col = f == "CODE_VD" ? "CODE" : f;
      FieldPlace fs{ts.own, f == "CODE_VD" ? -1 : col_index(ts.own, col), nullptr, "CN"};
      for (size_t i = 0; fs.col < 0 && i < ts.related.size(); ++i) {
        const Source& s = ts.related[i];
        if (f == "CODE_VD" && s.tab != Tab::kVD) continue;
        fs = FieldPlace{s.tab, col_index(s.tab, col), s.ref, s.col};
      }
      if (fs.col < 0) {
        KYT_TRACE(kModule, kTopic, 1, "rpdcch: no column behind %s %s", ts.type, f.c_str());
        return false;
      }
      map->put(std::string(ts.type) + " " + f, fs);
    }
  }
  return true;
}

// --- state --------------------------------------------------------------------------------

using FieldTable = Htb20<std::string>;

struct KtRow {
  int32_t cn;
  std::unique_ptr<kyt_kt_elem> row;
};

struct State {
  std::unique_ptr<Htb20<FieldPlace>> fields;
  std::unique_ptr<Htb20<std::unique_ptr<FieldTable>>> commands;
  std::vector<KtRow> kt_rows;  // rpdch's rows, the most recent last
};

State& st() {
  static State s;
  return s;
}

bool starts_dt(const COLDEF& c) {
  return c.type == kTypeInteger && c.s_colname[0] == 'D' && c.s_colname[1] == 'T';
}

// The text of column `col` in an element of table t.
std::string column_text(Tab t, int col, const void* elem) {
  const COLDEF& c = tm::table(t).cols[static_cast<size_t>(col)];
  const auto& l = tm::layout(t);
  const char* p = static_cast<const char*>(elem) + l.offset[static_cast<size_t>(col)];
  const size_t bytes = l.bytes[static_cast<size_t>(col)];
  if (c.type == kTypeChar || starts_dt(c)) return std::string(p, strnlen(p, bytes));
  char text[16];
  if (c.type == kTypeSmallint) {
    int16_t v;
    std::memcpy(&v, p, sizeof v);
    std::snprintf(text, sizeof text, "%d", v);
  } else {
    int32_t v;
    std::memcpy(&v, p, sizeof v);
    std::snprintf(text, sizeof text, "%ld", static_cast<long>(v));
  }
  return text;
}

bool cn_number(std::string_view text, int32_t* cn) {
  int64_t v = 0;
  if (parse_int(text, INT32_MIN, INT32_MAX, &v) != NumText::kOk) return false;
  *cn = static_cast<int32_t>(v);
  return true;
}

// A row of table t whose column `key_col` equals `key` into `elem` (the table's element).
int32_t read_row(Tab t, const char* key_col, int32_t key, std::vector<char>* elem) {
  elem->assign(tm::layout(t).size, 0);
  const std::string where = std::string(key_col) + " = ?";
  return tm::get(t, "rpdcch", "CCHROW", where.c_str(), {tm::arg(key)}, elem->data());
}

int32_t get_field(const std::string& cn, const std::string& field, std::string* out);

// Reads `field` of command `cn` from the database.
int32_t cch_from_db(const std::string& cn_text, const std::string& field, std::string* out) {
  State& s = st();
  int32_t cn = 0;
  if (!cn_number(cn_text, &cn)) return 4;
  kyt_kt_elem kt{};
  int32_t rc = getKTelemByCn(cn, &kt);
  if (rc != 0) {
    KYT_TRACE(kModule, kTopic, 3, "rpdcch, cch_from_db: rc = %ld for: %s", static_cast<long>(rc),
              cn_text.c_str());
    return 4;
  }
  char key[64];
  std::snprintf(key, sizeof key, "KT %s", field.c_str());
  if (const FieldPlace* fs = s.fields->find(key)) {
    *out = column_text(Tab::kKT, fs->col, &kt);
    return 0;
  }
  const std::string type(kt.cmdtype);
  if (field == "Originator") {
    // 1. the station's own jobs
    if (!type.empty() && std::string_view(":BB:EC:IE:IZ:LM:QS:QE:").find(":" + type + ":") !=
                             std::string_view::npos) {
      *out = "KYT";
      return 0;
    }
    auto need = [&](const char* f, std::string* v) -> int32_t {
      const int32_t r = get_field(cn_text, f, v);
      if (r != 0)
        KYT_TRACE(kModule, kTopic, 3, "cch_get_originator: field %s unavailable (rc = %ld)", f,
                  static_cast<long>(r));
      return r == 0 ? 0 : kFieldUnavailable;
    };
    std::string a, b;
    if (type == "SE") {
      if ((rc = need("CNIE", &a)) != 0) return rc;
      if (a != "0") {
        *out = "KYT";
        return 0;
      }
      if ((rc = need("UIDSENDER", &a)) != 0) return rc;
      if (!a.empty()) {
        *out = "user: " + a;
      } else {
        if ((rc = need("CIDSENDER", &b)) != 0) return rc;
        *out = b.empty() ? "unknown" : "oper: " + b;
        if (b.empty()) return 99;
      }
    } else if (type == "SK") {
      // An SK refers to an SE; one that (by damaged rows) leads back to an SK ends here.
      static int depth = 0;
      if (depth > 0) return kFieldUnavailable;
      struct Depth {
        Depth() { ++depth; }
        ~Depth() { --depth; }
      } d;
      if ((rc = need("CNSE", &a)) != 0) return rc;
      int32_t cnse = 0;
      if (!cn_number(a, &cnse)) {
        KYT_TRACE(kModule, kTopic, 1, "cch_get_originator: Function %s failed (rc = %ld)",
                  "rpxcns", 99L);
        return 99;
      }
      char se[16];
      std::snprintf(se, sizeof se, "%ld", static_cast<long>(cnse));  // rpxcns
      if ((rc = get_field(se, "Originator", out)) != 0) return rc;
    } else if (type == "OK") {
      if ((rc = need("CID", &a)) != 0 || (rc = need("CPID", &b)) != 0) return rc;
      *out = "oper: " + a + "(" + b + ")";
    } else {
      *out = "unknown";
    }
    if (out->size() > 26) out->resize(26);
    return 0;
  }
  std::snprintf(key, sizeof key, "%s %s", type.c_str(), field.c_str());
  const FieldPlace* fs = s.fields->find(key);
  if (fs == nullptr) {
    KYT_TRACE(kModule, kTopic, 1, "rpdcch, cch_from_db: invalid field >%s<", key);
    return 4;
  }
  // The job's own row, then the related row it refers to.
  const TypeSources* ts = nullptr;
  for (const TypeSources& t : type_sources()) {
    if (type == t.type) ts = &t;
  }
  int32_t k = cn;
  std::vector<char> row;
  if (fs->ref != nullptr) {
    if ((rc = read_row(ts->own, "CN", cn, &row)) != 0) {
      KYT_TRACE(kModule, kTopic, 1, "rpdcch: (rc= %d) get >%s< %s %d ( %d )", rc, key,
                type.c_str(), cn, cn);
      return rc == RPDSQL_NOT_FOUND ? kFieldUnavailable : rc;
    }
    const std::string ref = column_text(ts->own, col_index(ts->own, fs->ref), row.data());
    if (!cn_number(ref, &k)) return kFieldUnavailable;
  }
  if ((rc = read_row(fs->tab, fs->key_col, k, &row)) != 0) {
    KYT_TRACE(kModule, kTopic, 1, "rpdcch: (rc= %d) get >%s< %s %d ( %d )", rc, key,
              fs->key_col, k, cn);
    return rc == RPDSQL_NOT_FOUND ? kFieldUnavailable : rc;
  }
  *out = column_text(fs->tab, fs->col, row.data());
  return 0;
}

// The field table of a command, made when missing; nullptr when it cannot be made.
FieldTable* field_table(const std::string& cn) {
  State& s = st();
  if (!s.commands) s.commands = std::make_unique<Htb20<std::unique_ptr<FieldTable>>>();
  if (auto* t = s.commands->find(cn)) return t->get();
  return s.commands->put(cn, std::make_unique<FieldTable>()).get();
}

// A field of a command, from the cache or the database (then cached): 0 or 4 (traced).
int32_t get_field(const std::string& cn, const std::string& field, std::string* out) {
  FieldTable* t = field_table(cn);
  if (const std::string* v = t->find(field)) {
    *out = *v;
    return 0;
  }
  const int32_t rc = cch_from_db(cn, field, out);
  if (rc != 0) {
    KYT_TRACE(kModule, kTopic, (rc == 4 || rc == kFieldUnavailable) ? 3 : 1,
              "rpdcch: cch_from_db for %s %s returns %d", cn.c_str(), field.c_str(), rc);
    return 4;
  }
  // The table may have been dropped and made again on the way (a nested get): look again.
  field_table(cn)->put(field, *out);
  return 0;
}

void copy_out(const std::string& v, char* value, int32_t length) {
  if (value == nullptr || length <= 0) return;
  const size_t n = v.size() < static_cast<size_t>(length - 1) ? v.size() : static_cast<size_t>(length - 1);
  std::memcpy(value, v.data(), n);
  value[n] = 0;
}

// KT writes: STATUS, ERRORCODE, DTSCHEDULE.
int32_t write_kt(const std::string& cn_text, const std::string& field, const std::string& v) {
  int32_t cn = 0;
  if (!cn_number(cn_text, &cn)) return 4;
  KYT_TRACE(kModule, kTopic, 11, "rpdcch: update %s %s ", cn_text.c_str(), field.c_str());
  int32_t rc;
  if (field == "STATUS") {
    char status[3] = {};
    std::strncpy(status, v.c_str(), sizeof status - 1);
    const HostVar in[] = {{KYT_HOST_TEXT, status}, {KYT_HOST_INT32, &cn}};
    rc = rpdsql_run("UPDATE KT SET STATUS = ? WHERE CN = ?", in);
  } else if (field == "ERRORCODE") {
    int64_t x = 0;
    if (parse_int(v, INT16_MIN, INT16_MAX, &x) != NumText::kOk) return 4;
    int16_t code = static_cast<int16_t>(x);
    const HostVar in[] = {{KYT_HOST_INT16, &code}, {KYT_HOST_INT32, &cn}};
    rc = rpdsql_run("UPDATE KT SET ERRORCODE = ? WHERE CN = ?", in);
  } else if (field == "DTSCHEDULE") {
    kyt_kt_elem e{};
    e.cn = cn;
    std::strncpy(e.dtschedule, v.c_str(), sizeof e.dtschedule - 1);
    rc = updKTDtschedule(&e);
    if (rc != 0) {
      KYT_TRACE(kModule, kTopic, 1, "rpdcch: updKTDtschedule failed with %d cn = %d", rc, cn);
      return 4;
    }
    return 0;
  } else {
    KYT_TRACE(kModule, kTopic, 1, "rpdcch: field %s %s cannot be written", cn_text.c_str(),
              field.c_str());
    return 4;
  }
  if (rc != 0) {
    KYT_TRACE(kModule, kTopic, 1, "rpdcch: update kt %s failed !", field.c_str());
    return 4;
  }
  return 0;
}

}  // namespace

int32_t rpdcch_run(int16_t action, const char* cn, const char* field, char* value,
                   int32_t length) {
  State& s = st();
  if (action < CCH_GET || action > CCH_FORGET) return 8;
  if (!s.fields) {
    auto map = std::make_unique<Htb20<FieldPlace>>();
    if (!create_field_map(map.get())) {
      KYT_TRACE(kModule, kTopic, 1, "rpdcch: cch_create_db_spec failed: rc = %ld", 16L);
      return 16;
    }
    s.fields = std::move(map);
  }
  if (cn == nullptr) return 4;
  const std::string c(cn);
  if (action == CCH_FORGET) {
    if (c == "ALL") {
      s.commands.reset();
    } else if (s.commands) {
      s.commands->erase(c);
    }
    return 0;
  }
  if (field == nullptr) return 4;
  const std::string f(field);
  if (action == CCH_GET) {
    std::string v;
    if (get_field(c, f, &v) != 0) return 4;
    if (v.size() > kMaxValue) return 99;
    copy_out(v, value, length);
    return 0;
  }
  if (value == nullptr || length < 0) return 4;
  std::string v(value, strnlen(value, static_cast<size_t>(length)));
  if (v.size() > kMaxValue) return 99;
  if (action == CCH_PUT_WRITE) {
    // Only KT's own columns are written; the cache stays as it was on failure.
    const int32_t rc = write_kt(c, f, v);
    if (rc != 0) return rc;
  }
  field_table(c)->put(f, std::move(v));
  return 0;
}

int rpdcch_cached_commands() {
  State& s = st();
  return s.commands ? static_cast<int>(s.commands->size()) : 0;
}

// --- rpdch -------------------------------------------------------------------------------

int32_t rpdch_run(int16_t action, int32_t cn, int16_t field, char* value, int32_t length) {
  State& s = st();
  if (action < CCH_GET || action > CCH_FORGET_ALL_ROWS) return 8;
  if (action == CCH_FORGET_ALL_ROWS) {
    s.kt_rows.clear();
    return 0;
  }
  if (cn == 0) {
    KYT_TRACE(kModule, kTopic, 1, "rpdcch : cn = 0 ! ( a: %d , field: %d", action, field);
    return 8;
  }
  auto it = s.kt_rows.begin();
  for (; it != s.kt_rows.end() && it->cn != cn; ++it) {
  }
  if (action == CCH_PUT || action == CCH_FORGET) {
    if (it != s.kt_rows.end()) s.kt_rows.erase(it);
    return 0;
  }
  const bool read = action == CCH_GET;
  if ((read && field != 5 && field != 8) || (!read && field != 5 && field != 9)) {
    KYT_TRACE(kModule, kTopic, 1, "rpdch invalid : %d %d %d", action, cn, field);
    return 12;
  }
  if (it == s.kt_rows.end()) {
    auto row = std::make_unique<kyt_kt_elem>();
    const int32_t rc = getKTelemByCn(cn, row.get());
    if (rc != 0) {
      KYT_TRACE(kModule, kTopic, 1, "dINITKT %d %d %d", cn, field, rc);
      return -1;
    }
    s.kt_rows.push_back(KtRow{cn, std::move(row)});
    it = s.kt_rows.end() - 1;
  } else if (it != s.kt_rows.end() - 1) {
    std::rotate(it, it + 1, s.kt_rows.end());  // the most recent last
    it = s.kt_rows.end() - 1;
  }
  kyt_kt_elem* row = it->row.get();
  if (read) {
    copy_out(field == 5 ? row->dtdone : row->status, value, length);
    return 0;
  }
  if (value == nullptr || length < 0) return 4;
  kyt_kt_elem e = *row;
  const std::string v(value, strnlen(value, static_cast<size_t>(length)));
  char* target = field == 5 ? e.dtdone : e.heldby;
  const size_t cap = field == 5 ? sizeof e.dtdone : sizeof e.heldby;
  std::memset(target, 0, cap);
  std::memcpy(target, v.data(), v.size() < cap - 1 ? v.size() : cap - 1);
  const int32_t rc = tm::update(Tab::kKT, "rpdch", &e, {field == 5 ? "DTDONE" : "HELDBY"});
  if (rc != 0) return 4;
  *row = e;
  return 0;
}

void rpdcch_reset_for_tests() { st() = State(); }

}  // namespace kyt

extern "C" int32_t rpdcch(int16_t action, const char* cn, const char* field, char* value,
                          int32_t length) {
  return kyt::api_guard("rpdcch", [&]() -> int32_t {
    return kyt::rpdcch_run(action, cn, field, value, length);
  });
}

extern "C" int32_t rpdch(int16_t action, int32_t cn, int16_t field, char* value, int32_t length) {
  return kyt::api_guard("rpdch", [&]() -> int32_t {
    return kyt::rpdch_run(action, cn, field, value, length);
  });
}
