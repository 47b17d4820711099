// bufpool: the process-wide buffer pool (buffers, their block index and LRU chain), block
// I/O, and the block-level operations on an open block file. What the blocks hold is for
// the modules above: the tree file's header and allocation (cbfile), the nodes (node).
//
// A block file is a sequence of blocks of one size B; block n starts at byte n*B, and the
// file's first word is B (see docs/file-formats.md). Buffers are handed out as pointers to
// their data; a handed-out buffer is pinned until put_blk or rlse_blk gives it back, and a
// pinned buffer is never taken for another block.
#ifndef KYT_CBT_BUFPOOL_H
#define KYT_CBT_BUFPOOL_H

#include <bit>
#include <cstdint>
#include <cstring>

#include "cbt/cbt.h"
#include "platform/platform.h"

namespace kyt {

// Little-endian 32-bit words, whatever the host.
inline uint32_t rd32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  if constexpr (std::endian::native == std::endian::big) v = __builtin_bswap32(v);
  return v;
}
inline void wr32(uint8_t* p, uint32_t v) {
  if constexpr (std::endian::native == std::endian::big) v = __builtin_bswap32(v);
  std::memcpy(p, &v, 4);
}

struct Pool;
struct BFile;

// Buffer pool. All set bp_errno; failures trace a level-1 line of module "bufpool".
Pool* make_pool(int bufsize, int n);
int add_bufs(Pool* pool, int n);  // number added
int rmv_bufs(Pool* pool, int n);  // number removed
int free_pool(Pool* pool);
BFile* open_bfile(const char* name, Pool* pool, bool readonly = false);
int close_bfile(BFile* bf);
int flush_bfile(BFile* bf);
uint8_t* get_blk(BFile* bf, uint32_t blkno);
uint8_t* new_blk(BFile* bf, uint32_t blkno);
int put_blk(BFile* bf, uint8_t* data, int write_now);
int rlse_blk(BFile* bf, uint8_t* data);
int readblk(platform::File* f, uint32_t blkno, int blksize, uint8_t* buf);
int writeblk(platform::File* f, uint32_t blkno, int blksize, const uint8_t* buf);
int bfile_blksize(const BFile* bf);
bool bfile_readonly(const BFile* bf);
// The open file itself, for the file level above: its size in bytes, giving up its header
// lock (a file opened read-only holds none) and taking it again (platform::File's
// relock_header: the size, -1 when another open holds the lock, -2 when the file is gone).
int64_t bfile_size(BFile* bf);
void bfile_unlock_header(BFile* bf);
int64_t bfile_relock_header(BFile* bf);
// Whether the buffer's contents passed the node check since they were read or made. The
// node layer checks a block once per read from disk, not on every access, and not at all
// when the read brings back a sound node image this open wrote itself (see BFile). Marking
// a buffer unchecked also stops its block's image in the file from counting as sound.
bool blk_checked(const uint8_t* data);
void blk_set_checked(uint8_t* data, bool checked);

// Forgets every pool and block file without writing anything (cb_reset_for_tests).
void forget_pools_for_tests();

}  // namespace kyt

#endif  // KYT_CBT_BUFPOOL_H
