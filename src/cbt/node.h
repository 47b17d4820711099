// node: the node format inside a block, key comparison, in-node search, entry insertion
// and removal, the node check, descent from the root, and the cursor operations.
//
// Node block (B bytes, little-endian words):
//   0 low       0xFFFFFFFF in a leaf; in an inner node the child below entry 0
//   4 left      left sibling on the same level, 0 none
//   8 right     right sibling on the same level, 0 none
//  12 count     entries; an inner node without even a low child has -1
//  16 keystart  lowest byte used by keys; B when there are none
//  20 entries   leaf: key offset, key length, data (12 bytes); inner: the same and child (16)
//     ...free...
//  keystart..B-1  key bytes, packed against the end in entry order; adjacent entries with
//                 equal keys share one copy (same offset and length)
#ifndef KYT_CBT_NODE_H
#define KYT_CBT_NODE_H

#include <cstdint>

#include "cbt/cbfile.h"

namespace kyt {

constexpr int kNodeHead = 20;
constexpr int kLeafSlot = 12;
constexpr int kInnerSlot = 16;
// The file level sizes the entry room (entry_list) by the smallest entry.
static_assert(kLeafSlot >= kMinEntryBytes && kInnerSlot >= kMinEntryBytes);
constexpr uint32_t kLeafLow = 0xFFFFFFFFu;
constexpr uint32_t kMaxHeight = 128;  // far beyond any tree a 32-bit block number allows

inline uint32_t nd_low(const uint8_t* p) { return rd32(p); }
inline uint32_t nd_left(const uint8_t* p) { return rd32(p + 4); }
inline uint32_t nd_right(const uint8_t* p) { return rd32(p + 8); }
inline int nd_count(const uint8_t* p) { return static_cast<int32_t>(rd32(p + 12)); }
inline uint32_t nd_keystart(const uint8_t* p) { return rd32(p + 16); }
inline bool nd_leaf(const uint8_t* p) { return nd_low(p) == kLeafLow; }
inline int nd_slot(const uint8_t* p) { return nd_leaf(p) ? kLeafSlot : kInnerSlot; }
inline void nd_set_low(uint8_t* p, uint32_t v) { wr32(p, v); }
inline void nd_set_left(uint8_t* p, uint32_t v) { wr32(p + 4, v); }
inline void nd_set_right(uint8_t* p, uint32_t v) { wr32(p + 8, v); }
inline void nd_set_count(uint8_t* p, int v) { wr32(p + 12, static_cast<uint32_t>(v)); }
inline void nd_set_keystart(uint8_t* p, uint32_t v) { wr32(p + 16, v); }

inline uint8_t* nd_slot_at(uint8_t* p, int i) { return p + kNodeHead + i * nd_slot(p); }
inline const uint8_t* nd_slot_at(const uint8_t* p, int i) {
  return p + kNodeHead + i * nd_slot(p);
}
inline uint32_t e_koff(const uint8_t* p, int i) { return rd32(nd_slot_at(p, i)); }
inline int e_klen(const uint8_t* p, int i) { return static_cast<int>(rd32(nd_slot_at(p, i) + 4)); }
inline int32_t e_data(const uint8_t* p, int i) {
  return static_cast<int32_t>(rd32(nd_slot_at(p, i) + 8));
}
inline uint32_t e_child(const uint8_t* p, int i) { return rd32(nd_slot_at(p, i) + 12); }
inline const uint8_t* e_key(const uint8_t* p, int i) { return p + e_koff(p, i); }
// Child at index i of an inner node; -1 is the low child.
inline uint32_t nd_child(const uint8_t* p, int i) { return i < 0 ? nd_low(p) : e_child(p, i); }
// 20 + slots + key bytes.
inline int nd_used(const uint8_t* p, int B) {
  int n = nd_count(p);
  return kNodeHead + (n > 0 ? n : 0) * nd_slot(p) + (B - static_cast<int>(nd_keystart(p)));
}

// An entry to insert or look for.
struct KeyDesc {
  const uint8_t* key = nullptr;
  int len = 0;
  int32_t data = 0;
  int dups = 0;
  uint32_t child = 0;  // inner entries
};

// One operation on one tree.
struct Tree {
  CbCursor* c;
  TreeFile* tf;
  CbCompare cmp;
  int B;
  explicit Tree(CbCursor* cur)
      : c(cur), tf(cur->tf), cmp(cur->cmp), B(static_cast<int>(cur->tf->blksize)) {}
};

// Notes the fill of node `p` (block `blk`) in the file's table.
void fill_note(TreeFile* tf, uint32_t blk, const uint8_t* p) noexcept;

// A pinned block, given back when the object goes: put back deferred when marked dirty,
// else released unchanged.
class NodeRef {
 public:
  NodeRef() = default;
  ~NodeRef() { release(); }
  NodeRef(const NodeRef&) = delete;
  NodeRef& operator=(const NodeRef&) = delete;

  // Pins block `blk` as a node: in range, read, checked on first use after a read.
  // On failure cb_errcode is kCbErrDamagedTree (out of range), kCbErrGetBlk (read) or
  // kCbErrDamagedNode (check), with `step` as cb_concode (here and in the descents below).
  bool get(Tree& t, uint32_t blk, int step);
  // As get, and the node must be a leaf exactly when `level` is 1.
  bool get_level(Tree& t, uint32_t blk, uint32_t level, int step);
  // Pins block `blk` without treating it as a node.
  bool get_raw(Tree& t, uint32_t blk, int step);
  // Takes over a block pinned elsewhere (alloc_blk).
  void adopt(Tree& t, uint32_t blk, uint8_t* p);
  void dirty() { dirty_ = true; }
  // Gives the block back; -1 (kCbErrPutBlk or kCbErrRlseBlk) when the pool
  // refuses.
  int release();
  // Chains the block into the free list (it must already be unlinked).
  int free_block();

  uint8_t* p = nullptr;
  uint32_t blk = 0;

 private:
  TreeFile* tf_ = nullptr;
  bool dirty_ = false;
};

// A scratch buffer of the pool's buffer size for the length of a scope.
class Scratch {
 public:
  Scratch() : p(scratch_take()) {}
  ~Scratch() {
    if (p != nullptr) scratch_give(p);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  uint8_t* p;
};

// Comparison: keys by the tree's function, then data as signed integers; -1, 0 or 1.
int key_cmp(CbCompare cmp, const uint8_t* a, int la, const uint8_t* b, int lb);
int entry_cmp(CbCompare cmp, const KeyDesc& k, const uint8_t* p, int i);
inline bool key_eq(CbCompare cmp, const uint8_t* a, int la, const uint8_t* p, int i) {
  return key_cmp(cmp, a, la, e_key(p, i), e_klen(p, i)) == 0;
}

// In-node search of (key, data): 0 exact at *idx; -1 sought below entry *idx; 1 greater
// than every entry (*idx = count). A node without entries gives index 0, result 1.
int locate(CbCompare cmp, const uint8_t* p, const KeyDesc& k, int* idx);

// Node primitives (memory only; callers keep cursors right).
void nd_init(uint8_t* p, int B, bool leaf);
bool nd_check(const uint8_t* p, int B, uint32_t last_blk, uint32_t self, const char** why);
// Whether an entry with this key fits at index i (an empty node takes any entry).
bool nd_fits(CbCompare cmp, const uint8_t* p, int B, int i, const uint8_t* key, int len);
// Inserts at index i (0..count); an inner node with count -1 takes the child as its low
// path. A key equal to the key of entry i or i-1 shares that entry's bytes.
void nd_insert(CbCompare cmp, uint8_t* p, int B, int i, const KeyDesc& k);
// Removes entry i; in an inner node i = -1 removes the low path.
void nd_remove(uint8_t* p, int B, int i);
// Slots plus key bytes of entries a..b (0 when a > b).
int nd_size(const uint8_t* p, int a, int b);

// Rewrites the entries of node p (low, left, right kept) from `list`; adjacent equal keys
// share bytes. False, with p unchanged, when they do not fit. Keys may point into p.
bool nd_build(CbCompare cmp, uint8_t* p, int B, const EntrySrc* list, int n);

// Position updates of every cursor (current and saved) on the file.
void pos_inserted(TreeFile* tf, uint32_t blk, int i, int n = 1);
void pos_removed(TreeFile* tf, uint32_t blk, int i, int newcount, uint32_t right);
void pos_moved(TreeFile* tf, uint32_t from, int lo, int n, uint32_t to, int to_lo);

// First entry of the leftmost leaf below block `blk` (at `level`): key copied to `buf`.
int first_entry(Tree& t, uint32_t blk, uint32_t level, uint8_t* buf, int* len, int32_t* data,
                int step);
// Leaf (at level 1) where (key, data) belongs, its index and the locate result there.
int find_leaf(Tree& t, const KeyDesc& k, uint32_t* leaf, int* idx, int* res, int step);
// Moves the cursor to the entry after its current one (cbnext without the checks).
int pos_next(Tree& t, int32_t* data);
// Common checks of the cursor operations: sets cb_fcncode to `op`; kCbErrCursor and
// kCbErrDescriptor for unknown handles.
bool cursor_ok(CbCursor* c, int op);
// cursor_ok for the changing operations: also refuses a tree opened read-only
// (kCbErrReadOnly).
bool cursor_writable(CbCursor* c, int op);
// Longest key a tree of this cursor takes.
int max_key_len(const CbCursor* c);

}  // namespace kyt

#endif  // KYT_CBT_NODE_H
