// guard: the trace line of an exported function that ended with an exception.
#include "runtime/guard.h"

#include "runtime/trace.h"

namespace kyt {

void api_failure(const char* function, const char* cause) noexcept {
  try {
    KYT_TRACE("KYTAPI", "a", 1, "%s: internal error, %s; answered %d", function, cause,
              static_cast<int>(kApiInternalError));
  } catch (...) {
    // The trace itself could not be written (memory again): the status still goes back.
  }
}

}  // namespace kyt
