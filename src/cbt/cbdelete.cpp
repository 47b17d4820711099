// cbdelete: deletion from the top (del_subtree), removal of the parent entries of freed
// children (rmv_unused_keys), and removal of a root left with only its low child.
#include "cbt/cbdelete.h"

#include "cbt/cberr.h"
#include "cbt/delnode.h"

namespace kyt {

namespace {

constexpr const char* kModule = "cbdelete";

// Removes P's entries for the run of freed children that starts at or after index j.
int rmv_unused_keys(Tree& t, uint32_t P, uint32_t level, int j) {
  NodeRef p;
  if (!p.get_level(t, P, level, kStepMerge)) return -1;
  int i = j < -1 ? -1 : j;
  for (;; ++i) {  // loc_unused_key
    if (i >= nd_count(p.p)) return 1;
    bool freed;
    if (block_freed(t, nd_child(p.p, i), &freed) != 1) {
      CB_TRACE(kModule, "cbdelete (rmv_unused_keys): loc_unused_key failed!");
      return -1;
    }
    if (freed) break;
  }
  for (;;) {  // up to the next live child
    nd_remove(p.p, t.B, i);
    p.dirty();
    if (i >= nd_count(p.p) || (i < 0 && nd_count(p.p) < 0)) break;
    bool freed;
    if (block_freed(t, nd_child(p.p, i), &freed) != 1) {
      CB_TRACE(kModule, "cbdelete (rmv_unused_keys): loc_next_child failed!");
      return -1;
    }
    if (!freed) break;
  }
  return p.release() == 1 ? 1 : -1;
}

int del_subtree(Tree& t, uint32_t P, uint32_t level, uint32_t G, int gidx, const KeyDesc& k) {
  uint32_t child;
  int j;
  {
    NodeRef n;
    if (!n.get_level(t, P, level, kStepDeleteDescent)) {
      CB_TRACE(kModule, "cbdelete (del_subtree): get_blk failed!");
      return -1;
    }
    if (nd_count(n.p) < 0) {
      CB_TRACE(kModule, "cbdelete (del_subtree): low_path = UNUSED_NODE");
      set_err(kCbErrNoLowPath, kStepDeleteDescent);
      return -1;
    }
    int i;
    int r = locate(t.cmp, n.p, k, &i);
    j = r == 0 ? i : i - 1;
    child = nd_child(n.p, j);
  }
  int rc = level == 2 ? del_node(t, child, k, P, j) : del_subtree(t, child, level - 1, P, j, k);
  if (rc != kDelFreed) return rc;
  if (rmv_unused_keys(t, P, level, j) != 1) return -1;
  int cnt;
  {
    NodeRef n;
    if (!n.get_level(t, P, level, kStepMerge)) return -1;
    cnt = nd_count(n.p);
  }
  if (G == 0) return cnt <= 0 ? kDelFreed : 1;  // the root: B_rmv_root when only low is left
  if (cnt < 0) {
    if (release_node(t, P, level) != 1) {
      CB_TRACE(kModule, "cbdelete (rmv_unused_keys): B_release_node failed!");
      return -1;
    }
    return kDelFreed;
  }
  int r = compress_tree(t, G, level + 1, gidx);
  if (r < 0) CB_TRACE(kModule, "cbdelete (del_subtree): B_compress_tree failed!");
  return r;
}

// B_rmv_root: the root's low child becomes the root; the old root block is freed.
int rmv_root(Tree& t) {
  TreeFile* tf = t.tf;
  NodeRef r;
  if (!r.get_level(t, tf->root, tf->height, kStepRemoveRoot)) return -1;
  const int cnt = nd_count(r.p);
  if (cnt > 0) return 1;
  const uint32_t low = cnt == 0 ? nd_low(r.p) : 0;
  if (r.free_block() != 1) {
    CB_TRACE(kModule, "cbdelete (B_rmv_root): put_blk failed!");
    set_err(kCbErrPutBlk, kStepRemoveRoot);
    return -1;
  }
  tf->root = low;
  tf->height = low != 0 ? tf->height - 1 : 0;
  ++cb_stats().roots_removed;
  if (low == 0) tf->first_leaf = tf->last_leaf = 0;
  return 1;
}

}  // namespace

int delete_entry(Tree& t, const KeyDesc& k) {
  TreeFile* tf = t.tf;
  if (tf->root == 0) {
    CB_TRACE(kModule, "cbdelete : root is NULL");
    set_err(kCbErrEmpty, kStepDeleteTree);
    return -1;
  }
  if (tf->height == 0 || tf->height > kMaxHeight) {
    CB_TRACE(kModule, "cbdelete : height %u", tf->height);
    set_err(kCbErrDamagedTree, kStepDeleteTree);
    return -1;
  }
  if (tf->height == 1) {
    int rc = del_node(t, tf->root, k, 0, -1);
    if (rc < 0) return -1;
    if (rc == kDelFreed) {  // the last entry went with its leaf
      tf->root = 0;
      tf->height = 0;
    }
    return 1;
  }
  {
    NodeRef r;
    if (!r.get_level(t, tf->root, tf->height, kStepDeleteTree)) return -1;
    if (nd_count(r.p) < 0) {
      CB_TRACE(kModule, "cbdelete (B_del_tree): low_path = UNUSED_NODE");
      set_err(kCbErrNoLowPath, kStepDeleteTree);
      return -1;
    }
  }
  int rc = del_subtree(t, tf->root, tf->height, 0, -1, k);
  if (rc < 0) return -1;
  if (rc == kDelFreed && rmv_root(t) != 1) return -1;
  return 1;
}

int cbdelete(CbCursor* c, const void* key, int len, int32_t data) {
  if (!cursor_writable(c, kOpDelete) || len < 0 || (key == nullptr && len > 0)) {
    CB_TRACE(kModule, "cbdelete : not valid !");
    return -1;
  }
  Tree t(c);
  KeyDesc k;
  k.key = static_cast<const uint8_t*>(key);
  k.len = len;
  k.data = data;
  return delete_entry(t, k);
}

}  // namespace kyt
