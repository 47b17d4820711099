// rpxlog: XML notifications over UDP to the management agent.
#include "monitor/rpxlog.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "kyt/kyt.h"
#include "platform/net.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/services.h"

namespace kyt {

namespace {

constexpr const char* kModule = "kytLib";
constexpr const char* kTopic = "w";

constexpr const char* kLogMessage =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><message><notification> "
    "<type>LogMessage</type><time>%d</time><oid>%s</oid><logtext>%s</logtext></notification>"
    "</message>";
constexpr const char* kHeartbeat =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><message><notification> "
    "<type>Heartbeat</type><time>%d</time><oid>%s</oid></notification></message>";
constexpr const char* kStart =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><message><notification> "
    "<type>Start</type><time>%d</time><oid>%s</oid></notification></message>";
constexpr const char* kStop =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><message><notification> "
    "<type>Stop</type><time>%d</time><oid>%s</oid><reason></reason></notification></message>";

struct State {
  bool read = false;
  std::string server;
  std::string port = "6123";
  int64_t last_heartbeat = 0;
};

State& st() {
  static State s;
  return s;
}

State& agent() {
  State& s = st();
  if (!s.read) {
    s.read = true;
    std::string v;
    if (lpdsn_get("AGENT_SERVER", &v) == 0) s.server = v;
    if (lpdsn_get("AGENT_PORT", &v) == 0 && !v.empty()) s.port = v;
  }
  return s;
}

long param_number(const char* name) {
  std::string v;
  if (rpdprm_get_text(name, &v) != 0) return 0;
  return std::strtol(v.c_str(), nullptr, 10);
}

// Length of the UTF-8 sequence that starts at p (at most `left` bytes), 0 when it is none.
size_t utf8_sequence(const unsigned char* p, size_t left) {
  const unsigned char b = p[0];
  size_t n;
  unsigned char lo = 0x80, hi = 0xBF;  // range of the second byte
  if (b >= 0xC2 && b <= 0xDF) {
    n = 2;
  } else if (b >= 0xE0 && b <= 0xEF) {
    n = 3;
    if (b == 0xE0) lo = 0xA0;
    if (b == 0xED) hi = 0x9F;  // no surrogates
  } else if (b >= 0xF0 && b <= 0xF4) {
    n = 4;
    if (b == 0xF0) lo = 0x90;
    if (b == 0xF4) hi = 0x8F;
  } else {
    return 0;
  }
  if (left < n || p[1] < lo || p[1] > hi) return 0;
  for (size_t i = 2; i < n; ++i) {
    if ((p[i] & 0xC0) != 0x80) return 0;
  }
  // U+FFFE and U+FFFF are not characters of XML.
  if (n == 3 && b == 0xEF && p[1] == 0xBF && p[2] >= 0xBE) return 0;
  return n;
}

std::string document(const char* tpl, const std::string& oid, const std::string* text) {
  const int now = static_cast<int>(platform::now_seconds());
  const std::string o = xml_escape(oid);
  const std::string t = text != nullptr ? xml_escape(*text) : std::string();
  std::string out(std::string_view(tpl).size() + o.size() + t.size() + 16, '\0');
  const int n = text != nullptr ? std::snprintf(out.data(), out.size(), tpl, now, o.c_str(), t.c_str())
                                : std::snprintf(out.data(), out.size(), tpl, now, o.c_str());
  out.resize(n > 0 ? static_cast<size_t>(n) : 0);
  return out;
}

std::string station_id() {
  std::string lid;
  if (rpdprm_get_text("LID", &lid) != 0) lid.clear();
  return lid;
}

int32_t send_datagram(const std::string& doc) {
  State& s = agent();
  uint32_t addr = 0;
  int err = 0;
  if (!platform::resolve_ipv4(s.server.c_str(), &addr, &err)) {
    std::fprintf(stderr, "Cannot resolv hostname: %s\n", s.server.c_str());
    return kAgentNoHost;
  }
  const platform::Socket sock = platform::udp_socket();
  if (sock == platform::kNoSocket) {
    std::fprintf(stderr, "Error: socket()\n");
    return kAgentNoSocket;
  }
  const unsigned long port = std::strtoul(s.port.c_str(), nullptr, 10);
  if (!platform::udp_send_to(sock, addr, static_cast<uint16_t>(port), doc.data(), doc.size())) {
    KYT_TRACE(kModule, kTopic, 1, "rpxlog : sendto %s port %lu failed, errno %d", s.server.c_str(),
              port, platform::net_error());
    platform::close_socket(sock);
    std::fprintf(stderr, "Error while sending data\n");
    return kAgentSendFailed;
  }
  platform::close_socket(sock);
  return 0;
}

}  // namespace

std::string xml_escape(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 16);
  const unsigned char* p = reinterpret_cast<const unsigned char*>(text.data());
  for (size_t i = 0; i < text.size();) {
    const unsigned char c = p[i];
    if (c >= 0x80) {
      const size_t n = utf8_sequence(p + i, text.size() - i);
      if (n > 0) {
        out.append(text.substr(i, n));
        i += n;
      } else {
        out.push_back(static_cast<char>(0xC0 | (c >> 6)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        ++i;
      }
      continue;
    }
    switch (c) {
      case '&': out.append("&amp;"); break;
      case '<': out.append("&lt;"); break;
      case '>': out.append("&gt;"); break;
      case '"': out.append("&quot;"); break;
      case '\'': out.append("&apos;"); break;
      case '\t': out.append("&#9;"); break;
      case '\n': out.append("&#10;"); break;
      case '\r': out.append("&#13;"); break;
      default: out.push_back(c < 0x20 ? '?' : static_cast<char>(c)); break;
    }
    ++i;
  }
  return out;
}

void rpxlog_reset_for_tests() { st() = State{}; }

}  // namespace kyt

extern "C" int32_t rpxlog_message(const char* text) {
  return kyt::api_guard("rpxlog_message", [&]() -> int32_t {
    if (text == nullptr) return 0;
    kyt::agent();
    const long mode = kyt::param_number("AGENT_LOGLEVEL");
    if (mode == 0) return 0;
    if (mode == 2 && text[0] != 'E' && text[0] != 'W') return 0;
    const std::string t(text);
    kyt::send_datagram(kyt::document(kyt::kLogMessage, kyt::station_id(), &t));
    return 0;
  });
}

extern "C" int32_t rpxlog_heartbeat(void) {
  return kyt::api_guard("rpxlog_heartbeat", []() -> int32_t {
    kyt::State& s = kyt::agent();
    if (s.server.empty()) return 0;
    const long interval = kyt::param_number("AGENT_HEARTBEAT");
    if (interval <= 0) return 0;
    const int64_t now = kyt::platform::now_seconds();
    if (now - s.last_heartbeat < interval) return 0;
    s.last_heartbeat = now;
    return kyt::send_datagram(kyt::document(kyt::kHeartbeat, kyt::station_id(), nullptr));
  });
}

extern "C" int32_t rpxlog_start(void) {
  return kyt::api_guard("rpxlog_start", []() -> int32_t {
    if (kyt::agent().server.empty()) return 0;
    return kyt::send_datagram(kyt::document(kyt::kStart, kyt::station_id(), nullptr));
  });
}

extern "C" int32_t rpxlog_stop(void) {
  return kyt::api_guard("rpxlog_stop", []() -> int32_t {
    if (kyt::agent().server.empty()) return 0;
    return kyt::send_datagram(kyt::document(kyt::kStop, kyt::station_id(), nullptr));
  });
}
