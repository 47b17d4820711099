// delnode: deleting in a leaf, freeing nodes, and merging neighbours that fit together.
#ifndef KYT_CBT_DELNODE_H
#define KYT_CBT_DELNODE_H

#include "cbt/node.h"

namespace kyt {

// Result of a node to its parent: the node was freed or merged away, or a child of the
// parent was merged into its neighbour; the parent removes the entries of freed blocks.
constexpr int kDelFreed = 3;

// B_del_node: removes (key, data) from `leaf` (index pidx of `parent`, 0 for the root).
// 1, kDelFreed, or -1.
int del_node(Tree& t, uint32_t leaf, const KeyDesc& k, uint32_t parent, int pidx);
// B_release_node: unlinks node `blk` from its level chain (and the header's leaf ends)
// and chains it into the free list.
int release_node(Tree& t, uint32_t blk, uint32_t level);
// B_compress_tree: merges the child at j of P (at plevel) into its left neighbour, and
// the child after it too, when they fit. 1 nothing merged, kDelFreed merged, -1 error.
int compress_tree(Tree& t, uint32_t P, uint32_t plevel, int j);
// Whether block `blk` is on the free list (its first word is 0).
int block_freed(Tree& t, uint32_t blk, bool* freed);

}  // namespace kyt

#endif  // KYT_CBT_DELNODE_H
