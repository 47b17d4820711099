// cmdsend: the SEND verb of the batch command set.
//
//   SEND /CREATE DSN="file" [DISP= FORMAT= CODEIN= VFTYP= MAXRECL= INITTIME= LABEL= SERIAL=
//        ACCOUNT= SIDORIG= OIDORIG= USEUSERSID= EFCHECK=] (SID= | OIDDEST= [DSNNEW= CODEOUT=
//        CODETABLE= TSTAMP= COMPRESSION= ENCRYPTION= UID=]) ...
//   SEND /HOLD CMDID=n     SEND /RELEASE CMDID=n     SEND /DELETE CMDID=n
//
// /CREATE (also a SEND without positional parameter) checks every value before anything is
// written, then writes in one transaction: a new command number, the command row (KT, type
// SE, status qn), the sender's row (SE), the file description (VD) and one destination row
// (ET) a group. /HOLD, /RELEASE and /DELETE change the status and the hold, free and delete
// marks of an existing SE command row. docs/commands.md describes keywords, rows and
// codes.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "api/calsnd.h"
#include "api/verbs.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kyt::api {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "c";

// Command statuses of a send entry's KT row.
constexpr const char* kQueued = "qn";
constexpr const char* kHeld = "ho";
constexpr const char* kDeleted = "de";
// Who set a mark: the command entry, on behalf of a user.
constexpr const char* kByUser = "U";
// The CID written into ET: the entry through which the command came.
constexpr const char* kCid = "KYTCAL";

struct Refusal {
  int32_t code = 0;
  std::string text;
};

std::string upper(std::string s) {
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

bool has_control(std::string_view v) {
  return std::any_of(v.begin(), v.end(), [](char c) {
    const auto u = static_cast<unsigned char>(c);
    return u < 0x20 || u == 0x7f;
  });
}

// A flag value: Y, YES, J, 1 are 1; N, NO, 0 are 0 (case ignored).
bool read_flag(std::string_view v, int16_t* out) {
  const std::string u = upper(std::string(v));
  if (u == "Y" || u == "YES" || u == "J" || u == "1") {
    *out = 1;
    return true;
  }
  if (u == "N" || u == "NO" || u == "0") {
    *out = 0;
    return true;
  }
  return false;
}

// A station id: 1 to 16 printable characters without blanks; upper-cased.
bool read_sid(std::string_view v, std::string* out) {
  if (v.empty() || v.size() > 16) return false;
  for (char c : v) {
    const auto u = static_cast<unsigned char>(c);
    if (u <= 0x20 || u >= 0x7f) return false;
  }
  *out = upper(std::string(v));
  return true;
}

// A code name (CODEIN, CODEOUT): 1 to 4 letters or digits; upper-cased.
bool read_code(std::string_view v, std::string* out) {
  if (v.empty() || v.size() > 4) return false;
  for (char c : v)
    if (!std::isalnum(static_cast<unsigned char>(c))) return false;
  *out = upper(std::string(v));
  return true;
}

// One letter of `allowed` (case ignored).
bool read_letter(std::string_view v, const char* allowed, std::string* out) {
  if (v.size() != 1) return false;
  const char c = static_cast<char>(std::toupper(static_cast<unsigned char>(v[0])));
  if (std::strchr(allowed, c) == nullptr) return false;
  *out = std::string(1, c);
  return true;
}

bool read_number(std::string_view v, int64_t low, int64_t high, int32_t* out) {
  if (v.empty() || v.size() > 11) return false;
  size_t i = 0;
  bool negative = false;
  if (v[0] == '-' || v[0] == '+') {
    negative = v[0] == '-';
    i = 1;
    if (v.size() == 1) return false;
  }
  int64_t n = 0;
  for (; i < v.size(); ++i) {
    if (v[i] < '0' || v[i] > '9') return false;
    n = n * 10 + (v[i] - '0');
  }
  if (negative) n = -n;
  if (n < low || n > high) return false;
  *out = static_cast<int32_t>(n);
  return true;
}

void copy(char* dst, size_t size, const std::string& src) {
  const size_t n = std::min(size - 1, src.size());
  std::memcpy(dst, src.data(), n);
  dst[n] = '\0';
}

std::string param_text(const char* name, const char* fallback) {
  std::string v;
  if (rpdprm_get_text(name, &v) != PRM_OK) return fallback;
  while (!v.empty() && v.back() == ' ') v.pop_back();
  return v.empty() ? fallback : v;
}

int32_t param_number(const char* name, int32_t fallback) {
  std::string v;
  int32_t n = 0;
  if (rpdprm_get_text(name, &v) != PRM_OK || !read_number(v, INT32_MIN, INT32_MAX, &n))
    return fallback;
  return n;
}

// The last path component of a file name, for the virtual dataset name when DSNNEW is not
// given; cut to 26 characters.
std::string base_name(const std::string& path) {
  size_t cut = path.find_last_of("/\\");
  std::string b = cut == std::string::npos ? path : path.substr(cut + 1);
  if (b.size() > 26) b.resize(26);
  return b;
}

class SendCommand {
 public:
  explicit SendCommand(const cmd_args& args) : args_(args) {}

  int32_t run(cmd_msg* msg) {
    std::string action = "CREATE";
    if (const char* p = args_.positional(0)) action = upper(p);
    int32_t rc = 0;
    if (action == "CREATE") {
      rc = create();
    } else if (action == "HOLD" || action == "RELEASE" || action == "DELETE") {
      rc = change(action);
    } else {
      rc = refuse(kSendBadAction, "SEND: unknown action /" + std::string(args_.positional(0)) +
                                      " (CREATE, HOLD, RELEASE, DELETE)");
    }
    if (rc != 0 && !refusal_.text.empty()) cmd_msg_set(msg, 'E', refusal_.text);
    return rc;
  }

 private:
  int32_t refuse(int32_t code, std::string text) {
    refusal_.code = code;
    refusal_.text = std::move(text);
    KYT_TRACE(kModule, kTopic, 1, "verb_send refuses with %d: %s", code, refusal_.text.c_str());
    return code;
  }

  // The value of a non-repeatable keyword (nullptr when not given), refused when it holds a
  // control character or is longer than `max`.
  bool text(const cmd_table& t, const char* key, size_t max, std::string* out, bool* given) {
    const char* v = t.find(key);
    *given = v != nullptr;
    if (v == nullptr) return true;
    std::string_view s(v);
    if (has_control(s)) {
      refuse(kSendBadValue, std::string("SEND: ") + key + " holds a control character");
      return false;
    }
    if (s.size() > max) {
      refuse(kSendBadValue,
             std::string("SEND: ") + key + " longer than " + std::to_string(max) + " characters");
      return false;
    }
    *out = std::string(s);
    return true;
  }

  bool flag(const cmd_table& t, const char* key, int16_t* out) {
    const char* v = t.find(key);
    if (v == nullptr) return true;
    if (!read_flag(v, out)) {
      refuse(kSendBadValue, std::string("SEND: ") + key + "=" + v + " is not Y or N");
      return false;
    }
    return true;
  }

  bool sid(const cmd_table& t, const char* key, std::string* out, bool* given) {
    const char* v = t.find(key);
    *given = v != nullptr;
    if (v == nullptr) return true;
    if (!read_sid(v, out)) {
      refuse(kSendBadValue, std::string("SEND: ") + key + " is no station id (1 to 16 characters)");
      return false;
    }
    return true;
  }

  // The partner whose ODETTE id is `oid` (as given, else upper-cased).
  int32_t partner_of(const std::string& oid, std::string* sid_out) {
    kyt_op_elem op{};
    int32_t rc = getOPelemByOid(oid.c_str(), &op);
    if (rc == RPDSQL_NOT_FOUND && upper(oid) != oid) rc = getOPelemByOid(upper(oid).c_str(), &op);
    if (rc == RPDSQL_NOT_FOUND) return refuse(kSendUnknown, "SEND: no partner has ODETTE id " + oid);
    if (rc != 0) return refuse(99, "SEND: reading the partners failed (" + std::to_string(rc) + ")");
    *sid_out = op.sid;
    return 0;
  }

  int32_t station_known(const std::string& s) {
    kyt_st_elem st{};
    const int32_t rc = getSTelemBySid(s.c_str(), &st);
    if (rc == RPDSQL_NOT_FOUND) return refuse(kSendUnknown, "SEND: unknown station " + s);
    if (rc != 0) return refuse(99, "SEND: reading the stations failed (" + std::to_string(rc) + ")");
    return 0;
  }

  // ---- /CREATE ----

  int32_t create() {
    const cmd_table& k = args_.keywords();
    if (k.given("CMDID")) return refuse(kSendNotForAction, "SEND /CREATE takes no CMDID");
    bool given = false;
    std::string dsn, account, label, inittime, oidorig;
    if (!text(k, "DSN", 254, &dsn, &given)) return refusal_.code;
    if (!given || dsn.empty()) return refuse(kSendMissing, "SEND /CREATE needs DSN");
    if (!platform::is_regular_file(dsn.c_str()))
      return refuse(kSendNoFile, "SEND: DSN " + dsn + " is no readable file");
    {
      std::ifstream f(dsn, std::ios::binary);
      if (!f) return refuse(kSendNoFile, "SEND: DSN " + dsn + " is no readable file");
    }
    const int64_t bytes = platform::file_size(dsn.c_str());

    kyt_vd_elem vd{};
    copy(vd.dsnlocal, sizeof vd.dsnlocal, dsn);
    const int64_t kb = bytes < 0 ? 0 : (bytes + 1023) / 1024;
    vd.approxsize = static_cast<int32_t>(std::min<int64_t>(kb, INT32_MAX));
    copy(vd.statusdsn, sizeof vd.statusdsn, "N");

    std::string disp = "K";
    if (const char* v = k.find("DISP"); v && !read_letter(v, "KD", &disp))
      return refuse(kSendBadValue, std::string("SEND: DISP=") + v + " is not K or D");
    copy(vd.disp, sizeof vd.disp, disp);
    std::string format = "U";
    if (const char* v = k.find("FORMAT"); v && !read_letter(v, "FVUT", &format))
      return refuse(kSendBadValue, std::string("SEND: FORMAT=") + v + " is not F, V, U or T");
    copy(vd.recfm, sizeof vd.recfm, format);
    std::string codein = param_text("CODEIN", "A");
    if (const char* v = k.find("CODEIN"); v && !read_code(v, &codein))
      return refuse(kSendBadValue, std::string("SEND: CODEIN=") + v + " is no code name");
    copy(vd.code, sizeof vd.code, codein);
    std::string vftyp = param_text("VFTYP", "V").substr(0, 1);
    if (const char* v = k.find("VFTYP"); v && !read_letter(v, "FV", &vftyp))
      return refuse(kSendBadValue, std::string("SEND: VFTYP=") + v + " is not F or V");
    copy(vd.vftyp, sizeof vd.vftyp, vftyp);
    if (const char* v = k.find("MAXRECL")) {
      const int32_t limit = param_number("MAXRECL", 99999);
      if (!read_number(v, 0, limit, &vd.maxrecl))
        return refuse(kSendBadValue, std::string("SEND: MAXRECL=") + v + " is not a number from 0 to " +
                                         std::to_string(limit));
    }

    kyt_kt_elem kt{};
    copy(kt.cmdtype, sizeof kt.cmdtype, "SE");
    copy(kt.status, sizeof kt.status, kQueued);
    kt.priority = static_cast<int16_t>(param_number("SEPRIO", 50));
    if (!text(k, "INITTIME", 19, &inittime, &given)) return refusal_.code;
    if (given) {
      int32_t stored = 0;
      char normal[20] = {};
      if (dt_normalise(inittime.c_str(), normal, sizeof normal) != 0 ||
          dt_to_stored(normal, &stored) != 0)
        return refuse(kSendBadValue, "SEND: INITTIME=" + inittime + " is no date-time (YYYY/MM/DD hh:mm:ss)");
      copy(kt.dtschedule, sizeof kt.dtschedule, normal);
    }
    if (!flag(k, "SERIAL", &kt.flagserial)) return refusal_.code;

    kyt_se_elem se{};
    std::string acting = send_acting_user();
    copy(se.uidsender, sizeof se.uidsender, acting);
    if (!text(k, "ACCOUNT", 20, &account, &given)) return refusal_.code;
    copy(se.acctsender, sizeof se.acctsender, account);
    copy(se.cidsender, sizeof se.cidsender, kCid);
    if (!text(k, "LABEL", 20, &label, &given)) return refusal_.code;
    copy(se.seusrlabel, sizeof se.seusrlabel, label);
    copy(se.dtschedusr, sizeof se.dtschedusr, kt.dtschedule);
    int16_t efcheck = 0;
    if (!flag(k, "EFCHECK", &efcheck)) return refusal_.code;
    // F: a file; E: a file whose end-to-end response (EERP) the sender waits for.
    copy(se.infotype, sizeof se.infotype, efcheck ? "E" : "F");

    // The sending station: SIDORIG, else the partner of OIDORIG, else the acting user's own
    // station (USEUSERSID=Y), else the local station (parameter LID).
    std::string sidorig;
    bool has_sidorig = false;
    if (!sid(k, "SIDORIG", &sidorig, &has_sidorig)) return refusal_.code;
    bool has_oidorig = false;
    if (!text(k, "OIDORIG", 25, &oidorig, &has_oidorig)) return refusal_.code;
    int16_t useusersid = 0;
    if (!flag(k, "USEUSERSID", &useusersid)) return refusal_.code;
    if (has_sidorig && useusersid)
      return refuse(kSendBadValue, "SEND: SIDORIG and USEUSERSID=Y exclude each other");
    if (has_sidorig) {
      if (int32_t rc = station_known(sidorig)) return rc;
    }
    if (has_oidorig && !oidorig.empty()) {
      std::string of;
      if (int32_t rc = partner_of(oidorig, &of)) return rc;
      if (has_sidorig && upper(of) != sidorig)
        return refuse(kSendBadValue, "SEND: OIDORIG " + oidorig + " is not the id of " + sidorig);
      sidorig = upper(of);
      has_sidorig = true;
    }
    if (!has_sidorig && useusersid) {
      kyt_bt_elem bt{};
      const int32_t rc = getBTelemByUid(acting.c_str(), &bt);
      if (rc == RPDSQL_NOT_FOUND || (rc == 0 && bt.usersid[0] == '\0'))
        return refuse(kSendUnknown, "SEND: user " + acting + " has no station of its own");
      if (rc != 0) return refuse(99, "SEND: reading the users failed (" + std::to_string(rc) + ")");
      sidorig = bt.usersid;
      has_sidorig = true;
    }
    if (!has_sidorig) {
      sidorig = upper(param_text("LID", ""));
      if (sidorig.empty())
        return refuse(kSendUnknown, "SEND: the local station id (parameter LID) is not set");
    }
    copy(se.sidsender, sizeof se.sidsender, sidorig);

    // Destinations, one ET row a group.
    if (args_.groups().empty())
      return refuse(kSendMissing, "SEND /CREATE needs a destination group (SID=...)");
    std::vector<kyt_et_elem> ets;
    bool translates = false;
    for (const cmd_group& g : args_.groups()) {
      kyt_et_elem et{};
      std::string dest, oiddest, dsnnew, codeout, codetable, uid;
      bool has_sid = false, has_oid = false;
      if (!sid(g, "SID", &dest, &has_sid)) return refusal_.code;
      if (!text(g, "OIDDEST", 25, &oiddest, &has_oid)) return refusal_.code;
      if (has_oid && !oiddest.empty()) {
        std::string of;
        if (int32_t rc = partner_of(oiddest, &of)) return rc;
        if (has_sid && upper(of) != dest)
          return refuse(kSendBadValue, "SEND: OIDDEST " + oiddest + " is not the id of " + dest);
        dest = upper(of);
        has_sid = true;
      }
      if (!has_sid) return refuse(kSendMissing, "SEND: a destination group needs SID or OIDDEST");
      if (int32_t rc = station_known(dest)) return rc;
      copy(et.siddest, sizeof et.siddest, dest);
      kyt_rt_elem rt{};
      const int32_t rrc = getRTelemBySid(dest.c_str(), &rt);
      if (rrc != 0 && rrc != RPDSQL_NOT_FOUND)
        return refuse(99, "SEND: reading the routes failed (" + std::to_string(rrc) + ")");
      copy(et.sidneighb, sizeof et.sidneighb, rrc == 0 ? std::string(rt.sidneighb) : dest);

      if (!text(g, "DSNNEW", 26, &dsnnew, &given)) return refusal_.code;
      if (dsnnew.empty()) dsnnew = base_name(dsn);
      copy(et.vdsn, sizeof et.vdsn, dsnnew);
      codeout = codein;
      if (const char* v = g.find("CODEOUT"); v && !read_code(v, &codeout))
        return refuse(kSendBadValue, std::string("SEND: CODEOUT=") + v + " is no code name");
      if (codeout != codein) translates = true;
      copy(et.code, sizeof et.code, codeout);
      if (!text(g, "CODETABLE", 254, &codetable, &given)) return refusal_.code;
      copy(et.codetable, sizeof et.codetable, codetable);
      if (!codetable.empty() && vd.codetable[0] == '\0')
        copy(vd.codetable, sizeof vd.codetable, codetable);
      if (!flag(g, "TSTAMP", &et.flagtstamp)) return refusal_.code;
      if (!flag(g, "COMPRESSION", &et.flagcomp)) return refusal_.code;
      if (!flag(g, "ENCRYPTION", &et.flagcryp)) return refusal_.code;
      if (et.flagcomp) vd.flagcompr = 1;
      if (et.flagcryp) vd.flagencr = 1;
      if (!text(g, "UID", 20, &uid, &given)) return refusal_.code;
      copy(et.uid, sizeof et.uid, uid.empty() ? acting : uid);
      copy(et.cid, sizeof et.cid, kCid);
      copy(et.statuset, sizeof et.statuset, kQueued);
      for (const kyt_et_elem& o : ets)
        if (std::strcmp(o.siddest, et.siddest) == 0 && std::strcmp(o.uid, et.uid) == 0)
          return refuse(kSendBadValue,
                        std::string("SEND: destination ") + et.siddest + " given twice for " + et.uid);
      ets.push_back(et);
    }
    copy(vd.codetrans, sizeof vd.codetrans, translates ? "Y" : "N");
    se.cntsk = static_cast<int32_t>(ets.size());

    return write(&kt, &se, &vd, &ets);
  }

  int32_t write(kyt_kt_elem* kt, kyt_se_elem* se, kyt_vd_elem* vd, std::vector<kyt_et_elem>* ets) {
    int32_t rc = sqlSetAutocommOff();
    int32_t cn = 0;
    const char* step = "begin";
    if (rc == 0) {
      step = "number";
      rc = next_command_number(&cn);
    }
    if (rc == 0) {
      kt->cn = se->cn = vd->cn = cn;
      step = "KT";
      rc = insKT(kt);
    }
    if (rc == 0) {
      step = "SE";
      rc = insSEelem(se);
    }
    if (rc == 0) {
      step = "VD";
      rc = insVDelem(vd);
    }
    for (kyt_et_elem& et : *ets) {
      if (rc != 0) break;
      et.cnse = cn;
      step = "ET";
      rc = insETelem(&et);
    }
    if (rc != 0) {
      sqlRollback();
      sqlSetAutocommOn();
      return refuse(99, std::string("SEND: writing the entry failed at ") + step + " (" +
                            std::to_string(rc) + ")");
    }
    rc = sqlSetAutocommOn();
    if (rc != 0) return refuse(99, "SEND: committing the entry failed (" + std::to_string(rc) + ")");
    set_command_number(cn);
    return 0;
  }

  // ---- /HOLD, /RELEASE, /DELETE ----

  int32_t change(const std::string& action) {
    const cmd_table& k = args_.keywords();
    for (size_t i = 0; i < k.size(); ++i)
      if (k.value(i) != nullptr && k.name(i) != "CMDID")
        return refuse(kSendNotForAction, "SEND /" + action + " takes no " + k.name(i));
    if (!args_.groups().empty())
      return refuse(kSendNotForAction, "SEND /" + action + " takes no destination group");
    const char* v = k.find("CMDID");
    if (v == nullptr) return refuse(kSendMissing, "SEND /" + action + " needs CMDID");
    int32_t cn = 0;
    if (!read_number(v, 1, INT32_MAX, &cn))
      return refuse(kSendBadValue, std::string("SEND: CMDID=") + v + " is no command number");

    kyt_kt_elem kt{};
    int32_t rc = getKTelemByCn(cn, &kt);
    if (rc == RPDSQL_NOT_FOUND || (rc == 0 && std::strcmp(kt.cmdtype, "SE") != 0))
      return refuse(kSendUnknown, "SEND: command " + std::to_string(cn) + " is no send entry");
    if (rc != 0) return refuse(99, "SEND: reading command " + std::to_string(cn) + " failed (" +
                                       std::to_string(rc) + ")");
    const std::string status = kt.status;
    const std::string user = calling_user();
    char now[20] = {};
    dt_now(now, sizeof now);
    copy(kt.dtlastused, sizeof kt.dtlastused, now);
    const std::string sn = std::to_string(cn);

    if (action == "HOLD") {
      if (status != kQueued)
        return refuse(kSendWrongState, "SEND: command " + sn + " in status " + status + " cannot be held");
      copy(kt.status, sizeof kt.status, kHeld);
      copy(kt.heldby, sizeof kt.heldby, kByUser);
      copy(kt.xidheld, sizeof kt.xidheld, user);
      copy(kt.dthold, sizeof kt.dthold, now);
      rc = tm::update(Tab::kKT, "verb_send hold", &kt,
                      {"STATUS", "HELDBY", "XIDHELD", "DTHOLD", "DTLASTUSED"});
    } else if (action == "RELEASE") {
      if (status != kHeld)
        return refuse(kSendWrongState, "SEND: command " + sn + " in status " + status + " is not held");
      copy(kt.status, sizeof kt.status, kQueued);
      copy(kt.freedby, sizeof kt.freedby, kByUser);
      copy(kt.xidfreed, sizeof kt.xidfreed, user);
      copy(kt.dtfree, sizeof kt.dtfree, now);
      rc = updKT_free(&kt);
    } else {
      if (status == kDeleted || kt.deletedby[0] != '\0')
        return refuse(kSendWrongState, "SEND: command " + sn + " is deleted already");
      copy(kt.status, sizeof kt.status, kDeleted);
      copy(kt.deletedby, sizeof kt.deletedby, kByUser);
      copy(kt.xiddeleted, sizeof kt.xiddeleted, user);
      rc = sqlSetAutocommOff();
      if (rc == 0) rc = updKTStatusDel(&kt);
      if (rc == 0) {
        // The destinations are marked with the command.
        char by[2] = {}, xid[21] = {};
        copy(by, sizeof by, kByUser);
        copy(xid, sizeof xid, user);
        char st[3] = {};
        copy(st, sizeof st, kDeleted);
        int32_t cnse = cn;
        const HostVar in[] = {{kTypeChar, st}, {kTypeChar, by}, {kTypeChar, xid},
                              {kTypeInteger, &cnse}};
        rc = rpdsql_run(
            "UPDATE ET SET STATUSET = ?, DELETEDBY = ?, XIDDELETED = ? WHERE CNSE = ?", in);
        if (rc == RPDSQL_NOT_FOUND) rc = 0;  // an entry without destinations
      }
      if (rc != 0) sqlRollback();
      const int32_t end = sqlSetAutocommOn();
      if (rc == 0) rc = end;
    }
    if (rc != 0)
      return refuse(99, "SEND /" + action + ": changing command " + sn + " failed (" +
                            std::to_string(rc) + ")");
    return 0;
  }

  const cmd_args& args_;
  Refusal refusal_;
};

}  // namespace

int32_t verb_send(const cmd_args& args, cmd_msg* msg) {
  KYT_TRACE(kModule, kTopic, 11, "verb_send entered");
  SendCommand c(args);
  return c.run(msg);
}

}  // namespace kyt::api
