// net for Windows: Winsock 2, started once a process on first use.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstring>
#include <mutex>

#include "platform/net.h"

namespace kyt::platform {

namespace {

SOCKET sock(Socket s) { return static_cast<SOCKET>(s); }

sockaddr_in make_addr(uint32_t addr, uint16_t port) {
  sockaddr_in a;
  std::memset(&a, 0, sizeof a);
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = addr;
  a.sin_port = htons(port);
  return a;
}

Socket bound_socket(int type, uint32_t addr, uint16_t port, uint16_t* bound) {
  if (!net_start()) return kNoSocket;
  const SOCKET s = ::socket(AF_INET, type, 0);
  if (s == INVALID_SOCKET) return kNoSocket;
  // Winsock's SO_REUSEADDR would let two listeners share a port; a closed listener's port is
  // free at once there anyway.
  sockaddr_in a = make_addr(addr, port);
  if (::bind(s, reinterpret_cast<const sockaddr*>(&a), sizeof a) != 0 ||
      (type == SOCK_STREAM && ::listen(s, 16) != 0)) {
    const int e = WSAGetLastError();
    ::closesocket(s);
    WSASetLastError(e);
    return kNoSocket;
  }
  if (bound != nullptr) {
    int len = sizeof a;
    ::getsockname(s, reinterpret_cast<sockaddr*>(&a), &len);
    *bound = ntohs(a.sin_port);
  }
  return static_cast<Socket>(s);
}

int wait_for(Socket s, bool write, int timeout_ms) {
  fd_set set;
  FD_ZERO(&set);
  FD_SET(sock(s), &set);
  timeval tv{timeout_ms / 1000, (timeout_ms % 1000) * 1000};
  const int r = write ? ::select(0, nullptr, &set, nullptr, &tv) : ::select(0, &set, nullptr, nullptr, &tv);
  if (r == SOCKET_ERROR) return -1;
  return r == 0 ? 0 : 1;
}

}  // namespace

bool net_start() {
  static std::once_flag once;
  static bool started = false;
  std::call_once(once, [] {
    WSADATA data;
    started = ::WSAStartup(MAKEWORD(2, 2), &data) == 0;
  });
  return started;
}

int net_error() { return WSAGetLastError(); }

NetErr net_error_kind(int err) {
  switch (err) {
    case WSAECONNREFUSED:
      return NetErr::kRefused;
    case WSAEWOULDBLOCK:
      return NetErr::kWouldBlock;
    case WSAEINPROGRESS:
    case WSAEALREADY:
      return NetErr::kInProgress;
    case WSAEINTR:
      return NetErr::kInterrupted;
    default:
      return NetErr::kOther;
  }
}

uint32_t loopback_address() { return htonl(INADDR_LOOPBACK); }
uint32_t any_address() { return htonl(INADDR_ANY); }

bool resolve_ipv4(const char* host, uint32_t* addr, int* err) {
  *err = 0;
  if (!net_start()) {
    *err = WSAGetLastError();
    return false;
  }
  const unsigned long dotted = ::inet_addr(host);
  if (dotted != INADDR_NONE) {
    *addr = static_cast<uint32_t>(dotted);
    return true;
  }
  addrinfo hints;
  std::memset(&hints, 0, sizeof hints);
  hints.ai_family = AF_INET;
  addrinfo* res = nullptr;
  const int rc = ::getaddrinfo(host, nullptr, &hints, &res);
  if (rc != 0 || res == nullptr) {
    *err = rc != 0 ? rc : WSAGetLastError();
    return false;
  }
  *addr = reinterpret_cast<const sockaddr_in*>(res->ai_addr)->sin_addr.s_addr;
  ::freeaddrinfo(res);
  return true;
}

std::string local_host_name() {
  if (!net_start()) return std::string();
  char name[256];
  if (::gethostname(name, sizeof name) != 0) return std::string();
  name[sizeof name - 1] = '\0';
  return name;
}

std::string ipv4_text(uint32_t addr) {
  const unsigned char* b = reinterpret_cast<const unsigned char*>(&addr);
  return std::to_string(b[0]) + "." + std::to_string(b[1]) + "." + std::to_string(b[2]) + "." +
         std::to_string(b[3]);
}

Socket tcp_socket() {
  if (!net_start()) return kNoSocket;
  const SOCKET s = ::socket(AF_INET, SOCK_STREAM, 0);
  return s == INVALID_SOCKET ? kNoSocket : static_cast<Socket>(s);
}

int connect_ipv4(Socket s, uint32_t addr, uint16_t port) {
  const sockaddr_in a = make_addr(addr, port);
  return ::connect(sock(s), reinterpret_cast<const sockaddr*>(&a), sizeof a) == 0
             ? 0
             : WSAGetLastError();
}

bool set_nonblocking(Socket s) {
  u_long on = 1;
  return ::ioctlsocket(sock(s), FIONBIO, &on) == 0;
}

Socket tcp_listen(uint32_t addr, uint16_t port, uint16_t* bound) {
  return bound_socket(SOCK_STREAM, addr, port, bound);
}

Socket tcp_accept(Socket listener) {
  const SOCKET s = ::accept(sock(listener), nullptr, nullptr);
  return s == INVALID_SOCKET ? kNoSocket : static_cast<Socket>(s);
}

Socket udp_socket() {
  if (!net_start()) return kNoSocket;
  const SOCKET s = ::socket(AF_INET, SOCK_DGRAM, 0);
  return s == INVALID_SOCKET ? kNoSocket : static_cast<Socket>(s);
}

Socket udp_bind(uint32_t addr, uint16_t port, uint16_t* bound) {
  return bound_socket(SOCK_DGRAM, addr, port, bound);
}

bool udp_send_to(Socket s, uint32_t addr, uint16_t port, const void* data, size_t n) {
  const sockaddr_in a = make_addr(addr, port);
  return ::sendto(sock(s), static_cast<const char*>(data), static_cast<int>(n), 0,
                  reinterpret_cast<const sockaddr*>(&a), sizeof a) == static_cast<int>(n);
}

int64_t sock_send(Socket s, const void* data, size_t n) {
  const int r = ::send(sock(s), static_cast<const char*>(data), static_cast<int>(n), 0);
  return r == SOCKET_ERROR ? -1 : r;
}

int64_t sock_recv(Socket s, void* data, size_t n) {
  const int r = ::recv(sock(s), static_cast<char*>(data), static_cast<int>(n), 0);
  return r == SOCKET_ERROR ? -1 : r;
}

int wait_readable(Socket s, int timeout_ms) { return wait_for(s, false, timeout_ms); }
int wait_writable(Socket s, int timeout_ms) { return wait_for(s, true, timeout_ms); }

bool wait_any_readable(const std::vector<Socket>& sockets, int timeout_ms,
                       std::vector<size_t>* ready) {
  ready->clear();
  fd_set set;
  FD_ZERO(&set);
  for (size_t i = 0; i < sockets.size() && i < FD_SETSIZE; ++i) FD_SET(sock(sockets[i]), &set);
  timeval tv{timeout_ms / 1000, (timeout_ms % 1000) * 1000};
  const int r = ::select(0, &set, nullptr, nullptr, &tv);
  if (r == SOCKET_ERROR) return WSAGetLastError() == WSAEINTR;
  for (size_t i = 0; i < sockets.size() && i < FD_SETSIZE; ++i) {
    if (FD_ISSET(sock(sockets[i]), &set)) ready->push_back(i);
  }
  return true;
}

void close_socket(Socket s) {
  if (s != kNoSocket) ::closesocket(sock(s));
}

}  // namespace kyt::platform
