// cbmodify: replaces the entry (old key, old data) by (new key, new data).
#include "cbt/cbmodify.h"

#include "cbt/cbdelete.h"
#include "cbt/cberr.h"
#include "cbt/cbinsert.h"
#include "cbt/node.h"

namespace kyt {

namespace {

constexpr const char* kModule = "cbmodify";

// Whether an entry other than `old` next to position (leaf, idx) has the key of `nk`:
// looks at up to two entries on each side, across leaves, skipping `old`.
int dup_beside(Tree& t, uint32_t leaf, int idx, const KeyDesc& nk, const KeyDesc& old, bool* dup) {
  *dup = false;
  for (int dir = -1; dir <= 1; dir += 2) {
    uint32_t b = leaf;
    int i = dir < 0 ? idx - 1 : idx;
    for (int seen = 0; seen < 2;) {
      NodeRef n;
      if (!n.get_level(t, b, 1, kStepDescent)) {
        CB_TRACE(kModule, "cbmodify : get_blk failed!");
        return -1;
      }
      const int cnt = nd_count(n.p);
      if (i < 0 || i >= cnt) {
        uint32_t next = dir < 0 ? nd_left(n.p) : nd_right(n.p);
        if (next == 0) break;
        NodeRef m;
        if (!m.get_level(t, next, 1, kStepDescent)) return -1;
        b = next;
        i = dir < 0 ? nd_count(m.p) - 1 : 0;
        if (nd_count(m.p) < 1) break;
        continue;
      }
      if (entry_cmp(t.cmp, old, n.p, i) != 0) {
        *dup = key_eq(t.cmp, nk.key, nk.len, n.p, i);
        if (*dup) return 1;
        break;
      }
      ++seen;
      i += dir;
    }
  }
  return 1;
}

}  // namespace

int cbmodify(CbCursor* c, const void* okey, int olen, int32_t odata, const void* nkey, int nlen,
             int32_t ndata, int dups) {
  if (!cursor_writable(c, kOpModify) || olen < 0 || nlen < 0 || (okey == nullptr && olen > 0) ||
      (nkey == nullptr && nlen > 0) || nlen > max_key_len(c)) {
    CB_TRACE(kModule, "cbmodify : not valid !");
    return -1;
  }
  Tree t(c);
  KeyDesc ok, nk;
  ok.key = static_cast<const uint8_t*>(okey);
  ok.len = olen;
  ok.data = odata;
  nk.key = static_cast<const uint8_t*>(nkey);
  nk.len = nlen;
  nk.data = ndata;
  nk.dups = dups;

  if (key_cmp(t.cmp, ok.key, ok.len, nk.key, nk.len) == 0 && odata == ndata) {
    // Nothing changes; a cursor standing on the entry moves on to the next one.
    if (c->state == 1 && c->block > 0) {
      bool on_it = false;
      {
        NodeRef n;
        if (n.get(t, static_cast<uint32_t>(c->block), kStepDescent) && c->index >= 0 &&
            c->index < nd_count(n.p) && nd_leaf(n.p)) {
          on_it = entry_cmp(t.cmp, ok, n.p, c->index) == 0;
        }
      }
      if (on_it && pos_next(t, nullptr) == -1) {
        CB_TRACE(kModule, "cbmodify : B_pos_nextkey failed!");
        return -1;
      }
    }
    return 1;
  }

  uint32_t nleaf = 0, oleaf = 0;
  int nidx = 0, nres = 1, oidx = 0, ores = 1;
  if (t.tf->root != 0) {
    if (find_leaf(t, nk, &nleaf, &nidx, &nres, kStepDescent) != 1) {
      CB_TRACE(kModule, "cbmodify : locate_key(2) failed!");
      return -1;
    }
    if (nres == 0) {
      CB_TRACE(kModule, "cbmodify : locate_key(2) failed!");
      set_err(kCbErrExists, kStepDescent);
      return -1;
    }
    if (dups == 0) {
      bool dup;
      if (dup_beside(t, nleaf, nidx, nk, ok, &dup) != 1) return -1;
      if (dup) {
        CB_TRACE(kModule, "cbmodify : B_is_dup_error YES!");
        set_err(kCbErrDuplicate, kStepDescent);
        return -1;
      }
    }
    if (find_leaf(t, ok, &oleaf, &oidx, &ores, kStepDescent) != 1) ores = -1;
  }
  if (t.tf->root == 0 || ores != 0) {
    CB_TRACE(kModule, "cbmodify : locate_key(3) with rc = %d !", ores);
    CB_TRACE(kModule, "cbmodify : locate_key(3) oldkeylen=%d", olen);
    CB_TRACE(kModule, "cbmodify   locate_key(3) NOTFOUND , block=%d , index=%d!", static_cast<int>(oleaf), oidx);
    set_err(kCbErrNotFound, kStepDescent);
    return -1;
  }
  if (oleaf != nleaf) {
    if (delete_entry(t, ok) != 1) {
      CB_TRACE(kModule, "cbmodify : cbdelete failed!");
      return -1;
    }
  } else {
    NodeRef n;
    if (!n.get_level(t, oleaf, 1, kStepDescent)) {
      CB_TRACE(kModule, "cbmodify : get_blk failed!");
      return -1;
    }
    const int cnt = nd_count(n.p);
    nd_remove(n.p, t.B, oidx);
    n.dirty();
    pos_removed(t.tf, oleaf, oidx, cnt - 1, nd_right(n.p));
    if (oidx < nidx) --nidx;
    if (nd_fits(t.cmp, n.p, t.B, nidx, nk.key, nk.len)) {
      nd_insert(t.cmp, n.p, t.B, nidx, nk);
      pos_inserted(t.tf, oleaf, nidx);
      return 1;
    }
  }
  if (insert_entry(t, nk) != 1) {
    CB_TRACE(kModule, "cbmodify : cbinsert failed!");
    return -1;
  }
  return 1;
}

}  // namespace kyt
