// MODST: the station and routing data of a station file (or of every file of a directory)
// imported through rpdist, its operator messages printed to the batch output. On success a
// done command row of type "MS" records the import; on failure the last operator message
// becomes the command's message (severity E).
#include <string>

#include "api/cmdutil.h"
#include "api/kytcmd.h"
#include "api/verbs.h"
#include "kyt/kyt.h"
#include "services/services.h"

namespace kyt::api {
namespace {

std::string g_last;  // the last operator message of the import running

void operator_message(const char* text) {
  if (text == nullptr) return;
  g_last = text;
  batch_print(g_last + "\n");
}

}  // namespace

int32_t verb_modst(const cmd_args& args, cmd_msg* msg) {
  int32_t rc = 0;
  const char* dsn = keyword_or_positional(args, "DSN", 0, &rc);
  if (rc != 0) return refuse("MODST", rc, "DSN given twice");
  if (dsn == nullptr || *dsn == '\0') return refuse("MODST", kVerbMissing, "DSN missing");
  g_last.clear();
  rc = rpdist(dsn, operator_message);
  if (rc != 0) {
    if (!g_last.empty()) cmd_msg_set(msg, 'E', g_last);
    return refuse("MODST", rc, "import failed");
  }
  Transaction t;
  if ((rc = t.begin()) != 0) return rc;
  int32_t cn = 0;
  rc = new_command("MS", "dn", priority_parameter("OKPRIO", 10), true, &cn);
  return t.end(rc);
}

}  // namespace kyt::api
