// isapar: the record it builds, its resolution of names, precedence, print-back, LIKE.
#include "sql/isapar.h"

#include <gtest/gtest.h>

#include <string>

#include "sql/ISAsqlutil.h"
#include "sql/isa.h"
#include "sql/isadbg.h"
#include "sql/isatab.h"
#include "sql/isaval.h"
#include "sql/pool.h"
#include "sql/schema.h"
#include "sql/status.h"
#include "sql/stmt.h"
#include "trace_capture.h"

namespace kyt {
namespace {

class Isapar : public ::testing::Test {
 protected:
  void TearDown() override {
    pool_reset_for_tests();
    isatab_reset_for_tests();
  }
  int32_t prep(const std::string& text) { return isapar(3, "PREPARE", text, &r_); }
  std::string where(const std::string& cond) {
    EXPECT_EQ(prep("SELECT CN FROM KT WHERE " + cond), OK_STATE) << cond;
    return r_.stmt == nullptr ? "" : expr_text(r_.stmt->p_where);
  }
  IsaparResult r_;
};

TEST_F(Isapar, AndBindsTighterThanOrAndBothGroupFromTheLeft) {
  EXPECT_EQ(where("CN = 1 OR CN = 2 AND CN = 3"), "((CN == 1) OR ((CN == 2) AND (CN == 3)))");
  EXPECT_EQ(where("CN = 1 AND CN = 2 OR CN = 3"), "(((CN == 1) AND (CN == 2)) OR (CN == 3))");
  EXPECT_EQ(where("(CN = 1 OR CN = 2) AND CN = 3"), "(((CN == 1) OR (CN == 2)) AND (CN == 3))");
  EXPECT_EQ(where("CN = 1 OR CN = 2 OR CN = 3"), "(((CN == 1) OR (CN == 2)) OR (CN == 3))");
  EXPECT_EQ(r_.stmt->p_where->flags, kExprOr);
  EXPECT_EQ(r_.stmt->p_where->height, 4);
}

TEST_F(Isapar, EveryComparisonHasItsFlagAndTemplate) {
  EXPECT_EQ(where("CN <> 1 AND CN < -2 AND CN > 3 AND CN <= 4 AND CN >= 5 AND STATUS LIKE 'q%'"),
            "((((((CN <> 1) AND (CN < -2)) AND (CN > 3)) AND (CN <= 4)) AND (CN >= 5)) AND "
            "(STATUS LIKE 'q%'))");
  uint32_t seen = 0;
  const EXPR* e = r_.stmt->p_where;
  while (e->flags == kExprAnd) {
    EXPECT_EQ(e->right->flags & kExprCompare, e->right->flags);
    EXPECT_EQ(seen & e->right->flags, 0u);
    seen |= e->right->flags;
    e = e->left;
  }
  EXPECT_EQ(e->flags, kExprNe);
  EXPECT_EQ(where("1.5 < CN AND 2E3 > CN AND ? = CN"),
            "(((1.5000000000E+00 < CN) AND "
            "(2.0000000000E+03 > CN)) AND (? == CN))");
  EXPECT_EQ(r_.stmt->p_where->right->left->flags, kExprValue | kExprHostVar);
}

TEST_F(Isapar, NamesResolveAgainstTheTable) {
  ASSERT_EQ(prep("select kt.cn, KYT.KT.status from kt where KT.CN = ? order by dtcreated desc"),
            OK_STATE);
  const STMT& s = *r_.stmt;
  EXPECT_EQ(s.kind, kStmtSelect);
  EXPECT_FALSE(r_.immediate);
  EXPECT_EQ(r_.cursor_id, 3);
  ASSERT_EQ(s.cols.count, 2u);
  EXPECT_EQ(s.cols[1].p_col->row_offset, 23);
  EXPECT_EQ(s.p_where->left->col.p_col, s.cols[0].p_col);
  EXPECT_EQ(s.order[0].col.p_col->colno, 4);
  EXPECT_EQ(s.order[0].desc, 1);
  EXPECT_EQ(s.params.count, 1u);

  test::TraceCapture trace;
  EXPECT_EQ(prep("SELECT CN FROM NOSUCH"), DBI_E_TABERR);
  EXPECT_TRUE(trace.has("NOSUCH not found"));
  EXPECT_EQ(prep("SELECT CN FROM SYSTEM.KT"), DBI_E_TABERR);
  EXPECT_EQ(prep("SELECT NOSUCH FROM KT"), DBI_E_INV_COL_NAM);
  EXPECT_TRUE(trace.has("isaerr : cond=\"c.p_col != nullptr\" err=\"DBI_E_INV_COL_NAM\""));
  EXPECT_EQ(prep("SELECT CN FROM KT WHERE NOSUCH = 1"), DBI_E_INV_COL_NAM);
  EXPECT_EQ(prep("SELECT CN FROM KT ORDER BY NOSUCH"), DBI_E_INV_COL_NAM);
  EXPECT_EQ(prep("SELECT ST.SID FROM KT"), DBI_E_INV_COL_NAM);
  EXPECT_EQ(prep("UPDATE KT SET NOSUCH = 1"), DBI_E_INV_COL_NAM);
  EXPECT_EQ(prep("INSERT INTO LC(NOSUCH) VALUES(1)"), DBI_E_INV_COL_NAM);
  EXPECT_EQ(prep("CREATE UNIQUE INDEX I ON RT (NOSUCH)"), DBI_E_INV_COL_NAM);
  EXPECT_EQ(prep("INSERT INTO RT VALUES(?, ?)"), DBI_E_SYNTAX);  // RT has three columns
  EXPECT_EQ(prep("INSERT INTO RT VALUES('A', 'B', NULL)"), OK_STATE);
  EXPECT_EQ(r_.stmt->values[2]->value.null_ind, -1);
  EXPECT_EQ(stmt_text(*r_.stmt), "INSERT INTO RT VALUES('A','B',NULL)");
  EXPECT_EQ(prep("DROP TABLE NOSUCH"), OK_STATE);  // the executor finds out
}

TEST_F(Isapar, KeywordsAndSyntaxErrors) {
  test::TraceCapture trace;
  EXPECT_EQ(isapar(-1, "PREPAR", "SELECT CN FROM KT", &r_), DBI_E_SYNTAX);
  EXPECT_EQ(r_.stmt, nullptr);
  EXPECT_EQ(prep("INSERT INTO LC(CN) VALUES (1)"), DBI_E_SYNTAX);
  EXPECT_TRUE(trace.has("isapar: syntax error"));
  EXPECT_TRUE(trace.has("last token read was |VALUES|"));
  EXPECT_EQ(prep("SELECT DISTINCT CN FROM KT"), DBI_E_NYI);
  EXPECT_EQ(prep("SELECT CN FROM KT WHERE ((((((((((((((((((((((((((((((((((((((((((((((((("
                 "(((((((((((((((((CN = 1"),
            DBI_E_TOO_COMPLEX);
  ASSERT_EQ(isapar(0, "EXECUTE IMMEDIATE", "CREATE PUBLIC SYNONYM P FOR KT", &r_), OK_STATE);
  EXPECT_TRUE(r_.immediate);
  EXPECT_EQ(r_.stmt->kind, kStmtCreatePublicSynonym);
  EXPECT_TRUE(trace.has("undef. statement - CREATE_PUBLIC_SYNONYM"));
  EXPECT_EQ(stmt_text(*r_.stmt), "CREATE PUBLIC SYNONYM P FOR KT ");
  ASSERT_EQ(isapar(0, "EXECUTE IMMEDIATE", "DROP VIEW V", &r_), OK_STATE);
  EXPECT_EQ(stmt_text(*r_.stmt), "DROP VIEW V ");
  ASSERT_EQ(isapar(0, "EXECUTE IMMEDIATE", "drop synonym p", &r_), OK_STATE);
  EXPECT_EQ(stmt_text(*r_.stmt), "DROP SYNONYM P ");
  ASSERT_EQ(isapar(0, "EXECUTE IMMEDIATE", "CREATE TABLE T (F FLOAT, C CHAR(5) NOT NULL)", &r_),
            OK_STATE);
  EXPECT_EQ(stmt_text(*r_.stmt), "CREATE TABLE T (F FLOAT,C CHAR(5) NOT NULL) ");
}

TEST_F(Isapar, PreparedRecordOutlivesTheNextParseOnceDetached) {
  ASSERT_EQ(prep("SELECT STATUS FROM KT WHERE CN = 5"), OK_STATE);
  STMT* kept = r_.stmt;
  std::unique_ptr<StmtPool> arena = stmt_pool().detach();
  ASSERT_NE(arena, nullptr);
  ASSERT_EQ(prep("DELETE FROM RT WHERE SIDDEST = 'X'"), OK_STATE);
  EXPECT_EQ(stmt_text(*kept), "SELECT STATUS FROM KT WHERE (CN == 5)");
  EXPECT_EQ(stmt_text(*r_.stmt), "DELETE FROM RT WHERE (SIDDEST == 'X')");
}

TEST_F(Isapar, ExhaustedPoolAnswersInternalError) {
  std::string text = "SELECT CN, STATUS FROM KT WHERE CN = 1 OR STATUS = 'it''s' ORDER BY CN";
  int failures = 0;
  for (size_t limit = 8; limit < 8192; limit += 8) {
    stmt_pool().set_limit(limit);
    int32_t rc = prep(text);
    ASSERT_TRUE(rc == OK_STATE || rc == RC_INTERNAL_ERROR) << limit;
    if (rc == OK_STATE) break;
    ++failures;
  }
  EXPECT_GT(failures, 10);
}

TEST(SqlLike, PercentAndUnderscore) {
  EXPECT_TRUE(like_match("PARTNER1", "PARTNER1"));
  EXPECT_TRUE(like_match("PARTNER1", "PART%"));
  EXPECT_TRUE(like_match("PARTNER1", "%1"));
  EXPECT_TRUE(like_match("PARTNER1", "P%R%1"));
  EXPECT_TRUE(like_match("PARTNER1", "PARTNER_"));
  EXPECT_TRUE(like_match("", "%"));
  EXPECT_TRUE(like_match("A%B", "A%B"));
  EXPECT_FALSE(like_match("PARTNER1", "partner1"));  // letter case counts
  EXPECT_FALSE(like_match("PARTNER1", "PARTNER"));   // the whole value
  EXPECT_FALSE(like_match("PARTNER", "PARTNER_"));
  EXPECT_FALSE(like_match("", "_"));
  EXPECT_TRUE(like_match("aaaaaaaaaaaaaaaaaaaaaaaaaaaaab", "%a%a%a%a%a%b"));
  EXPECT_FALSE(like_match(std::string(10000, 'a'), "%a%a%a%a%a%b"));
}

}  // namespace
}  // namespace kyt
