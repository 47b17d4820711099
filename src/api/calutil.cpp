// calutil: small exported services for client programs: the version of the library and the
// calling user.
#include <cstring>
#include <string>

#include "runtime/runtime.h"
#include "services/services.h"
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

extern "C" int32_t kytSetUser(const char* uid) {
  return kyt::api_guard("kytSetUser", [&]() -> int32_t { return kyt::set_calling_user(uid); });
}

extern "C" int32_t kytGetUser(char* buffer) {
  return kyt::api_guard("kytGetUser", [&]() -> int32_t {
    if (buffer == nullptr) return -5;
    std::string uid = kyt::calling_user();
    std::memcpy(buffer, uid.c_str(), uid.size() + 1);
    return 0;
  });
}
