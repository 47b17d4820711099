// Buffer pool and file level of the B-tree layer.
#include "cbt/bufpool.h"

#include <gtest/gtest.h>

#include <list>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "cbt/cbt.h"
#include "cbt_fixture.h"

namespace kyt::test {
namespace {

constexpr int kBlk = 64;

// A block file of `blocks` blocks whose first word is the block size.
std::vector<std::string> make_block_file(const std::string& name, int blocks) {
  std::vector<std::string> disk(static_cast<size_t>(blocks));
  std::string all;
  for (int b = 0; b < blocks; ++b) {
    disk[b] = std::string(kBlk, static_cast<char>('A' + b % 26));
    if (b == 0) disk[0].replace(0, 4, CbtFixture::le(kBlk));
    all += disk[b];
  }
  write_file(name, all);
  return disk;
}

// Reference of the pool: buffers in LRU order with their block and dirty state.
struct RefBuf {
  int blk = -1;
  bool dirty = false;
  std::string data;
};

class BufpoolLru : public CbtFixture {
 protected:
  void run(int nbufs, int blocks, int steps, uint64_t seed) {
    const std::string name = path("lru.blk");
    std::vector<std::string> disk = make_block_file(name, blocks);
    Pool* pool = make_pool(kBlk, nbufs);
    ASSERT_NE(pool, nullptr);
    BFile* bf = open_bfile(name.c_str(), pool);
    ASSERT_NE(bf, nullptr);
    std::list<RefBuf> lru(static_cast<size_t>(nbufs));  // front: least recently used
    std::mt19937_64 rng(seed);
    platform::File reader;  // blocks 1.. only: bytes 0..3 are locked while the file is open
    ASSERT_TRUE(reader.open(name.c_str(), platform::OpenMode::kRead));
    std::string file(static_cast<size_t>(blocks) * kBlk, '\0');
    auto read_back = [&] {
      ASSERT_EQ(reader.read_at(file.data() + kBlk, file.size() - kBlk, kBlk),
                static_cast<int64_t>(file.size() - kBlk));
    };
    auto pick = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
    auto victim = [&]() {
      auto it = lru.begin();  // nothing stays pinned here, so the LRU buffer goes
      if (it->dirty) disk[it->blk] = it->data;
      it->blk = -1;
      it->dirty = false;
      return it;
    };
    for (int step = 0; step < steps && !HasFailure(); ++step) {
      int op = pick(100);
      if (op < 3) {  // a flush writes exactly the dirty buffers, whatever came before it
        ASSERT_EQ(flush_bfile(bf), 1);
        for (auto& r : lru) {
          if (r.dirty) disk[r.blk] = r.data;
          r.dirty = false;
        }
      } else if (op < 5) {  // grow or shrink the pool
        int n = 1 + pick(4);
        if (pick(2) == 0) {
          ASSERT_EQ(add_bufs(pool, n), n);
          for (int i = 0; i < n; ++i) lru.push_front(RefBuf());
        } else if (static_cast<int>(lru.size()) > n + 1) {
          ASSERT_EQ(rmv_bufs(pool, n), n);
          for (int i = 0; i < n; ++i) lru.erase(victim());
        }
      } else {
        int b = pick(blocks);
        uint8_t* p = get_blk(bf, static_cast<uint32_t>(b));
        ASSERT_NE(p, nullptr);
        auto it = lru.begin();
        while (it != lru.end() && it->blk != b) ++it;
        if (it == lru.end()) {
          it = victim();
          it->blk = b;
          it->data = disk[b];
        }
        lru.splice(lru.end(), lru, it);
        ASSERT_EQ(std::string(reinterpret_cast<char*>(p), kBlk), it->data) << "step " << step;
        if (op < 60) {
          p[4 + pick(kBlk - 4)] = static_cast<uint8_t>(step);
          it->data.assign(reinterpret_cast<char*>(p), kBlk);
          int now = pick(4) == 0;
          ASSERT_EQ(put_blk(bf, p, now), 1);
          if (now) disk[b] = it->data;
          it->dirty = !now;
        } else {
          ASSERT_EQ(rlse_blk(bf, p), 1);
        }
      }
      // What is on disk is exactly what the reference says was written.
      read_back();
      for (int b = 1; b < blocks; ++b) {
        ASSERT_EQ(file.substr(static_cast<size_t>(b) * kBlk, kBlk), disk[b]) << "block " << b << " step " << step;
      }
    }
    ASSERT_EQ(flush_bfile(bf), 1);
    for (auto& r : lru) {
      if (r.dirty) disk[r.blk] = r.data;
    }
    read_back();
    for (int b = 1; b < blocks; ++b) EXPECT_EQ(file.substr(static_cast<size_t>(b) * kBlk, kBlk), disk[b]);
    EXPECT_EQ(close_bfile(bf), 1);
    EXPECT_EQ(free_pool(pool), 1);
  }
};

TEST_F(BufpoolLru, VictimsAndWritesFollowLeastRecentlyUsedOrder) { run(8, 40, 1500, 1); }

TEST_F(BufpoolLru, LargePoolKeepsTheSameOrder) { run(300, 700, 2500, 2); }

class Bufpool : public CbtFixture {};

TEST_F(Bufpool, PinsNestAndPinnedBuffersAreNeverTaken) {
  const std::string name = path("pins.blk");
  make_block_file(name, 10);
  Pool* pool = make_pool(kBlk, 4);
  BFile* bf = open_bfile(name.c_str(), pool);
  ASSERT_NE(bf, nullptr);
  uint8_t* p[4];
  for (int i = 0; i < 4; ++i) ASSERT_NE(p[i] = get_blk(bf, static_cast<uint32_t>(i + 1)), nullptr);
  EXPECT_EQ(get_blk(bf, 7), nullptr);
  EXPECT_EQ(bp_errno, 3);
  EXPECT_EQ(new_blk(bf, 9), nullptr);
  uint8_t* again = get_blk(bf, 2);  // the wanted block itself is pinned: it is handed out again
  EXPECT_EQ(again, p[1]);
  EXPECT_EQ(rlse_blk(bf, again), 1);
  EXPECT_EQ(get_blk(bf, 7), nullptr);  // still pinned once
  EXPECT_EQ(rlse_blk(bf, p[1]), 1);
  uint8_t* q = get_blk(bf, 7);  // block 2's buffer is the only unpinned one
  EXPECT_EQ(q, p[1]);
  EXPECT_EQ(q[0], 'H');
  // A pinned buffer at close: the close reports it.
  EXPECT_EQ(close_bfile(bf), -1);
  EXPECT_EQ(bp_errno, 6);
  EXPECT_EQ(free_pool(pool), 1);
}

TEST_F(Bufpool, RegistriesRefuseUnknownHandlesAndBadFiles) {
  Pool* pool = make_pool(kBlk, 4);
  ASSERT_NE(pool, nullptr);
  BFile* stranger = reinterpret_cast<BFile*>(pool);
  EXPECT_EQ(get_blk(stranger, 1), nullptr);
  EXPECT_EQ(bp_errno, 8);
  EXPECT_EQ(open_bfile(path("missing.blk").c_str(), pool), nullptr);
  EXPECT_EQ(bp_errno, 4);
  write_file(path("big.blk"), le(4096) + std::string(60, '\0'));
  EXPECT_EQ(open_bfile(path("big.blk").c_str(), pool), nullptr);
  EXPECT_EQ(bp_errno, 7);
  make_block_file(path("ok.blk"), 2);
  BFile* bf = open_bfile(path("ok.blk").c_str(), pool);
  ASSERT_NE(bf, nullptr);
  EXPECT_EQ(open_bfile(path("ok.blk").c_str(), pool), nullptr);  // bytes 0..3 are locked
  EXPECT_EQ(bp_errno, 4);
  EXPECT_EQ(close_bfile(bf), 1);
  EXPECT_EQ(close_bfile(bf), -1);
  EXPECT_EQ(bp_errno, 8);
  EXPECT_EQ(free_pool(pool), 1);
  EXPECT_EQ(free_pool(pool), -1);
  EXPECT_EQ(bp_errno, 1);
}

class CbtFile : public CbtFixture {};

TEST_F(CbtFile, InitSettingsAndBufferCounts) {
  EXPECT_EQ(cbbufsize(), 0);
  EXPECT_EQ(cbexit(), -1);
  EXPECT_EQ(cb_errcode, 3);
  EXPECT_EQ(cb_concode, 3);
  ASSERT_EQ(cbinit(0, 0), 1);
  EXPECT_EQ(cbbufcount(), 100);
  EXPECT_EQ(cbbufsize(), 8192);
  EXPECT_EQ(cbinit(0, 0), -1);
  EXPECT_EQ(cb_errcode, 4);
  EXPECT_EQ(cb_concode, 4);
  EXPECT_EQ(cbrmvbufs(1000), 96);
  EXPECT_EQ(cbbufcount(), 4);
  EXPECT_EQ(cbaddbufs(6), 6);
  EXPECT_EQ(cbbufcount(), 10);
  EXPECT_EQ(cbexit(), 1);
  EXPECT_EQ(cbbufsize(), 0);
  ASSERT_EQ(cbinit(2, 16), 1);
  EXPECT_EQ(cbbufcount(), 4);
  EXPECT_EQ(cbbufsize(), 8192);
  EXPECT_EQ(cb_fcncode, 22);
}

TEST_F(CbtFile, CreateClampsBlockSizeAndWritesTheHeader) {
  const std::string name = path("t.cbt");
  EXPECT_EQ(cbcreate(name.c_str(), nullptr, 0), nullptr);  // no layer: block size test first
  EXPECT_EQ(cb_errcode, 13);
  EXPECT_EQ(cb_concode, 9);
  ASSERT_EQ(cbinit(8, 8192), 1);
  EXPECT_EQ(cbcreate(name.c_str(), nullptr, 16384), nullptr);
  EXPECT_EQ(cb_errcode, 13);
  EXPECT_EQ(cb_concode, 9);
  CbCursor* c = cbcreate(name.c_str(), nullptr, 20);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(cb_fcncode, 4);
  ASSERT_EQ(insert(c, "k", 1), 1);
  ASSERT_EQ(cbclose(c), 1);
  std::string h = read_file(name);
  ASSERT_EQ(h.size(), 2u * 48);  // header and one leaf
  EXPECT_EQ(word(h, 0), 48u);    // block size
  EXPECT_EQ(word(h, 4), 1u);     // root
  EXPECT_EQ(word(h, 8), 1u);     // last block
  EXPECT_EQ(word(h, 12), 1u);    // first leaf
  EXPECT_EQ(word(h, 16), 1u);    // last leaf
  EXPECT_EQ(word(h, 20), 0u);    // free list
  EXPECT_EQ(word(h, 24), 1u);    // height
  uint32_t x = 0;
  for (int i = 0; i < 28; i += 2) x ^= static_cast<uint8_t>(h[i]) | static_cast<uint8_t>(h[i + 1]) << 8;
  EXPECT_EQ(word(h, 28), x);
  EXPECT_EQ(h.substr(32, 16), std::string(16, '\0'));
}

TEST_F(CbtFile, OpenRefusesDamagedOrForeignHeaders) {
  ASSERT_EQ(cbinit(8, 1024), 1);
  const std::string name = path("t.cbt");
  CbCursor* c = cbcreate(name.c_str(), nullptr, 512);
  ASSERT_NE(c, nullptr);
  for (int i = 0; i < 200; ++i) ASSERT_EQ(insert(c, "key" + std::to_string(i), i), 1);
  ASSERT_EQ(cbclose(c), 1);
  const std::string good = read_file(name);
  for (int off = 0; off < 28; off += 5) {  // any byte of the first 28: checksum mismatch
    std::string bad = good;
    bad[static_cast<size_t>(off)] ^= 0x10;
    write_file(name, bad);
    EXPECT_EQ(cbopen(name.c_str(), nullptr), nullptr) << off;
    EXPECT_EQ(cb_errcode, 12) << off;
  }
  std::string big = good;
  big.replace(0, 4, le(4096));  // block size beyond the pool's buffers
  write_file(name, big);
  EXPECT_EQ(cbopen(name.c_str(), nullptr), nullptr);
  EXPECT_EQ(cb_errcode, 13);
  write_file(name, good.substr(0, 100));  // block 0 cut short: the word alone is not enough
  EXPECT_EQ(cbopen(name.c_str(), nullptr), nullptr);
  EXPECT_EQ(cb_errcode, 6);
  EXPECT_EQ(cb_concode, 7);
  EXPECT_EQ(cbopen(path("none.cbt").c_str(), nullptr), nullptr);
  EXPECT_EQ(cb_errcode, 2);
  EXPECT_EQ(cb_concode, 2);
}

TEST_F(CbtFile, HeaderBlockIsWrittenWhenItsWordsChangeAndOnlyThen) {
  ASSERT_EQ(cbinit(64, 1024), 1);  // room for every block: block 0 stays in its buffer
  const std::string name = path("t.cbt");
  CbCursor* c = cbcreate(name.c_str(), nullptr, 256);
  ASSERT_NE(c, nullptr);
  ASSERT_EQ(insert(c, "first", 1), 1);
  ASSERT_EQ(cbflush(c), 1);
  // A byte of block 0 past the header, changed behind the layer's back, shows whether the
  // block was written again: the layer would put back its own zero.
  auto mark = [&] {
    platform::File f;
    ASSERT_TRUE(f.open(name.c_str(), platform::OpenMode::kReadWrite));
    ASSERT_EQ(f.write_at("!", 1, 100), 1);
  };
  mark();
  ASSERT_EQ(insert(c, "second", 2), 1);  // same leaf: the header words stay
  ASSERT_EQ(cbflush(c), 1);
  std::string h = read_file(name);
  EXPECT_EQ(h[100], '!');
  EXPECT_EQ(word(h, 8), 1u);
  for (int i = 0; i < 40; ++i) ASSERT_EQ(insert(c, "key number " + std::to_string(i), i), 1);
  ASSERT_EQ(cbflush(c), 1);  // splits grew the file and made a root: written
  h = read_file(name);
  EXPECT_EQ(h[100], '\0');
  const uint32_t last = word(h, 8);
  const std::string grown = h.substr(0, 32);
  EXPECT_GT(last, 1u);
  EXPECT_GE(word(h, 24), 2u);
  EXPECT_EQ(h.size(), (last + 1) * 256u);
  mark();
  ASSERT_EQ(cbclose(c), 1);  // nothing changed since the flush
  EXPECT_EQ(read_file(name)[100], '!');
  // A reopened file knows its header as read; a change after that is written on close.
  c = cbopen(name.c_str(), nullptr);
  ASSERT_NE(c, nullptr);
  for (int i = 0; i < 40; ++i) ASSERT_EQ(cbdelete(c, ("key number " + std::to_string(i)).c_str(), 12 + (i > 9), i), 1);
  ASSERT_EQ(cbclose(c), 1);
  h = read_file(name);
  EXPECT_NE(h.substr(0, 32), grown);
  c = cbopen(name.c_str(), nullptr);
  ASSERT_NE(c, nullptr);
  std::string problem;
  EXPECT_EQ(cbcheck(c, &problem), 1) << problem;
  int32_t d = 0;
  EXPECT_EQ(cbfind(c, "second", 6, &d), 2);
  EXPECT_EQ(d, 2);
  EXPECT_EQ(cbclose(c), 1);
}

TEST_F(CbtFile, SharedOpensCloseTheFileWithTheLastCursor) {
  ASSERT_EQ(cbinit(8, 1024), 1);
  const std::string name = path("t.cbt");
  CbCursor* a = cbcreate(name.c_str(), nullptr, 256);
  ASSERT_NE(a, nullptr);
  CbCursor* b = cbopen(name.c_str(), nullptr);
  ASSERT_NE(b, nullptr);
  ASSERT_EQ(insert(a, "x", 5), 1);
  int32_t d;
  EXPECT_EQ(cbnext(b, &d), 1);  // same descriptor and buffers
  EXPECT_EQ(d, 5);
  auto locked = [&] {
    platform::File f;
    return f.open(name.c_str(), platform::OpenMode::kReadWrite) && !f.lock_header();
  };
  EXPECT_EQ(cbcreate(name.c_str(), nullptr, 256), nullptr);  // never empties an open file
  EXPECT_EQ(cbclose(a), 1);
  EXPECT_TRUE(locked());
  EXPECT_EQ(cbclose(a), -1);
  EXPECT_EQ(cb_errcode, 15);
  EXPECT_EQ(cbclose(b), 1);
  EXPECT_FALSE(locked());
  CbCursor* c = cbopen(name.c_str(), nullptr);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(cbnext(c, &d), 1);
  EXPECT_EQ(d, 5);
  EXPECT_EQ(cbexit(), 1);  // closes what is still open
  EXPECT_FALSE(locked());
}

// A close whose writes fail still gives back the cursor, the file's lock and every buffer
// it held, the changed ones too: a pool of four buffers must serve another file at once.
TEST_F(CbtFile, FailedCloseGivesBackCursorLockAndBuffers) {
  ASSERT_EQ(cbinit(4, 1024), 1);
  const std::string name = path("lost.cbt");
  CbCursor* c = cbcreate(name.c_str(), nullptr, 256);
  ASSERT_NE(c, nullptr);
  for (int i = 0; i < 200; ++i) ASSERT_EQ(cbinsert(c, &i, sizeof i, i, 1), 1);
  ASSERT_EQ(cbflush(c), 1);
  // Every buffer dirty: the last inserts changed the leaves the pool still holds.
  for (int i = 200; i < 230; ++i) ASSERT_EQ(cbinsert(c, &i, sizeof i, i, 1), 1);
  CbCursor* second = cbopen(name.c_str(), nullptr);
  ASSERT_NE(second, nullptr);
  platform::fail_writes_for_tests(true);
  EXPECT_EQ(cbclose(second), -1);
  EXPECT_EQ(cb_errcode, kCbErrFlush);
  EXPECT_EQ(cbclose(c), -1);
  platform::fail_writes_for_tests(false);
  EXPECT_FALSE(cursor_registered(c));
  EXPECT_FALSE(cursor_registered(second));
  EXPECT_EQ(cursor_list(), nullptr);
  platform::File f;
  ASSERT_TRUE(f.open(name.c_str(), platform::OpenMode::kReadWrite));
  EXPECT_TRUE(f.lock_header());
  f.close();
  // All four buffers serve a new tree.
  const std::string other = path("other.cbt");
  CbCursor* o = cbcreate(other.c_str(), nullptr, 256);
  ASSERT_NE(o, nullptr) << cb_errcode;
  for (int i = 0; i < 300; ++i) ASSERT_EQ(cbinsert(o, &i, sizeof i, i, 1), 1) << i;
  expect_sound(o);
  EXPECT_EQ(cbclose(o), 1);
  // The file is free for a new open (what it holds is what reached it before the failure).
  c = cbopen(name.c_str(), nullptr);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(cbclose(c), 1);
  EXPECT_EQ(cbexit(), 1);
}

// The second process of the lock test: opening must fail at once with bp_errno 4.
TEST(SecondProcess, CbtOpenFails) {
  std::vector<std::string> args;
  if (!in_role("CbtOpenFails", &args)) GTEST_SKIP() << "run by CbtFile.SecondProcessCannotOpen";
  const std::string& name = args.at(0);
  cb_reset_for_tests();
  ASSERT_EQ(cbinit(4, 1024), 1);
  EXPECT_EQ(cbopen(name.c_str(), nullptr), nullptr);
  EXPECT_EQ(bp_errno, 4);
  EXPECT_EQ(cb_errcode, 2);
  // Nor may it make the file anew under the holder.
  const int64_t size = platform::file_size(name.c_str());
  EXPECT_EQ(cbcreate(name.c_str(), nullptr, 256), nullptr);
  EXPECT_EQ(bp_errno, 4);
  EXPECT_EQ(cb_errcode, 2);
  EXPECT_EQ(platform::file_size(name.c_str()), size);
  cb_reset_for_tests();
}

TEST_F(CbtFile, SecondProcessCannotOpen) {
  ASSERT_EQ(cbinit(4, 1024), 1);
  const std::string name = path("shared.cbt");
  CbCursor* c = cbcreate(name.c_str(), nullptr, 256);
  ASSERT_NE(c, nullptr);
  for (int i = 0; i < 200; ++i) ASSERT_EQ(cbinsert(c, &i, sizeof i, i, 1), 1);
  ASSERT_EQ(cbflush(c), 1);
  EXPECT_EQ(run_role("CbtOpenFails", {name}), 0);
  // The child's attempts left the tree whole, on disk as in the pool.
  ASSERT_EQ(cbclose(c), 1);
  c = cbopen(name.c_str(), nullptr);
  ASSERT_NE(c, nullptr);
  int32_t d = 0;
  for (int i = 0; i < 200; ++i) ASSERT_EQ(cbfind(c, &i, sizeof i, &d), 2) << i;
  EXPECT_EQ(cbclose(c), 1);
}

}  // namespace
}  // namespace kyt::test
