// The statement interface parser: lexical quirks, binding, and one status per refusal.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sql/ISAsqlutil.h"
#include "sql/isa.h"
#include "sql/isadbg.h"
#include "sql/isapar.h"
#include "sql/isatab.h"
#include "sql/isaval.h"
#include "sql/pool.h"
#include "sql/schema.h"
#include "sql/status.h"
#include "sql/stmt.h"
#include "trace_capture.h"

namespace kyt {
namespace {

class SqlLpdbi : public ::testing::Test {
 protected:
  void TearDown() override {
    pool_reset_for_tests();
    isatab_reset_for_tests();
  }
  int32_t parse(const std::string& text, std::vector<HostVar> hv = {}) {
    hv_ = std::move(hv);
    return lpdbi_parse(text, hv_, &st_);
  }
  std::vector<HostVar> n_ints(size_t n) {
    return std::vector<HostVar>(n, HostVar{kTypeInteger, &i32_});
  }
  DbiStatement st_;
  std::vector<HostVar> hv_;
  int32_t i32_ = 5;
};

TEST_F(SqlLpdbi, ValuesWithBlankBeforeParenthesisIsASyntaxError) {
  test::TraceCapture trace;
  EXPECT_EQ(parse("INSERT INTO LC(CN) VALUES (?)", n_ints(1)), LPDBI_E_SYNTAX);
  EXPECT_EQ(st_.op, DbiOp::kNone);
  EXPECT_TRUE(trace.has("lpdbi: syntax error"));
  EXPECT_TRUE(trace.has("last token read was |VALUES|"));
  EXPECT_TRUE(trace.has(" stmt = |INSERT INTO LC(CN) VALUES (?)|"));
  EXPECT_EQ(parse("CREATE TABLE X (A CHAR (2))"), LPDBI_E_SYNTAX);  // likewise CHAR (
  EXPECT_EQ(parse("insert into lc(cn) values(?)", n_ints(1)), OK_STATE);
}

TEST_F(SqlLpdbi, EqualAndDoubleEqualBuildTheSameTree) {
  ASSERT_EQ(parse("DELETE FROM KT WHERE CN = 1"), OK_STATE);
  std::string single = stmt_text(*st_.stmt);
  const EXPR* w = st_.stmt->p_where;
  EXPECT_EQ(w->flags, 32768u);
  EXPECT_EQ(w->left->flags, 256u);
  EXPECT_EQ(w->right->flags, 1024u);
  EXPECT_EQ(w->right->value.len, 4);
  ASSERT_EQ(parse("DELETE FROM KT WHERE CN==1"), OK_STATE);
  EXPECT_EQ(stmt_text(*st_.stmt), single);
  EXPECT_EQ(st_.stmt->p_where->flags, 32768u);
}

TEST_F(SqlLpdbi, StringsUnquoteDoubledQuotes) {
  ASSERT_EQ(parse("UPDATE KT SET STATUS = 'it''s', HELDBY = '''', XIDHELD = ''"), OK_STATE);
  EXPECT_STREQ(st_.stmt->set[0].value->value.val.s, "it's");
  EXPECT_EQ(st_.stmt->set[0].value->value.len, 4);
  EXPECT_STREQ(st_.stmt->set[1].value->value.val.s, "'");
  EXPECT_STREQ(st_.stmt->set[2].value->value.val.s, "");
  EXPECT_EQ(stmt_text(*st_.stmt), "UPDATE KT SET STATUS = 'it''s',HELDBY = '''',XIDHELD = ''");
  EXPECT_EQ(parse("UPDATE KT SET STATUS = 'open"), LPDBI_E_SYNTAX);
}

TEST_F(SqlLpdbi, IntIsAcceptedHereAndRefusedByIsapar) {
  const char* text = "CREATE TABLE X (A INT NOT NULL, B int)";
  ASSERT_EQ(parse(text), OK_STATE);
  EXPECT_EQ(st_.stmt->coldefs[0].type, kTypeInteger);
  EXPECT_EQ(st_.stmt->coldefs[0].not_null, 1);
  EXPECT_EQ(st_.stmt->coldefs[1].width, 11);
  IsaparResult r;
  EXPECT_EQ(isapar(-1, "EXECUTE IMMEDIATE", text, &r), DBI_E_SYNTAX);
}

TEST_F(SqlLpdbi, HostVariablesBindToMarksInOrder) {
  char sid[] = "PARTNER1";
  int16_t prio = -3;
  double f = 2.5;
  int32_t cn = 42;
  ASSERT_EQ(parse("UPDATE RT SET PRIORITY = ? WHERE SIDDEST = ? AND SIDNEIGHB = ? OR ? = ?",
                  {{kTypeSmallint, &prio},
                   {kTypeChar, sid},
                   {kTypeFloat, &f},
                   {kTypeInteger, &cn},
                   {kTypeInteger, &cn}}),
            OK_STATE);
  const PLIST<EXPR*>& p = st_.stmt->params;
  ASSERT_EQ(p.count, 5u);
  EXPECT_EQ(p[0]->value.val.i, -3);
  EXPECT_EQ(p[0]->param, 0);
  EXPECT_STREQ(p[1]->value.val.s, "PARTNER1");
  EXPECT_EQ(p[1]->value.len, 8);
  EXPECT_EQ(p[2]->value.val.f, 2.5);
  EXPECT_EQ(p[3]->value.val.l, 42);
  EXPECT_EQ(p[4]->param, 4);
  EXPECT_EQ(st_.in.size(), 5u);
  EXPECT_TRUE(st_.out.empty());

  // DECLARE: inputs first, then one output per selected column.
  ASSERT_EQ(parse("DECLARE c CURSOR FOR SELECT CN, STATUS FROM KT WHERE CN > ?", n_ints(3)),
            OK_STATE);
  EXPECT_EQ(st_.op, DbiOp::kDeclare);
  EXPECT_STREQ(st_.cursor, "C");
  EXPECT_EQ(st_.sql, "SELECT CN, STATUS FROM KT WHERE CN > ?");
  EXPECT_EQ(st_.in.data(), hv_.data());
  EXPECT_EQ(st_.out.data(), hv_.data() + 1);
  EXPECT_EQ(st_.out.size(), 2u);
  ASSERT_EQ(parse("FETCH c", n_ints(30)), OK_STATE);
  EXPECT_EQ(st_.out.size(), 30u);
  EXPECT_EQ(parse("FETCH c", n_ints(31)), LPDBI_E_TOO_MANY_OUTPUTS);
}

TEST_F(SqlLpdbi, HostVariableRefusals) {
  const char* text = "DELETE FROM KT WHERE CN = ? AND STATUS = ?";
  EXPECT_EQ(parse(text, n_ints(3)), LPDBI_E_HOSTVAR_LEFT);
  EXPECT_EQ(st_.op, DbiOp::kNone);
  EXPECT_EQ(st_.stmt, nullptr);
  EXPECT_EQ(parse(text, n_ints(1)), LPDBI_E_HOSTVAR_MISSING);
  EXPECT_EQ(parse(text, {{kTypeInteger, &i32_}, {3, &i32_}}), LPDBI_E_HOSTVAR_TYPE);
  EXPECT_EQ(parse(text, {{kTypeInteger, &i32_}, {kTypeInteger, nullptr}}), LPDBI_E_HOSTVAR_NULL);
  // The first failing mark decides.
  EXPECT_EQ(parse(text, {{16, &i32_}, {kTypeInteger, nullptr}}), LPDBI_E_HOSTVAR_TYPE);
  EXPECT_EQ(parse("COMMIT WORK", n_ints(1)), LPDBI_E_HOSTVAR_LEFT);
}

TEST_F(SqlLpdbi, EachRefusalHasItsOwnStatus) {
  test::TraceCapture trace;
  EXPECT_EQ(parse("DELETE FROM ABCDEFGHIJKLMNOPQRS"), LPDBI_E_NAME_TOO_LONG);
  EXPECT_EQ(parse("DELETE FROM ABCDEFGHIJKLMNOPQR"), OK_STATE);
  EXPECT_EQ(parse("DELETE FROM KT WHERE CN = 2147483648"), LPDBI_E_NUMBER_RANGE);
  EXPECT_EQ(parse("DELETE FROM KT WHERE CN = -2147483648"), OK_STATE);
  EXPECT_EQ(st_.stmt->p_where->right->value.val.l, INT32_MIN);
  EXPECT_EQ(parse("DELETE FROM KT WHERE CN = 99999999999999999999999"), LPDBI_E_NUMBER_RANGE);
  // Beyond 64 bits: refused, not wrapped into a small number (1, -1) or the other sign.
  EXPECT_EQ(parse("DELETE FROM KT WHERE CN = 18446744073709551617"), LPDBI_E_NUMBER_RANGE);
  EXPECT_EQ(parse("DELETE FROM KT WHERE CN = -18446744073709551615"), LPDBI_E_NUMBER_RANGE);
  EXPECT_EQ(parse("DELETE FROM KT WHERE CN = 18446744073709551615"), LPDBI_E_NUMBER_RANGE);
  EXPECT_EQ(parse("CREATE TABLE X (A CHAR(18446744073709551617))"), LPDBI_E_NUMBER_RANGE);
  EXPECT_EQ(parse("CREATE TABLE X (A CHAR(18446744073709551617.0))"), LPDBI_E_SYNTAX);
  EXPECT_EQ(parse("CREATE TABLE X (A CHAR(0))"), LPDBI_E_NUMBER_RANGE);
  EXPECT_EQ(parse("CREATE TABLE X (A CHAR(32768))"), LPDBI_E_NUMBER_RANGE);
  EXPECT_EQ(parse("INSERT INTO RT (SIDDEST, SIDNEIGHB) VALUES(?)", n_ints(1)), LPDBI_E_VALUE_COUNT);
  EXPECT_EQ(parse("DECLARE c CURSOR FOR SELECT CN FROM KT GROUP BY CN"), LPDBI_E_NOT_SUPPORTED);
  EXPECT_EQ(parse("DELETE FROM KT WHERE CN = CN + 1"), LPDBI_E_NOT_SUPPORTED);
  EXPECT_EQ(parse("DELETE FROM KT WHERE CN IS NULL"), LPDBI_E_NOT_SUPPORTED);
  EXPECT_EQ(parse("ALTER TABLE KT ADD X INTEGER"), LPDBI_E_NOT_SUPPORTED);
  EXPECT_TRUE(trace.has("lpdbi: language element not supported"));
  EXPECT_EQ(parse("PREPARE SELECT CN FROM KT"), LPDBI_E_SYNTAX);  // isapar's word only
  EXPECT_EQ(parse("SELECT CN FROM KT"), LPDBI_E_SYNTAX);          // only through a cursor

  std::string marks = "DELETE FROM KT WHERE CN = ?";
  for (int i = 0; i < 30; ++i) marks += " OR CN = ?";
  EXPECT_EQ(parse(marks, n_ints(31)), LPDBI_E_TOO_MANY_INPUTS);
  std::string cols = "DECLARE c CURSOR FOR SELECT CN";
  for (int i = 0; i < 30; ++i) cols += ", CN";
  EXPECT_EQ(parse(cols + " FROM KT", n_ints(31)), LPDBI_E_TOO_MANY_OUTPUTS);
}

TEST_F(SqlLpdbi, NestingIsBoundedWithAStatusNotTheStack) {
  auto nested = [](int n) {
    return "DELETE FROM KT WHERE " + std::string(n, '(') + "CN = 1" + std::string(n, ')');
  };
  EXPECT_EQ(parse(nested(63)), OK_STATE);
  EXPECT_EQ(parse(nested(64)), LPDBI_E_TOO_DEEP);
  EXPECT_EQ(parse(nested(200000)), LPDBI_E_TOO_DEEP);
  auto chain = [](int n) {
    std::string s = "DELETE FROM KT WHERE CN = 1";
    for (int i = 1; i < n; ++i) s += " AND CN = 1";
    return s;
  };
  EXPECT_EQ(parse(chain(63)), OK_STATE);
  EXPECT_EQ(parse(chain(64)), LPDBI_E_TOO_DEEP);
}

TEST_F(SqlLpdbi, DatabaseTransactionAndCursorStatements) {
  ASSERT_EQ(parse("OPEN DB '/var/kyt/db'"), OK_STATE);
  EXPECT_EQ(st_.op, DbiOp::kOpenDb);
  EXPECT_STREQ(st_.dbname, "/var/kyt/db");
  ASSERT_EQ(parse("open_db"), OK_STATE);
  EXPECT_EQ(st_.dbname, nullptr);
  ASSERT_EQ(parse("CLOSE DB"), OK_STATE);  // a cursor named DB; rpdsql catches "CLOSE DB"
  EXPECT_EQ(st_.op, DbiOp::kClose);
  ASSERT_EQ(parse("set autocommit off;"), OK_STATE);
  EXPECT_EQ(st_.op, DbiOp::kAutocommitOff);
  EXPECT_EQ(parse("SET AUTOCOMMIT MAYBE"), LPDBI_E_SYNTAX);
  ASSERT_EQ(parse("ROLLBACK"), OK_STATE);
  EXPECT_EQ(st_.op, DbiOp::kRollback);
  EXPECT_EQ(parse("COMMIT WORK WORK"), LPDBI_E_SYNTAX);
  ASSERT_EQ(parse("DROP INDEX S1 ON JS"), OK_STATE);
  EXPECT_EQ(stmt_text(*st_.stmt), "DROP INDEX S1 ON JS ");
  EXPECT_EQ(parse("DROP VIEW V"), LPDBI_E_SYNTAX);  // VIEW is isapar's word only
  ASSERT_EQ(parse("CREATE SYNONYM A FOR B"), OK_STATE);
  EXPECT_EQ(stmt_text(*st_.stmt), "CREATE SYNONYM A FOR B ");
}

// Cursor statements are remembered by their text: asked again, in any order and more of
// them than are kept, they answer as when first parsed, refusals included.
TEST_F(SqlLpdbi, RepeatedCursorStatementsAnswerAlike) {
  for (int round = 0; round < 3; ++round) {
    for (int c = 0; c < 12; ++c) {
      const std::string name = "cur" + std::to_string((c * 7 + round) % 12);
      ASSERT_EQ(parse("FETCH " + name, n_ints(2)), OK_STATE) << name;
      EXPECT_EQ(st_.op, DbiOp::kFetch);
      EXPECT_EQ(st_.cursor, "CUR" + name.substr(3));
      EXPECT_EQ(st_.out.size(), 2u);
      ASSERT_EQ(parse("CLOSE " + name), OK_STATE);
      EXPECT_EQ(st_.op, DbiOp::kClose);
      EXPECT_EQ(st_.cursor, "CUR" + name.substr(3));
      EXPECT_EQ(parse("CLOSE " + name, n_ints(1)), LPDBI_E_HOSTVAR_LEFT);
      EXPECT_EQ(parse("FETCH " + name, {{kTypeInteger, nullptr}}), LPDBI_E_HOSTVAR_NULL);
    }
  }
  const std::string long_name(200, 'x');
  EXPECT_NE(parse("FETCH " + long_name), OK_STATE);
  EXPECT_NE(parse("FETCH " + long_name), OK_STATE);
  EXPECT_EQ(parse("FETCH a b"), LPDBI_E_SYNTAX);
  EXPECT_EQ(parse("FETCH a b"), LPDBI_E_SYNTAX);
}

TEST_F(SqlLpdbi, ExhaustedPoolAnswers99AndRecovers) {
  const char* text = "DECLARE c CURSOR FOR SELECT CN, STATUS FROM KT WHERE CN > ? AND STATUS = ?";
  bool saw_failure = false;
  for (size_t limit = 8; limit < 4096; limit += 8) {
    dbi_pool().set_limit(limit);
    int32_t rc = parse(text, n_ints(4));
    ASSERT_TRUE(rc == OK_STATE || rc == RC_INTERNAL_ERROR) << limit;
    saw_failure |= rc == RC_INTERNAL_ERROR;
    if (rc == OK_STATE) break;
  }
  EXPECT_TRUE(saw_failure);
  dbi_pool().set_limit(0);
  EXPECT_EQ(parse(text, n_ints(4)), OK_STATE);
}

}  // namespace
}  // namespace kyt
