// net: IPv4 sockets for the station's channels (the log-writer connection, the agent's
// datagrams) and for the programs that receive them (kytadm listen, the tests).
//
// net_posix.cpp implements it with BSD sockets, net_win32.cpp with Winsock (started once a
// process, on first use). Addresses are IPv4 in network byte order, ports in host order.
// Functions report failure by their result; net_error() then gives the socket layer's own
// error number (errno, or WSAGetLastError), which the callers add to their error bases.
#ifndef KYT_PLATFORM_NET_H
#define KYT_PLATFORM_NET_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kyt::platform {

using Socket = intptr_t;
constexpr Socket kNoSocket = -1;

// Starts the socket layer once a process (Winsock 2.2); true on POSIX. Later calls answer
// what the first did.
bool net_start();

// The socket layer's error number of the last failed call on this thread.
int net_error();

// What an error number means to a caller that must tell these cases apart.
enum class NetErr { kOther, kRefused, kWouldBlock, kInProgress, kInterrupted };
NetErr net_error_kind(int err);

uint32_t loopback_address();                // 127.0.0.1 in network byte order
uint32_t any_address();                     // 0.0.0.0

// Dotted address or host name to an IPv4 address. False when it cannot be resolved; *err
// then holds the resolver's error as a positive number (0 when it gave none).
bool resolve_ipv4(const char* host, uint32_t* addr, int* err);
// This machine's host name; empty when it cannot be had.
std::string local_host_name();
// The dotted form of an address.
std::string ipv4_text(uint32_t addr);

// TCP. connect_ipv4 answers 0 or the error number (the socket stays open either way).
Socket tcp_socket();
int connect_ipv4(Socket s, uint32_t addr, uint16_t port);
bool set_nonblocking(Socket s);
// A listening socket bound to addr:port (port 0: the system chooses; *bound gets the port),
// kNoSocket on failure. The address may be reused at once after the listener is closed.
Socket tcp_listen(uint32_t addr, uint16_t port, uint16_t* bound);
// A connection accepted from a listener; kNoSocket on failure.
Socket tcp_accept(Socket listener);

// UDP: a socket for sending, or one bound to addr:port for receiving (port 0 as above).
Socket udp_socket();
Socket udp_bind(uint32_t addr, uint16_t port, uint16_t* bound);
// Sends one datagram; false on failure (net_error tells).
bool udp_send_to(Socket s, uint32_t addr, uint16_t port, const void* data, size_t n);

// Sends and receives what the system takes / has: the byte count, or -1 (net_error tells).
// recv answers 0 when the peer closed its side.
int64_t sock_send(Socket s, const void* data, size_t n);
int64_t sock_recv(Socket s, void* data, size_t n);

// Waits up to `timeout_ms` (0: a poll) for the socket to become readable or writable:
// 1 ready, 0 time out, -1 failure (net_error tells; an interrupted wait is kInterrupted).
int wait_readable(Socket s, int timeout_ms);
int wait_writable(Socket s, int timeout_ms);
// Waits for any of the sockets to become readable: the indexes of those that are, empty on
// time out; false on failure.
bool wait_any_readable(const std::vector<Socket>& sockets, int timeout_ms,
                       std::vector<size_t>* ready);

void close_socket(Socket s);

}  // namespace kyt::platform

#endif  // KYT_PLATFORM_NET_H
