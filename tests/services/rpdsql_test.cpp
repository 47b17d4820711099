// rpdsql at the C interface: exceptions from below become a status, the catalogue tables
// refuse changes from outside the table statements, closing the database rolls back.
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "runtime/guard.h"
#include "isam/isam.h"
#include "kyt/kyt.h"
#include "runtime/runtime.h"
#include "sql/sql.h"
#include "sql/trace_capture.h"
#include "stationdb.h"
#include "testutil.h"

namespace kyt {
namespace {

TEST(ApiGuard, EveryExceptionBecomesStatus99WithATraceLine) {
  test::TraceCapture trace;
  EXPECT_EQ(api_guard("kytOk", [] { return 7; }), 7);
  EXPECT_EQ(api_guard("kytNoMemory", []() -> int32_t { throw std::bad_alloc(); }),
            KYT_INTERNAL_ERROR);
  EXPECT_EQ(api_guard("kytLogic", []() -> int32_t { throw std::runtime_error("broken rule"); }),
            99);
  EXPECT_EQ(api_guard("kytOdd", []() -> int32_t { throw 5; }), 99);
  EXPECT_TRUE(trace.has("kytNoMemory: internal error, out of memory; answered 99"));
  EXPECT_TRUE(trace.has("kytLogic: internal error, broken rule; answered 99"));
  EXPECT_TRUE(trace.has("kytOdd: internal error, unknown exception; answered 99"));
  EXPECT_FALSE(trace.has("kytOk"));
}

class RpdsqlTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(test::open_station_db(dir_));
    ASSERT_EQ(run("CREATE TABLE KT (CN INTEGER NOT NULL, NAME CHAR(9))"), 0);
    ASSERT_EQ(run("CREATE UNIQUE INDEX PRIM_KT ON KT (CN)"), 0);
  }
  void TearDown() override {
    test::forget_station();
  }

  static int32_t run(const std::string& s) { return rpdsql_run(s); }

  // The CN values of KT in key order, through the C entry.
  static std::vector<int32_t> cns() { return test::kt_cns(); }

  test::TempDir dir_;
};

TEST_F(RpdsqlTest, CatalogueTablesChangeOnlyThroughTableStatements) {
  ASSERT_EQ(run("INSERT INTO KT VALUES(1, 'one')"), 0);
  for (const char* s : {"DELETE FROM SYSCATLG", "DELETE FROM SYSTEM.SYSCOLS WHERE TNAME = 'KT'",
                        "UPDATE SYSCATLG SET TNAME = 'XX' WHERE TNAME = 'KT'",
                        "INSERT INTO SYSCATLG VALUES('STATION', 'ZZ', 10, 1)"}) {
    EXPECT_EQ(run(s), DBI_E_CATALOGUE) << s;
  }
  // A changing statement prepared as a cursor's runs through the same door.
  int32_t id = -1;
  ASSERT_EQ(isa801_alloc_cursor(&id), 0);
  ASSERT_EQ(isa201_prepare_stat(id, "DELETE FROM SYSCOLS"), 0);
  ASSERT_EQ(isa950_put_input(id, {}), 0);
  EXPECT_EQ(isa203_open_cursor(id), DBI_E_CATALOGUE);
  isa805_set_cursor_frei(id);
  EXPECT_STREQ(sql_status_name(DBI_E_CATALOGUE), "DBI_E_CATALOGUE");
  // The tables are all still known, in this process and after the database is opened anew.
  EXPECT_EQ(cns(), std::vector<int32_t>{1});
  ASSERT_EQ(run("CLOSE DB"), 0);
  EXPECT_EQ(cns(), std::vector<int32_t>{1});
  // The table statements keep writing their own rows.
  ASSERT_EQ(run("CREATE TABLE T2 (A INTEGER)"), 0);
  ASSERT_EQ(run("INSERT INTO T2 VALUES(5)"), 0);
  ASSERT_EQ(run("DROP TABLE T2"), 0);
  EXPECT_EQ(run("INSERT INTO T2 VALUES(5)"), DBI_E_TABERR);
}

TEST_F(RpdsqlTest, CloseDbRollsBackUncommittedWork) {
  ASSERT_EQ(run("INSERT INTO KT VALUES(1, 'kept')"), 0);
  ASSERT_EQ(run("SET AUTOCOMMIT OFF"), 0);
  ASSERT_EQ(run("INSERT INTO KT VALUES(2, 'lost')"), 0);
  EXPECT_TRUE(isa_uncommitted_work());
  ASSERT_EQ(run("CLOSE DB"), 0);
  EXPECT_FALSE(isa_uncommitted_work());
  EXPECT_EQ(cns(), std::vector<int32_t>{1});
}

}  // namespace
}  // namespace kyt
