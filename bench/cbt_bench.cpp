// cbt_bench: the B-tree layer against SQLite, side by side in one run.
//
// Work: N random keys of 4 to 32 bytes, each with a data word; insert all, find each,
// scan all in order, delete all (finds and deletes in two other random orders). SQLite
// runs the same work on a WITHOUT ROWID table keyed by (key, data), journal_mode=OFF,
// synchronous=OFF, one transaction, prepared statements. Two cache sizes: the layer's
// default pool (100 buffers of 8192 bytes) with the same bytes of SQLite cache, and 64 MB
// for both. Prints operations per second and the ratio kyt / SQLite of each phase.
// The two engines run in turns, `rounds` times each, and each phase counts its best time,
// so that a busy machine hurts both alike.
//
// Usage: cbt_bench [entries [rounds [sqlite_page_size]]]
//        (defaults: 1000000 entries, 3 rounds, SQLite's own page size)
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "cbt/cbt.h"
#include "platform/platform.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Work {
  std::vector<std::string> keys;
  std::vector<int32_t> data;
  std::vector<uint32_t> find_order, delete_order;
};

Work make_work(size_t n) {
  Work w;
  std::mt19937_64 rng(20240501);
  w.keys.resize(n);
  w.data.resize(n);
  for (size_t i = 0; i < n; ++i) {
    std::string& k = w.keys[i];
    k.resize(4 + rng() % 29);
    for (auto& ch : k) ch = static_cast<char>(rng());
    w.data[i] = static_cast<int32_t>(i);
  }
  w.find_order.resize(n);
  std::iota(w.find_order.begin(), w.find_order.end(), 0u);
  w.delete_order = w.find_order;
  std::shuffle(w.find_order.begin(), w.find_order.end(), rng);
  std::shuffle(w.delete_order.begin(), w.delete_order.end(), rng);
  return w;
}

constexpr int kPhases = 4;
const char* const kPhaseName[kPhases] = {"insert", "find", "scan", "delete"};

struct Result {
  double seconds[kPhases] = {};
  bool ok = true;
};

double since(Clock::time_point t) {
  return std::chrono::duration<double>(Clock::now() - t).count();
}

void fail(Result& r, const char* what) {
  std::fprintf(stderr, "%s failed\n", what);
  r.ok = false;
}

Result run_kyt(const Work& w, const std::string& file, int buffers) {
  Result r;
  kyt::cb_reset_for_tests();
  if (kyt::cbinit(buffers, 8192) != 1) {
    fail(r, "cbinit");
    return r;
  }
  kyt::CbCursor* c = kyt::cbcreate(file.c_str(), nullptr, 8192);
  if (c == nullptr) {
    fail(r, "cbcreate");
    return r;
  }
  const size_t n = w.keys.size();
  auto t = Clock::now();
  for (size_t i = 0; i < n && r.ok; ++i) {
    if (kyt::cbinsert(c, w.keys[i].data(), static_cast<int>(w.keys[i].size()), w.data[i], 1) != 1) {
      fail(r, "cbinsert");
    }
  }
  r.seconds[0] = since(t);
  t = Clock::now();
  int32_t d;
  for (size_t j = 0; j < n && r.ok; ++j) {
    uint32_t i = w.find_order[j];
    if (kyt::cbfind(c, w.keys[i].data(), static_cast<int>(w.keys[i].size()), &d) != 2) fail(r, "cbfind");
  }
  r.seconds[1] = since(t);
  t = Clock::now();
  size_t seen = 0;
  if (kyt::cbclose(c) != 1 || (c = kyt::cbopen(file.c_str(), nullptr)) == nullptr) fail(r, "reopen");
  while (r.ok && kyt::cbnext(c, &d) == 1) ++seen;
  if (seen != n) fail(r, "scan");
  r.seconds[2] = since(t);
  t = Clock::now();
  for (size_t j = 0; j < n && r.ok; ++j) {
    uint32_t i = w.delete_order[j];
    if (kyt::cbdelete(c, w.keys[i].data(), static_cast<int>(w.keys[i].size()), w.data[i]) != 1) {
      fail(r, "cbdelete");
    }
  }
  r.seconds[3] = since(t);
  if (kyt::cbclose(c) != 1 || kyt::cbexit() != 1) fail(r, "cbclose");
  return r;
}

Result run_sqlite(const Work& w, const std::string& file, long cache_bytes, int page_size) {
  Result r;
  sqlite3* db = nullptr;
  if (sqlite3_open(file.c_str(), &db) != SQLITE_OK) {
    fail(r, "sqlite3_open");
    return r;
  }
  std::string setup = (page_size > 0 ? "PRAGMA page_size=" + std::to_string(page_size) + "; " : std::string()) +
                      "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; PRAGMA cache_size=-" +
                      std::to_string(cache_bytes / 1024) +
                      "; CREATE TABLE t(k BLOB, d INTEGER, PRIMARY KEY(k, d)) WITHOUT ROWID; BEGIN;";
  if (sqlite3_exec(db, setup.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    fail(r, sqlite3_errmsg(db));
    sqlite3_close(db);
    return r;
  }
  sqlite3_stmt *ins, *sel, *scan, *del;
  sqlite3_prepare_v2(db, "INSERT INTO t VALUES(?1, ?2)", -1, &ins, nullptr);
  sqlite3_prepare_v2(db, "SELECT d FROM t WHERE k = ?1 LIMIT 1", -1, &sel, nullptr);
  sqlite3_prepare_v2(db, "SELECT d FROM t ORDER BY k, d", -1, &scan, nullptr);
  sqlite3_prepare_v2(db, "DELETE FROM t WHERE k = ?1 AND d = ?2", -1, &del, nullptr);
  const size_t n = w.keys.size();
  auto t = Clock::now();
  for (size_t i = 0; i < n && r.ok; ++i) {
    sqlite3_bind_blob(ins, 1, w.keys[i].data(), static_cast<int>(w.keys[i].size()), SQLITE_STATIC);
    sqlite3_bind_int(ins, 2, w.data[i]);
    if (sqlite3_step(ins) != SQLITE_DONE) fail(r, "sqlite insert");
    sqlite3_reset(ins);
  }
  r.seconds[0] = since(t);
  t = Clock::now();
  for (size_t j = 0; j < n && r.ok; ++j) {
    uint32_t i = w.find_order[j];
    sqlite3_bind_blob(sel, 1, w.keys[i].data(), static_cast<int>(w.keys[i].size()), SQLITE_STATIC);
    if (sqlite3_step(sel) != SQLITE_ROW) fail(r, "sqlite find");
    sqlite3_reset(sel);
  }
  r.seconds[1] = since(t);
  t = Clock::now();
  size_t seen = 0;
  int64_t sum = 0;
  while (sqlite3_step(scan) == SQLITE_ROW) {
    sum += sqlite3_column_int(scan, 0);
    ++seen;
  }
  sqlite3_reset(scan);
  if (seen != n) fail(r, "sqlite scan");
  r.seconds[2] = since(t);
  t = Clock::now();
  for (size_t j = 0; j < n && r.ok; ++j) {
    uint32_t i = w.delete_order[j];
    sqlite3_bind_blob(del, 1, w.keys[i].data(), static_cast<int>(w.keys[i].size()), SQLITE_STATIC);
    sqlite3_bind_int(del, 2, w.data[i]);
    if (sqlite3_step(del) != SQLITE_DONE || sqlite3_changes(db) != 1) fail(r, "sqlite delete");
    sqlite3_reset(del);
  }
  r.seconds[3] = since(t);
  sqlite3_finalize(ins);
  sqlite3_finalize(sel);
  sqlite3_finalize(scan);
  sqlite3_finalize(del);
  sqlite3_exec(db, "COMMIT;", nullptr, nullptr, nullptr);
  sqlite3_close(db);
  (void)sum;
  return r;
}

}  // namespace

int main(int argc, char** argv) {
  size_t n = argc > 1 ? static_cast<size_t>(std::strtoul(argv[1], nullptr, 10)) : 1000000;
  if (n == 0) n = 1000000;
  int rounds = argc > 2 ? std::atoi(argv[2]) : 3;
  if (rounds < 1) rounds = 1;
  const int page_size = argc > 3 ? std::atoi(argv[3]) : 0;
  const std::string dir = kyt::platform::make_temp_directory("cbtbench");
  const std::string sep(1, kyt::platform::path_separator());
  std::printf("cbt_bench: %zu random keys of 4..32 bytes, best of %d rounds; tree blocks 8192 bytes, "
              "SQLite pages %s\n", n, rounds, page_size > 0 ? std::to_string(page_size).c_str() : "of its default size");
  Work w = make_work(n);
  struct Size {
    const char* name;
    int buffers;
  } sizes[] = {{"default pool (100 x 8192 bytes)", 100}, {"64 MB", 64 * 1024 * 1024 / 8192}};
  int rc = 0;
  for (const Size& s : sizes) {
    const long bytes = static_cast<long>(s.buffers) * 8192;
    const std::string kf = dir + sep + "bench.cbt", sf = dir + sep + "bench.sqlite";
    kyt::platform::remove_file(kf.c_str());
    kyt::platform::remove_file(sf.c_str());
    Result k, q;
    for (int r = 0; r < rounds; ++r) {
      Result kr = run_kyt(w, kf, s.buffers);
      kyt::platform::remove_file(kf.c_str());
      Result qr = run_sqlite(w, sf, bytes, page_size);
      kyt::platform::remove_file(sf.c_str());
      k.ok = k.ok && kr.ok;
      q.ok = q.ok && qr.ok;
      for (int p = 0; p < kPhases; ++p) {
        if (r == 0 || kr.seconds[p] < k.seconds[p]) k.seconds[p] = kr.seconds[p];
        if (r == 0 || qr.seconds[p] < q.seconds[p]) q.seconds[p] = qr.seconds[p];
      }
    }
    std::printf("\n%s\n  %-8s %14s %14s %8s\n", s.name, "phase", "kyt ops/s", "sqlite ops/s", "ratio");
    if (!k.ok || !q.ok) {
      std::printf("  failed\n");
      rc = 1;
      continue;
    }
    for (int p = 0; p < kPhases; ++p) {
      double ko = static_cast<double>(n) / k.seconds[p], so = static_cast<double>(n) / q.seconds[p];
      std::printf("  %-8s %14.0f %14.0f %8.2f\n", kPhaseName[p], ko, so, ko / so);
    }
  }
  return rc;
}
