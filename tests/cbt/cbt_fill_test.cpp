// The table of node fills lets insert and delete rule out a shift or a merge without reading
// the neighbour. It must only ever save reads: the trees built with it are byte for byte the
// trees built without it, and every noted entry matches the node it describes.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "cbt/bufpool.h"
#include "cbt/node.h"
#include "cbt_fixture.h"
#include "testutil.h"

namespace kyt::test {
namespace {

// Equal keys need not have equal lengths or bytes under this order.
int case_blind(const void* a, int la, const void* b, int lb) {
  const auto* x = static_cast<const unsigned char*>(a);
  const auto* y = static_cast<const unsigned char*>(b);
  const int n = la < lb ? la : lb;
  for (int i = 0; i < n; ++i) {
    int cx = std::tolower(x[i]), cy = std::tolower(y[i]);
    if (cx != cy) return cx - cy;
  }
  return la - lb;
}

struct Outcome {
  std::string file;     // the tree as it stood after the last step
  std::vector<int> results;
  CbStats stats;
};

class CbtFill : public CbtFixture {
 protected:
  // Grows a tree with duplicates, changed entries and a cursor walking it, shrinks it to
  // a few entries and lets it grow a little again.
  // `blind`: forget every noted fill before each change, so that each test reads the nodes.
  Outcome run(CbCompare cmp, int blksize, int nbufs, int steps, bool blind, uint32_t seed) {
    cb_reset_for_tests();
    Outcome out;
    EXPECT_EQ(cbinit(nbufs, 1024), 1);
    const std::string name = path(blind ? "blind.cbt" : "noted.cbt");
    CbCursor* c = cbcreate(name.c_str(), cmp, blksize);
    CbCursor* walker = cbopen(name.c_str(), cmp);
    if (c == nullptr || walker == nullptr) {
      ADD_FAILURE() << "cannot create " << name;
      return out;
    }
    std::mt19937 rng(seed);
    auto draw = [&]() {
      std::string k(rng() % 24, 'a');
      for (char& ch : k) ch = "aAbBcC"[rng() % 6];
      return k;
    };
    // Half the keys come from a small set, so that runs of equal keys span leaves.
    std::vector<std::string> common;
    for (int i = 0; i < 40; ++i) common.push_back(draw());
    std::vector<std::pair<std::string, int32_t>> live;
    for (int i = 0; i < steps; ++i) {
      if (blind) c->tf->fill.clear();
      const int op = static_cast<int>(rng() % 100);
      const int inserts = i < steps * 45 / 100 || i >= steps * 90 / 100 ? 70 : 28;
      if (op < inserts || live.empty()) {
        const std::string k = rng() % 2 != 0 ? common[rng() % common.size()] : draw();
        const int32_t d = static_cast<int32_t>(rng() % 500);
        const int r = insert(c, k, d, rng() % 4 != 0);
        if (r == 1) live.emplace_back(k, d);
        out.results.push_back(r);
      } else if (op < 90) {
        const size_t at = rng() % live.size();
        const int r = erase(c, live[at].first, live[at].second);
        if (r == 1) {
          live[at] = live.back();
          live.pop_back();
        }
        out.results.push_back(r);
      } else if (op < 95) {  // a new key, or the same key with new data (in place)
        auto& e = live[rng() % live.size()];
        std::string k = rng() % 2 != 0 ? e.first : e.first + "b";
        const int32_t d = static_cast<int32_t>(rng() % 500);
        const int r = cbmodify(c, e.first.data(), static_cast<int>(e.first.size()), e.second, k.data(),
                               static_cast<int>(k.size()), d, 1);
        if (r == 1) e = {k, d};
        out.results.push_back(r);
      } else {
        int32_t d = 0;
        out.results.push_back(cbnext(walker, &d));
        out.results.push_back(d);
      }
    }
    expect_sound(c);
    if (!blind) expect_notes_true(c);
    out.stats = cb_stats();
    EXPECT_EQ(cbclose(walker), 1);
    EXPECT_EQ(cbclose(c), 1);
    out.file = read_file(name);
    cb_reset_for_tests();
    return out;
  }

  // Every noted fill is the fill of the node in the block now.
  static void expect_notes_true(CbCursor* c) {
    TreeFile* tf = c->tf;
    const int B = static_cast<int>(tf->blksize);
    int known = 0;
    for (uint32_t b = 1; b <= tf->last_blk && b < tf->fill.size(); ++b) {
      NodeFill f;
      if (!fill_known(tf, b, &f)) continue;
      ++known;
      uint8_t* p = get_blk(tf->bf, b);
      ASSERT_NE(p, nullptr);
      EXPECT_NE(rd32(p), 0u) << "block " << b << " is free but has a fill";
      EXPECT_EQ(f.used, nd_used(p, B)) << "block " << b;
      EXPECT_EQ(f.first_len, nd_count(p) > 0 ? e_klen(p, 0) : 0) << "block " << b;
      rlse_blk(tf->bf, p);
    }
    EXPECT_GT(known, 0);
  }

  void expect_same_trees(CbCompare cmp, int blksize, int nbufs, int steps) {
    for (uint32_t seed = 1; seed <= 3; ++seed) {
      const CbStats before = cb_stats();
      Outcome noted = run(cmp, blksize, nbufs, steps, false, seed);
      const CbStats mid = cb_stats();
      Outcome blind = run(cmp, blksize, nbufs, steps, true, seed);
      const CbStats after = cb_stats();
      ASSERT_FALSE(noted.file.empty());
      EXPECT_TRUE(noted.file == blind.file) << "seed " << seed << ": the trees differ";
      EXPECT_EQ(noted.results, blind.results) << "seed " << seed;
      // The same shifts and merges happened, and there were enough of them to matter.
      EXPECT_EQ(mid.shift_right - before.shift_right, after.shift_right - mid.shift_right);
      EXPECT_EQ(mid.shift_left - before.shift_left, after.shift_left - mid.shift_left);
      EXPECT_EQ(mid.merges - before.merges, after.merges - mid.merges);
      EXPECT_GT(mid.shift_right - before.shift_right, 100u);
      EXPECT_GT(mid.merges - before.merges, 10u);
    }
  }
};

TEST_F(CbtFill, NotedFillsChangeNoDecision) {
  expect_same_trees(nullptr, 128, 6, 12000);  // few buffers: most neighbours are on disk
  expect_same_trees(nullptr, 512, 40, 20000);
}

TEST_F(CbtFill, NotedFillsChangeNoDecisionUnderAnotherOrder) {
  expect_same_trees(case_blind, 128, 6, 12000);
}

}  // namespace
}  // namespace kyt::test
