// rpwutl: sending one record on the log-writer connection.
#include "monitor/rpwcl.h"
#include "runtime/runtime.h"

namespace kyt {

namespace {
constexpr const char* kModule = "kytLib";
constexpr const char* kTopic = "w";
constexpr const char* kFn = "SendLGWBuffer";
}  // namespace

int32_t SendLGWBuffer(platform::Socket s, const char* buffer, int32_t length) {
  using platform::NetErr;
  // Anything to read means the log writer closed its side (or speaks, which it never does):
  // a record sent now would be lost.
  const int readable = platform::wait_readable(s, 0);
  if (readable != 0) {
    const int err = readable < 0 ? platform::net_error() : 0;
    KYT_TRACE(kModule, kTopic, 3, "%s, select : socket %d rc %d errno %d", kFn, static_cast<int>(s),
              readable, err);
    return kLgwPeerReadable;
  }
  KYT_TRACE(kModule, kTopic, 6, "%s, try KYT_send: to socket %d", kFn, static_cast<int>(s));
  int32_t rc = kLgwSendTimeout;
  int32_t done = 0;
  for (int attempt = 0; attempt < kLgwSendAttempts; ++attempt) {
    // A partial send goes on with the rest: giving up inside a record would leave the
    // receiver reading the next record's header from the middle of this one.
    while (done < length) {
      const int64_t n = platform::sock_send(s, buffer + done, static_cast<size_t>(length - done));
      if (n <= 0) break;
      done += static_cast<int32_t>(n);
    }
    if (done == length) {
      rc = 0;
      break;
    }
    const int err = platform::net_error();
    if (platform::net_error_kind(err) != NetErr::kWouldBlock) {
      KYT_TRACE(kModule, kTopic, 1, "%s, KYT_send: errno %d", kFn, err);
      rc = kLgwSendFailed + err;
      break;
    }
    const int w = platform::wait_writable(s, 1000);
    if (w < 0) {
      const int werr = platform::net_error();
      if (platform::net_error_kind(werr) == NetErr::kInterrupted) continue;
      rc = kLgwWaitFailed + werr;
      break;
    }
  }
  KYT_TRACE(kModule, kTopic, 6, "%s, leave rc %d", kFn, rc);
  return rc;
}

}  // namespace kyt
