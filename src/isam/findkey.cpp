// findkey: positioning a keyed index on a key.
#include "isam/isam_impl.h"

namespace kyt {

int ifindkey(IsamDb* db, IsamIndex* index, const char* const* values) {
  if (isam_check_handles(db, index) != 1) return -1;
  if (index->number == 0) {
    isam_errno = kIsamNotAllowed;
    return -1;
  }
  std::string key;
  if (I_mkkey_values(index, values, &key) != 1) return -1;
  int32_t data = 0;
  index->pending_next = false;
  const int rc = cbfind(index->cursor, key.data(), static_cast<int>(key.size()), &data);
  switch (rc) {
    case 2:
      index->position_status = 1;
      return 2;
    case 3: {
      unsigned char first = 0;
      if (cbkey(index->cursor, &first, 1) != 1) {
        isam_errno = kIsamCbt;
        return -1;
      }
      index->position_status = first == index->number ? 1 : -3;
      return 3;
    }
    case -2:
    case -3:
      index->position_status = rc;
      return 3;
    default:
      isam_errno = kIsamCbt;
      return -1;
  }
}

}  // namespace kyt
