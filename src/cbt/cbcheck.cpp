// cbcheck: walks a whole tree file and checks every invariant the B-tree layer keeps.
// It allocates freely: it is for tests and diagnosis, not for the operations' paths.
#include "cbt/cbcheck.h"

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "cbt/cberr.h"
#include "cbt/node.h"

namespace kyt {

namespace {

struct Bound {
  bool set = false;
  std::string key;
  int32_t data = 0;
};

class Checker {
 public:
  explicit Checker(Tree& t) : t_(t), use_(static_cast<size_t>(t.tf->last_blk) + 1, 0) {}

  bool run() {
    TreeFile* tf = t_.tf;
    if (tf->blksize != static_cast<uint32_t>(bfile_blksize(tf->bf)) || tf->blksize < 48) {
      return fail("header block size %u", tf->blksize);
    }
    for (uint32_t w : {tf->root, tf->first_leaf, tf->last_leaf, tf->free_list}) {
      if (w > tf->last_blk) return fail("header block number %u beyond last block %u", w, tf->last_blk);
    }
    if ((tf->root == 0) != (tf->height == 0)) return fail("root %u with height %u", tf->root, tf->height);
    if (tf->height > kMaxHeight) return fail("height %u", tf->height);
    if (tf->root == 0 && (tf->first_leaf != 0 || tf->last_leaf != 0)) {
      return fail("empty tree with leaves %u..%u", tf->first_leaf, tf->last_leaf);
    }
    levels_.assign(tf->height + 1, {});
    if (tf->root != 0 && !walk(tf->root, tf->height, Bound(), Bound())) return false;
    if (!chains()) return false;
    if (!free_list()) return false;
    for (uint32_t b = 1; b <= tf->last_blk; ++b) {
      if (use_[b] == 0) return fail("block %u is neither in the tree nor free", b);
    }
    return cursors();
  }

  std::string problem;

 private:
  bool fail(const char* fmt, ...) __attribute__((format(printf, 2, 3))) {
    char buf[300];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(buf, sizeof buf, fmt, ap);
    va_end(ap);
    problem = buf;
    return false;
  }

  int cmp_bound(const uint8_t* p, int i, const Bound& b) {
    KeyDesc k;
    k.key = reinterpret_cast<const uint8_t*>(b.key.data());
    k.len = static_cast<int>(b.key.size());
    k.data = b.data;
    return -entry_cmp(t_.cmp, k, p, i);  // entry against bound
  }

  bool walk(uint32_t blk, uint32_t level, const Bound& lo, const Bound& hi) {
    NodeRef n;
    if (!n.get(t_, blk, kStepNone)) return fail("block %u cannot be read as a node (cb_errcode %d)", blk, cb_errcode);
    const char* why = "";
    if (!nd_check(n.p, t_.B, t_.tf->last_blk, blk, &why)) return fail("block %u: %s", blk, why);
    if (use_[blk] != 0) return fail("block %u used twice", blk);
    use_[blk] = 1;
    const bool leaf = nd_leaf(n.p);
    if (leaf != (level == 1)) return fail("block %u is a %s on level %u", blk, leaf ? "leaf" : "inner node", level);
    const int cnt = nd_count(n.p);
    if (leaf ? cnt < 1 : cnt < 0) return fail("block %u has %d entries", blk, cnt);
    levels_[level].push_back(blk);
    for (int i = 0; i < cnt; ++i) {
      if (i > 0) {
        KeyDesc prev;
        prev.key = e_key(n.p, i - 1);
        prev.len = e_klen(n.p, i - 1);
        prev.data = e_data(n.p, i - 1);
        if (entry_cmp(t_.cmp, prev, n.p, i) >= 0) return fail("block %u: entry %d not above entry %d", blk, i, i - 1);
        const bool equal = key_eq(t_.cmp, prev.key, prev.len, n.p, i);
        const bool shared = e_koff(n.p, i) == e_koff(n.p, i - 1) && e_klen(n.p, i) == e_klen(n.p, i - 1);
        if (equal != shared) return fail("block %u: entries %d and %d %s", blk, i - 1, i,
                                         equal ? "have equal keys stored twice" : "share unequal keys");
      }
      if (lo.set && cmp_bound(n.p, i, lo) < 0) return fail("block %u: entry %d below its parent's entry", blk, i);
      if (hi.set && cmp_bound(n.p, i, hi) >= 0) return fail("block %u: entry %d not below the next parent entry", blk, i);
    }
    if (leaf) return true;
    // Children with the bounds their parent's entries give them.
    std::vector<uint32_t> kids;
    std::vector<Bound> keys;
    kids.push_back(nd_low(n.p));
    for (int i = 0; i < cnt; ++i) {
      kids.push_back(e_child(n.p, i));
      Bound b;
      b.set = true;
      b.key.assign(reinterpret_cast<const char*>(e_key(n.p, i)), static_cast<size_t>(e_klen(n.p, i)));
      b.data = e_data(n.p, i);
      keys.push_back(b);
    }
    n.release();
    for (size_t k = 0; k < kids.size(); ++k) {
      const Bound& l = k == 0 ? lo : keys[k - 1];
      const Bound& h = k < keys.size() ? keys[k] : hi;
      if (!walk(kids[k], level - 1, l, h)) return false;
    }
    return true;
  }

  // Every level, left to right as the tree orders it, is one doubly linked chain.
  bool chains() {
    for (uint32_t lv = 1; lv < levels_.size(); ++lv) {
      const std::vector<uint32_t>& v = levels_[lv];
      for (size_t k = 0; k < v.size(); ++k) {
        NodeRef n;
        if (!n.get(t_, v[k], kStepNone)) return fail("block %u unreadable", v[k]);
        uint32_t want_left = k == 0 ? 0 : v[k - 1];
        uint32_t want_right = k + 1 < v.size() ? v[k + 1] : 0;
        if (nd_left(n.p) != want_left || nd_right(n.p) != want_right) {
          return fail("level %u: block %u links %u/%u, expected %u/%u", lv, v[k], nd_left(n.p),
                      nd_right(n.p), want_left, want_right);
        }
      }
    }
    if (levels_.size() > 1) {
      const std::vector<uint32_t>& leaves = levels_[1];
      if (t_.tf->first_leaf != leaves.front() || t_.tf->last_leaf != leaves.back()) {
        return fail("header leaves %u..%u, chain %u..%u", t_.tf->first_leaf, t_.tf->last_leaf,
                    leaves.front(), leaves.back());
      }
    }
    return true;
  }

  bool free_list() {
    uint32_t b = t_.tf->free_list;
    for (uint64_t steps = 0; b != 0; ++steps) {
      if (steps > t_.tf->last_blk) return fail("free list does not end");
      if (b > t_.tf->last_blk) return fail("free block %u beyond the last block", b);
      if (use_[b] != 0) return fail("free block %u is %s", b, use_[b] == 1 ? "in the tree" : "listed twice");
      use_[b] = 2;
      NodeRef n;
      if (!n.get_raw(t_, b, kStepNone)) return fail("free block %u unreadable", b);
      if (rd32(n.p) != 0) return fail("free block %u has first word %u", b, rd32(n.p));
      b = rd32(n.p + 4);
    }
    return true;
  }

  bool position(const char* what, int state, int64_t block, int index) {
    if (state != 1) return true;
    if (block <= 0 || block > t_.tf->last_blk || use_[block] != 1) {
      return fail("%s position on block %lld, not a node of the tree", what, static_cast<long long>(block));
    }
    NodeRef n;
    if (!n.get(t_, static_cast<uint32_t>(block), kStepNone)) return fail("%s block unreadable", what);
    if (!nd_leaf(n.p) || index < 0 || index >= nd_count(n.p)) {
      return fail("%s position %lld/%d outside its leaf", what, static_cast<long long>(block), index);
    }
    return true;
  }

  bool cursors() {
    size_t listed = 0, registered = 0;
    for (CbCursor* c = t_.tf->cursors; c != nullptr; c = c->tree_next, ++listed) {
      if (c->tf != t_.tf) return fail("cursor of another tree among this tree's cursors");
      if (!position("cursor", c->state, c->block, c->index)) return false;
      if (!position("saved", c->saved_state, c->saved_block, c->saved_index)) return false;
    }
    for (CbCursor* c = cursor_list(); c != nullptr; c = c->next) registered += c->tf == t_.tf;
    if (listed != registered) {
      return fail("%lu cursors on the tree's list, %lu registered for it",
                  static_cast<unsigned long>(listed), static_cast<unsigned long>(registered));
    }
    return true;
  }

  Tree& t_;
  std::vector<uint8_t> use_;  // per block: 0 unseen, 1 tree node, 2 free
  std::vector<std::vector<uint32_t>> levels_;
};

}  // namespace

int cbcheck(CbCursor* c, std::string* problem) {
  if (!cursor_registered(c) || !treefile_registered(c->tf)) {
    if (problem != nullptr) *problem = "cursor not registered";
    return -1;
  }
  Tree t(c);
  Checker ck(t);
  if (ck.run()) return 1;
  if (problem != nullptr) *problem = ck.problem;
  return -1;
}

}  // namespace kyt
