#include "services/caller.h"

#include <algorithm>

#include <cctype>
#include <cstring>

#include "platform/platform.h"

namespace kyt {
namespace {

std::string g_user;  // empty: not set by the program

std::string upper(const char* text, size_t length) {
  std::string out(text, length);
  for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

}  // namespace

std::string calling_user() {
  if (!g_user.empty()) return g_user;
  std::string env;
  if (platform::get_env("KYT_USER", &env) && !env.empty()) {
    return upper(env.c_str(), std::min(env.size(), kMaxUidLength));
  }
  return "SYSTEM";
}

int32_t set_calling_user(const char* uid) {
  if (uid == nullptr || *uid == '\0') {
    g_user.clear();
    return 0;
  }
  size_t length = std::strlen(uid);
  if (length > kMaxUidLength) return -5;
  g_user = upper(uid, length);
  return 0;
}

}  // namespace kyt
