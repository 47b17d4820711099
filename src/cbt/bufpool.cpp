// bufpool: block I/O, the LRU buffer pool with its block index, the registries, and the
// file-level operations of the B-tree layer.
#include "cbt/bufpool.h"
#include "cbt/node.h"

#include <cstdlib>
#include <memory>
#include <new>

#include "runtime/trace.h"

namespace kyt {

int bp_errno = 0;
int cb_errcode = 0;
int cb_fcncode = 0;
int cb_concode = 0;

namespace {

constexpr const char* kModule = "bufpool";
constexpr const char* kTopic = "b";
#define BP_TRACE(...) KYT_TRACE(kModule, kTopic, 1, __VA_ARGS__)

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

constexpr int kScratchCount = 8;

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

struct State {
  Pool* pools = nullptr;
  BFile* bfiles = nullptr;
  TreeFile* trees = nullptr;
  CbCursor* cursors = nullptr;
  Pool* pool = nullptr;  // the layer's pool
  int bufsize = 0;       // 0: not initialised
  int bufcount = 0;
  uint8_t* scratch[kScratchCount] = {};
  int scratch_used = 0;
};
State& st() {
  static State s;
  return s;
}

// ---- registries ----

// Whether `item` is on the registry list that starts at `head`.
template <typename T>
bool on_list(const T* head, const T* item) {
  for (const T* q = head; q != nullptr; q = q->next) {
    if (q == item) return true;
  }
  return false;
}
bool pool_member(const Pool* p) { return on_list<Pool>(st().pools, p); }
bool bfile_member(const BFile* b) { return on_list<BFile>(st().bfiles, b); }
template <typename T>
void unlink_from(T** head, T* item) {
  for (T** pp = head; *pp != nullptr; pp = &(*pp)->next) {
    if (*pp == item) {
      *pp = item->next;
      return;
    }
  }
}

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
        BP_TRACE("empty_rec : writeblk failed (block %lld)", static_cast<long long>(b->blkno));
        bp_errno = 4;
        continue;  // it keeps its block and stays dirty
      }
    }
    forget_block(p, b);
    return b;
  }
  bp_errno = 3;
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
    bp_errno = 2;
    return nullptr;
  }
  Pool* p = new (std::nothrow) Pool;
  if (p == nullptr) {
    bp_errno = 2;
    return nullptr;
  }
  p->bufsize = bufsize;
  p->next = st().pools;
  st().pools = p;
  int added = add_bufs(p, n);
  if (added < n) {
    rmv_bufs(p, added);
    unlink_from(&st().pools, p);
    delete[] p->slots;
    delete p;
    bp_errno = 2;
    return nullptr;
  }
  bp_errno = 0;
  return p;
}

int add_bufs(Pool* p, int n) {
  if (!pool_member(p)) {
    BP_TRACE("add_bufs : not member (pool)!");
    bp_errno = 1;
    return 0;
  }
  bp_errno = 0;
  if (n <= 0) return 0;
  if (!index_reserve(p, p->count + n)) {
    bp_errno = 2;
    return 0;
  }
  int added = 0;
  for (; added < n; ++added) {
    void* mem = ::operator new(kHeaderSize + static_cast<size_t>(p->bufsize), kAlign,
                               std::nothrow);
    if (mem == nullptr) {
      bp_errno = 2;
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
    BP_TRACE("rmv_bufs : not member (pool)!");
    bp_errno = 1;
    return 0;
  }
  bp_errno = 0;
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
    BP_TRACE("free_pool : not member (pool)!");
    bp_errno = 1;
    return -1;
  }
  int rc = 1;
  bp_errno = 0;
  Buf* b = p->first;
  while (b != nullptr) {
    Buf* next = b->next;
    if (b->dirty && write_buf(b) != 1) {
      BP_TRACE("free_pool : writeblk failed ");
      bp_errno = 4;
      rc = -1;
    }
    free_buf(b);
    b = next;
  }
  unlink_from(&st().pools, p);
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
    BP_TRACE("open_bfile : not member (pool)!");
    bp_errno = 1;
    return nullptr;
  }
  BFile* bf = new (std::nothrow) BFile;
  if (bf == nullptr) {
    bp_errno = 2;
    return nullptr;
  }
  bf->readonly = readonly;
  if (!bf->file.open(name, readonly ? platform::OpenMode::kRead : platform::OpenMode::kReadWrite) ||
      (!readonly && !bf->file.lock_header())) {
    BP_TRACE("open_bfile : open or lock of %s failed", name);
    delete bf;  // closes the handle
    bp_errno = 4;
    return nullptr;
  }
  // The block size is the file's first word; one read takes block 0 with it, since the
  // header is read next (a short file yields what it has: at least the word is needed).
  const size_t want = static_cast<size_t>(pool->bufsize < kFirstRead ? pool->bufsize : kFirstRead);
  std::unique_ptr<uint8_t[]> first(new (std::nothrow) uint8_t[want]);
  if (first == nullptr) {
    delete bf;
    bp_errno = 2;
    return nullptr;
  }
  const int64_t got = bf->file.read_at(first.get(), want, 0);
  if (got < 4) {
    BP_TRACE("open_bfile : readblk failed");
    delete bf;
    bp_errno = 4;
    return nullptr;
  }
  uint32_t size = rd32(first.get());
  // The lock keeps every other writer out and the layer never shortens a file, so blocks
  // may be read through a mapping. A file opened read-only is not locked: another process
  // may empty it (cbcreate), so it is read by system call only.
  if (!readonly) bf->file.map_reads();
  if (size > static_cast<uint32_t>(pool->bufsize)) {
    BP_TRACE("open_bfile : blocksize %u > buffer size %d", size, pool->bufsize);
    delete bf;
    bp_errno = 7;
    return nullptr;
  }
  if (size < 32) {  // cannot even hold the header: not a block file
    BP_TRACE("open_bfile : blocksize %u too small", size);
    delete bf;
    bp_errno = 4;
    return nullptr;
  }
  bf->blksize = static_cast<int>(size);
  if (got >= static_cast<int64_t>(size)) bf->block0 = std::move(first);
  bf->pool = pool;
  bf->next = st().bfiles;
  st().bfiles = bf;
  bp_errno = 0;
  return bf;
}

namespace {
// The pool of a registered block file. Otherwise nullptr, with bp_errno 8 (block file) or
// 1 (pool) and the operation's trace line "<op> : not member (bfile)!" / "(<pool_word>)!".
Pool* member_pool(BFile* bf, const char* op, const char* pool_word = "pool") {
  if (!bfile_member(bf)) {
    BP_TRACE("%s : not member (bfile)!", op);
    bp_errno = 8;
    return nullptr;
  }
  if (!pool_member(bf->pool)) {
    BP_TRACE("%s : not member (%s)!", op, pool_word);
    bp_errno = 1;
    return nullptr;
  }
  return bf->pool;
}
}  // namespace

int flush_bfile(BFile* bf) {
  Pool* p = member_pool(bf, "flush_bfile");
  if (p == nullptr) return -1;
  int rc = 1;
  bp_errno = 0;
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
      BP_TRACE("flush_bfile : writeblk failed");
      bp_errno = 4;
      rc = -1;
      continue;
    }
    mark_dirty(b, 0);
  }
  return rc;
}

int close_bfile(BFile* bf) {
  if (!bfile_member(bf)) {
    BP_TRACE("close_bfile : not member (bfile)!");
    bp_errno = 8;
    return -1;
  }
  Pool* p = bf->pool;
  bool pool_ok = pool_member(p);
  int rc = 1;
  if (flush_bfile(bf) != 1) rc = -1;  // bp_errno 4 from the flush
  // The file goes whatever happened: its buffers are given back to the pool, the dirty ones
  // too. What the flush could not write can never be written after the file is closed, and
  // a buffer kept for it would be lost to every other file for the rest of the process.
  if (pool_ok) {
    for (Buf* b = p->first; b != nullptr; b = b->next) {
      if (b->file != bf) continue;
      if (b->pin != 0) {
        BP_TRACE("close_bfile : block %lld still pinned", static_cast<long long>(b->blkno));
        if (rc == 1) bp_errno = 6;
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
  unlink_from(&st().bfiles, bf);
  delete bf;
  bp_errno = rc == 1 ? 0 : saved;
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
      BP_TRACE("getblk : empty_rec failed !");
      bp_errno = 3;
      return nullptr;
    }
    if (blkno == 0 && first != nullptr) {
      std::memcpy(b->data, first.get(), static_cast<size_t>(bf->blksize));
    } else if (readblk(&bf->file, blkno, bf->blksize, b->data) != 1) {
      BP_TRACE("getblk : readblk failed !");
      bp_errno = 4;
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
  bp_errno = 0;
  return b->data;
}

uint8_t* new_blk(BFile* bf, uint32_t blkno) {
  Pool* p = member_pool(bf, "new_blk");
  if (p == nullptr) return nullptr;
  bf->block0.reset();
  Buf* b = empty_rec(p);
  if (b == nullptr) {
    BP_TRACE("new_blk : empty_rec failed !");
    bp_errno = 3;
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
  bp_errno = 0;
  return b->data;
}

int put_blk(BFile* bf, uint8_t* data, int write_now) {
  Pool* p = member_pool(bf, "put_blk", "pools");
  if (p == nullptr) return -1;
  Buf* b = header_of(data);
  if (b->pin > 0) --b->pin;
  if (write_now) {
    if (write_buf(b) != 1) {
      BP_TRACE("put_blk : writeblk failed");
      bp_errno = 4;
      return -1;
    }
    mark_dirty(b, 0);
  } else {
    mark_dirty(b, 1);
  }
  touch(p, b);
  bp_errno = 0;
  return 1;
}

int rlse_blk(BFile* bf, uint8_t* data) {
  Pool* p = member_pool(bf, "rlse_blk");
  if (p == nullptr) return -1;
  Buf* b = header_of(data);
  if (b->pin > 0) --b->pin;
  touch(p, b);
  bp_errno = 0;
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

// ---- registries of the B-tree layer ----

bool cursor_registered(const CbCursor* c) { return on_list<CbCursor>(st().cursors, c); }
bool treefile_registered(const TreeFile* tf) { return on_list<TreeFile>(st().trees, tf); }
CbCursor* cursor_list() { return st().cursors; }
int cb_buffer_size() { return st().bufsize; }

uint8_t* scratch_take() {
  State& s = st();
  if (s.scratch_used >= kScratchCount) return nullptr;
  return s.scratch[s.scratch_used++];
}
void scratch_give(uint8_t* p) {
  State& s = st();
  if (s.scratch_used > 0 && s.scratch[s.scratch_used - 1] == p) --s.scratch_used;
}

CbStats& cb_stats() {
  static CbStats s;
  return s;
}

// ---- header block ----

namespace {

// XOR of the fourteen little-endian 16-bit halves of bytes 0..27.
uint32_t header_checksum(const uint8_t* h) {
  uint32_t x = 0;
  for (int i = 0; i < 28; i += 2) x ^= static_cast<uint32_t>(h[i]) | (static_cast<uint32_t>(h[i + 1]) << 8);
  return x;
}

void header_to(const TreeFile* tf, uint8_t* h) {
  const uint32_t w[7] = {tf->blksize,   tf->root,      tf->last_blk, tf->first_leaf,
                         tf->last_leaf, tf->free_list, tf->height};
  for (int i = 0; i < 7; ++i) wr32(h + 4 * i, w[i]);
  wr32(h + 28, header_checksum(h));
}

void set_err(int err, int con) {
  cb_errcode = err;
  cb_concode = con;
}

}  // namespace

int read_header(TreeFile* tf) {
  uint8_t* h = get_blk(tf->bf, 0);
  if (h == nullptr) {
    BP_TRACE("read_header : get_blk failed !");
    set_err(kCbErrGetBlk, 7);
    return -1;
  }
  if (header_checksum(h) != rd32(h + 28)) {
    BP_TRACE("read_header : checksum error !");
    rlse_blk(tf->bf, h);
    set_err(kCbErrChecksum, 7);
    return -1;
  }
  uint32_t w[7];
  for (int i = 0; i < 7; ++i) w[i] = rd32(h + 4 * i);
  if (rlse_blk(tf->bf, h) != 1) {
    set_err(kCbErrRlseBlk, 7);
    return -1;
  }
  // Every block number must name a block of the file; a smaller block than the least a
  // tree is made with, or one that differs from the file's first word, is damage.
  bool sane = w[0] == static_cast<uint32_t>(bfile_blksize(tf->bf)) && w[0] >= 48;
  for (int i = 1; i <= 5; ++i) {
    if (i != 2 && w[i] > w[2]) sane = false;
  }
  if ((w[1] == 0) != (w[6] == 0)) sane = false;
  // Allocated blocks are written at once, so the file always reaches its last block.
  if (sane && tf->bf->file.size() < (static_cast<int64_t>(w[2]) + 1) * w[0]) sane = false;
  if (!sane) {
    BP_TRACE("read_header : header words out of range !");
    set_err(kCbErrDamagedTree, 7);
    return -1;
  }
  tf->fill.clear();
  tf->header_on_disk = true;
  tf->blksize = w[0];
  tf->root = w[1];
  tf->last_blk = w[2];
  tf->first_leaf = w[3];
  tf->last_leaf = w[4];
  tf->free_list = w[5];
  tf->height = w[6];
  return 1;
}

namespace {
// Puts the header words into block 0 (read from disk, or made anew at creation) and writes
// it at once. `who` names the caller in the trace lines; concode is its step.
int store_header(TreeFile* tf, bool fresh, const char* who, int concode) {
  uint8_t* h = fresh ? new_blk(tf->bf, 0) : get_blk(tf->bf, 0);
  if (h == nullptr) {
    BP_TRACE("%s : %s failed !", who, fresh ? "new_blk" : "get_blk");
    set_err(fresh ? kCbErrNewBlk : kCbErrPutBlk, concode);
    return -1;
  }
  uint8_t words[32];
  header_to(tf, words);
  // The buffer of block 0 is never left dirty, so while the file is known to hold the
  // header, equal words mean an equal block: writing it would change nothing.
  if (!fresh && tf->header_on_disk && std::memcmp(h, words, sizeof words) == 0) {
    if (rlse_blk(tf->bf, h) != 1) {
      BP_TRACE("%s : put_blk failed !", who);
      set_err(kCbErrPutBlk, concode);
      return -1;
    }
    return 1;
  }
  std::memcpy(h, words, sizeof words);
  tf->header_on_disk = false;  // until the write is known to have succeeded
  if (put_blk(tf->bf, h, 1) != 1) {
    BP_TRACE("%s : put_blk failed !", who);
    set_err(kCbErrPutBlk, concode);
    return -1;
  }
  tf->header_on_disk = true;
  return 1;
}

int init_header(TreeFile* tf, uint32_t blksize) {
  tf->fill.clear();
  tf->blksize = blksize;
  tf->root = tf->last_blk = tf->first_leaf = tf->last_leaf = tf->free_list = tf->height = 0;
  return store_header(tf, true, "init_header", 9);
}
}  // namespace

int write_header(TreeFile* tf) { return store_header(tf, false, "write_header", 8); }

// ---- block allocation ----

uint8_t* alloc_blk(TreeFile* tf, uint32_t* blkno) {
  if (tf->free_list != 0) {
    uint32_t n = tf->free_list;
    if (n > tf->last_blk) {
      BP_TRACE("alloc_blk : free block %u beyond last block %u", n, tf->last_blk);
      set_err(kCbErrDamagedTree, 23);
      return nullptr;
    }
    uint8_t* p = get_blk(tf->bf, n);
    if (p == nullptr) {
      BP_TRACE("alloc_blk : get_blk failed !");
      set_err(kCbErrGetBlk, 23);
      return nullptr;
    }
    uint32_t next = rd32(p + 4);
    if (rd32(p) != 0 || next > tf->last_blk || next == n) {
      BP_TRACE("alloc_blk : block %u on the free list is not free", n);
      rlse_blk(tf->bf, p);
      set_err(kCbErrDamagedTree, 23);
      return nullptr;
    }
    tf->free_list = next;
    ++cb_stats().reused;
    *blkno = n;
    return p;
  }
  if (tf->last_blk == UINT32_MAX) {
    set_err(kCbErrNewBlk, 23);
    return nullptr;
  }
  uint32_t n = tf->last_blk + 1;
  uint8_t* p = new_blk(tf->bf, n);
  if (p == nullptr) {
    BP_TRACE("alloc_blk : new_blk failed !");
    set_err(kCbErrNewBlk, 23);
    return nullptr;
  }
  tf->last_blk = n;
  // The file grows block by block: the new block is on disk before it is used.
  if (put_blk(tf->bf, p, 1) != 1) {
    BP_TRACE("alloc_blk : put_blk failed !");
    set_err(kCbErrPutBlk, 23);
    return nullptr;
  }
  p = get_blk(tf->bf, n);
  if (p == nullptr) {
    BP_TRACE("alloc_blk : get_blk failed !");
    set_err(kCbErrGetBlk, 23);
    return nullptr;
  }
  *blkno = n;
  return p;
}

int free_blk(TreeFile* tf, uint32_t blkno, uint8_t* data) {
  wr32(data + 4, tf->free_list);
  wr32(data, 0);
  blk_set_checked(data, false);
  fill_forget(tf, blkno);
  tf->free_list = blkno;
  if (put_blk(tf->bf, data, 0) != 1) {
    BP_TRACE("free_blk : put_blk failed !");
    set_err(kCbErrPutBlk, 47);
    return -1;
  }
  return 1;
}

// ---- file level of the B-tree layer ----

namespace {

CbCursor* make_cursor(TreeFile* tf, CbCompare cmp) {
  CbCursor* c = new (std::nothrow) CbCursor;
  if (c == nullptr) return nullptr;
  c->tf = tf;
  c->cmp = cmp != nullptr ? cmp : cb_default_compare;
  c->next = st().cursors;
  st().cursors = c;
  return c;
}

void drop_cursor(CbCursor* c) {
  unlink_from(&st().cursors, c);
  delete c;
}

TreeFile* find_tree(const char* name) {
  for (TreeFile* t = st().trees; t != nullptr; t = t->next) {
    if (t->name == name) return t;
  }
  return nullptr;
}

TreeFile* make_tree(const char* name) {
  TreeFile* t = new (std::nothrow) TreeFile;
  if (t == nullptr) return nullptr;
  try {
    t->name = name;
  } catch (const std::bad_alloc&) {
    delete t;
    return nullptr;
  }
  t->next = st().trees;
  st().trees = t;
  return t;
}

void drop_tree(TreeFile* t) {
  unlink_from(&st().trees, t);
  delete t;
}

// Flush of cbflush and cbclose: buffers, then the header.
int flush_tree(CbCursor* c) {
  if (!cursor_registered(c)) {
    set_err(kCbErrCursor, 10);
    return -1;
  }
  if (!treefile_registered(c->tf)) {
    set_err(kCbErrDescriptor, 10);
    return -1;
  }
  int rc = 1;
  if (flush_bfile(c->tf->bf) != 1) {
    BP_TRACE("cbflush : flush_bfile failed !");
    set_err(kCbErrFlush, 49);
    rc = -1;
  }
  int e = cb_errcode, k = cb_concode;
  if (!c->tf->bf->readonly && write_header(c->tf) != 1) {
    if (rc == -1) set_err(e, k);  // the first error's codes stay
    rc = -1;
  }
  return rc;
}

}  // namespace

int cbinit(int n, int size) {
  cb_fcncode = 1;
  State& s = st();
  if (s.pool != nullptr) {
    set_err(kCbErrInitTwice, 4);
    return -1;
  }
  if (n == 0) n = 100;
  if (size == 0) size = 8192;
  if (n < 4) n = 4;
  if (size < 32) size = 8192;
  Pool* p = make_pool(size, n);
  if (p == nullptr || !entry_list_reserve(size)) {
    if (p != nullptr) free_pool(p);
    set_err(kCbErrMemory, 4);
    return -1;
  }
  for (int i = 0; i < kScratchCount; ++i) {
    s.scratch[i] = static_cast<uint8_t*>(::operator new(static_cast<size_t>(size), std::nothrow));
    if (s.scratch[i] == nullptr) {
      for (int j = 0; j < i; ++j) ::operator delete(s.scratch[j]);
      for (auto& q : s.scratch) q = nullptr;
      free_pool(p);
      set_err(kCbErrMemory, 4);
      return -1;
    }
  }
  s.scratch_used = 0;
  s.pool = p;
  s.bufsize = size;
  s.bufcount = n;
  return 1;
}

int cbexit() {
  cb_fcncode = 2;
  State& s = st();
  if (s.pool == nullptr) {
    set_err(kCbErrNoInit, 3);
    return -1;
  }
  int rc = 1;
  int e = 0, k = 0;
  CbCursor* c = s.cursors;
  while (c != nullptr) {
    CbCursor* next = c->next;
    if (cbclose(c) != 1 && rc == 1) {
      rc = -1;
      e = cb_errcode;
      k = cb_concode;
    }
    c = next;
  }
  cb_fcncode = 2;
  if (free_pool(s.pool) != 1 && rc == 1) {
    rc = -1;
    e = kCbErrInitTwice;
    k = 5;
  }
  if (rc == -1) set_err(e, k);
  for (auto& q : s.scratch) {
    ::operator delete(q);
    q = nullptr;
  }
  s.scratch_used = 0;
  s.pool = nullptr;
  s.bufsize = 0;
  s.bufcount = 0;
  return rc;
}

int cbbufcount() {
  cb_fcncode = 21;
  return st().bufcount;
}

int cbbufsize() {
  cb_fcncode = 22;
  return st().bufsize;
}

int cbaddbufs(int n) {
  cb_fcncode = 23;
  State& s = st();
  if (s.pool == nullptr) {
    set_err(kCbErrNoInit, 4);
    return 0;
  }
  int added = add_bufs(s.pool, n);
  if (added < n) set_err(kCbErrMemory, 4);
  s.bufcount += added;
  return added;
}

int cbrmvbufs(int n) {
  cb_fcncode = 24;
  State& s = st();
  if (s.pool == nullptr) {
    set_err(kCbErrNoInit, 4);
    return 0;
  }
  if (n > s.bufcount - 4) n = s.bufcount - 4;
  if (n <= 0) return 0;
  int removed = rmv_bufs(s.pool, n);
  s.bufcount -= removed;
  return removed;
}

CbCursor* cbcreate(const char* name, CbCompare cmp, int blksize) {
  cb_fcncode = 4;
  cb_errcode = 0;
  cb_concode = 0;
  State& s = st();
  if (blksize == 0) blksize = 8192;
  if (blksize < 48) blksize = 48;
  if (blksize > s.bufsize) {
    set_err(kCbErrBlkSize, 9);
    return nullptr;
  }
  if (s.pool == nullptr) {
    set_err(kCbErrNoInit, 1);
    return nullptr;
  }
  if (name == nullptr) {
    set_err(kCbErrCreate, 1);
    return nullptr;
  }
  TreeFile* tf = find_tree(name);
  if (tf != nullptr && tf->open_count > 0) {
    // Emptying a file that cursors are using would pull the tree from under them.
    BP_TRACE("cbcreate : %s is open", name);
    set_err(kCbErrCreate, 1);
    return nullptr;
  }
  bool made_tree = false;
  if (tf == nullptr) {
    tf = make_tree(name);
    if (tf == nullptr) {
      set_err(kCbErrMemory, 6);
      return nullptr;
    }
    made_tree = true;
  }
  CbCursor* c = make_cursor(tf, cmp);
  if (c == nullptr) {
    if (made_tree) drop_tree(tf);
    set_err(kCbErrMemory, 11);
    return nullptr;
  }
  auto fail = [&](int err, int con) -> CbCursor* {
    drop_cursor(c);
    drop_tree(tf);
    if (err != 0) set_err(err, con);
    return nullptr;
  };
  {
    // A file whose header lock another open holds, in this process or another, is left
    // as it is: emptying it would pull its blocks from under that open, which may be
    // reading them through a mapping. The caller sees what the lock failure of open_bfile
    // below always gave it. The probe keeps the lock until the file is made anew.
    platform::File held;
    if (held.open(name, platform::OpenMode::kReadWrite) && !held.lock_header()) {
      BP_TRACE("open_bfile : open or lock of %s failed", name);
      bp_errno = 4;
      return fail(kCbErrOpen, 2);
    }
    platform::File f;
    if (!f.open(name, platform::OpenMode::kCreate)) {
      BP_TRACE("cbcreate : cannot create %s", name);
      return fail(kCbErrCreate, 1);
    }
    uint8_t word[4];
    wr32(word, static_cast<uint32_t>(blksize));
    if (f.write_at(word, 4, 0) != 4) {
      BP_TRACE("cbcreate : cannot write %s", name);
      return fail(kCbErrPutBlk, 1);
    }
  }
  tf->bf = open_bfile(name, s.pool);
  if (tf->bf == nullptr) return fail(kCbErrOpen, 2);
  if (init_header(tf, static_cast<uint32_t>(blksize)) != 1) {
    close_bfile(tf->bf);
    return fail(0, 0);
  }
  ++tf->open_count;
  return c;
}

namespace {
CbCursor* open_tree(const char* name, CbCompare cmp, bool readonly) {
  cb_fcncode = 6;
  State& s = st();
  if (s.pool == nullptr) {
    set_err(kCbErrNoInit, 2);
    return nullptr;
  }
  if (name == nullptr) {
    set_err(kCbErrOpen, 2);
    return nullptr;
  }
  TreeFile* tf = find_tree(name);
  if (tf == nullptr) {
    tf = make_tree(name);
    if (tf == nullptr) {
      set_err(kCbErrMemory, 6);
      return nullptr;
    }
  }
  CbCursor* c = make_cursor(tf, cmp);
  if (c == nullptr) {
    if (tf->open_count == 0) drop_tree(tf);
    set_err(kCbErrMemory, 11);
    return nullptr;
  }
  if (tf->open_count == 0) {
    tf->bf = open_bfile(name, s.pool, readonly);
    if (tf->bf == nullptr) {
      drop_cursor(c);
      drop_tree(tf);
      set_err(bp_errno == 7 ? kCbErrBlkSize : kCbErrOpen, 2);
      return nullptr;
    }
    if (read_header(tf) != 1) {
      int e = cb_errcode, k = cb_concode;
      close_bfile(tf->bf);
      drop_cursor(c);
      drop_tree(tf);
      set_err(e, k);
      return nullptr;
    }
  }
  ++tf->open_count;
  return c;
}
}  // namespace

CbCursor* cbopen(const char* name, CbCompare cmp) { return open_tree(name, cmp, false); }
CbCursor* cbopen_readonly(const char* name, CbCompare cmp) { return open_tree(name, cmp, true); }

int cbflush(CbCursor* c) {
  cb_fcncode = 5;
  return flush_tree(c);
}

int cbclose(CbCursor* c) {
  cb_fcncode = 3;
  if (!cursor_registered(c) || !treefile_registered(c->tf)) return flush_tree(c);
  // A close gives back everything the cursor held even when its flush fails: the caller
  // cannot do better by trying again, and a cursor kept would keep its file registered and
  // locked, and its buffers, for the rest of the process. The first failure's codes stay.
  int rc = flush_tree(c);
  TreeFile* tf = c->tf;
  drop_cursor(c);
  if (--tf->open_count < 1) {
    const int e = cb_errcode, k = cb_concode;
    if (close_bfile(tf->bf) != 1) {
      if (rc == 1) {
        set_err(kCbErrClose, 18);
      } else {
        set_err(e, k);
      }
      rc = -1;
    }
    drop_tree(tf);
  }
  return rc;
}

int cbsuspend(CbCursor* c) {
  if (flush_tree(c) != 1) return -1;
  BFile* bf = c->tf->bf;
  if (!bf->readonly) bf->file.unlock_header();
  return 1;
}

int cbresume(CbCursor* c) {
  if (!cursor_registered(c)) {
    set_err(kCbErrCursor, 10);
    return -1;
  }
  TreeFile* tf = c->tf;
  if (tf->bf->readonly) return 1;
  const int64_t size = tf->bf->file.relock_header();
  if (size == -1) {
    BP_TRACE("open_bfile : open or lock of %s failed", tf->name.c_str());
    bp_errno = 4;
    set_err(kCbErrOpen, 2);
    return -1;
  }
  // Every block the header counts must still be there; what the blocks hold is for the
  // caller to vouch for.
  if (size < (static_cast<int64_t>(tf->last_blk) + 1) * tf->blksize) return 0;
  return 1;
}

void cb_reset_for_tests() {
  State& s = st();
  while (s.cursors != nullptr) drop_cursor(s.cursors);
  while (s.trees != nullptr) drop_tree(s.trees);
  while (s.bfiles != nullptr) {
    BFile* b = s.bfiles;
    s.bfiles = b->next;
    delete b;
  }
  while (s.pools != nullptr) {
    Pool* p = s.pools;
    s.pools = p->next;
    Buf* b = p->first;
    while (b != nullptr) {
      Buf* next = b->next;
      free_buf(b);
      b = next;
    }
    delete[] p->slots;
    delete p;
  }
  for (auto& q : s.scratch) {
    ::operator delete(q);
    q = nullptr;
  }
  s.scratch_used = 0;
  s.pool = nullptr;
  s.bufsize = 0;
  s.bufcount = 0;
  bp_errno = cb_errcode = cb_fcncode = cb_concode = 0;
}

}  // namespace kyt
