// mkindex: the catalogue of a database's indexes in its index tree, making indexes, and
// finding them by name.
//
// Catalogue entry (all sort before the entries of index 1, whose first byte is 1):
//   key  = 0x00, the index name, 0x00, then per key field its position in the record
//          as a 2-byte big-endian number
//   data = the index number (0 for the physical index)
// The physical index's entry is 0x00 "Physical Index" 0x00, with no key fields.
#include <algorithm>
#include <cstring>

#include "isam/isam_impl.h"

namespace kyt {

namespace {
constexpr const char* kModule = "KYTEXE";
constexpr size_t kMaxIndexName = 200;
}  // namespace

std::string catalogue_key(const std::string& name, const std::vector<int>& fields) {
  std::string key(1, static_cast<char>(kCatalogueByte));
  key += name;
  key.push_back('\0');
  for (int f : fields) {
    key.push_back(static_cast<char>((f >> 8) & 0xFF));
    key.push_back(static_cast<char>(f & 0xFF));
  }
  return key;
}

bool parse_catalogue_key(const unsigned char* key, int len, std::string* name,
                         std::vector<int>* fields) {
  if (len < 3 || key[0] != kCatalogueByte) return false;
  const unsigned char* end = static_cast<const unsigned char*>(std::memchr(key + 1, 0, len - 1));
  if (end == nullptr || end == key + 1) return false;
  name->assign(reinterpret_cast<const char*>(key + 1), end - key - 1);
  const int rest = len - static_cast<int>(end - key) - 1;
  if (rest % 2 != 0) return false;
  fields->clear();
  for (const unsigned char* p = end + 1; p < key + len; p += 2) fields->push_back((p[0] << 8) | p[1]);
  return true;
}

IsamIndex* make_index(IsamDb* db, int number, const std::string& name,
                      const std::vector<int>& fields) {
  auto index = std::make_unique<IsamIndex>();
  index->number = number;
  index->name = name;
  index->key_fields = fields;
  if (number != 0) {
    const std::string file = isam_file(db->name, ".IDX");
    index->cursor = db->readonly ? cbopen_readonly(file.c_str(), nullptr)
                                 : cbopen(file.c_str(), nullptr);
    if (index->cursor == nullptr) {
      isam_errno = kIsamCbt;
      return nullptr;
    }
    ++db->nindexes;
  } else {
    db->physical = true;
  }
  // The chain is kept in index number order, the physical index first.
  IsamIndex** link = &db->indexes;
  while (*link != nullptr && (*link)->number < number) link = &(*link)->next;
  index->next = *link;
  *link = index.get();
  db->owned.push_back(std::move(index));
  return *link;
}

int load_catalogue(IsamDb* db) {
  const unsigned char first = kCatalogueByte;
  int32_t data = 0;
  int rc = cbfind(db->tree, &first, 1, &data);
  bool used[kMaxIndexNumber + 1] = {};
  int seen = 0;  // a catalogue holds at most one entry an index number: more is damage
  while (rc == 1 || rc == 2 || rc == 3) {
    if (++seen > kMaxIndexNumber + 1) {
      isam_errno = kIsamIndexCorrupt;
      ISAM_TRACE(kModule, "opendb : catalogue of '%s' does not end", db->name.c_str());
      return -1;
    }
    unsigned char key[2 * kMaxIndexName + 2 * kMaxFields + 4];
    int len = 0;
    if (cbkeylen(db->tree, &len) != 1 || len <= 0) break;
    if (static_cast<size_t>(len) > sizeof key) {
      if (cbkey(db->tree, key, 1) != 1 || key[0] != kCatalogueByte) break;
      isam_errno = kIsamIndexCorrupt;
      return -1;
    }
    if (cbkey(db->tree, key, len) != 1 || cbcurr(db->tree, &data) != 1) {
      isam_errno = kIsamCbt;
      return -1;
    }
    if (key[0] != kCatalogueByte) break;  // past the catalogue
    std::string name;
    std::vector<int> fields;
    bool ok = parse_catalogue_key(key, len, &name, &fields) && data >= 0 &&
              data <= kMaxIndexNumber && !used[data] && (data == 0) == fields.empty();
    for (int f : fields) ok = ok && f < db->nfields;
    if (!ok) {
      isam_errno = kIsamIndexCorrupt;
      ISAM_TRACE(kModule, "opendb : catalogue entry of '%s' damaged", db->name.c_str());
      return -1;
    }
    used[data] = true;
    if (make_index(db, data, name, fields) == nullptr) return -1;
    rc = cbnext(db->tree, &data);
  }
  if (rc == -1) {
    isam_errno = kIsamCbt;
    return -1;
  }
  return 1;
}

IsamIndex* ihandle(IsamDb* db, const char* name) {
  isam_errno = 0;
  if (!isam_is_member(db)) {
    isam_errno = kIsamBadDb;
    return nullptr;
  }
  for (IsamIndex* i = db->indexes; i != nullptr; i = i->next) {
    if (name != nullptr && i->name == name) {
      if (i->position_status != 1 && i->position_status != -2 && i->position_status != -3) {
        ISAM_TRACE(kModule, "ihandle : index->position_status=%d", i->position_status);
      }
      return i;
    }
  }
  if (db->physical) {
    isam_errno = kIsamUnknownIndex;
  } else {
    isam_errno = kIsamIndexCorrupt;
    ISAM_TRACE(kModule, "ihandle : no index !");
  }
  return nullptr;
}

int imkindex(IsamDb* db, const char* name, const char* const* key_fields) {
  isam_errno = 0;
  if (!isam_is_member(db)) {
    isam_errno = kIsamBadDb;
    return -1;
  }
  if (!isam_writable(db)) return -1;
  if (name == nullptr || *name == '\0' || std::strlen(name) > kMaxIndexName) {
    isam_errno = kIsamBadName;
    return -1;
  }
  for (IsamIndex* i = db->indexes; i != nullptr; i = i->next) {
    if (i->name == name) {
      isam_errno = kIsamIndexExists;
      return -1;
    }
  }
  std::vector<int> fields;
  for (const char* const* f = key_fields; f != nullptr && *f != nullptr; ++f) {
    auto it = std::find(db->field_names.begin(), db->field_names.end(), *f);
    if (it == db->field_names.end()) {
      isam_errno = kIsamBadField;
      return -1;
    }
    fields.push_back(static_cast<int>(it - db->field_names.begin()));
  }
  if (fields.empty()) {
    isam_errno = kIsamBadField;
    return -1;
  }
  int number = 1;
  for (IsamIndex* i = db->indexes; i != nullptr; i = i->next) {
    if (i->number == number) ++number;  // the chain is sorted: the first gap is free
  }
  if (number > kMaxIndexNumber) {
    isam_errno = kIsamTooManyIndexes;
    return -1;
  }
  const std::string entry = catalogue_key(name, fields);
  if (cbinsert(db->tree, entry.data(), static_cast<int>(entry.size()), number, 0) != 1) {
    isam_errno = kIsamCbt;
    ISAM_TRACE(kModule, "mkindex : cbinsert returns ERROR");
    return -1;
  }
  IsamIndex* index = make_index(db, number, name, fields);
  if (index == nullptr) return -1;
  // One entry for every record already stored, in the order of the data file.
  std::string bytes;
  std::vector<const char*> values;
  std::string key;
  int rc = 1;
  int32_t offset = db->first_record;
  const int64_t end = db->data_end;
  while (offset < end) {
    int32_t len = 0;
    if (!I_reclen(db, offset, &len)) {
      ISAM_TRACE(kModule, "mkindex : I_col_str(1) returns ERROR");
      return -1;
    }
    if (len > 0) {
      if (I_fetchrec(db, offset, &bytes) != 1 || !I_split(db, bytes, &values)) {
        ISAM_TRACE(kModule, "mkindex : I_col_str(2) returns ERROR");
        return -1;
      }
      if (I_mkkey(db, index, values.data(), &key) != 1) return -1;
      if (cbinsert(index->cursor, key.data(), static_cast<int>(key.size()), offset, 1) != 1) {
        isam_errno = kIsamCbt;
        ISAM_TRACE(kModule, "mkindex : cbinsert returns ERROR");
        rc = -1;
      }
    }
    const int64_t next = static_cast<int64_t>(offset) + 4 + (len < 0 ? -static_cast<int64_t>(len) : len);
    if (len == 0 || next > end) {
      isam_errno = kIsamDataCorrupt;
      return -1;
    }
    offset = static_cast<int32_t>(next);
  }
  return rc;
}

}  // namespace kyt
