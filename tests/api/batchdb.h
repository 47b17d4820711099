// A station database for the tests of the batch command entry: schema, default parameters,
// the command set and parameter cache of a new process, and kytcal in one call.
#ifndef KYT_TESTS_API_BATCHDB_H
#define KYT_TESTS_API_BATCHDB_H

#include <gtest/gtest.h>

#include <string>

#include "api/kytcmd.h"
#include "kyt/kyt.h"
#include "services/services.h"
#include "sql/sql.h"
#include "stationdb.h"

namespace kyt::test {

// What kytcal answered for one line.
struct Call {
  int32_t rc = -100;
  char severity = 0;
  std::string msg;
  int32_t msglen = 0;
  int32_t cn = -1;
};

class BatchTest : public ::testing::Test {
 protected:
  void SetUp() override {
    reset();
    ASSERT_TRUE(open_station_db(dir_, {{"DSN_MON_INIT", dir_.file("none.dat")},
                                       {"DSN_KYT_LOG", dir_.file("rlog.log")}}));
    ASSERT_EQ(rpdini(), 0);
    ASSERT_EQ(rpdipr(nullptr), 0);
    api::set_batch_output([this](std::string_view t) { out_.append(t); });
  }
  void TearDown() override { reset(); }
  static void reset() {
    api::kytcmd_reset_for_tests();
    rpdprm_reset_for_tests();
    set_calling_user(nullptr);
    forget_station();
  }
  static Call call(const std::string& line) {
    Call c;
    char msg[256] = {};
    c.msglen = sizeof msg;
    c.rc = kytcal(static_cast<int32_t>(line.size()), line.c_str(), &c.severity, msg, &c.msglen,
                  &c.cn);
    c.msg = msg;
    return c;
  }
  static int32_t rc(const std::string& line) { return call(line).rc; }
  // Runs a statement that must succeed.
  static void sql(const std::string& statement) {
    ASSERT_EQ(rpdsql_run(statement), 0) << statement;
  }
  static kyt_kt_elem kt(int32_t cn) {
    kyt_kt_elem e{};
    EXPECT_EQ(getKTelemByCn(cn, &e), 0) << "no KT row " << cn;
    return e;
  }
  // The rows of a table (a negative status when they cannot be counted).
  static int32_t count(Tab t) {
    int32_t n = 0;
    const int32_t rc = tm::count(t, "count", "TESTCNT", nullptr, {}, &n);
    return rc == 0 || rc == RPDSQL_NOT_FOUND ? n : -rc;
  }
  TempDir dir_;
  std::string out_;  // the batch output
};

}  // namespace kyt::test

#endif  // KYT_TESTS_API_BATCHDB_H
