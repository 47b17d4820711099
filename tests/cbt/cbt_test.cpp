// Node format, cursors, and the changing operations of the B-tree layer, case by case;
// damaged files.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "cbt/bufpool.h"
#include "cbt/cbt.h"
#include "cbt/node.h"
#include "cbt_fixture.h"

namespace kyt::test {
namespace {

class CbtNode : public CbtFixture {};

TEST_F(CbtNode, DefaultOrderAndOneCopyPerRunOfEqualKeys) {
  auto cmp = [](const std::string& a, const std::string& b) {
    return cb_default_compare(a.data(), static_cast<int>(a.size()), b.data(), static_cast<int>(b.size()));
  };
  EXPECT_LT(cmp("A", "AB"), 0);
  EXPECT_LT(cmp("AB", "B"), 0);
  EXPECT_LT(cmp("", "\x01"), 0);
  EXPECT_EQ(cmp("", ""), 0);
  EXPECT_GT(cmp("\xff", "\x7f"), 0);  // unsigned bytes

  ASSERT_EQ(cbinit(8, 1024), 1);
  const std::string name = path("n.cbt");
  CbCursor* c = cbcreate(name.c_str(), nullptr, 128);
  ASSERT_NE(c, nullptr);
  ASSERT_EQ(insert(c, "K", 7), 1);
  ASSERT_EQ(insert(c, "K", 3), 1);
  ASSERT_EQ(insert(c, "AB", -1), 1);
  ASSERT_EQ(cbflush(c), 1);
  std::string b = block(name, 1, 128);
  EXPECT_EQ(word(b, 0), 0xFFFFFFFFu);  // leaf
  EXPECT_EQ(word(b, 12), 3u);          // count
  EXPECT_EQ(word(b, 16), 128u - 3);    // keystart: "AB" and one "K"
  // Entries (offset, length, data): "AB" first, then K/3 and K/7 sharing one copy at the end.
  EXPECT_EQ(word(b, 20), 125u);
  EXPECT_EQ(word(b, 24), 2u);
  EXPECT_EQ(word(b, 28), 0xFFFFFFFFu);
  EXPECT_EQ(word(b, 32), 127u);
  EXPECT_EQ(word(b, 40), 3u);
  EXPECT_EQ(word(b, 44), 127u);
  EXPECT_EQ(word(b, 48), 1u);
  EXPECT_EQ(word(b, 52), 7u);
  EXPECT_EQ(b.substr(125), "ABK");
  EXPECT_EQ(b.substr(56, 125 - 56), std::string(125 - 56, '\0'));
  ASSERT_EQ(erase(c, "K", 3), 1);  // still shared by K/7: no byte moves
  ASSERT_EQ(erase(c, "AB", -1), 1);
  ASSERT_EQ(cbflush(c), 1);
  b = block(name, 1, 128);
  EXPECT_EQ(word(b, 12), 1u);
  EXPECT_EQ(word(b, 16), 127u);
  EXPECT_EQ(word(b, 20), 127u);
  EXPECT_EQ(b.substr(20 + 12, 127 - 32), std::string(127 - 32, '\0'));
  expect_sound(c);
}

// The node check must refuse every key layout fault of a leaf, whatever entry it is in,
// and name it; runs of shared keys are sound.
TEST_F(CbtNode, CheckRefusesEveryKeyLayoutFault) {
  constexpr int B = 256;
  ASSERT_EQ(cbinit(4, 1024), 1);
  std::vector<uint8_t> good(B);
  nd_init(good.data(), B, true);
  const char* keys[] = {"aa", "bbb", "bbb", "bbb", "c", "dddd", "dddd", "e"};
  const int n = 8;
  for (int i = 0; i < n; ++i) {
    KeyDesc k;
    k.key = reinterpret_cast<const uint8_t*>(keys[i]);
    k.len = static_cast<int>(std::strlen(keys[i]));
    k.data = i;
    nd_insert(cb_default_compare, good.data(), B, i, k);
  }
  const char* why = "";
  ASSERT_TRUE(nd_check(good.data(), B, 10, 1, &why));
  auto refused = [&](int entry, int field, uint32_t value, const char* expected) {
    std::vector<uint8_t> bad = good;
    wr32(bad.data() + kNodeHead + entry * kLeafSlot + field, value);
    why = "";
    EXPECT_FALSE(nd_check(bad.data(), B, 10, 1, &why)) << "entry " << entry << " field " << field;
    EXPECT_STREQ(why, expected) << "entry " << entry << " field " << field;
  };
  for (int i = 0; i < n; ++i) {
    const uint32_t off = e_koff(good.data(), i), len = static_cast<uint32_t>(e_klen(good.data(), i));
    refused(i, 0, off + 1, "key offset or length");
    refused(i, 0, off - 1, "key offset or length");
    refused(i, 4, len + 1, "key offset or length");
    refused(i, 4, len + 0x80000000u, "key offset or length");
  }
  // A last key one byte short leaves a byte of the block unaccounted for.
  refused(n - 1, 4, static_cast<uint32_t>(e_klen(good.data(), n - 1)) - 1, "key bytes");
  std::vector<uint8_t> empty(B);
  nd_init(empty.data(), B, true);
  EXPECT_TRUE(nd_check(empty.data(), B, 10, 1, &why));
  nd_set_keystart(empty.data(), B - 1);
  EXPECT_FALSE(nd_check(empty.data(), B, 10, 1, &why));
  EXPECT_STREQ(why, "key bytes");
}

TEST_F(CbtNode, LongestKeyFollowsBufferAndBlockSize) {
  ASSERT_EQ(cbinit(8, 8192), 1);
  CbCursor* big = cbcreate(path("big.cbt").c_str(), nullptr, 8192);
  CbCursor* small = cbcreate(path("small.cbt").c_str(), nullptr, 48);
  ASSERT_NE(big, nullptr);
  ASSERT_NE(small, nullptr);
  EXPECT_EQ(insert(big, std::string(8156, 'x'), 1), 1);
  EXPECT_EQ(insert(big, std::string(8157, 'x'), 2), -1);
  EXPECT_EQ(insert(small, std::string(12, 'x'), 1), 1);
  EXPECT_EQ(insert(small, std::string(13, 'x'), 2), -1);
  for (int i = 0; i < 40; ++i) ASSERT_EQ(insert(small, std::string(12, static_cast<char>('a' + i % 26)), i), 1);
  EXPECT_EQ(cbmodify(small, "a", 1, 0, std::string(13, 'y').data(), 13, 0, 1), -1);
  expect_sound(small);
  expect_sound(big);
}

class CbtCursor : public CbtFixture {
 protected:
  void SetUp() override {
    CbtFixture::SetUp();
    ASSERT_EQ(cbinit(8, 1024), 1);
    c_ = cbcreate(path("c.cbt").c_str(), nullptr, 64);  // small blocks: many leaves
    ASSERT_NE(c_, nullptr);
  }
  CbCursor* c_ = nullptr;
};

TEST_F(CbtCursor, MovesFromTheEndsAndAcrossLeaves) {
  int32_t d = 0;
  EXPECT_EQ(cbnext(c_, &d), -3);  // empty tree
  EXPECT_EQ(cbprev(c_, &d), -2);
  EXPECT_EQ(cbtail(c_, &d), -2);
  for (int i = 0; i < 30; ++i) ASSERT_EQ(insert(c_, "k" + std::to_string(100 + i), i), 1);
  CbCursor* c = cbopen(path("c.cbt").c_str(), nullptr);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(cbprev(c, &d), -2);  // a new cursor stands before the first entry
  EXPECT_EQ(cbcurr(c, &d), -2);
  EXPECT_EQ(cbnext(c, &d), 1);
  EXPECT_EQ(d, 0);
  for (int i = 1; i < 30; ++i) {
    ASSERT_EQ(cbnext(c, &d), 1);
    ASSERT_EQ(d, i);
  }
  EXPECT_EQ(cbnext(c, &d), -3);
  EXPECT_EQ(cbnext(c, &d), -3);
  EXPECT_EQ(cbprev(c, &d), 1);  // after the end: the last entry
  EXPECT_EQ(d, 29);
  for (int i = 28; i >= 0; --i) {
    ASSERT_EQ(cbprev(c, &d), 1);
    ASSERT_EQ(d, i);
  }
  EXPECT_EQ(cbprev(c, &d), -2);
  EXPECT_EQ(cbtail(c, &d), 1);
  EXPECT_EQ(d, 29);
  EXPECT_EQ(key_of(c), "k129");
}

TEST_F(CbtCursor, FindKeyAndMarks) {
  for (int i = 0; i < 20; ++i) ASSERT_EQ(insert(c_, "m" + std::to_string(10 + i), i), 1);
  ASSERT_EQ(insert(c_, "m15", -4), 1);
  ASSERT_EQ(insert(c_, "m15", 40), 1);
  int32_t d = 0;
  EXPECT_EQ(cbfind(c_, "a", 1, &d), 3);  // lower than all: the first entry
  EXPECT_EQ(d, 0);
  EXPECT_EQ(cbfind(c_, "z", 1, &d), -3);
  EXPECT_EQ(cbfind(c_, "m15", 3, &d), 2);  // searched with data 0: -4 lies before
  EXPECT_EQ(d, 5);
  EXPECT_EQ(cbfind(c_, "m155", 4, &d), 3);
  EXPECT_EQ(key_of(c_), "m16");
  d = -4;
  EXPECT_EQ(cbfindrec(c_, "m15", 3, &d), 2);
  EXPECT_EQ(d, -4);
  d = 6;
  EXPECT_EQ(cbfindrec(c_, "m15", 3, &d), 3);  // stands on the next entry, m15/40
  EXPECT_EQ(d, 40);
  int len = 0;
  EXPECT_EQ(cbkeylen(c_, &len), 1);
  EXPECT_EQ(len, 3);
  char buf[8];
  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(cbkey(c_, buf, 2), 1);  // shorter buffer: no terminating zero
  EXPECT_EQ(std::string(buf, 3), "m1#");
  EXPECT_EQ(cbkey(c_, buf, 8), 1);
  EXPECT_STREQ(buf, "m15");

  EXPECT_EQ(cbrestore(c_, &d), -1);
  EXPECT_EQ(cb_errcode, 22);
  EXPECT_EQ(cb_concode, 50);
  EXPECT_EQ(cbmark(c_), 1);
  EXPECT_EQ(cbtail(c_, &d), 1);
  ASSERT_EQ(insert(c_, "m15", 20), 1);  // the saved position follows the insert
  EXPECT_EQ(cbrestore(c_, &d), 1);
  EXPECT_EQ(d, 40);
  EXPECT_EQ(cbnext(c_, &d), 1);
  EXPECT_EQ(key_of(c_), "m16");
  EXPECT_EQ(cbfind(c_, "z", 1, &d), -3);
  EXPECT_EQ(cbmark(c_), 1);
  EXPECT_EQ(cbnext(c_, &d), -3);
  EXPECT_EQ(cbrestore(c_, &d), -3);
  expect_sound(c_);
}

TEST_F(CbtCursor, UnknownHandlesAreRefused) {
  CbCursor* bogus = reinterpret_cast<CbCursor*>(&c_);
  int32_t d;
  EXPECT_EQ(cbnext(bogus, &d), -1);
  EXPECT_EQ(cb_errcode, 15);
  EXPECT_EQ(cb_fcncode, 9);
  EXPECT_EQ(cbinsert(bogus, "a", 1, 1, 1), -1);
  EXPECT_EQ(cbdelete(bogus, "a", 1, 1), -1);
  EXPECT_EQ(cbmodify(bogus, "a", 1, 1, "b", 1, 1, 1), -1);
  EXPECT_EQ(cbfind(c_, nullptr, -1, &d), -1);
}

class CbtChange : public CbtFixture {
 protected:
  void SetUp() override {
    CbtFixture::SetUp();
    ASSERT_EQ(cbinit(8, 1024), 1);
    name_ = path("t.cbt");
    c_ = cbcreate(name_.c_str(), nullptr, kB);
    ASSERT_NE(c_, nullptr);
  }
  // Header word i as it is in memory (written by cbflush).
  uint32_t header(int i) {
    EXPECT_EQ(cbflush(c_), 1);
    return word(block(name_, 0, kB), static_cast<size_t>(4 * i));
  }
  std::string leaf_keys(uint32_t blk) {
    EXPECT_EQ(cbflush(c_), 1);
    std::string b = block(name_, blk, kB), out;
    for (uint32_t i = 0; i < word(b, 12); ++i) {
      out += b.substr(word(b, 20 + 12 * i), word(b, 24 + 12 * i)) + " ";
    }
    return out;
  }
  static constexpr int kB = 128;
  std::string name_;
  CbCursor* c_ = nullptr;
};

TEST_F(CbtChange, FirstInsertDuplicatesAndAscendingSplit) {
  ASSERT_EQ(insert(c_, "k00", 0, 0), 1);
  EXPECT_EQ(header(1), 1u);  // root
  EXPECT_EQ(header(3), 1u);  // first leaf
  EXPECT_EQ(header(4), 1u);  // last leaf
  EXPECT_EQ(header(6), 1u);  // height
  EXPECT_EQ(insert(c_, "k00", 1, 0), -1);
  EXPECT_EQ(cb_errcode, 17);
  EXPECT_EQ(insert(c_, "k00", 0, 1), -1);
  EXPECT_EQ(cb_errcode, 18);
  EXPECT_EQ(insert(c_, "k00", 1, 1), 1);
  ASSERT_EQ(erase(c_, "k00", 1), 1);
  // Ascending keys of 3 bytes: 15 bytes an entry, 7 fit in the 108 bytes of a leaf. The
  // eighth goes into a new right leaf with as much as balances the two.
  for (int i = 1; i < 7; ++i) ASSERT_EQ(insert(c_, "k0" + std::to_string(i), i), 1);
  EXPECT_EQ(header(2), 1u);
  ASSERT_EQ(insert(c_, "k07", 7), 1);
  EXPECT_EQ(header(2), 3u);  // a leaf and a new root
  EXPECT_EQ(header(6), 2u);
  EXPECT_EQ(header(4), 2u);  // the new leaf is the last
  EXPECT_EQ(leaf_keys(1), "k00 k01 k02 k03 ");
  EXPECT_EQ(leaf_keys(2), "k04 k05 k06 k07 ");
  expect_sound(c_);
}

TEST_F(CbtChange, DeletesFreeMergeAndBlocksAreReused) {
  ASSERT_EQ(insert(c_, "only", 1), 1);
  EXPECT_EQ(erase(c_, "only", 2), -1);
  EXPECT_EQ(cb_errcode, 21);
  ASSERT_EQ(erase(c_, "only", 1), 1);
  EXPECT_EQ(header(1), 0u);  // empty tree
  EXPECT_EQ(header(6), 0u);
  EXPECT_EQ(header(5), 1u);  // the leaf is on the free list
  EXPECT_EQ(erase(c_, "only", 1), -1);
  EXPECT_EQ(cb_errcode, 19);
  ASSERT_EQ(insert(c_, "again", 1), 1);
  EXPECT_EQ(header(1), 1u);  // reused before the file grows
  EXPECT_EQ(header(2), 1u);
  EXPECT_EQ(header(5), 0u);
  ASSERT_EQ(erase(c_, "again", 1), 1);

  // Merging needs both leaves and three headers below 3/4 of the payload: 128-byte blocks
  // never get there with these keys; a second file of 512-byte blocks does.
  ASSERT_EQ(cbclose(c_), 1);
  name_ = path("m.cbt");
  c_ = cbcreate(name_.c_str(), nullptr, 512);
  ASSERT_NE(c_, nullptr);
  int n = 0;
  for (; header(6) < 2; ++n) ASSERT_EQ(insert(c_, "k" + std::to_string(100 + n), n), 1);
  ASSERT_EQ(header(2), 3u);  // leaves 1 and 2, root 3
  int i = n - 1;
  for (; header(6) == 2; --i) ASSERT_EQ(erase(c_, "k" + std::to_string(100 + i), i), 1);
  EXPECT_EQ(header(1), 1u);  // the right leaf merged into the left, the root went too
  EXPECT_EQ(header(4), 1u);
  EXPECT_EQ(header(5), 3u);  // free list: the old root, then the merged leaf
  int32_t d;
  int count = 0;
  while (cbnext(c_, &d) == 1) ++count;
  EXPECT_EQ(count, i + 1);
  for (int k = 0; k < n; ++k) insert(c_, "n" + std::to_string(100 + k), k);
  EXPECT_EQ(header(2), 3u);  // the split took freed blocks: the file did not grow
  EXPECT_EQ(header(5), 0u);
  expect_sound(c_);
}

TEST_F(CbtChange, ModifyInPlaceElsewhereAndUnchanged) {
  for (int i = 0; i < 30; ++i) ASSERT_EQ(insert(c_, "k" + std::to_string(100 + i), i, 0), 1);
  int32_t d;
  EXPECT_EQ(cbmodify(c_, "k105", 4, 5, "k105", 4, 6, 0), 1);  // its own key is no duplicate
  EXPECT_EQ(cbmodify(c_, "k106", 4, 6, "k107", 4, 6, 0), -1);
  EXPECT_EQ(cb_errcode, 17);
  EXPECT_EQ(cbmodify(c_, "k106", 4, 6, "k105", 4, 6, 1), -1);
  EXPECT_EQ(cb_errcode, 18);
  EXPECT_EQ(cbmodify(c_, "zzz", 3, 0, "k", 1, 0, 1), -1);
  EXPECT_EQ(cb_errcode, 21);
  EXPECT_EQ(cbmodify(c_, "k129", 4, 29, "a", 1, 29, 0), 1);  // moves to the other end
  EXPECT_EQ(cbnext(c_, &d), 1);
  EXPECT_EQ(key_of(c_), "a");
  // Equal pairs change nothing but move a cursor that stands on the entry.
  ASSERT_EQ(cbfind(c_, "k110", 4, &d), 2);
  EXPECT_EQ(cbmodify(c_, "k110", 4, 10, "k110", 4, 10, 0), 1);
  EXPECT_EQ(key_of(c_), "k111");
  EXPECT_EQ(cbmodify(c_, "k110", 4, 10, "k110", 4, 10, 0), 1);
  EXPECT_EQ(key_of(c_), "k111");
  expect_sound(c_);
  ASSERT_EQ(cbclose(c_), 1);
  c_ = cbopen(name_.c_str(), nullptr);
  ASSERT_NE(c_, nullptr);
  std::string all;
  while (cbnext(c_, &d) == 1) all += key_of(c_) + "/" + std::to_string(d) + " ";
  EXPECT_EQ(all.substr(0, 47), "a/29 k100/0 k101/1 k102/2 k103/3 k104/4 k105/6 ");
}

// A damaged file fails cleanly: the operation returns -1 with cb_errcode 23 (node) or 24
// (structure), and the file is not changed.
class CbtDamage : public CbtFixture {
 protected:
  static constexpr int kB = 64;
  void SetUp() override {
    CbtFixture::SetUp();
    name_ = path("d.cbt");
    ASSERT_EQ(cbinit(8, 1024), 1);
    CbCursor* c = cbcreate(name_.c_str(), nullptr, kB);
    ASSERT_NE(c, nullptr);
    for (int i = 0; i < 60; ++i) ASSERT_EQ(insert(c, "k" + std::to_string(100 + i), i), 1);
    for (int i = 0; i < 60; i += 7) ASSERT_EQ(erase(c, "k" + std::to_string(100 + i), i), 1);
    ASSERT_EQ(cbclose(c), 1);
    ASSERT_EQ(cbexit(), 1);
    image_ = read_file(name_);
    last_ = word(image_, 8);
    root_ = word(image_, 4);
    leaf_ = word(image_, 12);
  }
  // Runs every kind of operation on the damaged image; none may crash, each that reaches
  // the damage fails with `err`.
  void expect_clean_failure(const std::string& damaged, int err) {
    write_file(name_, damaged);
    ASSERT_EQ(cbinit(4, 1024), 1);
    CbCursor* c = cbopen(name_.c_str(), nullptr);
    ASSERT_NE(c, nullptr);
    int32_t d;
    bool failed = false;
    int r = 0;
    for (int i = 0; i < 200 && (r = cbnext(c, &d)) == 1; ++i) {
    }
    if (r == -1) {
      failed = true;
      EXPECT_EQ(cb_errcode, err);
    }
    for (int i = 0; i < 200 && (r = cbprev(c, &d)) == 1; ++i) {
    }
    for (int i = 0; i < 60; ++i) {
      std::string k = "k" + std::to_string(100 + i);
      if (cbfind(c, k.data(), 4, &d) == -1) {
        failed = true;
        EXPECT_EQ(cb_errcode, err) << k;
      }
    }
    std::string probe;
    EXPECT_EQ(cbcheck(c, &probe), -1);
    if (cbinsert(c, "k1055", 5, 1, 1) == -1) failed = true;
    if (cbdelete(c, "k101", 4, 1) == -1) failed = true;
    EXPECT_TRUE(failed);
    cb_reset_for_tests();
  }
  std::string with(uint32_t blk, int off, uint32_t value) {
    std::string img = image_;
    img.replace(static_cast<size_t>(blk) * kB + off, 4, le(value));
    return img;
  }
  static std::string with_checksum(std::string img) {
    uint32_t x = 0;
    for (int i = 0; i < 28; i += 2) x ^= static_cast<uint8_t>(img[i]) | static_cast<uint8_t>(img[i + 1]) << 8;
    img.replace(28, 4, le(x));
    return img;
  }
  std::string name_, image_;
  uint32_t last_ = 0, root_ = 0, leaf_ = 0;
};

TEST_F(CbtDamage, NodeFieldsOutOfRange) {
  expect_clean_failure(with(leaf_, 12, 1000), 23);            // count beyond the block
  expect_clean_failure(with(leaf_, 16, 10), 23);              // keystart inside the entries
  expect_clean_failure(with(leaf_, 20, kB - 1), 23);          // key offset
  expect_clean_failure(with(leaf_, 24, 0x7FFFFFFF), 23);      // key length
  expect_clean_failure(with(leaf_, 8, last_ + 1), 23);        // right sibling beyond last_blk
  expect_clean_failure(with(root_, 0, last_ + 5), 23);        // low child beyond last_blk
  expect_clean_failure(with(root_, 20 + 12, last_ + 1), 23);  // child of entry 0
  expect_clean_failure(with(root_, 0, 0), 23);                // inner node without a low child
}

TEST_F(CbtDamage, StructureOutOfPlace) {
  expect_clean_failure(with(leaf_, 8, root_), 24);  // the leaf chain runs into an inner node
  expect_clean_failure(with(root_, 0, root_), 23);  // its own child
  std::string high = image_;  // one level too many
  high.replace(24, 4, le(word(image_, 24) + 1));
  expect_clean_failure(with_checksum(high), 24);
  std::string low = image_;  // the root at the leaf level
  low.replace(24, 4, le(1));
  expect_clean_failure(with_checksum(low), 24);
}

TEST_F(CbtDamage, FreeListIntoTheTree) {
  std::string img = image_;
  img.replace(20, 4, le(leaf_));
  write_file(name_, with_checksum(img));
  ASSERT_EQ(cbinit(4, 1024), 1);
  CbCursor* c = cbopen(name_.c_str(), nullptr);
  ASSERT_NE(c, nullptr);
  int r = 1;
  for (int i = 0; i < 100 && r == 1; ++i) r = insert(c, "z" + std::to_string(100 + i), i);
  EXPECT_EQ(r, -1);  // the first allocation finds a block in use
  EXPECT_EQ(cb_errcode, 24);
}

TEST_F(CbtDamage, FailedChecksChangeNothing) {
  std::string bad = with(leaf_, 12, 1000);
  write_file(name_, bad);
  ASSERT_EQ(cbinit(4, 1024), 1);
  CbCursor* c = cbopen(name_.c_str(), nullptr);
  ASSERT_NE(c, nullptr);
  int32_t d;
  EXPECT_EQ(cbinsert(c, "k099", 4, 1, 1), -1);
  EXPECT_EQ(cb_errcode, 23);
  EXPECT_EQ(cbnext(c, &d), -1);
  EXPECT_EQ(cbclose(c), 1);
  EXPECT_EQ(read_file(name_), bad);
}

// A block that this open wrote from a sound node comes back from the file without a node
// check; everything else read from the file is checked, and a reopen starts over.
class CbtWrittenBlocks : public CbtFixture {
 protected:
  static constexpr int kB = 64;
  // Node checks made by a walk over every entry and a find of each key.
  static uint64_t checks_to_read_all(CbCursor* c, int n) {
    const uint64_t before = cb_stats().node_checks;
    int32_t d;
    EXPECT_EQ(cbfind(c, "", 0, &d), 3);  // on the first entry
    int seen = 1;
    while (cbnext(c, &d) == 1) ++seen;
    EXPECT_EQ(seen, n);
    for (int i = 0; i < n; i += 5) {
      const std::string k = key(i);
      EXPECT_EQ(cbfind(c, k.data(), static_cast<int>(k.size()), &d), 2) << k;
    }
    return cb_stats().node_checks - before;
  }
  static std::string key(int i) { return "w" + std::to_string(1000 + i * 7 % 997); }
};

TEST_F(CbtWrittenBlocks, OwnWritesSkipTheCheckUntilReopen) {
  ASSERT_EQ(cbinit(4, 1024), 1);  // four buffers: nearly every block goes to the file and back
  const std::string name = path("w.cbt");
  CbCursor* c = cbcreate(name.c_str(), nullptr, kB);
  ASSERT_NE(c, nullptr);
  // Deletes free blocks and the later inserts take them again from the free list.
  for (int i = 0; i < 300; ++i) ASSERT_EQ(insert(c, key(i), i), 1);
  for (int i = 0; i < 300; i += 2) ASSERT_EQ(erase(c, key(i), i), 1);
  for (int i = 0; i < 300; i += 2) ASSERT_EQ(insert(c, key(i), i), 1);
  ASSERT_GT(cb_stats().reused, 0u);
  EXPECT_EQ(checks_to_read_all(c, 300), 0u);
  expect_sound(c);

  // A new open trusts nothing it has not written itself, however often it reads a block.
  ASSERT_EQ(cbclose(c), 1);
  c = cbopen(name.c_str(), nullptr);
  ASSERT_NE(c, nullptr);
  const uint64_t first = checks_to_read_all(c, 300);
  EXPECT_GT(first, 10u);
  EXPECT_EQ(checks_to_read_all(c, 300), first);
  ASSERT_EQ(cbclose(c), 1);

  // A read-only open never writes, so it checks every read as well.
  c = cbopen_readonly(name.c_str(), nullptr);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(checks_to_read_all(c, 300), first);
  ASSERT_EQ(cbclose(c), 1);
}

}  // namespace
}  // namespace kyt::test
