// addrec: storing a record and entering it into every index.
#include <cstring>

#include "isam/isam_impl.h"

namespace kyt {

namespace {
constexpr const char* kModule = "KYTEXE";

// Writes the record at a new offset; the offset, or 0 on failure.
int32_t I_adddata(IsamDb* db, const std::string& bytes) {
  int32_t length = static_cast<int32_t>(bytes.size());
  if (length <= 0) {
    ISAM_TRACE(kModule, "I_adddata : rec_length = %d < 0 !", length);
    return 0;
  }
  const int32_t offset = new_offset(db, &length);  // may raise length to a whole hole
  if (offset == 0) return 0;
  std::string out(4 + static_cast<size_t>(length), '\0');
  put_le32(reinterpret_cast<unsigned char*>(out.data()), length);
  std::memcpy(out.data() + 4, bytes.data(), bytes.size());
  if (!I_write(db, out.data(), out.size(), offset)) {
    if (isam_errno != kIsamDataCorrupt) isam_errno = kIsamIo;
    return 0;
  }
  return offset;
}
}  // namespace

int iaddrec(IsamDb* db, IsamIndex* index, const char* const* values) {
  isam_errno = 0;
  if (!isam_is_member(db)) {
    isam_errno = kIsamBadDb;
    ISAM_TRACE(kModule, "iaddrec : not member");
    return -1;
  }
  if (index != nullptr && !isam_index_member(db, index)) {
    isam_errno = kIsamBadIndex;
    return -1;
  }
  if (values == nullptr || !isam_writable(db)) {
    isam_errno = kIsamNotAllowed;
    return -1;
  }
  std::string bytes;
  for (int f = 0; f < db->nfields; ++f) {
    if (values[f] != nullptr) bytes.append(values[f]);
    bytes.push_back('\0');
  }
  // Keys first: a key that cannot be built refuses the record before anything is written.
  std::vector<std::string> keys;
  keys.reserve(static_cast<size_t>(db->nindexes));
  const std::string* current_key = nullptr;  // the key of `index`, for positioning it
  for (IsamIndex* i = db->indexes; i != nullptr; i = i->next) {
    if (i->number == 0) continue;
    keys.emplace_back();
    if (I_mkkey(db, i, values, &keys.back()) != 1) return -1;
  }
  if (index != nullptr && index->number != 0) {
    size_t k = 0;
    for (IsamIndex* i = db->indexes; i != index; i = i->next) k += i->number != 0 ? 1 : 0;
    current_key = &keys[k];
  }
  const int32_t offset = I_adddata(db, bytes);
  if (offset == 0) {
    ISAM_TRACE(kModule, "iaddrec : I_adddata returns %d isam_error=%d", -1, isam_errno);
    return -1;
  }
  // Every index is updated even when one fails.
  int rc = 1;
  size_t k = 0;
  for (IsamIndex* i = db->indexes; i != nullptr; i = i->next) {
    if (i->number == 0) continue;
    const std::string& key = keys[k++];
    if (cbinsert(i->cursor, key.data(), static_cast<int>(key.size()), offset, 1) != 1) {
      isam_errno = kIsamCbt;
      rc = -1;
    }
  }
  if (rc != 1) {
    ISAM_TRACE(kModule, "iaddrec : I_upindexes returns %d isam_error=%d", rc, isam_errno);
    return rc;
  }
  if (index != nullptr) {
    index->position_status = 1;
    index->pending_next = false;
    if (index->number == 0) {
      index->current_offset = offset;
    } else {
      int32_t data = offset;
      if (cbfindrec(index->cursor, current_key->data(), static_cast<int>(current_key->size()),
                    &data) != 2) {
        isam_errno = kIsamCbt;
        return -1;
      }
    }
  }
  return 1;
}

}  // namespace kyt
