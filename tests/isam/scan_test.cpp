// ifindwhere against the ifindnext / igetrec walk it stands for, and the field splitting
// both rest on.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "cbt/cbt.h"
#include "isam/isam.h"
#include "isam/isam_impl.h"
#include "platform/platform.h"
#include "testutil.h"

namespace kyt {
namespace {

// The splitting, byte by byte, as igetrec has always done it.
int split_slowly(const char* buf, int end, int n, int k, const char** fields) {
  int f = 0, start = 0;
  for (int i = 0; i < end && f < n; ++i) {
    if (buf[i] == '\0') {
      if (f < k) fields[f] = buf + start;
      ++f;
      start = i + 1;
    }
  }
  if (f < k) fields[f] = buf + start;
  return f;
}

TEST(IsamSplit, AgreesWithTheByteWalkOnRandomRecords) {
  std::mt19937 rng(11);
  for (int round = 0; round < 20000; ++round) {
    const int end = static_cast<int>(rng() % 90);
    std::vector<char> buf(static_cast<size_t>(end) + 1);
    const unsigned density = 1 + rng() % 8;
    for (int i = 0; i < end; ++i) buf[static_cast<size_t>(i)] = rng() % density == 0 ? '\0' : static_cast<char>('a' + rng() % 26);
    buf[static_cast<size_t>(end)] = '\0';
    const int n = static_cast<int>(rng() % 24);
    const int k = n == 0 ? 0 : static_cast<int>(rng() % (n + 1));
    std::vector<const char*> a(static_cast<size_t>(n) + 1, nullptr), b(a);
    const int fast = I_split_prefix(buf.data(), end, n, k, a.data());
    const int slow = split_slowly(buf.data(), end, n, k, b.data());
    ASSERT_EQ(fast, slow) << "round " << round;
    for (int f = 0; f < k && f <= fast; ++f) ASSERT_EQ(a[static_cast<size_t>(f)], b[static_cast<size_t>(f)]) << "round " << round << " field " << f;
  }
}

class IsamScan : public ::testing::Test {
 protected:
  void SetUp() override {
    isam_reset_for_tests();
    cb_reset_for_tests();
    base_ = dir_.file("S");
    const char* fields[] = {"K", "V", "PAD", nullptr};
    ASSERT_EQ(icreate_db(base_.c_str(), fields), 1);
    db_ = iopen_db(base_.c_str());
    ASSERT_NE(db_, nullptr);
    const char* key[] = {"K", nullptr};
    ASSERT_EQ(imkindex(db_, "BYK", key), 1);
    index_ = ihandle(db_, "BYK");
    ASSERT_NE(index_, nullptr);
  }
  void TearDown() override {
    isam_reset_for_tests();
    cb_reset_for_tests();
  }
  void add(const std::string& k, const std::string& v, size_t pad) {
    const std::string p(pad, 'p');
    const char* values[] = {k.c_str(), v.c_str(), p.c_str(), nullptr};
    ASSERT_EQ(iaddrec(db_, ihandle(db_, kPhysicalIndex), values), 1);
  }

  test::TempDir dir_;
  std::string base_;
  IsamDb* db_ = nullptr;
  IsamIndex* index_ = nullptr;
};

// The test takes records whose V is a multiple of `take` and stops at V == `stop`.
struct Rule {
  int take, stop, shown;
  int calls = 0;
};

int judge(const Rule& r, const char* const* fields) {
  const int v = std::atoi(fields[1]);
  if (v == r.stop) return 2;
  return v % r.take == 0 ? 1 : 0;
}

int judge_in_place(void* ctx, const char* const* fields) {
  auto* r = static_cast<Rule*>(ctx);
  ++r->calls;
  for (int f = r->shown; f < 3; ++f) EXPECT_EQ(fields[f], nullptr);  // only what was asked for
  return judge(*r, fields);
}

// Records of every size (some cross a page of the data cache, some are longer than the
// reader's buffer and arrive cut), deleted ones among them; the walk with ifindwhere must
// deliver exactly what ifindnext / ifindprev and igetrec deliver, in both directions.
TEST_F(IsamScan, DeliversWhatTheRecordWalkDelivers) {
  std::mt19937 rng(5);
  for (int i = 0; i < 700; ++i) {
    const size_t pad = rng() % 10 == 0 ? 200 + rng() % 900 : rng() % 40;
    add("k" + std::to_string(rng() % 300), std::to_string(rng() % 1000), pad);
  }
  for (int i = 0; i < 100; ++i) {  // holes between the records
    char key[8];
    std::snprintf(key, sizeof key, "k%u", static_cast<unsigned>(rng() % 300));
    const char* values[] = {key, nullptr};
    if (ifindkey(db_, index_, values) == 1) idelrec(db_, index_);
  }
  const int bufsize = 600;
  for (int round = 0; round < 24; ++round) {
    const bool forward = round % 2 == 0;
    Rule rule{2 + round % 5, round % 3 == 0 ? -1 : static_cast<int>(rng() % 1000), round % 4 == 0 ? 3 : 2};
    auto collect = [&](bool fast) {
      std::vector<std::string> rows;
      std::vector<const char*> fields(3);
      std::vector<char> buf(bufsize);
      IsamPos edge;
      edge.status = forward ? -2 : -3;
      EXPECT_EQ(irestorepos(db_, index_, &edge), 1);
      for (;;) {
        int rc;
        if (fast) {
          rc = ifindwhere(db_, index_, forward, judge_in_place, &rule, fields.data(), buf.data(), bufsize,
                          rule.shown);
        } else {
          rc = forward ? ifindnext(db_, index_) : ifindprev(db_, index_);
          rc = rc == 1 ? 2 : rc;
        }
        if (rc == 0) {
          rows.push_back("stop");
          break;
        }
        if (rc != 1 && rc != 2) {
          rows.push_back("end " + std::to_string(rc));
          break;
        }
        if (rc == 2) {
          EXPECT_EQ(igetrec(db_, index_, fields.data(), buf.data(), bufsize), 1);
        }
        const int verdict = rc == 1 ? 1 : judge(rule, fields.data());
        if (rc == 1) {  // delivered by the walk: the same as igetrec gives there
          std::vector<const char*> again(3);
          std::vector<char> copy(bufsize);
          EXPECT_EQ(igetrec(db_, index_, again.data(), copy.data(), bufsize), 1);
          for (size_t f = 0; f < 3; ++f) EXPECT_STREQ(again[f], fields[f]);
        }
        if (verdict == 2) {
          rows.push_back("stop");
          break;
        }
        if (verdict == 1) rows.push_back(std::string(fields[0]) + "/" + fields[1] + "/" + fields[2]);
      }
      return rows;
    };
    const std::vector<std::string> slow = collect(false);
    const std::vector<std::string> fast = collect(true);
    EXPECT_GT(rule.calls, 0);  // records were judged in place
    EXPECT_EQ(fast, slow) << "round " << round;
    EXPECT_GT(slow.size(), 1u);
  }
}

// A damaged record is handed to the caller, whose igetrec reports it, never skipped.
TEST_F(IsamScan, HandsDamagedRecordsToTheCaller) {
  add("a", "1", 3);
  add("b", "3", 3);
  add("c", "5", 3);
  ASSERT_EQ(iclose_db(db_), 1);
  // Record "b": its first terminator becomes a letter, leaving two fields of three.
  std::string bytes = test::read_file(base_ + ".DB");
  const size_t at = bytes.find(std::string("b\0", 2));
  ASSERT_NE(at, std::string::npos);
  {
    platform::File f;
    ASSERT_TRUE(f.open((base_ + ".DB").c_str(), platform::OpenMode::kReadWrite));
    ASSERT_EQ(f.write_at("x", 1, static_cast<int64_t>(at + 1)), 1);
  }
  db_ = iopen_db(base_.c_str());
  ASSERT_NE(db_, nullptr);
  index_ = ihandle(db_, "BYK");
  Rule even{2, -1, 2};  // takes nothing: every V is odd
  std::vector<const char*> fields(3);
  char buf[100];
  EXPECT_EQ(ifindwhere(db_, index_, 1, judge_in_place, &even, fields.data(), buf, 100, 2), 2);
  EXPECT_EQ(igetrec(db_, index_, fields.data(), buf, sizeof buf), -1);
  EXPECT_EQ(isam_errno, kIsamDataCorrupt);
  EXPECT_EQ(ifindwhere(db_, index_, 1, judge_in_place, &even, fields.data(), buf, 100, 2), -3);  // "c" is skipped
}

}  // namespace
}  // namespace kyt
