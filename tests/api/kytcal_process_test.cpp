// kytcal in other processes of the station: a process defines its own command set and draws
// its numbers from the same counter; a process that ends with its line's work inside an
// open transaction leaves no row and gives its number back.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api/batchdb.h"

namespace kyt::test {
namespace {

// The lines of the role, each answered "RC CN" in the output file.
std::string run_lines(const std::vector<std::string>& lines) {
  std::string out;
  for (const std::string& l : lines) {
    int32_t cn = -1;
    const int32_t rc = kytcal(static_cast<int32_t>(l.size()), l.c_str(), nullptr, nullptr,
                              nullptr, &cn);
    out += std::to_string(rc) + " " + std::to_string(cn) + "\n";
  }
  return out;
}

TEST(SecondProcess, KytcalLines) {
  std::vector<std::string> args;
  if (!in_role("KytcalLines", &args)) GTEST_SKIP() << "run by KytcalProcessTest";
  if (lpdsn_init_file(args.at(0)) != 0 || lpdsn_set("DB", args.at(1).c_str()) != 0) end_role(1);
  if (args.at(2) == "commit") {
    write_file(args.at(3), run_lines({"USER /CREATE UID=CHILD NAME=c", "OPCMD CMD=x"}));
    rpdsql_run("CLOSE DB");
    end_role(0);
  }
  // The line runs inside a transaction of the process's own that is never ended.
  if (sqlSetAutocommOff() != 0) end_role(1);
  write_file(args.at(3), run_lines({"USER /CREATE UID=LOST NAME=l"}));
  end_role(0);
}

using KytcalProcessTest = BatchTest;

TEST_F(KytcalProcessTest, NumbersAndRowsAcrossProcesses) {
  const std::string env = dir_.file("kytenv.dat");
  const std::string got = dir_.file("child.txt");
  ASSERT_EQ(call("USER /CREATE UID=PARENT NAME=p").cn, 1);
  ASSERT_EQ(run_role("KytcalLines", {env, dir_.path(), "commit", got}), 0);
  EXPECT_EQ(read_file(got), "0 2\n0 3\n");
  kyt_bt_elem u{};
  EXPECT_EQ(getBTelemByUid("CHILD", &u), 0);
  EXPECT_STREQ(kt(3).cmdtype, "OK");
  EXPECT_EQ(call("END").cn, 4);

  ASSERT_EQ(run_role("KytcalLines", {env, dir_.path(), "open", got}), 0);
  EXPECT_EQ(read_file(got), "0 5\n");  // done inside the child's transaction...
  EXPECT_EQ(getBTelemByUid("LOST", &u), RPDSQL_NOT_FOUND);  // ...which its end rolled back
  EXPECT_EQ(call("END").cn, 5);
  kyt_kt_elem k{};
  EXPECT_EQ(getKTelemByCn(6, &k), RPDSQL_NOT_FOUND);
}

}  // namespace
}  // namespace kyt::test
