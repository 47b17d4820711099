// kytcal: the exported batch command entry (see include/kyt/kyt.h).
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "api/kytcmd.h"
#include "api/verbs.h"
#include "kyt/kyt.h"

namespace kyt::api {
namespace {

constexpr const char* kModule = "kytcal";
constexpr const char* kTopic = "c";

// The message record of the calls of this process, allocated on the first call.
std::unique_ptr<cmd_msg>& record() {
  static std::unique_ptr<cmd_msg> r;
  return r;
}

int32_t kytcal_run(int32_t cmdlen, const char* cmd, char* severity, char* msg, int32_t* msglen,
                   int32_t* cn) {
  if (cn != nullptr) *cn = 0;
  if (cmdlen < 0 || (cmd == nullptr && cmdlen > 0)) return -5;
  std::unique_ptr<cmd_msg>& rec = record();
  if (!rec) {
    rec.reset(new (std::nothrow) cmd_msg);
    if (!rec) {
      KYT_TRACE(kModule, kTopic, 1, "kytcal : MALLOC1 ( %d ) failed ",
                static_cast<int>(sizeof(cmd_msg)));
      return 99;
    }
  }
  // The line is a copy ending at the given length (or at an earlier NUL): the caller's
  // buffer is never written, not even its terminator.
  const size_t n = cmd == nullptr ? 0 : strnlen(cmd, static_cast<size_t>(cmdlen));
  const std::string line(cmd == nullptr ? "" : cmd, n);
  if (severity != nullptr) *severity = '?';
  if (msg != nullptr && msglen != nullptr && *msglen > 0) msg[0] = '\0';
  *rec = cmd_msg{};
  const int32_t rc = kytcmd(line, rec.get());
  KYT_TRACE(kModule, kTopic, rc == 0 ? 7 : 1, "kytcal kytcmd %s returns %d",
            cmd_line_masked(line).c_str(), rc);
  if (severity != nullptr && rec->severity != ' ') *severity = rec->severity;
  if (msglen != nullptr) {
    if (msg != nullptr && *msglen > 0) {
      // At most the caller's length, terminator included; never more than the text and its
      // terminator.
      const size_t room = static_cast<size_t>(*msglen);
      const size_t take = std::min(room - 1, static_cast<size_t>(rec->length));
      std::memcpy(msg, rec->text, take);
      msg[take] = '\0';
    }
    *msglen = rec->length;
  }
  if (cn != nullptr) *cn = command_number();
  return rc;
}

}  // namespace
}  // namespace kyt::api

extern "C" int32_t kytcal(int32_t cmdlen, const char* cmd, char* severity, char* msg,
                          int32_t* msglen, int32_t* cn) {
  return kyt::api_guard("kytcal", [&]() -> int32_t {
    return kyt::api::kytcal_run(cmdlen, cmd, severity, msg, msglen, cn);
  });
}
