// scan: walking an index to the next record a test accepts. Records the test skips are
// looked at where they lie in the data file's page cache, through the index tree's leaves
// one at a time, instead of being copied out one call each.
#include <algorithm>
#include <vector>

#include "isam/isam_impl.h"

namespace kyt {

namespace {

constexpr int kEnd = -1;     // the walk left the index's entries
constexpr int kCaller = 3;   // the caller reads and tests the record

struct Walk {
  IsamDb* db;
  IsamIndex* index;
  IsamRowTest test;
  void* ctx;
  int bufsize;
  int shown;  // leading fields the test reads
  const char** fields;
  std::vector<char>& spill;  // a record that crosses a page end, put together
  int verdict = 0;
  int32_t offset = 0;  // of the record the walk stopped on
};

// The test's answer for the record at `offset`, or kCaller when it cannot be shown in
// place exactly as igetrec would deliver it.
int test_record(Walk& w, int32_t offset) {
  IsamDb* db = w.db;
  if (offset < db->first_record) return kCaller;
  int64_t rest = 0;
  const unsigned char* head = db->cache.view(db->data, offset, 4, db->data_end, &rest);
  if (head == nullptr) return kCaller;
  const int32_t len = get_le32(head);
  if (len <= 0 || len >= w.bufsize) return kCaller;  // damaged, or igetrec would cut it
  const char* text = reinterpret_cast<const char*>(head + 4);
  if (4 + static_cast<int64_t>(len) > rest) {
    // It runs on into the next page: tested from a copy.
    if (static_cast<int64_t>(offset) + 4 + len > db->data_end) return kCaller;
    if (w.spill.size() < static_cast<size_t>(len)) w.spill.resize(static_cast<size_t>(len));
    if (db->cache.read(db->data, w.spill.data(), static_cast<size_t>(len), offset + 4, db->data_end) != len) {
      return kCaller;
    }
    text = w.spill.data();
  }
  if (I_split_prefix(text, len, db->nfields, w.shown, w.fields) != db->nfields) return kCaller;
  return w.test(w.ctx, w.fields);
}

int visit(void* p, const uint8_t* key, int len, int32_t data, int32_t ahead) {
  Walk& w = *static_cast<Walk*>(p);
  // Records in index order lie anywhere in the file: fetch the one coming up meanwhile.
  if (ahead != 0) w.db->cache.prefetch(ahead);
  if (len < 1 || key[0] != static_cast<uint8_t>(w.index->number)) {
    w.verdict = kEnd;
    return 1;
  }
  const int r = test_record(w, data);
  if (r == 0) return 0;
  w.verdict = r;
  w.offset = data;
  return 1;
}

}  // namespace

int ifindwhere(IsamDb* db, IsamIndex* index, int forward, IsamRowTest test, void* ctx,
               const char** fields, char* buf, int bufsize, int shown) {
  if (isam_check_handles(db, index) != 1) return -1;
  const bool keyed = index->number != 0 && index->cursor != nullptr;
  if (!keyed || test == nullptr || fields == nullptr || buf == nullptr || bufsize < 1) {
    const int rc = forward ? ifindnext(db, index) : ifindprev(db, index);
    return rc == 1 ? 2 : rc;
  }
  if (shown < 0 || shown > db->nfields) shown = db->nfields;
  // One list of field pointers serves every walk of the process (walks do not nest).
  static std::vector<const char*> shown_fields;
  static std::vector<char> spill;
  if (shown_fields.size() < static_cast<size_t>(db->nfields)) shown_fields.resize(static_cast<size_t>(db->nfields));
  std::fill(shown_fields.begin(), shown_fields.end(), nullptr);
  Walk w{db, index, test, ctx, bufsize, shown, shown_fields.data(), spill};
  int verdict = 0;
  if (index->position_status != 1 || index->pending_next) {
    // From an edge, or from a vanished record, the first step is an ordinary one: it knows
    // every state the index can be in.
    const int rc = forward ? ifindnext(db, index) : ifindprev(db, index);
    if (rc != 1) return rc;
    if (cbcurr(index->cursor, &w.offset) != 1) return 2;  // igetrec will say what is wrong
    verdict = test_record(w, w.offset);
  }
  if (verdict == 0) {
    const int rc = cbscan(index->cursor, forward, visit, &w);
    const int end = forward ? -3 : -2;
    if (rc == -2 || rc == -3 || (rc == 1 && w.verdict == kEnd)) {
      index->position_status = end;
      return end;
    }
    if (rc != 1) {
      isam_errno = kIsamCbt;
      return -1;
    }
    verdict = w.verdict;
  }
  if (verdict == 1) {
    // Taken: delivered as igetrec delivers it (the bytes were just looked at in place).
    return I_readrec(db, w.offset, fields, buf, bufsize) == 1 ? 1 : -1;
  }
  return verdict == 2 ? 0 : 2;
}

}  // namespace kyt
