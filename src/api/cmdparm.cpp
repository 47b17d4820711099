// SETPARM and LISTPARM: the station parameters through the parameter service.
//   SETPARM PARM=NAME=VALUE (or SETPARM NAME=VALUE, or SETPARM /NAME=VALUE): writes the
//     value as text through rpdprm "opset" (which wakes the monitor), then marks every
//     registered monitor process (RI, PTYPE "M") to read the parameters again (bit 4 of
//     FLGFLUSH) and records a done command row of type "SP". The service's code otherwise.
//   LISTPARM [PARM=NAME | /NAME]: prints "KYT Parameter NAME = VALUE" to the batch output
//     for one parameter, or for KYTMODE, TESTMODE, KYTENV and every row without a name; for
//     one parameter the command's message is "NAME = VALUE" (severity I).
#include <string>

#include "api/cmdutil.h"
#include "api/kytcmd.h"
#include "api/verbs.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kyt::api {
namespace {

std::string g_last;  // "NAME = VALUE" of the last parameter listed

int32_t print_parameter(const char* name, const char* value) {
  g_last = std::string(name) + " = " + value;
  batch_print("KYT Parameter " + g_last + "\n");
  return 0;
}

}  // namespace

int32_t verb_setparm(const cmd_args& args, cmd_msg*) {
  int32_t rc = 0;
  const char* given = keyword_or_positional(args, "PARM", 0, &rc);
  if (rc != 0) return refuse("SETPARM", rc, "PARM given twice");
  if (given == nullptr || *given == '\0') return refuse("SETPARM", kVerbMissing, "PARM missing");
  std::string text(given);
  if (text.find('=') == std::string::npos) return refuse("SETPARM", PRM_BAD_VALUE, "no value");
  rc = rpdprm_run("opset", nullptr, text.data());
  if (rc != 0) return refuse("SETPARM", rc, "parameter not written");
  Transaction t;
  if ((rc = t.begin()) != 0) return rc;
  kyt_ri_elem first{};
  int32_t lrc = tm::list(Tab::kRI, "SETPARM", "RIMON", "PTYPE = 'M'", nullptr, {}, &first);
  if (lrc != 0 && lrc != RPDSQL_NOT_FOUND) rc = lrc;
  for (kyt_ri_elem* e = lrc == 0 ? &first : nullptr; e != nullptr && rc == 0; e = e->next) {
    e->flgflush |= 4;
    rc = tm::update(Tab::kRI, "SETPARM", e, {"FLGFLUSH"});
  }
  tm::free_list(Tab::kRI, &first);
  int32_t cn = 0;
  if (rc == 0) rc = new_command("SP", "dn", priority_parameter("OKPRIO", 10), true, &cn);
  return t.end(rc);
}

int32_t verb_listparm(const cmd_args& args, cmd_msg* msg) {
  int32_t rc = 0;
  const char* given = keyword_or_positional(args, "PARM", 0, &rc);
  if (rc != 0) return refuse("LISTPARM", rc, "PARM given twice");
  const bool all = given == nullptr || *given == '\0';
  g_last.clear();
  rc = rpdprm_run("list", all ? "ALL" : given,
                  reinterpret_cast<void*>(static_cast<ParmPrinter>(print_parameter)));
  if (rc == 0 && !all && !g_last.empty()) cmd_msg_set(msg, 'I', g_last);
  return rc;
}

}  // namespace kyt::api
