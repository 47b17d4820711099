// calsnd: the exported send entry calls.
//
// Creation composes one SEND /CREATE line (one entry, one destination):
//   SEND /CREATE DSN="dsn" DISP FORMAT CODEIN INITTIME SERIAL LABEL VFTYP MAXRECL EFCHECK
//        SIDORIG OIDORIG (SID OIDDEST DSNNEW CODEOUT CODETABLE TSTAMP COMPRESSION ENCRYPTION)
// each part "KEY=value" or empty, and runs it through kytcal. Values are checked first so that
// none can end its part early and add a keyword of its own (see kyt.h).
//
// The list: one node a SE row, in ascending command number, built from five cursors read
// one after the other and attached to the nodes by number. It is process-wide, loaded when a
// walk starts with number 0 (or nothing is loaded), and kept until the next such start.
#include "api/calsnd.h"
#include "api/calusr.h"

#include <algorithm>
#include <span>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kyt/kyt.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kyt::api {

namespace {

constexpr const char* kModule = "kytcal";
constexpr const char* kTopic = "c";
constexpr int32_t kInvalid = -5;
constexpr int32_t kCmdFailed = -4;
constexpr int32_t kEnd = -1;

struct State {
  std::string acting;           // acting user, "" for the calling user
  std::string filter;           // sender filter, "" for none
  bool filtered = false;
  bool loaded = false;
  std::vector<kytSendEntry> list;  // ascending cn
  int32_t last_cn = 0;          // of the last successful creation
};

State& st() {
  static State s;
  return s;
}

void copy(char* dst, size_t size, const char* src) {
  if (src == nullptr) src = "";
  const size_t n = std::min(size - 1, std::strlen(src));
  std::memcpy(dst, src, n);
  dst[n] = '\0';
}

void put_msg(char* msg, const char* text) {
  if (msg != nullptr) copy(msg, KYT_SEND_MSG_SIZE, text);
}

bool given(const char* v) { return v != nullptr && v[0] != '\0'; }

// How a value is written into the line.
enum class Quote { kNone, kDouble, kSingle };

// True when `v` can stand in its part without changing the line (see kyt.h).
bool safe(const char* v, Quote q) {
  if (v == nullptr) return true;
  for (const char* p = v; *p != '\0'; ++p) {
    const auto c = static_cast<unsigned char>(*p);
    if (c < 0x20 || c == 0x7f || c == 0xff || c == '"') return false;
    if (q == Quote::kSingle && c == '\'') return false;
    if (q == Quote::kNone &&
        (c == ' ' || c == '=' || c == '(' || c == ')' || c == '\''))
      return false;
  }
  return true;
}

// "KEY=value", "KEY=\"value\"" or "KEY='value'"; "" when not given.
std::string part(const char* key, const char* v, Quote q) {
  if (!given(v)) return "";
  std::string s(key);
  s += '=';
  if (q == Quote::kDouble) s += '"';
  if (q == Quote::kSingle) s += '\'';
  s += v;
  if (q == Quote::kDouble) s += '"';
  if (q == Quote::kSingle) s += '\'';
  return s;
}

int32_t create(const kytSendEntryRequest* r) {
  KYT_TRACE(kModule, kTopic, 11, "kytcal kytCreateSendEntryS called");
  if (r == nullptr) return kInvalid;
  if (!given(r->dsn)) {
    put_msg(r->msg, "kytCreateSendEntry: invalid dsn.");
    return 99;
  }
  KYT_TRACE(kModule, kTopic, 11, "kytcal dsn passed");
  if (!given(r->sid) && !given(r->oiddest)) {
    if (r->msg != nullptr)
      put_msg(r->msg, "kytCreateSendEntry: invalid sid.");
    else
      KYT_TRACE(kModule, kTopic, 1, "kytcal s_msg not set !");
    return 99;
  }
  KYT_TRACE(kModule, kTopic, 11, "kytcal sid passed");
  if (given(r->vftyp)) KYT_TRACE(kModule, kTopic, 11, "calsnd VFT = %s", r->vftyp);

  const struct {
    const char* v;
    Quote q;
  } fields[] = {{r->dsn, Quote::kDouble},     {r->disp, Quote::kNone},
                {r->format, Quote::kNone},    {r->codein, Quote::kNone},
                {r->inittime, Quote::kSingle}, {r->serial, Quote::kNone},
                {r->label, Quote::kNone},     {r->vftyp, Quote::kNone},
                {r->tstamp, Quote::kNone},    {r->compression, Quote::kNone},
                {r->encryption, Quote::kNone}, {r->sid, Quote::kNone},
                {r->dsnnew, Quote::kDouble},  {r->codeout, Quote::kNone},
                {r->codetable, Quote::kNone}, {r->sidorig, Quote::kNone},
                {r->efcheck, Quote::kDouble}, {r->oidorig, Quote::kDouble},
                {r->oiddest, Quote::kDouble}};
  for (const auto& f : fields)
    if (!safe(f.v, f.q)) {
      put_msg(r->msg, "kytCreateSendEntry: invalid character in a value.");
      return kInvalid;
    }
  if (r->uid != nullptr && (std::strlen(r->uid) > kMaxUidLength || !safe(r->uid, Quote::kNone))) {
    put_msg(r->msg, "kytCreateSendEntry: invalid user id.");
    return kInvalid;
  }
  if (given(r->uid)) st().acting = r->uid;

  const std::string maxrecl =
      r->maxrecl != 0 && r->maxrecl != -1 ? "MAXRECL=" + std::to_string(r->maxrecl) : "";
  const std::string parts[] = {
      part("DISP", r->disp, Quote::kNone),           part("FORMAT", r->format, Quote::kNone),
      part("CODEIN", r->codein, Quote::kNone),       part("INITTIME", r->inittime, Quote::kSingle),
      part("SERIAL", r->serial, Quote::kNone),       part("LABEL", r->label, Quote::kNone),
      part("VFTYP", r->vftyp, Quote::kNone),         maxrecl,
      part("EFCHECK", r->efcheck, Quote::kDouble),   part("SIDORIG", r->sidorig, Quote::kNone),
      part("OIDORIG", r->oidorig, Quote::kDouble),   part("SID", r->sid, Quote::kNone),
      part("OIDDEST", r->oiddest, Quote::kDouble),   part("DSNNEW", r->dsnnew, Quote::kDouble),
      part("CODEOUT", r->codeout, Quote::kNone),     part("CODETABLE", r->codetable, Quote::kNone),
      part("TSTAMP", r->tstamp, Quote::kNone),       part("COMPRESSION", r->compression, Quote::kNone),
      part("ENCRYPTION", r->encryption, Quote::kNone)};
  size_t sum = std::strlen(r->dsn);
  for (const std::string& p : parts) sum += p.size();
  const size_t size = 2 * sum + 100;
  KYT_TRACE(kModule, kTopic, 11, "len %d %d", static_cast<int>(sum), static_cast<int>(size));
  std::string line = "SEND /CREATE DSN=\"";
  line.reserve(size);
  line += r->dsn;
  line += '"';
  for (size_t i = 0; i < 11; ++i) {
    line += ' ';
    line += parts[i];
  }
  line += " (";
  for (size_t i = 11; i < 19; ++i) {
    if (i > 11) line += ' ';
    line += parts[i];
  }
  line += ')';

  char severity = ' ';
  char scratch[KYT_SEND_MSG_SIZE] = {};
  char* msg = r->msg != nullptr ? r->msg : scratch;
  int32_t msglen = KYT_SEND_MSG_SIZE;
  int32_t cn = 0;
  const int32_t rc = kytcal(static_cast<int32_t>(line.size()), line.c_str(), &severity, msg,
                            &msglen, &cn);
  KYT_TRACE(kModule, kTopic, rc == 0 ? 11 : 1, "kytcal >%s< returns %d", line.c_str(), rc);
  if (rc == 0) st().last_cn = cn;
  return rc;
}

int32_t create_cmd(const kytSendEntryRequest& r) {
  const int32_t rc = create(&r);
  if (rc != 0) {
    auto s = [](const char* v) { return v != nullptr ? v : ""; };
    KYT_TRACE(kModule, kTopic, 1,
              "kytCreateSendEntry fails with %d>%s<>%s<>%s<>%s<>%s<>%s<>%s<>%s<>%s<>%s<>%s< ", rc,
              s(r.dsn), s(r.disp), s(r.format), s(r.codein), s(r.inittime), s(r.serial),
              s(r.label), s(r.tstamp), s(r.sid), s(r.dsnnew), s(r.codeout));
    return kCmdFailed;
  }
  return st().last_cn;
}

kytSendEntryRequest request(const char* dsn, const char* disp, const char* format,
                            const char* codein, const char* inittime, const char* serial,
                            const char* label, const char* tstamp, const char* sid,
                            const char* dsnnew, const char* codeout, char* msg) {
  kytSendEntryRequest r{};
  r.dsn = dsn;
  r.disp = disp;
  r.format = format;
  r.codein = codein;
  r.inittime = inittime;
  r.serial = serial;
  r.label = label;
  r.maxrecl = -1;
  r.tstamp = tstamp;
  r.sid = sid;
  r.dsnnew = dsnnew;
  r.codeout = codeout;
  r.msg = msg;
  return r;
}

// ---- the list ----

void dt_text(int32_t stored, char* out, size_t size) {
  out[0] = '\0';
  if (stored != 0) dt_from_stored(stored, out, size);
}

// Reads a cursor to its end: `row` is called after DECLARE and each FETCH that gave a row.
template <typename Row>
int32_t read_cursor(const char* name, std::string_view declare, std::span<const HostVar> in,
                    std::span<const HostVar> out, Row row) {
  std::vector<HostVar> all(in.begin(), in.end());
  all.insert(all.end(), out.begin(), out.end());
  int32_t rc = rpdsql_run(declare, all);
  const std::string fetch = std::string("FETCH ") + name;
  while (rc == 0) {
    row();
    rc = rpdsql_run(fetch, out);
  }
  rpdsql_run(std::string("CLOSE ") + name);
  return rc == RPDSQL_NOT_FOUND ? 0 : rc;
}

kytSendEntry* find(std::vector<kytSendEntry>& list, int32_t cn) {
  auto it = std::lower_bound(list.begin(), list.end(), cn,
                             [](const kytSendEntry& e, int32_t n) { return e.cn < n; });
  return it != list.end() && it->cn == cn ? &*it : nullptr;
}

int32_t load() {
  State& s = st();
  s.loaded = false;
  s.list.clear();
  std::vector<kytSendEntry> list;

  {  // SE
    char uid[21] = {}, sid[17] = {}, label[21] = {}, filter[21] = {};
    int32_t cn = 0;
    const HostVar out[] = {{kTypeChar, uid}, {kTypeChar, sid}, {kTypeChar, label},
                           {kTypeInteger, &cn}};
    copy(filter, sizeof filter, s.filter.c_str());
    const HostVar in[] = {{kTypeChar, filter}};
    auto row = [&] {
      kytSendEntry e{};
      e.cn = cn;
      copy(e.uidsender, sizeof e.uidsender, uid);
      copy(e.sidsender, sizeof e.sidsender, sid);
      copy(e.seusrlabel, sizeof e.seusrlabel, label);
      list.push_back(e);
    };
    const int32_t rc =
        s.filtered
            ? read_cursor("sec",
                          "DECLARE sec CURSOR FOR SELECT uidsender, sidsender, seusrlabel, cn "
                          "FROM se WHERE uidsender == ? ORDER BY cn",
                          in, out, row)
            : read_cursor("sec",
                          "DECLARE sec CURSOR FOR SELECT uidsender, sidsender, seusrlabel, cn "
                          "FROM se ORDER BY cn",
                          {}, out, row);
    if (rc != 0) return map_table_code(rc, "se cursor");
  }
  std::sort(list.begin(), list.end(),
            [](const kytSendEntry& a, const kytSendEntry& b) { return a.cn < b.cn; });

  {  // ET: the first destination of each entry, and the count of all
    int32_t cnse = 0, cnsk = 0, cnie = 0, cniz = 0;
    char neighb[17] = {}, dest[17] = {}, vdsn[27] = {}, status[3] = {}, code[5] = {};
    int16_t ts = 0, comp = 0, cryp = 0;
    const HostVar out[] = {{kTypeInteger, &cnse}, {kTypeInteger, &cnsk}, {kTypeInteger, &cnie},
                           {kTypeInteger, &cniz}, {kTypeChar, neighb},   {kTypeChar, dest},
                           {kTypeChar, vdsn},     {kTypeChar, status},   {kTypeChar, code},
                           {kTypeSmallint, &ts},  {kTypeSmallint, &comp}, {kTypeSmallint, &cryp}};
    const int32_t rc = read_cursor(
        "etc",
        "DECLARE etc CURSOR FOR SELECT cnse, cnsk, cnie, cniz, sidneighb, siddest, vdsn, "
        "statuset, code, flagtstamp, flagcomp, flagcryp FROM et WHERE CNSE <>  0 ORDER BY cnse",
        {}, out, [&] {
          kytSendEntry* e = find(list, cnse);
          if (e == nullptr) return;
          if (e->cntdest++ > 0) return;
          e->cnse = cnse;
          e->cnsk = cnsk;
          e->cnie = cnie;
          e->cniz = cniz;
          copy(e->sidneighb, sizeof e->sidneighb, neighb);
          copy(e->siddest, sizeof e->siddest, dest);
          copy(e->vdsn, sizeof e->vdsn, vdsn);
          copy(e->statuset, sizeof e->statuset, status);
          copy(e->code, sizeof e->code, code);
          e->flagtstamp = ts;
          e->flagcomp = comp;
          e->flagcryp = cryp;
        });
    if (rc != 0) return map_table_code(rc, "et cursor");
  }

  {  // KT
    int32_t cn = 0, created = 0, schedule = 0, done = 0;
    char status[3] = {};
    int16_t serial = 0;
    const HostVar out[] = {{kTypeInteger, &cn},       {kTypeChar, status},
                           {kTypeInteger, &created},  {kTypeInteger, &schedule},
                           {kTypeInteger, &done},     {kTypeSmallint, &serial}};
    const int32_t rc = read_cursor(
        "ktc",
        "DECLARE ktc CURSOR FOR SELECT cn, status,dtcreated,dtschedule,dtdone,flagserial FROM kt "
        "WHERE ( CMDTYPE = 'SE' ) OR ( CMDTYPE = 'SK' )",
        {}, out, [&] {
          kytSendEntry* e = find(list, cn);
          if (e == nullptr) return;
          e->has_kt = 1;
          copy(e->status, sizeof e->status, status);
          dt_text(created, e->dtcreated, sizeof e->dtcreated);
          dt_text(schedule, e->dtschedule, sizeof e->dtschedule);
          dt_text(done, e->dtdone, sizeof e->dtdone);
          e->flagserial = serial;
        });
    if (rc != 0) return map_table_code(rc, "kt cursor");
  }

  {  // VD
    int32_t cn = 0, maxrecl = 0;
    char recfm[2] = {}, vftyp[2] = {}, disp[2] = {}, dsn[255] = {}, code[5] = {},
         trans[2] = {}, table[255] = {};
    const HostVar out[] = {{kTypeInteger, &cn}, {kTypeChar, recfm}, {kTypeInteger, &maxrecl},
                           {kTypeChar, vftyp},  {kTypeChar, disp},  {kTypeChar, dsn},
                           {kTypeChar, code},   {kTypeChar, trans}, {kTypeChar, table}};
    const int32_t rc = read_cursor(
        "vdn",
        "DECLARE vdn CURSOR FOR SELECT cn, recfm, maxrecl, vftyp, disp, dsnlocal, code, "
        "codetrans, codetable FROM vd ORDER BY cn",
        {}, out, [&] {
          kytSendEntry* e = find(list, cn);
          if (e == nullptr) return;
          e->has_vd = 1;
          copy(e->recfm, sizeof e->recfm, recfm);
          e->maxrecl = maxrecl;
          copy(e->vftyp, sizeof e->vftyp, vftyp);
          copy(e->disp, sizeof e->disp, disp);
          copy(e->dsnlocal, sizeof e->dsnlocal, dsn);
          copy(e->vdcode, sizeof e->vdcode, code);
          copy(e->codetrans, sizeof e->codetrans, trans);
          copy(e->codetable, sizeof e->codetable, table);
        });
    if (rc != 0) return map_table_code(rc, "vd cursor");
  }

  {  // SK, by the destination's send queue number
    std::unordered_map<int32_t, size_t> by_sk;
    for (size_t i = 0; i < list.size(); ++i)
      if (list[i].cnsk != 0) by_sk.emplace(list[i].cnsk, i);
    int32_t cn = 0, beg = 0, end = 0, avail = 0, att = 0, records = 0;
    char bytes[15] = {};
    const HostVar out[] = {{kTypeInteger, &cn},  {kTypeInteger, &beg}, {kTypeInteger, &end},
                           {kTypeInteger, &avail}, {kTypeInteger, &att}, {kTypeChar, bytes},
                           {kTypeInteger, &records}};
    const int32_t rc = read_cursor(
        "skc",
        "DECLARE skc CURSOR FOR SELECT CN, DTBEGSEND, DTENDSEND, DTAVAIL, CNTSENDATT, CNTBYTE, "
        "CNTRECORD FROM SK ORDER BY cn",
        {}, out, [&] {
          auto it = by_sk.find(cn);
          if (it == by_sk.end()) return;
          kytSendEntry& e = list[it->second];
          e.has_sk = 1;
          dt_text(beg, e.dtbegsend, sizeof e.dtbegsend);
          dt_text(end, e.dtendsend, sizeof e.dtendsend);
          dt_text(avail, e.dtavail, sizeof e.dtavail);
          e.cntsendatt = att;
          e.cntbyte = std::strtoll(bytes, nullptr, 10);
          e.cntrecord = records;
        });
    if (rc != 0) return map_table_code(rc, "sk cursor");
  }

  s.list = std::move(list);
  s.loaded = true;
  return 0;
}

// The first entry after `previous`, loading the list first when asked to.
int32_t next(int32_t previous, kytSendEntry** out) {
  State& s = st();
  if (previous == 0 || !s.loaded) {
    if (int32_t rc = load()) return rc;
  }
  auto it = std::upper_bound(s.list.begin(), s.list.end(), previous,
                             [](int32_t n, const kytSendEntry& e) { return n < e.cn; });
  if (it == s.list.end()) return kEnd;
  *out = &*it;
  return 0;
}

}  // namespace

std::string send_acting_user() {
  const std::string& a = st().acting;
  return a.empty() ? calling_user() : a;
}

void set_send_acting_user(const std::string& uid) { st().acting = uid; }

void calsnd_reset_for_tests() { st() = State{}; }

}  // namespace kyt::api

using kyt::api_guard;
using kyt::api::create;
using kyt::api::create_cmd;
using kyt::api::request;

namespace {
// The Cmd variants answer a command number, which may be 99 itself: a failure inside is
// told apart by the body not having finished, and becomes -4 like every other failure.
template <typename Body>
int32_t cmd_guard(const char* function, Body&& body) {
  bool done = false;
  int32_t cn = 0;
  api_guard(function, [&]() -> int32_t {
    cn = body();
    done = true;
    return 0;
  });
  return done ? cn : -4;
}
}  // namespace

extern "C" int32_t kytCreateSendEntryS(const kytSendEntryRequest* req) {
  return api_guard("kytCreateSendEntryS", [&]() -> int32_t { return create(req); });
}

extern "C" int32_t kytCreateSendEntry(const char* dsn, const char* disp, const char* format,
                                      const char* codein, const char* inittime,
                                      const char* serial, const char* label, const char* tstamp,
                                      const char* sid, const char* dsnnew, const char* codeout,
                                      char* msg) {
  return api_guard("kytCreateSendEntry", [&]() -> int32_t {
    const kytSendEntryRequest r = request(dsn, disp, format, codein, inittime, serial, label,
                                          tstamp, sid, dsnnew, codeout, msg);
    return create(&r);
  });
}

extern "C" int32_t kytCreateSendEntry2(const char* dsn, const char* disp, const char* format,
                                       const char* codein, const char* inittime,
                                       const char* serial, const char* label, const char* vftyp,
                                       int32_t maxrecl, const char* tstamp, const char* sid,
                                       const char* dsnnew, const char* codeout, char* msg,
                                       void*) {
  return api_guard("kytCreateSendEntry2", [&]() -> int32_t {
    kytSendEntryRequest r = request(dsn, disp, format, codein, inittime, serial, label, tstamp,
                                    sid, dsnnew, codeout, msg);
    r.vftyp = vftyp;
    r.maxrecl = maxrecl;
    return create(&r);
  });
}

extern "C" int32_t kytCreateSendEntryWithOrig(const char* dsn, const char* disp,
                                              const char* format, const char* codein,
                                              const char* inittime, const char* serial,
                                              const char* label, const char* vftyp,
                                              int32_t maxrecl, const char* tstamp,
                                              const char* sid, const char* sidorig,
                                              const char* dsnnew, const char* codeout, char* msg,
                                              void*) {
  return api_guard("kytCreateSendEntryWithOrig", [&]() -> int32_t {
    kytSendEntryRequest r = request(dsn, disp, format, codein, inittime, serial, label, tstamp,
                                    sid, dsnnew, codeout, msg);
    r.vftyp = vftyp;
    r.maxrecl = maxrecl;
    r.sidorig = sidorig;
    return create(&r);
  });
}

extern "C" int32_t kytCreateSendEntryCmd(const char* dsn, const char* disp, const char* format,
                                         const char* codein, const char* inittime,
                                         const char* serial, const char* label,
                                         const char* tstamp, const char* sid,
                                         const char* dsnnew, const char* codeout, char* msg) {
  const int32_t rc = cmd_guard("kytCreateSendEntryCmd", [&]() -> int32_t {
    return create_cmd(request(dsn, disp, format, codein, inittime, serial, label, tstamp, sid,
                              dsnnew, codeout, msg));
  });
  return rc;
}

extern "C" int32_t kytCreateSendEntryCmd2(const char* dsn, const char* disp, const char* format,
                                          const char* codein, const char* inittime,
                                          const char* serial, const char* label,
                                          const char* vftyp, int32_t maxrecl, const char* tstamp,
                                          const char* sid, const char* dsnnew,
                                          const char* codeout, char* msg) {
  const int32_t rc = cmd_guard("kytCreateSendEntryCmd2", [&]() -> int32_t {
    kytSendEntryRequest r = request(dsn, disp, format, codein, inittime, serial, label, tstamp,
                                    sid, dsnnew, codeout, msg);
    r.vftyp = vftyp;
    r.maxrecl = maxrecl;
    return create_cmd(r);
  });
  return rc;
}

extern "C" int32_t kytCreateSendEntryCmdWithOrig(const char* dsn, const char* disp,
                                                 const char* format, const char* codein,
                                                 const char* inittime, const char* serial,
                                                 const char* label, const char* vftyp,
                                                 int32_t maxrecl, const char* tstamp,
                                                 const char* sid, const char* sidorig,
                                                 const char* dsnnew, const char* codeout,
                                                 char* msg) {
  const int32_t rc = cmd_guard("kytCreateSendEntryCmdWithOrig", [&]() -> int32_t {
    kytSendEntryRequest r = request(dsn, disp, format, codein, inittime, serial, label, tstamp,
                                    sid, dsnnew, codeout, msg);
    r.vftyp = vftyp;
    r.maxrecl = maxrecl;
    r.sidorig = sidorig;
    return create_cmd(r);
  });
  return rc;
}

extern "C" int32_t kytCreateSendEntryCmdS(const kytSendEntryRequest* req) {
  const int32_t rc = cmd_guard("kytCreateSendEntryCmdS", [&]() -> int32_t {
    if (req == nullptr) return -4;
    return create_cmd(*req);
  });
  return rc;
}

extern "C" int32_t kytSetSendEntry(int32_t cn, int32_t action, void*, char* msg) {
  return api_guard("kytSetSendEntry", [&]() -> int32_t {
    const char* verb = action == 1 ? "HOLD" : action == 2 ? "RELEASE" : action == 3 ? "DELETE"
                                                                                      : nullptr;
    if (verb == nullptr) return 99;
    char line[513];
    std::snprintf(line, sizeof line, "SEND /%s CMDID=%d", verb, static_cast<int>(cn));
    char severity = ' ';
    char scratch[KYT_SEND_MSG_SIZE] = {};
    int32_t msglen = KYT_SEND_MSG_SIZE;
    int32_t out_cn = 0;
    const int32_t rc = kytcal(static_cast<int32_t>(std::strlen(line)), line, &severity,
                              msg != nullptr ? msg : scratch, &msglen, &out_cn);
    if (rc == 0) kyt::msg_report("CMD_EXECUTED", {std::string_view(line)});
    return rc;
  });
}

extern "C" int32_t SetUIDSEList(const char* uid) {
  return api_guard("SetUIDSEList", [&]() -> int32_t {
    kyt::api::State& s = kyt::api::st();
    if (uid == nullptr) {
      s.filter.clear();
      s.filtered = false;
      return 0;
    }
    if (std::strlen(uid) > 20) return -5;
    s.filter = uid;
    s.filtered = true;
    return 0;
  });
}

extern "C" int32_t kytGetNextSendCmd(int32_t previous, int32_t* cn) {
  return api_guard("kytGetNextSendCmd", [&]() -> int32_t {
    if (cn == nullptr) return -5;
    kytSendEntry* e = nullptr;
    const int32_t rc = kyt::api::next(previous, &e);
    if (rc == 0) *cn = e->cn;
    return rc;
  });
}

extern "C" int32_t kytGetSendEntry(int32_t cn, kytSendEntry* out) {
  return api_guard("kytGetSendEntry", [&]() -> int32_t {
    if (out == nullptr) return -5;
    kyt::api::State& s = kyt::api::st();
    if (!s.loaded) {
      if (int32_t rc = kyt::api::load()) return rc;
    }
    const kytSendEntry* e = kyt::api::find(s.list, cn);
    if (e == nullptr) return -1;
    *out = *e;
    if (!out->has_vd && out->cnie != 0) {
      kyt_vd_elem vd{};
      const int32_t rc = kyt::getVDelemByCn(out->cnie, &vd);
      if (rc == 0) {
        out->has_vd = 1;
        kyt::api::copy(out->recfm, sizeof out->recfm, vd.recfm);
        out->maxrecl = vd.maxrecl;
        kyt::api::copy(out->vftyp, sizeof out->vftyp, vd.vftyp);
        kyt::api::copy(out->disp, sizeof out->disp, vd.disp);
        kyt::api::copy(out->dsnlocal, sizeof out->dsnlocal, vd.dsnlocal);
        kyt::api::copy(out->vdcode, sizeof out->vdcode, vd.code);
        kyt::api::copy(out->codetrans, sizeof out->codetrans, vd.codetrans);
        kyt::api::copy(out->codetable, sizeof out->codetable, vd.codetable);
      } else if (rc != kyt::RPDSQL_NOT_FOUND) {
        return kyt::api::map_table_code(rc, "vd by cnie");
      }
    }
    if (out->cnie != 0) {
      kyt_ss_elem ss{};
      const int32_t rc = kyt::getSSelemByCn(out->cnie, &ss);
      if (rc == 0) {
        out->has_ss = 1;
        kyt::api::copy(out->ss_status, sizeof out->ss_status, ss.status);
        kyt::api::copy(out->ss_dtcreat, sizeof out->ss_dtcreat, ss.dtcreat);
        kyt::api::copy(out->ss_dtend, sizeof out->ss_dtend, ss.dtend);
        out->ss_bytes = ss.bytes;
        out->ss_errorcode = ss.errorcode;
      } else if (rc != kyt::RPDSQL_NOT_FOUND) {
        return kyt::api::map_table_code(rc, "ss by cnie");
      }
    }
    return 0;
  });
}

extern "C" int32_t kytGetNextSendErrCh(int32_t previous, int32_t* cn, kytSendErrInfo* out) {
  return api_guard("kytGetNextSendErrCh", [&]() -> int32_t {
    if (cn == nullptr || out == nullptr) return -5;
    kytSendEntry* e = nullptr;
    int32_t rc = kyt::api::next(previous, &e);
    if (rc != 0) return rc;
    *cn = e->cn;
    std::memset(out, 0, sizeof *out);
    out->entry = *e;
    kyt_kt_elem kt{};
    rc = kyt::getKTelemByCn(e->cn, &kt);
    if (rc == 0) {
      kyt::api::copy(out->heldby, sizeof out->heldby, kt.heldby);
      kyt::api::copy(out->freedby, sizeof out->freedby, kt.freedby);
      kyt::api::copy(out->deletedby, sizeof out->deletedby, kt.deletedby);
      out->errorcode = kt.errorcode;
      kyt::api::copy(out->entry.status, sizeof out->entry.status, kt.status);
    } else if (rc != kyt::RPDSQL_NOT_FOUND) {
      return kyt::api::map_table_code(rc, "kt by cn");
    }
    kyt_fk_elem fk{};
    rc = kyt::getFKelemByCn(e->cn, &fk);
    if (rc == 0) {
      out->has_fk = 1;
      out->fk_err = fk.err;
      out->fk_errno = fk.errno_;
      out->fk_errtype = fk.errtype;
      kyt::api::copy(out->fk_errmsg, sizeof out->fk_errmsg, fk.errmsg);
      kyt::api::copy(out->fk_dtcreated, sizeof out->fk_dtcreated, fk.dtcreated);
    } else if (rc != kyt::RPDSQL_NOT_FOUND) {
      return kyt::api::map_table_code(rc, "fk by cn");
    }
    const char* station = e->sidneighb[0] != '\0' ? e->sidneighb : e->siddest;
    if (station[0] != '\0') {
      kyt_fs_elem fs{};
      rc = kyt::getFSelemByCn(station, &fs);
      if (rc == 0) {
        out->has_fs = 1;
        kyt::api::copy(out->fs_sid, sizeof out->fs_sid, fs.sid);
        out->fs_err = fs.err;
        out->fs_errno = fs.errno_;
        out->fs_errtype = fs.errtype;
        kyt::api::copy(out->fs_errmsg, sizeof out->fs_errmsg, fs.errmsg);
        kyt::api::copy(out->fs_dtcreated, sizeof out->fs_dtcreated, fs.dtcreated);
      } else if (rc != kyt::RPDSQL_NOT_FOUND) {
        return kyt::api::map_table_code(rc, "fs by sid");
      }
    }
    return 0;
  });
}
