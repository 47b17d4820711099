// calutil: small exported services for client programs (today the version of the library).
#include "runtime/runtime.h"
#include "kyt/kyt.h"

extern "C" int32_t kytGetVersion(int32_t* major, int32_t* minor, int32_t* build, int32_t* patch) {
  return kyt::api_guard("kytGetVersion", [&]() -> int32_t {
    if (major == nullptr || minor == nullptr || build == nullptr || patch == nullptr) return -5;
    *major = KYT_VERSION_MAJOR;
    *minor = KYT_VERSION_MINOR;
    *build = KYT_VERSION_BUILD;
    *patch = 0;
    return 1;
  });
}
