// Statuses of the executor that tell an operator what is wrong with a table rather than
// with the program: rows whose stored fields do not fit their columns, tables another
// process holds, keys too long for an index; and the severe-error report of a real
// internal failure, which names the failing step with the codes it had.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "isam/isam.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "sql/rpdsql.h"
#include "sql/sqltype.h"
#include "sql/isa.h"
#include "sql/status.h"
#include "testutil.h"

namespace kyt {
namespace {

class TableStatusTest : public ::testing::Test {
 protected:
  void SetUp() override { open(dir_.path()); }
  void TearDown() override { reset(); }

  static void reset() {
    rpdsql_reset_for_tests();
    isam_reset_for_tests();
    lpdsn_reset_for_tests();
  }
  // The station database in `dir`, as a process of the station starts it.
  static void open(const std::string& dir) {
    reset();
    test::write_file(dir + "/kytenv.dat", "");
    ASSERT_EQ(lpdsn_init_file(dir + "/kytenv.dat"), 0);
    ASSERT_EQ(lpdsn_set("DB", dir.c_str()), 0);
    ASSERT_EQ(rpdsql_run("OPEN DB"), 0);
    ASSERT_EQ(isa_create_catalogue(), 0);
  }

  static int32_t run(const std::string& s, std::vector<HostVar> vars = {}) {
    return rpdsql_run(s, vars);
  }

  // A statement with what it wrote to standard error.
  static int32_t run_quoted(const std::string& s, std::string* err, std::vector<HostVar> vars = {}) {
    testing::internal::CaptureStderr();
    const int32_t rc = run(s, vars);
    *err = testing::internal::GetCapturedStderr();
    return rc;
  }

  void make_kt() {
    ASSERT_EQ(run("CREATE TABLE KT (CN INTEGER NOT NULL, STATUS CHAR(3) NOT NULL, "
                  "PRIORITY SMALLINT, NAME CHAR(9))"),
              0);
    ASSERT_EQ(run("CREATE UNIQUE INDEX PRIM_KT ON KT (CN)"), 0);
    for (int cn = 1; cn <= 3; ++cn) {
      ASSERT_EQ(run("INSERT INTO KT VALUES(" + std::to_string(cn) + ", 'qn', 5, 'row')"), 0);
    }
  }

  // Adds a record to KT's files as another program could write it, past the executor.
  void add_raw_record(const std::vector<std::string>& fields) {
    ASSERT_EQ(run("CLOSE DB"), 0);
    IsamDb* db = iopen_db(dir_.file("KT").c_str());
    ASSERT_NE(db, nullptr);
    std::vector<const char*> values;
    for (const std::string& f : fields) values.push_back(f.c_str());
    EXPECT_EQ(iaddrec(db, ihandle(db, "PRIMARY"), values.data()), 1);
    ASSERT_EQ(iclose_db(db), 1);
    ASSERT_EQ(run("OPEN DB"), 0);
  }

  // CN and NAME of every row through DECLARE and FETCH into host variables, and the status
  // that ended the list.
  std::vector<std::string> fetch_all(int32_t* status) {
    std::vector<std::string> rows;
    int32_t cn = 0;
    char name[9] = {};
    std::vector<HostVar> out{{kTypeInteger, &cn}, {kTypeChar, name}};
    int32_t rc = run("DECLARE C1 CURSOR FOR SELECT CN, NAME FROM KT", out);
    while (rc == 0) {
      rows.push_back(std::to_string(cn) + "|" + name);
      rc = run("FETCH C1", out);
    }
    run("CLOSE C1");
    *status = rc;
    return rows;
  }

  test::TempDir dir_;
};

TEST_F(TableStatusTest, FieldsLongerThanTheirColumnsMakeTheRowDamaged) {
  make_kt();
  // NAME is CHAR(9): 8 bytes and a zero byte. One record 300 bytes long, one far longer
  // than a whole row, one with a number column holding no number.
  add_raw_record({"+0000000004", "qn", "+00005", std::string(300, 'n')});
  const std::vector<std::string> sound{"1|row", "2|row", "3|row"};
  std::string err;
  EXPECT_EQ(run_quoted("UPDATE KT SET STATUS = 'ok'", &err), DBI_E_DAMAGED);
  EXPECT_EQ(err.find("Severe"), std::string::npos) << err;
  EXPECT_EQ(run("DELETE FROM KT WHERE CN >= 2"), DBI_E_DAMAGED);
  int32_t rc = 0;
  EXPECT_EQ(fetch_all(&rc), sound);
  EXPECT_EQ(rc, DBI_E_DAMAGED);
  // A snapshot cursor reads on to the damaged row at DECLARE and answers it where a stable
  // one would.
  ASSERT_TRUE(isa_set_cursor_mode(kCursorSnapshot));
  EXPECT_EQ(fetch_all(&rc), sound);
  EXPECT_EQ(rc, DBI_E_DAMAGED);
  ASSERT_TRUE(isa_set_cursor_mode(kCursorStable));
  // Nothing was changed by the refused statements; rows that are not read stay usable.
  EXPECT_EQ(run("UPDATE KT SET NAME = 'two' WHERE CN = 2"), 0);
  EXPECT_EQ(run("DELETE FROM KT WHERE CN = 3"), 0);
  EXPECT_EQ(fetch_all(&rc), (std::vector<std::string>{"1|row", "2|two"}));
  EXPECT_EQ(rc, DBI_E_DAMAGED);

  add_raw_record({"+0000000005", "qn", "+00005", std::string(6000, 'm')});
  EXPECT_EQ(run("UPDATE KT SET STATUS = 'ok' WHERE CN = 5"), DBI_E_DAMAGED);
  EXPECT_EQ(run("DELETE FROM KT WHERE CN = 5"), DBI_E_DAMAGED);

  add_raw_record({"+0000000006", "qn", "five", "six"});
  int16_t priority = 0;
  std::vector<HostVar> out{{kTypeSmallint, &priority}};
  EXPECT_EQ(run("DECLARE C2 CURSOR FOR SELECT PRIORITY FROM KT WHERE CN = 6", out), DBI_E_DAMAGED);
  run("CLOSE C2");
  EXPECT_EQ(run("DELETE FROM KT WHERE CN <= 2"), 0);
}

TEST_F(TableStatusTest, KeyTooLongForTheIndexKeepsItsCause) {
  ASSERT_EQ(run("CREATE TABLE KL (K CHAR(9000) NOT NULL, V INTEGER)"), 0);
  ASSERT_EQ(run("CREATE UNIQUE INDEX PRIM_KL ON KL (K)"), 0);
  ASSERT_EQ(run("INSERT INTO KL VALUES('short', 1)"), 0);
  std::string key(8200, 'z');
  int32_t v = 2;
  std::vector<HostVar> in{{kTypeChar, key.data()}, {kTypeInteger, &v}};
  std::string err;
  EXPECT_EQ(run_quoted("INSERT INTO KL VALUES(?, ?)", &err, in), DBI_E_KEY_TOO_LONG);
  EXPECT_EQ(err, "");
  // The cause, not what the clean-up after it left.
  EXPECT_EQ(isam_errno, kIsamKeyTooLong);
  EXPECT_STREQ(sql_status_text(DBI_E_KEY_TOO_LONG), "key too long for the index");
  std::vector<HostVar> set{{kTypeChar, key.data()}};
  EXPECT_EQ(run("UPDATE KL SET K = ? WHERE V = 1", set), DBI_E_KEY_TOO_LONG);
  // A search for a key no index entry can be as long as finds nothing; it is no failure.
  std::vector<HostVar> where{{kTypeChar, key.data()}};
  EXPECT_EQ(run("DELETE FROM KL WHERE K = ?", where), 0);
  EXPECT_EQ(run("DELETE FROM KL WHERE K >= ?", where), 0);
  char got[16] = {};
  std::vector<HostVar> find{{kTypeChar, key.data()}, {kTypeChar, got}};
  EXPECT_EQ(run("DECLARE C1 CURSOR FOR SELECT K FROM KL WHERE K < ?", find), 0);
  EXPECT_STREQ(got, "short");
  run("CLOSE C1");
}

// A real internal failure keeps its report, and the report names the step that failed
// with the engine's codes of that moment.
TEST_F(TableStatusTest, SevereReportNamesTheFailingStep) {
  ASSERT_EQ(run("CREATE TABLE KI (CN INTEGER NOT NULL)"), 0);
  ASSERT_EQ(run("CLOSE DB"), 0);
  test::write_file(dir_.file("KI.IDX"), std::string(4096, 'U'));
  ASSERT_EQ(run("OPEN DB"), 0);
  std::string err;
  EXPECT_EQ(run_quoted("INSERT INTO KI VALUES(1)", &err), RC_INTERNAL_ERROR);
  EXPECT_NE(err.find("Severe data base error"), std::string::npos) << err;
  EXPECT_NE(err.find("failing step: iopen_db on "), std::string::npos) << err;
  EXPECT_NE(err.find("isatrans.cpp("), std::string::npos) << err;
  EXPECT_NE(err.find("isam_errno: Error from cbt level"), std::string::npos) << err;
  EXPECT_EQ(isam_errno, kIsamCbt);
}

// The second process of the lock test: every statement on the table the first one holds
// answers DBI_E_LOCKED, without a severe-error report; the check leaves it alone.
TEST(TableStatusChild, StatementsOnATableHeldElsewhere) {
  std::string dir;
  if (!platform::get_env("KYT_TABLE_LOCK_CHILD", &dir)) GTEST_SKIP() << "run by TableStatusTest.TableLockedByAnotherProcess";
  rpdsql_reset_for_tests();
  isam_reset_for_tests();
  lpdsn_reset_for_tests();
  ASSERT_EQ(lpdsn_init_file(dir + "/kytenv.dat"), 0);
  ASSERT_EQ(lpdsn_set("DB", dir.c_str()), 0);
  int32_t cn = 0;
  std::vector<HostVar> out{{kTypeInteger, &cn}};
  for (const char* s : {"INSERT INTO KT VALUES(7, 'qn', 1, 'child')", "UPDATE KT SET NAME = 'x'",
                        "DELETE FROM KT", "DECLARE C1 CURSOR FOR SELECT CN FROM KT"}) {
    testing::internal::CaptureStderr();
    const int32_t rc = rpdsql_run(s, std::string(s).rfind("DECLARE", 0) == 0 ? out : std::vector<HostVar>{});
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(rc, DBI_E_LOCKED) << s;
    EXPECT_EQ(err, "") << s;
  }
  EXPECT_STREQ(sql_status_text(DBI_E_LOCKED), "table locked by another process");
  // The other tables are free.
  EXPECT_EQ(rpdsql_run("CREATE TABLE KO (CN INTEGER)"), 0);
  std::vector<std::string> problems;
  EXPECT_FALSE(icheck_db((dir + "/KT").c_str(), &problems, 10));
  EXPECT_EQ(isam_errno, kIsamLocked);
  EXPECT_TRUE(icheck_db((dir + "/KO").c_str(), &problems, 10));
  test::write_file(dir + "/child.ran", "");
  rpdsql_reset_for_tests();
  isam_reset_for_tests();
  lpdsn_reset_for_tests();
}

TEST_F(TableStatusTest, TableLockedByAnotherProcess) {
  make_kt();
  ASSERT_EQ(run("SET AUTOCOMMIT OFF"), 0);
  ASSERT_EQ(run("INSERT INTO KT VALUES(4, 'qn', 1, 'mine')"), 0);  // held until the commit
  ASSERT_TRUE(platform::set_env("KYT_TABLE_LOCK_CHILD", dir_.path().c_str()));
  const int rc = platform::run_process({platform::executable_path(),
                                        "--gtest_filter=TableStatusChild.*", "--gtest_brief=1"});
  platform::set_env("KYT_TABLE_LOCK_CHILD", nullptr);
  EXPECT_EQ(rc, 0);
  EXPECT_TRUE(platform::file_exists(dir_.file("child.ran").c_str()));
  ASSERT_EQ(run("COMMIT WORK"), 0);
  ASSERT_EQ(run("SET AUTOCOMMIT ON"), 0);
  int32_t status = 0;
  EXPECT_EQ(fetch_all(&status), (std::vector<std::string>{"1|row", "2|row", "3|row", "4|mine"}));
  EXPECT_EQ(status, RPDSQL_NOT_FOUND);
}

}  // namespace
}  // namespace kyt
