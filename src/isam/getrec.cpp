// getrec: reading records of the data file.
//
// Record: a 4-byte little-endian length word n > 0, then n bytes: the fields' texts, each
// with its zero byte, in field order, possibly followed by zero bytes of slack (a record
// that took a whole hole keeps the hole's size). A negative word -s marks a hole of s bytes.
#include <cstring>

#include "isam/isam_impl.h"

namespace kyt {

namespace {
constexpr const char* kModule = "KYTEXE";
}  // namespace

bool I_reclen(IsamDb* db, int32_t offset, int32_t* length) {
  unsigned char w[4];
  if (offset < db->first_record || I_read(db, w, 4, offset) != 4) return false;
  *length = get_le32(w);
  return true;
}

bool I_write(IsamDb* db, const void* buf, size_t n, int64_t offset) {
  if (db->data.write_at(buf, n, offset) != static_cast<int64_t>(n)) {
    db->cache.clear();  // what reached the file is not known
    return false;
  }
  db->cache.wrote(buf, n, offset);
  if (offset + static_cast<int64_t>(n) > db->data_end) db->data_end = offset + static_cast<int64_t>(n);
  return true;
}

int64_t I_read(IsamDb* db, void* buf, size_t n, int64_t offset) {
  return db->cache.read(db->data, buf, n, offset, db->data_end);
}

int I_fetchrec(IsamDb* db, int32_t offset, std::string* bytes) {
  // Most records are short: one read takes the length word and the record together.
  constexpr int32_t kGuess = 508;
  unsigned char first[4 + kGuess];
  const int64_t avail = db->data_end - offset;
  if (offset < db->first_record || avail < 4) {
    isam_errno = kIsamIo;
    return -1;
  }
  const int64_t got = I_read(db, first, static_cast<size_t>(avail < 4 + kGuess ? avail : 4 + kGuess), offset);
  if (got < 4) {
    isam_errno = kIsamIo;
    return -1;
  }
  const int32_t len = get_le32(first);
  if (len <= 0 || static_cast<int64_t>(offset) + 4 + len > db->data_end) {
    isam_errno = kIsamDataCorrupt;
    ISAM_TRACE(kModule, "I_fetchrec : rec_length= %d at %d", len, offset);
    return -1;
  }
  if (len <= got - 4) {
    bytes->assign(reinterpret_cast<const char*>(first + 4), static_cast<size_t>(len));
    return 1;
  }
  bytes->resize(static_cast<size_t>(len));
  if (I_read(db, bytes->data(), bytes->size(), offset + 4) != len) {
    isam_errno = kIsamIo;
    return -1;
  }
  return 1;
}

bool I_split(const IsamDb* db, const std::string& bytes, std::vector<const char*>* fields) {
  fields->clear();
  size_t pos = 0;
  while (static_cast<int>(fields->size()) < db->nfields) {
    const size_t end = bytes.find('\0', pos);
    if (end == std::string::npos) return false;
    fields->push_back(bytes.data() + pos);
    pos = end + 1;
  }
  return true;
}

// The record offset of the index's current entry; 1, or the state / -1.
static int current_offset(IsamDb* db, IsamIndex* index, int32_t* offset, const char* who) {
  if (index->number == 0) {
    if (index->current_offset == 0) {
      isam_errno = kIsamNoCurrent;
      ISAM_TRACE(kModule, "%s : not_current", who);
      return -1;
    }
    *offset = index->current_offset;
    return 1;
  }
  int rc = cbcurr(index->cursor, offset);
  unsigned char first = 0;
  if (rc == 1 && cbkey(index->cursor, &first, 1) == 1 && first != index->number) rc = -3;
  if (rc != 1) {
    if (rc == -2 || rc == -3) {
      index->position_status = rc;
    } else {
      isam_errno = kIsamCbt;
    }
    ISAM_TRACE(kModule, "%s : cbcurr returns status %d", who, rc);
    return rc;
  }
  if (*offset < db->first_record) {
    isam_errno = kIsamIndexCorrupt;  // an entry that points nowhere
    ISAM_TRACE(kModule, "%s : index entry points to offset %d", who, *offset);
    return -1;
  }
  return 1;
}

int igetrec(IsamDb* db, IsamIndex* index, const char** fields, char* buf, int bufsize) {
  isam_errno = 0;
  if (!isam_is_member(db)) {
    isam_errno = kIsamBadDb;
    ISAM_TRACE(kModule, "igetrec : is_member (db) failed");
    return -1;
  }
  if (!isam_index_member(db, index)) {
    isam_errno = kIsamBadIndex;
    ISAM_TRACE(kModule, "igetrec : is_member (index) failed");
    return -1;
  }
  if (index->position_status != 1) {
    if (index->position_status != -2 && index->position_status != -3) {
      ISAM_TRACE(kModule, "igetrec : inv status %d", index->position_status);
    }
    return index->position_status;
  }
  if (fields == nullptr || buf == nullptr || bufsize < 1) {
    isam_errno = kIsamNotAllowed;
    return -1;
  }
  if (index->pending_next) {
    isam_errno = kIsamNoCurrent;
    return -1;
  }
  int32_t offset = 0;
  int rc = current_offset(db, index, &offset, "igetrec");
  if (rc != 1) return rc;
  // One read takes the length word and, for the usual short record, the record too.
  unsigned char head[4 + 508];
  const int64_t avail = db->data_end - offset;
  const int64_t first = avail < static_cast<int64_t>(sizeof head) ? avail : static_cast<int64_t>(sizeof head);
  if (first < 4 || I_read(db, head, static_cast<size_t>(first), offset) != first) {
    isam_errno = kIsamIo;
    ISAM_TRACE(kModule, "igetrec : I_reclen returns status %d", -1);
    return -1;
  }
  const int32_t len = get_le32(head);
  if (len <= 0 || static_cast<int64_t>(offset) + 4 + len > db->data_end) {
    isam_errno = kIsamDataCorrupt;
    ISAM_TRACE(kModule, "igetrec : rec_length= %d", len);
    return -1;
  }
  int32_t want = len;
  if (len >= bufsize) {
    ISAM_TRACE(kModule, "igetrec : rec_length= %d > buffer_size = %d ", len, bufsize);
    want = bufsize - 1;  // the record is cut, not refused
  }
  if (want <= first - 4) {
    std::memcpy(buf, head + 4, static_cast<size_t>(want));
  } else {
    const int64_t got = I_read(db, buf, static_cast<size_t>(want), offset + 4);
    if (got != want) {
      isam_errno = kIsamIo;
      ISAM_TRACE(kModule, "igetrec : I_read_rec returns nbr %d", static_cast<int>(got));
      return -1;
    }
  }
  buf[want] = '\0';
  // One pointer a field; the fields a cut record lost point at its final zero byte.
  int pos = 0;
  for (int f = 0; f < db->nfields; ++f) {
    fields[f] = buf + pos;
    const void* z = std::memchr(buf + pos, 0, static_cast<size_t>(want - pos + 1));
    const int end = static_cast<int>(static_cast<const char*>(z) - buf);
    if (end == want && want == len) {
      isam_errno = kIsamDataCorrupt;  // a whole record with too few fields
      ISAM_TRACE(kModule, "igetrec : record at %d has %d of %d fields", offset, f + 1, db->nfields);
      return -1;
    }
    pos = end < want ? end + 1 : want;
  }
  return 1;
}

int32_t irecoffset(IsamDb* db, IsamIndex* index) {
  if (!isam_is_member(db) || !isam_index_member(db, index) || index->position_status != 1 ||
      index->pending_next) {
    return 0;
  }
  int32_t offset = 0;
  return current_offset(db, index, &offset, "irecoffset") == 1 ? offset : 0;
}

}  // namespace kyt
