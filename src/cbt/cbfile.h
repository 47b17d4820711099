// cbfile: the tree file of the B-tree layer on its block file: block 0's header, block
// allocation and the free list, the registries of tree files and cursors, the layer's
// settings and scratch memory, the structural counts, and the file operations of cbt.h
// (cbinit, cbexit, the buffer counts, cbcreate, cbopen, cbflush, cbclose, cbsuspend,
// cbresume, cb_reset_for_tests). The blocks move through the buffer pool (bufpool); what
// a node block holds is the node layer's (node).
#ifndef KYT_CBT_CBFILE_H
#define KYT_CBT_CBFILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "cbt/bufpool.h"
#include "cbt/cbt.h"

namespace kyt {

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
  // Its cursors, linked by CbCursor::tree_next/tree_prev: exactly the registered cursors
  // whose tf is this file, so that a change of a node adjusts the positions on it without
  // walking the cursors of every other tree of the process.
  CbCursor* cursors = nullptr;
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
  CbCursor* tree_next = nullptr;  // the other cursors of tf (TreeFile::cursors)
  CbCursor* tree_prev = nullptr;
  TreeFile* tf = nullptr;
  CbCompare cmp = nullptr;
  int state = -2;          // 1 on an entry, -2 before the first, -3 after the last
  int64_t block = -1;      // leaf of the current entry, -1 when not on one
  int index = -1;
  int saved_state = -1;    // -1 until cbmark
  int64_t saved_block = -1;
  int saved_index = -1;
};

// Registries and settings of the layer (cursor_registered and cursor_list: cbt.h).
bool treefile_registered(const TreeFile* tf);
int cb_buffer_size();     // the pool's buffer size, 0 when not initialised

// Scratch memory of the layer, allocated with the pool: buffers of the pool's buffer size
// for key copies and node images, taken and given back in stack order.
uint8_t* scratch_take();  // null when all are in use
void scratch_give(uint8_t* p);

// An entry to place by the node layer's nd_build.
struct EntrySrc {
  const uint8_t* key;
  int len;
  int32_t data;
  uint32_t child;
};
// The smallest entry a node holds (a leaf slot): a node of B bytes has fewer than
// B / kMinEntryBytes entries.
constexpr int kMinEntryBytes = 12;
// Room for the entries of two nodes and one more (a merge lists them), made by cbinit for
// its buffer size, so that no change of a tree waits on an allocation; reused by every
// call. `n` is within that room.
EntrySrc* entry_list(int n);

// Header block and node blocks of a tree file. These set cb_errcode / cb_concode.
int read_header(TreeFile* tf);
int write_header(TreeFile* tf);
// Allocates a node block (free list first, else the end of the file); pinned, contents
// undefined (the caller makes it a node).
uint8_t* alloc_blk(TreeFile* tf, uint32_t* blkno);
// Chains block `blkno` (pinned as `data`) into the free list and puts it back deferred.
int free_blk(TreeFile* tf, uint32_t blkno, uint8_t* data);

}  // namespace kyt

#endif  // KYT_CBT_CBFILE_H
