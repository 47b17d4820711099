// cbinsert: insertion into a node (shifting to siblings, splitting), the descent with
// the repair of parents (add_children), and new roots.
//
// Levels count from the leaves (1) up to the root (the header's height). No block stays
// pinned across a call into another level, so a pool of four buffers suffices.
#include "cbt/cbinsert.h"

#include <cstdlib>

#include "cbt/cberr.h"

namespace kyt {

namespace {

constexpr const char* kModule = "cbinsert";

int ins_node(Tree& t, uint32_t blk, uint32_t level, KeyDesc kd, uint32_t parent, int pidx,
             bool relist_ok = false);

// Whether `blk` is listed in `parent` at index `pidx` (-1: low), so that its neighbours
// under that parent are the children at pidx-1 and pidx+1.
bool listed_at(Tree& t, uint32_t parent, uint32_t plevel, int pidx, uint32_t blk, uint32_t* left,
               uint32_t* right, bool* ok) {
  *left = *right = 0;
  *ok = true;
  if (parent == 0) return false;
  NodeRef p;
  if (!p.get_level(t, parent, plevel, kStepInsertNode)) {
    *ok = false;
    return false;
  }
  int n = nd_count(p.p);
  if (pidx < -1 || pidx >= n || nd_child(p.p, pidx) != blk) return false;
  if (pidx < n - 1) *right = e_child(p.p, pidx + 1);
  if (pidx >= 0) *left = nd_child(p.p, pidx - 1);
  return true;
}

// Removes the parent's entry at `pidx` for child `child`.
int unlist(Tree& t, uint32_t parent, uint32_t plevel, int pidx, uint32_t child) {
  NodeRef p;
  if (!p.get_level(t, parent, plevel, kStepMoveEntries)) return -1;
  if (pidx < 0 || pidx >= nd_count(p.p) || e_child(p.p, pidx) != child) {
    CB_TRACE(kModule, "cbinsert (B_shift): parent entry %d is not block %u", pidx, child);
    set_err(kCbErrDamagedTree, kStepMoveEntries);
    return -1;
  }
  nd_remove(p.p, t.B, pidx);
  p.dirty();
  return p.release() == 1 ? 1 : -1;
}

// Makes an inner node's low child an ordinary entry (keyed by the first entry below it)
// and gives the node `child` as its new low child. 0 when the entry does not fit.
int push_low(Tree& t, NodeRef& n, uint32_t level, uint32_t child, int step) {
  if (nd_count(n.p) < 0) {
    nd_set_low(n.p, child);
    nd_set_count(n.p, 0);
    n.dirty();
    return 1;
  }
  Scratch key;
  if (key.p == nullptr) {
    set_err(kCbErrMemory, step);
    return -1;
  }
  KeyDesc f;
  if (first_entry(t, nd_low(n.p), level - 1, key.p, &f.len, &f.data, step) != 1) return -1;
  f.key = key.p;
  if (!nd_fits(t.cmp, n.p, t.B, 0, f.key, f.len)) return 0;
  f.child = nd_low(n.p);
  nd_set_low(n.p, child);
  nd_insert(t.cmp, n.p, t.B, 0, f);
  n.dirty();
  return 1;
}

// Places `kd` at index `idx` of node `blk` (-1: as the new low child of an inner node).
// 1 placed, 0 does not fit, -1 error.
int place(Tree& t, uint32_t blk, uint32_t level, const KeyDesc& kd, int idx) {
  NodeRef n;
  if (!n.get_level(t, blk, level, kStepMoveEntries)) return -1;
  if (!nd_leaf(n.p) && (idx < 0 || nd_count(n.p) < 0)) return push_low(t, n, level, kd.child, kStepMoveEntries);
  if (!nd_fits(t.cmp, n.p, t.B, idx, kd.key, kd.len)) return 0;
  nd_insert(t.cmp, n.p, t.B, idx, kd);
  n.dirty();
  if (nd_leaf(n.p)) pos_inserted(t.tf, blk, idx);
  return 1;
}

// A new node to the right of `blk` on the same level, linked into the chain.
int make_sibling(Tree& t, uint32_t blk, uint32_t level, uint32_t* sib) {
  NodeRef x;
  if (!x.get_level(t, blk, level, kStepMoveEntries)) return -1;
  uint32_t nb;
  uint8_t* q = alloc_blk(t.tf, &nb);
  if (q == nullptr) {
    CB_TRACE(kModule, "cbinsert (B_split): new block failed");
    return -1;
  }
  NodeRef s;
  s.adopt(t, nb, q);
  const bool leaf = nd_leaf(x.p);
  nd_init(q, t.B, leaf);
  blk_set_checked(q, true);
  s.dirty();
  const uint32_t old_right = nd_right(x.p);
  nd_set_left(q, blk);
  nd_set_right(q, old_right);
  if (old_right != 0) {
    NodeRef r;
    if (!r.get_level(t, old_right, level, kStepSetLeft)) return -1;
    nd_set_left(r.p, nb);
    r.dirty();
  } else if (leaf) {
    t.tf->last_leaf = nb;
  }
  nd_set_right(x.p, nb);
  x.dirty();
  *sib = nb;
  return 1;
}

// Moves the entries of `blk` from index s on into the empty new sibling `sib`. In an inner
// node the child of entry s becomes the sibling's low child and its key is dropped.
int move_tail(Tree& t, uint32_t blk, uint32_t sib, uint32_t level, int s) {
  NodeRef n, x;
  if (!n.get_level(t, blk, level, kStepMoveEntries) || !x.get_level(t, sib, level, kStepMoveEntries)) return -1;
  const int cnt = nd_count(n.p);
  const bool leaf = nd_leaf(n.p);
  if (s < 0) s = 0;
  if (s >= cnt) return 1;
  int first = s;
  if (!leaf) {
    nd_set_low(x.p, e_child(n.p, s));
    nd_set_count(x.p, 0);
    first = s + 1;
  }
  EntrySrc* list = entry_list(cnt);
  int k = 0;
  for (int j = first; j < cnt; ++j) {
    list[k++] = EntrySrc{e_key(n.p, j), e_klen(n.p, j), e_data(n.p, j), leaf ? 0 : e_child(n.p, j)};
  }
  if (!nd_build(t.cmp, x.p, t.B, list, k)) {
    CB_TRACE(kModule, "cbinsert (B_split): moving entries failed");
    set_err(kCbErrDamagedNode, kStepMoveEntries);
    return -1;
  }
  x.dirty();
  k = 0;
  for (int j = 0; j < s; ++j) {
    list[k++] = EntrySrc{e_key(n.p, j), e_klen(n.p, j), e_data(n.p, j), leaf ? 0 : e_child(n.p, j)};
  }
  if (!nd_build(t.cmp, n.p, t.B, list, k)) {
    set_err(kCbErrDamagedNode, kStepMoveEntries);
    return -1;
  }
  n.dirty();
  if (leaf) pos_moved(t.tf, blk, s, cnt - s, sib, 0);
  return 1;
}

// When the chosen half cannot take the new entry (long keys), the node is cut again at
// the entry's place and, if need be, the entry gets a node of its own.
int split_fallback(Tree& t, uint32_t blk, uint32_t sib, uint32_t level, const KeyDesc& kd,
                   uint32_t target, int ti) {
  uint32_t x = 0, y = 0;
  bool leaf, front;
  int tcount;
  {
    NodeRef tn;
    if (!tn.get_level(t, target, level, kStepMoveEntries)) return -1;
    leaf = nd_leaf(tn.p);
    tcount = nd_count(tn.p);
  }
  front = leaf ? ti == 0 : ti < 0;
  if (front && target != blk) {
    x = blk;
    y = target;
  } else if (front) {
    if (!leaf) {
      set_err(kCbErrDamagedTree, kStepMoveEntries);
      return -1;
    }
    uint32_t s2;
    if (make_sibling(t, target, level, &s2) != 1 || move_tail(t, target, s2, level, 0) != 1) return -1;
    int r = place(t, target, level, kd, 0);
    if (r == 1) return 1;
    if (r == 0) set_err(kCbErrDamagedTree, kStepMoveEntries);
    return -1;
  } else if (ti < tcount) {
    uint32_t s2;
    if (make_sibling(t, target, level, &s2) != 1 || move_tail(t, target, s2, level, ti) != 1) return -1;
    x = target;
    y = s2;
  } else {
    x = target;
    y = target == blk ? sib : 0;
  }
  int xcount;
  {
    NodeRef xn;
    if (!xn.get_level(t, x, level, kStepMoveEntries)) return -1;
    xcount = nd_count(xn.p);
  }
  int r = place(t, x, level, kd, xcount < 0 ? -1 : xcount);
  if (r != 0) return r;
  if (y != 0) {
    r = place(t, y, level, kd, leaf ? 0 : -1);
    if (r != 0) return r;
  }
  uint32_t z;
  if (make_sibling(t, x, level, &z) != 1) return -1;
  r = place(t, z, level, kd, leaf ? 0 : -1);
  if (r == 0) {
    set_err(kCbErrDamagedTree, kStepMoveEntries);
    return -1;
  }
  return r;
}

// Splits node `blk` for the new entry at index i at the most balanced point.
int split(Tree& t, uint32_t blk, uint32_t level, const KeyDesc& kd, int i) {
  int n, s;
  bool leaf, case_a;
  {
    NodeRef nr;
    if (!nr.get_level(t, blk, level, kStepMoveEntries)) return -1;
    const uint8_t* p = nr.p;
    n = nd_count(p);
    leaf = nd_leaf(p);
    const int slot = leaf ? kLeafSlot : kInnerSlot;
    const int room = t.B - kNodeHead;
    const bool eq_prev = i > 0 && key_eq(t.cmp, kd.key, kd.len, p, i - 1);
    const bool eq_next = i < n && key_eq(t.cmp, kd.key, kd.len, p, i);
    int L = nd_size(p, 0, i - 1);
    int R = leaf ? nd_size(p, i, n - 1) : nd_size(p, i + 1, n - 1);
    if (L <= R) {
      case_a = L + slot + (eq_prev ? 0 : kd.len) >= room;
    } else {
      case_a = true;
    }
    s = i;
    if (case_a) {
      // The new entry goes right; entries before it follow while that balances better.
      int Rp = nd_size(p, i, n - 1) + (leaf ? kLeafSlot + (eq_next ? 0 : kd.len) : 0);
      while (L > Rp && s > 1) {
        int m = nd_size(p, s - 1, s - 1);
        if (Rp + m >= room) break;
        if (std::abs(L - Rp) <= std::abs(L - (Rp + m))) break;
        --s;
        Rp += m;
        L = nd_size(p, 0, s - 1);
      }
    } else {
      // The new entry stays; entries after it stay too while that balances better.
      int Lp = nd_size(p, 0, i - 1) + kLeafSlot + (eq_prev ? 0 : kd.len);
      while (Lp < R && s < n) {
        int m = nd_size(p, s, s);
        if (Lp + m >= room) break;
        if (std::abs(R - Lp) <= std::abs(R - (Lp + m))) break;
        ++s;
        Lp += m;
        R = leaf ? nd_size(p, s, n - 1) : nd_size(p, s + 1, n - 1);
      }
    }
  }
  // Neither half may be left without entries.
  if (leaf && case_a && s == 0) case_a = false;
  if (!case_a && s == n) case_a = true;

  uint32_t sib;
  if (make_sibling(t, blk, level, &sib) != 1 || move_tail(t, blk, sib, level, s) != 1) return -1;
  uint32_t target = case_a ? sib : blk;
  int ti = case_a ? (leaf ? i - s : i - s - 1) : i;
  int r = place(t, target, level, kd, ti);
  if (r < 0) return -1;
  if (r == 0) {
    ++cb_stats().split_extra;
    if (split_fallback(t, blk, sib, level, kd, target, ti) != 1) return -1;
  } else {
    ++(case_a ? cb_stats().split_right : cb_stats().split_left);
  }
  return kInsSplit;
}

// Whether a leaf holds a key equal to kd's next to where kd goes (also across leaves).
int is_dup(Tree& t, const NodeRef& n, const KeyDesc& kd, int idx, bool* dup) {
  const int cnt = nd_count(n.p);
  *dup = (idx < cnt && key_eq(t.cmp, kd.key, kd.len, n.p, idx)) ||
         (idx > 0 && key_eq(t.cmp, kd.key, kd.len, n.p, idx - 1));
  if (*dup) return 1;
  if (idx >= cnt && nd_right(n.p) != 0) {
    NodeRef r;
    if (!r.get_level(t, nd_right(n.p), 1, kStepInsertNode)) return -1;
    *dup = nd_count(r.p) > 0 && key_eq(t.cmp, kd.key, kd.len, r.p, 0);
  } else if (idx == 0 && nd_left(n.p) != 0) {
    NodeRef l;
    if (!l.get_level(t, nd_left(n.p), 1, kStepInsertNode)) return -1;
    *dup = nd_count(l.p) > 0 && key_eq(t.cmp, kd.key, kd.len, l.p, nd_count(l.p) - 1);
  }
  return 1;
}

// Whether leaf `sib` may have room at index 0 for an entry with a key of `len` bytes; false
// only when its noted fill rules that out. The key shares the bytes of the sibling's first
// key only when the two are equal, which under the default order needs equal lengths.
bool sibling_may_take(const Tree& t, uint32_t sib, int len) {
  NodeFill f;
  if (!fill_known(t.tf, sib, &f)) return true;
  const bool may_share = t.cmp != cb_default_compare || f.first_len == len;
  return kLeafSlot + (may_share ? 0 : len) <= t.B - f.used;
}

// Shifts entries of `blk` into its right sibling `rb` (same parent), from the last down to
// the insertion index, until the new entry fits; the new entry itself may go there too.
int shift_right(Tree& t, uint32_t blk, uint32_t rb, uint32_t level, const KeyDesc& kd, int idx,
                bool* moved, bool* placed) {
  NodeRef n, r;
  if (!n.get_level(t, blk, level, kStepShiftRight) || !r.get_level(t, rb, level, kStepShiftRight)) return -1;
  const bool leaf = nd_leaf(n.p);
  int j = nd_count(n.p) - 1;
  while (j >= idx && j >= 0) {
    if (leaf) {
      if (!nd_fits(t.cmp, r.p, t.B, 0, e_key(n.p, j), e_klen(n.p, j))) break;
      KeyDesc e;
      e.key = e_key(n.p, j);
      e.len = e_klen(n.p, j);
      e.data = e_data(n.p, j);
      nd_insert(t.cmp, r.p, t.B, 0, e);
      pos_inserted(t.tf, rb, 0);
      pos_moved(t.tf, blk, j, 1, rb, 0);
    } else {
      int rc = push_low(t, r, level, e_child(n.p, j), kStepShiftRight);
      if (rc < 0) return -1;
      if (rc == 0) break;
    }
    r.dirty();
    nd_remove(n.p, t.B, j);
    n.dirty();
    *moved = true;
    --j;
    if (nd_fits(t.cmp, n.p, t.B, idx, kd.key, kd.len)) {
      nd_insert(t.cmp, n.p, t.B, idx, kd);
      if (leaf) pos_inserted(t.tf, blk, idx);
      *placed = true;
      return 1;
    }
  }
  if (j < idx) {  // everything from the insertion index on went right: try the entry too
    if (leaf) {
      if (nd_fits(t.cmp, r.p, t.B, 0, kd.key, kd.len)) {
        nd_insert(t.cmp, r.p, t.B, 0, kd);
        pos_inserted(t.tf, rb, 0);
        r.dirty();
        *placed = true;
      }
    } else {
      int rc = push_low(t, r, level, kd.child, kStepShiftRight);
      if (rc < 0) return -1;
      if (rc == 1) *placed = true;
    }
  }
  return 1;
}

// Shifts the first entries of `blk` to the end of its left sibling `lb` until the new
// entry fits; at index 0 the new entry itself may go there. *idx follows the moves (-1 in
// an inner node: the new entry comes before the low child).
int shift_left(Tree& t, uint32_t blk, uint32_t lb, uint32_t level, const KeyDesc& kd, int* idx,
               bool* moved, bool* placed) {
  NodeRef n, a;
  if (!n.get_level(t, blk, level, kStepShiftLeft) || !a.get_level(t, lb, level, kStepShiftLeft)) return -1;
  const bool leaf = nd_leaf(n.p);
  Scratch key;
  if (key.p == nullptr) {
    set_err(kCbErrMemory, kStepShiftLeft);
    return -1;
  }
  for (;;) {
    const int acount = nd_count(a.p) < 0 ? 0 : nd_count(a.p);
    if (leaf ? *idx == 0 : *idx < 0) {
      if (!leaf && nd_count(a.p) < 0) {
        nd_insert(t.cmp, a.p, t.B, 0, kd);
        a.dirty();
        *placed = true;
      } else if (nd_fits(t.cmp, a.p, t.B, acount, kd.key, kd.len)) {
        nd_insert(t.cmp, a.p, t.B, acount, kd);
        a.dirty();
        *placed = true;
      }
      return 1;
    }
    if (leaf) {
      if (nd_count(n.p) < 1 || !nd_fits(t.cmp, a.p, t.B, acount, e_key(n.p, 0), e_klen(n.p, 0))) return 1;
      KeyDesc e;
      e.key = e_key(n.p, 0);
      e.len = e_klen(n.p, 0);
      e.data = e_data(n.p, 0);
      nd_insert(t.cmp, a.p, t.B, acount, e);
      pos_moved(t.tf, blk, 0, 1, lb, acount);
      nd_remove(n.p, t.B, 0);
    } else {
      if (nd_count(n.p) < 0) return 1;
      KeyDesc e;
      if (first_entry(t, nd_low(n.p), level - 1, key.p, &e.len, &e.data, kStepShiftLeft) != 1) return -1;
      e.key = key.p;
      e.child = nd_low(n.p);
      if (nd_count(a.p) >= 0 && !nd_fits(t.cmp, a.p, t.B, acount, e.key, e.len)) return 1;
      nd_insert(t.cmp, a.p, t.B, nd_count(a.p) < 0 ? 0 : acount, e);
      nd_remove(n.p, t.B, -1);
    }
    a.dirty();
    n.dirty();
    *moved = true;
    --*idx;
    if (!leaf && nd_count(n.p) < 0) {  // emptied: the new entry becomes its low child
      nd_insert(t.cmp, n.p, t.B, 0, kd);
      *placed = true;
      return 1;
    }
    if ((leaf || *idx >= 0) && nd_fits(t.cmp, n.p, t.B, *idx, kd.key, kd.len)) {
      nd_insert(t.cmp, n.p, t.B, *idx, kd);
      if (leaf) pos_inserted(t.tf, blk, *idx);
      *placed = true;
      return 1;
    }
  }
}

// After a shift, the parent lists the changed nodes again with their new first entries,
// left to right. When every one fits where it belongs, this is all the parent's repair
// would do; otherwise nothing is added here and the repair does the whole work.
// 1 done, 0 left to the repair, -1 error.
int relist(Tree& t, uint32_t parent, uint32_t plevel, const uint32_t* blks, int n) {
  NodeRef p;
  if (!p.get_level(t, parent, plevel, kStepAddChildren)) return -1;
  Scratch key0, key1;
  if (key0.p == nullptr || key1.p == nullptr) return 0;
  KeyDesc added[2];
  int done = 0;
  for (int k = 0; k < n; ++k) {
    KeyDesc kd;
    uint8_t* buf = k == 0 ? key0.p : key1.p;
    if (first_entry(t, blks[k], plevel - 1, buf, &kd.len, &kd.data, kStepAddChildren) != 1) return -1;
    kd.key = buf;
    kd.child = blks[k];
    int idx;
    if (locate(t.cmp, p.p, kd, &idx) == 0 || idx == 0 || !nd_fits(t.cmp, p.p, t.B, idx, kd.key, kd.len)) break;
    nd_insert(t.cmp, p.p, t.B, idx, kd);
    p.dirty();
    added[done++] = kd;
  }
  if (done == n) return 1;
  while (done > 0) {  // back to what the repair expects
    int idx;
    if (locate(t.cmp, p.p, added[--done], &idx) == 0) nd_remove(p.p, t.B, idx);
  }
  return 0;
}

// The insertion of one entry into one node goes through up to four phases: in place, shift
// to the siblings, place after the shift, split. Each phase answers a kIns code when the
// entry is in, 0 when the next phase must go on, -1 on failure (cb_errcode set).

// Where the entry goes in the node and what the phases after the first need of it.
struct InsPoint {
  KeyDesc kd;     // the entry to place; may become the old low child's entry
  int idx = 0;    // its position in the node (-1: in front of the low child, after a left shift)
  bool leaf = false;
};

// The siblings a shift moved entries into, and whether the new entry went with them.
struct ShiftResult {
  bool moved = false;   // entries of the node went into a sibling
  bool placed = false;  // the new entry itself went into a sibling
  uint32_t unlisted[2];  // blocks whose parent entries the shifts removed, left to right
  int nunlisted = 0;
};

// Phase 1: the entry goes into the node as it is. Refuses an entry that exists already (or
// a duplicate key where dups are not allowed); below a branch's low child the new entry may
// take the low path, and the old low child's entry is the one to place then.
int insert_in_place(Tree& t, uint32_t blk, uint32_t level, InsPoint& ip, Scratch& low_key) {
  NodeRef n;
  if (!n.get_level(t, blk, level, kStepInsertNode)) {
    CB_TRACE(kModule, "cbinsert (B_ins_node): get_blk failed");
    return -1;
  }
  KeyDesc& kd = ip.kd;
  ip.leaf = nd_leaf(n.p);
  if (locate(t.cmp, n.p, kd, &ip.idx) == 0) {
    CB_TRACE(kModule, "cbinsert (B_ins_node): key and data exist already");
    set_err(kCbErrExists, kStepInsertNode);
    return -1;
  }
  if (!ip.leaf && ip.idx == 0 && nd_count(n.p) >= 0) {
    // Below the low child's first entry, the new entry becomes the low path.
    KeyDesc f;
    if (first_entry(t, nd_low(n.p), level - 1, low_key.p, &f.len, &f.data, kStepInsertNode) != 1) return -1;
    f.key = low_key.p;
    int c = key_cmp(t.cmp, kd.key, kd.len, f.key, f.len);
    if (c == 0) c = kd.data < f.data ? -1 : (kd.data > f.data ? 1 : 0);
    if (c == 0) {
      CB_TRACE(kModule, "cbinsert (B_ins_node): key and data exist already");
      set_err(kCbErrExists, kStepInsertNode);
      return -1;
    }
    if (c < 0) {
      f.child = nd_low(n.p);
      nd_set_low(n.p, kd.child);
      n.dirty();
      kd = f;  // the old low child is the entry to add now
    }
  }
  if (ip.leaf && kd.dups == 0) {
    bool dup;
    if (is_dup(t, n, kd, ip.idx, &dup) != 1) return -1;
    if (dup) {
      CB_TRACE(kModule, "cbinsert (B_is_dup_error): duplicate key");
      set_err(kCbErrDuplicate, kStepInsertNode);
      return -1;
    }
  }
  if (!nd_fits(t.cmp, n.p, t.B, ip.idx, kd.key, kd.len)) return 0;
  nd_insert(t.cmp, n.p, t.B, ip.idx, kd);
  n.dirty();
  if (ip.leaf) pos_inserted(t.tf, blk, ip.idx);
  return kInsDone;
}

// Phase 2: a full node listed by its parent gives entries to its right, then its left
// sibling (only siblings under the same parent). Entries that moved changed a sibling's
// first entry, so the parent's entries for the shifted nodes are removed (unlisted).
// 1 done (whatever moved), -1 failure.
int shift_to_siblings(Tree& t, uint32_t blk, uint32_t level, uint32_t parent, int pidx,
                      InsPoint& ip, ShiftResult& sr) {
  uint32_t lsib = 0, rsib = 0;
  bool ok;
  bool listed = listed_at(t, parent, level + 1, pidx, blk, &lsib, &rsib, &ok);
  if (!ok) return -1;
  if (!listed) return 1;
  if (rsib != 0) {
    NodeRef n;
    if (!n.get_level(t, blk, level, kStepShiftRight)) return -1;
    if (nd_right(n.p) != rsib) {
      rsib = 0;
    } else if (ip.leaf) {
      // The first entry the shift would offer the sibling: the node's last one, or the new
      // entry when it goes at the end. A sibling too full for it leaves the shift a no-op.
      const int cnt = nd_count(n.p);
      if (!sibling_may_take(t, rsib, ip.idx < cnt ? e_klen(n.p, cnt - 1) : ip.kd.len)) rsib = 0;
    }
  }
  if (lsib != 0) {
    NodeRef n;
    if (!n.get_level(t, blk, level, kStepShiftLeft)) return -1;
    if (nd_left(n.p) != lsib) lsib = 0;
  }
  if (rsib != 0) {
    bool m = false;
    if (shift_right(t, blk, rsib, level, ip.kd, ip.idx, &m, &sr.placed) != 1) {
      CB_TRACE(kModule, "cbinsert (B_shift_right): failed");
      return -1;
    }
    sr.moved = m;
    // Any move, or the new entry going there, changed the sibling's first entry.
    if (m || sr.placed) {
      ++cb_stats().shift_right;
      if (unlist(t, parent, level + 1, pidx + 1, rsib) != 1) return -1;
      sr.unlisted[sr.nunlisted++] = rsib;
    }
  }
  if (!sr.placed && lsib != 0) {
    bool m = false;
    if (shift_left(t, blk, lsib, level, ip.kd, &ip.idx, &m, &sr.placed) != 1) {
      CB_TRACE(kModule, "cbinsert (B_shift_left): failed");
      return -1;
    }
    if (m || sr.placed) {
      ++cb_stats().shift_left;
      if (unlist(t, parent, level + 1, pidx, blk) != 1) return -1;
      sr.unlisted[1] = sr.nunlisted == 1 ? sr.unlisted[0] : 0;
      sr.unlisted[0] = blk;
      ++sr.nunlisted;
    }
    sr.moved = sr.moved || m;
  }
  return 1;
}

// Phase 3: after a shift that did not take the new entry, it goes into the node if the room
// made is enough. A left shift may have left it in front of the low child (idx -1): it
// becomes the low child then, and the old low child's entry the one to place.
int place_after_shift(Tree& t, uint32_t blk, uint32_t level, InsPoint& ip, Scratch& low_key,
                      bool moved) {
  NodeRef n;
  if (!n.get_level(t, blk, level, kStepInsertNode)) return -1;
  KeyDesc& kd = ip.kd;
  if (!ip.leaf && ip.idx < 0) {
    int rc = push_low(t, n, level, kd.child, kStepInsertNode);
    if (rc < 0) return -1;
    if (rc == 1) return moved ? kInsShifted : kInsDone;
    // The old low child's entry does not fit: it is the entry to place now.
    KeyDesc f;
    if (first_entry(t, nd_low(n.p), level - 1, low_key.p, &f.len, &f.data, kStepInsertNode) != 1) return -1;
    f.key = low_key.p;
    f.child = nd_low(n.p);
    nd_set_low(n.p, kd.child);
    n.dirty();
    kd = f;
    ip.idx = 0;
  }
  if (!nd_fits(t.cmp, n.p, t.B, ip.idx, kd.key, kd.len)) return 0;
  nd_insert(t.cmp, n.p, t.B, ip.idx, kd);
  n.dirty();
  if (ip.leaf) pos_inserted(t.tf, blk, ip.idx);
  return moved ? kInsShifted : kInsDone;
}

// B_ins_node: inserts kd into node `blk` at `level`, whose parent lists it at pidx.
// `relist_ok`: after a shift the parent may list the shifted nodes again itself (not while
// a repair walk is under way, which may still change the sibling it shifted into).
int ins_node(Tree& t, uint32_t blk, uint32_t level, KeyDesc kd, uint32_t parent, int pidx,
             bool relist_ok) {
  Scratch low_key;
  if (low_key.p == nullptr) {
    set_err(kCbErrMemory, kStepInsertNode);
    return -1;
  }
  InsPoint ip;
  ip.kd = kd;
  int rc = insert_in_place(t, blk, level, ip, low_key);
  if (rc != 0) return rc;

  ShiftResult sr;
  if (shift_to_siblings(t, blk, level, parent, pidx, ip, sr) != 1) return -1;
  // The shifted nodes can often be listed again at once; then the parent has nothing to do.
  auto shifted = [&](int code) {
    if (!relist_ok || (code != kInsShifted && code != kInsShiftedNew)) return code;
    int r = relist(t, parent, level + 1, sr.unlisted, sr.nunlisted);
    return r < 0 ? -1 : (r == 1 ? kInsDone : code);
  };
  if (sr.placed) return shifted(kInsShiftedNew);

  rc = place_after_shift(t, blk, level, ip, low_key, sr.moved);
  if (rc != 0) return rc < 0 ? rc : shifted(rc);

  if (split(t, blk, level, ip.kd, ip.idx) != kInsSplit) {
    CB_TRACE(kModule, "cbinsert (B_split): failed");
    return -1;
  }
  return kInsSplit;
}

// Finds the entry for `child` (key and data kd) from node `start` on: the node itself,
// the next few to the right (splits and shifts put it there), or the left sibling.
int find_listing(Tree& t, uint32_t start, uint32_t level, const KeyDesc& kd, uint32_t child,
                 uint32_t* node, int* pos) {
  // 1 found, 0 not in this node, -1 error; *next is the node's right sibling.
  auto look = [&](uint32_t cand, uint32_t* next, uint32_t* left) -> int {
    NodeRef x;
    if (!x.get_level(t, cand, level, kStepAddChildren)) return -1;
    *next = nd_right(x.p);
    *left = nd_left(x.p);
    if (nd_count(x.p) >= 0 && nd_low(x.p) == child) {
      *node = cand;
      *pos = -1;
      return 1;
    }
    int i;
    if (locate(t.cmp, x.p, kd, &i) == 0 && e_child(x.p, i) == child) {
      *node = cand;
      *pos = i;
      return 1;
    }
    return 0;
  };
  uint32_t cand = start, next = 0, left = 0, first_left = 0;
  for (int hop = 0; hop < 5 && cand != 0; ++hop) {
    int r = look(cand, &next, &left);
    if (r != 0) return r;
    if (hop == 0) first_left = left;
    cand = next;
  }
  if (first_left != 0) {
    int r = look(first_left, &next, &left);
    if (r != 0) return r;
  }
  CB_TRACE(kModule, "cbinsert (add_children): entry for block %u not found", child);
  set_err(kCbErrDamagedTree, kStepAddChildren);
  return -1;
}

// add_children: after child `nchild` (index j of P, -1 the low) reported 2, 4 or 5,
// lists in P every block of the child level between the child before it and the next
// block P still lists. Returns 1 or the last 2, 4 or 5 of P itself.
int add_children(Tree& t, uint32_t P, uint32_t level, uint32_t G, int gidx, int j, uint32_t nchild) {
  Scratch key;
  if (key.p == nullptr) {
    set_err(kCbErrMemory, kStepAddChildren);
    return -1;
  }
  uint32_t pcur = P;
  int pos = j >= 0 ? j - 1 : -1;
  uint32_t cur;
  {
    NodeRef p;
    if (!p.get_level(t, P, level, kStepAddChildren)) return -1;
    if (pos >= nd_count(p.p)) pos = nd_count(p.p) - 1;
    cur = nd_child(p.p, pos);
  }
  int rc = kInsDone;
  for (uint64_t steps = 0;; ++steps) {
    if (steps > static_cast<uint64_t>(t.tf->last_blk) + 1) {
      CB_TRACE(kModule, "cbinsert (add_children): level chain does not end");
      set_err(kCbErrDamagedTree, kStepAddChildren);
      return -1;
    }
    uint32_t nxt;
    {
      NodeRef c;
      if (!c.get_level(t, cur, level - 1, kStepAddChildren)) return -1;
      nxt = nd_right(c.p);
    }
    if (nxt == 0) break;
    bool listed;
    bool next_parent = false;
    {
      NodeRef p;
      if (!p.get_level(t, pcur, level, kStepAddChildren)) return -1;
      const int cnt = nd_count(p.p);
      if (pos + 1 < cnt) {
        listed = e_child(p.p, pos + 1) == nxt;
      } else {
        listed = false;
        uint32_t r = nd_right(p.p);
        if (r != 0) {
          NodeRef rr;
          if (!rr.get_level(t, r, level, kStepAddChildren)) return -1;
          listed = nd_count(rr.p) >= 0 && nd_low(rr.p) == nxt;
          next_parent = listed;
          if (listed && nxt == nchild) pcur = r;
        }
      }
    }
    if (listed) {
      if (nxt != nchild) break;
      if (next_parent) {
        pos = -1;
      } else {
        ++pos;
      }
      cur = nxt;
      continue;
    }
    KeyDesc kd;
    if (first_entry(t, nxt, level - 1, key.p, &kd.len, &kd.data, kStepAddChildren) != 1) {
      CB_TRACE(kModule, "cbinsert (add_children): B_add_low_key failed");
      return -1;
    }
    kd.key = key.p;
    kd.child = nxt;
    const bool own = pcur == P;
    int r = ins_node(t, pcur, level, kd, own ? G : 0, own ? gidx : -1);
    if (r < 0) {
      CB_TRACE(kModule, "cbinsert (add_children): B_add_low_key failed");
      return -1;
    }
    if (r != kInsDone) rc = r;
    if (find_listing(t, pcur, level, kd, nxt, &pcur, &pos) != 1) return -1;
    cur = nxt;
  }
  return rc;
}

int ins_subtree(Tree& t, uint32_t blk, uint32_t level, uint32_t parent, int pidx, const KeyDesc& kd) {
  uint32_t child;
  int j;
  {
    NodeRef n;
    if (!n.get_level(t, blk, level, kStepDescent)) {
      CB_TRACE(kModule, "cbinsert (ins_subtree): B_loc_subtree failed");
      return -1;
    }
    if (nd_count(n.p) < 0) {
      if (parent == 0) {
        CB_TRACE(kModule, "cbinsert : low_path = unused ");
      } else {
        CB_TRACE(kModule, "cbinsert (ins_subtree): low_path = UNUNSED ");
      }
      set_err(kCbErrNoLowPath, parent == 0 ? kStepInsertTree : kStepDescent);
      return -1;
    }
    int i;
    int r = locate(t.cmp, n.p, kd, &i);
    j = r == 0 ? i : i - 1;
    child = nd_child(n.p, j);
  }
  int rc = level == 2 ? ins_node(t, child, 1, kd, blk, j, true)
                      : ins_subtree(t, child, level - 1, blk, j, kd);
  if (rc < 0) return -1;
  if (rc == kInsDone) return kInsDone;
  return add_children(t, blk, level, parent, pidx, j, child);
}

// B_make_root: a new root above the old one, listing the old root and its right siblings.
int make_root(Tree& t) {
  TreeFile* tf = t.tf;
  const uint32_t old = tf->root;
  const uint32_t level = tf->height + 1;
  if (level > kMaxHeight) {
    CB_TRACE(kModule, "cbinsert (B_make_root): tree too high");
    set_err(kCbErrDamagedTree, kStepMakeRoot);
    return -1;
  }
  uint32_t nb;
  uint8_t* q = alloc_blk(tf, &nb);
  if (q == nullptr) {
    CB_TRACE(kModule, "cbinsert (B_make_root): new block failed");
    cb_concode = kStepMakeRoot;
    return -1;
  }
  {
    NodeRef r;
    r.adopt(t, nb, q);
    nd_init(q, t.B, false);
    nd_set_low(q, old);
    nd_set_count(q, 0);
    blk_set_checked(q, true);
    r.dirty();
  }
  tf->root = nb;
  tf->height = level;
  ++cb_stats().roots_made;
  if (add_children(t, nb, level, 0, -1, -1, old) < 0) {
    CB_TRACE(kModule, "cbinsert (B_make_root): add_children failed");
    return -1;
  }
  return 1;
}

}  // namespace

int insert_entry(Tree& t, const KeyDesc& kd) {
  TreeFile* tf = t.tf;
  int rc;
  if (tf->root == 0) {
    uint32_t nb;
    uint8_t* q = alloc_blk(tf, &nb);
    if (q == nullptr) {
      CB_TRACE(kModule, "cbinsert : first_leaf = NULL");
      return -1;
    }
    NodeRef n;
    n.adopt(t, nb, q);
    nd_init(q, t.B, true);
    blk_set_checked(q, true);
    n.dirty();
    if (n.release() != 1) {
      CB_TRACE(kModule, "cbinsert : put_blk failed");
      set_err(kCbErrPutBlk, kStepInsertTree);
      return -1;
    }
    tf->root = tf->first_leaf = tf->last_leaf = nb;
    tf->height = 1;
    rc = ins_node(t, nb, 1, kd, 0, -1);
  } else if (tf->height == 1) {
    rc = ins_node(t, tf->root, 1, kd, 0, -1);
  } else {
    if (tf->height > kMaxHeight) {
      CB_TRACE(kModule, "cbinsert : height %u", tf->height);
      set_err(kCbErrDamagedTree, kStepInsertTree);
      return -1;
    }
    rc = ins_subtree(t, tf->root, tf->height, 0, -1, kd);
  }
  if (rc < 0) return -1;
  // A root with a right sibling has split: new roots until one stands alone.
  while (rc != kInsDone) {
    uint32_t right;
    {
      NodeRef r;
      if (!r.get_level(t, tf->root, tf->height, kStepMakeRoot)) return -1;
      right = nd_right(r.p);
    }
    if (right == 0) break;
    if (make_root(t) != 1) return -1;
  }
  return 1;
}

int cbinsert(CbCursor* c, const void* key, int len, int32_t data, int dups) {
  if (!cursor_writable(c, kOpInsert) || len < 0 || (key == nullptr && len > 0) || len > max_key_len(c)) {
    CB_TRACE(kModule, "cbinsert : not valid !");
    return -1;
  }
  Tree t(c);
  KeyDesc kd;
  kd.key = static_cast<const uint8_t*>(key);
  kd.len = len;
  kd.data = data;
  kd.dups = dups;
  return insert_entry(t, kd);
}

}  // namespace kyt
