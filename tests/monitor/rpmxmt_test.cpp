// Transmitter control against the stand-in transmitter (kyt_fakexmt, started as kytxmt).
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>

#include "kyt/kyt.h"
#include "monitor/monitor.h"
#include "monitor/station_env.h"
#include "platform/ipc.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "testutil.h"

namespace kyt::test {
namespace {

// The environment of StationEnv with the stand-in in place as SYSTEM's kytxmt.exe.
class Transmitter : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string self = platform::executable_path();
    const bool exe = self.size() > 4 && self.substr(self.size() - 4) == ".exe";
    const std::filesystem::path fake =
        std::filesystem::path(self).parent_path() / (exe ? "kyt_fakexmt.exe" : "kyt_fakexmt");
    std::filesystem::copy_file(fake, env_.dir().file("kytxmt.exe"));
    rpmxmt_set_waits_for_tests(200, 50);
  }
  void TearDown() override {
    // A stand-in still running is told to go.
    if (xmt_running() && InitStopRequest(KYT_STOP_XMT) == 0) {
      SetStopRequest(KYT_STOP_XMT, 2);
      wait_until_stopped();
      ResetStopRequest(KYT_STOP_XMT);
      DeInitStopRequest();
    }
  }
  std::string record() const { return read_file(env_.dir().file("xmt.rec")); }
  std::string args() const { return read_file(env_.dir().file("xmt.args")); }
  std::string log() const { return read_file(env_.dir().file("DB") + platform::path_separator() + "rlog.log"); }
  // Waits until the stand-in has its pipe ready (it writes its arguments then).
  bool wait_ready(size_t lines) const {
    for (int i = 0; i < 600; ++i) {
      const std::string a = args();
      if (static_cast<size_t>(std::count(a.begin(), a.end(), '\n')) >= lines) return true;
      platform::sleep_ms(50);
    }
    return false;
  }
  bool wait_record(const std::string& want) const {
    for (int i = 0; i < 600 && record() != want; ++i) platform::sleep_ms(50);
    return record() == want;
  }
  static bool wait_until_stopped() {
    for (int i = 0; i < 600; ++i) {
      if (!xmt_running()) return true;
      platform::sleep_ms(50);
    }
    return false;
  }
  StationEnv env_;
};

TEST(TransmitterPipe, Names) {
  StationEnv env("C:\\KYT\\DB");
  std::string name;
  ASSERT_EQ(xmt_pipe_name(&name), 0);
  EXPECT_EQ(name, "\\\\.\\pipe\\Cq\\KYT\\DB\\kytxmt");
  EXPECT_EQ(xmt_ready_name(name), "//./pipe/Cq/KYT/DB/kytxmt");
  StationEnv fits(std::string(238, 'd'));
  ASSERT_EQ(xmt_pipe_name(&name), 0);
  EXPECT_EQ(name.size(), 254u);
  StationEnv too_long(std::string(239, 'd'));
  EXPECT_EQ(xmt_pipe_name(&name), 99);
  EXPECT_EQ(xmt_send('a'), 99);
}

TEST_F(Transmitter, StartCommandsAndStop) {
  EXPECT_FALSE(xmt_running());
  EXPECT_EQ(xmt_send('a'), 99);  // nobody there
  // A command entry starts the transmitter that does not run; nothing is sent.
  EXPECT_EQ(xmt_activate(), 0) << log();
  ASSERT_TRUE(wait_ready(1)) << log();
  EXPECT_TRUE(xmt_running());
  EXPECT_NE(log().find("XMT_START"), std::string::npos);
  EXPECT_EQ(args(), "/e" + env_.envfile() + "\n");
  EXPECT_EQ(xmt_start(), 4);
  EXPECT_NE(log().find("XMT_ACTIVE"), std::string::npos);
  EXPECT_EQ(xmt_activate(), 0) << log();
  EXPECT_EQ(xmt_poll(), 0) << log();
  EXPECT_EQ(xmt_newwork(), 0);
  EXPECT_EQ(xmt_jobdone(), 0);
  EXPECT_EQ(xmt_stop(), 0);
  ASSERT_TRUE(wait_until_stopped());
  EXPECT_EQ(record(), "apnjs");
  // Stopped by this process: the entries refuse until the next start.
  EXPECT_EQ(xmt_activate(), 8);
  EXPECT_EQ(xmt_poll(), 8);
  EXPECT_EQ(xmt_stop(), 8);
  EXPECT_NE(log().find("XMT_STOPPED"), std::string::npos);
  EXPECT_FALSE(xmt_running());
  // The pipe kept open from before leads nowhere now: a failure, not a crash.
  EXPECT_EQ(xmt_send('n'), 99);
  // In test mode the transmitter is told so.
  int16_t on = 1;
  ASSERT_EQ(rpdprm_run("set", "TESTMODE", &on), 0);
  EXPECT_EQ(xmt_start(), 0) << log();
  ASSERT_TRUE(wait_ready(2)) << log();
  EXPECT_EQ(args(), "/e" + env_.envfile() + "\n/e" + env_.envfile() + " /t\n");
  EXPECT_EQ(xmt_newwork(), 0);
  EXPECT_EQ(xmt_stop(), 0);
  ASSERT_TRUE(wait_until_stopped());
  EXPECT_EQ(record(), "apnjsns");
}

TEST_F(Transmitter, KilledAndStartedAgain) {
  EXPECT_EQ(xmt_start(), 0) << log();
  ASSERT_TRUE(wait_ready(1)) << log();
  EXPECT_EQ(xmt_activate(), 0) << log();
  ASSERT_TRUE(wait_record("a"));  // read before the kill, not merely written
  // Killed with the pipe open here: the next send fails (no signal ends this process), and
  // the transmitter no longer counts as running.
  const uint32_t pid = static_cast<uint32_t>(std::stoul(read_file(env_.dir().file("xmt.pid"))));
  ASSERT_TRUE(platform::kill_process_id(pid));
  ASSERT_TRUE(wait_until_stopped());
  EXPECT_EQ(xmt_send('n'), 99);
  // A command entry starts it again, and the next one reaches the new process.
  EXPECT_EQ(xmt_poll(), 0) << log();
  ASSERT_TRUE(wait_ready(2)) << log();
  EXPECT_EQ(xmt_poll(), 0) << log();
  EXPECT_EQ(xmt_stop(), 0);
  ASSERT_TRUE(wait_until_stopped());
  EXPECT_EQ(record(), "aps");
}

TEST_F(Transmitter, NotListeningGetsNothing) {
  write_file(env_.envfile(), read_file(env_.envfile()) + "FAKEXMT_NOREADY=1\n");
  EXPECT_EQ(xmt_start(), 0) << log();
  ASSERT_TRUE(wait_ready(1)) << log();
  ASSERT_TRUE(xmt_running());
  // The pipe is there, the readiness event is not: nothing is written.
  EXPECT_EQ(xmt_send('a'), 99);
  EXPECT_EQ(xmt_activate(), 99);
  EXPECT_EQ(xmt_stop(), 99);
  // Its stop event still reaches it.
  ASSERT_EQ(InitStopRequest(KYT_STOP_XMT), 0);
  ASSERT_EQ(SetStopRequest(KYT_STOP_XMT, 1), 0);
  ASSERT_TRUE(wait_until_stopped());
  EXPECT_EQ(ResetStopRequest(KYT_STOP_XMT), 0);
  EXPECT_EQ(DeInitStopRequest(), 0);
  EXPECT_EQ(record(), "E");
}

TEST_F(Transmitter, FailuresToStartAndStop) {
  // Not running: six attempts one wait apart, then 12.
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(xmt_stop(), 12);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
  // No program pattern to complete.
  ASSERT_EQ(lpdsn_set("DSN_PGM", env_.dir().file("kytxmt.exe").c_str()), 0);
  EXPECT_EQ(xmt_spawn(), 99);
  EXPECT_NE(log().find("FUNCTION_FAILED"), std::string::npos);
  // A program that is not there.
  ASSERT_EQ(lpdsn_set("DSN_PGM", env_.dir().file("nothere%s.exe").c_str()), 0);
  EXPECT_NE(xmt_spawn(), 0);
  EXPECT_EQ(xmt_start(), 99);
  EXPECT_FALSE(xmt_running());
  EXPECT_EQ(log().find("XMT_START"), std::string::npos);
}

}  // namespace
}  // namespace kyt::test
