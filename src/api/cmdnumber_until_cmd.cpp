// The command number a handler hands back, kept here until the command entry (kytcmd) lands
// with its own keeper; removed then.
#include "api/verbs.h"

namespace kyt::api {

namespace {
int32_t g_command_number = 0;
}

void set_command_number(int32_t cn) { g_command_number = cn; }
int32_t command_number() { return g_command_number; }

}  // namespace kyt::api
