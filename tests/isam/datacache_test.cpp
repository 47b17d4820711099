// The data file page cache against the file itself: random reads, writes within the file
// and appends at its end, also across page borders and at a partly filled last page.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "isam/datacache.h"
#include "testutil.h"

namespace kyt {
namespace {

// With the whole budget, a budget of three pages (pages are given back all the time) and
// none (everything reads past the cache).
class DataCacheBudget : public ::testing::TestWithParam<int64_t> {
 protected:
  void SetUp() override { DataCache::set_budget(GetParam()); }
  void TearDown() override { DataCache::set_budget(DataCache::kMaxPages); }
};

TEST_P(DataCacheBudget, ReadsWhatTheFileHoldsThroughWritesAndAppends) {
  test::TempDir dir;
  const std::string path = dir.file("data");
  platform::File f;
  ASSERT_TRUE(f.open(path.c_str(), platform::OpenMode::kCreate));
  std::mt19937 rng(5);
  std::string model(10000, '\0');
  for (char& c : model) c = static_cast<char>(rng());
  ASSERT_EQ(f.write_at(model.data(), model.size(), 0), static_cast<int64_t>(model.size()));
  DataCache cache;
  std::vector<char> buf(20000);
  for (int i = 0; i < 3000; ++i) {
    if (i == 2999) {
      ASSERT_TRUE(cache.flush(f));
      ASSERT_EQ(test::read_file(path), model);
    }
    const int64_t end = static_cast<int64_t>(model.size());
    const int64_t at = static_cast<int64_t>(rng() % (end + 10));
    const size_t n = rng() % 3 == 0 ? rng() % 9000 : rng() % 600;
    switch (rng() % 4) {
      case 0: {  // read
        int64_t got = cache.read(f, buf.data(), n, at, end);
        int64_t want = at >= end ? 0 : std::min<int64_t>(static_cast<int64_t>(n), end - at);
        ASSERT_EQ(got, want) << i;
        ASSERT_EQ(std::string(buf.data(), static_cast<size_t>(got)), model.substr(static_cast<size_t>(std::min(at, end)), static_cast<size_t>(got))) << i;
        break;
      }
      case 1: {  // write inside the file, or append at its end
        const int64_t w = rng() % 4 == 0 ? end : std::min(at, end);
        std::string bytes(n % 700, '\0');
        for (char& c : bytes) c = static_cast<char>(rng());
        ASSERT_TRUE(cache.write(f, bytes.data(), bytes.size(), w, end));
        if (model.size() < w + bytes.size()) model.resize(static_cast<size_t>(w) + bytes.size());
        model.replace(static_cast<size_t>(w), bytes.size(), bytes);
        break;
      }
      case 2: {  // a look in place: within one page, or refused
        const int64_t end = static_cast<int64_t>(model.size());
        const size_t len = rng() % 200;
        const unsigned char* p = cache.view(f, at, len, end);
        const bool one_page = at / DataCache::kPageSize == (at + static_cast<int64_t>(len) - 1) / DataCache::kPageSize;
        if (at + static_cast<int64_t>(len) > end || (len > 0 && !one_page)) {
          ASSERT_EQ(p, nullptr) << i;
        } else if (GetParam() == DataCache::kMaxPages) {
          ASSERT_NE(p, nullptr) << i;
        }
        if (p != nullptr) {
          ASSERT_EQ(std::string(reinterpret_cast<const char*>(p), len), model.substr(static_cast<size_t>(at), len)) << i;
        }
        cache.prefetch(at);  // a hint: harmless anywhere, also past the end
        break;
      }
      default:
        if (rng() % 20 == 0) {  // what was written reaches the file
          ASSERT_TRUE(cache.flush(f));
          ASSERT_EQ(test::read_file(path), model) << i;
          if (rng() % 2 == 0) cache.clear();
        }
        break;
    }
  }
}

TEST(DataCache, AFailedWriteIsReportedByTheNextFlush) {
  test::TempDir dir;
  const std::string path = dir.file("data");
  test::write_file(path, std::string(5000, 'a'));
  platform::File f;
  ASSERT_TRUE(f.open(path.c_str(), platform::OpenMode::kRead));  // writes to it fail
  DataCache cache;
  char b[10];
  ASSERT_EQ(cache.read(f, b, 10, 4090, 5000), 10);  // pages 0 and 1 held
  EXPECT_TRUE(cache.write(f, "xyz", 3, 4094, 5000));  // absorbed by the pages
  EXPECT_FALSE(cache.flush(f));
  EXPECT_TRUE(cache.flush(f));  // reported once
  EXPECT_FALSE(cache.write(f, "xyz", 3, 20000, 30000));  // far from any page: at once
  EXPECT_FALSE(cache.flush(f));
}

INSTANTIATE_TEST_SUITE_P(Budgets, DataCacheBudget, ::testing::Values(DataCache::kMaxPages, 3, 0));

}  // namespace
}  // namespace kyt
