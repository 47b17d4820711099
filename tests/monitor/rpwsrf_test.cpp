// Stop requests: names, polling, priorities, and requests between two processes.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "kyt/kyt.h"
#include "monitor/monitor.h"
#include "monitor/station_env.h"
#include "platform/ipc.h"
#include "platform/platform.h"
#include "sql/trace_capture.h"
#include "testutil.h"

namespace kyt::test {
namespace {

size_t count(const std::string& text, const std::string& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

// A station process watching its stop events: args answer-file, who, priority (-1: every
// event), "reset" to reset what it saw. Writes answer-file.ready when its events are open,
// then checks with a budget of 50 ms until a request comes (at most 60 s) and writes it.
TEST(SecondProcess, SrfWatch) {
  std::vector<std::string> args;
  if (!in_role("SrfWatch", &args)) GTEST_SKIP() << "run by StopRequest tests";
  const std::string answer = args.at(0);
  const int32_t who = std::stoi(args.at(1));
  const int32_t priority = std::stoi(args.at(2));
  if (InitStopRequest(who) != 0) end_role(2);
  write_file(answer + ".ready", "");
  int32_t rc = 0;
  for (int round = 0; round < 1200 && rc == 0; ++round) {
    rc = priority == -1 ? CheckStopRequest(who, 50) : CheckCertainStopRequest(who, priority, 50);
  }
  if (args.size() > 3 && args[3] == "reset") ResetStopRequest(who);
  DeInitStopRequest();
  write_file(answer + ".tmp", std::to_string(rc));
  platform::rename_file((answer + ".tmp").c_str(), answer.c_str());
  end_role(0);
}

TEST(StopRequest, EventNames) {
  EXPECT_EQ(stop_event_name(0, "C:\\KYT\\DB"), "stopevent/Cq/KYT/DB/kytxmt");
  EXPECT_EQ(stop_event_name(1, "C:\\KYT\\DB"), "endevent/Cq/KYT/DB/kytxmt");
  EXPECT_EQ(stop_event_name(2, "/var/kyt/DB"), "stopevent//var/kyt/DB/kytlgw");
  EXPECT_EQ(stop_event_name(3, "D:DB"), "stopevent/DqDB/kytmon");
  // 17 characters around the directory: 254 is taken, 255 refused.
  EXPECT_EQ(stop_event_name(0, std::string(237, 'd')).size(), 254u);
  EXPECT_EQ(stop_event_name(0, std::string(238, 'd')), "");
  EXPECT_EQ(stop_event_name(7, "DB"), "");
  StationEnv env(std::string(238, 'd'));
  EXPECT_EQ(InitStopRequest(KYT_STOP_XMT), 99);
  EXPECT_EQ(InitStopRequest(KYT_STOP_MON), 99);  // "stopevent/" + "/kytmon": as long
  EXPECT_EQ(env.run_files("ev."), 0);
}

TEST(StopRequest, PollingBudget) {
  StationEnv env;
  ASSERT_EQ(InitStopRequest(KYT_STOP_XMT), 0);
  TraceCapture trace;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(CheckStopRequest(KYT_STOP_XMT, 25), 0);
  const auto spent = std::chrono::steady_clock::now() - start;
  EXPECT_GE(spent, std::chrono::milliseconds(20));  // two sleeps of 10 ms between three polls
  std::string text = trace.text();
  EXPECT_EQ(count(text, "CheckStopRequest: MhStopEvent,"), 3u) << text;
  EXPECT_EQ(count(text, "CheckStopRequest: MhEndEvent,"), 3u) << text;
  EXPECT_NE(text.find("rpwsrf: CheckStopRequest: iWho=8, rc=0, iTemp=-5 returned"),
            std::string::npos) << text;
  EXPECT_EQ(CheckStopRequest(KYT_STOP_XMT, 9), 0);
  EXPECT_EQ(count(trace.text(), "CheckStopRequest: MhStopEvent,"), 4u);
  EXPECT_EQ(CheckStopRequest(KYT_STOP_XMT, 10), 0);
  EXPECT_EQ(count(trace.text(), "CheckStopRequest: MhStopEvent,"), 6u);
  // Certain: only the chosen event is polled.
  EXPECT_EQ(CheckCertainStopRequest(KYT_STOP_XMT, 1, 0), 0);
  text = trace.text();
  EXPECT_EQ(count(text, "CheckCertainStopRequest: MhEndEvent,"), 1u);
  EXPECT_EQ(count(text, "CheckCertainStopRequest: MhStopEvent,"), 0u);
  // A request found ends the polling at once, budget or not.
  ASSERT_EQ(SetStopRequest(KYT_STOP_XMT, 2), 0);
  const auto start2 = std::chrono::steady_clock::now();
  EXPECT_EQ(CheckStopRequest(KYT_STOP_XMT, 5000), 97);
  EXPECT_LT(std::chrono::steady_clock::now() - start2, std::chrono::seconds(2));
  EXPECT_EQ(ResetStopRequest(KYT_STOP_XMT), 0);
}

TEST(StopRequest, PrioritiesAndOrder) {
  StationEnv env;
  ASSERT_EQ(InitStopRequest(KYT_STOP_XMT | KYT_STOP_LGW | KYT_STOP_COM), 0);
  EXPECT_EQ(CheckStopRequest(31, 0), 0);
  EXPECT_EQ(SetStopRequest(KYT_STOP_XMT, 0), 0);  // chooses neither event
  EXPECT_EQ(CheckStopRequest(KYT_STOP_XMT, 0), 0);
  EXPECT_EQ(SetStopRequest(KYT_STOP_XMT, 1), 0);
  EXPECT_EQ(CheckStopRequest(KYT_STOP_XMT, 0), 98);  // the end, not the stop
  EXPECT_EQ(CheckStopRequest(KYT_STOP_XMT, 0), 98);  // manual reset: still set
  EXPECT_EQ(SetStopRequest(KYT_STOP_XMT, 2), 0);
  EXPECT_EQ(CheckStopRequest(KYT_STOP_XMT, 0), 97);  // the stop is polled first
  EXPECT_EQ(CheckCertainStopRequest(KYT_STOP_XMT, 1, 0), 98);
  EXPECT_EQ(CheckStopRequest(KYT_STOP_LGW, 0), 0);
  EXPECT_EQ(ResetStopRequest(KYT_STOP_XMT), 0);
  EXPECT_EQ(CheckStopRequest(KYT_STOP_XMT, 0), 0);
  // The monitor's event was not opened: setting it does nothing, checking finds nothing.
  EXPECT_EQ(SetStopRequest(KYT_STOP_MON, 0), 0);
  EXPECT_EQ(CheckStopRequest(KYT_STOP_MON, 0), 0);
  EXPECT_EQ(SetStopRequest(KYT_STOP_LGW, 0), 0);
  EXPECT_EQ(CheckStopRequest(KYT_STOP_XMT | KYT_STOP_MON, 0), 0);
  EXPECT_EQ(CheckStopRequest(31, 0), 98);
  EXPECT_EQ(ResetStopRequest(KYT_STOP_LGW), 0);
  // Communication control: 80, 81, 82 in polling order.
  EXPECT_EQ(SetStopRequest(KYT_STOP_COM, 4), 0);
  EXPECT_EQ(CheckStopRequest(KYT_STOP_COM, 0), 82);
  EXPECT_EQ(SetStopRequest(KYT_STOP_COM, 2), 0);
  EXPECT_EQ(CheckStopRequest(KYT_STOP_COM, 0), 81);
  EXPECT_EQ(CheckCertainStopRequest(KYT_STOP_COM, 4, 0), 82);
  EXPECT_EQ(SetStopRequest(KYT_STOP_COM, 1), 0);
  EXPECT_EQ(CheckStopRequest(KYT_STOP_COM, 0), 80);
  // The transmitter's requests come before communication control.
  EXPECT_EQ(SetStopRequest(KYT_STOP_XMT, 1), 0);
  EXPECT_EQ(CheckStopRequest(KYT_STOP_XMT | KYT_STOP_COM, 0), 98);
  EXPECT_EQ(ResetStopRequest(KYT_STOP_XMT | KYT_STOP_COM), 0);
  EXPECT_EQ(CheckStopRequest(31, 0), 0);
  // Closing keeps the communication events, which live as long as the process.
  EXPECT_EQ(DeInitStopRequest(), 0);
  EXPECT_EQ(SetStopRequest(KYT_STOP_XMT | KYT_STOP_COM, 3), 0);
  EXPECT_EQ(CheckStopRequest(KYT_STOP_XMT | KYT_STOP_COM, 0), 80);
  EXPECT_EQ(ResetStopRequest(KYT_STOP_COM), 0);
  EXPECT_EQ(StopKyt(), 0);
}

TEST(StopRequest, SecondInitOpensNothing) {
  StationEnv env;
  TraceCapture trace;
  ASSERT_EQ(InitStopRequest(KYT_STOP_XMT), 0);
  const auto opened = [&] {
    const std::string t = trace.text();
    return count(t, "InitStopRequest: OpenEvent") + count(t, "InitStopRequest: CreateEvent");
  };
  EXPECT_EQ(opened(), 2u);
  ASSERT_EQ(InitStopRequest(KYT_STOP_XMT), 0);
  EXPECT_EQ(opened(), 2u);
  ASSERT_EQ(InitStopRequest(KYT_STOP_XMT | KYT_STOP_MON), 0);
  EXPECT_EQ(opened(), 3u);
  // After closing, the next Init opens again (the events exist: opened, not created).
  ASSERT_EQ(DeInitStopRequest(), 0);
  ASSERT_EQ(InitStopRequest(KYT_STOP_XMT | KYT_STOP_MON), 0);
  EXPECT_EQ(opened(), 6u);
}

// Waits for the watcher's answer; "" when it did not come.
std::string answer_of(const std::string& answer, intptr_t process) {
  platform::wait_process(process);
  return read_file(answer);
}

TEST(StopRequest, BetweenTwoProcesses) {
  StationEnv env;
  ASSERT_EQ(InitStopRequest(KYT_STOP_XMT | KYT_STOP_MON), 0);
  const std::string answer = env.dir().file("answer");
  // The transmitter told to end, then to stop.
  intptr_t p = start_role("SrfWatch", {answer, "8", "-1"});
  ASSERT_NE(p, -1);
  ASSERT_TRUE(wait_for_file(answer + ".ready"));
  EXPECT_EQ(CheckStopRequest(KYT_STOP_XMT, 0), 0);
  EXPECT_EQ(SetStopRequest(KYT_STOP_XMT, 1), 0);
  EXPECT_EQ(answer_of(answer, p), "98");
  // Not reset by the watcher: still set here, and for the next watcher.
  EXPECT_EQ(CheckStopRequest(KYT_STOP_XMT, 0), 98);
  platform::remove_file(answer.c_str());
  platform::remove_file((answer + ".ready").c_str());
  EXPECT_EQ(SetStopRequest(KYT_STOP_XMT, 2), 0);
  p = start_role("SrfWatch", {answer, "8", "-1", "reset"});
  EXPECT_EQ(answer_of(answer, p), "97");
  // The watcher reset both events: this process sees that.
  EXPECT_EQ(CheckStopRequest(KYT_STOP_XMT, 0), 0);
  // A watcher of the stop event alone does not react to the end event.
  platform::remove_file(answer.c_str());
  platform::remove_file((answer + ".ready").c_str());
  p = start_role("SrfWatch", {answer, "8", "2", "reset"});
  ASSERT_TRUE(wait_for_file(answer + ".ready"));
  EXPECT_EQ(SetStopRequest(KYT_STOP_XMT, 1), 0);
  platform::sleep_ms(300);
  EXPECT_FALSE(platform::file_exists(answer.c_str()));
  EXPECT_EQ(SetStopRequest(KYT_STOP_MON, 0), 0);  // nor to the monitor's
  platform::sleep_ms(200);
  EXPECT_FALSE(platform::file_exists(answer.c_str()));
  EXPECT_EQ(SetStopRequest(KYT_STOP_XMT, 2), 0);
  EXPECT_EQ(answer_of(answer, p), "97");
  EXPECT_EQ(CheckStopRequest(KYT_STOP_MON, 0), 98);
  EXPECT_EQ(ResetStopRequest(KYT_STOP_MON), 0);
  EXPECT_EQ(DeInitStopRequest(), 0);
}

}  // namespace
}  // namespace kyt::test
