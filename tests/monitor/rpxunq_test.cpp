// Unique-process semaphores between real processes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kyt/kyt.h"
#include "monitor/monitor.h"
#include "monitor/station_env.h"
#include "platform/ipc.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "testutil.h"

namespace kyt::test {
namespace {

// Takes the semaphore of args[1], answers through the file args[0] with its code and then
// holds it until it is killed (or, with args[2] "exit", ends at once without releasing).
TEST(SecondProcess, UnqHolder) {
  std::vector<std::string> args;
  if (!in_role("UnqHolder", &args)) GTEST_SKIP() << "run by Rpxunq tests";
  const int32_t rc = rpxunq(1, args.at(1).c_str());
  write_file(args.at(0) + ".tmp", std::to_string(rc));
  platform::rename_file((args.at(0) + ".tmp").c_str(), args.at(0).c_str());
  if (args.size() > 2 && args[2] == "exit") end_role(rc);
  for (int i = 0; i < 600; ++i) platform::sleep_ms(100);
  end_role(rc);
}

// Takes and releases the semaphore of args[1] args[2] times and answers through args[0]
// how many of the takes were refused.
TEST(SecondProcess, UnqCycler) {
  std::vector<std::string> args;
  if (!in_role("UnqCycler", &args)) GTEST_SKIP() << "run by Rpxunq tests";
  int refused = 0;
  for (int i = 0; i < std::stoi(args.at(2)); ++i) {
    if (rpxunq(1, args.at(1).c_str()) != 0) ++refused;
    rpxunq(2, args.at(1).c_str());
  }
  write_file(args.at(0) + ".tmp", std::to_string(refused));
  platform::rename_file((args.at(0) + ".tmp").c_str(), args.at(0).c_str());
  end_role(0);
}

TEST(Rpxunq, NameFromTheDatabaseDirectory) {
  StationEnv env("C:\\KYT\\DB");
  EXPECT_EQ(unique_name("KYTXMT"), "/sem/Cx/KYT/DB/KYTXMT");
  // Only six characters of the process count; the prefix stays what it was first made.
  EXPECT_EQ(unique_name("KYTMONITOR"), "/sem/Cx/KYT/DB/KYTMON");
  ASSERT_EQ(lpdsn_set("DB", "E:\\OTHER"), 0);
  EXPECT_EQ(unique_name("KYTLGW"), "/sem/Cx/KYT/DB/KYTLGW");
  // Formed afresh (a new process): the directory is cut to 242 characters.
  rpxunq_reset_for_tests();
  ASSERT_EQ(lpdsn_set("DB", std::string(250, 'd').c_str()), 0);
  EXPECT_EQ(unique_name("KYTXMT"), "/sem/" + std::string(242, 'd') + "/KYTXMT");
  // No environment to read: the installation's default directory and DB.
  rpxunq_reset_for_tests();
  lpdsn_reset_for_tests();
  platform::set_env("KYTENV", env.dir().file("nothere.dat").c_str());
  std::string fallback = std::string("/sem/") + platform::default_install_path() + "/DB/KYTMON";
  for (char& c : fallback) {
    if (c == ':') c = 'x';
    if (c == '\\') c = '/';
  }
  EXPECT_EQ(unique_name("KYTMON"), fallback);
}

TEST(Rpxunq, ActionsInOneProcess) {
  StationEnv env;
  EXPECT_EQ(rpxunq(2, "KYTXMT"), 99);  // nothing taken yet: no table
  EXPECT_EQ(rpxunq(0, "KYTXMT"), 8);
  EXPECT_EQ(rpxunq(4, "KYTXMT"), 8);
  EXPECT_EQ(rpxunq(1, nullptr), 99);
  EXPECT_EQ(rpxunq(3, "KYTXMT"), 0);
  EXPECT_EQ(env.run_files("sem."), 0);  // the test leaves nothing behind
  EXPECT_EQ(rpxunq(1, "KYTXMT"), 0);
  EXPECT_EQ(rpxunq(1, "KYTXMT"), 4);  // a second take in the same process
  EXPECT_EQ(rpxunq(3, "KYTXMT"), 4);
  EXPECT_EQ(rpxunq(3, "KYTMON"), 0);  // another name is another semaphore
  EXPECT_EQ(rpxunq(2, "KYTXMT"), 0);
  EXPECT_EQ(rpxunq(2, "KYTXMT"), 0);  // released twice: nothing to do
  EXPECT_EQ(rpxunq(3, "KYTXMT"), 0);
  EXPECT_EQ(env.run_files("sem."), 0);
}

TEST(Rpxunq, HolderInAnotherProcess) {
  StationEnv env;
  const std::string answer = env.dir().file("answer");
  const intptr_t holder = start_role("UnqHolder", {answer, "KYTXMT"});
  ASSERT_NE(holder, -1);
  ASSERT_TRUE(wait_for_file(answer));
  EXPECT_EQ(read_file(answer), "0");
  EXPECT_EQ(rpxunq(1, "KYTXMT"), 4);
  EXPECT_EQ(rpxunq(3, "KYTXMT"), 4);
  EXPECT_EQ(rpxunq(3, "KYTMON"), 0);
  // Killed without a chance to let go: the system drops the semaphore.
  ASSERT_TRUE(platform::kill_process(holder));
  platform::wait_process(holder);
  EXPECT_EQ(rpxunq(3, "KYTXMT"), 0);
  EXPECT_EQ(rpxunq(1, "KYTXMT"), 0);
  // Now this process holds it and a second process is refused.
  platform::remove_file(answer.c_str());
  EXPECT_EQ(run_role("UnqHolder", {answer, "KYTXMT", "exit"}), 4);
  EXPECT_EQ(read_file(answer), "4");
  EXPECT_EQ(rpxunq(2, "KYTXMT"), 0);
  // A process that ends without releasing leaves the name free as well.
  platform::remove_file(answer.c_str());
  EXPECT_EQ(run_role("UnqHolder", {answer, "KYTXMT", "exit"}), 0);
  EXPECT_EQ(rpxunq(3, "KYTXMT"), 0);
  // What a dead holder left (a POSIX lock file) goes with the next holder's release.
  EXPECT_EQ(rpxunq(1, "KYTXMT"), 0);
  EXPECT_EQ(rpxunq(2, "KYTXMT"), 0);
  EXPECT_EQ(env.run_files("sem."), 0);
}

// A process that asks whether another runs (the transmitter control polls while the
// transmitter starts) must never make that other's take fail.
TEST(Rpxunq, TestingNeverTurnsATakerAway) {
  StationEnv env;
  const std::string answer = env.dir().file("answer");
  const intptr_t cycler = start_role("UnqCycler", {answer, "KYTXMT", "2000"});
  ASSERT_NE(cycler, -1);
  int tests = 0, failed = 0;
  while (!platform::file_exists(answer.c_str()) && tests < 1000000) {
    const int32_t rc = rpxunq(3, "KYTXMT");
    if (rc != 0 && rc != 4) ++failed;
    ++tests;
  }
  platform::wait_process(cycler);
  if (platform::unique_lingers_while_tested())
    EXPECT_LT(std::stoi(read_file(answer)), 2000) << "after " << tests << " tests";
  else
    EXPECT_EQ(read_file(answer), "0") << "after " << tests << " tests";
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(rpxunq(3, "KYTXMT"), 0);
  EXPECT_EQ(env.run_files("sem."), 0);
}

}  // namespace
}  // namespace kyt::test
