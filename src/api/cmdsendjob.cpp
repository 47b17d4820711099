// SENDJOB: a job the station starts when a file arrives (JS), with its command row.
//   SENDJOB [/CREATE] VDSN=name SIDSENDER=sid JOB=command [SID=sid] [UID=uid] [ATTEMPTS=n]
//     [COMMENT=text]
// VDSN (at most 26, upper-cased), SIDSENDER (the sending station, "*" for any, else a
// station of ST) and JOB (at most 254) are required; SID is the receiving station (default
// "*"), UID the sending user (default "*"), ATTEMPTS the number of starts tried (0 to 99,
// default 0), COMMENT at most 50 characters. The creator is the calling user. Rows: JS and
// a KT row of type "JS", status "pn" (active), priority 1.
#include <cstring>
#include <string>

#include "api/cmdutil.h"
#include "api/verbs.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kyt::api {
namespace {

// A station id or "*": kVerbBadValue, kVerbNoStation or a database failure.
int32_t station_or_any(const char* given, char* out, size_t size) {
  if (*given == '\0' || !copy_text(out, size, given, true)) return kVerbBadValue;
  if (std::strcmp(out, "*") == 0) return 0;
  int32_t rc = 0;
  if (!station_exists(out, &rc)) return rc != 0 ? rc : kVerbNoStation;
  return 0;
}

}  // namespace

int32_t verb_sendjob(const cmd_args& args, cmd_msg*) {
  if (const char* action = args.positional(0); action != nullptr && upper(action) != "CREATE") {
    return refuse("SENDJOB", kVerbUnknownAction, "unknown action");
  }
  const char* vdsn = args.value("VDSN");
  const char* sidsender = args.value("SIDSENDER");
  const char* job = args.value("JOB");
  if (vdsn == nullptr || sidsender == nullptr || job == nullptr) {
    return refuse("SENDJOB", kVerbMissing, "VDSN, SIDSENDER or JOB missing");
  }
  kyt_js_elem js{};
  if (*vdsn == '\0' || !copy_text(js.vdsn, sizeof js.vdsn, vdsn, true)) return refuse("SENDJOB", kVerbBadValue, "VDSN");
  if (*job == '\0' || !copy_text(js.batchjob, sizeof js.batchjob, job)) return refuse("SENDJOB", kVerbBadValue, "JOB");
  int32_t rc = station_or_any(sidsender, js.sidsender, sizeof js.sidsender);
  if (rc != 0) return refuse("SENDJOB", rc, "SIDSENDER");
  rc = station_or_any(args.given("SID") ? args.value("SID") : "*", js.sidrcv, sizeof js.sidrcv);
  if (rc != 0) return refuse("SENDJOB", rc, "SID");
  const char* uid = args.given("UID") ? args.value("UID") : "*";
  if (*uid == '\0' || !copy_text(js.uidsender, sizeof js.uidsender, uid, true)) return refuse("SENDJOB", kVerbBadValue, "UID");
  if (const char* n = args.value("ATTEMPTS"); n != nullptr && !read_number(n, 0, 99, &js.cntsendatt)) {
    return refuse("SENDJOB", kVerbBadValue, "ATTEMPTS");
  }
  if (const char* c = args.value("COMMENT"); c != nullptr && !copy_text(js.commentjs, sizeof js.commentjs, c)) {
    return refuse("SENDJOB", kVerbBadValue, "COMMENT");
  }
  copy_text(js.uidcreator, sizeof js.uidcreator, calling_user());
  Transaction t;
  if ((rc = t.begin()) != 0) return rc;
  rc = new_command("JS", "pn", 1, false, &js.cn);
  if (rc == 0) {
    dt_now(js.dtlastused, sizeof js.dtlastused);
    rc = insJSelem(&js);
  }
  return t.end(rc);
}

}  // namespace kyt::api
