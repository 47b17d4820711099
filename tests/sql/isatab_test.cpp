// Table descriptors: layout, the dump, caching, the catalogue reader, file names, and the
// station schema's texts and quirks.
#include "sql/isatab.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "sql/ISAsqlutil.h"
#include "sql/isa.h"
#include "sql/isadbg.h"
#include "sql/isapar.h"
#include "sql/isaval.h"
#include "sql/pool.h"
#include "sql/schema.h"
#include "sql/status.h"
#include "sql/stmt.h"
#include "testutil.h"
#include "trace_capture.h"

namespace kyt {
namespace {

class Isatab : public ::testing::Test {
 protected:
  void TearDown() override {
    isatab_reset_for_tests();
    lpdsn_reset_for_tests();
  }
  TABDESC* desc(const char* name, const char* creator = "") {
    TABSPEC ts;
    EXPECT_TRUE(make_tabspec(creator, name, &ts));
    TABDESC* d = nullptr;
    EXPECT_EQ(get_tab_desc(ts, &d), OK_STATE) << name;
    return d;
  }
};

TEST_F(Isatab, DumpOfATableInItsLineFormat) {
  EXPECT_EQ(dump_tab_desc_lines(*desc("RT")),
            (std::vector<std::string>{
                "Table:  RT  (EX=1) CN= 3  RS=36  KS=34",
                "  #   COLUMN     TYPE KEY NOT_NULL WDTH ROFFS KOFFS",
                " (01) SIDDEST       1   1        1   17     0     0",
                " (02) SIDNEIGHB     1   2        1   17    17    17",
                " (03) PRIORITY      8   0        1    6    34     0",
            }));
  // Key order need not be column order: AV's key is its last column.
  std::vector<std::string> av = dump_tab_desc_lines(*desc("AV"));
  EXPECT_EQ(av[0], "Table:  AV  (EX=1) CN= 8  RS=45  KS= 4");
  EXPECT_EQ(av.back(), " (08) KYTID         4   1        1   11    41     0");

  std::regex head(R"(Table:  [A-Z]{2}  \(EX=1\) CN=[ \d]\d  RS=[ \d]+\d  KS=[ \d]+\d)");
  std::regex col(
      R"( \(\d\d\) [A-Z0-9_ ]{10}   [ 1248]\d [ \d]{3} {8}[01] [ \d]{4}[ \d]{6}[ \d]{6})");
  for (const SchemaTable& t : station_schema()) {
    std::vector<std::string> lines = dump_tab_desc_lines(*desc(t.name));
    ASSERT_EQ(lines.size(), t.cols.size() + 2);
    EXPECT_TRUE(std::regex_match(lines[0], head)) << lines[0];
    for (size_t i = 2; i < lines.size(); ++i) {
      EXPECT_TRUE(std::regex_match(lines[i], col)) << lines[i];
    }
  }
}

TEST_F(Isatab, RowAndKeyLayoutFollowTypesAndKeyOrder) {
  const TABDESC* nk = desc("NK");
  EXPECT_EQ(nk->row_size, 17 + 2 + 2 + 2 + 2 + 2 + 4 + 4);
  EXPECT_EQ(nk->key_size, 21);
  EXPECT_EQ(nk->col("PROTOCOL")->key_offset, 19);
  EXPECT_EQ(nk->col("DELAY")->row_offset, 27);
  EXPECT_EQ(nk->col("DELAY")->size, 4);
  EXPECT_EQ(nk->col("PRIORITY")->width, 6);
  EXPECT_EQ(nk->col("nosuch"), nullptr);
  EXPECT_EQ(desc("LT")->col("MSGTEXT")->size, 2001);

  // Quirks kept: nullable key columns, tables without primary key.
  EXPECT_EQ(desc("SV")->col("KEYID")->not_null, 0);
  EXPECT_EQ(desc("SV")->col("FLAGPUBLIC")->key, 2);
  EXPECT_EQ(desc("TC")->col("N")->not_null, 0);
  EXPECT_EQ(desc("TC")->key_size, 17 + 2 + 4);
  EXPECT_EQ(desc("XP")->col("N")->key, 2);
  EXPECT_EQ(desc("XP")->col("N")->not_null, 0);
  for (const char* t : {"LC", "LD"}) {
    EXPECT_EQ(desc(t)->key_size, 0) << t;
    EXPECT_TRUE(create_index_texts(*schema_table(t)).empty()) << t;
  }
}

TEST_F(Isatab, SchemaTextsAndCatalogueTables) {
  ASSERT_EQ(station_schema().size(), 39u);
  std::string names;
  for (const SchemaTable& t : station_schema()) names += std::string(t.name) + " ";
  EXPECT_EQ(names,
            "RI PT KT LM LT OP LX BT OK JS ST NK LU ET RE SK VD SL SE TR LC IZ SS RT EC QS QE "
            "IE FK AV BB TT DB FS AC SV TC XP LD ");
  EXPECT_EQ(create_table_text(*schema_table("RT")),
            "CREATE TABLE RT (SIDDEST CHAR(17) NOT NULL, SIDNEIGHB CHAR(17) NOT NULL, "
            "PRIORITY SMALLINT NOT NULL)");
  EXPECT_EQ(create_index_texts(*schema_table("NK")),
            std::vector<std::string>{"CREATE UNIQUE INDEX PRIM_NK ON NK (SID,FTP,PROTOCOL)"});
  EXPECT_EQ(create_index_texts(*schema_table("OP")),
            (std::vector<std::string>{"CREATE UNIQUE INDEX PRIM_OP ON OP (SID)",
                                      "CREATE UNIQUE INDEX IDX_OID ON OP (ODETTEID)"}));
  EXPECT_EQ(create_index_texts(*schema_table("SYSCOLS"))[0],
            "CREATE UNIQUE INDEX PRIM_SYSCOLS ON SYSTEM.SYSCOLS (CREATOR,TNAME,CNAME)");
  EXPECT_STREQ(desc("SYSCATLG", "SYSTEM")->ts.s_creator, "SYSTEM");
  EXPECT_STREQ(desc("KT")->ts.s_creator, "KYT");
}

TEST_F(Isatab, DescriptorsAreLoadedOnceAndUnknownTablesRefused) {
  TABDESC* kt = desc("KT");
  EXPECT_EQ(desc("KT", "KYT"), kt);
  EXPECT_EQ(find_tab_desc("KT"), kt);
  size_t n = tab_desc_count();

  test::TraceCapture trace;
  TABSPEC ts;
  TABDESC* d = kt;
  ASSERT_TRUE(make_tabspec("", "NOSUCH", &ts));
  EXPECT_EQ(get_tab_desc(ts, &d), DBI_E_TABERR);
  EXPECT_EQ(d, nullptr);
  EXPECT_TRUE(trace.has("err=\"DBI_E_TABERR\""));
  ASSERT_TRUE(make_tabspec("SYSTEM", "KT", &ts));
  EXPECT_EQ(get_tab_desc(ts, &d), DBI_E_TABERR);  // cached under KYT
  EXPECT_EQ(tab_desc_count(), n);
  EXPECT_FALSE(make_tabspec("", "ABCDEFGHIJKLMNOPQRS", &ts));

  EXPECT_TRUE(drop_tab_desc("KT"));
  EXPECT_FALSE(drop_tab_desc("KT"));
  EXPECT_EQ(find_tab_desc("KT"), nullptr);
}

// A stand-in catalogue: one table, whose rows the test spoils.
std::vector<SyscolsRow> g_rows;
int g_reads = 0;
int32_t fake_catalogue(const TABSPEC& ts, SyscatlgRow* t, std::vector<SyscolsRow>* cols) {
  ++g_reads;
  if (std::string(ts.s_tabname) != "FAKE") return DBI_E_TABERR;
  *t = SyscatlgRow{"ME", "FAKE", 0, static_cast<int16_t>(g_rows.size())};
  for (const SyscolsRow& r : g_rows)
    t->rowlen += type_size(r.coltype, static_cast<int16_t>(r.length));
  *cols = g_rows;
  return OK_STATE;
}

TEST_F(Isatab, CatalogueReaderIsPluggableAndChecked) {
  set_catalogue_reader(fake_catalogue);
  // Rows in any order; placed by COLNO.
  g_rows = {{"ME", "FAKE", "B", kTypeSmallint, 2, 6, 1, 0},
            {"ME", "FAKE", "A", kTypeChar, 1, 9, 0, 1}};
  g_reads = 0;
  TABDESC* d = desc("FAKE");
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d->cols[0].s_colname, std::string("A"));
  EXPECT_EQ(d->key_size, 9);
  EXPECT_EQ(d->row_size, 11);
  desc("FAKE");
  EXPECT_EQ(g_reads, 1);

  TABSPEC ts;
  ASSERT_TRUE(make_tabspec("", "KT", &ts));
  EXPECT_EQ(get_tab_desc(ts, &d), DBI_E_TABERR);  // this catalogue knows no KT

  const std::vector<std::vector<SyscolsRow>> bad = {
      {{"ME", "FAKE", "A", kTypeChar, 1, 9, 0, 0}, {"ME", "FAKE", "B", kTypeChar, 3, 9, 0, 0}},
      {{"ME", "FAKE", "A", kTypeChar, 1, 9, 0, 0}, {"ME", "FAKE", "A", kTypeChar, 2, 9, 0, 0}},
      {{"ME", "FAKE", "A", 3, 1, 9, 0, 0}},
      {{"ME", "FAKE", "A", kTypeInteger, 1, 9, 0, 0}},
      {{"ME", "FAKE", "A", kTypeInteger, 1, 11, 0, 2}},
  };
  for (const auto& rows : bad) {
    drop_tab_desc("FAKE");
    g_rows = rows;
    ASSERT_TRUE(make_tabspec("", "FAKE", &ts));
    EXPECT_EQ(get_tab_desc(ts, &d), RC_INTERNAL_ERROR);
  }
  set_catalogue_reader(nullptr);
  EXPECT_NE(desc("KT"), nullptr);
}

TEST_F(Isatab, PrimaryKeyFromAnIndexList) {
  TABDESC* lc = desc("LC");
  const char* cn[] = {"CN"};
  ASSERT_EQ(tab_set_primary_key(lc, cn), RC_OK);
  EXPECT_EQ(lc->key_size, 4);
  TABDESC* rt = desc("RT");
  const char* swapped[] = {"SIDNEIGHB", "SIDDEST"};
  ASSERT_EQ(tab_set_primary_key(rt, swapped), RC_OK);
  EXPECT_EQ(rt->col("SIDNEIGHB")->key_offset, 0);
  EXPECT_EQ(rt->col("SIDDEST")->key_offset, 17);
  const char* bad[] = {"SIDDEST", "NOSUCH"};
  EXPECT_EQ(tab_set_primary_key(rt, bad), DBI_E_INV_COL_NAM);
  EXPECT_EQ(rt->col("SIDNEIGHB")->key, 1);  // unchanged
  const char* twice[] = {"SIDDEST", "SIDDEST"};
  EXPECT_EQ(tab_set_primary_key(rt, twice), DBI_E_INV_COL_NAM);

  TABSPEC ts;
  ASSERT_TRUE(make_tabspec("", "X", &ts));
  std::unique_ptr<TABDESC> built;
  COLDEF dup[] = {{"A", kTypeInteger, 11, 0, 0}, {"A", kTypeInteger, 11, 0, 0}};
  EXPECT_EQ(tab_desc_build(ts, dup, &built), DBI_E_TABERR);
  COLDEF gap[] = {{"A", kTypeInteger, 11, 0, 2}};
  EXPECT_EQ(tab_desc_build(ts, gap, &built), DBI_E_TABERR);
  COLDEF ok[] = {{"A", kTypeFloat, 0, 1, 0}};
  ASSERT_EQ(tab_desc_build(ts, ok, &built), RC_OK);
  EXPECT_EQ(built->cols[0].width, 25);
  EXPECT_EQ(built->row_size, 8);
  TABDESC* added = nullptr;
  ASSERT_EQ(add_tab_desc(std::move(built), &added), RC_OK);
  EXPECT_EQ(find_tab_desc("X"), added);
  ASSERT_EQ(tab_desc_build(ts, ok, &built), RC_OK);
  EXPECT_EQ(add_tab_desc(std::move(built), &added), DBI_E_TABERR);
}

TEST_F(Isatab, FileNameTakesEightCharactersOfTheTableName) {
  test::TempDir dir;
  TABSPEC ts;
  std::string a, b;
  ASSERT_TRUE(make_tabspec("", "KT", &ts));
  ASSERT_NE(lpdsn_init_file(dir.file("missing.dat")), 0);
  EXPECT_EQ(tab_file(ts, &a), RC_INTERNAL_ERROR);
  test::write_file(dir.file("kytenv.dat"), "");
  ASSERT_EQ(lpdsn_init_file(dir.file("kytenv.dat")), 0);
  ASSERT_EQ(lpdsn_set("DB", dir.path().c_str()), 0);
  ASSERT_EQ(tab_file(ts, &a), RC_OK);
  EXPECT_EQ(a, dir.path() + "/KT.DB");
  ASSERT_TRUE(make_tabspec("", "SYSCATLGX", &ts));
  ASSERT_EQ(tab_file(ts, &a), RC_OK);
  ASSERT_TRUE(make_tabspec("", "SYSCATLGY", &ts));
  ASSERT_EQ(tab_file(ts, &b), RC_OK);
  EXPECT_EQ(a, dir.path() + "/SYSCATLG.DB");
  EXPECT_EQ(a, b);
}

}  // namespace
}  // namespace kyt
