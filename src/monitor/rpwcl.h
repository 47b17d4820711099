// rpwcl: the log-writer channel, a TCP connection to the station's log writer over which
// every log message travels as one record (the exported rpwopq, rpwwrq, rpwclq of kyt.h).
//
// Record (no padding; docs/file-formats.md):
//   0  1  "~" (0x7E)
//   1  1  record length (9 + text bytes), low 8 bits
//   2  4  time in seconds since 1970, big-endian
//   6  1  process tag given to rpwopq
//   7  1  type: the caller's type byte when it gives a length or a type, else "L"
//   8  1  format version, 1
//   9  n  text: the given length or the text without its NUL, cut at 2000 bytes
// Every record is therefore at most 2009 bytes, and a receiver finds its end among the
// lengths that agree with the length byte.
//
// Types the station sends: "L" a station log line ("S KEY TEXT" of kytlog), "D" a changing
// statement of the database log (dblog), rendered with its values.
//
// Settings (environment file): SERVER (dotted address or host name; missing: this machine's
// name, else "localhost"), PORT (2956 when missing; a value that reads as 0 is refused with
// 3700000), LOGINDB (read once a process, any base; 2: no connection, every write answers 0).
//
// While the channel is connected it is the station log's channel (kytlog_set_channel) and
// the database log's sink (dblog_set_sink); closing it, or losing it for good on a failed
// reopen, removes both. Traces use the module name "kytLib".
#ifndef KYT_MONITOR_RPWCL_H
#define KYT_MONITOR_RPWCL_H

#include <cstdint>

#include "platform/net.h"

namespace kyt {

constexpr int32_t kLgwNoMessage = 99;
constexpr int32_t kLgwStartup = 3200000;
constexpr int32_t kLgwSocket = 3300000;
constexpr int32_t kLgwLoopbackName = 3500000;
constexpr int32_t kLgwHostName = 3600000;
constexpr int32_t kLgwPortZero = 3700000;
constexpr int32_t kLgwConnect = 3900000;
constexpr int32_t kLgwNonBlocking = 4500000;
constexpr int32_t kLgwNoBuffer = 4900000;
constexpr int32_t kLgwSendTimeout = 7400000;
constexpr int32_t kLgwPeerReadable = 13100000;
constexpr int32_t kLgwWaitFailed = 13200000;
constexpr int32_t kLgwSendFailed = 13300000;

constexpr int32_t kLgwMaxText = 2000;
constexpr int32_t kLgwHeader = 9;
constexpr uint16_t kLgwDefaultPort = 2956;

// The stop-request check rpwopq asks before connecting (0: go on; any other answer is
// returned by rpwopq). By default it is CheckStopRequest over the monitor's, the log
// writer's and the transmitter's events this process opened, polled once; tests replace it
// (nullptr goes back to the default).
using LgwStopCheck = int32_t (*)();
void rpwcl_set_stop_check(LgwStopCheck check);

// Sends `length` bytes of `buffer` on the non-blocking socket `s` (module rpwutl). 0; 13100000
// when the peer is readable before sending (it closed or talks); 13300000 + error when a
// send fails; 13200000 + error when waiting for writability fails; 7400000 when the socket
// stays unwritable for kLgwSendAttempts waits of one second.
constexpr int kLgwSendAttempts = 10;
int32_t SendLGWBuffer(platform::Socket s, const char* buffer, int32_t length);

// Whether the channel is connected now.
bool rpwcl_connected();

// Closes the channel, forgets the log mode read and the stop check. Tests only.
void rpwcl_reset_for_tests();

}  // namespace kyt

#endif  // KYT_MONITOR_RPWCL_H
