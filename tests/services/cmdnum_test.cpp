// Command numbers from LC: a fresh database, odd contents of LC, deleted commands, a reopened
// database, the caller's transaction, and a second process drawing from the same database.
#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <string>
#include <vector>

#include "isam/isam.h"
#include "runtime/lpdsn.h"
#include "services/cmdnum.h"
#include "sql/pool.h"  // pool_reset_for_tests
#include "sql/sql.h"
#include "sql/tables/tables.h"
#include "testutil.h"

namespace kyt {
namespace {

void reset_all() {
  pool_reset_for_tests();
  rpdsql_reset_for_tests();
  isam_reset_for_tests();
  lpdsn_reset_for_tests();
}

// Opens (and on first use makes) the database of the environment file `env`.
int32_t open_db(const std::string& env, const std::string& dir) {
  reset_all();
  if (lpdsn_init_file(env) != 0) return -1;
  if (lpdsn_set("DB", dir.c_str()) != 0) return -1;
  return rpdsql_run("OPEN DB");
}

// Every CN of LC, in file order.
std::vector<int32_t> lc_rows() {
  std::vector<int32_t> out;
  int32_t cn = 0;
  const HostVar hv[] = {{kTypeInteger, &cn}};
  int32_t rc = rpdsql_run("DECLARE T_LC CURSOR FOR SELECT CN FROM LC", hv);
  while (rc == OK_STATE) {
    out.push_back(cn);
    rc = rpdsql_run("FETCH T_LC", hv);
  }
  rpdsql_run("CLOSE T_LC");
  return out;
}

class CmdNumTest : public ::testing::Test {
 protected:
  void SetUp() override {
    test::write_file(dir_.file("kytenv.dat"), "");
    ASSERT_EQ(open_db(env(), dir_.path()), 0);
    ASSERT_EQ(isa_create_catalogue(), 0);
    ASSERT_EQ(createLCtable(), 0);
    ASSERT_EQ(createKTtable(), 0);
  }
  void TearDown() override {
    rpdsql_run("CLOSE DB");
    reset_all();
  }
  std::string env() const { return dir_.file("kytenv.dat"); }
  int32_t draw() {
    int32_t cn = -1;
    last_rc_ = next_command_number(&cn);
    return cn;
  }
  test::TempDir dir_;
  int32_t last_rc_ = 0;
};

TEST_F(CmdNumTest, FreshDatabaseCountsFromOne) {
  EXPECT_EQ(lc_rows(), std::vector<int32_t>{});
  EXPECT_EQ(draw(), 1);
  EXPECT_EQ(draw(), 2);
  EXPECT_EQ(draw(), 3);
  EXPECT_EQ(last_rc_, 0);
  EXPECT_EQ(lc_rows(), std::vector<int32_t>{3});  // one row, the last number
  kyt_lc_elem e{};
  EXPECT_EQ(getLCelem(&e), 0);
  EXPECT_EQ(e.cn, 3);
  EXPECT_EQ(next_command_number(nullptr), RC_INTERNAL_ERROR);
}

TEST_F(CmdNumTest, OddContentsOfLC) {
  // The counter row of a newly created database.
  kyt_lc_elem e{};
  e.cn = 0;
  ASSERT_EQ(insLCelem(&e), 0);
  EXPECT_EQ(draw(), 1);
  EXPECT_EQ(lc_rows(), std::vector<int32_t>{1});
  // Several rows: the largest counts, and all of them take the new number.
  for (int32_t v : {9, 4}) {
    e.cn = v;
    ASSERT_EQ(insLCelem(&e), 0);
  }
  EXPECT_EQ(draw(), 10);
  EXPECT_EQ(lc_rows(), (std::vector<int32_t>{10, 10, 10}));
  EXPECT_EQ(draw(), 11);
  // A negative value counts as 0.
  ASSERT_EQ(rpdsql_run("DELETE FROM LC"), 0);
  e.cn = -50;
  ASSERT_EQ(insLCelem(&e), 0);
  EXPECT_EQ(draw(), 1);
  // No number after the last one: refused, LC unchanged.
  ASSERT_EQ(rpdsql_run("DELETE FROM LC"), 0);
  e.cn = INT32_MAX;
  ASSERT_EQ(insLCelem(&e), 0);
  EXPECT_EQ(draw(), 0);
  EXPECT_EQ(last_rc_, RC_INTERNAL_ERROR);
  EXPECT_EQ(lc_rows(), std::vector<int32_t>{INT32_MAX});
}

TEST_F(CmdNumTest, NoRepeatAfterDeletedCommandsAndReopen) {
  for (int i = 0; i < 3; ++i) {
    kyt_kt_elem kt{};
    kt.cn = draw();
    ASSERT_EQ(last_rc_, 0);
    std::snprintf(kt.cmdtype, sizeof kt.cmdtype, "SE");
    std::snprintf(kt.status, sizeof kt.status, "qn");
    ASSERT_EQ(insKT(&kt), 0) << kt.cn;
  }
  for (int32_t cn : {1, 2, 3}) ASSERT_EQ(delKTelem(cn), 0);
  EXPECT_EQ(draw(), 4);
  // Closed and opened again, as by another run of the program.
  ASSERT_EQ(rpdsql_run("CLOSE DB"), 0);
  ASSERT_EQ(open_db(env(), dir_.path()), 0);
  EXPECT_EQ(draw(), 5);
}

TEST_F(CmdNumTest, CallersTransactionDecides) {
  EXPECT_EQ(draw(), 1);
  // Rolled back together with the command row that carried it: the number comes again.
  ASSERT_EQ(sqlSetAutocommOff(), 0);
  kyt_kt_elem kt{};
  kt.cn = draw();
  EXPECT_EQ(kt.cn, 2);
  ASSERT_EQ(insKT(&kt), 0);
  ASSERT_EQ(sqlRollback(), 0);
  ASSERT_EQ(sqlSetAutocommOn(), 0);
  EXPECT_EQ(getKTelemByCn(2, &kt), RPDSQL_NOT_FOUND);
  EXPECT_EQ(draw(), 2);
  // Committed: it stays taken.
  ASSERT_EQ(sqlSetAutocommOff(), 0);
  EXPECT_EQ(draw(), 3);
  EXPECT_EQ(draw(), 4);
  ASSERT_EQ(sqlCommit(), 0);
  ASSERT_EQ(sqlSetAutocommOn(), 0);
  EXPECT_EQ(draw(), 5);
}

// The second process: draws `n` numbers and writes them to a file, one a line. Exit 0; 3
// when LC was held by the other process on the first draw; 1 for another failure.
TEST(SecondProcess, CmdNumDraw) {
  std::vector<std::string> args;
  if (!test::in_role("CmdNumDraw", &args)) GTEST_SKIP() << "run by CmdNumTest.TwoProcesses";
  if (open_db(args.at(0), args.at(1)) != 0) test::end_role(1);
  const int n = std::stoi(args.at(2));
  std::string out;
  for (int i = 0; i < n; ++i) {
    int32_t cn = 0;
    const int32_t rc = next_command_number(&cn);
    if (rc == DBI_E_LOCKED && i == 0) test::end_role(3);
    if (rc != 0) test::end_role(1);
    out += std::to_string(cn) + "\n";
  }
  test::write_file(args.at(3), out);
  rpdsql_run("CLOSE DB");
  test::end_role(0);
}

TEST_F(CmdNumTest, TwoProcesses) {
  const std::string got = dir_.file("child.txt");
  EXPECT_EQ(draw(), 1);
  EXPECT_EQ(draw(), 2);
  EXPECT_EQ(test::run_role("CmdNumDraw", {env(), dir_.path(), "3", got}), 0);
  EXPECT_EQ(test::read_file(got), "3\n4\n5\n");
  EXPECT_EQ(draw(), 6);
  // While this process holds a drawn number in an open transaction, the other cannot draw
  // at all (LC stays locked), so it can never be handed the same number.
  ASSERT_EQ(sqlSetAutocommOff(), 0);
  EXPECT_EQ(draw(), 7);
  EXPECT_EQ(test::run_role("CmdNumDraw", {env(), dir_.path(), "1", got}), 3);
  ASSERT_EQ(sqlCommit(), 0);
  ASSERT_EQ(sqlSetAutocommOn(), 0);
  EXPECT_EQ(test::run_role("CmdNumDraw", {env(), dir_.path(), "2", got}), 0);
  EXPECT_EQ(test::read_file(got), "8\n9\n");
  EXPECT_EQ(draw(), 10);
}

}  // namespace
}  // namespace kyt
