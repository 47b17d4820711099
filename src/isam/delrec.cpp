// delrec: deleting the current record of an index from every index and the data file.
#include "isam/isam_impl.h"

namespace kyt {

namespace {
constexpr const char* kModule = "KYTEXE";
}  // namespace

int idelrec(IsamDb* db, IsamIndex* index) {
  isam_errno = 0;
  if (!isam_is_member(db)) {
    isam_errno = kIsamBadDb;
    ISAM_TRACE(kModule, "idelrec : not member(db)");
    return -1;
  }
  if (!isam_index_member(db, index)) {
    isam_errno = kIsamBadIndex;
    ISAM_TRACE(kModule, "idelrec : not member(idx)");
    return -1;
  }
  if (index->position_status != 1 || index->pending_next) {
    if (index->position_status == -2 || index->position_status == -3) {
      return index->position_status;
    }
    isam_errno = kIsamNoCurrent;
    ISAM_TRACE(kModule, "idelrec : inv status");
    return -1;
  }
  if (!isam_writable(db)) return -1;
  int32_t offset = 0;
  if (index->number == 0) {
    offset = index->current_offset;
    if (offset == 0) {
      isam_errno = kIsamNoCurrent;
      return -1;
    }
  } else {
    int rc = cbcurr(index->cursor, &offset);
    unsigned char first = 0;
    if (rc == 1 && cbkey(index->cursor, &first, 1) == 1 && first != index->number) rc = -3;
    if (rc != 1) {
      ISAM_TRACE(kModule, "idelrec : cburr returns %d", rc);
      if (rc == -2 || rc == -3) {
        index->position_status = rc;
        return rc;
      }
      isam_errno = kIsamCbt;
      return -1;
    }
  }
  std::string bytes;
  std::vector<const char*> values;
  if (I_fetchrec(db, offset, &bytes) != 1 || !I_split(db, bytes, &values)) {
    if (isam_errno == 0) isam_errno = kIsamDataCorrupt;
    ISAM_TRACE(kModule, "idelrec : I_fetchrec failed");
    return -1;
  }
  // For the physical index: the record after this one, found before the space becomes a
  // hole (holes merge, records never do).
  int64_t following = 0;
  if (index->number == 0) {
    const int64_t end = db->data_end;
    const int64_t next = next_stretch(db, offset, end);
    following = next <= 0 ? next : record_from(db, next, end);
    if (following < 0) return -1;
  }
  // Keys first: a record whose key cannot be built (a field grown too long in a damaged
  // file) is refused before any index loses its entry.
  std::vector<std::string> keys;
  for (IsamIndex* i = db->indexes; i != nullptr; i = i->next) {
    if (i->number == 0) continue;
    keys.emplace_back();
    if (I_mkkey(db, i, values.data(), &keys.back()) != 1) {
      ISAM_TRACE(kModule, "idelrec : key of index %d cannot be built", i->number);
      return -1;
    }
  }
  // The holes tree too, before anything changes: opening it may fail (for memory as well),
  // and a record out of its indexes must get its hole.
  if (!I_open_holes(db)) return -1;
  int rc = 1;
  size_t k = 0;
  for (IsamIndex* i = db->indexes; i != nullptr; i = i->next) {
    if (i->number == 0) continue;
    const std::string& key = keys[k++];
    if (cbdelete(i->cursor, key.data(), static_cast<int>(key.size()), offset) != 1) {
      if (isam_errno == 0) isam_errno = kIsamCbt;  // the first failure's code stays
      rc = -1;
    }
  }
  if (rc == 1 && add_hole(db, offset, static_cast<int32_t>(bytes.size())) != 1) rc = -1;
  if (rc == 1) {
    // The index now stands on the entry that followed the record (the B-tree moves cursors
    // off a removed entry onto the next one); the next ifindnext delivers it.
    index->pending_next = true;
    if (index->number == 0) index->current_offset = static_cast<int32_t>(following);
  }
  if (rc != 1) ISAM_TRACE(kModule, "idelrec returns %d", rc);
  return rc;
}

}  // namespace kyt
