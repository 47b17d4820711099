// cbfile: the tree file on its block file (block 0's header, allocation and the free
// list), the registries of tree files and cursors, the layer's settings and scratch
// memory, and the file operations of the B-tree layer.
#include "cbt/cbfile.h"

#include <new>

#include "cbt/cberr.h"
#include "cbt/registry.h"

namespace kyt {

int cb_errcode = 0;
int cb_fcncode = 0;
int cb_concode = kStepNone;

namespace {

// The file level traces under the buffer pool's name: to a reader of the trace the two
// are the block file of the tree.
constexpr const char* kModule = "bufpool";

constexpr int kScratchCount = 8;

struct State {
  Registry<TreeFile> trees;
  Registry<CbCursor> cursors;
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

}  // namespace

// ---- registries of the B-tree layer ----

bool cursor_registered(const CbCursor* c) { return st().cursors.has(c); }
bool treefile_registered(const TreeFile* tf) { return st().trees.has(tf); }
CbCursor* cursor_list() { return st().cursors.head(); }
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

namespace {
std::vector<EntrySrc>& entry_room() {
  static std::vector<EntrySrc> list;
  return list;
}

// Makes the entry room large enough for nodes of `bufsize` bytes; false when memory is
// short. The room only grows: it outlives cbexit for the next cbinit.
bool entry_list_reserve(int bufsize) {
  const size_t n = 2 * (static_cast<size_t>(bufsize) / kMinEntryBytes + 1) + 1;
  try {
    if (entry_room().size() < n) entry_room().resize(n);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}
}  // namespace

EntrySrc* entry_list(int n) {
  (void)n;  // within what entry_list_reserve made room for
  return entry_room().data();
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

}  // namespace

int read_header(TreeFile* tf) {
  uint8_t* h = get_blk(tf->bf, 0);
  if (h == nullptr) {
    CB_TRACE(kModule, "read_header : get_blk failed !");
    set_err(kCbErrGetBlk, kStepReadHeader);
    return -1;
  }
  if (header_checksum(h) != rd32(h + 28)) {
    CB_TRACE(kModule, "read_header : checksum error !");
    rlse_blk(tf->bf, h);
    set_err(kCbErrChecksum, kStepReadHeader);
    return -1;
  }
  uint32_t w[7];
  for (int i = 0; i < 7; ++i) w[i] = rd32(h + 4 * i);
  if (rlse_blk(tf->bf, h) != 1) {
    set_err(kCbErrRlseBlk, kStepReadHeader);
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
  if (sane && bfile_size(tf->bf) < (static_cast<int64_t>(w[2]) + 1) * w[0]) sane = false;
  if (!sane) {
    CB_TRACE(kModule, "read_header : header words out of range !");
    set_err(kCbErrDamagedTree, kStepReadHeader);
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
// it at once. `who` names the caller in the trace lines; `step` is its cb_concode.
int store_header(TreeFile* tf, bool fresh, const char* who, int step) {
  uint8_t* h = fresh ? new_blk(tf->bf, 0) : get_blk(tf->bf, 0);
  if (h == nullptr) {
    CB_TRACE(kModule, "%s : %s failed !", who, fresh ? "new_blk" : "get_blk");
    set_err(fresh ? kCbErrNewBlk : kCbErrPutBlk, step);
    return -1;
  }
  uint8_t words[32];
  header_to(tf, words);
  // The buffer of block 0 is never left dirty, so while the file is known to hold the
  // header, equal words mean an equal block: writing it would change nothing.
  if (!fresh && tf->header_on_disk && std::memcmp(h, words, sizeof words) == 0) {
    if (rlse_blk(tf->bf, h) != 1) {
      CB_TRACE(kModule, "%s : put_blk failed !", who);
      set_err(kCbErrPutBlk, step);
      return -1;
    }
    return 1;
  }
  std::memcpy(h, words, sizeof words);
  tf->header_on_disk = false;  // until the write is known to have succeeded
  if (put_blk(tf->bf, h, 1) != 1) {
    CB_TRACE(kModule, "%s : put_blk failed !", who);
    set_err(kCbErrPutBlk, step);
    return -1;
  }
  tf->header_on_disk = true;
  return 1;
}

int init_header(TreeFile* tf, uint32_t blksize) {
  tf->fill.clear();
  tf->blksize = blksize;
  tf->root = tf->last_blk = tf->first_leaf = tf->last_leaf = tf->free_list = tf->height = 0;
  return store_header(tf, true, "init_header", kStepInitHeader);
}
}  // namespace

int write_header(TreeFile* tf) { return store_header(tf, false, "write_header", kStepWriteHeader); }

// ---- block allocation ----

uint8_t* alloc_blk(TreeFile* tf, uint32_t* blkno) {
  if (tf->free_list != 0) {
    uint32_t n = tf->free_list;
    if (n > tf->last_blk) {
      CB_TRACE(kModule, "alloc_blk : free block %u beyond last block %u", n, tf->last_blk);
      set_err(kCbErrDamagedTree, kStepAllocBlock);
      return nullptr;
    }
    uint8_t* p = get_blk(tf->bf, n);
    if (p == nullptr) {
      CB_TRACE(kModule, "alloc_blk : get_blk failed !");
      set_err(kCbErrGetBlk, kStepAllocBlock);
      return nullptr;
    }
    uint32_t next = rd32(p + 4);
    if (rd32(p) != 0 || next > tf->last_blk || next == n) {
      CB_TRACE(kModule, "alloc_blk : block %u on the free list is not free", n);
      rlse_blk(tf->bf, p);
      set_err(kCbErrDamagedTree, kStepAllocBlock);
      return nullptr;
    }
    tf->free_list = next;
    ++cb_stats().reused;
    *blkno = n;
    return p;
  }
  if (tf->last_blk == UINT32_MAX) {
    set_err(kCbErrNewBlk, kStepAllocBlock);
    return nullptr;
  }
  uint32_t n = tf->last_blk + 1;
  uint8_t* p = new_blk(tf->bf, n);
  if (p == nullptr) {
    CB_TRACE(kModule, "alloc_blk : new_blk failed !");
    set_err(kCbErrNewBlk, kStepAllocBlock);
    return nullptr;
  }
  tf->last_blk = n;
  // The file grows block by block: the new block is on disk before it is used.
  if (put_blk(tf->bf, p, 1) != 1) {
    CB_TRACE(kModule, "alloc_blk : put_blk failed !");
    set_err(kCbErrPutBlk, kStepAllocBlock);
    return nullptr;
  }
  p = get_blk(tf->bf, n);
  if (p == nullptr) {
    CB_TRACE(kModule, "alloc_blk : get_blk failed !");
    set_err(kCbErrGetBlk, kStepAllocBlock);
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
    CB_TRACE(kModule, "free_blk : put_blk failed !");
    set_err(kCbErrPutBlk, kStepFreeNode);
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
  if (!st().cursors.push(c)) {
    delete c;
    return nullptr;
  }
  c->tree_next = tf->cursors;
  if (tf->cursors != nullptr) tf->cursors->tree_prev = c;
  tf->cursors = c;
  return c;
}

void drop_cursor(CbCursor* c) {
  st().cursors.unlink(c);
  if (c->tree_prev != nullptr) {
    c->tree_prev->tree_next = c->tree_next;
  } else {
    c->tf->cursors = c->tree_next;
  }
  if (c->tree_next != nullptr) c->tree_next->tree_prev = c->tree_prev;
  delete c;
}

TreeFile* find_tree(const char* name) {
  for (TreeFile* t = st().trees.head(); t != nullptr; t = t->next) {
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
  if (!st().trees.push(t)) {
    delete t;
    return nullptr;
  }
  return t;
}

void drop_tree(TreeFile* t) {
  st().trees.unlink(t);
  delete t;
}

// Flush of cbflush and cbclose: buffers, then the header.
int flush_tree(CbCursor* c) {
  if (!cursor_registered(c)) {
    set_err(kCbErrCursor, kStepRegistry);
    return -1;
  }
  if (!treefile_registered(c->tf)) {
    set_err(kCbErrDescriptor, kStepRegistry);
    return -1;
  }
  int rc = 1;
  if (flush_bfile(c->tf->bf) != 1) {
    CB_TRACE(kModule, "cbflush : flush_bfile failed !");
    set_err(kCbErrFlush, kStepFlush);
    rc = -1;
  }
  int e = cb_errcode, k = cb_concode;
  if (!bfile_readonly(c->tf->bf) && write_header(c->tf) != 1) {
    if (rc == -1) set_err(e, k);  // the first error's codes stay
    rc = -1;
  }
  return rc;
}

}  // namespace

int cbinit(int n, int size) {
  cb_fcncode = kOpInit;
  State& s = st();
  if (s.pool != nullptr) {
    set_err(kCbErrInitTwice, kStepPoolSetup);
    return -1;
  }
  if (n == 0) n = 100;
  if (size == 0) size = 8192;
  if (n < 4) n = 4;
  if (size < 32) size = 8192;
  Pool* p = make_pool(size, n);
  if (p == nullptr || !entry_list_reserve(size)) {
    if (p != nullptr) free_pool(p);
    set_err(kCbErrMemory, kStepPoolSetup);
    return -1;
  }
  for (int i = 0; i < kScratchCount; ++i) {
    s.scratch[i] = static_cast<uint8_t*>(::operator new(static_cast<size_t>(size), std::nothrow));
    if (s.scratch[i] == nullptr) {
      for (int j = 0; j < i; ++j) ::operator delete(s.scratch[j]);
      for (auto& q : s.scratch) q = nullptr;
      free_pool(p);
      set_err(kCbErrMemory, kStepPoolSetup);
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
  cb_fcncode = kOpExit;
  State& s = st();
  if (s.pool == nullptr) {
    set_err(kCbErrNoInit, kStepExit);
    return -1;
  }
  int rc = 1;
  int e = 0, k = kStepNone;
  CbCursor* c = s.cursors.head();
  while (c != nullptr) {
    CbCursor* next = c->next;
    if (cbclose(c) != 1 && rc == 1) {
      rc = -1;
      e = cb_errcode;
      k = cb_concode;
    }
    c = next;
  }
  cb_fcncode = kOpExit;
  if (free_pool(s.pool) != 1 && rc == 1) {
    rc = -1;
    e = kCbErrInitTwice;
    k = kStepFreePool;
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
  cb_fcncode = kOpBufCount;
  return st().bufcount;
}

int cbbufsize() {
  cb_fcncode = kOpBufSize;
  return st().bufsize;
}

int cbaddbufs(int n) {
  cb_fcncode = kOpAddBufs;
  State& s = st();
  if (s.pool == nullptr) {
    set_err(kCbErrNoInit, kStepPoolSetup);
    return 0;
  }
  int added = add_bufs(s.pool, n);
  if (added < n) set_err(kCbErrMemory, kStepPoolSetup);
  s.bufcount += added;
  return added;
}

int cbrmvbufs(int n) {
  cb_fcncode = kOpRmvBufs;
  State& s = st();
  if (s.pool == nullptr) {
    set_err(kCbErrNoInit, kStepPoolSetup);
    return 0;
  }
  if (n > s.bufcount - 4) n = s.bufcount - 4;
  if (n <= 0) return 0;
  int removed = rmv_bufs(s.pool, n);
  s.bufcount -= removed;
  return removed;
}

CbCursor* cbcreate(const char* name, CbCompare cmp, int blksize) {
  cb_fcncode = kOpCreate;
  clear_err();
  State& s = st();
  if (blksize == 0) blksize = 8192;
  if (blksize < 48) blksize = 48;
  if (blksize > s.bufsize) {
    set_err(kCbErrBlkSize, kStepInitHeader);
    return nullptr;
  }
  if (s.pool == nullptr) {
    set_err(kCbErrNoInit, kStepCreate);
    return nullptr;
  }
  if (name == nullptr) {
    set_err(kCbErrCreate, kStepCreate);
    return nullptr;
  }
  TreeFile* tf = find_tree(name);
  if (tf != nullptr && tf->open_count > 0) {
    // Emptying a file that cursors are using would pull the tree from under them.
    CB_TRACE(kModule, "cbcreate : %s is open", name);
    set_err(kCbErrCreate, kStepCreate);
    return nullptr;
  }
  bool made_tree = false;
  if (tf == nullptr) {
    tf = make_tree(name);
    if (tf == nullptr) {
      set_err(kCbErrMemory, kStepMakeDescriptor);
      return nullptr;
    }
    made_tree = true;
  }
  CbCursor* c = make_cursor(tf, cmp);
  if (c == nullptr) {
    if (made_tree) drop_tree(tf);
    set_err(kCbErrMemory, kStepMakeCursor);
    return nullptr;
  }
  // Gives back cursor and descriptor; with codes, they are the failure's.
  auto fail = [&](int err, int step) -> CbCursor* {
    drop_cursor(c);
    drop_tree(tf);
    if (err != 0) set_err(err, step);
    return nullptr;
  };
  {
    // A file whose header lock another open holds, in this process or another, is left
    // as it is: emptying it would pull its blocks from under that open, which may be
    // reading them through a mapping. The caller sees what the lock failure of open_bfile
    // below always gave it. The probe keeps the lock until the file is made anew.
    platform::File held;
    if (held.open(name, platform::OpenMode::kReadWrite) && !held.lock_header()) {
      CB_TRACE(kModule, "open_bfile : open or lock of %s failed", name);
      bp_errno = kBpIo;
      return fail(kCbErrOpen, kStepOpen);
    }
    platform::File f;
    if (!f.open(name, platform::OpenMode::kCreate)) {
      CB_TRACE(kModule, "cbcreate : cannot create %s", name);
      return fail(kCbErrCreate, kStepCreate);
    }
    uint8_t word[4];
    wr32(word, static_cast<uint32_t>(blksize));
    if (f.write_at(word, 4, 0) != 4) {
      CB_TRACE(kModule, "cbcreate : cannot write %s", name);
      return fail(kCbErrPutBlk, kStepCreate);
    }
  }
  tf->bf = open_bfile(name, s.pool);
  if (tf->bf == nullptr) return fail(kCbErrOpen, kStepOpen);
  if (init_header(tf, static_cast<uint32_t>(blksize)) != 1) {
    close_bfile(tf->bf);
    return fail(0, kStepNone);  // init_header set the codes
  }
  ++tf->open_count;
  return c;
}

namespace {
CbCursor* open_tree(const char* name, CbCompare cmp, bool readonly) {
  cb_fcncode = kOpOpen;
  State& s = st();
  if (s.pool == nullptr) {
    set_err(kCbErrNoInit, kStepOpen);
    return nullptr;
  }
  if (name == nullptr) {
    set_err(kCbErrOpen, kStepOpen);
    return nullptr;
  }
  TreeFile* tf = find_tree(name);
  if (tf == nullptr) {
    tf = make_tree(name);
    if (tf == nullptr) {
      set_err(kCbErrMemory, kStepMakeDescriptor);
      return nullptr;
    }
  }
  CbCursor* c = make_cursor(tf, cmp);
  if (c == nullptr) {
    if (tf->open_count == 0) drop_tree(tf);
    set_err(kCbErrMemory, kStepMakeCursor);
    return nullptr;
  }
  if (tf->open_count == 0) {
    tf->bf = open_bfile(name, s.pool, readonly);
    if (tf->bf == nullptr) {
      drop_cursor(c);
      drop_tree(tf);
      set_err(bp_errno == kBpBlockSize ? kCbErrBlkSize : kCbErrOpen, kStepOpen);
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
  cb_fcncode = kOpFlush;
  return flush_tree(c);
}

int cbclose(CbCursor* c) {
  cb_fcncode = kOpClose;
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
        set_err(kCbErrClose, kStepCloseFile);
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
  if (!bfile_readonly(bf)) bfile_unlock_header(bf);
  return 1;
}

int cbresume(CbCursor* c) {
  if (!cursor_registered(c)) {
    set_err(kCbErrCursor, kStepRegistry);
    return -1;
  }
  TreeFile* tf = c->tf;
  if (bfile_readonly(tf->bf)) return 1;
  const int64_t size = bfile_relock_header(tf->bf);
  if (size == -1) {
    CB_TRACE(kModule, "open_bfile : open or lock of %s failed", tf->name.c_str());
    bp_errno = kBpIo;
    set_err(kCbErrOpen, kStepOpen);
    return -1;
  }
  // Every block the header counts must still be there; what the blocks hold is for the
  // caller to vouch for.
  if (size < (static_cast<int64_t>(tf->last_blk) + 1) * tf->blksize) return 0;
  return 1;
}

void cb_reset_for_tests() {
  State& s = st();
  while (s.cursors.head() != nullptr) drop_cursor(s.cursors.head());
  while (s.trees.head() != nullptr) drop_tree(s.trees.head());
  forget_pools_for_tests();
  for (auto& q : s.scratch) {
    ::operator delete(q);
    q = nullptr;
  }
  s.scratch_used = 0;
  s.pool = nullptr;
  s.bufsize = 0;
  s.bufcount = 0;
  bp_errno = kBpOk;
  cb_fcncode = 0;
  clear_err();
}

}  // namespace kyt
