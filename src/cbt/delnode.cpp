// delnode: removal of an entry from a leaf, freeing of emptied nodes, and merging.
#include "cbt/delnode.h"

#include "cbt/cberr.h"

namespace kyt {

namespace {

constexpr const char* kModule = "delnode";

// Fill limit below which a node is merged: three quarters of a block's payload.
int merge_limit(const Tree& t) { return ((t.B - kNodeHead) * 3) / 4; }

// Whether the noted fills of leaves A and C alone show that they cannot merge: even when
// A's last key equals C's first, so that C's first key bytes are saved, they are too full.
bool leaves_too_full(const Tree& t, uint32_t A, uint32_t C) {
  NodeFill a, c;
  if (!fill_known(t.tf, A, &a) || !fill_known(t.tf, C, &c)) return false;
  return a.used + c.used + kNodeHead - c.first_len >= merge_limit(t);
}

// Merges node C into its left neighbour A (same level, A.right == C) when they fit
// together. 1 merged (C freed), 0 not merged, -1 error.
int try_merge(Tree& t, uint32_t A, uint32_t C, uint32_t level) {
  if (level == 1 && leaves_too_full(t, A, C)) return 0;
  NodeRef a, c;
  if (!a.get_level(t, A, level, kStepMerge) || !c.get_level(t, C, level, kStepMerge)) return -1;
  if (nd_right(a.p) != C || nd_left(c.p) != A) return 0;
  const bool leaf = nd_leaf(a.p);
  const int ac = nd_count(a.p), cc = nd_count(c.p);
  if (ac < 0 || cc < 0) return 0;
  Scratch low_key;
  if (low_key.p == nullptr) {
    set_err(kCbErrMemory, kStepMerge);
    return -1;
  }
  EntrySrc* list = entry_list(ac + cc + 1);
  int n = 0;
  for (int j = 0; j < ac; ++j) {
    list[n++] = EntrySrc{e_key(a.p, j), e_klen(a.p, j), e_data(a.p, j), leaf ? 0 : e_child(a.p, j)};
  }
  const int used = nd_used(a.p, t.B) + nd_used(c.p, t.B) + kNodeHead;
  if (leaf) {
    int d = 0;
    if (ac > 0 && cc > 0 &&
        key_cmp(t.cmp, e_key(a.p, ac - 1), e_klen(a.p, ac - 1), e_key(c.p, 0), e_klen(c.p, 0)) == 0) {
      d = -e_klen(c.p, 0);
    }
    if (used + d >= merge_limit(t)) return 0;
  } else {
    KeyDesc f;
    if (first_entry(t, nd_low(c.p), level - 1, low_key.p, &f.len, &f.data, kStepMerge) != 1) return -1;
    if (!(ac == 0 && cc == 0)) {
      const bool eq_a = ac > 0 && key_cmp(t.cmp, low_key.p, f.len, e_key(a.p, ac - 1), e_klen(a.p, ac - 1)) == 0;
      const bool eq_c = cc > 0 && key_cmp(t.cmp, low_key.p, f.len, e_key(c.p, 0), e_klen(c.p, 0)) == 0;
      int d = kInnerSlot + (eq_a && eq_c ? -f.len : (!eq_a && !eq_c ? f.len : 0));
      if (used + d >= merge_limit(t)) return 0;
    }
    list[n++] = EntrySrc{low_key.p, f.len, f.data, nd_low(c.p)};
  }
  for (int j = 0; j < cc; ++j) {
    list[n++] = EntrySrc{e_key(c.p, j), e_klen(c.p, j), e_data(c.p, j), leaf ? 0 : e_child(c.p, j)};
  }
  if (!nd_build(t.cmp, a.p, t.B, list, n)) return 0;
  a.dirty();
  if (leaf) pos_moved(t.tf, C, 0, cc, A, ac);
  a.release();
  c.release();
  if (release_node(t, C, level) != 1) {
    CB_TRACE(kModule, "delnode (B_compress_tree): B_release_node failed !");
    return -1;
  }
  ++cb_stats().merges;
  return 1;
}

}  // namespace

int block_freed(Tree& t, uint32_t blk, bool* freed) {
  NodeRef n;
  if (!n.get_raw(t, blk, kStepMerge)) return -1;
  *freed = nd_low(n.p) == 0;
  return 1;
}

int release_node(Tree& t, uint32_t blk, uint32_t level) {
  NodeRef n;
  if (!n.get_level(t, blk, level, kStepFreeNode)) return -1;
  const uint32_t l = nd_left(n.p), r = nd_right(n.p);
  if (l != 0) {
    NodeRef a;
    if (!a.get_level(t, l, level, kStepSetRight)) return -1;
    nd_set_right(a.p, r);
    a.dirty();
  }
  if (r != 0) {
    NodeRef b;
    if (!b.get_level(t, r, level, kStepSetLeft)) return -1;
    nd_set_left(b.p, l);
    b.dirty();
  }
  if (nd_leaf(n.p)) {
    if (t.tf->first_leaf == blk) t.tf->first_leaf = r;
    if (t.tf->last_leaf == blk) t.tf->last_leaf = l;
  }
  if (n.free_block() != 1) {
    set_err(kCbErrPutBlk, kStepFreeNode);
    return -1;
  }
  return 1;
}

int compress_tree(Tree& t, uint32_t P, uint32_t plevel, int j) {
  if (P == 0) return 1;
  uint32_t A = 0, C = 0, D = 0;
  {
    NodeRef p;
    if (!p.get_level(t, P, plevel, kStepMerge)) return -1;
    const int cnt = nd_count(p.p);
    if (j < -1 || j >= cnt) return 1;
    if (j >= 0) {
      A = nd_child(p.p, j - 1);
      C = e_child(p.p, j);
    } else {
      A = nd_low(p.p);
    }
    if (j < cnt - 1) D = e_child(p.p, j + 1);
  }
  bool merged = false;
  if (j >= 0) {
    bool freed;
    if (block_freed(t, C, &freed) != 1) return -1;
    if (!freed) {
      int r = try_merge(t, A, C, plevel - 1);
      if (r < 0) return -1;
      if (r == 0) return 1;
      merged = true;
    }
  }
  if (D != 0) {
    int r = try_merge(t, A, D, plevel - 1);
    if (r < 0) return -1;
    if (r == 1) merged = true;
  }
  return merged ? kDelFreed : 1;
}

int del_node(Tree& t, uint32_t leaf, const KeyDesc& k, uint32_t parent, int pidx) {
  int idx, cnt, used;
  uint32_t right;
  {
    NodeRef n;
    if (!n.get_level(t, leaf, 1, kStepDeleteLeaf)) return -1;
    if (locate(t.cmp, n.p, k, &idx) != 0) {
      CB_TRACE(kModule, "delnode : B_key_info_loc failed !");
      set_err(kCbErrNotFound, kStepDeleteLeaf);
      return -1;
    }
    cnt = nd_count(n.p);
    right = nd_right(n.p);
    nd_remove(n.p, t.B, idx);
    n.dirty();
    used = nd_used(n.p, t.B);
  }
  if (cnt < 2) {
    if (release_node(t, leaf, 1) != 1) {
      CB_TRACE(kModule, "delnode : B_release_node failed !");
      return -1;
    }
    pos_removed(t.tf, leaf, idx, 0, right);
    ++cb_stats().freed_empty;
    return kDelFreed;
  }
  pos_removed(t.tf, leaf, idx, cnt - 1, right);
  if (used < merge_limit(t) && parent != 0) {
    int r = compress_tree(t, parent, 2, pidx);
    if (r < 0) {
      CB_TRACE(kModule, "delnode : B_compress_tree failed !");
      return -1;
    }
    return r;
  }
  return 1;
}

}  // namespace kyt
