// holes: the free space of a data file.
//
// A hole of s free bytes at offset o is the length word -s at o followed by s bytes. The
// holes tree lists each hole twice, under 5-byte keys compared bytewise:
//   0xFF, s as 4 bytes big-endian; data o; equal sizes allowed   (by size)
//   0xFE, o as 4 bytes big-endian; data s                        (by offset)
// so every offset entry sorts before every size entry, and the last entry of the tree is
// the size entry of the largest hole (of equal sizes, the one at the highest offset).
#include "isam/isam_impl.h"

namespace kyt {

namespace {
constexpr const char* kModule = "holes";
constexpr unsigned char kSizeKey = 0xFF;
constexpr unsigned char kOffsetKey = 0xFE;

struct HoleKey {
  unsigned char b[5];
  HoleKey(unsigned char kind, int32_t v) {
    const uint32_t u = static_cast<uint32_t>(v);
    b[0] = kind;
    b[1] = static_cast<unsigned char>(u >> 24);
    b[2] = static_cast<unsigned char>(u >> 16);
    b[3] = static_cast<unsigned char>(u >> 8);
    b[4] = static_cast<unsigned char>(u);
  }
};

int32_t be32(const unsigned char* p) {
  return static_cast<int32_t>((static_cast<uint32_t>(p[0]) << 24) |
                              (static_cast<uint32_t>(p[1]) << 16) |
                              (static_cast<uint32_t>(p[2]) << 8) | p[3]);
}

int fail(int err, const char* text) {
  isam_errno = err;
  ISAM_TRACE(kModule, "%s", text);
  return -1;
}

bool write_word(IsamDb* db, int32_t offset, int32_t word) {
  unsigned char w[4];
  put_le32(w, word);
  return I_write(db, w, 4, offset);
}

// A failed write_word: 24 when the word lay behind the end of the file, else 7.
int write_failed(const char* text) {
  return fail(isam_errno == kIsamDataCorrupt ? kIsamDataCorrupt : kIsamIo, text);
}

// Whether the hole of `size` bytes at `offset` lies within the data file. One that does
// not was listed before the file was cut short: the table is damaged.
bool inside(const IsamDb* db, int32_t offset, int32_t size) {
  return offset >= db->first_record && size >= 0 &&
         static_cast<int64_t>(offset) + 4 + size <= db->data_end;
}

// The hole of the offset entry the cursor stands on; (0, 0) for any other entry.
bool hole_at_cursor(IsamDb* db, int32_t* offset, int32_t* size) {
  unsigned char key[10];
  int len = 0;
  int32_t data = 0;
  if (cbkeylen(db->holes, &len) != 1 || cbkey(db->holes, key, sizeof key) != 1 ||
      cbcurr(db->holes, &data) != 1) {
    fail(kIsamCbt, "holes : cbkey || cbcurr fails");
    return false;
  }
  if (len == 5 && key[0] == kOffsetKey) {
    *offset = be32(key + 1);
    *size = data;
  } else {
    *offset = 0;
    *size = 0;
  }
  return true;
}

int delete_entries(IsamDb* db, int32_t offset, int32_t size, const char* text1, const char* text2) {
  const HoleKey by_size(kSizeKey, size);
  const HoleKey by_offset(kOffsetKey, offset);
  if (cbdelete(db->holes, by_size.b, 5, offset) != 1) return fail(kIsamCbt, text1);
  if (cbdelete(db->holes, by_offset.b, 5, size) != 1) return fail(kIsamCbt, text2);
  return 1;
}
}  // namespace

int32_t new_offset(IsamDb* db, int32_t* length) {
  if (!I_open_holes(db)) return 0;
  const int32_t n = *length;
  int32_t size = 0;
  int32_t offset = 0;
  if (db->holes != nullptr) {
    int32_t data = 0;
    const int rc = cbtail(db->holes, &data);
    if (rc == 1) {
      unsigned char key[10];
      int len = 0;
      if (cbkeylen(db->holes, &len) != 1 || cbkey(db->holes, key, sizeof key) != 1) {
        fail(kIsamCbt, "holes : cbtail fails");
        return 0;
      }
      if (len == 5 && key[0] == kSizeKey) {
        size = be32(key + 1);
        offset = data;
      }
    } else if (rc != -2) {
      fail(kIsamCbt, "holes : cbtail fails");
      return 0;
    }
  }
  if (offset == 0 || size <= 0 || n > size) {
    const int64_t end = db->data_end;
    if (end < db->first_record || end + 4 + n > INT32_MAX) {
      fail(kIsamIo, "holes : new_offset (IO_ERROR 1)");
      return 0;
    }
    return static_cast<int32_t>(end);
  }
  if (!inside(db, offset, size)) {
    fail(kIsamDataCorrupt, "holes : new_offset : hole beyond the end of the data file");
    return 0;
  }
  if (static_cast<int64_t>(n) + 4 >= size) {  // the whole hole is handed out
    *length = size;
    if (delete_entries(db, offset, size, "holes : cbdelete fails", "holes : cbdelete(2) fails") != 1) {
      return 0;
    }
    return offset;
  }
  if (I_mod_size_hole(db, size, offset, size - n - 4, offset + n + 4) <= 0) return 0;
  return offset;
}

int add_hole(IsamDb* db, int32_t o, int32_t z) {
  if (!inside(db, o, z)) return fail(kIsamDataCorrupt, "holes : add_hole : beyond the end of the data file");
  if (!I_open_holes(db)) return -1;
  if (db->holes == nullptr) {  // no holes tree: the space is only marked free
    return write_word(db, o, -z) ? 1 : write_failed("iaddrec : write (IO_ERROR 3)");
  }
  int32_t next_off = 0, next_size = 0, prev_off = 0, prev_size = 0;
  const HoleKey at(kOffsetKey, o);
  int32_t data = 0;
  int rc = cbfind(db->holes, at.b, 5, &data);
  if (rc == 2 || rc == 3) {
    if (!hole_at_cursor(db, &next_off, &next_size)) return -1;
  } else if (rc != -3 && rc != -2) {
    return fail(kIsamCbt, "holes : cbfind fails");
  }
  rc = cbprev(db->holes, &data);
  if (rc == 1) {
    if (!hole_at_cursor(db, &prev_off, &prev_size)) return -1;
  } else if (rc != -2) {
    return fail(kIsamCbt, "holes : cbprev fails");
  }
  if (static_cast<int64_t>(prev_size) + z >= 0) {
    const bool prev_adjacent =
        prev_off != 0 && static_cast<int64_t>(prev_off) + prev_size + 4 == o;
    const bool next_adjacent = next_off != 0 && static_cast<int64_t>(o) + z + 4 == next_off;
    if (prev_adjacent && next_adjacent) {
      if (delete_entries(db, next_off, next_size, "holes : cbdelete fails",
                         "holes : cbdelete(2) fails") != 1) {
        return -1;
      }
      return I_mod_size_hole(db, prev_size, prev_off, prev_size + z + next_size + 8, prev_off) > 0
                 ? 1
                 : -1;
    }
    if (prev_adjacent) {
      return I_mod_size_hole(db, prev_size, prev_off, prev_size + z + 4, prev_off) > 0 ? 1 : -1;
    }
    if (next_adjacent) {
      return I_mod_size_hole(db, next_size, next_off, z + next_size + 4, o) > 0 ? 1 : -1;
    }
  }
  if (!write_word(db, o, -z)) return write_failed("iaddrec : write (IO_ERROR 3)");
  const HoleKey by_size(kSizeKey, z);
  if (cbinsert(db->holes, by_size.b, 5, o, 1) != 1) return fail(kIsamCbt, "holes : cbinsert(1) fails");
  if (cbinsert(db->holes, at.b, 5, z, 0) != 1) return fail(kIsamCbt, "holes : cbinsert(2) fails");
  return 1;
}

int32_t I_mod_size_hole(IsamDb* db, int32_t old_size, int32_t old_offset, int32_t new_size,
                        int32_t new_offset) {
  if (!write_word(db, new_offset, -new_size)) {
    write_failed("iaddrec : write (IO_ERROR 3)");
    return -1;
  }
  const HoleKey old_s(kSizeKey, old_size), new_s(kSizeKey, new_size);
  if (cbmodify(db->holes, old_s.b, 5, old_offset, new_s.b, 5, new_offset, 1) != 1) {
    KYT_TRACE(kModule, "i", 2,
              "holes : I_mod_size_hole oldsize = %d , old_offset = %d new_size=%d , new_offset = %d",
              old_size, old_offset, new_size, new_offset);
    fail(kIsamCbt, "holes : cbmodify fails");
    return -1;
  }
  const HoleKey old_o(kOffsetKey, old_offset), new_o(kOffsetKey, new_offset);
  if (cbmodify(db->holes, old_o.b, 5, old_size, new_o.b, 5, new_size, 0) != 1) {
    fail(kIsamCbt, "holes : cbmodify(2) fails");
    return -1;
  }
  return new_offset;
}

}  // namespace kyt
