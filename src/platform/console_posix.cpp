// console on POSIX systems.
#include "platform/console.h"

#include <unistd.h>

namespace kyt::platform {

bool stdout_is_terminal() { return isatty(STDOUT_FILENO) == 1; }

}  // namespace kyt::platform
