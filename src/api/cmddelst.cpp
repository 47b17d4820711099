// Placeholder until this verb's handler lands: the verb is refused.
#include "api/verbs.h"

namespace kyt::api {

int32_t verb_delst(const cmd_args&, cmd_msg* msg) {
  cmd_msg_set(msg, 'E', "not available in this build");
  return 99;
}

}  // namespace kyt::api
