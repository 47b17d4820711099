// console on Windows: a console handle answers GetConsoleMode, a file or a pipe does not.
#include "platform/console.h"

#include <windows.h>

namespace kyt::platform {

bool stdout_is_terminal() {
  DWORD mode = 0;
  HANDLE h = GetStdHandle(STD_OUTPUT_HANDLE);
  return h != INVALID_HANDLE_VALUE && h != nullptr && GetConsoleMode(h, &mode) != 0;
}

}  // namespace kyt::platform
