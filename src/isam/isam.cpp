// isam: process-wide state of the ISAM layer: isam_errno and its texts, initialisation,
// the registry of open databases, file names.
#include <cstdlib>
#include <cstring>
#include <unordered_set>

#include "isam/isam_impl.h"

namespace kyt {

int isam_errno = 0;

namespace {

constexpr const char* kTexts[] = {
    "No Isam error",
    "Invalid database handle",
    "Invalid index handle",
    "Database in use; cannot perform operation",
    "No current record",
    "Out of memory",
    "Operation not allowed for this index",
    "Error reading or writing file",
    "Unknown index name",
    "Error from cbt level",
    "File not found",
    "Key too long for current buffer size",
    "Isam index file possibly corrupted",
    "Too many indexes for one database",
    "No marked record",
    "Cannot rename data base",
    "Cannot construct name of file",
    "New index name duplicates existing index name",
    "Field name is not name of existing field",
    "Cannot copy database to itself",
    "Block size too big for buffer pool",
    "Cannot overwrite existing index file",
    "isaminit already called",
    "Table currently locked",
    "Isam data file possibly corrupted",
};

struct State {
  bool initialised = false;
  bool exit_registered = false;
  int byte_order = -1;
  std::unordered_set<const IsamDb*> open;  // registered databases
};

State& st() {
  static State s;
  return s;
}

void at_exit() { isamexit(); }

}  // namespace

const char* isam_strerror(int err) {
  if (err < 0 || err >= static_cast<int>(std::size(kTexts))) return "Unknown isam error number";
  return kTexts[err];
}

int isaminit(int nbufs, int bufsize) {
  State& s = st();
  isam_errno = 0;
  if (s.initialised) {
    isam_errno = kIsamInitTwice;
    return -1;
  }
  if (!s.exit_registered) {
    std::atexit(at_exit);
    s.exit_registered = true;
  }
  if (cbbufsize() == 0 && cbinit(nbufs, bufsize) != 1) {
    isam_errno = kIsamCbt;
    return -1;
  }
  const uint32_t probe = 0x01020304;
  unsigned char b[4];
  std::memcpy(b, &probe, 4);
  s.byte_order = (b[0] == 1 && b[1] == 2 && b[2] == 3 && b[3] == 4)   ? 1
                 : (b[0] == 4 && b[1] == 3 && b[2] == 2 && b[3] == 1) ? 0
                                                                      : -1;
  s.initialised = true;
  return 1;
}

void isamexit() {
  State& s = st();
  while (!s.open.empty()) iclose_db(const_cast<IsamDb*>(*s.open.begin()));
  if (s.initialised && cbbufsize() != 0) cbexit();
  s.initialised = false;
}

int isam_byte_order() { return st().byte_order; }

int isam_ensure_init() {
  if (st().initialised) return 1;
  return isaminit(100, 8192);
}

bool isam_registered(const IsamDb* db) { return db != nullptr && st().open.count(db) != 0; }
bool isam_is_member(const IsamDb* db) { return isam_registered(db) && !db->suspended; }
bool isam_enter_registered(const IsamDb* db) {
  isam_errno = isam_registered(db) ? kIsamOk : kIsamBadDb;
  return isam_errno == kIsamOk;
}

bool isam_index_member(const IsamDb* db, const IsamIndex* index) {
  for (const IsamIndex* i = db->indexes; i != nullptr; i = i->next) {
    if (i == index) return true;
  }
  return false;
}

IsamDb* isam_find_open(const std::string& base) {
  for (const IsamDb* db : st().open) {
    if (db->name == base) return const_cast<IsamDb*>(db);
  }
  return nullptr;
}

bool isam_writable(IsamDb* db) {
  if (db->readonly) {
    isam_errno = kIsamNotAllowed;
    return false;
  }
  return db->counted || I_count_change(db);
}

int isam_check_handles(IsamDb* db, IsamIndex* index) {
  isam_errno = 0;
  if (!isam_is_member(db)) {
    isam_errno = kIsamBadDb;
    return -1;
  }
  if (!isam_index_member(db, index)) {
    isam_errno = kIsamBadIndex;
    return -1;
  }
  return 1;
}

void isam_register(IsamDb* db) { st().open.insert(db); }
void isam_unregister(IsamDb* db) { st().open.erase(db); }

std::string isam_base_name(const char* name) {
  std::string base = name != nullptr ? name : "";
  if (base.size() > 3 && base.compare(base.size() - 3, 3, ".DB") == 0) base.resize(base.size() - 3);
  return base;
}

std::string isam_file(const std::string& base, const char* suffix) { return base + suffix; }

int inum_fields(IsamDb* db) {
  isam_errno = 0;
  if (!isam_is_member(db)) {
    isam_errno = kIsamBadDb;
    return -1;
  }
  return db->nfields;
}

const char* const* iindex_names(IsamDb* db) {
  isam_errno = 0;
  if (!isam_is_member(db)) {
    isam_errno = kIsamBadDb;
    return nullptr;
  }
  db->names_out.clear();
  for (const IsamIndex* i = db->indexes; i != nullptr; i = i->next) {
    db->names_out.push_back(i->name.c_str());
  }
  db->names_out.push_back(nullptr);
  return db->names_out.data();
}

const char* const* ifield_names(IsamDb* db, IsamIndex* index) {
  isam_errno = 0;
  if (!isam_is_member(db)) {
    isam_errno = kIsamBadDb;
    return nullptr;
  }
  if (index != nullptr && !isam_index_member(db, index)) {
    isam_errno = kIsamBadIndex;
    return nullptr;
  }
  db->names_out.clear();
  if (index == nullptr || index->number == 0) {
    for (const std::string& f : db->field_names) db->names_out.push_back(f.c_str());
  } else {
    for (int f : index->key_fields) db->names_out.push_back(db->field_names[f].c_str());
  }
  db->names_out.push_back(nullptr);
  return db->names_out.data();
}

void isam_reset_for_tests() {
  State& s = st();
  for (const IsamDb* db : s.open) delete db;
  s.open.clear();
  s.initialised = false;
  isam_errno = 0;
}

}  // namespace kyt
