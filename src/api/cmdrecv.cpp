// RECV and EERP: the station's answers to a received file, addressed by the command number
// of its incoming entry.
//   RECV CMDID=n (or RECV /n): delivers the received file again: the command n of type "IE"
//     (received file) or "IZ" (its delivery to a user) is queued anew: STATUS "qn",
//     DTSCHEDULE now, ERRORCODE 0.
//   EERP CMDID=n (or EERP /n): queues an end-to-end response for the received file of the
//     "IE" command n: a new command of type "EE", status "qn", priority IEPRIO, and its EC
//     row (CN the new command, CNCMD n, STATUSCN "Q").
#include <cstring>

#include "api/cmdutil.h"
#include "api/verbs.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kyt::api {
namespace {

// The command named by CMDID or the positional parameter, its KT row in *kt.
int32_t named_command(const char* verb, const cmd_args& args, kyt_kt_elem* kt) {
  int32_t rc = 0;
  const char* text = keyword_or_positional(args, "CMDID", 0, &rc);
  if (rc != 0) return refuse(verb, rc, "CMDID given twice");
  if (text == nullptr) return refuse(verb, kVerbMissing, "CMDID missing");
  int32_t cn = 0;
  if (!read_cn(text, &cn)) return refuse(verb, kVerbBadValue, "CMDID not a command number");
  rc = getKTelemByCn(cn, kt);
  if (rc == RPDSQL_NOT_FOUND) return refuse(verb, kVerbNotFound, "no such command");
  if (rc != 0) return rc;
  if (std::strcmp(kt->status, "de") == 0 || kt->deletedby[0] != '\0') {
    return refuse(verb, kVerbWrongState, "command deleted");
  }
  return 0;
}

}  // namespace

int32_t verb_recv(const cmd_args& args, cmd_msg*) {
  kyt_kt_elem kt{};
  int32_t rc = named_command("RECV", args, &kt);
  if (rc != 0) return rc;
  if (std::strcmp(kt.cmdtype, "IE") != 0 && std::strcmp(kt.cmdtype, "IZ") != 0) {
    return refuse("RECV", kVerbWrongState, "not a received file");
  }
  Transaction t;
  rc = t.begin();
  if (rc != 0) return rc;
  std::strcpy(kt.status, "qn");
  dt_now(kt.dtschedule, sizeof kt.dtschedule);
  dt_copy(kt.dtlastused, sizeof kt.dtlastused, kt.dtschedule);
  kt.errorcode = 0;
  rc = updKTStatusSch(&kt);
  if (rc == 0) rc = updKTErrorcode(&kt);
  rc = t.end(rc);
  if (rc == 0) set_command_number(kt.cn);
  return rc;
}

int32_t verb_eerp(const cmd_args& args, cmd_msg*) {
  kyt_kt_elem kt{};
  int32_t rc = named_command("EERP", args, &kt);
  if (rc != 0) return rc;
  if (std::strcmp(kt.cmdtype, "IE") != 0) return refuse("EERP", kVerbWrongState, "not a received file");
  // One response waiting for an entry is enough.
  kyt_ec_elem first{};
  rc = tm::list(Tab::kEC, "EERP", "ECCNCMD", "CNCMD = ?", nullptr, {tm::arg(kt.cn)}, &first);
  if (rc != 0 && rc != RPDSQL_NOT_FOUND) return rc;
  bool waiting = false;
  for (const kyt_ec_elem* e = rc == 0 ? &first : nullptr; e != nullptr && !waiting; e = e->next) {
    char status[3] = {};
    if (getKTStatusByCn(e->cn, status) == 0 && std::strcmp(status, "qn") == 0) waiting = true;
  }
  tm::free_list(Tab::kEC, &first);
  if (waiting) return refuse("EERP", kVerbExists, "a response is queued already");
  Transaction t;
  rc = t.begin();
  if (rc != 0) return rc;
  int32_t cn = 0;
  rc = new_command("EE", "qn", priority_parameter("IEPRIO", 50), false, &cn);
  if (rc == 0) {
    kyt_ec_elem ec{};
    ec.cn = cn;
    ec.cncmd = kt.cn;
    std::strcpy(ec.statuscn, "Q");
    rc = insECelem(&ec);
  }
  rc = t.end(rc);
  if (rc != 0) set_command_number(0);
  return rc;
}

}  // namespace kyt::api
