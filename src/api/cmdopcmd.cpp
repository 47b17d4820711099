// OPCMD: an operator command handed to the monitor: OPCMD CMD="text" (or OPCMD /text)
// records the text (at most 254 characters) as an OK row (CID "KYTCAL", CPID this process)
// behind a command row of type "OK", status "qn" (queued), priority OKPRIO, which the
// monitor carries out and ends.
#include <string>

#include "api/cmdutil.h"
#include "api/verbs.h"
#include "platform/platform.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kyt::api {

int32_t verb_opcmd(const cmd_args& args, cmd_msg*) {
  int32_t rc = 0;
  const char* text = keyword_or_positional(args, "CMD", 0, &rc);
  if (rc != 0) return refuse("OPCMD", rc, "CMD given twice");
  if (text == nullptr || *text == '\0') return refuse("OPCMD", kVerbMissing, "CMD missing");
  kyt_ok_elem ok{};
  if (!copy_text(ok.textok, sizeof ok.textok, text)) return refuse("OPCMD", kVerbBadValue, "CMD too long");
  copy_text(ok.cid, sizeof ok.cid, "KYTCAL");
  ok.cpid = static_cast<int32_t>(platform::process_id());
  Transaction t;
  if ((rc = t.begin()) != 0) return rc;
  rc = new_command("OK", "qn", priority_parameter("OKPRIO", 10), false, &ok.cn);
  if (rc == 0) rc = insOKelem(&ok);
  return t.end(rc);
}

}  // namespace kyt::api
