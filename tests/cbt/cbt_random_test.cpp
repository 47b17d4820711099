// Randomized sequences of every tree operation, checked against a std::multimap model
// and the structural check.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <random>
#include <string>

#include "cbt/bufpool.h"
#include "cbt/cbt.h"
#include "cbt_fixture.h"

namespace kyt::test {
namespace {

int reverse_compare(const void* a, int la, const void* b, int lb) {
  return -cb_default_compare(a, la, b, lb);
}

struct Params {
  const char* name;
  int blksize;
  int bufsize;
  int nbufs;
  int maxkey;      // longest key drawn (cut to what the tree takes)
  bool dups;
  int steps;
  int check_small;  // structural check after every step while the tree has fewer entries
  CbCompare cmp = nullptr;
  int grow = 0;     // first this many inserts only, at the end delete everything
};

// The model: entries in (key, data) order; equal keys kept sorted by data.
struct KeyLess {
  CbCompare cmp;
  bool operator()(const std::string& a, const std::string& b) const {
    return cmp(a.data(), static_cast<int>(a.size()), b.data(), static_cast<int>(b.size())) < 0;
  }
};
void PrintTo(const Params& p, std::ostream* os) { *os << p.name; }

using Model = std::multimap<std::string, int32_t, KeyLess>;
using Entry = std::pair<std::string, int32_t>;

struct CursorModel {
  int state = -2;
  Entry at;
};

class Runner {
 public:
  Runner(const Params& p, const std::string& file, uint64_t seed)
      : p_(p), file_(file), rng_(seed), model_(KeyLess{p.cmp ? p.cmp : cb_default_compare}) {
    cmp_ = p.cmp ? p.cmp : cb_default_compare;
  }

  void run() {
    ASSERT_EQ(cbinit(p_.nbufs, p_.bufsize), 1);
    c_[0] = cbcreate(file_.c_str(), p_.cmp, p_.blksize);
    ASSERT_NE(c_[0], nullptr);
    for (int i = 1; i < kCursors; ++i) {
      c_[i] = cbopen(file_.c_str(), p_.cmp);
      ASSERT_NE(c_[i], nullptr);
    }
    maxkey_ = std::min({p_.maxkey, p_.blksize - 36, p_.bufsize - 36});
    for (step_ = 0; step_ < p_.steps && !::testing::Test::HasFailure(); ++step_) {
      if (step_ < p_.grow) {
        op_insert();
      } else {
        one_step();
      }
      check();
    }
    if (p_.grow > 0) {  // empty the tree again, entry by entry
      while (!model_.empty() && !::testing::Test::HasFailure()) {
        auto it = std::next(model_.begin(), std::uniform_int_distribution<size_t>(0, model_.size() - 1)(rng_));
        Entry e = *it;
        ASSERT_EQ(cbdelete(c_[0], e.first.data(), static_cast<int>(e.first.size()), e.second), 1);
        model_.erase(it);
        after_change(false);
        check();
      }
      int32_t d;
      EXPECT_EQ(cbnext(c_[0], &d), -3);
    }
    full_compare();
    std::string why;
    EXPECT_EQ(cbcheck(c_[0], &why), 1) << why;
    for (int i = kCursors - 1; i >= 0; --i) EXPECT_EQ(cbclose(c_[i]), 1);
    EXPECT_EQ(cbexit(), 1);
  }

 private:
  int pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng_); }

  std::string random_key() {
    int r = pick(100);
    int len;
    if (r < 45) len = pick(std::min(4, maxkey_) + 1);
    else if (r < 90) len = pick(std::min(40, maxkey_) + 1);
    else len = maxkey_ - pick(std::min(3, maxkey_) + 1);
    std::string k(static_cast<size_t>(len), 'a');
    bool wide = pick(4) == 0;
    for (auto& ch : k) ch = static_cast<char>(wide ? pick(256) : 'a' + pick(3));
    return k;
  }
  int32_t random_data() { return pick(5) == 0 ? pick(2000000) - 1000000 : pick(9) - 4; }

  Model::iterator lb(const std::string& k, int32_t d) {
    auto it = model_.lower_bound(k);
    while (it != model_.end() && !model_.key_comp()(k, it->first) && it->second < d) ++it;
    return it;
  }
  bool same_key(const std::string& a, const std::string& b) const {
    return cmp_(a.data(), static_cast<int>(a.size()), b.data(), static_cast<int>(b.size())) == 0;
  }
  bool has(const Entry& e) {
    auto it = lb(e.first, e.second);
    return it != model_.end() && same_key(it->first, e.first) && it->second == e.second;
  }
  int key_count(const std::string& k) { return static_cast<int>(model_.count(k)); }
  Entry random_entry() {
    auto it = std::next(model_.begin(), pick(static_cast<int>(model_.size())));
    return *it;
  }

  // Where a cursor stands in the model: 0-based rank of its entry.
  long rank(const Entry& e) { return std::distance(model_.begin(), lb(e.first, e.second)); }

  // The cursor against its model. Strict: exactly where it was; else (after a delete or
  // modify) not behind where it was, at most one entry further than the next one.
  void expect_cursor(int i, bool strict) {
    CbCursor* c = c_[i];
    CursorModel& m = cm_[i];
    int32_t d = 0;
    int r = cbcurr(c, &d);
    if (m.state != 1 || strict) {
      ASSERT_EQ(r, m.state) << where();
      if (r == 1) {
        ASSERT_EQ(cursor_key(c), m.at.first) << where();
        ASSERT_EQ(d, m.at.second) << where();
      }
      return;
    }
    long from = rank(m.at);  // first entry not below the old one
    if (r == -3) {
      ASSERT_LE(static_cast<long>(model_.size()) - from - (has(m.at) ? 1 : 0), 1) << where();
      m.state = -3;
      return;
    }
    ASSERT_EQ(r, 1) << where();
    Entry now{cursor_key(c), d};
    ASSERT_TRUE(has(now)) << where() << " cursor on a missing entry";
    long at = rank(now);
    ASSERT_GE(at, from) << where();
    ASSERT_LE(at - from - (has(m.at) ? 1 : 0), 1) << where();
    m.at = now;
  }

  void after_change(bool strict) {
    for (int i = 0; i < kCursors; ++i) expect_cursor(i, strict);
  }

  std::string where() const { return std::string(p_.name) + " step " + std::to_string(step_); }

  void op_insert() {
    std::string k = random_key();
    int32_t d = random_data();
    int dups = p_.dups ? 1 : 0;
    int expect = 1, err = 0;
    if (has({k, d})) {
      expect = -1;
      err = kCbErrExists;
    } else if (!dups && key_count(k) > 0) {
      expect = -1;
      err = kCbErrDuplicate;
    }
    int r = cbinsert(c_[0], k.data(), static_cast<int>(k.size()), d, dups);
    ASSERT_EQ(r, expect) << where() << " insert len " << k.size();
    if (r == 1) {
      model_.insert(lb(k, d), {k, d});
    } else {
      ASSERT_EQ(cb_errcode, err) << where();
    }
    after_change(true);
  }

  void op_delete() {
    Entry e = (!model_.empty() && pick(5) != 0) ? random_entry() : Entry{random_key(), random_data()};
    int expect = has(e) ? 1 : -1;
    int r = cbdelete(c_[0], e.first.data(), static_cast<int>(e.first.size()), e.second);
    ASSERT_EQ(r, expect) << where();
    if (r == 1) {
      model_.erase(lb(e.first, e.second));
    } else {
      ASSERT_EQ(cb_errcode, model_.empty() ? kCbErrEmpty : kCbErrNotFound) << where();
    }
    after_change(false);
  }

  void op_modify() {
    Entry o = (!model_.empty() && pick(8) != 0) ? random_entry() : Entry{random_key(), random_data()};
    Entry n;
    int r = pick(10);
    if (r == 0) n = o;
    else if (r < 4) n = {o.first, random_data()};
    else n = {random_key(), random_data()};
    int dups = p_.dups ? 1 : 0;
    int expect = 1, err = 0;
    bool equal = same_key(o.first, n.first) && o.second == n.second;
    if (!equal) {
      int others = key_count(n.first) - (has(o) && same_key(o.first, n.first) ? 1 : 0);
      if (model_.empty()) {
        expect = -1;
        err = kCbErrNotFound;
      } else if (has(n)) {
        expect = -1;
        err = kCbErrExists;
      } else if (!dups && others > 0) {
        expect = -1;
        err = kCbErrDuplicate;
      } else if (!has(o)) {
        expect = -1;
        err = kCbErrNotFound;
      }
    }
    // An unchanged entry moves a cursor that stands on it to the next one.
    CursorModel before = cm_[0];
    int got = cbmodify(c_[0], o.first.data(), static_cast<int>(o.first.size()), o.second, n.first.data(),
                       static_cast<int>(n.first.size()), n.second, dups);
    ASSERT_EQ(got, expect) << where();
    if (got != 1) {
      ASSERT_EQ(cb_errcode, err) << where();
      after_change(true);
      return;
    }
    if (equal) {
      if (before.state == 1 && same_key(before.at.first, o.first) && before.at.second == o.second) {
        auto it = lb(o.first, o.second);
        ++it;
        if (it == model_.end()) cm_[0].state = -3; else cm_[0].at = *it;
      }
      after_change(true);
      return;
    }
    model_.erase(lb(o.first, o.second));
    model_.insert(lb(n.first, n.second), n);
    after_change(false);
  }

  void op_find(bool rec) {
    std::string k = (!model_.empty() && pick(2) == 0) ? random_entry().first : random_key();
    int32_t want = rec ? random_data() : 0;
    int32_t d = want;
    int r = rec ? cbfindrec(c_[0], k.data(), static_cast<int>(k.size()), &d)
                : cbfind(c_[0], k.data(), static_cast<int>(k.size()), &d);
    auto it = lb(k, want);
    if (it == model_.end()) {
      ASSERT_EQ(r, -3) << where();
      cm_[0].state = -3;
      return;
    }
    bool found = same_key(it->first, k) && (!rec || it->second == want);
    ASSERT_EQ(r, found ? 2 : 3) << where();
    ASSERT_EQ(d, it->second) << where();
    cm_[0] = {1, *it};
    expect_cursor(0, true);
  }

  void op_move(int i) {
    CbCursor* c = c_[i];
    CursorModel& m = cm_[i];
    int32_t d = 0;
    int what = pick(10);
    int r;
    if (what < 5) {
      r = cbnext(c, &d);
      if (m.state == -3 || (m.state == -2 && model_.empty())) {
        m.state = -3;
      } else if (m.state == -2) {
        m = {1, *model_.begin()};
      } else {
        auto it = lb(m.at.first, m.at.second);
        ++it;
        if (it == model_.end()) m.state = -3; else m.at = *it;
      }
    } else if (what < 9) {
      r = cbprev(c, &d);
      if (m.state == -2 || model_.empty()) {
        m.state = -2;
      } else if (m.state == -3) {
        m = {1, *model_.rbegin()};
      } else {
        auto it = lb(m.at.first, m.at.second);
        if (it == model_.begin()) m.state = -2; else m.at = *--it;
      }
    } else {
      r = cbtail(c, &d);
      if (model_.empty()) m.state = -2; else m = {1, *model_.rbegin()};
    }
    ASSERT_EQ(r, m.state) << where();
    if (r == 1) {
      ASSERT_EQ(d, m.at.second) << where();
      ASSERT_EQ(cursor_key(c), m.at.first) << where();
    }
  }

  void op_mark_restore() {
    if (pick(2) == 0 || !marked_) {
      ASSERT_EQ(cbmark(c_[1]), 1);
      saved_ = cm_[1];
      marked_ = true;
      changed_since_mark_ = false;
      return;
    }
    int32_t d = 0;
    int r = cbrestore(c_[1], &d);
    if (!changed_since_mark_) {
      ASSERT_EQ(r, saved_.state) << where();
      cm_[1] = saved_;
      if (r == 1) {
        ASSERT_EQ(d, saved_.at.second) << where();
      }
    } else {
      // The saved position followed the changes like a cursor does.
      cm_[1] = saved_;
      if (r == -2 || r == -3) {
        ASSERT_EQ(saved_.state == 1 ? -3 : saved_.state, r) << where();
      }
      if (saved_.state == 1) {
        if (r == -3) {
          cm_[1].state = -3;
        } else {
          ASSERT_EQ(r, 1) << where();
          cm_[1].state = 1;
          Entry now{cursor_key(c_[1]), d};
          ASSERT_TRUE(has(now)) << where() << " restored onto a missing entry";
          ASSERT_GE(rank(now), rank(saved_.at)) << where();
          cm_[1].at = now;
        }
      }
    }
  }

  void op_reopen() {
    for (int i = kCursors - 1; i >= 0; --i) ASSERT_EQ(cbclose(c_[i]), 1);
    for (int i = 0; i < kCursors; ++i) {
      c_[i] = cbopen(file_.c_str(), p_.cmp);
      ASSERT_NE(c_[i], nullptr) << where() << " cb_errcode " << cb_errcode;
      cm_[i] = CursorModel();
    }
    marked_ = false;
  }

  // Watchers stand on random entries, so that every move of entries between nodes
  // finds cursors to carry along.
  void op_watch() {
    if (model_.empty()) return;
    int i = 2 + pick(kCursors - 2);
    Entry e = random_entry();
    int32_t d = e.second;
    ASSERT_EQ(cbfindrec(c_[i], e.first.data(), static_cast<int>(e.first.size()), &d), 2) << where();
    cm_[i] = {1, e};
  }

  void one_step() {
    int r = pick(1000);
    bool change = false;
    if (r < 380) {
      op_insert();
      change = true;
    } else if (r < 620) {
      op_delete();
      change = true;
    } else if (r < 720) {
      op_modify();
      change = true;
    } else if (r < 790) {
      op_find(false);
    } else if (r < 830) {
      op_find(true);
    } else if (r < 960) {
      op_move(pick(2));
    } else if (r < 990) {
      op_mark_restore();
    } else if (r < 995) {
      op_reopen();
    } else {
      // The pool grows and shrinks a little; a run with the smallest pool is separate.
      if (pick(2) == 0) {
        EXPECT_GT(cbaddbufs(1 + pick(8)), 0);
      } else {
        int before = cbbufcount();
        int removed = cbrmvbufs(1 + pick(8));
        EXPECT_EQ(cbbufcount(), before - removed);
        EXPECT_GE(cbbufcount(), 4);
      }
    }
    if (change) changed_since_mark_ = true;
    if (pick(2) == 0) op_watch();
  }

  void full_compare() {
    CbCursor* c = c_[1];
    ASSERT_EQ(cbclose(c), 1);
    c = c_[1] = cbopen(file_.c_str(), p_.cmp);
    ASSERT_NE(c, nullptr);
    cm_[1] = CursorModel();
    marked_ = false;
    int32_t d;
    for (const auto& e : model_) {
      ASSERT_EQ(cbnext(c, &d), 1) << where();
      ASSERT_EQ(d, e.second) << where();
      ASSERT_EQ(cursor_key(c), e.first) << where();
    }
    ASSERT_EQ(cbnext(c, &d), -3) << where();
    for (auto it = model_.rbegin(); it != model_.rend(); ++it) {
      ASSERT_EQ(cbprev(c, &d), 1) << where();
      ASSERT_EQ(d, it->second) << where();
    }
    ASSERT_EQ(cbprev(c, &d), -2) << where();
    cm_[1].state = -2;
  }

  void check() {
    if (::testing::Test::HasFailure()) return;
    // CBT_CHECK_ALL in the environment checks after every step, whatever the size.
    bool small = static_cast<int>(model_.size()) < p_.check_small || std::getenv("CBT_CHECK_ALL") != nullptr;
    if (small || ++checks_ % 25 == 0) {
      std::string why;
      ASSERT_EQ(cbcheck(c_[0], &why), 1) << where() << ": " << why;
    }
    if (checks_ % 1000 == 999) full_compare();
  }

  Params p_;
  std::string file_;
  std::mt19937_64 rng_;
  Model model_;
  CbCompare cmp_;
  static constexpr int kCursors = 6;  // 0 changes and finds, 1 moves and marks, 2.. watch
  CbCursor* c_[kCursors] = {};
  CursorModel cm_[kCursors];
  CursorModel saved_;
  bool marked_ = false;
  bool changed_since_mark_ = false;
  int maxkey_ = 0;
  int step_ = 0;
  int checks_ = 0;
};

class CbtRandom : public CbtFixture, public ::testing::WithParamInterface<Params> {};

TEST_P(CbtRandom, MatchesTheModelAndStaysSound) {
  const Params& p = GetParam();
  Runner(p, path("random.cbt"), 0x5EED0000u + static_cast<uint64_t>(p.blksize)).run();
}

INSTANTIATE_TEST_SUITE_P(
    CbtSizes, CbtRandom,
    ::testing::Values(
        Params{"b48", 48, 256, 400, 12, true, 3000, 150},
        Params{"b64_unique_minpool", 64, 64, 4, 28, false, 1200, 100},
        Params{"b100", 100, 512, 300, 64, true, 3000, 150},
        Params{"b256_unique", 256, 256, 400, 220, false, 3000, 150},
        Params{"b1024_long", 1024, 1024, 100, 988, true, 2500, 150},
        Params{"b8192_long", 8192, 8192, 64, 8156, true, 1500, 100},
        Params{"b160_reverse", 160, 1024, 200, 124, true, 2500, 150, reverse_compare},
        Params{"b128_grow_shrink", 128, 512, 300, 40, true, 1500, 100, nullptr, 1500}),
    [](const ::testing::TestParamInfo<Params>& i) { return std::string(i.param.name); });

// The sequences above must between them reach every structural case.
class CbtCoverage : public CbtFixture {};

TEST_F(CbtCoverage, RandomSequencesReachEveryCase) {
  CbStats before = cb_stats();
  Params p{"cover", 96, 256, 2000, 40, true, 3000, 0, nullptr, 1200};
  Runner(p, path("cover.cbt"), 42).run();
  const CbStats& s = cb_stats();
  EXPECT_GT(s.shift_right, before.shift_right);
  EXPECT_GT(s.shift_left, before.shift_left);
  EXPECT_GT(s.split_right, before.split_right);
  EXPECT_GT(s.split_left, before.split_left);
  EXPECT_GT(s.merges, before.merges);
  EXPECT_GT(s.freed_empty, before.freed_empty);
  EXPECT_GT(s.roots_made, before.roots_made);
  EXPECT_GT(s.roots_removed, before.roots_removed);
  EXPECT_GT(s.reused, before.reused);
}

}  // namespace
}  // namespace kyt::test
