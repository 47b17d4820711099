// kytadm listen: stands in for the log writer and the management agent: receives the
// records of the log-writer channel and the XML notifications and prints each as a line.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "kytadm.h"
#include "monitor/monitor.h"
#include "platform/net.h"
#include "platform/platform.h"
#include "runtime/runtime.h"

namespace kytadm {

const char* const kListenSynopsis = "listen [-e FILE] [-n COUNT]";
const char* const kListenHelp =
    "Receives what the station's processes send to their log writer and to the management\n"
    "agent, so that an operator can watch a station without them: the log-writer records on\n"
    "the TCP port PORT (default 2956) and the notifications on the UDP port AGENT_PORT\n"
    "(default 6123) of the environment file, on every address of this machine. A port of 0\n"
    "lets the system choose one. Stop it with Ctrl-C.\n"
    "\n"
    "  -e FILE    the environment file (default: the KYTENV environment variable, else\n"
    "             kytenv.dat in the current directory)\n"
    "  -n COUNT   end after COUNT lines\n"
    "\n"
    "Once both ports are open, standard error gets the line\n"
    "  kytadm listen: records on port P, notifications on port Q\n"
    "Then each record prints as\n"
    "  YYYY/MM/DD HH:MM:SS TAG TYPE TEXT\n"
    "(the record's time in local time, the process tag and the type as characters, \\xNN when\n"
    "not printable; L a station log line, D a database change), and each notification as\n"
    "  YYYY/MM/DD HH:MM:SS agent KIND OID [TEXT]\n"
    "(KIND LogMessage, Heartbeat, Start or Stop; OID - when empty; TEXT of LogMessage).\n"
    "Control characters in texts print as blanks. A datagram that is no notification and\n"
    "bytes skipped on a connection are named on standard error.\n"
    "Exit status: 0 COUNT lines printed; 1 a port cannot be opened; 2 wrong arguments or an\n"
    "environment file that cannot be read.\n";

namespace {

using kyt::platform::Socket;

std::string time_text(int64_t t) {
  kyt::platform::LocalTime lt{};
  char buf[32];
  if (!kyt::platform::local_time(t, &lt)) return "0000/00/00 00:00:00";
  std::snprintf(buf, sizeof buf, "%04d/%02d/%02d %02d:%02d:%02d", lt.year, lt.month, lt.day,
                lt.hour, lt.minute, lt.second);
  return buf;
}

std::string byte_text(char c) {
  const unsigned char u = static_cast<unsigned char>(c);
  if (u > 0x20 && u < 0x7F) return std::string(1, c);
  char buf[8];
  std::snprintf(buf, sizeof buf, "\\x%02X", u);
  return buf;
}

std::string line_safe(const std::string& s) {
  std::string out = s;
  for (char& c : out) {
    const unsigned char u = static_cast<unsigned char>(c);
    if (u < 0x20 || u == 0x7F) c = ' ';
  }
  return out;
}

int port_setting(const char* key, int fallback) {
  std::string v;
  if (kyt::lpdsn_get(key, &v) != 0 || v.empty()) return fallback;
  char* end = nullptr;
  const long p = std::strtol(v.c_str(), &end, 10);
  return *end == '\0' && p >= 0 && p <= 65535 ? static_cast<int>(p) : -1;
}

struct Conn {
  Socket sock;
  std::string data;
};

class Listener {
 public:
  explicit Listener(long limit) : limit_(limit) {}

  bool done() const { return limit_ > 0 && printed_ >= limit_; }

  void print(const std::string& line) {
    if (done()) return;
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
    ++printed_;
  }

  // Prints the whole records of a connection's data.
  void records(Conn* c, bool settled) {
    kyt::LgwRecord r;
    size_t skipped = 0;
    while (!done() && kyt::lgw_take_record(&c->data, settled, &r, &skipped)) {
      note_skipped(skipped);
      print(time_text(r.time) + " " + byte_text(r.tag) + " " + byte_text(r.type) + " " +
            line_safe(r.text));
    }
    note_skipped(skipped);
  }

  void datagram(const std::string& doc) {
    kyt::AgentNote n;
    if (!kyt::agent_read_note(doc, &n)) {
      std::fprintf(stderr, "kytadm listen: a datagram of %zu bytes is no notification\n",
                   doc.size());
      return;
    }
    std::string line = time_text(n.time) + " agent " + line_safe(n.type) + " " +
                       (n.oid.empty() ? std::string("-") : line_safe(n.oid));
    if (n.type == "LogMessage") line += " " + line_safe(n.logtext);
    print(line);
  }

 private:
  static void note_skipped(size_t n) {
    if (n > 0) std::fprintf(stderr, "kytadm listen: %zu bytes skipped before a record\n", n);
  }

  long limit_;
  long printed_ = 0;
};

}  // namespace

int run_listen(const Args& args) {
  if (int rc = read_environment(args); rc != 0) return kExitUsage;
  long limit = 0;
  if (args.has("-n")) {
    const std::string n = args.value("-n");
    char* end = nullptr;
    limit = std::strtol(n.c_str(), &end, 10);
    if (n.empty() || *end != '\0' || limit <= 0) return bad_usage(*args.self, "bad COUNT " + n);
  }
  const int port = port_setting("PORT", kyt::kLgwDefaultPort);
  const int agent_port = port_setting("AGENT_PORT", 6123);
  if (port < 0 || agent_port < 0) {
    std::fprintf(stderr, "kytadm listen: PORT or AGENT_PORT is not a port number\n");
    return kExitUsage;
  }
  namespace net = kyt::platform;
  uint16_t bound = 0, agent_bound = 0;
  const Socket tcp = net::tcp_listen(net::any_address(), static_cast<uint16_t>(port), &bound);
  if (tcp == net::kNoSocket) {
    std::fprintf(stderr, "kytadm listen: cannot listen on port %d (error %d)\n", port,
                 net::net_error());
    return kExitFailed;
  }
  const Socket udp = net::udp_bind(net::any_address(), static_cast<uint16_t>(agent_port),
                                   &agent_bound);
  if (udp == net::kNoSocket) {
    std::fprintf(stderr, "kytadm listen: cannot receive on port %d (error %d)\n", agent_port,
                 net::net_error());
    net::close_socket(tcp);
    return kExitFailed;
  }
  std::fprintf(stderr, "kytadm listen: records on port %u, notifications on port %u\n",
               static_cast<unsigned>(bound), static_cast<unsigned>(agent_bound));
  std::fflush(stderr);

  Listener out(limit);
  std::vector<Conn> conns;
  std::vector<char> buf(65536);
  std::vector<Socket> socks;
  std::vector<size_t> ready;
  while (!out.done()) {
    socks.assign({tcp, udp});
    for (const Conn& c : conns) socks.push_back(c.sock);
    if (!net::wait_any_readable(socks, 100, &ready)) {
      std::fprintf(stderr, "kytadm listen: waiting failed (error %d)\n", net::net_error());
      break;
    }
    if (ready.empty()) {
      // Quiet: a record whose end lies at the end of its data is whole.
      for (Conn& c : conns) out.records(&c, true);
      continue;
    }
    std::vector<size_t> gone;
    for (size_t i : ready) {
      if (i == 0) {
        const Socket c = net::tcp_accept(tcp);
        if (c != net::kNoSocket) conns.push_back(Conn{c, {}});
      } else if (i == 1) {
        const int64_t n = net::sock_recv(udp, buf.data(), buf.size());
        if (n > 0) out.datagram(std::string(buf.data(), static_cast<size_t>(n)));
      } else {
        Conn& c = conns[i - 2];
        const int64_t n = net::sock_recv(c.sock, buf.data(), buf.size());
        if (n > 0) {
          c.data.append(buf.data(), static_cast<size_t>(n));
          out.records(&c, false);
        } else {
          out.records(&c, true);
          if (!c.data.empty())
            std::fprintf(stderr, "kytadm listen: %zu bytes of an unfinished record dropped\n",
                         c.data.size());
          gone.push_back(i - 2);
        }
      }
    }
    for (auto it = gone.rbegin(); it != gone.rend(); ++it) {
      net::close_socket(conns[*it].sock);
      conns.erase(conns.begin() + static_cast<std::ptrdiff_t>(*it));
    }
  }
  for (const Conn& c : conns) net::close_socket(c.sock);
  net::close_socket(udp);
  net::close_socket(tcp);
  return out.done() ? kExitOk : kExitFailed;
}

}  // namespace kytadm
