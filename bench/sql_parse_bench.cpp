// Statements parsed per second: the station's own statements (tests/sql/statement_corpus.h,
// the schema statements and the dump cursors) through the statement interface parser, through
// isapar, and through both as every statement goes; compared in the same run with
// sqlite3_prepare_v2 + sqlite3_finalize on the texts SQLite accepts (the SELECT of a cursor
// declaration, the other statements as written; CREATE TABLE against an empty database, the
// rest against one that has the tables).
//
// Usage: sql_parse_bench [rounds]   (default 5; each round times both sides in turn and the
// best round counts)
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "../tests/sql/statement_corpus.h"
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

namespace {

using Clock = std::chrono::steady_clock;

struct Item {
  std::string text;     // as the station issues it
  std::string sql;      // what isapar and SQLite are given
  std::string keyword;  // isapar's: PREPARE or EXECUTE IMMEDIATE
  int n_hostvars = 0;
  sqlite3* db = nullptr;  // the database SQLite accepts it against, or nullptr
};

std::vector<int32_t> g_store(64, 1);

std::vector<kyt::HostVar> host_vars(int n) {
  std::vector<kyt::HostVar> v;
  for (int i = 0; i < n; ++i) v.push_back({kyt::kTypeInteger, &g_store[static_cast<size_t>(i)]});
  return v;
}

sqlite3* open_db(bool with_tables) {
  sqlite3* db = nullptr;
  sqlite3_open(":memory:", &db);
  sqlite3_exec(db, "ATTACH DATABASE ':memory:' AS SYSTEM", nullptr, nullptr, nullptr);
  if (with_tables) {
    for (auto list : {kyt::catalogue_schema(), kyt::station_schema()}) {
      for (const kyt::SchemaTable& t : list) {
        sqlite3_exec(db, kyt::create_table_text(t).c_str(), nullptr, nullptr, nullptr);
      }
    }
  }
  return db;
}

bool sqlite_accepts(sqlite3* db, const std::string& sql) {
  sqlite3_stmt* st = nullptr;
  int rc = sqlite3_prepare_v2(db, sql.c_str(), static_cast<int>(sql.size()), &st, nullptr);
  sqlite3_finalize(st);
  return rc == SQLITE_OK && st != nullptr;
}

template <class F>
double per_second(size_t statements, int reps, F run) {
  auto t0 = Clock::now();
  for (int r = 0; r < reps; ++r) run();
  double s = std::chrono::duration<double>(Clock::now() - t0).count();
  return static_cast<double>(statements) * reps / s;
}

}  // namespace

int main(int argc, char** argv) {
  int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
  sqlite3* empty = open_db(false);
  sqlite3* tables = open_db(true);

  std::vector<Item> items;
  auto add = [&](std::string text, int n_hostvars) {
    Item it;
    it.text = std::move(text);
    it.n_hostvars = n_hostvars;
    std::vector<kyt::HostVar> hv = host_vars(n_hostvars);
    kyt::DbiStatement st;
    if (kyt::lpdbi_parse(it.text, hv, &st) != kyt::OK_STATE) {
      std::fprintf(stderr, "not parsed: %s\n", it.text.c_str());
      std::exit(1);
    }
    it.sql = std::string(st.sql);
    if (!it.sql.empty()) {
      bool dml = st.stmt->kind &
                 (kyt::kStmtSelect | kyt::kStmtInsert | kyt::kStmtUpdate | kyt::kStmtDelete);
      it.keyword = dml ? "PREPARE" : "EXECUTE IMMEDIATE";
      for (sqlite3* db : {tables, empty}) {
        if (sqlite_accepts(db, it.sql)) {
          it.db = db;
          break;
        }
      }
    }
    items.push_back(std::move(it));
  };
  for (const auto& c : kyt::test::statement_corpus()) {
    std::string t;
    for (std::string_view p : c.pieces) t += p;
    add(t, c.n_in + c.n_out);
  }
  for (std::string& t : kyt::test::schema_statements()) add(std::move(t), 0);
  for (const auto& t : kyt::station_schema()) {
    add(kyt::test::dump_cursor_text(t), static_cast<int>(t.cols.size()));
  }

  std::vector<const Item*> compared;
  for (const Item& it : items) {
    if (it.db != nullptr) compared.push_back(&it);
  }
  std::vector<std::vector<kyt::HostVar>> hvs;
  for (const Item& it : items) hvs.push_back(host_vars(it.n_hostvars));

  int failures = 0;
  auto run_lpdbi = [&](bool only_compared) {
    kyt::DbiStatement st;
    for (size_t i = 0; i < items.size(); ++i) {
      if (only_compared && items[i].db == nullptr) continue;
      failures += kyt::lpdbi_parse(items[i].text, hvs[i], &st) != kyt::OK_STATE;
    }
  };
  auto run_isapar = [&] {
    kyt::IsaparResult r;
    for (const Item* it : compared) failures += kyt::isapar(-1, it->keyword, it->sql, &r) != 0;
  };
  auto run_both = [&] {
    kyt::DbiStatement st;
    kyt::IsaparResult r;
    for (size_t i = 0; i < items.size(); ++i) {
      if (items[i].db == nullptr) continue;
      failures += kyt::lpdbi_parse(items[i].text, hvs[i], &st) != kyt::OK_STATE;
      failures += kyt::isapar(-1, items[i].keyword, st.sql, &r) != kyt::OK_STATE;
    }
  };
  auto run_sqlite = [&] {
    for (const Item* it : compared) {
      sqlite3_stmt* st = nullptr;
      failures += sqlite3_prepare_v2(it->db, it->sql.c_str(), static_cast<int>(it->sql.size()), &st,
                                     nullptr) != SQLITE_OK;
      sqlite3_finalize(st);
    }
  };

  const int reps = 200;
  double all = 0, lpdbi = 0, isapar = 0, both = 0, lite = 0;
  for (int r = 0; r < rounds; ++r) {
    all = std::max(all, per_second(items.size(), reps, [&] { run_lpdbi(false); }));
    lpdbi = std::max(lpdbi, per_second(compared.size(), reps, [&] { run_lpdbi(true); }));
    isapar = std::max(isapar, per_second(compared.size(), reps, run_isapar));
    both = std::max(both, per_second(compared.size(), reps, run_both));
    lite = std::max(lite, per_second(compared.size(), reps, run_sqlite));
  }
  sqlite3_close(empty);
  sqlite3_close(tables);
  if (failures != 0) {
    std::fprintf(stderr, "%d parses failed\n", failures);
    return 1;
  }
  size_t no_sql = 0;
  for (const Item& it : items) no_sql += it.sql.empty() ? 1 : 0;
  std::printf(
      "sql_parse_bench: %zu station statements, %zu of them accepted by SQLite %s\n"
      "  (%zu cursor, database or transaction statements have no SQL to compare, %zu "
      "were refused by SQLite)\n",
      items.size(), compared.size(), sqlite3_libversion(), no_sql,
      items.size() - compared.size() - no_sql);
  for (const Item& it : items) {
    if (!it.sql.empty() && it.db == nullptr)
      std::printf("  refused by SQLite: %s\n", it.sql.c_str());
  }
  std::printf("  all statements, statement interface parser  %12.0f statements/s\n", all);
  std::printf("  SQLite's texts: statement interface parser  %12.0f statements/s\n", lpdbi);
  std::printf("                  isapar                      %12.0f statements/s\n", isapar);
  std::printf("                  both, as a statement goes   %12.0f statements/s\n", both);
  std::printf("                  sqlite3_prepare_v2          %12.0f statements/s\n", lite);
  std::printf("  ratio to sqlite3_prepare_v2: interface %.1f, isapar %.1f, both %.1f\n",
              lpdbi / lite, isapar / lite, both / lite);
  return 0;
}
