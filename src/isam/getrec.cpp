// getrec: reading records of the data file.
//
// Record: a 4-byte little-endian length word n > 0, then n bytes: the fields' texts, each
// with its zero byte, in field order, possibly followed by zero bytes of slack (a record
// that took a whole hole keeps the hole's size). A negative word -s marks a hole of s bytes.
#include <bit>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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
  // Records and holes tile the file up to its end, so every write lands inside it or
  // appends. One that would start behind the end was sent there by a hole or record that
  // lies beyond a file cut short: writing it would fill the gap with zeros.
  if (offset > db->data_end) {
    isam_errno = kIsamDataCorrupt;
    ISAM_TRACE("KYTEXE", "I_write : offset %lld behind the end of the data file (%lld)",
               static_cast<long long>(offset), static_cast<long long>(db->data_end));
    return false;
  }
  const bool ok = db->cache.write(db->data, buf, n, offset, db->data_end);
  if (offset + static_cast<int64_t>(n) > db->data_end) db->data_end = offset + static_cast<int64_t>(n);
  return ok;
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


#if defined(__SSE2__)
namespace {
// Bit i set where p[i] is a zero byte, for the 16 bytes at p.
inline uint64_t zero_bytes(const char* p) {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  return static_cast<uint16_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128())));
}
// The same for the 64 bytes at p.
inline uint64_t zero_bytes64(const char* p) {
  return zero_bytes(p) | zero_bytes(p + 16) << 16 | zero_bytes(p + 32) << 32 | zero_bytes(p + 48) << 48;
}
// Bits set (no popcount instruction is assumed).
inline int count64(uint64_t m) {
  m = m - ((m >> 1) & 0x5555555555555555ull);
  m = (m & 0x3333333333333333ull) + ((m >> 2) & 0x3333333333333333ull);
  m = (m + (m >> 4)) & 0x0F0F0F0F0F0F0F0Full;
  return static_cast<int>((m * 0x0101010101010101ull) >> 56);
}
}  // namespace
#endif

int I_split_prefix(const char* buf, int end, int n, int k, const char** fields) {
  int f = 0, start = 0, i = 0;
#if defined(__SSE2__)
  // Sixty-four bytes at a time, sixteen at the end (elsewhere byte by byte, below): fields
  // are short, and a call a field costs more than the search. Once k texts are found the
  // zero bytes are only counted.
  while (i < end && end >= 16) {
    uint64_t m;
    const int base = i;
    if (i + 64 <= end) {
      m = zero_bytes64(buf + i);
      i += 64;
    } else if (i + 16 <= end) {
      m = zero_bytes(buf + i);
      i += 16;
    } else {
      // The last bytes: the sixteen that end at `end`, less those already seen.
      m = zero_bytes(buf + end - 16) >> (16 - (end - i));
      i = end;
    }
    if (f < k) {
      const char* s = buf + start;
      int left = k - f;
      for (; m != 0 && left != 0; m &= m - 1, --left) {
        *fields++ = s;
        s = buf + base + std::countr_zero(m) + 1;
      }
      start = static_cast<int>(s - buf);
      f = k - left;
    }
    f += count64(m);
  }
  fields -= f < k ? f : k;  // back to the first field
#endif
  for (; i < end && f < n; ++i) {
    if (buf[i] == '\0') {
      if (f < k) fields[f] = buf + start;
      ++f;
      start = i + 1;
    }
  }
  if (f < k) fields[f] = buf + start;  // the text without terminator runs to buf[end]
  return f < n ? f : n;
}

int I_split_fields(const char* buf, int end, int n, const char** fields) {
  const int whole = I_split_prefix(buf, end, n, n, fields);
  for (int f = whole + 1; f < n; ++f) fields[f] = buf + end;
  return whole;
}

bool I_split(const IsamDb* db, const std::string& bytes, std::vector<const char*>* fields) {
  fields->resize(static_cast<size_t>(db->nfields));
  // bytes.data()[size()] is the string's own zero byte.
  return I_split_fields(bytes.data(), static_cast<int>(bytes.size()), db->nfields, fields->data()) ==
         db->nfields;
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
  return I_readrec(db, offset, fields, buf, bufsize);
}

int I_readrec(IsamDb* db, int32_t offset, const char** fields, char* buf, int bufsize) {
  // The record is read straight from the cached page that holds it; one that crosses a page
  // end, or a file the cache cannot hold, is read in pieces.
  unsigned char word[4];
  int64_t rest = 0;  // bytes of the page from the head on
  const unsigned char* head = db->cache.view(db->data, offset, 4, db->data_end, &rest);
  if (head == nullptr) {
    if (static_cast<int64_t>(offset) + 4 > db->data_end || I_read(db, word, 4, offset) != 4) {
      isam_errno = kIsamIo;
      ISAM_TRACE(kModule, "igetrec : I_reclen returns status %d", -1);
      return -1;
    }
    head = word;
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
  if (head != word && 4 + static_cast<int64_t>(want) <= rest) {
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
  const int whole = I_split_fields(buf, want, db->nfields, fields);
  if (whole < db->nfields && want == len) {
    isam_errno = kIsamDataCorrupt;  // a whole record with too few fields
    ISAM_TRACE(kModule, "igetrec : record at %d has %d of %d fields", offset, whole + 1, db->nfields);
    return -1;
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
