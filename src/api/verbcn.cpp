// The command number a verb's handler hands back to the command entry. The command entry's
// own module keeps this when it lands; until then the handlers of this branch keep it here.
#include "api/verbs.h"

namespace kyt::api {
namespace {
int32_t g_command_number = 0;
}  // namespace

void set_command_number(int32_t cn) { g_command_number = cn; }
int32_t command_number() { return g_command_number; }

}  // namespace kyt::api
