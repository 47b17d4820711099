// calre: resident receive entries. Unlike send entries these calls write their rows
// themselves, in one transaction, and log the command text an operator would have given.
#include "api/calre.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kyt::api {
namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "A";
constexpr const char* kFailedFmt = "E: THIS_FCT - %s() failed with rc=%ld\n ";

constexpr size_t kVdsnMax = 26;
constexpr size_t kSidMax = 16;
constexpr size_t kPathMax = 254;
constexpr size_t kAccountMax = 20;
constexpr size_t kCommentMax = 50;

// The list of entries of this process, in ascending command number.
struct Entry {
  kyt_re_record rec;
  bool active;
};
struct ListState {
  std::vector<Entry> entries;
  bool loaded = false;
};
ListState& list_state() {
  static ListState s;
  return s;
}

template <size_t N>
bool terminated(const char (&field)[N]) {
  return std::memchr(field, '\0', N) != nullptr;
}

// Copies src into dst, cut to dst's size.
template <size_t N>
void copy_text(char (&dst)[N], const char* src) {
  const size_t n = strnlen(src, N - 1);
  std::memcpy(dst, src, n);
  dst[n] = '\0';
}

void upper_in_place(char* s) {
  for (; *s != '\0'; ++s) *s = static_cast<char>(std::toupper(static_cast<unsigned char>(*s)));
}

bool blank(const char* s) {
  for (; *s != '\0'; ++s)
    if (*s != ' ' && *s != '\t') return false;
  return true;
}

// A text the station can use as a file name: no control character, none of the characters
// that no file system of ours takes in a name, and not a directory (a trailing separator).
bool valid_path(const char* s) {
  const size_t n = std::strlen(s);
  if (n == 0) return false;
  for (size_t i = 0; i < n; ++i) {
    const unsigned char c = static_cast<unsigned char>(s[i]);
    if (c < 0x20 || c == 0x7f || std::strchr("<>\"|?*", c) != nullptr) return false;
  }
  return s[n - 1] != '/' && s[n - 1] != '\\';
}

// The text of a checked member: a field of at most `max` characters, terminated within its
// array; -5 otherwise.
template <size_t N>
bool fits(const char (&field)[N], size_t max) {
  return terminated(field) && std::strlen(field) <= max;
}

// Whether a station with exactly this id exists. 0 found, 13 not found, -7 the cursor failed.
int32_t station_exists(const char* sid) {
  char pattern[kSidMax + 1];
  copy_text(pattern, sid);
  char found[17] = {};
  const HostVar vars[] = {{KYT_HOST_TEXT, pattern}, {KYT_HOST_TEXT, found}};
  int32_t rc = rpdsql_run("DECLARE sid CURSOR FOR SELECT sid FROM st WHERE sid LIKE ?", vars);
  // LIKE lets "%" and "_" of an id match other ids: only an id equal to the given one counts.
  while (rc == 0 && std::strcmp(found, pattern) != 0)
    rc = rpdsql_run("FETCH sid", std::span<const HostVar>(vars + 1, 1));
  const int32_t closed = rpdsql_run("CLOSE sid");
  if (rc == RPDSQL_NOT_FOUND) return kReNoStation;
  if (rc != 0 || closed != 0) {
    KYT_TRACE(kModule, kTopic, 1, kFailedFmt, "DECLARE sid", static_cast<long>(rc ? rc : closed));
    return kReCursorFailed;
  }
  return 0;
}

// The active entry of vdsn and sid: *cn its command number, or 0 when there is none.
// 0, or -7 when a cursor failed.
int32_t find_active(const char* vdsn, const char* sid, int32_t* cn) {
  *cn = 0;
  char v[kVdsnMax + 1], s[kSidMax + 1];
  copy_text(v, vdsn);
  copy_text(s, sid);
  kyt_re_elem e{};
  const HostVar vars[] = {
      {KYT_HOST_TEXT, v},           {KYT_HOST_TEXT, s},
      {KYT_HOST_INT32, &e.cn},      {KYT_HOST_TEXT, e.uidlocal},
      {KYT_HOST_TEXT, e.dsnlocal},  {KYT_HOST_TEXT, e.replace},
      {KYT_HOST_TEXT, e.disp},      {KYT_HOST_INT16, &e.flagtstamp},
      {KYT_HOST_TEXT, e.batchjob},  {KYT_HOST_TEXT, e.uidcreator},
      {KYT_HOST_TEXT, e.acctrecvr}, {KYT_HOST_TEXT, e.commentre},
      {KYT_HOST_TEXT, e.vftyp},     {KYT_HOST_TEXT, e.codetrans},
      {KYT_HOST_TEXT, e.codetable}, {KYT_HOST_INT16, &e.flagcomp},
      {KYT_HOST_INT16, &e.flagcryp}};
  const std::span<const HostVar> out(vars + 2, std::size(vars) - 2);
  int32_t rc = rpdsql_run(
      "DECLARE re CURSOR FOR SELECT cn,uidlocal,dsnlocal,replace,disp,flagtstamp,batchjob,"
      "uidcreator,acctrecvr,commentre ,vftyp,codetrans,codetable,flagcomp,flagcryp  FROM re "
      " WHERE vdsn == ?  AND sidsender == ?",
      vars);
  int32_t failed = 0;
  while (rc == 0) {
    char status[3] = "pn";
    int32_t kcn = e.cn;
    char cmdtype[3] = {};
    const HostVar kv[] = {
        {KYT_HOST_INT32, &kcn}, {KYT_HOST_TEXT, status}, {KYT_HOST_TEXT, cmdtype}};
    const int32_t krc =
        rpdsql_run("DECLARE kt CURSOR FOR SELECT cmdtype FROM kt WHERE cn == ? AND status == ?", kv);
    if (rpdsql_run("CLOSE kt") != 0) {
      failed = kReCursorFailed;
      break;
    }
    if (krc == 0 && std::strcmp(cmdtype, "RE") == 0) {
      *cn = e.cn;
      break;
    }
    if (krc != 0 && krc != RPDSQL_NOT_FOUND) {
      KYT_TRACE(kModule, kTopic, 1, kFailedFmt, "DECLARE kt", static_cast<long>(krc));
      failed = kReCursorFailed;
      break;
    }
    rc = rpdsql_run("FETCH re", out);
  }
  if (rc != 0 && rc != RPDSQL_NOT_FOUND) {
    KYT_TRACE(kModule, kTopic, 1, kFailedFmt, "DECLARE re", static_cast<long>(rc));
    failed = kReCursorFailed;
  }
  if (rpdsql_run("CLOSE re") != 0) failed = kReCursorFailed;
  if (failed != 0) *cn = 0;
  return failed;
}

// Marks the command row of `cn` done: deleted by a user, by `uid`, at `now`.
int32_t mark_done(int32_t cn, const std::string& uid, const char* now) {
  kyt_kt_elem kt{};
  kt.cn = cn;
  copy_text(kt.status, "dn");
  copy_text(kt.deletedby, "U");
  copy_text(kt.xiddeleted, uid.c_str());
  copy_text(kt.dtdone, now);
  copy_text(kt.dtlastused, now);
  const int32_t rc = tm::update(Tab::kKT, "kytResidentReceiveEntry", &kt,
                                {"STATUS", "DELETEDBY", "XIDDELETED", "DTDONE", "DTLASTUSED"});
  if (rc != 0) {
    KYT_TRACE(kModule, kTopic, 1, kFailedFmt, "updKTStatusDel", static_cast<long>(rc));
    return kReCursorFailed;
  }
  return 0;
}

void log_command(const char* verb, int32_t cn, char lang) {
  char text[64];
  std::snprintf(text, sizeof text, "RE /%s CMDID=%d", verb, static_cast<int>(cn));
  msg_report("CMD_EXECUTED", {std::string_view(text)}, lang);
}

// Checks and normalises the members after VDSN and SIDSENDER into the RE row, in the order
// of the record. 0 or the code of the first failing check.
int32_t build_row(const kyt_re_record& rec, const std::string& uid, const char* now,
                  kyt_re_elem* row) {
  copy_text(row->uidlocal, "*");
  copy_text(row->vdsn, rec.vdsn);
  copy_text(row->uidsender, "*");
  copy_text(row->sidsender, rec.sidsender);

  if (!fits(rec.dsnlocal, kPathMax)) return kReBadField;
  if (!blank(rec.dsnlocal)) {
    if (!valid_path(rec.dsnlocal)) return kReBadLocalPath;
    copy_text(row->dsnlocal, rec.dsnlocal);
  }

  const char r = static_cast<char>(std::toupper(static_cast<unsigned char>(rec.replace[0])));
  row->replace[0] = (r == 'I' || r == 'N' || r == 'R') ? r : 'N';
  const char d = static_cast<char>(std::toupper(static_cast<unsigned char>(rec.disp[0])));
  row->disp[0] = (d == 'D' || d == 'K') ? d : 'K';
  row->flagtstamp = rec.flagtstamp;
  row->printdef[0] = '\0';

  // A job or a code table must name an existing file.
  auto existing_file = [](const char* text, char* out, size_t size) -> int32_t {
    if (blank(text)) return 0;
    if (!platform::file_exists(text)) return kReFileMissing;
    if (!valid_path(text)) return kReFailed;
    const size_t n = strnlen(text, size - 1);
    std::memcpy(out, text, n);
    out[n] = '\0';
    return 0;
  };
  if (!fits(rec.batchjob, kPathMax)) return kReBadField;
  if (int32_t rc = existing_file(rec.batchjob, row->batchjob, sizeof row->batchjob); rc != 0)
    return rc;

  copy_text(row->uidcreator, uid.c_str());
  if (!fits(rec.acctrecvr, kAccountMax)) return kReBadField;
  copy_text(row->acctrecvr, blank(rec.acctrecvr) ? uid.c_str() : rec.acctrecvr);
  if (!fits(rec.commentre, kCommentMax)) return kReBadField;
  if (!blank(rec.commentre)) copy_text(row->commentre, rec.commentre);

  row->vftyp[0] = rec.vftyp[0];
  row->codetrans[0] = rec.codetrans[0];
  if (!fits(rec.codetable, kPathMax)) return kReBadField;
  if (int32_t rc = existing_file(rec.codetable, row->codetable, sizeof row->codetable); rc != 0)
    return rc;
  copy_text(row->dtlastused, now);
  row->flagcomp = rec.flagcomp;
  row->flagcryp = rec.flagcryp;
  return 0;
}

// Writes the new entry (and marks `old_cn` done when not 0) in one transaction.
int32_t write_entry(kyt_re_elem* row, const std::string& uid, const char* now, int32_t old_cn) {
  int32_t rc = sqlSetAutocommOff();
  if (rc != 0) {
    sqlSetAutocommOn();
    KYT_TRACE(kModule, kTopic, 1, kFailedFmt, "sqlSetAutocommOff", static_cast<long>(rc));
    return kReFailed;
  }
  auto give_up = [](int32_t code) {
    sqlRollback();
    sqlSetAutocommOn();
    return code;
  };
  int32_t cn = 0;
  rc = next_command_number(&cn);
  if (rc != 0 || cn <= 0) {
    KYT_TRACE(kModule, kTopic, 1, kFailedFmt, "next_command_number", static_cast<long>(rc));
    return give_up(kReFailed);
  }
  row->cn = cn;
  rc = insREelem(row);
  if (rc != 0) {
    KYT_TRACE(kModule, kTopic, 1, kFailedFmt, "insREelem", static_cast<long>(rc));
    return give_up(rc);
  }
  kyt_kt_elem kt{};
  kt.cn = cn;
  copy_text(kt.cmdtype, "RE");
  kt.priority = 1;
  copy_text(kt.dtcreated, now);
  copy_text(kt.status, "pn");
  copy_text(kt.dtlastused, now);
  rc = insKTelem(&kt);
  if (rc != 0) {
    KYT_TRACE(kModule, kTopic, 1, kFailedFmt, "insKTelem", static_cast<long>(rc));
    return give_up(rc);
  }
  if (old_cn != 0) {
    rc = mark_done(old_cn, uid, now);
    if (rc != 0) return give_up(rc);
  }
  rc = sqlSetAutocommOn();  // the outermost end commits
  if (rc != 0) {
    KYT_TRACE(kModule, kTopic, 1, kFailedFmt, "sqlSetAutocommOn", static_cast<long>(rc));
    sqlRollback();
    return kReFailed;
  }
  return 0;
}

}  // namespace

int32_t re_apply(int32_t action, kyt_re_record* rec) {
  if (action != KYT_RE_REPLACE && action != KYT_RE_DELETE && action != KYT_RE_CREATE)
    return kReFailed;
  if (rec == nullptr) return kReBadField;

  // 1. Time and calling user; the user's privilege before anything else is read.
  char now[20];
  if (int32_t rc = dt_now(now, sizeof now); rc != 0) {
    KYT_TRACE(kModule, kTopic, 1, kFailedFmt, "rpxdt", static_cast<long>(rc));
    return kReFailed;
  }
  const std::string uid = calling_user();
  kyt_bt_elem user{};
  if (int32_t rc = getBTelemByUid(uid.c_str(), &user); rc != 0) {
    KYT_TRACE(kModule, kTopic, 1, kFailedFmt, "getBTelemByUid", static_cast<long>(rc));
    return kReFailed;
  }
  if (std::strcmp(user.privusr, "A") != 0 && std::strcmp(user.privusr, "O") != 0)
    return kReNoPrivilege;

  // 2. The key of the entry, and its station.
  if (!fits(rec->vdsn, kVdsnMax) || !fits(rec->sidsender, kSidMax)) return kReBadField;
  if (rec->vdsn[0] == '\0' || rec->sidsender[0] == '\0') return kReBadField;
  kyt_re_record r = *rec;
  upper_in_place(r.vdsn);
  upper_in_place(r.sidsender);
  if (action != KYT_RE_DELETE) {
    if (int32_t rc = station_exists(r.sidsender); rc != 0) return rc;
  }

  // 3./4. The active entry of the key.
  int32_t active = 0;
  if (int32_t rc = find_active(r.vdsn, r.sidsender, &active); rc != 0) return rc;
  if (action != KYT_RE_CREATE && active == 0) return kReNotActive;
  if (action == KYT_RE_CREATE && active != 0) return kReExists;

  const char lang = user.language[0];
  // 5. Deletion.
  if (action == KYT_RE_DELETE) {
    if (int32_t rc = mark_done(active, uid, now); rc != 0) return rc;
    log_command("DELETE", active, lang);
    re_load_list();
    return 0;
  }

  // 6./7. Creation, replacement.
  kyt_re_elem row{};
  if (int32_t rc = build_row(r, uid, now, &row); rc != 0) return rc;
  const int32_t old_cn = action == KYT_RE_REPLACE ? active : 0;
  if (int32_t rc = write_entry(&row, uid, now, old_cn); rc != 0) return rc;
  rec->cn = row.cn;
  log_command("CREATE", row.cn, lang);
  if (old_cn != 0) log_command("DELETE", old_cn, lang);
  // 8.
  re_load_list();
  return 0;
}

int32_t re_load_list() {
  ListState& s = list_state();
  if (s.loaded) KYT_TRACE(kModule, kTopic, 11, "kytGetAllREEntries: Free old List.");
  s.entries.clear();
  s.entries.shrink_to_fit();
  s.loaded = false;

  std::set<int32_t> active;
  {
    char status[3] = "pn", type[3] = "RE";
    int32_t cn = 0;
    const HostVar vars[] = {{KYT_HOST_TEXT, status}, {KYT_HOST_TEXT, type}, {KYT_HOST_INT32, &cn}};
    int32_t rc = rpdsql_run(
        "DECLARE ktc CURSOR FOR  SELECT cn FROM kt WHERE status == ? AND cmdtype == ?", vars);
    try {
      while (rc == 0) {
        active.insert(cn);
        rc = rpdsql_run("FETCH ktc", std::span<const HostVar>(vars + 2, 1));
      }
    } catch (const std::bad_alloc&) {
      KYT_TRACE(kModule, kTopic, 1, "kytGetAllREEntries: Malloc of Listhead Failed.");
      rpdsql_run("CLOSE ktc");
      return kReFailed;
    }
    rpdsql_run("CLOSE ktc");
    if (rc != RPDSQL_NOT_FOUND) {
      KYT_TRACE(kModule, kTopic, 1, kFailedFmt, "DECLARE ktc", static_cast<long>(rc));
      return rc;
    }
  }

  kyt_re_record r{};
  int32_t dtlast = 0;
  const HostVar out[] = {
      {KYT_HOST_INT32, &r.cn},        {KYT_HOST_TEXT, r.uidlocal},   {KYT_HOST_TEXT, r.vdsn},
      {KYT_HOST_TEXT, r.uidsender},   {KYT_HOST_TEXT, r.sidsender},  {KYT_HOST_TEXT, r.dsnlocal},
      {KYT_HOST_TEXT, r.replace},     {KYT_HOST_TEXT, r.disp},       {KYT_HOST_INT16, &r.flagtstamp},
      {KYT_HOST_TEXT, r.printdef},    {KYT_HOST_TEXT, r.batchjob},   {KYT_HOST_TEXT, r.uidcreator},
      {KYT_HOST_TEXT, r.acctrecvr},   {KYT_HOST_TEXT, r.commentre},  {KYT_HOST_INT32, &dtlast},
      {KYT_HOST_TEXT, r.vftyp},       {KYT_HOST_TEXT, r.codetrans},  {KYT_HOST_TEXT, r.codetable},
      {KYT_HOST_INT16, &r.flagcomp},  {KYT_HOST_INT16, &r.flagcryp}};
  int32_t rc = rpdsql_run(
      "DECLARE rec CURSOR FOR SELECT cn, uidlocal, vdsn, uidsender, sidsender, dsnlocal, "
      "replace, disp, flagtstamp, printdef, batchjob, uidcreator, acctrecvr, commentre, "
      "dtlastused, vftyp, codetrans, codetable,"
      " flagcomp, flagcryp"
      " FROM re "
      " ORDER BY cn",
      out);
  std::vector<Entry> entries;
  while (rc == 0) {
    dt_from_stored(dtlast, r.dtlastused, sizeof r.dtlastused);
    try {
      entries.push_back(Entry{r, active.count(r.cn) != 0});
    } catch (const std::bad_alloc&) {
      KYT_TRACE(kModule, kTopic, 1, "kytGetAllREEntries: Malloc of Listentry Failed.");
      rpdsql_run("CLOSE rec");
      return kReFailed;
    }
    r = kyt_re_record{};
    dtlast = 0;
    rc = rpdsql_run("FETCH rec", out);
  }
  rpdsql_run("CLOSE rec");
  if (rc != RPDSQL_NOT_FOUND) {
    KYT_TRACE(kModule, kTopic, 1, kFailedFmt, "DECLARE rec", static_cast<long>(rc));
    return rc;
  }
  s.entries = std::move(entries);
  s.loaded = true;
  KYT_TRACE(kModule, kTopic, 15, "kytGetAllREEntries: Leave function.");
  return 0;
}

void re_reset_for_tests() {
  list_state().entries.clear();
  list_state().loaded = false;
}

}  // namespace kyt::api

using kyt::api::list_state;

extern "C" int32_t kytResidentReceiveEntry(int32_t action, kyt_re_record* record, void*) {
  return kyt::api_guard("kytResidentReceiveEntry",
                        [&]() -> int32_t { return kyt::api::re_apply(action, record); });
}

extern "C" int32_t kytCreateRECmd(int32_t* cn, kyt_re_record* record) {
  return kyt::api_guard("kytCreateRECmd", [&]() -> int32_t {
    if (cn == nullptr) return kyt::api::kReBadField;
    *cn = 0;
    const int32_t rc = kyt::api::re_apply(KYT_RE_CREATE, record);
    if (rc == 0) *cn = record->cn;
    return rc;
  });
}

extern "C" int32_t kytGetNextRE(int32_t previous, int32_t* cn) {
  return kyt::api_guard("kytGetNextRE", [&]() -> int32_t {
    if (cn == nullptr) return kyt::api::kReBadField;
    auto& s = kyt::api::list_state();
    if (previous == 0 || !s.loaded) {
      if (kyt::api::re_load_list() != 0) return kyt::api::kReFailed;
    }
    for (const auto& e : s.entries) {
      if (e.active && e.rec.cn > previous) {
        *cn = e.rec.cn;
        return 0;
      }
    }
    return -1;
  });
}

extern "C" int32_t kytGetRE(int32_t cn, kyt_re_record* record) {
  return kyt::api_guard("kytGetRE", [&]() -> int32_t {
    if (record == nullptr) return kyt::api::kReBadField;
    auto& s = kyt::api::list_state();
    if (!s.loaded && kyt::api::re_load_list() != 0) return kyt::api::kReFailed;
    for (const auto& e : s.entries) {
      if (e.active && e.rec.cn == cn) {
        *record = e.rec;
        return 0;
      }
    }
    return kyt::api::kReNotActive;
  });
}
