// rpwcl: the log-writer channel: opening, writing records, closing.
#include "monitor/rpwcl.h"
#include "monitor/rpwsrf.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "kyt/kyt.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "sql/sql.h"

namespace kyt {

static_assert(KYT_LGW_NO_MESSAGE == kLgwNoMessage && KYT_LGW_STARTUP == kLgwStartup &&
              KYT_LGW_SOCKET == kLgwSocket && KYT_LGW_LOOPBACK_NAME == kLgwLoopbackName &&
              KYT_LGW_HOST_NAME == kLgwHostName && KYT_LGW_PORT_ZERO == kLgwPortZero &&
              KYT_LGW_CONNECT == kLgwConnect && KYT_LGW_NONBLOCKING == kLgwNonBlocking &&
              KYT_LGW_NO_BUFFER == kLgwNoBuffer && KYT_LGW_SEND_TIMEOUT == kLgwSendTimeout &&
              KYT_LGW_PEER_READABLE == kLgwPeerReadable && KYT_LGW_WAIT_FAILED == kLgwWaitFailed &&
              KYT_LGW_SEND_FAILED == kLgwSendFailed);

namespace {

constexpr const char* kModule = "kytLib";
constexpr const char* kTopic = "w";
constexpr unsigned long kLogOnlyInDb = 2;

struct State {
  platform::Socket sock = platform::kNoSocket;
  uint32_t addr = 0;
  uint16_t port = 0;
  // The arguments of the last open, for reopening.
  int16_t retries = 0;
  std::string envfile;
  bool has_envfile = false;
  int16_t keep = 0;
  char tag = 0;
  bool mode_read = false;
  unsigned long log_mode = 0;
  std::vector<char> buffer;  // the largest record so far plus one byte; never shrunk
  LgwStopCheck stop_check = nullptr;
};

State& st() {
  static State s;
  return s;
}

int32_t write_record(const char* msg, int32_t length, char type);

// The station log's lines and the database log's statements, while connected.
void log_channel(const LogRecord& record, void*) {
  write_record(record.line.data(), static_cast<int32_t>(record.line.size()), 'L');
}

void SendDBLogToLogWriter(std::string_view text, void*) {
  write_record(text.data(), static_cast<int32_t>(text.size()), 'D');
}

void close_channel() {
  State& s = st();
  if (s.sock == platform::kNoSocket) return;
  KYT_TRACE(kModule, kTopic, 9, "close socket %d", static_cast<int>(s.sock));
  platform::close_socket(s.sock);
  s.sock = platform::kNoSocket;
  kytlog_set_channel(nullptr, nullptr);
  dblog_set_sink(nullptr, nullptr);
}

// The environment file given to the open becomes the process's one, unless it is already.
int32_t take_envfile(const std::string& file) {
  std::string current;
  if (lpdsn_get("DSN_KYTENV", &current) == 0 &&
      (current == file || platform::same_file(current.c_str(), file.c_str())))
    return 0;
  const int rc = lpdsn_init_file(file);
  if (rc != 0) KYT_TRACE(kModule, kTopic, 1, "rpwopq : environment file %s not read, rc %d",
                         file.c_str(), rc);
  return rc;
}

// SERVER and PORT into the peer address.
int32_t set_address() {
  State& s = st();
  std::string port_text;
  unsigned long port = kLgwDefaultPort;
  if (lpdsn_get("PORT", &port_text) == 0 && !port_text.empty()) {
    char* end = nullptr;
    port = std::strtoul(port_text.c_str(), &end, 10);
    if (port > 65535) port = 0;
  }
  if (port == 0) {
    KYT_TRACE(kModule, kTopic, 1, "rpwopq : PORT %s gives port 0", port_text.c_str());
    return kLgwPortZero;
  }
  s.port = static_cast<uint16_t>(port);

  std::string host;
  bool loopback = false;
  if (lpdsn_get("SERVER", &host) != 0 || host.empty()) {
    host = platform::local_host_name();
    if (host.empty()) {
      host = "localhost";
      loopback = true;
    }
  }
  int err = 0;
  if (!platform::resolve_ipv4(host.c_str(), &s.addr, &err)) {
    if (err == 0) {
      KYT_TRACE(kModule, kTopic, 1, "1 rpwcl SetHostName gethostbyname ( %s ) failed", host.c_str());
    } else {
      KYT_TRACE(kModule, kTopic, 1, "2 rpwcl SetHostName gethostbyname ( %s ) failed errno %d",
                host.c_str(), err);
    }
    return (loopback ? kLgwLoopbackName : kLgwHostName) + err;
  }
  return 0;
}

int32_t open_channel() {
  State& s = st();
  if (s.has_envfile) {
    const int32_t rc = take_envfile(s.envfile);
    if (rc != 0) return rc;
  }
  if (!s.mode_read) {
    s.mode_read = true;
    std::string mode;
    if (lpdsn_get("LOGINDB", &mode) == 0) s.log_mode = std::strtoul(mode.c_str(), nullptr, 0);
  }
  if (s.log_mode == kLogOnlyInDb) {
    KYT_TRACE(kModule, kTopic, 9, "rpwopq : log only in db !");
    return 0;
  }
  // A process told to stop (or end) does not open a new connection: every open event of
  // this process is polled once, without waiting.
  const int32_t stop = s.stop_check != nullptr
                           ? s.stop_check()
                           : check_stop_request(KYT_STOP_MON | KYT_STOP_LGW | KYT_STOP_XMT, 0);
  if (stop != 0) return stop;
  close_channel();  // a second open replaces the connection

  if (!platform::net_start()) {
    KYT_TRACE(kModule, kTopic, 1, "rpwopq : socket layer start-up failed, errno %d",
              platform::net_error());
    return kLgwStartup;
  }
  platform::Socket sock = platform::tcp_socket();
  if (sock == platform::kNoSocket) {
    const int err = platform::net_error();
    KYT_TRACE(kModule, kTopic, 1, "rpwopq : socket failed, errno %d", err);
    return kLgwSocket + err;
  }
  if (const int32_t rc = set_address(); rc != 0) {
    platform::close_socket(sock);
    return rc;
  }

  int retries = s.retries > 0 ? s.retries : 0;
  for (;;) {
    const int err = platform::connect_ipv4(sock, s.addr, s.port);
    if (err == 0) break;
    const platform::NetErr kind = platform::net_error_kind(err);
    if (kind == platform::NetErr::kInterrupted) continue;
    if (kind == platform::NetErr::kWouldBlock || kind == platform::NetErr::kInProgress) break;
    KYT_TRACE(kModule, kTopic, 6, "%s: connect failed, rc=%d", "rpwopq", err);
    if (kind == platform::NetErr::kRefused && retries > 0) {
      platform::close_socket(sock);
      sock = platform::tcp_socket();
      if (sock == platform::kNoSocket) {
        const int serr = platform::net_error();
        KYT_TRACE(kModule, kTopic, 1, "rpwopq : socket failed, errno %d", serr);
        return kLgwSocket + serr;
      }
      KYT_TRACE(kModule, kTopic, 6, "%s: connect retry after 1 second...", "rpwopq");
      std::this_thread::sleep_for(std::chrono::seconds(1));
      --retries;
      continue;
    }
    platform::close_socket(sock);
    return kLgwConnect + err;
  }
  if (!platform::set_nonblocking(sock)) {
    const int err = platform::net_error();
    KYT_TRACE(kModule, kTopic, 1, "rpwopq : non-blocking mode failed, errno %d", err);
    platform::close_socket(sock);
    return kLgwNonBlocking + err;
  }
  s.sock = sock;
  KYT_TRACE(kModule, kTopic, 9, "rpwopq : socket %d connected to %s port %d",
            static_cast<int>(sock), platform::ipv4_text(s.addr).c_str(), static_cast<int>(s.port));
  kytlog_set_channel(log_channel, nullptr);
  dblog_set_sink(SendDBLogToLogWriter, nullptr);
  return 0;
}

int32_t write_record(const char* msg, int32_t length, char type) {
  State& s = st();
  if (s.sock == platform::kNoSocket) return 0;  // dropped until the next open
  if (msg == nullptr || length < 0) return kLgwNoMessage;

  const bool given = length != 0 || type != 0;
  int32_t text = length;
  if (length == 0) {
    text = 0;  // never reads beyond the NUL, nor beyond what is sent
    while (text < kLgwMaxText && msg[text] != '\0') ++text;
  }
  if (text > kLgwMaxText) text = kLgwMaxText;
  const int32_t total = text + kLgwHeader;
  KYT_TRACE(kModule, kTopic, 6, "buffer to send, iLength=%d, iMsgLength=%d.", total, text);

  if (s.buffer.size() < static_cast<size_t>(total) + 1) {
    try {
      s.buffer.resize(static_cast<size_t>(total) + 1);
    } catch (const std::bad_alloc&) {
      return kLgwNoBuffer;
    }
    KYT_TRACE(kModule, kTopic, 6, "buffer pMsgBuffer allocated");
  }
  char* b = s.buffer.data();
  const uint32_t now = static_cast<uint32_t>(platform::now_seconds());
  b[0] = '~';
  b[1] = static_cast<char>(total & 0xFF);
  b[2] = static_cast<char>(now >> 24);
  b[3] = static_cast<char>(now >> 16);
  b[4] = static_cast<char>(now >> 8);
  b[5] = static_cast<char>(now);
  b[6] = s.tag;
  b[7] = given ? type : 'L';
  b[8] = 1;
  std::memcpy(b + kLgwHeader, msg, static_cast<size_t>(text));

  // The log writer never speaks: a readable socket means it closed its side.
  const int r = platform::wait_readable(s.sock, 0);
  if (r != 0) {
    const int old = static_cast<int>(s.sock);
    KYT_TRACE(kModule, kTopic, 3, "%s, select : socket %d rc %d", "rpwwrq", old, r);
    close_channel();
    const int32_t rc = open_channel();
    if (rc != 0) {
      KYT_TRACE(kModule, kTopic, 3, "%s, reopen failed socket %d rc %d", "rpwwrq", old, rc);
      return rc;
    }
    if (s.sock == platform::kNoSocket) return 0;
  }
  return SendLGWBuffer(s.sock, s.buffer.data(), total);
}

}  // namespace

void rpwcl_set_stop_check(LgwStopCheck check) { st().stop_check = check; }

bool rpwcl_connected() { return st().sock != platform::kNoSocket; }

void rpwcl_reset_for_tests() {
  close_channel();
  State& s = st();
  s.mode_read = false;
  s.log_mode = 0;
  s.has_envfile = false;
  s.envfile.clear();
  s.stop_check = nullptr;
}

}  // namespace kyt

extern "C" int32_t rpwopq(int16_t retries, const char* envfile, int16_t keep, char tag) {
  return kyt::api_guard("rpwopq", [&]() -> int32_t {
    kyt::State& s = kyt::st();
    s.retries = retries;
    s.has_envfile = envfile != nullptr && envfile[0] != '\0';
    s.envfile = s.has_envfile ? envfile : "";
    s.keep = keep;
    s.tag = tag;
    return kyt::open_channel();
  });
}

extern "C" int32_t rpwwrq(const char* msg, int32_t length, char type) {
  return kyt::api_guard("rpwwrq", [&]() -> int32_t { return kyt::write_record(msg, length, type); });
}

extern "C" int32_t rpwclq(void) {
  return kyt::api_guard("rpwclq", []() -> int32_t {
    kyt::close_channel();
    return 0;
  });
}
