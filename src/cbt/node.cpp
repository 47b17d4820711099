// node: node format, comparison, search, entry insertion and removal, node check,
// descent, and the cursor operations of the B-tree layer.
#include "cbt/node.h"

#include <bit>

#include "cbt/cberr.h"

namespace kyt {

namespace {

constexpr const char* kModule = "node";

inline int default_cmp(const uint8_t* a, int la, const uint8_t* b, int lb) {
  if (la == 0) return lb == 0 ? 0 : -1;
  if (lb == 0) return 1;
  const int n = la < lb ? la : lb;
  int i = 0;
  // Eight bytes at a time, compared as big-endian words: the same order as byte by byte.
  for (; i + 8 <= n; i += 8) {
    uint64_t x, y;
    std::memcpy(&x, a + i, 8);
    std::memcpy(&y, b + i, 8);
    if (x != y) {
      if constexpr (std::endian::native == std::endian::little) {
        x = __builtin_bswap64(x);
        y = __builtin_bswap64(y);
      }
      return x < y ? -1 : 1;
    }
  }
  for (; i < n; ++i) {
    if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
  }
  return la == lb ? 0 : (la < lb ? -1 : 1);
}

void to_end(CbCursor* c) {
  c->state = -3;
  c->block = -1;
  c->index = -1;
}

void to_start(CbCursor* c) {
  c->state = -2;
  c->block = -1;
  c->index = -1;
}

// Data of the cursor's entry in the pinned leaf `n`; kCbErrPosition when the index is
// outside it.
int entry_data(CbCursor* c, const NodeRef& n, int32_t* data) {
  if (!nd_leaf(n.p)) {
    CB_TRACE(kModule, "node : cursor block %u is not a leaf", n.blk);
    set_err(kCbErrDamagedTree, kStepCursorEntry);
    return -1;
  }
  if (c->index < 0 || c->index >= nd_count(n.p)) {
    CB_TRACE(kModule, "node : index %d outside block %u", c->index, n.blk);
    set_err(kCbErrPosition, kStepCursorEntry);
    return -1;
  }
  if (data != nullptr) *data = e_data(n.p, c->index);
  return 1;
}

int cur_data(Tree& t, int32_t* data) {
  NodeRef n;
  if (t.c->block <= 0 || !n.get(t, static_cast<uint32_t>(t.c->block), kStepCursorEntry)) return -1;
  return entry_data(t.c, n, data);
}

int pos_last(Tree& t, int32_t* data) {
  CbCursor* c = t.c;
  if (t.tf->root == 0) {
    to_start(c);
    return -2;
  }
  NodeRef n;
  if (!n.get(t, t.tf->last_leaf, kStepCursorEntry)) return -1;
  c->state = 1;
  c->block = n.blk;
  c->index = nd_count(n.p) - 1;
  return entry_data(c, n, data);
}

// Puts the cursor on the first entry not below (key, data): 1, -3 when there is none.
int seek(Tree& t, const KeyDesc& k) {
  if (t.tf->root == 0) {
    to_end(t.c);
    return -3;
  }
  uint32_t leaf;
  int idx, res;
  if (find_leaf(t, k, &leaf, &idx, &res, kStepDescent) != 1) return -1;
  if (res != 1) {
    t.c->state = 1;
    t.c->block = leaf;
    t.c->index = idx;
    return 1;
  }
  NodeRef n;
  if (!n.get(t, leaf, kStepDescent)) return -1;
  uint32_t r = nd_right(n.p);
  if (r == 0) {
    to_end(t.c);
    return -3;
  }
  t.c->state = 1;
  t.c->block = r;
  t.c->index = 0;
  return 1;
}

bool key_ok(const void* key, int len) { return len >= 0 && (key != nullptr || len == 0); }

}  // namespace

// ---- comparison and search ----

int cb_default_compare(const void* a, int la, const void* b, int lb) {
  return default_cmp(static_cast<const uint8_t*>(a), la, static_cast<const uint8_t*>(b), lb);
}

int key_cmp(CbCompare cmp, const uint8_t* a, int la, const uint8_t* b, int lb) {
  if (cmp == cb_default_compare) return default_cmp(a, la, b, lb);
  int c = cmp(a, la, b, lb);
  return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

int entry_cmp(CbCompare cmp, const KeyDesc& k, const uint8_t* p, int i) {
  int c = key_cmp(cmp, k.key, k.len, e_key(p, i), e_klen(p, i));
  if (c != 0) return c;
  int32_t d = e_data(p, i);
  return k.data < d ? -1 : (k.data > d ? 1 : 0);
}

namespace {

// The binary search with the comparison inlined; Cmp gives -1, 0 or 1 for two keys.
template <typename Cmp>
inline int locate_with(Cmp cmp, const uint8_t* p, const KeyDesc& k, int* idx) {
  const int n = nd_count(p);
  if (n < 1) {
    *idx = 0;
    return 1;
  }
  const int slot = nd_slot(p);
  const uint8_t* e = p + kNodeHead;
  int lo = 0, hi = n - 1;
  while (lo <= hi) {
    const int mid = (lo + hi) / 2;
    const uint8_t* s = e + mid * slot;
    int c = cmp(k.key, k.len, p + rd32(s), static_cast<int>(rd32(s + 4)));
    if (c == 0) {
      const int32_t d = static_cast<int32_t>(rd32(s + 8));
      c = k.data < d ? -1 : (k.data > d ? 1 : 0);
      if (c == 0) {
        *idx = mid;
        return 0;
      }
    }
    if (c > 0) lo = mid + 1; else hi = mid - 1;
  }
  *idx = lo;
  return lo < n ? -1 : 1;
}

}  // namespace

int locate(CbCompare cmp, const uint8_t* p, const KeyDesc& k, int* idx) {
  if (cmp == cb_default_compare) return locate_with(default_cmp, p, k, idx);
  return locate_with(
      [cmp](const uint8_t* a, int la, const uint8_t* b, int lb) {
        int c = cmp(a, la, b, lb);
        return c < 0 ? -1 : (c > 0 ? 1 : 0);
      },
      p, k, idx);
}

// ---- node primitives ----

void nd_init(uint8_t* p, int B, bool leaf) {
  std::memset(p, 0, static_cast<size_t>(B));
  nd_set_low(p, leaf ? kLeafLow : 0);
  nd_set_count(p, leaf ? 0 : -1);
  nd_set_keystart(p, static_cast<uint32_t>(B));
}

namespace {

// Whether the keys of the m entries lie as they must: each entry shares the bytes of the
// one before it or starts where those end (the first at keystart), and the last ends at B.
// Sums are taken in 64 bits, so starts never fall and no key can run past the block
// without the last one ending beyond B. Each entry is compared with its predecessor alone:
// the loop carries no dependency from one entry to the next.
bool keys_packed(const uint8_t* p, int m, int slot, uint32_t ks, uint32_t B) {
  if (m == 0) return ks == B;
  const uint8_t* s = p + kNodeHead;
  uint64_t poff = rd32(s), plen = rd32(s + 4);
  bool bad = poff != ks;
  for (int i = 1; i < m; ++i) {
    s += slot;
    const uint64_t off = rd32(s), len = rd32(s + 4);
    bad |= (off != poff + plen) & ((off != poff) | (len != plen));
    poff = off;
    plen = len;
  }
  return !bad && poff + plen == B;
}

}  // namespace

bool nd_check(const uint8_t* p, int B, uint32_t last_blk, uint32_t self, const char** why) {
  const bool leaf = nd_leaf(p);
  const int slot = leaf ? kLeafSlot : kInnerSlot;
  const int n = nd_count(p);
  if (n < (leaf ? 0 : -1) || n > (B - kNodeHead) / slot) {
    *why = "entry count";
    return false;
  }
  const int m = n > 0 ? n : 0;
  const uint32_t ks = nd_keystart(p);
  if (ks < static_cast<uint32_t>(kNodeHead + m * slot) || ks > static_cast<uint32_t>(B)) {
    *why = "keystart";
    return false;
  }
  const uint32_t l = nd_left(p), r = nd_right(p);
  if (l > last_blk || r > last_blk || (l != 0 && l == self) || (r != 0 && r == self)) {
    *why = "sibling number";
    return false;
  }
  if (!leaf) {
    const uint32_t low = nd_low(p);
    if (n >= 0 ? (low == 0 || low > last_blk || low == self) : low > last_blk) {
      *why = "low child";
      return false;
    }
  }
  // A sound leaf passes the quick test; otherwise the walk below finds the first fault.
  if (leaf && keys_packed(p, m, slot, ks, static_cast<uint32_t>(B))) return true;
  uint32_t expect = ks, poff = 0, plen = 0;
  const uint8_t* s = p + kNodeHead;
  for (int i = 0; i < m; ++i, s += slot) {
    const uint32_t off = rd32(s), len = rd32(s + 4);
    if (!leaf) {
      const uint32_t ch = rd32(s + 12);
      if (ch == 0 || ch > last_blk || ch == self) {
        *why = "child number";
        return false;
      }
    }
    if (off == poff && len == plen && i > 0) continue;  // shares the previous key
    if (off != expect || len > static_cast<uint32_t>(B) - off) {
      *why = "key offset or length";
      return false;
    }
    expect = off + len;
    poff = off;
    plen = len;
  }
  if (expect != static_cast<uint32_t>(B)) {
    *why = "key bytes";
    return false;
  }
  return true;
}

namespace {

// Whether entries i and j of a node share their key bytes.
inline bool same_bytes(const uint8_t* p, int i, int j) {
  return e_koff(p, i) == e_koff(p, j) && e_klen(p, i) == e_klen(p, j);
}

// Entry whose key bytes a new key at index i takes over, or -1 when it needs its own. An
// equal neighbour's; and inside a run of shared bytes always the run's, which only a
// comparison that contradicts the file's order can ask for: the layout stays sound.
inline int share_with(CbCompare cmp, const uint8_t* p, int n, int i, const uint8_t* key, int len) {
  if (i < n && key_eq(cmp, key, len, p, i)) return i;
  if (i > 0 && i <= n && key_eq(cmp, key, len, p, i - 1)) return i - 1;
  if (i > 0 && i < n && same_bytes(p, i - 1, i)) return i;
  return -1;
}

}  // namespace

bool nd_fits(CbCompare cmp, const uint8_t* p, int B, int i, const uint8_t* key, int len) {
  (void)B;
  const bool leaf = nd_leaf(p);
  const int n = nd_count(p);
  if (leaf ? n == 0 : n < 0) return true;
  const int slot = leaf ? kLeafSlot : kInnerSlot;
  const int need = slot + (share_with(cmp, p, n, i, key, len) >= 0 ? 0 : len);
  return need <= static_cast<int>(nd_keystart(p)) - kNodeHead - n * slot;
}

void nd_insert(CbCompare cmp, uint8_t* p, int B, int i, const KeyDesc& k) {
  const bool leaf = nd_leaf(p);
  const int n = nd_count(p);
  if (!leaf && n < 0) {
    nd_set_low(p, k.child);
    nd_set_count(p, 0);
    return;
  }
  const int slot = leaf ? kLeafSlot : kInnerSlot;
  uint32_t off, klen;
  const int sh = share_with(cmp, p, n, i, k.key, k.len);
  if (sh >= 0) {
    off = e_koff(p, sh);
    klen = static_cast<uint32_t>(e_klen(p, sh));
  } else {
    // The key goes just below the bytes of the entry that will follow it; the bytes of the
    // entries before it (all below that point) move down.
    const uint32_t ks = nd_keystart(p);
    const uint32_t len = static_cast<uint32_t>(k.len);
    uint32_t bound = i < n ? e_koff(p, i) : static_cast<uint32_t>(B);
    if (bound < ks) bound = ks;
    std::memmove(p + ks - len, p + ks, bound - ks);
    for (int j = 0; j < i; ++j) {
      uint8_t* s = p + kNodeHead + j * slot;
      wr32(s, rd32(s) - len);
    }
    off = bound - len;
    klen = len;
    if (len > 0) std::memcpy(p + off, k.key, len);
    nd_set_keystart(p, ks - len);
  }
  uint8_t* s = p + kNodeHead + i * slot;
  std::memmove(s + slot, s, static_cast<size_t>((n - i) * slot));
  wr32(s, off);
  wr32(s + 4, klen);
  wr32(s + 8, static_cast<uint32_t>(k.data));
  if (!leaf) wr32(s + 12, k.child);
  nd_set_count(p, n + 1);
}

void nd_remove(uint8_t* p, int B, int i) {
  const bool leaf = nd_leaf(p);
  const int n = nd_count(p);
  if (!leaf && i < 0) {
    if (n <= 0) {
      nd_set_count(p, -1);
      return;
    }
    nd_set_low(p, e_child(p, 0));
    i = 0;
  }
  if (i < 0 || i >= n) return;
  const int slot = leaf ? kLeafSlot : kInnerSlot;
  const uint32_t off = e_koff(p, i), len = static_cast<uint32_t>(e_klen(p, i));
  const bool shared = (i > 0 && same_bytes(p, i - 1, i)) || (i + 1 < n && same_bytes(p, i + 1, i));
  uint8_t* s = p + kNodeHead + i * slot;
  std::memmove(s, s + slot, static_cast<size_t>((n - i - 1) * slot));
  std::memset(p + kNodeHead + (n - 1) * slot, 0, static_cast<size_t>(slot));
  nd_set_count(p, n - 1);
  const uint32_t ks = nd_keystart(p);
  if (shared || len == 0 || off < ks || off + len > static_cast<uint32_t>(B)) return;
  // The bytes below the removed key (those of the entries before it) move up over it.
  std::memmove(p + ks + len, p + ks, off - ks);
  std::memset(p + ks, 0, len);
  nd_set_keystart(p, ks + len);
  for (int j = 0; j < i; ++j) {
    uint8_t* q = p + kNodeHead + j * slot;
    wr32(q, rd32(q) + len);
  }
}

int nd_size(const uint8_t* p, int a, int b) {
  if (a > b) return 0;
  int s = (b - a + 1) * nd_slot(p);
  for (int j = a; j <= b; ++j) {
    if (j > a && e_koff(p, j) == e_koff(p, j - 1) && e_klen(p, j) == e_klen(p, j - 1)) continue;
    s += e_klen(p, j);
  }
  return s;
}

bool nd_build(CbCompare cmp, uint8_t* p, int B, const EntrySrc* list, int n) {
  const bool leaf = nd_leaf(p);
  const int slot = leaf ? kLeafSlot : kInnerSlot;
  int64_t bytes = 0;
  for (int j = 0; j < n; ++j) {
    if (j > 0 && key_cmp(cmp, list[j].key, list[j].len, list[j - 1].key, list[j - 1].len) == 0) continue;
    bytes += list[j].len;
  }
  if (kNodeHead + static_cast<int64_t>(n) * slot + bytes > B) return false;
  Scratch img;
  if (img.p == nullptr) return false;
  std::memcpy(img.p, p, static_cast<size_t>(B));
  auto src = [&](const uint8_t* k) {  // keys inside p are read from the copy
    return (k >= p && k < p + B) ? img.p + (k - p) : k;
  };
  std::memset(p + kNodeHead, 0, static_cast<size_t>(B - kNodeHead));
  uint32_t pos = static_cast<uint32_t>(B - bytes);
  nd_set_keystart(p, pos);
  uint32_t poff = 0, plen = 0;
  for (int j = 0; j < n; ++j) {
    uint8_t* s = p + kNodeHead + j * slot;
    uint32_t off, len;
    if (j > 0 && key_cmp(cmp, src(list[j].key), list[j].len, src(list[j - 1].key), list[j - 1].len) == 0) {
      off = poff;
      len = plen;
    } else {
      off = pos;
      len = static_cast<uint32_t>(list[j].len);
      if (len > 0) std::memcpy(p + off, src(list[j].key), len);
      pos += len;
    }
    wr32(s, off);
    wr32(s + 4, len);
    wr32(s + 8, static_cast<uint32_t>(list[j].data));
    if (!leaf) wr32(s + 12, list[j].child);
    poff = off;
    plen = len;
  }
  nd_set_count(p, n);
  return true;
}

// ---- pinned nodes ----

void fill_note(TreeFile* tf, uint32_t blk, const uint8_t* p) noexcept {
  const int B = static_cast<int>(tf->blksize);
  if (B > 0xFFFF) return;
  if (blk >= tf->fill.size()) {
    if (blk > tf->last_blk) return;
    // The table only saves reads: without memory for it, the block's fill stays unknown.
    try {
      tf->fill.resize(static_cast<size_t>(tf->last_blk) + 1 + tf->last_blk / 4);
    } catch (const std::bad_alloc&) {
      return;
    }
  }
  const int n = nd_count(p);
  tf->fill[blk] = NodeFill{static_cast<uint16_t>(nd_used(p, B)),
                           static_cast<uint16_t>(n > 0 ? e_klen(p, 0) : 0)};
}

bool NodeRef::get(Tree& t, uint32_t b, int step) {
  if (!get_raw(t, b, step)) return false;
  if (!blk_checked(p)) {
    ++cb_stats().node_checks;
    const char* why = "";
    if (!nd_check(p, t.B, t.tf->last_blk, b, &why)) {
      CB_TRACE(kModule, "node : block %u damaged (%s)", b, why);
      release();
      set_err(kCbErrDamagedNode, step);
      return false;
    }
    blk_set_checked(p, true);
    fill_note(t.tf, b, p);
  }
  return true;
}

bool NodeRef::get_level(Tree& t, uint32_t b, uint32_t level, int step) {
  if (!get(t, b, step)) return false;
  if (nd_leaf(p) != (level == 1)) {
    CB_TRACE(kModule, "node : block %u is on the wrong level (%u)", b, level);
    release();
    set_err(kCbErrDamagedTree, step);
    return false;
  }
  return true;
}

bool NodeRef::get_raw(Tree& t, uint32_t b, int step) {
  release();
  if (b == 0 || b > t.tf->last_blk) {
    CB_TRACE(kModule, "node : block %u out of range (last %u)", b, t.tf->last_blk);
    set_err(kCbErrDamagedTree, step);
    return false;
  }
  uint8_t* q = get_blk(t.tf->bf, b);
  if (q == nullptr) {
    CB_TRACE(kModule, "node : get_blk failed !");
    set_err(kCbErrGetBlk, step);
    return false;
  }
  adopt(t, b, q);
  return true;
}

void NodeRef::adopt(Tree& t, uint32_t b, uint8_t* q) {
  release();
  p = q;
  blk = b;
  tf_ = t.tf;
  dirty_ = false;
}

int NodeRef::release() {
  if (p == nullptr) return 1;
  if (dirty_ && blk_checked(p)) fill_note(tf_, blk, p);  // every change ends here
  int rc = dirty_ ? put_blk(tf_->bf, p, 0) : rlse_blk(tf_->bf, p);
  if (rc != 1) {
    CB_TRACE(kModule, "node : %s failed !", dirty_ ? "put_blk" : "rlse_blk");
    cb_errcode = dirty_ ? kCbErrPutBlk : kCbErrRlseBlk;
  }
  p = nullptr;
  dirty_ = false;
  return rc;
}

int NodeRef::free_block() {
  if (p == nullptr) return -1;
  uint8_t* q = p;
  p = nullptr;
  dirty_ = false;
  return free_blk(tf_, blk, q);
}

// ---- cursor positions ----

namespace {

template <typename F>
void each_position(TreeFile* tf, uint32_t blk, F f) {
  for (CbCursor* c = tf->cursors; c != nullptr; c = c->tree_next) {
    if (c->state == 1 && c->block == blk) f(c->state, c->block, c->index);
    if (c->saved_state == 1 && c->saved_block == blk) f(c->saved_state, c->saved_block, c->saved_index);
  }
}

}  // namespace

void pos_inserted(TreeFile* tf, uint32_t blk, int i, int n) {
  each_position(tf, blk, [&](int&, int64_t&, int& index) {
    if (index >= i) index += n;
  });
}

void pos_removed(TreeFile* tf, uint32_t blk, int i, int newcount, uint32_t right) {
  each_position(tf, blk, [&](int& state, int64_t& block, int& index) {
    if (index == newcount) {
      if (right != 0) {
        block = right;
        index = 0;
      } else {
        state = -3;
        block = -1;
        index = -1;
      }
    } else if (index > i) {
      --index;
    }
  });
}

void pos_moved(TreeFile* tf, uint32_t from, int lo, int n, uint32_t to, int to_lo) {
  each_position(tf, from, [&](int&, int64_t& block, int& index) {
    if (index >= lo && index < lo + n) {
      block = to;
      index = to_lo + (index - lo);
    } else if (index >= lo + n) {
      index -= n;
    }
  });
}

// ---- descent ----

int first_entry(Tree& t, uint32_t blk, uint32_t level, uint8_t* buf, int* len, int32_t* data,
                int step) {
  uint32_t b = blk;
  for (uint32_t lv = level;; --lv) {
    NodeRef n;
    if (lv == 0 || !n.get_level(t, b, lv, step)) {
      if (lv == 0) set_err(kCbErrDamagedTree, step);
      CB_TRACE(kModule, "B_get_low_path : get_blk failed !");
      return -1;
    }
    if (nd_leaf(n.p)) {
      if (nd_count(n.p) < 1) {
        CB_TRACE(kModule, "node : leaf %u is empty", b);
        set_err(kCbErrDamagedTree, step);
        return -1;
      }
      *len = e_klen(n.p, 0);
      std::memcpy(buf, e_key(n.p, 0), static_cast<size_t>(*len));
      *data = e_data(n.p, 0);
      return 1;
    }
    if (nd_count(n.p) < 0) {
      CB_TRACE(kModule, "B_get_low_path : node %u has no low path", b);
      set_err(kCbErrNoLowPath, step);
      return -1;
    }
    b = nd_low(n.p);
  }
}

int find_leaf(Tree& t, const KeyDesc& k, uint32_t* leaf, int* idx, int* res, int step) {
  uint32_t b = t.tf->root;
  uint32_t lv = t.tf->height;
  if (lv == 0 || lv > kMaxHeight) {
    CB_TRACE(kModule, "node : height %u out of range", lv);
    set_err(kCbErrDamagedTree, step);
    return -1;
  }
  for (;; --lv) {
    NodeRef n;
    if (!n.get_level(t, b, lv, step)) return -1;
    int i;
    int r = locate(t.cmp, n.p, k, &i);
    if (nd_leaf(n.p)) {
      *leaf = b;
      *idx = i;
      *res = r;
      return 1;
    }
    if (nd_count(n.p) < 0) {
      CB_TRACE(kModule, "node : inner node %u without low path", b);
      set_err(kCbErrNoLowPath, step);
      return -1;
    }
    b = nd_child(n.p, r == 0 ? i : i - 1);
  }
}

// ---- cursor operations ----

bool cursor_ok(CbCursor* c, int op) {
  cb_fcncode = op;
  if (!cursor_registered(c)) {
    CB_TRACE(kModule, "node : cursor not registered");
    set_err(kCbErrCursor, kStepRegistry);
    return false;
  }
  if (!treefile_registered(c->tf)) {
    CB_TRACE(kModule, "node : tree file not registered");
    set_err(kCbErrDescriptor, kStepRegistry);
    return false;
  }
  return true;
}

bool cursor_writable(CbCursor* c, int op) {
  if (!cursor_ok(c, op)) return false;
  if (bfile_readonly(c->tf->bf)) {
    set_err(kCbErrReadOnly, kStepRegistry);
    return false;
  }
  return true;
}

int max_key_len(const CbCursor* c) {
  int b = cb_buffer_size();
  int f = static_cast<int>(c->tf->blksize);
  return (b < f ? b : f) - 36;
}

int pos_next(Tree& t, int32_t* data) {
  CbCursor* c = t.c;
  if (c->state == -3) return -3;
  if (c->state != 1) {
    if (t.tf->root == 0 || t.tf->first_leaf == 0) {
      to_end(c);
      return -3;
    }
    NodeRef n;
    if (!n.get(t, t.tf->first_leaf, kStepCursorEntry)) return -1;
    c->state = 1;
    c->block = n.blk;
    c->index = 0;
    return entry_data(c, n, data);
  }
  NodeRef n;
  if (c->block <= 0 || !n.get(t, static_cast<uint32_t>(c->block), kStepCursorEntry)) return -1;
  if (c->index + 1 < nd_count(n.p)) {
    ++c->index;
    return entry_data(c, n, data);
  }
  uint32_t r = nd_right(n.p);
  if (r == 0) {
    to_end(c);
    return -3;
  }
  if (!n.get(t, r, kStepCursorEntry)) {
    c->block = r;
    c->index = 0;
    return -1;
  }
  c->block = r;
  c->index = 0;
  return entry_data(c, n, data);
}

int cbnext(CbCursor* c, int32_t* data) {
  if (!cursor_ok(c, kOpNext)) return -1;
  Tree t(c);
  return pos_next(t, data);
}

int cbprev(CbCursor* c, int32_t* data) {
  if (!cursor_ok(c, kOpPrev)) return -1;
  Tree t(c);
  if (c->state == -3) return pos_last(t, data);
  if (c->state != 1) return -2;
  NodeRef n;
  if (c->block <= 0 || !n.get(t, static_cast<uint32_t>(c->block), kStepCursorEntry)) return -1;
  if (c->index > 0) {
    --c->index;
    return entry_data(c, n, data);
  }
  uint32_t l = nd_left(n.p);
  if (l == 0) {
    to_start(c);
    return -2;
  }
  uint32_t from = n.blk;
  if (!n.get(t, l, kStepPrevLeaf)) {
    c->block = from;
    c->index = 0;
    return -1;
  }
  c->block = l;
  c->index = nd_count(n.p) - 1;
  return entry_data(c, n, data);
}

int cbtail(CbCursor* c, int32_t* data) {
  if (!cursor_ok(c, kOpTail)) return -1;
  Tree t(c);
  return pos_last(t, data);
}

int cbcurr(CbCursor* c, int32_t* data) {
  if (!cursor_ok(c, kOpCurr)) return -1;
  if (c->state != 1) return c->state;
  Tree t(c);
  return cur_data(t, data);
}

int cbkey(CbCursor* c, void* buf, int buflen) {
  if (!cursor_ok(c, kOpKey)) return -1;
  if (c->state != 1) return c->state;
  Tree t(c);
  NodeRef n;
  if (c->block <= 0 || !n.get(t, static_cast<uint32_t>(c->block), kStepCursorEntry)) return -1;
  if (entry_data(c, n, nullptr) != 1) return -1;
  int len = e_klen(n.p, c->index);
  if (buflen < 0) buflen = 0;
  int k = len < buflen ? len : buflen;
  if (k > 0) std::memcpy(buf, e_key(n.p, c->index), static_cast<size_t>(k));
  if (len < buflen) static_cast<uint8_t*>(buf)[len] = 0;
  return 1;
}

int cbkeylen(CbCursor* c, int* len) {
  if (!cursor_ok(c, kOpKeyLen)) return -1;
  if (c->state != 1) return c->state;
  Tree t(c);
  NodeRef n;
  if (c->block <= 0 || !n.get(t, static_cast<uint32_t>(c->block), kStepCursorEntry)) return -1;
  if (entry_data(c, n, nullptr) != 1) return -1;
  if (len != nullptr) *len = e_klen(n.p, c->index);
  return 1;
}

int cbfind(CbCursor* c, const void* key, int len, int32_t* data) {
  if (!cursor_ok(c, kOpFind)) return -1;
  if (!key_ok(key, len)) {
    CB_TRACE(kModule, "cbfind : not valid !");
    return -1;
  }
  Tree t(c);
  KeyDesc k;
  k.key = static_cast<const uint8_t*>(key);
  k.len = len;
  int r = seek(t, k);
  if (r != 1) return r;
  NodeRef n;
  if (!n.get(t, static_cast<uint32_t>(c->block), kStepCursorEntry) || entry_data(c, n, data) != 1) return -1;
  return key_eq(t.cmp, k.key, k.len, n.p, c->index) ? 2 : 3;
}

int cbfindrec(CbCursor* c, const void* key, int len, int32_t* data) {
  if (!cursor_ok(c, kOpFindRec)) return -1;
  if (!key_ok(key, len) || data == nullptr) {
    CB_TRACE(kModule, "cbfindrec : not valid !");
    return -1;
  }
  Tree t(c);
  KeyDesc k;
  k.key = static_cast<const uint8_t*>(key);
  k.len = len;
  k.data = *data;
  int r = seek(t, k);
  if (r != 1) return r;
  NodeRef n;
  if (!n.get(t, static_cast<uint32_t>(c->block), kStepCursorEntry) || entry_data(c, n, nullptr) != 1) return -1;
  int found = entry_cmp(t.cmp, k, n.p, c->index) == 0 ? 2 : 3;
  *data = e_data(n.p, c->index);
  return found;
}

int cbmark(CbCursor* c) {
  if (!cursor_ok(c, kOpMark)) return -1;
  c->saved_state = c->state;
  c->saved_block = c->block;
  c->saved_index = c->index;
  return 1;
}

int cbrestore(CbCursor* c, int32_t* data) {
  if (!cursor_ok(c, kOpRestore)) return -1;
  if (c->saved_state == -1) {
    CB_TRACE(kModule, "cbrestore : no saved position !");
    set_err(kCbErrNoMark, kStepRestore);
    return -1;
  }
  const int state = c->state, index = c->index;
  const int64_t block = c->block;
  c->state = c->saved_state;
  c->block = c->saved_block;
  c->index = c->saved_index;
  if (c->state != 1) return c->state;
  Tree t(c);
  if (cur_data(t, data) != 1) {
    c->state = state;
    c->block = block;
    c->index = index;
    return -1;
  }
  return 1;
}

int cbscan(CbCursor* c, int forward, CbVisit visit, void* ctx) {
  if (!cursor_ok(c, forward ? kOpNext : kOpPrev)) return -1;
  const int dir = forward ? 1 : -1;
  int32_t data = 0;
  // On an entry, the first move stays in its leaf if it can, under the pin of the walk;
  // otherwise (no entry yet, or the leaf's last one) it is an ordinary move.
  bool off_current = c->state == 1 && c->block > 0;
  int rc = off_current ? 1 : forward ? cbnext(c, &data) : cbprev(c, &data);
  while (rc == 1) {
    {
      Tree t(c);
      NodeRef n;
      if (!n.get(t, static_cast<uint32_t>(c->block), kStepCursorEntry)) return -1;
      const int count = nd_count(n.p);
      int i = c->index;
      if (off_current) {
        // A position the walk cannot take up is left to the ordinary move, which knows it.
        const bool usable = nd_leaf(n.p) && i >= 0 && i < count;
        i = usable ? i + dir : -1;
        off_current = false;
      } else if (entry_data(c, n, nullptr) != 1) {
        return -1;
      }
      for (; i >= 0 && i < count; i += dir) {
        c->index = i;
        const int later = i + dir * kCbAhead;
        const int32_t ahead = later >= 0 && later < count ? e_data(n.p, later) : 0;
        if (visit(ctx, e_key(n.p, i), e_klen(n.p, i), e_data(n.p, i), ahead) != 0) return 1;
      }
    }
    // On the leaf's last (first) entry: the ordinary move crosses to the next leaf.
    rc = forward ? cbnext(c, &data) : cbprev(c, &data);
  }
  return rc;
}

}  // namespace kyt
