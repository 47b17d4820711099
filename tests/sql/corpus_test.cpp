// Every statement the station issues reads in both parsers, binds exactly its host
// variables, and names only tables and columns of the schema.
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
#include "statement_corpus.h"

namespace kyt {
namespace {

std::string joined(const std::vector<std::string_view>& pieces) {
  std::string s;
  for (std::string_view p : pieces) s += p;
  return s;
}

std::vector<HostVar> ints(size_t n, std::vector<int32_t>* store) {
  store->assign(n + 1, 7);
  std::vector<HostVar> v;
  for (size_t i = 0; i < n; ++i) v.push_back({kTypeInteger, &(*store)[i]});
  return v;
}

class SqlCorpus : public ::testing::Test {
 protected:
  void TearDown() override {
    isatab_reset_for_tests();
    pool_reset_for_tests();
  }
};

TEST_F(SqlCorpus, StatementsParseBindAndResolve) {
  std::vector<int32_t> store;
  for (const test::CorpusStatement& c : test::statement_corpus()) {
    SCOPED_TRACE(joined(c.pieces));
    std::vector<HostVar> hv = ints(static_cast<size_t>(c.n_in + c.n_out), &store);
    DbiStatement st;
    ASSERT_EQ(lpdbi_parse(c.pieces, hv, &st), OK_STATE);
    EXPECT_EQ(st.in.size(), static_cast<size_t>(c.n_in));
    EXPECT_EQ(st.out.size(), static_cast<size_t>(c.n_out));
    if (st.op == DbiOp::kDeclare || st.op == DbiOp::kStatement) {
      std::string interface_text = stmt_text(*st.stmt);
      IsaparResult r;
      ASSERT_EQ(isapar(-1, "PREPARE", st.sql, &r), OK_STATE);
      EXPECT_EQ(r.stmt->p_td == nullptr, r.stmt->kind == kStmtDropTable);
      EXPECT_EQ(stmt_text(*r.stmt), interface_text);
      if (c.printed != nullptr) {
        EXPECT_EQ(stmt_text(*r.stmt), c.printed);
      }
      for (const COLREF& col : r.stmt->cols) EXPECT_NE(col.p_col, nullptr);
    }
    if (st.op != DbiOp::kFetch) {
      hv.push_back({kTypeInteger, &store.back()});
      EXPECT_EQ(lpdbi_parse(c.pieces, hv, &st), LPDBI_E_HOSTVAR_LEFT);
      EXPECT_EQ(st.op, DbiOp::kNone);
      if (c.n_in + c.n_out > 0) {
        hv.resize(hv.size() - 2);
        EXPECT_EQ(lpdbi_parse(c.pieces, hv, &st), LPDBI_E_HOSTVAR_MISSING);
      }
    }
  }
}

TEST_F(SqlCorpus, CatalogueMaintenanceReadsInIsapar) {
  for (std::string_view text : test::isapar_corpus()) {
    IsaparResult r;
    ASSERT_EQ(isapar(-1, text, std::span<const std::string_view>(), &r), OK_STATE) << text;
    EXPECT_TRUE(r.immediate);
    EXPECT_STREQ(r.stmt->p_td->ts.s_creator, "SYSTEM");
  }
}

// The generated CREATE statements read back into descriptors equal to the ones the schema
// gives, so text and description cannot drift apart.
TEST_F(SqlCorpus, SchemaStatementsRoundTripToTheDescriptors) {
  size_t tables = 0;
  for (auto list : {catalogue_schema(), station_schema()}) {
    for (const SchemaTable& t : list) {
      SCOPED_TRACE(t.name);
      std::string create = create_table_text(t);
      DbiStatement st;
      ASSERT_EQ(lpdbi_parse(create, {}, &st), OK_STATE);
      IsaparResult r;
      ASSERT_EQ(isapar(-1, "EXECUTE IMMEDIATE", create, &r), OK_STATE);
      ASSERT_EQ(r.stmt->kind, kStmtCreateTable);
      std::unique_ptr<TABDESC> built;
      ASSERT_EQ(tab_desc_build(r.stmt->ts, {r.stmt->coldefs.items, r.stmt->coldefs.count}, &built),
                RC_OK);
      std::vector<std::string> indexes = create_index_texts(t);
      if (!indexes.empty()) {
        ASSERT_EQ(isapar(-1, "EXECUTE IMMEDIATE", indexes[0], &r), OK_STATE);
        EXPECT_EQ(r.stmt->kind, kStmtCreateIndex);
        EXPECT_TRUE(r.stmt->unique);
        std::vector<const char*> key;
        for (const COLREF& c : r.stmt->cols) key.push_back(c.s_colname);
        ASSERT_EQ(tab_set_primary_key(built.get(), key), RC_OK);
      }
      for (size_t i = 1; i < indexes.size(); ++i) {
        ASSERT_EQ(lpdbi_parse(indexes[i], {}, &st), OK_STATE);
        ASSERT_EQ(isapar(-1, "EXECUTE IMMEDIATE", indexes[i], &r), OK_STATE);
      }
      TABSPEC ts;
      ASSERT_TRUE(make_tabspec(t.creator, t.name, &ts));
      TABDESC* d = nullptr;
      ASSERT_EQ(get_tab_desc(ts, &d), OK_STATE);
      built->exists = d->exists;
      EXPECT_EQ(dump_tab_desc_lines(*built), dump_tab_desc_lines(*d));
      ++tables;
    }
  }
  EXPECT_EQ(tables, 41u);
  EXPECT_EQ(test::schema_statements().size(), 41u + 37u + 1u + 2u);
}

TEST_F(SqlCorpus, DumpCursorOfEveryTableResolves) {
  std::vector<int32_t> store;
  for (const SchemaTable& t : station_schema()) {
    std::string text = test::dump_cursor_text(t);
    std::vector<HostVar> hv = ints(t.cols.size(), &store);
    DbiStatement st;
    ASSERT_EQ(lpdbi_parse(text, hv, &st), OK_STATE) << text;
    IsaparResult r;
    ASSERT_EQ(isapar(-1, "PREPARE", st.sql, &r), OK_STATE) << text;
    EXPECT_EQ(r.stmt->cols.count, t.cols.size());
  }
}

}  // namespace
}  // namespace kyt
