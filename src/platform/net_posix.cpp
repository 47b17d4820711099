// net for POSIX systems: BSD sockets.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/net.h"

namespace kyt::platform {

namespace {

int fd(Socket s) { return static_cast<int>(s); }

sockaddr_in make_addr(uint32_t addr, uint16_t port) {
  sockaddr_in a;
  std::memset(&a, 0, sizeof a);
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = addr;
  a.sin_port = htons(port);
  return a;
}

Socket bound_socket(int type, uint32_t addr, uint16_t port, uint16_t* bound) {
  const int s = ::socket(AF_INET, type | SOCK_CLOEXEC, 0);
  if (s < 0) return kNoSocket;
  const int on = 1;
  ::setsockopt(s, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in a = make_addr(addr, port);
  if (::bind(s, reinterpret_cast<const sockaddr*>(&a), sizeof a) != 0 ||
      (type == SOCK_STREAM && ::listen(s, 16) != 0)) {
    const int e = errno;
    ::close(s);
    errno = e;
    return kNoSocket;
  }
  if (bound != nullptr) {
    socklen_t len = sizeof a;
    ::getsockname(s, reinterpret_cast<sockaddr*>(&a), &len);
    *bound = ntohs(a.sin_port);
  }
  return s;
}

int wait_for(Socket s, short events, int timeout_ms) {
  pollfd p{fd(s), events, 0};
  const int r = ::poll(&p, 1, timeout_ms);
  if (r < 0) return -1;
  return r == 0 ? 0 : 1;
}

}  // namespace

bool net_start() { return true; }

int net_error() { return errno; }

NetErr net_error_kind(int err) {
  switch (err) {
    case ECONNREFUSED:
      return NetErr::kRefused;
    case EAGAIN:
#if EWOULDBLOCK != EAGAIN
    case EWOULDBLOCK:
#endif
      return NetErr::kWouldBlock;
    case EINPROGRESS:
    case EALREADY:
      return NetErr::kInProgress;
    case EINTR:
      return NetErr::kInterrupted;
    default:
      return NetErr::kOther;
  }
}

uint32_t loopback_address() { return htonl(INADDR_LOOPBACK); }
uint32_t any_address() { return htonl(INADDR_ANY); }

bool resolve_ipv4(const char* host, uint32_t* addr, int* err) {
  *err = 0;
  in_addr a;
  if (::inet_pton(AF_INET, host, &a) == 1) {
    *addr = a.s_addr;
    return true;
  }
  addrinfo hints;
  std::memset(&hints, 0, sizeof hints);
  hints.ai_family = AF_INET;
  addrinfo* res = nullptr;
  const int rc = ::getaddrinfo(host, nullptr, &hints, &res);
  if (rc != 0 || res == nullptr) {
    // getaddrinfo's codes are negative here; the callers add a positive number to a base.
    *err = rc == EAI_SYSTEM ? errno : (rc < 0 ? -rc : rc);
    return false;
  }
  *addr = reinterpret_cast<const sockaddr_in*>(res->ai_addr)->sin_addr.s_addr;
  ::freeaddrinfo(res);
  return true;
}

std::string local_host_name() {
  char name[256];
  if (::gethostname(name, sizeof name) != 0) return std::string();
  name[sizeof name - 1] = '\0';
  return name;
}

std::string ipv4_text(uint32_t addr) {
  in_addr a;
  a.s_addr = addr;
  char buf[INET_ADDRSTRLEN] = {};
  ::inet_ntop(AF_INET, &a, buf, sizeof buf);
  return buf;
}

Socket tcp_socket() {
  const int s = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  return s < 0 ? kNoSocket : s;
}

int connect_ipv4(Socket s, uint32_t addr, uint16_t port) {
  const sockaddr_in a = make_addr(addr, port);
  return ::connect(fd(s), reinterpret_cast<const sockaddr*>(&a), sizeof a) == 0 ? 0 : errno;
}

bool set_nonblocking(Socket s) {
  const int flags = ::fcntl(fd(s), F_GETFL);
  return flags >= 0 && ::fcntl(fd(s), F_SETFL, flags | O_NONBLOCK) == 0;
}

Socket tcp_listen(uint32_t addr, uint16_t port, uint16_t* bound) {
  return bound_socket(SOCK_STREAM, addr, port, bound);
}

Socket tcp_accept(Socket listener) {
  const int s = ::accept4(fd(listener), nullptr, nullptr, SOCK_CLOEXEC);
  return s < 0 ? kNoSocket : s;
}

Socket udp_socket() {
  const int s = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  return s < 0 ? kNoSocket : s;
}

Socket udp_bind(uint32_t addr, uint16_t port, uint16_t* bound) {
  return bound_socket(SOCK_DGRAM, addr, port, bound);
}

bool udp_send_to(Socket s, uint32_t addr, uint16_t port, const void* data, size_t n) {
  const sockaddr_in a = make_addr(addr, port);
  return ::sendto(fd(s), data, n, MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&a), sizeof a) ==
         static_cast<ssize_t>(n);
}

int64_t sock_send(Socket s, const void* data, size_t n) {
  // A peer gone is an error of the call, never a signal that ends the process.
  return ::send(fd(s), data, n, MSG_NOSIGNAL);
}

int64_t sock_recv(Socket s, void* data, size_t n) { return ::recv(fd(s), data, n, 0); }

int wait_readable(Socket s, int timeout_ms) { return wait_for(s, POLLIN, timeout_ms); }
int wait_writable(Socket s, int timeout_ms) { return wait_for(s, POLLOUT, timeout_ms); }

bool wait_any_readable(const std::vector<Socket>& sockets, int timeout_ms,
                       std::vector<size_t>* ready) {
  ready->clear();
  std::vector<pollfd> p(sockets.size());
  for (size_t i = 0; i < sockets.size(); ++i) p[i] = pollfd{fd(sockets[i]), POLLIN, 0};
  const int r = ::poll(p.data(), p.size(), timeout_ms);
  if (r < 0) return errno == EINTR;
  for (size_t i = 0; i < p.size(); ++i) {
    if (p[i].revents != 0) ready->push_back(i);
  }
  return true;
}

void close_socket(Socket s) {
  if (s != kNoSocket) ::close(fd(s));
}

}  // namespace kyt::platform
