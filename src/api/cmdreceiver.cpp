// RECEIVER: the destinations (ET rows) of a send entry that has not ended yet.
//   RECEIVER /ADD CMDID=n SID=s [UID=u]: one more destination for the send command n: a copy
//     of its first destination row with SIDDEST s (a station of ST), UID u (else the copied
//     row's), STATUSET "qn" and no deletion mark.
//   RECEIVER /DELETE CMDID=n SID=s [UID=u]: marks the destinations of n to s (and u) deleted:
//     DELETEDBY "U", XIDDELETED the calling user, STATUSET "de". The last live destination
//     is not taken away: the whole entry is deleted with SEND /DELETE.
// The command number handed back is n.
#include <cstring>
#include <string>
#include <vector>

#include "api/cmdutil.h"
#include "api/verbs.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kyt::api {
namespace {

bool live(const kyt_et_elem& e) {
  return e.deletedby[0] == '\0' && std::strcmp(e.statuset, "de") != 0;
}

}  // namespace

int32_t verb_receiver(const cmd_args& args, cmd_msg*) {
  const char* given = args.positional(0);
  if (given == nullptr) return refuse("RECEIVER", kVerbMissing, "no action");
  const std::string action = upper(given);
  if (action != "ADD" && action != "DELETE") return refuse("RECEIVER", kVerbUnknownAction, "unknown action");
  const char* cmdid = args.value("CMDID");
  const char* sid = args.value("SID");
  if (cmdid == nullptr || sid == nullptr) return refuse("RECEIVER", kVerbMissing, "CMDID or SID missing");
  int32_t cn = 0;
  if (!read_cn(cmdid, &cn)) return refuse("RECEIVER", kVerbBadValue, "CMDID not a command number");
  char siddest[17] = {};
  char uid[21] = {};
  if (*sid == '\0' || !copy_text(siddest, sizeof siddest, sid, true)) {
    return refuse("RECEIVER", kVerbBadValue, "SID not a station id");
  }
  const char* u = args.value("UID");
  if (u != nullptr && (*u == '\0' || !copy_text(uid, sizeof uid, u, true))) {
    return refuse("RECEIVER", kVerbBadValue, "UID too long");
  }
  kyt_kt_elem kt{};
  int32_t rc = getKTelemByCn(cn, &kt);
  if (rc == RPDSQL_NOT_FOUND) return refuse("RECEIVER", kVerbNotFound, "no such command");
  if (rc != 0) return rc;
  const std::string status(kt.status);
  if (std::strcmp(kt.cmdtype, "SE") != 0 || kt.deletedby[0] != '\0' || status == "de" ||
      status == "dn" || status == "en" || status == "er") {
    return refuse("RECEIVER", kVerbWrongState, "not a send entry in progress");
  }
  kyt_et_elem first{};
  rc = getETelemListByCnse(cn, &first);
  if (rc == RPDSQL_NOT_FOUND) return refuse("RECEIVER", kVerbWrongState, "send entry without destinations");
  if (rc != 0) {
    freeETelemList(&first);
    return rc;
  }
  std::vector<kyt_et_elem> rows;
  for (const kyt_et_elem* e = &first; e != nullptr; e = e->next) {
    rows.push_back(*e);
    rows.back().next = nullptr;
  }
  freeETelemList(&first);

  auto matches = [&](const kyt_et_elem& e) {
    return std::strcmp(e.siddest, siddest) == 0 && (uid[0] == '\0' || std::strcmp(e.uid, uid) == 0);
  };
  Transaction t;
  if (action == "ADD") {
    if (!station_exists(siddest, &rc)) return rc != 0 ? rc : refuse("RECEIVER", kVerbNoStation, "unknown station");
    kyt_et_elem row = rows.front();
    std::strcpy(row.siddest, siddest);
    if (uid[0] != '\0') std::strcpy(row.uid, uid);
    for (const kyt_et_elem& e : rows) {
      if (std::strcmp(e.siddest, row.siddest) == 0 && std::strcmp(e.uid, row.uid) == 0 &&
          std::strcmp(e.cid, row.cid) == 0 && e.cnie == row.cnie) {
        return refuse("RECEIVER", kVerbExists, "destination exists already");
      }
    }
    std::strcpy(row.statuset, "qn");
    row.deletedby[0] = '\0';
    row.xiddeleted[0] = '\0';
    row.cnsk = 0;
    row.cniz = 0;
    row.sidneighb[0] = '\0';
    if ((rc = t.begin()) != 0) return rc;
    rc = insETelem(&row);
  } else {
    size_t hit = 0, alive = 0;
    for (const kyt_et_elem& e : rows) {
      if (!live(e)) continue;
      ++alive;
      if (matches(e)) ++hit;
    }
    if (hit == 0) return refuse("RECEIVER", kVerbNotFound, "no such destination");
    if (hit == alive) return refuse("RECEIVER", kVerbWrongState, "the last destination");
    const std::string user = calling_user();
    if ((rc = t.begin()) != 0) return rc;
    for (kyt_et_elem& e : rows) {
      if (rc != 0 || !live(e) || !matches(e)) continue;
      std::strcpy(e.deletedby, "U");
      copy_text(e.xiddeleted, sizeof e.xiddeleted, user);
      std::strcpy(e.statuset, "de");
      rc = tm::update(Tab::kET, "RECEIVER /DELETE", &e, {"STATUSET", "DELETEDBY", "XIDDELETED"});
    }
  }
  rc = t.end(rc);
  if (rc == 0) set_command_number(cn);
  return rc;
}

}  // namespace kyt::api
