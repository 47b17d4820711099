// isam_impl: the in-memory database and index handles and the helpers the ISAM modules share.
// Only files of src/isam/ include it.
#ifndef KYT_ISAM_ISAM_IMPL_H
#define KYT_ISAM_ISAM_IMPL_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cbt/cbt.h"
#include "isam/datacache.h"
#include "isam/isam.h"
#include "platform/platform.h"
#include "runtime/runtime.h"

namespace kyt {

#define ISAM_TRACE(module, ...) KYT_TRACE(module, "i", 1, __VA_ARGS__)

constexpr int kMaxIndexNumber = 255;   // index numbers 1..255 fit the key's first byte
constexpr int kCatalogueByte = 0;      // first key byte of catalogue entries
constexpr int32_t kHeaderSize = 8;     // data file: field count, first record, change counter
constexpr int32_t kMaxFirstRecord = 0xFFFF;  // the first record's offset is a 16-bit word
constexpr int32_t kMaxFields = 4096;   // more fields in a header means a damaged file

struct IsamIndex {
  IsamIndex* next = nullptr;          // chain of the database's indexes, by number
  int number = 0;                     // 0: the physical index (no key fields)
  std::string name;
  CbCursor* cursor = nullptr;         // on the index tree; nullptr for the physical index
  std::vector<int> key_fields;        // positions in the record's field list
  int position_status = -2;           // 1 current, -2 before the first, -3 after the last
  int32_t current_offset = 0;         // physical index: offset of the current record
  // The current record is gone (deleted through this index, or the marked record of
  // ifindmark was): the position stands on what followed it, which the next ifindnext
  // delivers without moving; igetrec and idelrec answer "No current record" meanwhile.
  bool pending_next = false;
  bool marked = false;                // imarkrec was called
  std::string mark_key;               // the marked entry (keyed) ...
  int32_t mark_offset = 0;            // ... and its record offset

  IsamIndex() = default;
  IsamIndex(const IsamIndex&) = delete;
  IsamIndex& operator=(const IsamIndex&) = delete;
  // An index given up on a path that did not close it (an open that failed half way, for
  // memory) still gives its tree back, with the file's lock; closing sets cursor to null.
  ~IsamIndex() {
    if (cursor != nullptr) cbclose(cursor);
  }
};

struct IsamDb {
  platform::File data;                // locked on bytes 0..3 while open
  CbCursor* tree = nullptr;           // the index tree (catalogue and entries)
  // The holes tree, opened on the first need of it (reading records never needs it);
  // nullptr while not yet opened, and for good when the file is missing.
  CbCursor* holes = nullptr;
  bool holes_pending = true;
  int nfields = 0;
  std::vector<std::string> field_names;
  std::string name;                   // base name, without ".DB"
  bool physical = false;              // the catalogue holds "Physical Index"
  int nindexes = 0;                   // keyed indexes
  IsamIndex* indexes = nullptr;       // chain, physical index first
  int32_t first_record = kHeaderSize; // offset of the first record: 8 + the field names
  std::vector<std::unique_ptr<IsamIndex>> owned;
  std::vector<const char*> names_out; // storage of iindex_names / ifield_names
  bool readonly = false;              // opened for the integrity check: nothing is written
  // Size of the data file: read at open, then kept by this process's own writes (the lock
  // keeps every other writer out), so no system call is needed to learn it.
  int64_t data_end = 0;
  DataCache cache;                    // pages of the data file, written back at flush and close
  // The change counter (data file header word 1) as this open last read or wrote it. Every
  // open that changes any of the database's three files moves it on in the file before its
  // first change while it holds the locks; so a process that kept the database open
  // without its locks (isuspend_db) finds at iresume_db whether what it holds in memory
  // still stands.
  uint32_t changes = 0;
  bool counted = false;    // the counter moved on since the locks were last taken
  bool suspended = false;  // isuspend_db: files open, locks given up; only resume or close
  bool evicted = false;    // suspended, and its files closed for another open of the name
  bool holes_idle = false; // the holes tree is open but its lock not taken since resuming

  IsamDb() = default;
  IsamDb(const IsamDb&) = delete;
  IsamDb& operator=(const IsamDb&) = delete;
  // As IsamIndex: trees still open when the database is given up are closed (the indexes
  // in `owned` close theirs), so no failure path leaves a file locked.
  ~IsamDb() {
    if (holes != nullptr) cbclose(holes);
    if (tree != nullptr) cbclose(tree);
  }
};

// Writes the data file's pending pages: false with isam_errno 7 and the "flushdb" trace line
// when a write failed (position.cpp).
bool I_flush_data(IsamDb* db);
// Moves the change counter on, in the file at once, unless done since the locks were taken
// (isam_writable calls it); false with isam_errno 7 when it cannot be written.
bool I_count_change(IsamDb* db);
// Closes the files of a suspended database for another open of its name (opendb.cpp).
void I_evict(IsamDb* db);

// Writes bytes of the data file through the page cache (they reach the file at the latest
// with iflush_db or iclose_db), keeping data_end.
bool I_write(IsamDb* db, const void* buf, size_t n, int64_t offset);
// Reads bytes of the data file through the page cache; the bytes read, or -1.
int64_t I_read(IsamDb* db, void* buf, size_t n, int64_t offset);

// Registry of open databases (isam.cpp). A suspended database is registered, but no
// member: every operation but iresume_db and iclose_db refuses it (isam_errno 1).
bool isam_registered(const IsamDb* db);
bool isam_is_member(const IsamDb* db);
// Clears isam_errno for an operation on a registered database; false with 1 otherwise.
bool isam_enter_registered(const IsamDb* db);
bool isam_index_member(const IsamDb* db, const IsamIndex* index);
// Clears isam_errno and checks both handles: 1, or -1 with isam_errno 1 or 2.
int isam_check_handles(IsamDb* db, IsamIndex* index);
void isam_register(IsamDb* db);
void isam_unregister(IsamDb* db);
// The open database of that base name, or nullptr.
IsamDb* isam_find_open(const std::string& base);
// Opens a database without writing anything, and without taking the data file's lock.
IsamDb* iopen_db_readonly(const char* name);
// Refuses changes to a database opened read-only (isam_errno 6).
bool isam_writable(IsamDb* db);
// Starts the B-tree layer when nobody has yet (100 buffers of 8192 bytes).
int isam_ensure_init();

// File names of a database.
std::string isam_base_name(const char* name);
std::string isam_file(const std::string& base, const char* suffix);

// Little-endian words of the data file.
inline void put_le32(unsigned char* p, int32_t v) {
  uint32_t u = static_cast<uint32_t>(v);
  p[0] = static_cast<unsigned char>(u);
  p[1] = static_cast<unsigned char>(u >> 8);
  p[2] = static_cast<unsigned char>(u >> 16);
  p[3] = static_cast<unsigned char>(u >> 24);
}
inline void put_le16(unsigned char* p, int32_t v) {
  p[0] = static_cast<unsigned char>(v);
  p[1] = static_cast<unsigned char>(v >> 8);
}
inline int32_t get_le16(const unsigned char* p) {
  return static_cast<int32_t>(p[0] | (p[1] << 8));
}
inline int32_t get_le32(const unsigned char* p) {
  return static_cast<int32_t>(static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
                              (static_cast<uint32_t>(p[2]) << 16) |
                              (static_cast<uint32_t>(p[3]) << 24));
}

// Data file access (getrec.cpp): the length word at `offset` (false on a read failure) and
// a whole record's field bytes, checked against the end of the file.
bool I_reclen(IsamDb* db, int32_t offset, int32_t* length);
int I_fetchrec(IsamDb* db, int32_t offset, std::string* bytes);
// Splits field bytes into exactly db->nfields texts; false when the bytes hold fewer.
bool I_split(const IsamDb* db, const std::string& bytes, std::vector<const char*>* fields);
// Points fields[0..n) at the zero-terminated texts of buf[0..end) (buf[end] must be zero);
// returns how many ended before `end`. The field that does not runs to buf[end]; those after
// it point at buf[end].
int I_split_fields(const char* buf, int end, int n, const char** fields);
// Counts the zero-terminated texts of buf[0..end) up to n and points fields[0..k) (k <= n)
// at the first k of them (the one without terminator, if it comes before k, runs to
// buf[end]); returns the count.
int I_split_prefix(const char* buf, int end, int n, int k, const char** fields);
// igetrec of the record at `offset` (the index entry already checked): 1, or -1.
int I_readrec(IsamDb* db, int32_t offset, const char** fields, char* buf, int bufsize);

// Walking the data file (findnext.cpp): the stretch after the one at `offset` and the first
// record at or after a stretch start; 0 at the end of the file, -1 on failure.
int64_t next_stretch(IsamDb* db, int32_t offset, int64_t end);
int64_t record_from(IsamDb* db, int64_t offset, int64_t end);

// Keys (mkkey.cpp): the key of `index` for the given field values (one a field of the
// database, nullptr ends the key); 1, or -1 with isam_errno 11.
int I_mkkey(const IsamDb* db, const IsamIndex* index, const char* const* values, std::string* key);
int isam_key_limit();
// Key of a keyed index from explicit key values (ifindkey): one value a key field.
int I_mkkey_values(const IsamIndex* index, const char* const* values, std::string* key);

// The key and record offset of the keyed index's current entry: 1; 0 when the cursor is
// on no entry; -1 when the key cannot be read (findnext.cpp).
int I_cursor_entry(IsamIndex* index, std::string* key, int32_t* offset);

// Opens the holes tree if that is still to be done, or takes its lock again after a resume:
// false (isam_errno 9) when its file is there but cannot be opened or locked (opendb.cpp).
bool I_open_holes(IsamDb* db);

// Free space (holes.cpp).
int32_t new_offset(IsamDb* db, int32_t* length);
int add_hole(IsamDb* db, int32_t offset, int32_t size);
int32_t I_mod_size_hole(IsamDb* db, int32_t old_size, int32_t old_offset, int32_t new_size,
                        int32_t new_offset);

// Catalogue of the index tree (mkindex.cpp).
std::string catalogue_key(const std::string& name, const std::vector<int>& fields);
bool parse_catalogue_key(const unsigned char* key, int len, std::string* name,
                         std::vector<int>* fields);
// Reads the catalogue and builds the index chain of an opened database.
int load_catalogue(IsamDb* db);
IsamIndex* make_index(IsamDb* db, int number, const std::string& name,
                      const std::vector<int>& fields);

}  // namespace kyt

#endif  // KYT_ISAM_ISAM_IMPL_H
