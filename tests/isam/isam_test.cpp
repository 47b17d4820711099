#include "isam/isam.h"
#include "isam/isam_impl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "cbt/cbt.h"
#include "platform/platform.h"
#include "testutil.h"

namespace kyt {
namespace {

class IsamTest : public ::testing::Test {
 protected:
  void SetUp() override {
    isam_reset_for_tests();
    cb_reset_for_tests();
    base_ = dir_.file("T");
  }
  void TearDown() override {
    isam_reset_for_tests();
    cb_reset_for_tests();
  }

  IsamDb* create(const std::vector<const char*>& fields) {
    std::vector<const char*> f = fields;
    f.push_back(nullptr);
    EXPECT_EQ(icreate_db(base_.c_str(), f.data()), 1) << isam_strerror(isam_errno);
    IsamDb* db = iopen_db(base_.c_str());
    EXPECT_NE(db, nullptr) << isam_strerror(isam_errno);
    return db;
  }
  int32_t add(IsamDb* db, const std::vector<const char*>& values) {
    IsamIndex* phys = ihandle(db, kPhysicalIndex);
    EXPECT_EQ(iaddrec(db, phys, values.data()), 1) << isam_strerror(isam_errno);
    return irecoffset(db, phys);
  }
  std::vector<std::string> read(IsamDb* db, IsamIndex* index) {
    std::vector<const char*> fields(static_cast<size_t>(inum_fields(db)));
    char buf[2048];
    EXPECT_EQ(igetrec(db, index, fields.data(), buf, sizeof buf), 1);
    return std::vector<std::string>(fields.begin(), fields.end());
  }
  // A word of the data file as the file holds it (the open database's writes flushed).
  int32_t word_at(int64_t offset) {
    if (IsamDb* open = isam_find_open(isam_base_name(base_.c_str()))) iflush_db(open);
    platform::File f;
    unsigned char w[4] = {};
    if (f.open((base_ + ".DB").c_str(), platform::OpenMode::kRead)) f.read_at(w, 4, offset);
    return static_cast<int32_t>(w[0] | (w[1] << 8) | (w[2] << 16) | (static_cast<uint32_t>(w[3]) << 24));
  }
  void expect_sound() {
    std::vector<std::string> problems;
    EXPECT_TRUE(icheck_db(base_.c_str(), &problems, 20));
    for (const std::string& p : problems) ADD_FAILURE() << p;
  }

  test::TempDir dir_;
  std::string base_;
};

// Randomized adds, deletes, key finds and index walks against a model, with the integrity
// check after every step; one to four indexes, duplicates included.
TEST_F(IsamTest, RandomOperationsMatchAModel) {
  std::mt19937 rng(3);
  for (int nidx = 1; nidx <= 4; ++nidx) {
    isam_reset_for_tests();
    cb_reset_for_tests();
    base_ = dir_.file("R" + std::to_string(nidx));
    IsamDb* db = create({"A", "B", "C", "D", "E"});
    ASSERT_NE(db, nullptr);
    const std::vector<std::vector<const char*>> layouts = {
        {"A", nullptr}, {"B", "C", nullptr}, {"D", nullptr}, {"E", "A", nullptr}};
    std::vector<IsamIndex*> idx;
    for (int i = 0; i < nidx; ++i) {
      std::string name = "I" + std::to_string(i);
      ASSERT_EQ(imkindex(db, name.c_str(), layouts[i].data()), 1);
      idx.push_back(ihandle(db, name.c_str()));
    }
    std::map<int32_t, std::vector<std::string>> model;  // offset -> fields
    auto value = [&](int field) {
      const int len = static_cast<int>(rng() % (field == 4 ? 60 : 6));
      std::string s;
      for (int i = 0; i < len; ++i) s += static_cast<char>('a' + rng() % 3);
      return s;
    };
    auto key_of = [&](int i, const std::vector<std::string>& r) {
      std::string k;
      for (const char* f : layouts[i]) {
        if (f == nullptr) break;
        k += r[static_cast<size_t>(*f - 'A')];
        k.push_back('\0');
      }
      return k;
    };
    for (int step = 0; step < 800; ++step) {
      const unsigned op = rng() % 10;
      if (op < 5 || model.empty()) {
        std::vector<std::string> r;
        for (int f = 0; f < 5; ++f) r.push_back(value(f));
        std::vector<const char*> v;
        for (const std::string& s : r) v.push_back(s.c_str());
        const int32_t off = add(db, v);
        ASSERT_EQ(model.count(off), 0u);
        model[off] = r;
      } else if (op < 8) {
        // Delete a random record through a random index: find its key, walk to its offset.
        auto it = model.begin();
        std::advance(it, static_cast<long>(rng() % model.size()));
        const int i = static_cast<int>(rng() % static_cast<unsigned>(nidx));
        std::vector<const char*> kv;
        for (const char* f : layouts[i]) {
          if (f == nullptr) break;
          kv.push_back(it->second[static_cast<size_t>(*f - 'A')].c_str());
        }
        ASSERT_EQ(ifindkey(db, idx[i], kv.data()), 2);
        while (irecoffset(db, idx[i]) != it->first) ASSERT_EQ(ifindnext(db, idx[i]), 1);
        ASSERT_EQ(idelrec(db, idx[i]), 1) << isam_strerror(isam_errno);
        model.erase(it);
      } else {
        // Walk an index forward and back: (key, offset) order of the model.
        const int i = static_cast<int>(rng() % static_cast<unsigned>(nidx));
        std::vector<std::pair<std::string, int32_t>> want;
        for (const auto& [off, r] : model) want.emplace_back(key_of(i, r), off);
        std::sort(want.begin(), want.end());
        ASSERT_EQ(ifindkey(db, idx[i], std::vector<const char*>(5, "").data()) >= 2, true);
        std::vector<int32_t> got;
        // ifindkey with empty texts stands on the first entry (empty texts sort first).
        if (irecoffset(db, idx[i]) != 0) got.push_back(irecoffset(db, idx[i]));
        while (ifindnext(db, idx[i]) == 1) got.push_back(irecoffset(db, idx[i]));
        ASSERT_EQ(got.size(), want.size());
        for (size_t k = 0; k < got.size(); ++k) ASSERT_EQ(got[k], want[k].second);
        std::vector<int32_t> back;
        while (ifindprev(db, idx[i]) == 1) back.push_back(irecoffset(db, idx[i]));
        std::reverse(back.begin(), back.end());
        ASSERT_EQ(back, got);
        if (!got.empty()) {  // mark the middle, walk away, come back
          for (size_t k = 0; k <= got.size() / 2; ++k) ifindnext(db, idx[i]);
          const int32_t marked = irecoffset(db, idx[i]);
          ASSERT_EQ(imarkrec(db, idx[i]), 1);
          while (ifindnext(db, idx[i]) == 1) {
          }
          ASSERT_EQ(ifindmark(db, idx[i]), 1);
          ASSERT_EQ(irecoffset(db, idx[i]), marked);
          ASSERT_EQ(read(db, idx[i]), model[marked]);
        }
      }
      expect_sound();
      if (HasFailure()) return;
    }
    ASSERT_EQ(iclose_db(db), 1);
    expect_sound();
  }
}

TEST_F(IsamTest, HolesAreReusedLargestFirstWholeOrSplitAndMerged) {
  IsamDb* db = create({"F"});
  IsamIndex* phys = ihandle(db, kPhysicalIndex);
  // Deletes the record at `off`, walking the physical index to it.
  auto remove = [&](int32_t off) {
    while (ifindprev(db, phys) == 1) {
    }
    while (ifindnext(db, phys) == 1 && irecoffset(db, phys) != off) {
    }
    ASSERT_EQ(irecoffset(db, phys), off);
    ASSERT_EQ(idelrec(db, phys), 1);
  };
  const std::string s99(99, 'x');  // a record of 100 bytes
  const std::string s95(95, 'y');  // 96 bytes: 96 + 4 >= 100 takes the whole hole
  const std::string s94(94, 'z');  // 95 bytes: split, leaving a 1-byte hole
  const int32_t a = add(db, {s99.c_str()});
  add(db, {"keep"});
  remove(a);
  EXPECT_EQ(word_at(a), -100);
  EXPECT_EQ(add(db, {s95.c_str()}), a);
  EXPECT_EQ(word_at(a), 100);  // the length raised to the hole's size
  remove(a);
  EXPECT_EQ(add(db, {s94.c_str()}), a);
  EXPECT_EQ(word_at(a), 95);
  EXPECT_EQ(word_at(a + 99), -1);
  expect_sound();

  // Three adjacent records freed first, third, second: one hole of their sum plus 8.
  const int32_t r1 = add(db, {"111"});
  const int32_t r2 = add(db, {"22222"});
  const int32_t r3 = add(db, {"3333333"});
  add(db, {"tail"});
  for (int32_t off : {r1, r3, r2}) {
    remove(off);
    expect_sound();
  }
  EXPECT_EQ(word_at(r1), -(4 + 6 + 8 + 8));

  // Two holes of equal size, apart: the one at the higher offset is handed out first.
  const int32_t e1 = add(db, {"equal"});
  add(db, {"sep"});
  const int32_t e2 = add(db, {"equal"});
  add(db, {"sep"});
  remove(e1);
  remove(e2);
  EXPECT_EQ(add(db, {"EQUAL"}), e2);
  EXPECT_EQ(add(db, {"EQUAL"}), e1);
  expect_sound();
  ASSERT_EQ(iclose_db(db), 1);
}

TEST_F(IsamTest, FailurePathsKeepTheirPromises) {
  IsamDb* db = create({"K", "V"});
  const char* k1[] = {"K", nullptr};
  const char* k2[] = {"V", nullptr};
  const char* k3[] = {"V", "K", nullptr};
  ASSERT_EQ(imkindex(db, "ONE", k1), 1);
  ASSERT_EQ(imkindex(db, "TWO", k2), 1);
  ASSERT_EQ(imkindex(db, "THREE", k3), 1);
  EXPECT_EQ(imkindex(db, "TWO", k1), -1);
  EXPECT_EQ(isam_errno, kIsamIndexExists);
  const char* bad[] = {"NOPE", nullptr};
  EXPECT_EQ(imkindex(db, "X", bad), -1);
  EXPECT_EQ(isam_errno, kIsamBadField);
  IsamIndex* one = ihandle(db, "ONE");
  IsamIndex* two = ihandle(db, "TWO");
  IsamIndex* three = ihandle(db, "THREE");
  EXPECT_EQ(ihandle(db, "FOUR"), nullptr);
  EXPECT_EQ(isam_errno, kIsamUnknownIndex);

  // Reading or deleting before the first or after the last entry changes nothing.
  const char* fields[2];
  char buf[64];
  EXPECT_EQ(igetrec(db, one, fields, buf, sizeof buf), -2);
  EXPECT_EQ(idelrec(db, one), -2);
  add(db, {"k", "v"});
  EXPECT_EQ(ifindnext(db, one), 1);
  EXPECT_EQ(ifindnext(db, one), -3);
  EXPECT_EQ(igetrec(db, one, fields, buf, sizeof buf), -3);
  EXPECT_EQ(idelrec(db, one), -3);

  // A record longer than the caller's buffer is cut, not refused.
  const std::string big(100, 'b');
  const char* v[] = {"big", big.c_str()};
  ASSERT_EQ(iaddrec(db, one, v), 1);
  char small[10];
  ASSERT_EQ(igetrec(db, one, fields, small, sizeof small), 1);
  EXPECT_STREQ(fields[0], "big");
  EXPECT_STREQ(fields[1], "bbbbb");

  // A failed index update still updates the others and answers -1 with 9: the entry that
  // the next record would get in index TWO is there already.
  CbCursor* raw = cbopen((base_ + ".IDX").c_str(), nullptr);
  ASSERT_NE(raw, nullptr);
  ASSERT_EQ(iflush_db(db), 1);
  const int32_t next = static_cast<int32_t>(platform::file_size((base_ + ".DB").c_str()));
  const std::string key2 = std::string(1, '\2') + std::string("w") + '\0';
  ASSERT_EQ(cbinsert(raw, key2.data(), static_cast<int>(key2.size()), next, 1), 1);
  ASSERT_EQ(cbclose(raw), 1);
  const char* w[] = {"x", "w"};
  EXPECT_EQ(iaddrec(db, nullptr, w), -1);
  EXPECT_EQ(isam_errno, kIsamCbt);
  const char* kx[] = {"x"};
  EXPECT_EQ(ifindkey(db, one, kx), 2);
  const char* wx[] = {"w", "x"};
  EXPECT_EQ(ifindkey(db, three, wx), 2);
  (void)two;

  // Keys longer than the key buffer are refused before anything is written.
  const std::string huge(9000, 'h');
  const char* hv[] = {huge.c_str(), "v"};
  ASSERT_EQ(iflush_db(db), 1);
  const int64_t before = platform::file_size((base_ + ".DB").c_str());
  EXPECT_EQ(iaddrec(db, nullptr, hv), -1);
  EXPECT_EQ(isam_errno, kIsamKeyTooLong);
  ASSERT_EQ(iflush_db(db), 1);
  EXPECT_EQ(platform::file_size((base_ + ".DB").c_str()), before);
  ASSERT_EQ(iclose_db(db), 1);

  EXPECT_EQ(iopen_db(dir_.file("none").c_str()), nullptr);
  EXPECT_EQ(isam_errno, kIsamNoFile);
  EXPECT_STREQ(isam_strerror(24), "Isam data file possibly corrupted");
  EXPECT_STREQ(isam_strerror(25), "Unknown isam error number");
  EXPECT_EQ(isaminit(100, 8192), -1);
  EXPECT_EQ(isam_errno, kIsamInitTwice);
}

TEST_F(IsamTest, DamageIsReportedNotFollowed) {
  IsamDb* db = create({"K", "V"});
  const char* k1[] = {"K", nullptr};
  ASSERT_EQ(imkindex(db, "ONE", k1), 1);
  const int32_t off = add(db, {"key", "value"});
  add(db, {"key2", "value2"});
  ASSERT_EQ(iclose_db(db), 1);
  expect_sound();

  auto poke = [&](const std::string& file, int64_t at, const std::string& bytes) {
    platform::File f;
    ASSERT_TRUE(f.open(file.c_str(), platform::OpenMode::kReadWrite));
    ASSERT_EQ(f.write_at(bytes.data(), bytes.size(), at), static_cast<int64_t>(bytes.size()));
  };
  // A length word that runs past the end of the file.
  poke(base_ + ".DB", off, std::string("\xff\xff\x00\x00", 4));
  db = iopen_db(base_.c_str());
  ASSERT_NE(db, nullptr);
  IsamIndex* one = ihandle(db, "ONE");
  const char* kv[] = {"key"};
  ASSERT_EQ(ifindkey(db, one, kv), 2);
  const char* fields[2];
  char buf[64];
  EXPECT_EQ(igetrec(db, one, fields, buf, sizeof buf), -1);
  EXPECT_EQ(isam_errno, kIsamDataCorrupt);
  EXPECT_EQ(idelrec(db, one), -1);
  ASSERT_EQ(iclose_db(db), 1);
  std::vector<std::string> problems;
  EXPECT_FALSE(icheck_db(base_.c_str(), &problems, 20));
  EXPECT_FALSE(problems.empty());

  // A record whose fields lost a terminator.
  poke(base_ + ".DB", off, std::string("\x0a\x00\x00\x00", 4));
  poke(base_ + ".DB", off + 4 + 3, "X");
  problems.clear();
  EXPECT_FALSE(icheck_db(base_.c_str(), &problems, 20));
  // A header that cannot be one.
  poke(base_ + ".DB", 0, std::string("\x00\x00\x00\x00", 4));
  EXPECT_EQ(iopen_db(base_.c_str()), nullptr);
  EXPECT_EQ(isam_errno, kIsamDataCorrupt);
}

// The holes file is opened when space is first handed out or given back: a database whose
// holes file cannot be opened reads as ever, and its first change fails with 9.
TEST_F(IsamTest, HolesFileIsOpenedOnFirstNeed) {
  IsamDb* db = create({"K", "V"});
  add(db, {"a", "1"});
  ASSERT_EQ(iclose_db(db), 1);
  test::write_file(base_ + ".HOL", std::string("\xff\xff\xff\x7f", 4) + std::string(60, '\0'));
  db = iopen_db(base_.c_str());
  ASSERT_NE(db, nullptr);
  IsamIndex* phys = ihandle(db, kPhysicalIndex);
  ASSERT_EQ(ifindnext(db, phys), 1);
  EXPECT_EQ(read(db, phys)[0], "a");
  const char* v[] = {"b", "2", nullptr};
  EXPECT_EQ(iaddrec(db, phys, v), -1);
  EXPECT_EQ(isam_errno, kIsamCbt);
  std::vector<std::string> problems;
  EXPECT_FALSE(icheck_db(base_.c_str(), &problems, 5));
  ASSERT_FALSE(problems.empty());
  EXPECT_NE(problems[0].find("holes tree"), std::string::npos) << problems[0];
  EXPECT_EQ(iclose_db(db), 1);
}

}  // namespace
}  // namespace kyt
