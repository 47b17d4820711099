// mkkey: the key of an index entry: the index number byte, then the texts of the key
// fields in the index's field order, each with its zero byte.
#include <cstring>

#include "isam/isam_impl.h"

namespace kyt {

namespace {
constexpr const char* kModule = "KYTEXE";

// Appends one field's text; a search key (ifindkey) that grows too long traces its own line.
int append(std::string* key, const char* value, bool search) {
  const size_t len = std::strlen(value) + 1;
  const size_t limit = static_cast<size_t>(isam_key_limit());
  if (key->size() + len > limit) {
    if (search) {
      ISAM_TRACE(kModule, "findkey : key too long");
    } else {
      ISAM_TRACE(kModule, "mkkey : key too long keyl=%d fieldl=%d bufsize=%d",
                 static_cast<int>(key->size()), static_cast<int>(len), static_cast<int>(limit));
    }
    isam_errno = kIsamKeyTooLong;
    return -1;
  }
  key->append(value, len);
  return 1;
}
}  // namespace

int isam_key_limit() {
  const int size = cbbufsize();
  return (size > 0 && size < 8192 ? size : 8192) - 36;
}

int I_mkkey(const IsamDb* db, const IsamIndex* index, const char* const* values, std::string* key) {
  (void)db;
  key->assign(1, static_cast<char>(index->number));
  for (int f : index->key_fields) {
    const char* v = values[f];
    if (v == nullptr) break;
    if (append(key, v, false) != 1) return -1;
  }
  return 1;
}

int I_mkkey_values(const IsamIndex* index, const char* const* values, std::string* key) {
  key->assign(1, static_cast<char>(index->number));
  for (size_t i = 0; i < index->key_fields.size(); ++i) {
    if (values == nullptr || values[i] == nullptr) {
      isam_errno = kIsamNotAllowed;
      return -1;
    }
    if (append(key, values[i], true) != 1) return -1;
  }
  return 1;
}

}  // namespace kyt
