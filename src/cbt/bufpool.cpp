// bufpool: the buffer pool (buffers, the block index, the LRU chain), block I/O, and the
// block-level operations on a block file.
#include "cbt/bufpool.h"

#include <memory>
#include <new>
#include <vector>

#include "cbt/cberr.h"
#include "cbt/registry.h"

namespace kyt {

int bp_errno = kBpOk;

namespace {

constexpr const char* kModule = "bufpool";

// Buffer header; the data area follows it directly, at kHeaderSize.
struct Buf {
  Buf* next;        // towards the most recently used end
  Buf* prev;        // towards the least recently used end
  int32_t pin;      // pins held; a pinned buffer is never a victim
  BFile* file;      // file of the block held; null: none (or pinned when its file closed)
  int64_t blkno;    // block held, -1: none
  int32_t blksize;  // block size of that file
  int32_t dirty;    // 1: changed and not yet written
  uint8_t* data;
  bool checked;     // contents passed the node check since read or made
};
constexpr size_t kHeaderSize = (sizeof(Buf) + 63) / 64 * 64;
constexpr std::align_val_t kAlign{64};

Buf* header_of(const uint8_t* data) {
  return reinterpret_cast<Buf*>(const_cast<uint8_t*>(data) - kHeaderSize);
}

}  // namespace

struct Pool {
  Pool* next = nullptr;
  Buf* first = nullptr;  // least recently used
  Buf* last = nullptr;   // most recently used
  int bufsize = 0;
  int count = 0;
  // Open-addressing index from (file, block) to the buffer holding it, linear probing;
  // capacity a power of two, at least twice the number of buffers.
  Buf** slots = nullptr;
  uint32_t mask = 0;
};

struct BFile {
  BFile* next = nullptr;
  platform::File file;
  Pool* pool = nullptr;
  int blksize = 0;
  bool readonly = false;  // opened for reading only, unlocked; never written
  // Block 0 as read with the block size at open, for the header read that follows at
  // once; dropped by the first block operation on the file, whichever it is.
  std::unique_ptr<uint8_t[]> block0;
  // One byte per block, 1 where the block's bytes in the file are the last image this
  // open wrote there from a buffer that held a sound node (checked after a read, or built
  // by the node layer). Such a block read back skips the node check: the header lock keeps
  // every other writer out, so the file holds exactly what we wrote. The one fault that
  // goes unnoticed is a change made on disk behind the lock (a tool ignoring it, a bad
  // disk) to a block this open wrote; a block read for the first time since open is
  // always checked. Starts empty with every open; a failed write empties it (what reached
  // the file is unknown), and a block written from any other buffer, a freed block among
  // them, loses its byte. Never filled for a file opened read-only, which never writes.
  std::vector<uint8_t> written_sound;
  int dirty_bufs = 0;  // buffers holding a block of this file with dirty set (mark_dirty)
};

namespace {

// The registries of the pool: every pool and every open block file.
struct State {
  Registry<Pool> pools;
  Registry<BFile> bfiles;
};
State& st() {
  static State s;
  return s;
}

bool pool_member(const Pool* p) { return st().pools.has(p); }
bool bfile_member(const BFile* b) { return st().bfiles.has(b); }

// ---- block index ----

uint32_t slot_of(const Pool* p, const BFile* f, int64_t blk) {
  uint64_t h = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(f)) * 0x9E3779B97F4A7C15ull;
  h ^= static_cast<uint64_t>(blk) * 0xC2B2AE3D27D4EB4Full;
  h ^= h >> 31;
  return static_cast<uint32_t>(h ^ (h >> 32)) & p->mask;
}

Buf* index_find(const Pool* p, const BFile* f, int64_t blk) {
  for (uint32_t i = slot_of(p, f, blk);; i = (i + 1) & p->mask) {
    Buf* b = p->slots[i];
    if (b == nullptr) return nullptr;
    if (b->file == f && b->blkno == blk) return b;
  }
}

// A newer buffer for the same block replaces the older one in the index.
void index_insert(Pool* p, Buf* b) {
  for (uint32_t i = slot_of(p, b->file, b->blkno);; i = (i + 1) & p->mask) {
    Buf* o = p->slots[i];
    if (o == nullptr || (o->file == b->file && o->blkno == b->blkno)) {
      p->slots[i] = b;
      return;
    }
  }
}

void index_remove(Pool* p, Buf* b) {
  if (b->file == nullptr) return;
  uint32_t i = slot_of(p, b->file, b->blkno);
  for (;; i = (i + 1) & p->mask) {
    if (p->slots[i] == nullptr) return;  // not indexed (replaced by a newer buffer)
    if (p->slots[i] == b) break;
  }
  // Backward-shift deletion keeps every probe chain unbroken.
  p->slots[i] = nullptr;
  for (uint32_t j = (i + 1) & p->mask; p->slots[j] != nullptr; j = (j + 1) & p->mask) {
    Buf* m = p->slots[j];
    uint32_t k = slot_of(p, m->file, m->blkno);
    bool stays = (i <= j) ? (i < k && k <= j) : (i < k || k <= j);
    if (!stays) {
      p->slots[i] = m;
      p->slots[j] = nullptr;
      i = j;
    }
  }
}

// Makes the index large enough for `buffers` buffers; false when memory is short.
bool index_reserve(Pool* p, int buffers) {
  uint64_t want = 16;
  while (want < 2 * static_cast<uint64_t>(buffers)) want <<= 1;
  if (p->slots != nullptr && want <= static_cast<uint64_t>(p->mask) + 1) return true;
  Buf** slots = new (std::nothrow) Buf*[want];
  if (slots == nullptr) return false;
  for (uint64_t i = 0; i < want; ++i) slots[i] = nullptr;
  delete[] p->slots;
  p->slots = slots;
  p->mask = static_cast<uint32_t>(want - 1);
  for (Buf* b = p->first; b != nullptr; b = b->next) {
    if (b->file != nullptr) index_insert(p, b);
  }
  return true;
}

// ---- LRU chain ----

void chain_unlink(Pool* p, Buf* b) {
  if (b->prev != nullptr) b->prev->next = b->next; else p->first = b->next;
  if (b->next != nullptr) b->next->prev = b->prev; else p->last = b->prev;
  b->next = b->prev = nullptr;
}

void touch(Pool* p, Buf* b) {
  if (p->last == b) return;
  chain_unlink(p, b);
  b->prev = p->last;
  if (p->last != nullptr) p->last->next = b; else p->first = b;
  p->last = b;
}

// Sets a buffer's dirty flag, keeping its file's count of dirty buffers.
void mark_dirty(Buf* b, int32_t dirty) {
  if (b->dirty != dirty && b->file != nullptr) b->file->dirty_bufs += dirty ? 1 : -1;
  b->dirty = dirty;
}

void forget_block(Pool* p, Buf* b) {
  mark_dirty(b, 0);
  index_remove(p, b);
  b->file = nullptr;
  b->blkno = -1;
  b->checked = false;
}

// Never fails: without memory for the note, the block is merely checked when read back.
void note_written(BFile* f, int64_t blk, bool sound) noexcept {
  std::vector<uint8_t>& w = f->written_sound;
  const size_t i = static_cast<size_t>(blk);
  if (i >= w.size()) {
    if (!sound) return;
    try {
      w.resize(i + 1 + i / 4);
    } catch (const std::bad_alloc&) {
      return;
    }
  }
  w[i] = sound ? 1 : 0;
}

bool written_sound(const BFile* f, uint32_t blk) {
  return blk < f->written_sound.size() && f->written_sound[blk] != 0;
}

// Writes a dirty buffer through its own file.
int write_buf(Buf* b) {
  BFile* f = b->file;
  if (f == nullptr) return -1;
  if (writeblk(&f->file, static_cast<uint32_t>(b->blkno), b->blksize, b->data) != 1) {
    f->written_sound.clear();
    return -1;
  }
  note_written(f, b->blkno, b->checked);
  return 1;
}

// Victim for a new block: the least recently used unpinned buffer whose contents are safe.
Buf* empty_rec(Pool* p) {
  for (Buf* b = p->first; b != nullptr; b = b->next) {
    if (b->pin != 0) continue;
    if (b->dirty) {
      if (write_buf(b) != 1) {
        CB_TRACE(kModule, "empty_rec : writeblk failed (block %lld)", static_cast<long long>(b->blkno));
        bp_errno = kBpIo;
        continue;  // it keeps its block and stays dirty
      }
    }
    forget_block(p, b);
    return b;
  }
  bp_errno = kBpNoBuffer;
  return nullptr;
}

void free_buf(Buf* b) { ::operator delete(reinterpret_cast<uint8_t*>(b), kAlign); }

}  // namespace

// ---- block I/O ----

int readblk(platform::File* f, uint32_t blkno, int blksize, uint8_t* buf) {
  if (blksize <= 0) return -1;
  int64_t off = static_cast<int64_t>(blkno) * blksize;
  return f->read_at(buf, static_cast<size_t>(blksize), off) == blksize ? 1 : -1;
}

int writeblk(platform::File* f, uint32_t blkno, int blksize, const uint8_t* buf) {
  if (blksize <= 0) return -1;
  int64_t off = static_cast<int64_t>(blkno) * blksize;
  return f->write_at(buf, static_cast<size_t>(blksize), off) == blksize ? 1 : -1;
}

// ---- pool ----

Pool* make_pool(int bufsize, int n) {
  if (bufsize <= 0 || n < 0) {
    bp_errno = kBpMemory;
    return nullptr;
  }
  Pool* p = new (std::nothrow) Pool;
  if (p == nullptr) {
    bp_errno = kBpMemory;
    return nullptr;
  }
  p->bufsize = bufsize;
  if (!st().pools.push(p)) {
    delete p;
    bp_errno = kBpMemory;
    return nullptr;
  }
  int added = add_bufs(p, n);
  if (added < n) {
    rmv_bufs(p, added);
    st().pools.unlink(p);
    delete[] p->slots;
    delete p;
    bp_errno = kBpMemory;
    return nullptr;
  }
  bp_errno = kBpOk;
  return p;
}

int add_bufs(Pool* p, int n) {
  if (!pool_member(p)) {
    CB_TRACE(kModule, "add_bufs : not member (pool)!");
    bp_errno = kBpNoPool;
    return 0;
  }
  bp_errno = kBpOk;
  if (n <= 0) return 0;
  if (!index_reserve(p, p->count + n)) {
    bp_errno = kBpMemory;
    return 0;
  }
  int added = 0;
  for (; added < n; ++added) {
    void* mem = ::operator new(kHeaderSize + static_cast<size_t>(p->bufsize), kAlign,
                               std::nothrow);
    if (mem == nullptr) {
      bp_errno = kBpMemory;
      break;
    }
    Buf* b = static_cast<Buf*>(mem);
    b->data = static_cast<uint8_t*>(mem) + kHeaderSize;
    b->pin = 0;
    b->file = nullptr;
    b->blkno = -1;
    b->blksize = 0;
    b->dirty = 0;
    b->checked = false;
    std::memset(b->data, 0, static_cast<size_t>(p->bufsize));
    // New buffers go to the least recently used end: they are the first victims.
    b->prev = nullptr;
    b->next = p->first;
    if (p->first != nullptr) p->first->prev = b; else p->last = b;
    p->first = b;
    ++p->count;
  }
  return added;
}

int rmv_bufs(Pool* p, int n) {
  if (!pool_member(p)) {
    CB_TRACE(kModule, "rmv_bufs : not member (pool)!");
    bp_errno = kBpNoPool;
    return 0;
  }
  bp_errno = kBpOk;
  int removed = 0;
  for (; removed < n; ++removed) {
    Buf* b = empty_rec(p);
    if (b == nullptr) break;
    chain_unlink(p, b);
    free_buf(b);
    --p->count;
  }
  return removed;
}

int free_pool(Pool* p) {
  if (!pool_member(p)) {
    CB_TRACE(kModule, "free_pool : not member (pool)!");
    bp_errno = kBpNoPool;
    return -1;
  }
  int rc = 1;
  bp_errno = kBpOk;
  Buf* b = p->first;
  while (b != nullptr) {
    Buf* next = b->next;
    if (b->dirty && write_buf(b) != 1) {
      CB_TRACE(kModule, "free_pool : writeblk failed ");
      bp_errno = kBpIo;
      rc = -1;
    }
    free_buf(b);
    b = next;
  }
  st().pools.unlink(p);
  delete[] p->slots;
  delete p;
  return rc;
}

// ---- block files ----

namespace {
// Most read at open: block 0 of a file with blocks up to this size comes with the word.
constexpr int kFirstRead = 16384;
}  // namespace

BFile* open_bfile(const char* name, Pool* pool, bool readonly) {
  if (!pool_member(pool)) {
    CB_TRACE(kModule, "open_bfile : not member (pool)!");
    bp_errno = kBpNoPool;
    return nullptr;
  }
  BFile* bf = new (std::nothrow) BFile;
  if (bf == nullptr) {
    bp_errno = kBpMemory;
    return nullptr;
  }
  bf->readonly = readonly;
  if (!bf->file.open(name, readonly ? platform::OpenMode::kRead : platform::OpenMode::kReadWrite) ||
      (!readonly && !bf->file.lock_header())) {
    CB_TRACE(kModule, "open_bfile : open or lock of %s failed", name);
    delete bf;  // closes the handle
    bp_errno = kBpIo;
    return nullptr;
  }
  // The block size is the file's first word; one read takes block 0 with it, since the
  // header is read next (a short file yields what it has: at least the word is needed).
  const size_t want = static_cast<size_t>(pool->bufsize < kFirstRead ? pool->bufsize : kFirstRead);
  std::unique_ptr<uint8_t[]> first(new (std::nothrow) uint8_t[want]);
  if (first == nullptr) {
    delete bf;
    bp_errno = kBpMemory;
    return nullptr;
  }
  const int64_t got = bf->file.read_at(first.get(), want, 0);
  if (got < 4) {
    CB_TRACE(kModule, "open_bfile : readblk failed");
    delete bf;
    bp_errno = kBpIo;
    return nullptr;
  }
  uint32_t size = rd32(first.get());
  // The lock keeps every other writer out and the layer never shortens a file, so blocks
  // may be read through a mapping. A file opened read-only is not locked: another process
  // may empty it (cbcreate), so it is read by system call only.
  if (!readonly) bf->file.map_reads();
  if (size > static_cast<uint32_t>(pool->bufsize)) {
    CB_TRACE(kModule, "open_bfile : blocksize %u > buffer size %d", size, pool->bufsize);
    delete bf;
    bp_errno = kBpBlockSize;
    return nullptr;
  }
  if (size < 32) {  // cannot even hold the header: not a block file
    CB_TRACE(kModule, "open_bfile : blocksize %u too small", size);
    delete bf;
    bp_errno = kBpIo;
    return nullptr;
  }
  bf->blksize = static_cast<int>(size);
  if (got >= static_cast<int64_t>(size)) bf->block0 = std::move(first);
  bf->pool = pool;
  if (!st().bfiles.push(bf)) {
    delete bf;
    bp_errno = kBpMemory;
    return nullptr;
  }
  bp_errno = kBpOk;
  return bf;
}

namespace {
// The pool of a registered block file. Otherwise nullptr, with bp_errno kBpNoBfile or
// kBpNoPool and the operation's trace line "<op> : not member (bfile)!" / "(<pool_word>)!".
Pool* member_pool(BFile* bf, const char* op, const char* pool_word = "pool") {
  if (!bfile_member(bf)) {
    CB_TRACE(kModule, "%s : not member (bfile)!", op);
    bp_errno = kBpNoBfile;
    return nullptr;
  }
  if (!pool_member(bf->pool)) {
    CB_TRACE(kModule, "%s : not member (%s)!", op, pool_word);
    bp_errno = kBpNoPool;
    return nullptr;
  }
  return bf->pool;
}
}  // namespace

int flush_bfile(BFile* bf) {
  Pool* p = member_pool(bf, "flush_bfile");
  if (p == nullptr) return -1;
  int rc = 1;
  bp_errno = kBpOk;
  // Changed buffers were mostly used last: the walk back from the most recently used end
  // stops at the oldest of them, and they are written from there on, oldest first. (No
  // list is made: a flush must not fail for want of memory.)
  Buf* from = nullptr;
  int seen = 0;
  for (Buf* b = p->last; b != nullptr && seen < bf->dirty_bufs; b = b->prev) {
    if (b->file == bf && b->dirty) {
      ++seen;
      from = b;
    }
  }
  for (Buf* b = from; b != nullptr; b = b->next) {
    if (b->file != bf || !b->dirty) continue;
    if (write_buf(b) != 1) {  // it stays dirty and counted
      CB_TRACE(kModule, "flush_bfile : writeblk failed");
      bp_errno = kBpIo;
      rc = -1;
      continue;
    }
    mark_dirty(b, 0);
  }
  return rc;
}

int close_bfile(BFile* bf) {
  if (!bfile_member(bf)) {
    CB_TRACE(kModule, "close_bfile : not member (bfile)!");
    bp_errno = kBpNoBfile;
    return -1;
  }
  Pool* p = bf->pool;
  bool pool_ok = pool_member(p);
  int rc = 1;
  if (flush_bfile(bf) != 1) rc = -1;  // bp_errno kBpIo from the flush
  // The file goes whatever happened: its buffers are given back to the pool, the dirty ones
  // too. What the flush could not write can never be written after the file is closed, and
  // a buffer kept for it would be lost to every other file for the rest of the process.
  if (pool_ok) {
    for (Buf* b = p->first; b != nullptr; b = b->next) {
      if (b->file != bf) continue;
      if (b->pin != 0) {
        CB_TRACE(kModule, "close_bfile : block %lld still pinned", static_cast<long long>(b->blkno));
        if (rc == 1) bp_errno = kBpPinned;
        rc = -1;
        mark_dirty(b, 0);
        index_remove(p, b);
        b->file = nullptr;  // keeps its block number, but is no longer found
        continue;
      }
      forget_block(p, b);
    }
  }
  const int saved = bp_errno;
  if (!bf->readonly) bf->file.unlock_header();
  st().bfiles.unlink(bf);
  delete bf;
  bp_errno = rc == 1 ? kBpOk : saved;
  return rc;
}

bool bfile_readonly(const BFile* bf) { return bf->readonly; }

int bfile_blksize(const BFile* bf) { return bf->blksize; }

uint8_t* get_blk(BFile* bf, uint32_t blkno) {
  Pool* p = member_pool(bf, "getblk");
  if (p == nullptr) return nullptr;
  const std::unique_ptr<uint8_t[]> first = std::move(bf->block0);
  Buf* b = index_find(p, bf, blkno);
  if (b == nullptr) {
    b = empty_rec(p);
    if (b == nullptr) {
      CB_TRACE(kModule, "getblk : empty_rec failed !");
      bp_errno = kBpNoBuffer;
      return nullptr;
    }
    if (blkno == 0 && first != nullptr) {
      std::memcpy(b->data, first.get(), static_cast<size_t>(bf->blksize));
    } else if (readblk(&bf->file, blkno, bf->blksize, b->data) != 1) {
      CB_TRACE(kModule, "getblk : readblk failed !");
      bp_errno = kBpIo;
      return nullptr;
    }
    b->file = bf;
    b->blkno = blkno;
    b->blksize = bf->blksize;
    b->dirty = 0;
    b->checked = written_sound(bf, blkno);
    index_insert(p, b);
  }
  ++b->pin;
  touch(p, b);
  bp_errno = kBpOk;
  return b->data;
}

uint8_t* new_blk(BFile* bf, uint32_t blkno) {
  Pool* p = member_pool(bf, "new_blk");
  if (p == nullptr) return nullptr;
  bf->block0.reset();
  Buf* b = empty_rec(p);
  if (b == nullptr) {
    CB_TRACE(kModule, "new_blk : empty_rec failed !");
    bp_errno = kBpNoBuffer;
    return nullptr;
  }
  ++b->pin;
  b->file = bf;
  b->blkno = blkno;
  b->blksize = bf->blksize;
  b->dirty = 0;
  b->checked = false;
  std::memset(b->data, 0, static_cast<size_t>(p->bufsize));
  index_insert(p, b);
  touch(p, b);
  bp_errno = kBpOk;
  return b->data;
}

int put_blk(BFile* bf, uint8_t* data, int write_now) {
  Pool* p = member_pool(bf, "put_blk", "pools");
  if (p == nullptr) return -1;
  Buf* b = header_of(data);
  if (b->pin > 0) --b->pin;
  if (write_now) {
    if (write_buf(b) != 1) {
      CB_TRACE(kModule, "put_blk : writeblk failed");
      bp_errno = kBpIo;
      return -1;
    }
    mark_dirty(b, 0);
  } else {
    mark_dirty(b, 1);
  }
  touch(p, b);
  bp_errno = kBpOk;
  return 1;
}

int rlse_blk(BFile* bf, uint8_t* data) {
  Pool* p = member_pool(bf, "rlse_blk");
  if (p == nullptr) return -1;
  Buf* b = header_of(data);
  if (b->pin > 0) --b->pin;
  touch(p, b);
  bp_errno = kBpOk;
  return 1;
}

bool blk_checked(const uint8_t* data) { return header_of(data)->checked; }
void blk_set_checked(uint8_t* data, bool checked) {
  Buf* b = header_of(data);
  b->checked = checked;
  // The buffer no longer holds a sound node (a freed block): neither does its block once
  // written, and until then nothing may vouch for the older image in the file either.
  if (!checked && b->file != nullptr) note_written(b->file, b->blkno, false);
}

int64_t bfile_size(BFile* bf) { return bf->file.size(); }
void bfile_unlock_header(BFile* bf) { bf->file.unlock_header(); }
int64_t bfile_relock_header(BFile* bf) { return bf->file.relock_header(); }

void forget_pools_for_tests() {
  State& s = st();
  while (BFile* b = s.bfiles.pop()) delete b;
  while (Pool* p = s.pools.pop()) {
    Buf* b = p->first;
    while (b != nullptr) {
      Buf* next = b->next;
      free_buf(b);
      b = next;
    }
    delete[] p->slots;
    delete p;
  }
}

}  // namespace kyt
