// bufpool: block files, the process-wide buffer pool, and the file level of the B-tree
// layer (registries, block 0 header, block allocation).
//
// A block file is a sequence of blocks of one size B; block n starts at byte n*B. Block 0
// is the header (see docs/file-formats.md). Buffers are handed out as pointers to their
// data; a handed-out buffer is pinned until put_blk or rlse_blk gives it back, and a pinned
// buffer is never taken for another block.
#ifndef KYT_CBT_BUFPOOL_H
#define KYT_CBT_BUFPOOL_H

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

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
// Whether the buffer's contents passed the node check since they were read or made. The
// node layer checks a block once per read from disk, not on every access, and not at all
// when the read brings back a sound node image this open wrote itself (see BFile). Marking
// a buffer unchecked also stops its block's image in the file from counting as sound.
bool blk_checked(const uint8_t* data);
void blk_set_checked(uint8_t* data, bool checked);

// What a node block held when the layer last had it in memory: bytes used (header, slots
// and keys; 0 when unknown) and the length of its first key. Only this process writes the
// file while it is open (the header lock keeps others out), so a block's entry stays true
// until the layer itself changes the block, and it notes every change it makes.
struct NodeFill {
  uint16_t used = 0;
  uint16_t first_len = 0;
};

// Tree file descriptor: one per open file name, shared by the cursors on that file.
struct TreeFile {
  // The header words of block 0 as read or since changed; written back by cbflush/cbclose.
  uint32_t blksize = 0;
  uint32_t root = 0;        // 0: empty tree
  uint32_t last_blk = 0;    // highest block ever allocated
  uint32_t first_leaf = 0;
  uint32_t last_leaf = 0;
  uint32_t free_list = 0;   // 0: none
  uint32_t height = 0;      // levels; 0 for the empty tree
  TreeFile* next = nullptr;
  int open_count = 0;       // cursors open on it
  BFile* bf = nullptr;
  std::string name;
  // Fill of the node blocks by block number, so that a merge or shift test can rule out a
  // neighbour that cannot take part without reading it. Empty for block sizes above 65535.
  std::vector<NodeFill> fill;
  // Block 0 in the file holds the header words as they were last read or written, so a
  // flush that would write the same bytes again can leave the file alone.
  bool header_on_disk = false;
};

// The fill noted for block `blk`; false when it is not known.
inline bool fill_known(const TreeFile* tf, uint32_t blk, NodeFill* f) {
  if (blk >= tf->fill.size() || tf->fill[blk].used == 0) return false;
  *f = tf->fill[blk];
  return true;
}
inline void fill_forget(TreeFile* tf, uint32_t blk) {
  if (blk < tf->fill.size()) tf->fill[blk] = NodeFill{};
}

struct CbCursor {
  CbCursor* next = nullptr;
  TreeFile* tf = nullptr;
  CbCompare cmp = nullptr;
  int state = -2;          // 1 on an entry, -2 before the first, -3 after the last
  int64_t block = -1;      // leaf of the current entry, -1 when not on one
  int index = -1;
  int saved_state = -1;    // -1 until cbmark
  int64_t saved_block = -1;
  int saved_index = -1;
};

// Registries and settings of the layer.
bool cursor_registered(const CbCursor* c);
bool treefile_registered(const TreeFile* tf);
CbCursor* cursor_list();  // head of the registry, for the position updates of the node layer
int cb_buffer_size();     // the pool's buffer size, 0 when not initialised

// Scratch memory of the layer, allocated with the pool: buffers of the pool's buffer size
// for key copies and node images, taken and given back in stack order.
uint8_t* scratch_take();  // null when all are in use
void scratch_give(uint8_t* p);

// Counts of the tree's structural events and node checks, for tests that must prove a
// sequence reached every case. Never reset by the layer itself.
struct CbStats {
  uint64_t shift_right = 0, shift_left = 0;   // shifts that moved entries or the new one
  uint64_t split_right = 0, split_left = 0;   // the new entry went into the new / old node
  uint64_t split_extra = 0;                   // long keys: a further cut or a node of its own
  uint64_t merges = 0, freed_empty = 0;       // nodes merged away / freed when emptied
  uint64_t roots_made = 0, roots_removed = 0;
  uint64_t reused = 0;                        // allocations served from the free list
  uint64_t node_checks = 0;                   // node checks of blocks read from the file
};
CbStats& cb_stats();

// Header block and node blocks of a tree file. These set cb_errcode / cb_concode.
int read_header(TreeFile* tf);
int write_header(TreeFile* tf);
// Allocates a node block (free list first, else the end of the file); pinned, contents
// undefined (the caller makes it a node).
uint8_t* alloc_blk(TreeFile* tf, uint32_t* blkno);
// Chains block `blkno` (pinned as `data`) into the free list and puts it back deferred.
int free_blk(TreeFile* tf, uint32_t blkno, uint8_t* data);

}  // namespace kyt

#endif  // KYT_CBT_BUFPOOL_H
