// ACTIVATE: a suspended station is taken back into service: every network link of the
// station (NK) loses its suspension (FLAGSUSPND 0) and its count of failed connections (AV
// CNTERRCONN) starts again from 0. A done command row of type "AC" records it. The monitor,
// woken after every command, calls the station again from then on.
#include <string>

#include "api/cmdutil.h"
#include "api/verbs.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kyt::api {

int32_t verb_activate(const cmd_args& args, cmd_msg*) {
  int32_t rc = 0;
  const char* given = keyword_or_positional(args, "SID", 0, &rc);
  if (rc != 0) return refuse("ACTIVATE", rc, "SID given twice");
  if (given == nullptr || *given == '\0') return refuse("ACTIVATE", kVerbMissing, "SID missing");
  char sid[17] = {};
  if (!copy_text(sid, sizeof sid, given, true)) return refuse("ACTIVATE", kVerbBadValue, "SID too long");
  if (!station_exists(sid, &rc)) return rc != 0 ? rc : refuse("ACTIVATE", kVerbNoStation, "unknown station");
  int32_t links = 0;
  rc = tm::count(Tab::kNK, "ACTIVATE", "NKSIDCNT", "SID = ?", {tm::arg(sid)}, &links);
  if (rc != 0 && rc != RPDSQL_NOT_FOUND) return rc;
  if (links == 0) return refuse("ACTIVATE", kVerbNotFound, "station without network link");
  Transaction t;
  if ((rc = t.begin()) != 0) return rc;
  const HostVar in[] = {{kTypeChar, sid}};
  rc = rpdsql_run("UPDATE NK SET FLAGSUSPND = 0 WHERE SID = ?", in);
  if (rc == 0) {
    rc = rpdsql_run("UPDATE AV SET CNTERRCONN = 0 WHERE SID = ?", in);
    if (rc == RPDSQL_NOT_FOUND) rc = 0;
  }
  int32_t cn = 0;
  if (rc == 0) rc = new_command("AC", "dn", priority_parameter("OKPRIO", 10), true, &cn);
  return t.end(rc);
}

}  // namespace kyt::api
