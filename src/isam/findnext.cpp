// findnext: walking an index forward and back, and marking a record to return to.
//
// A keyed index walks its entries in the index tree, which hold the index number as their
// first byte: leaving that range is the end of the index. The physical index walks the data
// file by its length words, stepping over holes; walking it back rescans from the start, as
// records carry no backward link.
#include "isam/isam_impl.h"

namespace kyt {

namespace {
constexpr const char* kModule = "KYTEXE";
}  // namespace

// The stretch after the one at `offset` (record or hole); 0 at the end; -1 on failure.
int64_t next_stretch(IsamDb* db, int32_t offset, int64_t end) {
  int32_t len = 0;
  if (!I_reclen(db, offset, &len)) {
    isam_errno = kIsamIo;
    ISAM_TRACE(kModule, "findnext : I_reclen (IO_ERROR 1)");
    return -1;
  }
  const int64_t next = static_cast<int64_t>(offset) + 4 + (len < 0 ? -static_cast<int64_t>(len) : len);
  if (len == 0 || next > end) {
    isam_errno = kIsamDataCorrupt;
    ISAM_TRACE(kModule, "findnext : length word %d at %d", len, offset);
    return -1;
  }
  return next < end ? next : 0;
}

// The first record at or after the stretch at `offset`; 0 when there is none; -1 on failure.
int64_t record_from(IsamDb* db, int64_t offset, int64_t end) {
  while (offset != 0 && offset < end) {
    int32_t len = 0;
    if (!I_reclen(db, static_cast<int32_t>(offset), &len)) {
      isam_errno = kIsamIo;
      ISAM_TRACE(kModule, "findnext : I_reclen (IO_ERROR 1)");
      return -1;
    }
    if (len > 0) return offset;
    offset = next_stretch(db, static_cast<int32_t>(offset), end);
    if (offset < 0) return -1;
  }
  return 0;
}

namespace {

// Positions a keyed index on its first (forward) or last entry.
int keyed_edge(IsamIndex* index, bool forward) {
  int32_t data = 0;
  int rc;
  if (forward) {
    const unsigned char k = static_cast<unsigned char>(index->number);
    rc = cbfind(index->cursor, &k, 1, &data);
    if (rc == 2) rc = 3;
  } else if (index->number == kMaxIndexNumber) {
    rc = cbtail(index->cursor, &data);
  } else {
    const unsigned char k = static_cast<unsigned char>(index->number + 1);
    rc = cbfind(index->cursor, &k, 1, &data);
    if (rc == 2 || rc == 3 || rc == -3) rc = cbprev(index->cursor, &data);
  }
  return rc;
}

// The state of a keyed index after a cursor move that answered `rc`.
int keyed_status(IsamIndex* index, int rc, bool forward) {
  const int end = forward ? -3 : -2;
  if (rc == 1 || rc == 3) {
    unsigned char first = 0;
    if (cbkey(index->cursor, &first, 1) != 1) {
      isam_errno = kIsamCbt;
      return -1;
    }
    index->position_status = first == index->number ? 1 : end;
    return index->position_status;
  }
  if (rc == -2 || rc == -3) {
    index->position_status = end;
    return end;
  }
  isam_errno = kIsamCbt;
  return -1;
}

int keyed_move(IsamIndex* index, bool forward) {
  int32_t data = 0;
  const int status = index->position_status;
  if (status == (forward ? -3 : -2)) return status;
  int rc;
  if (status == 1) {
    rc = forward ? cbnext(index->cursor, &data) : cbprev(index->cursor, &data);
  } else {
    rc = keyed_edge(index, forward);
  }
  return keyed_status(index, rc, forward);
}

int physical_move(IsamDb* db, IsamIndex* index, bool forward) {
  const int64_t end = db->data_end;
  const int status = index->position_status;
  if (forward) {
    if (status == -3) return -3;
    int64_t from = db->first_record;
    if (status == 1) {
      from = next_stretch(db, index->current_offset, end);
      if (from < 0) return -1;
    }
    const int64_t rec = record_from(db, from, end);
    if (rec < 0) return -1;
    index->current_offset = static_cast<int32_t>(rec);
    index->position_status = rec == 0 ? -3 : 1;
    return index->position_status;
  }
  if (status == -2) return -2;
  const int64_t limit = status == 1 ? index->current_offset : end;
  int64_t last = 0;
  for (int64_t at = record_from(db, db->first_record, end); at > 0 && at < limit;) {
    last = at;
    const int64_t next = next_stretch(db, static_cast<int32_t>(at), end);
    if (next < 0) return -1;
    at = record_from(db, next, end);
    if (at < 0) return -1;
  }
  index->current_offset = static_cast<int32_t>(last);
  index->position_status = last == 0 ? -2 : 1;
  return index->position_status;
}
}  // namespace

int I_cursor_entry(IsamIndex* index, std::string* key, int32_t* offset) {
  int len = 0;
  if (cbkeylen(index->cursor, &len) != 1 || len < 0 || cbcurr(index->cursor, offset) != 1) return 0;
  key->assign(static_cast<size_t>(len), '\0');
  if (len > 0 && cbkey(index->cursor, key->data(), len) != 1) return -1;
  return 1;
}

int ifindnext(IsamDb* db, IsamIndex* index) {
  if (isam_check_handles(db, index) != 1) return -1;
  if (index->pending_next) {
    // The position already stands on what followed the vanished current record.
    index->pending_next = false;
    if (index->number == 0) {  // current_offset is that record already, 0 for the end
      index->position_status = index->current_offset == 0 ? -3 : 1;
      return index->position_status;
    }
    int32_t data = 0;
    return keyed_status(index, cbcurr(index->cursor, &data), true);
  }
  return index->number == 0 ? physical_move(db, index, true) : keyed_move(index, true);
}

int ifindprev(IsamDb* db, IsamIndex* index) {
  if (isam_check_handles(db, index) != 1) return -1;
  // From a vanished record the previous entry is the one before the position either way.
  index->pending_next = false;
  return index->number == 0 ? physical_move(db, index, false) : keyed_move(index, false);
}

int imarkrec(IsamDb* db, IsamIndex* index) {
  if (isam_check_handles(db, index) != 1) return -1;
  if (index->position_status != 1 || index->pending_next) {
    isam_errno = kIsamNoCurrent;
    return -1;
  }
  if (index->number == 0) {
    index->mark_offset = index->current_offset;
  } else {
    if (I_cursor_entry(index, &index->mark_key, &index->mark_offset) != 1) {
      isam_errno = kIsamCbt;
      return -1;
    }
  }
  index->marked = true;
  return 1;
}

int ifindmark(IsamDb* db, IsamIndex* index) {
  if (isam_check_handles(db, index) != 1) return -1;
  if (!index->marked) {
    isam_errno = kIsamNoMark;
    return -1;
  }
  // A vanished marked record leaves the index on what followed it (position.cpp).
  IsamPos pos;
  pos.status = 1;
  pos.offset = index->mark_offset;
  pos.key = index->mark_key;
  return irestorepos(db, index, &pos);
}

}  // namespace kyt
