// cbscan against the cursor moves it stands for.
#include <random>
#include <string>
#include <vector>

#include "cbt_fixture.h"

namespace kyt::test {
namespace {

class CbScan : public CbtFixture {
 protected:
  void SetUp() override {
    CbtFixture::SetUp();
    ASSERT_EQ(cbinit(16, 1024), 1);
  }
};

struct StopAt {
  int32_t stop;          // the data word to stop on
  std::vector<int32_t> seen;
};

int stop_at(void* ctx, const uint8_t* key, int len, int32_t data, int32_t) {
  auto* s = static_cast<StopAt*>(ctx);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(key), static_cast<size_t>(len)),
            "k" + std::to_string(data % 1000));
  s->seen.push_back(data);
  return data == s->stop ? 1 : 0;
}

// Small blocks give many leaves; every scan is compared with the cbnext / cbprev walk from
// the same place, in both directions, stopping anywhere or nowhere.
TEST_F(CbScan, WalksLikeTheCursorMovesAcrossLeaves) {
  CbCursor* c = cbcreate(path("t.cbt").c_str(), nullptr, 128);
  ASSERT_NE(c, nullptr);
  CbCursor* ref = cbopen(path("t.cbt").c_str(), nullptr);
  ASSERT_NE(ref, nullptr);
  std::mt19937 rng(7);
  for (int i = 0; i < 600; ++i) {
    const int32_t d = static_cast<int32_t>(rng() % 200) * 1000 + static_cast<int32_t>(rng() % 1000);
    insert(c, "k" + std::to_string(d % 1000), d);
  }
  for (int round = 0; round < 200; ++round) {
    const bool forward = round % 2 == 0;
    int32_t data = 0;
    // Both cursors start on the same random entry (or before the first / after the last).
    const std::string from = "k" + std::to_string(rng() % 1000);
    int rc = cbfind(c, from.data(), static_cast<int>(from.size()), &data);
    cbfind(ref, from.data(), static_cast<int>(from.size()), &data);
    if (round % 17 == 0) {
      forward ? cbnext(c, &data) : cbprev(c, &data);
      (void)rc;
    }
    std::vector<int32_t> expected;
    int32_t stop = -1;
    for (int r; (r = forward ? cbnext(ref, &data) : cbprev(ref, &data)) == 1;) {
      expected.push_back(data);
      if (round % 3 != 0 && rng() % 40 == 0) {
        stop = data;
        break;
      }
    }
    // The reference started where c did unless the 17th-round step moved c first.
    if (round % 17 == 0) continue;
    StopAt s{stop, {}};
    const int got = cbscan(c, forward, stop_at, &s);
    if (stop < 0) {
      EXPECT_EQ(got, forward ? -3 : -2);
      EXPECT_EQ(s.seen, expected);
    } else {
      ASSERT_EQ(got, 1);
      // Equal data words may repeat; the scan stops at the first, as the walk did.
      EXPECT_EQ(s.seen, expected);
      EXPECT_EQ(key_of(c), key_of(ref));
      int32_t here = 0;
      EXPECT_EQ(cbcurr(c, &here), 1);
      EXPECT_EQ(here, stop);
      // Going on from there continues exactly where the cursor moves would.
      int32_t a = 0, b = 0;
      EXPECT_EQ(forward ? cbnext(c, &a) : cbprev(c, &a), forward ? cbnext(ref, &b) : cbprev(ref, &b));
      EXPECT_EQ(a, b);
    }
  }
  // At the end state nothing is visited; from the start state the first entry is.
  StopAt drain{-1, {}};
  EXPECT_EQ(cbscan(c, 1, stop_at, &drain), -3);
  StopAt none{-1, {}};
  EXPECT_EQ(cbscan(c, 1, stop_at, &none), -3);
  EXPECT_TRUE(none.seen.empty());
  EXPECT_EQ(cbscan(c, 0, stop_at, &drain), -2);  // back to before the first
  StopAt first{drain.seen.back(), {}};
  EXPECT_EQ(cbscan(c, 1, stop_at, &first), 1);
  EXPECT_EQ(first.seen.size(), 1u);
  EXPECT_EQ(cbclose(ref), 1);
  EXPECT_EQ(cbclose(c), 1);
}

TEST_F(CbScan, EmptyTreeAndBadCursor) {
  CbCursor* c = cbcreate(path("e.cbt").c_str(), nullptr, 256);
  ASSERT_NE(c, nullptr);
  StopAt s{-1, {}};
  EXPECT_EQ(cbscan(c, 1, stop_at, &s), -3);
  EXPECT_EQ(cbscan(c, 0, stop_at, &s), -2);
  EXPECT_TRUE(s.seen.empty());
  EXPECT_EQ(cbclose(c), 1);
  EXPECT_EQ(cbscan(c, 1, stop_at, &s), -1);  // a closed cursor is refused, not followed
}

}  // namespace
}  // namespace kyt::test
