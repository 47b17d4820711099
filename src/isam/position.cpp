// position: positions kept by the caller, positioning by a key, and flushing.
#include "isam/isam_impl.h"

namespace kyt {

namespace {
constexpr const char* kModule = "KYTEXE";
}  // namespace

int isavepos(IsamDb* db, IsamIndex* index, IsamPos* pos) {
  if (isam_check_handles(db, index) != 1) return -1;
  pos->status = index->position_status;
  pos->pending = index->pending_next;
  pos->key.clear();
  pos->offset = 0;
  if (index->position_status != 1) return 1;
  if (index->number == 0) {
    pos->offset = index->current_offset;
    if (pos->pending && pos->offset == 0) pos->status = -3;
    return 1;
  }
  const int rc = I_cursor_entry(index, &pos->key, &pos->offset);
  if (rc == 0 && pos->pending) {
    // The cursor stands at an end of the tree (a pending position after the last entry).
    pos->status = -3;
    pos->pending = false;
    return 1;
  }
  if (rc != 1) {
    isam_errno = kIsamCbt;
    return -1;
  }
  return 1;
}

int irestorepos(IsamDb* db, IsamIndex* index, const IsamPos* pos) {
  if (isam_check_handles(db, index) != 1) return -1;
  index->position_status = pos->status;
  index->pending_next = false;
  if (pos->status != 1) return 1;
  if (index->number == 0) {
    int32_t len = 0;
    if (!I_reclen(db, pos->offset, &len)) {
      isam_errno = kIsamIo;
      return -1;
    }
    index->current_offset = pos->offset;
    if (len > 0) {
      index->pending_next = pos->pending;
      return 1;
    }
    // The record is gone: stand on the first record after its place.
    const int64_t end = db->data_end;
    int64_t at = record_from(db, db->first_record, end);
    while (at > 0 && at < pos->offset) {
      const int64_t next = next_stretch(db, static_cast<int32_t>(at), end);
      at = next < 0 ? -1 : record_from(db, next, end);
    }
    if (at < 0) return -1;
    index->current_offset = static_cast<int32_t>(at);
    index->pending_next = true;
    return 1;
  }
  int32_t data = pos->offset;
  const int rc =
      cbfindrec(index->cursor, pos->key.data(), static_cast<int>(pos->key.size()), &data);
  if (rc == 2) {
    index->pending_next = pos->pending;
    return 1;
  }
  if (rc == 3 || rc == -3) {
    index->pending_next = true;
    return 1;
  }
  isam_errno = kIsamCbt;
  return -1;
}

int ifindfrom(IsamDb* db, IsamIndex* index, const void* key, int len, bool backward) {
  if (isam_check_handles(db, index) != 1) return -1;
  if (index->number == 0 || len < 0) {
    isam_errno = kIsamNotAllowed;
    return -1;
  }
  std::string full(1, static_cast<char>(index->number));
  full.append(static_cast<const char*>(key), static_cast<size_t>(len));
  if (static_cast<int>(full.size()) > isam_key_limit()) {
    isam_errno = kIsamKeyTooLong;
    return -1;
  }
  int32_t data = 0;
  index->pending_next = false;
  const int rc = cbfind(index->cursor, full.data(), static_cast<int>(full.size()), &data);
  switch (rc) {
    case 2:
    case 3:
      // Standing on the first entry at or after the key: delivered by the next ifindnext,
      // or the one before it by the next ifindprev.
      index->position_status = 1;
      index->pending_next = !backward;
      return 1;
    case -2:
      index->position_status = -2;
      return 1;
    case -3:
      index->position_status = -3;
      return 1;
    default:
      isam_errno = kIsamCbt;
      return -1;
  }
}

int iflush_db(IsamDb* db) {
  isam_errno = 0;
  if (!isam_is_member(db)) {
    isam_errno = kIsamBadDb;
    return -1;
  }
  if (db->readonly) return 1;
  int rc = 1;
  if (db->tree != nullptr && cbflush(db->tree) != 1) rc = -1;
  if (db->holes != nullptr && cbflush(db->holes) != 1) rc = -1;
  if (rc != 1) isam_errno = kIsamCbt;
  if (!I_flush_data(db)) rc = -1;
  return rc;
}

bool I_flush_data(IsamDb* db) {
  if (db->cache.flush(db->data)) return true;
  isam_errno = kIsamIo;
  ISAM_TRACE(kModule, "flushdb : write (IO_ERROR 2)");
  return false;
}

}  // namespace kyt
