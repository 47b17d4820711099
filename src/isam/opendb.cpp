// opendb: opening a database by name: data file with its lock and header, index tree with
// its catalogue, holes tree.
#include <cerrno>

#include "isam/isam_impl.h"

namespace kyt {

namespace {
constexpr const char* kModule = "KYTEXE";

// Reads and checks the data file header: field count and first record offset, change
// counter, field names; 24 for anything that cannot be a header. It is read through the
// page cache: the file's first page, read once, holds the header and often the first
// records too.
int read_header(IsamDb* db) {
  unsigned char head[kHeaderSize];
  const int64_t size = db->data.size();
  if (size < kHeaderSize || db->cache.read(db->data, head, kHeaderSize, 0, size) != kHeaderSize) {
    return kIsamDataCorrupt;
  }
  const int32_t nfields = get_le16(head);
  const int32_t first = get_le16(head + 2);
  if (nfields < 1 || nfields > kMaxFields || first <= kHeaderSize || first > size) {
    return kIsamDataCorrupt;
  }
  std::string names(static_cast<size_t>(first - kHeaderSize), '\0');
  if (db->cache.read(db->data, names.data(), names.size(), kHeaderSize, size) !=
      static_cast<int64_t>(names.size())) {
    return kIsamIo;
  }
  if (names.back() != '\0') return kIsamDataCorrupt;
  size_t pos = 0;
  while (pos < names.size()) {
    size_t end = names.find('\0', pos);
    if (end == pos) return kIsamDataCorrupt;  // empty field name
    db->field_names.emplace_back(names, pos, end - pos);
    pos = end + 1;
  }
  if (static_cast<int32_t>(db->field_names.size()) != nfields) return kIsamDataCorrupt;
  db->nfields = nfields;
  db->first_record = first;
  db->changes = static_cast<uint32_t>(get_le32(head + 4));
  db->data_end = size;
  return 0;
}

// Another open holds the data file's lock: isam_errno 23 and the trace line.
void lock_failed(const std::string& data) {
  const int err = errno;
  ISAM_TRACE(kModule, "I_dfopen (): lock ('%s') failed, error 0x%x, errno %d, pid %d",
             data.c_str(), err, err, static_cast<int>(platform::process_id()));
  isam_errno = kIsamLocked;
}

CbCursor* open_tree(const std::string& file, bool readonly) {
  return readonly ? cbopen_readonly(file.c_str(), nullptr) : cbopen(file.c_str(), nullptr);
}

void close_trees(IsamDb* db) {
  for (IsamIndex* i = db->indexes; i != nullptr; i = i->next) {
    if (i->cursor != nullptr) cbclose(i->cursor);
    i->cursor = nullptr;
  }
  if (db->holes != nullptr) cbclose(db->holes);
  if (db->tree != nullptr) cbclose(db->tree);
  db->holes = nullptr;
  db->tree = nullptr;
}
}  // namespace

namespace {
IsamDb* open_db(const char* name, bool readonly) {
  isam_errno = 0;
  if (isam_ensure_init() != 1) return nullptr;
  auto db = std::make_unique<IsamDb>();
  db->name = isam_base_name(name);
  // An open of this process that gave up the locks steps aside: it would otherwise share
  // the tree files by name without holding them.
  if (!readonly) {
    if (IsamDb* old = isam_find_open(db->name); old != nullptr && old->suspended) I_evict(old);
  }
  const std::string data = isam_file(db->name, ".DB");
  const std::string idx = isam_file(db->name, ".IDX");
  if (db->name.empty()) {
    isam_errno = kIsamBadName;
    return nullptr;
  }
  if (!platform::file_exists(idx.c_str())) {
    isam_errno = kIsamNoFile;
    return nullptr;
  }
  db->readonly = readonly;
  // The open itself tells whether the data file is there; only a failed open asks.
  if (!db->data.open(data.c_str(),
                     readonly ? platform::OpenMode::kRead : platform::OpenMode::kReadWrite)) {
    isam_errno = platform::file_exists(data.c_str()) ? kIsamIo : kIsamNoFile;
    return nullptr;
  }
  if (!readonly && !db->data.lock_header()) {
    lock_failed(data);
    return nullptr;
  }
  // Like the tree files: read (and changed) through a shared mapping once it is read often.
  if (!readonly) db->data.map_reads();
  if (int rc = read_header(db.get()); rc != 0) {
    isam_errno = rc;
    ISAM_TRACE(kModule, "I_dfopen (): header of '%s' unreadable (%d)", data.c_str(), rc);
    return nullptr;
  }
  db->tree = open_tree(idx, readonly);
  if (db->tree == nullptr) {
    isam_errno = kIsamCbt;
    return nullptr;
  }
  if (load_catalogue(db.get()) != 1) {
    const int err = isam_errno;
    close_trees(db.get());
    isam_errno = err;
    return nullptr;
  }
  isam_register(db.get());  // may fail for memory: the database is still ours to close then
  return db.release();
}
}  // namespace

bool I_open_holes(IsamDb* db) {
  if (db->holes_idle) {
    // Resumed without it: reading records never needs the holes tree.
    if (cbresume(db->holes) != 1) {
      isam_errno = kIsamCbt;
      ISAM_TRACE(kModule, "holes : lock of '%s' failed", isam_file(db->name, ".HOL").c_str());
      return false;
    }
    db->holes_idle = false;
    return true;
  }
  if (!db->holes_pending) return true;
  const std::string hol = isam_file(db->name, ".HOL");
  if (platform::file_exists(hol.c_str())) {
    db->holes = open_tree(hol, db->readonly);
    if (db->holes == nullptr) {  // asked again at the next need
      isam_errno = kIsamCbt;
      ISAM_TRACE(kModule, "holes : open of '%s' failed", hol.c_str());
      return false;
    }
  }
  db->holes_pending = false;  // a missing file: free space is only marked
  return true;
}

IsamDb* iopen_db(const char* name) { return open_db(name, false); }
IsamDb* iopen_db_readonly(const char* name) { return open_db(name, true); }

void I_evict(IsamDb* db) {
  if (db->evicted) return;
  close_trees(db);  // suspended: nothing is pending
  db->data.close();
  db->cache.clear();
  db->evicted = true;
}

bool I_count_change(IsamDb* db) {
  unsigned char word[4];
  put_le32(word, static_cast<int32_t>(db->changes + 1));
  // Through the cache, which may hold the header's page, and on to the file at once, ahead
  // of every change it announces.
  if (!I_write(db, word, 4, 4) || !I_flush_data(db)) {
    isam_errno = kIsamIo;
    return false;
  }
  ++db->changes;
  db->counted = true;
  return true;
}

int isuspend_db(IsamDb* db) {
  if (!isam_enter_registered(db)) return -1;
  if (db->suspended || db->readonly) return 1;
  // As iflush_db, the data file first: its records are what the index entries name.
  if (!I_flush_data(db)) return -1;
  for (CbCursor* c : {db->holes_idle ? nullptr : db->holes, db->tree}) {
    if (c != nullptr && cbsuspend(c) != 1) {
      isam_errno = kIsamCbt;
      return -1;
    }
  }
  db->data.unlock_header();
  db->suspended = true;
  db->counted = false;
  return 1;
}

int iresume_db(IsamDb* db) {
  if (!isam_enter_registered(db)) return -1;
  if (!db->suspended) return 1;
  if (db->evicted) return 0;
  const int64_t size = db->data.relock_header();
  if (size == -1) {
    lock_failed(isam_file(db->name, ".DB"));
    return -1;
  }
  // The data file must be the one left, untouched: same length, same counter. The locks
  // taken so far go with the close that follows a 0.
  unsigned char word[4];
  if (size != db->data_end || db->data.read_at(word, 4, 4) != 4 ||
      static_cast<uint32_t>(get_le32(word)) != db->changes) {
    return 0;
  }
  // The holes tree waits for its first need (I_open_holes).
  const int rc = cbresume(db->tree);
  if (rc == 0) return 0;
  if (rc != 1) {
    isam_errno = kIsamCbt;
    db->data.unlock_header();
    return -1;
  }
  db->holes_idle = db->holes != nullptr;
  db->suspended = false;
  return 1;
}

int iclose_db(IsamDb* db) {
  if (!isam_enter_registered(db)) return -1;
  if (db->evicted) {
    isam_unregister(db);
    delete db;
    return 1;
  }
  // The data file's pending writes first: its records are what the index entries name.
  int rc = db->readonly || db->cache.flush(db->data) ? 1 : -1;
  for (IsamIndex* i = db->indexes; i != nullptr; i = i->next) {
    if (i->cursor != nullptr && cbclose(i->cursor) != 1) rc = -1;
    i->cursor = nullptr;
  }
  if (db->holes != nullptr && cbclose(db->holes) != 1) rc = -1;
  if (db->tree != nullptr && cbclose(db->tree) != 1) rc = -1;
  db->holes = nullptr;
  db->tree = nullptr;
  if (!db->readonly) db->data.unlock_header();
  db->data.close();
  if (rc != 1) {
    isam_errno = kIsamIo;
    ISAM_TRACE(kModule, "closedb : close (IO_ERROR 3)");
  }
  isam_unregister(db);
  delete db;
  return rc;
}

}  // namespace kyt
