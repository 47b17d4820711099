// The executor through the statement interface: statements against real tables in a
// temporary database.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "cbt/cbt.h"
#include "isam/isam.h"
#include "runtime/runtime.h"
#include "sql/rpdsql.h"
#include "sql/isa.h"
#include "platform/platform.h"
#include "sql/isatab.h"
#include "sql/schema.h"
#include "sql/status.h"
#include "stationdb.h"
#include "testutil.h"

namespace kyt {
namespace {

class IsaTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(test::open_station_db(dir_));
  }
  void TearDown() override {
    test::forget_station();
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

  // Runs a statement in another process that starts from nothing, as another program of the
  // station would (SecondProcess.RpdsqlStatement); its exit code.
  int child(const std::string& statement) {
    return test::run_role("RpdsqlStatement", {dir_.file("kytenv.dat"), dir_.path(), statement});
  }

  void make_kt() {
    ASSERT_EQ(run("CREATE TABLE KT (CN INTEGER NOT NULL, STATUS CHAR(3) NOT NULL, "
                  "PRIORITY SMALLINT, NAME CHAR(9))"),
              0);
    ASSERT_EQ(run("CREATE UNIQUE INDEX PRIM_KT ON KT (CN)"), 0);
  }

  test::TempDir dir_;
  int32_t kTen = 10;
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
  EXPECT_EQ(run("CREATE TABLE KT (A INTEGER)"), DBI_E_TABERR);
  // A unique index over rows that repeat its key is refused and not made.
  EXPECT_EQ(run("CREATE UNIQUE INDEX BYSTATUS ON KT (STATUS)"), DBI_E_NO_DUP);
  EXPECT_EQ(run("INSERT INTO KT VALUES(11, 'qn', 1, 'again')"), 0);
  EXPECT_EQ(run("CREATE UNIQUE INDEX BYNAME ON KT (NAME, CN)"), 0);
  EXPECT_EQ(run("INSERT INTO KT VALUES(12, 'zz', 1, 'again')"), 0);
}

TEST_F(IsaTest, CursorSlotsAndFetchPastTheEnd) {
  make_kt();
  ASSERT_EQ(run("INSERT INTO KT VALUES(1, 'qn', 1, 'a')"), 0);
  int32_t cn = 0;
  std::vector<HostVar> out{{kTypeInteger, &cn}};
  for (int i = 0; i < kMaxCursors; ++i) {
    ASSERT_EQ(run("DECLARE C" + std::to_string(i) + " CURSOR FOR SELECT CN FROM KT", out), 0) << i;
  }
  EXPECT_EQ(run("DECLARE C99 CURSOR FOR SELECT CN FROM KT", out), DBI_E_CURSOR);
  EXPECT_EQ(run("CLOSE C7"), 0);
  EXPECT_EQ(run("DECLARE C99 CURSOR FOR SELECT CN FROM KT", out), 0);
  // The freed slot went to the tail and was taken from there to the head.
  EXPECT_EQ(isa_cursor_order().front(), 7);
  EXPECT_EQ(run("FETCH C99", out), RPDSQL_NOT_FOUND);
  EXPECT_EQ(run("FETCH C99", out), RPDSQL_NOT_FOUND);
  EXPECT_EQ(run("FETCH NOSUCH", out), DBI_E_CURNOTOPE);
  // Closing the database frees every slot and writes -1 into the callers' variables.
  int32_t id = 0;
  ASSERT_EQ(run("CLOSE DB"), 0);
  ASSERT_EQ(run("OPEN DB"), 0);
  ASSERT_EQ(isa801_alloc_cursor(&id), 0);
  EXPECT_EQ(id, 0);
  ASSERT_EQ(isa110_close_db(), 0);
  EXPECT_EQ(id, -1);
}

TEST_F(IsaTest, UpdateDeleteAndStatementAtomicity) {
  make_kt();
  for (int i = 1; i <= 5; ++i) {
    ASSERT_EQ(run("INSERT INTO KT VALUES(" + std::to_string(i) + ", 'qn', 0, 'n')"), 0);
  }
  // A key change moves the row in the index.
  ASSERT_EQ(run("UPDATE kt SET cn=?, name='moved' WHERE cn == 2", {{kTypeInteger, &kTen}}), 0);
  EXPECT_EQ(rows("SELECT CN, NAME FROM KT"),
            (std::vector<std::string>{"1|n", "3|n", "4|n", "5|n", "10|moved"}));
  // Every row matching is changed once, also when the change keeps it in the scan's way.
  ASSERT_EQ(run("UPDATE KT SET STATUS='ok' WHERE CN >= 3"), 0);
  EXPECT_EQ(rows("SELECT CN FROM KT WHERE STATUS = 'ok'"),
            (std::vector<std::string>{"3", "4", "5", "10"}));
  // Two rows to the same key: the second fails and the statement leaves the table as it was.
  EXPECT_EQ(run("UPDATE KT SET CN = 7 WHERE STATUS = 'ok'"), DBI_E_NO_DUP);
  EXPECT_EQ(rows("SELECT CN, STATUS FROM KT"),
            (std::vector<std::string>{"1|qn", "3|ok", "4|ok", "5|ok", "10|ok"}));
  EXPECT_EQ(run("DELETE FROM KT WHERE CN = 4 OR NAME LIKE 'mov%'"), 0);
  EXPECT_EQ(rows("SELECT CN FROM KT"), (std::vector<std::string>{"1", "3", "5"}));
  EXPECT_EQ(run("DELETE FROM KT"), 0);
  EXPECT_TRUE(rows("SELECT CN FROM KT").empty());
}

// A literal beyond 64 bits once wrapped: 18446744073709551617 ran as 1, -18446744073709551615
// as 1 too. Such a statement is refused and changes nothing.
TEST_F(IsaTest, IntegerLiteralsBeyond64BitsAreRefusedNotWrapped) {
  make_kt();
  ASSERT_EQ(run("INSERT INTO KT VALUES(1, 'qn', 1, 'one')"), 0);
  int32_t st = 0;
  EXPECT_TRUE(rows("SELECT CN FROM KT WHERE CN = 18446744073709551617", &st).empty());
  EXPECT_EQ(st, DBI_E_SYNTAX);  // the executor's own parser
  EXPECT_EQ(run("DELETE FROM KT WHERE CN = -18446744073709551615"), LPDBI_E_NUMBER_RANGE);
  EXPECT_EQ(run("UPDATE KT SET NAME = 'x' WHERE CN = 18446744073709551617"), LPDBI_E_NUMBER_RANGE);
  EXPECT_EQ(run("INSERT INTO KT VALUES(18446744073709551618, 'qn', 1, 'two')"), LPDBI_E_NUMBER_RANGE);
  EXPECT_EQ(run("CREATE TABLE T2 (A CHAR(18446744073709551617))"), LPDBI_E_NUMBER_RANGE);
  EXPECT_EQ(rows("SELECT CN, NAME FROM KT"), (std::vector<std::string>{"1|one"}));
  rows("SELECT A FROM T2", &st);
  EXPECT_EQ(st, DBI_E_TABERR);
}

TEST_F(IsaTest, RollbackRestoresEveryChangeAndCommitKeepsThem) {
  make_kt();
  ASSERT_EQ(run("INSERT INTO KT VALUES(1, 'qn', 1, 'one')"), 0);
  ASSERT_EQ(run("INSERT INTO KT VALUES(2, 'qn', 2, 'two')"), 0);
  ASSERT_EQ(sqlSetAutocommOff(), 0);
  ASSERT_EQ(sqlSetAutocommOff(), 0);  // nested: nothing issued
  ASSERT_EQ(run("INSERT INTO KT VALUES(3, 'qn', 3, 'three')"), 0);
  ASSERT_EQ(run("UPDATE KT SET CN = 20, NAME = 'x' WHERE CN = 2"), 0);
  ASSERT_EQ(run("DELETE FROM KT WHERE CN = 1"), 0);
  ASSERT_EQ(run("CREATE TABLE TMP (A INTEGER)"), 0);
  EXPECT_EQ(rows("SELECT CN, NAME FROM KT"), (std::vector<std::string>{"3|three", "20|x"}));
  ASSERT_EQ(sqlRollback(), 0);
  EXPECT_EQ(rows("SELECT CN, NAME FROM KT"), (std::vector<std::string>{"1|one", "2|two"}));
  int32_t st = 0;
  rows("SELECT A FROM TMP", &st);
  EXPECT_EQ(st, DBI_E_TABERR);
  EXPECT_FALSE(platform::file_exists((dir_.path() + "/TMP.DB").c_str()));
  ASSERT_EQ(run("DELETE FROM KT WHERE CN = 2"), 0);
  ASSERT_EQ(run("DROP TABLE KT"), 0);
  ASSERT_EQ(sqlRollback(), 0);  // the drop is undone too
  EXPECT_EQ(rows("SELECT CN FROM KT"), (std::vector<std::string>{"1", "2"}));
  ASSERT_EQ(run("INSERT INTO KT VALUES(9, 'qn', 9, 'nine')"), 0);
  ASSERT_EQ(sqlCommit(), 0);
  ASSERT_EQ(sqlSetAutocommOn(), 0);
  ASSERT_EQ(sqlSetAutocommOn(), 0);
  ASSERT_EQ(sqlCloseDB(), 0);
  EXPECT_EQ(rows("SELECT CN FROM KT", &st).size(), 0u);  // closed: nothing to read
  ASSERT_EQ(run("OPEN DB"), 0);
  EXPECT_EQ(rows("SELECT CN FROM KT"), (std::vector<std::string>{"1", "2", "9"}));
  ASSERT_EQ(sqlDropTable("KT"), 0);
  EXPECT_FALSE(platform::file_exists((dir_.path() + "/KT.DB").c_str()));
  std::vector<std::string> problems;
  EXPECT_TRUE(icheck_db((dir_.path() + "/SYSCOLS").c_str(), &problems, 10));
}

// A unit of the library (begin, work, commit or rollback, end) called inside a transaction
// the caller opened itself joins it: its commit is the caller's to make, and its rollback
// takes the whole transaction, so that nothing of a failed unit is committed later.
TEST_F(IsaTest, UnitsNestInTheCallersOwnTransaction) {
  make_kt();
  auto unit = [&](const std::string& statement, bool ok) {
    EXPECT_EQ(sqlSetAutocommOff(), 0);
    EXPECT_EQ(run(statement), 0);
    EXPECT_EQ(ok ? sqlCommit() : sqlRollback(), 0);
    EXPECT_EQ(sqlSetAutocommOn(), 0);
  };
  ASSERT_EQ(run("SET AUTOCOMMIT OFF"), 0);
  ASSERT_EQ(run("INSERT INTO KT VALUES(1, 'qn', 1, 'mine')"), 0);
  unit("INSERT INTO KT VALUES(2, 'qn', 2, 'unit')", true);
  EXPECT_TRUE(isa_transaction_open()) << "the caller's transaction goes on";
  ASSERT_EQ(run("ROLLBACK WORK"), 0);
  EXPECT_TRUE(rows("SELECT CN FROM KT").empty()) << "the unit's commit was the caller's";

  ASSERT_EQ(run("INSERT INTO KT VALUES(3, 'qn', 3, 'mine')"), 0);
  unit("INSERT INTO KT VALUES(4, 'qn', 4, 'unit')", true);
  ASSERT_EQ(run("COMMIT WORK"), 0);
  EXPECT_EQ(rows("SELECT CN FROM KT"), (std::vector<std::string>{"3", "4"}));

  ASSERT_EQ(run("INSERT INTO KT VALUES(5, 'qn', 5, 'mine')"), 0);
  unit("INSERT INTO KT VALUES(6, 'qn', 6, 'unit')", false);
  ASSERT_EQ(run("COMMIT WORK"), 0);
  ASSERT_EQ(run("SET AUTOCOMMIT ON"), 0);
  EXPECT_EQ(rows("SELECT CN FROM KT"), (std::vector<std::string>{"3", "4"}));

  // Outside a transaction of the caller a unit is a transaction of its own again.
  unit("INSERT INTO KT VALUES(7, 'qn', 7, 'unit')", true);
  EXPECT_FALSE(isa_transaction_open());
  EXPECT_EQ(rows("SELECT CN FROM KT"), (std::vector<std::string>{"3", "4", "7"}));
}

TEST_F(IsaTest, OrderByMakesOneSortIndexAndScansItBackwards) {
  const SchemaTable* js = schema_table("JS");
  ASSERT_NE(js, nullptr);
  ASSERT_EQ(run(create_table_text(*js)), 0);
  for (const std::string& s : create_index_texts(*js)) ASSERT_EQ(run(s), 0);
  for (int i = 1; i <= 6; ++i) {
    std::string v = std::to_string(i);
    ASSERT_EQ(run("INSERT INTO JS (CN, VDSN, UIDSENDER, SIDSENDER, SIDRCV, CNTSENDATT, BATCHJOB, "
                  "UIDCREATOR) VALUES(" + v + ", 'D', 'U', 'S', 'R', " + std::to_string(i % 3) +
                  ", 'job', 'C')"),
              0);
  }
  EXPECT_EQ(rows("SELECT CN, CNTSENDATT FROM JS ORDER BY CNTSENDATT DESC"),
            (std::vector<std::string>{"5|2", "2|2", "4|1", "1|1", "6|0", "3|0"}));
  EXPECT_EQ(rows("SELECT CN, CNTSENDATT FROM JS ORDER BY CNTSENDATT DESC"),
            (std::vector<std::string>{"5|2", "2|2", "4|1", "1|1", "6|0", "3|0"}));
  EXPECT_EQ(rows("SELECT CN, CNTSENDATT FROM JS WHERE CNTSENDATT > 0 ORDER BY CNTSENDATT"),
            (std::vector<std::string>{"1|1", "4|1", "2|2", "5|2"}));
  ASSERT_EQ(run("CLOSE DB"), 0);
  IsamDb* db = iopen_db((dir_.path() + "/JS").c_str());
  ASSERT_NE(db, nullptr);
  std::vector<std::string> names;
  for (const char* const* n = iindex_names(db); *n != nullptr; ++n) names.emplace_back(*n);
  iclose_db(db);
  EXPECT_EQ(std::count(names.begin(), names.end(), "S1"), 1);
  EXPECT_EQ(std::count(names.begin(), names.end(), "S2"), 0);
  int32_t st = 0;
  ASSERT_EQ(run("OPEN DB"), 0);
  rows("SELECT CN FROM JS ORDER BY JS.CN", &st);
  EXPECT_EQ(st, DBI_E_EXECERR);
}

// Key ranges must not change what a scan finds: every condition is run once as written
// (the range is used) and once with "OR 1 = 0" around it (a full scan).
TEST_F(IsaTest, KeyRangesFindWhatFullScansFind) {
  ASSERT_EQ(run("CREATE TABLE KR (A INTEGER NOT NULL, B CHAR(4) NOT NULL, C SMALLINT)"), 0);
  ASSERT_EQ(run("CREATE UNIQUE INDEX PRIM_KR ON KR (A, B)"), 0);
  std::mt19937 rng(7);
  const char* words[] = {"", "a", "ab", "b", "ba", "zz", "abc"};
  for (int i = 0; i < 300; ++i) {
    int a = static_cast<int>(rng() % 21) - 10;
    std::string b = words[rng() % 7];
    run("INSERT INTO KR VALUES(" + std::to_string(a) + ", '" + b + "', " +
        std::to_string(rng() % 5) + ")");
  }
  const char* ops[] = {"=", "<>", "<", ">", "<=", ">="};
  for (int i = 0; i < 300; ++i) {
    std::string cond = "A " + std::string(ops[rng() % 6]) + " " + std::to_string(int(rng() % 25) - 12);
    if (rng() % 2) cond += " AND B " + std::string(ops[rng() % 6]) + " '" + words[rng() % 7] + "'";
    if (rng() % 3 == 0) cond = "A = " + std::to_string(int(rng() % 21) - 10) + " AND " + cond;
    if (rng() % 4 == 0) cond += " AND C < 3";
    std::string order = rng() % 2 ? " ORDER BY A DESC, B" : "";
    int32_t s1 = 0, s2 = 0;
    auto ranged = rows("SELECT A, B, C FROM KR WHERE " + cond + order, &s1);
    auto full = rows("SELECT A, B, C FROM KR WHERE (" + cond + ") OR 1 = 0" + order, &s2);
    ASSERT_EQ(s1, s2) << cond;
    ASSERT_EQ(ranged, full) << cond << order;
  }
}

// Cursors and statements on one table share its indexes; each cursor reads on from where
// it stood, whatever the others did meanwhile.
TEST_F(IsaTest, InterleavedCursorsAndChangesKeepTheirPlaces) {
  make_kt();
  for (int i = 1; i <= 30; ++i) {
    ASSERT_EQ(run("INSERT INTO KT VALUES(" + std::to_string(i) + ", 'qn', " + std::to_string(i % 4) + ", 'n')"), 0);
  }
  int32_t a = 0, b = 0;
  std::vector<HostVar> va{{kTypeInteger, &a}}, vb{{kTypeInteger, &b}};
  ASSERT_EQ(run("DECLARE A CURSOR FOR SELECT CN FROM KT", va), 0);
  ASSERT_EQ(run("DECLARE B CURSOR FOR SELECT CN FROM KT ORDER BY CN DESC", vb), 0);
  std::vector<int32_t> got_a{a}, got_b{b};
  for (int step = 0; step < 40; ++step) {
    if (step == 5) {
      ASSERT_EQ(run("DELETE FROM KT WHERE CN = 8 OR CN = 25"), 0);
    }
    if (step == 9) {
      ASSERT_EQ(run("UPDATE KT SET PRIORITY = 9 WHERE PRIORITY = 1"), 0);
    }
    if (run("FETCH A", va) == 0) got_a.push_back(a);
    if (step % 2 == 0 && run("FETCH B", vb) == 0) got_b.push_back(b);
  }
  std::vector<int32_t> want_a, want_b;
  for (int i = 1; i <= 30; ++i) {
    if (i != 8 && i != 25) want_a.push_back(i);
  }
  // B had read 30 .. 28 when the rows went; it reads on below, without 25 and 8.
  for (int i = 30; i >= 1 && want_b.size() < got_b.size(); --i) {
    if (i != 8 && i != 25) want_b.push_back(i);
  }
  EXPECT_EQ(got_a, want_a);
  EXPECT_EQ(got_b, want_b);
  EXPECT_EQ(rows("SELECT CN FROM KT WHERE PRIORITY = 9").size(), 7u);
}

TEST_F(IsaTest, TablesWithoutPrimaryKeepEqualRowsInFileOrder) {
  const SchemaTable* lc = schema_table("LC");
  ASSERT_EQ(run(create_table_text(*lc)), 0);
  EXPECT_TRUE(create_index_texts(*lc).empty());
  ASSERT_EQ(run("INSERT INTO LC VALUES(7)"), 0);
  ASSERT_EQ(run("INSERT INTO LC VALUES(7)"), 0);
  ASSERT_EQ(run("INSERT INTO LC VALUES(3)"), 0);
  EXPECT_EQ(rows("SELECT CN FROM LC"), (std::vector<std::string>{"7", "7", "3"}));
  ASSERT_EQ(run("SET AUTOCOMMIT OFF"), 0);
  ASSERT_EQ(run("INSERT INTO LC VALUES(7)"), 0);
  ASSERT_EQ(run("UPDATE LC SET CN = 8 WHERE CN = 7"), 0);
  EXPECT_EQ(rows("SELECT CN FROM LC WHERE CN = 8").size(), 3u);
  ASSERT_EQ(run("ROLLBACK WORK"), 0);
  ASSERT_EQ(run("SET AUTOCOMMIT ON"), 0);
  std::vector<std::string> got = rows("SELECT CN FROM LC");
  std::sort(got.begin(), got.end());
  EXPECT_EQ(got, (std::vector<std::string>{"3", "7", "7"}));
  EXPECT_EQ(rows("SELECT CN FROM LC ORDER BY CN DESC"), (std::vector<std::string>{"7", "7", "3"}));
}

extern "C" int rpdsql_client_steps(void);

// The second process of OtherProcessesUseTablesBetweenStatements: opens the database of
// the environment file args[0] with DB args[1] and runs the statement args[2].
TEST(SecondProcess, RpdsqlStatement) {
  std::vector<std::string> args;
  if (!test::in_role("RpdsqlStatement", &args)) GTEST_SKIP() << "a second process of IsaTest";
  const bool ok = lpdsn_init_file(args.at(0)) == 0 && lpdsn_set("DB", args.at(1).c_str()) == 0 &&
                  rpdsql_run("OPEN DB") == 0 && rpdsql_run(args.at(2)) == 0;
  test::end_role(ok ? 0 : 1);
}

// Between statements a table is free for other processes, and what they changed is what
// the next statement here sees; while a cursor uses it, it is not.
TEST_F(IsaTest, OtherProcessesUseTablesBetweenStatements) {
  make_kt();
  ASSERT_EQ(run("INSERT INTO KT VALUES(1, 'qn', 1, 'here')"), 0);
  EXPECT_EQ(rows("SELECT CN FROM KT"), (std::vector<std::string>{"1"}));
  EXPECT_EQ(child("INSERT INTO KT VALUES(2, 'qs', 2, 'there')"), 0);
  EXPECT_EQ(rows("SELECT CN, NAME FROM KT"), (std::vector<std::string>{"1|here", "2|there"}));
  EXPECT_EQ(child("UPDATE KT SET NAME = 'changed' WHERE CN = 1"), 0);
  EXPECT_EQ(child("DELETE FROM KT WHERE CN = 2"), 0);
  EXPECT_EQ(rows("SELECT CN, NAME FROM KT"), (std::vector<std::string>{"1|changed"}));

  int32_t cn = 0;
  std::vector<HostVar> out{{kTypeInteger, &cn}};
  ASSERT_EQ(run("INSERT INTO KT VALUES(4, 'qn', 4, 'mine')"), 0);
  ASSERT_EQ(run("DECLARE C1 CURSOR FOR SELECT CN FROM KT", out), 0);
  EXPECT_EQ(cn, 1);
  EXPECT_EQ(child("INSERT INTO KT VALUES(3, 'qn', 3, 'blocked')"), 1);
  ASSERT_EQ(run("CLOSE C1"), 0);
  EXPECT_EQ(child("INSERT INTO KT VALUES(3, 'qn', 3, 'later')"), 0);
  EXPECT_EQ(rows("SELECT CN, NAME FROM KT"),
            (std::vector<std::string>{"1|changed", "3|later", "4|mine"}));
  std::vector<std::string> problems;
  EXPECT_TRUE(icheck_db(dir_.file("KT").c_str(), &problems, 10));
  for (const std::string& p : problems) ADD_FAILURE() << p;
}

// A snapshot cursor reads its rows at DECLARE and gives the table back: other processes
// change it meanwhile, and the cursor still delivers the rows as they were, in its order.
// A cursor keeps the mode it was declared with; a transaction keeps its tables whatever the
// mode.
TEST_F(IsaTest, SnapshotCursorsLeaveTheTableToOthers) {
  make_kt();
  for (int i = 1; i <= 5; ++i) {
    ASSERT_EQ(run("INSERT INTO KT VALUES(" + std::to_string(i) + ", 'qn', " + std::to_string(i) +
                  ", 'n" + std::to_string(i) + "')"),
              0);
  }
  EXPECT_EQ(isa_cursor_mode(), kCursorStable);
  EXPECT_FALSE(isa_set_cursor_mode(0));
  EXPECT_FALSE(isa_set_cursor_mode(3));
  EXPECT_EQ(isa_cursor_mode(), kCursorStable);

  int32_t cn = 0;
  char name[10] = "";
  std::vector<HostVar> out{{kTypeInteger, &cn}, {kTypeChar, name}};
  ASSERT_EQ(run("DECLARE STABLE CURSOR FOR SELECT CN, NAME FROM KT", out), 0);
  ASSERT_TRUE(isa_set_cursor_mode(kCursorSnapshot));
  ASSERT_EQ(run("DECLARE SNAP CURSOR FOR SELECT CN, NAME FROM KT WHERE PRIORITY > 1 "
                "ORDER BY CN DESC",
                out),
            0);
  EXPECT_EQ(cn, 5);
  EXPECT_STREQ(name, "n5");
  EXPECT_EQ(child("DELETE FROM KT WHERE CN = 4"), 1) << "the stable cursor still holds KT";
  ASSERT_EQ(run("CLOSE STABLE"), 0);
  EXPECT_EQ(child("DELETE FROM KT WHERE CN = 4"), 0);
  EXPECT_EQ(child("INSERT INTO KT VALUES(6, 'qn', 6, 'n6')"), 0);
  std::vector<std::string> got;
  while (run("FETCH SNAP", out) == 0) got.push_back(std::to_string(cn) + "|" + name);
  EXPECT_EQ(got, (std::vector<std::string>{"4|n4", "3|n3", "2|n2"}));
  EXPECT_EQ(run("FETCH SNAP", out), RPDSQL_NOT_FOUND);
  ASSERT_EQ(run("CLOSE SNAP"), 0);

  // Read through isa_fetch_texts too (kytadm sql), empty results included.
  EXPECT_EQ(rows("SELECT CN, NAME FROM KT WHERE CN > 2"),
            (std::vector<std::string>{"3|n3", "5|n5", "6|n6"}));
  int32_t status = 0;
  EXPECT_TRUE(rows("SELECT CN FROM KT WHERE CN > 99", &status).empty());
  EXPECT_EQ(status, DBI_W_END_FETCH);
  EXPECT_EQ(run("DECLARE NONE CURSOR FOR SELECT CN, NAME FROM KT WHERE CN > 99", out),
            RPDSQL_NOT_FOUND);
  ASSERT_EQ(run("CLOSE NONE"), 0);

  // Inside a transaction the snapshot sees the transaction's own rows, and the table stays
  // this process's until the transaction ends.
  ASSERT_EQ(run("SET AUTOCOMMIT OFF"), 0);
  ASSERT_EQ(run("INSERT INTO KT VALUES(7, 'qn', 7, 'n7')"), 0);
  ASSERT_EQ(run("DECLARE SNAP CURSOR FOR SELECT CN, NAME FROM KT WHERE CN > 5", out), 0);
  EXPECT_EQ(cn, 6);
  EXPECT_EQ(child("INSERT INTO KT VALUES(8, 'qn', 8, 'n8')"), 1);
  ASSERT_EQ(run("ROLLBACK WORK"), 0);
  ASSERT_EQ(run("SET AUTOCOMMIT ON"), 0);
  EXPECT_EQ(run("FETCH SNAP", out), 0);
  EXPECT_EQ(cn, 7) << "kept as read";
  ASSERT_EQ(run("CLOSE SNAP"), 0);
  EXPECT_EQ(child("INSERT INTO KT VALUES(8, 'qn', 8, 'n8')"), 0);
  EXPECT_EQ(rows("SELECT CN FROM KT WHERE CN > 5"), (std::vector<std::string>{"6", "8"}));
  std::vector<std::string> problems;
  EXPECT_TRUE(icheck_db(dir_.file("KT").c_str(), &problems, 10));
  for (const std::string& p : problems) ADD_FAILURE() << p;
}

TEST_F(IsaTest, ClientProgramInC) { EXPECT_EQ(rpdsql_client_steps(), 0); }

}  // namespace
}  // namespace kyt
