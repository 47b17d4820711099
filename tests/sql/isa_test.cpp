// The executor through the statement interface: statements against real tables in a
// temporary database.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "isam/isam.h"
#include "runtime/lpdsn.h"
#include "services/rpdsql.h"
#include "sql/isa.h"
#include "sql/isatab.h"
#include "sql/status.h"
#include "testutil.h"

namespace kyt {
namespace {

class IsaTest : public ::testing::Test {
 protected:
  void SetUp() override {
    rpdsql_reset_for_tests();
    isam_reset_for_tests();
    lpdsn_reset_for_tests();
    test::write_file(dir_.file("kytenv.dat"), "");
    ASSERT_EQ(lpdsn_init_file(dir_.file("kytenv.dat")), 0);
    ASSERT_EQ(lpdsn_set("DB", dir_.path().c_str()), 0);
    ASSERT_EQ(rpdsql_run("OPEN DB"), 0);
    ASSERT_EQ(isa_create_catalogue(), 0);
  }
  void TearDown() override {
    rpdsql_reset_for_tests();
    isam_reset_for_tests();
    lpdsn_reset_for_tests();
  }

  int32_t run(const std::string& s, std::vector<HostVar> vars = {}) { return rpdsql_run(s, vars); }

  // Every row of a SELECT as "a|b|c" lines, through a cursor.
  std::vector<std::string> rows(const std::string& select, int32_t* status = nullptr) {
    std::vector<std::string> out;
    int32_t id = -1;
    int32_t rc = isa801_alloc_cursor(&id);
    if (rc == 0) rc = isa201_prepare_stat(id, select);
    if (rc == 0) rc = isa950_put_input(id, {});
    if (rc == 0) rc = isa203_open_cursor(id);
    std::vector<std::optional<std::string>> row;
    while (rc == 0 && (rc = isa_fetch_texts(id, &row)) == 0) {
      std::string line;
      for (size_t i = 0; i < row.size(); ++i) line += (i ? "|" : "") + row[i].value_or("");
      out.push_back(line);
    }
    if (id >= 0) isa805_set_cursor_frei(id);
    if (status != nullptr) *status = rc;
    return out;
  }

  void make_kt() {
    ASSERT_EQ(run("CREATE TABLE KT (CN INTEGER NOT NULL, STATUS CHAR(3) NOT NULL, "
                  "PRIORITY SMALLINT, NAME CHAR(9))"),
              0);
    ASSERT_EQ(run("CREATE UNIQUE INDEX PRIM_KT ON KT (CN)"), 0);
  }

  test::TempDir dir_;
};

TEST_F(IsaTest, CreateInsertSelect) {
  make_kt();
  EXPECT_EQ(run("INSERT INTO KT VALUES(5, 'qn', 3, 'five')"), 0);
  EXPECT_EQ(run("INSERT INTO KT (CN, STATUS) VALUES(-2, 'ab')"), 0);
  EXPECT_EQ(run("INSERT INTO KT VALUES(7, 'qn', NULL, 'it''s')"), 0);
  EXPECT_EQ(rows("SELECT CN, STATUS, PRIORITY, NAME FROM KT"),
            (std::vector<std::string>{"5|qn|3|five", "7|qn||it's", "-2|ab||"}));
  EXPECT_EQ(run("INSERT INTO KT VALUES(5, 'xx', 1, 'dup')"), DBI_E_NO_DUP);
  EXPECT_EQ(run("INSERT INTO KT (STATUS) VALUES('zz')"), DBI_E_NOT_NULL);
  EXPECT_EQ(run("INSERT INTO KT VALUES(8, 'qn', 70000, 'big')"), DBI_E_VALUE);
  EXPECT_EQ(rows("SELECT CN FROM KT WHERE STATUS = 'qn' AND CN > 5"),
            (std::vector<std::string>{"7"}));
}

}  // namespace
}  // namespace kyt
