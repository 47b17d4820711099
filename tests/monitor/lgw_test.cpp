// The log-writer channel against real loopback sockets: the record's bytes, the cut at 2000
// bytes, reopening after the log writer closed, the cost of nobody listening, LOGINDB 2,
// the port settings, the station log and the database log travelling over the channel.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "kyt/kyt.h"
#include "monitor/monitor.h"
#include "platform/net.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"
#include "sql/trace_capture.h"
#include "stationdb.h"
#include "testutil.h"

namespace kyt {
namespace {

namespace net = platform;
using Clock = std::chrono::steady_clock;

// A listening socket on the loopback, closed when the object goes.
struct Listener {
  net::Socket sock = net::kNoSocket;
  uint16_t port = 0;
  Listener() { sock = net::tcp_listen(net::loopback_address(), 0, &port); }
  ~Listener() { close(); }
  void close() {
    net::close_socket(sock);
    sock = net::kNoSocket;
  }
  // The next connection, waiting up to `ms`.
  net::Socket accept(int ms = 3000) {
    if (net::wait_readable(sock, ms) != 1) return net::kNoSocket;
    return net::tcp_accept(sock);
  }
};

struct Conn {
  net::Socket sock;
  explicit Conn(net::Socket s) : sock(s) {}
  ~Conn() { net::close_socket(sock); }
  Conn(const Conn&) = delete;
  Conn& operator=(const Conn&) = delete;
};

// Exactly n bytes from s (fewer when they do not come within a few seconds).
std::string read_n(net::Socket s, size_t n) {
  std::string out;
  char buf[4096];
  while (out.size() < n && net::wait_readable(s, 3000) == 1) {
    const int64_t got = net::sock_recv(s, buf, std::min(sizeof buf, n - out.size()));
    if (got <= 0) break;
    out.append(buf, static_cast<size_t>(got));
  }
  return out;
}

// Whether anything (data or the peer's close) arrives within ms.
bool quiet(net::Socket s, int ms = 300) { return net::wait_readable(s, ms) == 0; }

// A port on which nobody listens: one the system gave out and that was closed again.
uint16_t closed_port() {
  Listener l;
  return l.port;
}

class LgwTest : public ::testing::Test {
 protected:
  void SetUp() override { reset(); }
  void TearDown() override { reset(); }
  static void reset() {
    rpwcl_reset_for_tests();
    rpxlog_reset_for_tests();
    kytlog_reset_for_tests();
    rpdprm_reset_for_tests();
    test::forget_station();
  }
  // An environment file with `settings` read as the process's one.
  void environment(const std::string& settings) {
    test::write_file(dir_.file("kytenv.dat"), settings + "\nDB=" + dir_.path() + "\n");
    lpdsn_reset_for_tests();
    ASSERT_EQ(lpdsn_init_file(dir_.file("kytenv.dat")), 0);
  }
  std::string to(uint16_t port) {
    return "SERVER=127.0.0.1 PORT=" + std::to_string(port);
  }
  test::TempDir dir_;
};

std::string header(char tag, char type, size_t total) {
  std::string h = "~";
  h += static_cast<char>(total & 0xFF);
  h += "TTTT";
  h += tag;
  h += type;
  h += '\1';
  return h;
}

uint32_t time_of(const std::string& rec) {
  const auto* b = reinterpret_cast<const unsigned char*>(rec.data());
  return (uint32_t{b[2]} << 24) | (uint32_t{b[3]} << 16) | (uint32_t{b[4]} << 8) | b[5];
}

// The record with its time replaced by TTTT, for comparing.
std::string masked(std::string rec) {
  if (rec.size() >= 6) rec.replace(2, 4, "TTTT");
  return rec;
}

TEST_F(LgwTest, RecordsCarryEveryByteAndTextsAreCutAt2000) {
  Listener l;
  environment(to(l.port));
  ASSERT_EQ(rpwopq(0, nullptr, 0, 'M'), 0);
  Conn c(l.accept());
  ASSERT_NE(c.sock, net::kNoSocket);

  const uint32_t before = static_cast<uint32_t>(platform::now_seconds());
  ASSERT_EQ(rpwwrq("hello", 0, 0), 0);
  std::string rec = read_n(c.sock, 14);
  const uint32_t after = static_cast<uint32_t>(platform::now_seconds());
  EXPECT_EQ(masked(rec), header('M', 'L', 14) + "hello");
  EXPECT_GE(time_of(rec), before);
  EXPECT_LE(time_of(rec), after);

  // A given length sends NULs and the caller's type; a type alone is taken too.
  ASSERT_EQ(rpwwrq(std::string("ab\0cd", 5).c_str(), 5, 'D'), 0);
  EXPECT_EQ(masked(read_n(c.sock, 14)), header('M', 'D', 14) + std::string("ab\0cd", 5));
  ASSERT_EQ(rpwwrq("xy", 0, 'Q'), 0);
  EXPECT_EQ(masked(read_n(c.sock, 11)), header('M', 'Q', 11) + "xy");

  // 2500 bytes go as 2000; the length byte holds 2009 mod 256, for texts and given lengths.
  const std::string big(2500, 'x');
  ASSERT_EQ(rpwwrq(big.c_str(), 0, 0), 0);
  rec = read_n(c.sock, 2009);
  ASSERT_EQ(rec.size(), 2009u);
  EXPECT_EQ(static_cast<unsigned char>(rec[1]), 2009 % 256);
  EXPECT_EQ(rec.substr(9), std::string(2000, 'x'));
  ASSERT_EQ(rpwwrq(big.c_str(), 2500, 'B'), 0);
  rec = read_n(c.sock, 2009);
  EXPECT_EQ(masked(rec), header('M', 'B', 2009) + std::string(2000, 'x'));
  EXPECT_TRUE(quiet(c.sock)) << "nothing beyond the 2009 bytes";

  EXPECT_EQ(rpwwrq(nullptr, 0, 0), KYT_LGW_NO_MESSAGE);
  EXPECT_EQ(rpwwrq("x", -1, 0), KYT_LGW_NO_MESSAGE);

  // Closed: messages are dropped with 0, and the log writer sees the end.
  EXPECT_EQ(rpwclq(), 0);
  EXPECT_EQ(rpwwrq("dropped", 0, 0), 0);
  char b;
  EXPECT_EQ(read_n(c.sock, 1), "");
  EXPECT_EQ(net::sock_recv(c.sock, &b, 1), 0);
}

TEST_F(LgwTest, ALogWriterThatClosesMakesTheNextWriteReopen) {
  Listener l;
  environment(to(l.port));
  ASSERT_EQ(rpwopq(0, nullptr, 0, 'R'), 0);
  {
    Conn first(l.accept());
    ASSERT_EQ(rpwwrq("one", 0, 0), 0);
    EXPECT_EQ(read_n(first.sock, 12).substr(9), "one");
  }  // the log writer closes its side
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  ASSERT_EQ(rpwwrq("two", 0, 0), 0);
  Conn second(l.accept());
  ASSERT_NE(second.sock, net::kNoSocket) << "no new connection";
  EXPECT_EQ(masked(read_n(second.sock, 12)), header('R', 'L', 12) + "two");

  // The log writer gone for good: the reopen fails with the connect code, later messages
  // are dropped.
  net::close_socket(second.sock);
  second.sock = net::kNoSocket;
  l.close();
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  const int32_t rc = rpwwrq("three", 0, 0);
  EXPECT_GT(rc, KYT_LGW_CONNECT);
  EXPECT_LT(rc, KYT_LGW_NONBLOCKING);
  EXPECT_EQ(net::net_error_kind(rc - KYT_LGW_CONNECT), net::NetErr::kRefused);
  EXPECT_FALSE(rpwcl_connected());
  EXPECT_EQ(rpwwrq("four", 0, 0), 0);
}

TEST_F(LgwTest, NobodyListeningCostsTheRetryAllowanceAndNoMore) {
  test::TraceCapture trace;
  environment(to(closed_port()));
  // A process that must stop does not even try.
  rpwcl_set_stop_check([]() -> int32_t { return 98; });
  auto t0 = Clock::now();
  EXPECT_EQ(rpwopq(5, nullptr, 0, 'N'), 98);
  EXPECT_LT(Clock::now() - t0, std::chrono::milliseconds(500));
  rpwcl_set_stop_check(nullptr);

  t0 = Clock::now();
  int32_t rc = rpwopq(0, nullptr, 0, 'N');
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0).count();
  EXPECT_EQ(net::net_error_kind(rc - KYT_LGW_CONNECT), net::NetErr::kRefused) << rc;
  EXPECT_LT(ms, 900);

  t0 = Clock::now();
  rc = rpwopq(2, nullptr, 0, 'N');
  ms = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0).count();
  EXPECT_EQ(net::net_error_kind(rc - KYT_LGW_CONNECT), net::NetErr::kRefused) << rc;
  EXPECT_GE(ms, 1900);
  EXPECT_LT(ms, 2900);
  EXPECT_FALSE(rpwcl_connected());
  EXPECT_EQ(rpwwrq("lost", 0, 0), 0);
  EXPECT_TRUE(trace.has("rpwopq: connect retry after 1 second..."));
  EXPECT_TRUE(trace.has("rpwopq: connect failed, rc="));
}

TEST_F(LgwTest, LogOnlyInDatabaseMakesNoConnection) {
  test::TraceCapture trace;
  Listener l;
  environment(to(l.port) + " LOGINDB=2");
  const auto t0 = Clock::now();
  EXPECT_EQ(rpwopq(3, nullptr, 0, 'D'), 0);
  EXPECT_LT(Clock::now() - t0, std::chrono::milliseconds(500));
  EXPECT_EQ(rpwwrq("text", 0, 0), 0);
  EXPECT_EQ(rpwwrq(nullptr, 0, 0), 0);
  EXPECT_TRUE(quiet(l.sock)) << "a connection was made";
  EXPECT_TRUE(trace.has("rpwopq : log only in db !"));
}

TEST_F(LgwTest, PortAndServerSettings) {
  environment("SERVER=127.0.0.1 PORT=0");
  EXPECT_EQ(rpwopq(0, nullptr, 0, 'P'), KYT_LGW_PORT_ZERO);
  rpwcl_reset_for_tests();
  environment("SERVER=no-such-host.invalid PORT=2956");
  const int32_t rc = rpwopq(0, nullptr, 0, 'P');
  EXPECT_GE(rc, KYT_LGW_HOST_NAME);
  EXPECT_LT(rc, KYT_LGW_PORT_ZERO);

  // The environment file given to the open is read: PORT missing means 2956.
  rpwcl_reset_for_tests();
  environment("PORT=1");
  Listener def;
  net::close_socket(def.sock);
  def.sock = net::tcp_listen(net::loopback_address(), kLgwDefaultPort, &def.port);
  if (def.sock == net::kNoSocket) GTEST_SKIP() << "port 2956 is taken on this machine";
  test::write_file(dir_.file("other.env"), "SERVER=127.0.0.1\n");
  ASSERT_EQ(rpwopq(0, dir_.file("other.env").c_str(), 0, 'P'), 0);
  Conn c(def.accept());
  ASSERT_EQ(rpwwrq("default port", 0, 0), 0);
  EXPECT_EQ(read_n(c.sock, 21).substr(9), "default port");
}

TEST_F(LgwTest, StationLogLinesTravelWhileConnected) {
  Listener l;
  environment(to(l.port) + " LANGUAGE=E");
  ASSERT_EQ(lpdsn_set("DSN_KYT_LOG", dir_.file("rlog.log").c_str()), 0);
  ASSERT_EQ(rpwopq(0, nullptr, 0, 'S'), 0);
  Conn c(l.accept());
  ASSERT_EQ(msg_report("DATABASE_CREATED", {"X\nY"}), 0);
  const std::string text = "I DATABASE_CREATED Database X Y created";
  EXPECT_EQ(masked(read_n(c.sock, 9 + text.size())), header('S', 'L', 9 + text.size()) + text);
  EXPECT_NE(test::read_file(dir_.file("rlog.log")).find(text), std::string::npos);

  ASSERT_EQ(rpwclq(), 0);
  ASSERT_EQ(msg_report("INIT_DONE", {}), 0);
  char b;
  ASSERT_EQ(net::wait_readable(c.sock, 3000), 1);
  EXPECT_EQ(net::sock_recv(c.sock, &b, 1), 0) << "a line went over a closed channel";
}

TEST_F(LgwTest, DatabaseLogRendersChangesWithTheirValues) {
  Listener l;
  ASSERT_TRUE(test::open_station_db(dir_, {{"SERVER", "127.0.0.1"},
                                           {"PORT", std::to_string(l.port)},
                                           {"DBLOG", "Y"}}));
  ASSERT_EQ(rpdsql_run("CREATE TABLE T1 (A CHAR(20), B INTEGER, C SMALLINT, D FLOAT)"), 0);
  ASSERT_EQ(rpwopq(0, nullptr, 0, 'B'), 0);
  Conn c(l.accept());
  auto next = [&]() {
    std::string rec = read_n(c.sock, 9);
    if (rec.size() < 9) return std::string("(nothing)");
    // The records here are shorter than 256 bytes.
    rec += read_n(c.sock, static_cast<unsigned char>(rec[1]) - 9u);
    EXPECT_EQ(rec[7], 'D');
    return rec.substr(9);
  };

  char a[21] = "it's";
  int32_t b = 42;
  int16_t cc = -7;
  double d = 0.5;
  const HostVar ins[] = {{KYT_HOST_TEXT, a}, {KYT_HOST_INT32, &b}, {KYT_HOST_INT16, &cc},
                         {KYT_HOST_DOUBLE, &d}};
  ASSERT_EQ(rpdsql_run("INSERT INTO t1 (a, b, c, d)VALUES(?, ?, ?, ?)", ins), 0);
  EXPECT_EQ(next(), "INSERT INTO T1(A,B,C,D) VALUES('it''s',42,-7,0.5)");

  int32_t nb = 43;
  int16_t other = 3;
  const HostVar upd[] = {{KYT_HOST_INT32, &nb}, {KYT_HOST_TEXT, a}, {KYT_HOST_INT16, &other}};
  ASSERT_EQ(rpdsql_run("UPDATE t1 SET b=?,c=NULL WHERE a = ? AND (b > 1 OR c <> ?)", upd), 0);
  EXPECT_EQ(next(), "UPDATE T1 SET B = 43,C = NULL WHERE A = 'it''s' AND (B > 1 OR C <> 3)");

  // Reads, refusals and failures are not logged; the next record is the DELETE.
  int32_t got = 0;
  const HostVar out[] = {{KYT_HOST_INT32, &got}};
  ASSERT_EQ(rpdsql_run("DECLARE c1 CURSOR FOR SELECT B FROM T1", out), 0);
  rpdsql_run("CLOSE c1");
  EXPECT_NE(rpdsql_run("INSERT INTO T1(A) VALUES(?)", {}), 0);
  EXPECT_NE(rpdsql_run("INSERT INTO NOSUCH(A) VALUES('x')"), 0);
  const HostVar del[] = {{KYT_HOST_INT32, &nb}};
  ASSERT_EQ(rpdsql_run("DELETE FROM T1 WHERE B = ? OR A LIKE 'x%'", del), 0);
  EXPECT_EQ(next(), "DELETE FROM T1 WHERE B = 43 OR A LIKE 'x%'");

  // The rendered statement is one the station's SQL runs again.
  ASSERT_EQ(rpdsql_run("INSERT INTO T1(A,B,C,D) VALUES('it''s',42,-7,0.5)"), 0);
  EXPECT_EQ(next(), "INSERT INTO T1(A,B,C,D) VALUES('it''s',42,-7,0.5)");
  char back[21] = {};
  const HostVar row[] = {{KYT_HOST_TEXT, back}};
  ASSERT_EQ(rpdsql_run("DECLARE c2 CURSOR FOR SELECT A FROM T1 WHERE C = -7", row), 0);
  rpdsql_run("CLOSE c2");
  EXPECT_STREQ(back, "it's");

  // DBLOG not set: nothing is rendered; the next record is the marker.
  ASSERT_EQ(lpdsn_set("DBLOG", "N"), 0);
  ASSERT_EQ(rpdsql_run("DELETE FROM T1"), 0);
  ASSERT_EQ(rpwwrq("marker", 0, 'D'), 0);
  EXPECT_EQ(next(), "marker");
  EXPECT_TRUE(quiet(c.sock));
}

}  // namespace
}  // namespace kyt
