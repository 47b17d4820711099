// START and END: the station's run is allowed again, or a forced end of it is requested,
// through the FORCEDEND parameter that every process of the station reads from the database
// (never from a cache), so the request is seen at once. Each leaves a done command row.
#include "api/cmdutil.h"
#include "api/verbs.h"
#include "services/services.h"

namespace kyt::api {
namespace {

int32_t set_forcedend(int16_t value) {
  int16_t v = value;
  return rpdprm_run("set", "FORCEDEND", &v);
}

int32_t record(const char* type) {
  Transaction t;
  int32_t rc = t.begin();
  if (rc != 0) return rc;
  int32_t cn = 0;
  rc = new_command(type, "dn", priority_parameter("OKPRIO", 10), true, &cn);
  return t.end(rc);
}

}  // namespace

// START [/FILE | KYTENV=FILE]
int32_t verb_start(const cmd_args& args, cmd_msg*) {
  int32_t rc = 0;
  const char* env = keyword_or_positional(args, "KYTENV", 0, &rc);
  if (rc != 0) return refuse("START", rc, "KYTENV given twice");
  if (env != nullptr) {
    if (*env == '\0') return refuse("START", kVerbBadValue, "empty KYTENV");
    // KYTENV is written only after it was read once; the new file must read as an
    // environment file (99 when it does not).
    char current[256] = {};
    rpdprm_run("get", "KYTENV", current);
    std::string path(env);
    rc = rpdprm_run("set", "KYTENV", path.data());
    if (rc != 0) return refuse("START", rc, "environment file not accepted");
  }
  rc = set_forcedend(0);
  if (rc != 0) return refuse("START", rc, "FORCEDEND cannot be written");
  return record("SA");
}

// END
int32_t verb_end(const cmd_args&, cmd_msg*) {
  const int32_t rc = set_forcedend(1);
  if (rc != 0) return refuse("END", rc, "FORCEDEND cannot be written");
  return record("EN");
}

}  // namespace kyt::api
