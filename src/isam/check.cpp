// check: the integrity check of a database (kytadm check).
//
// It reads, never writes: a database that is not open in this process is opened read-only
// (data file and both trees), one that is open is checked through its own handles. Checks:
// the data file header; records and holes tile the data file from the first record to the
// end, every record holding all its fields; the structure of both trees; the catalogue;
// every keyed index holds exactly one entry per record, with the key built from that
// record, and nothing else; the holes tree lists exactly the holes, by size and by offset.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "isam/isam_impl.h"

namespace kyt {

namespace {

struct Report {
  std::vector<std::string>* out;
  size_t limit;
  size_t count = 0;
  void add(const char* format, ...)
#if defined(__GNUC__)
      __attribute__((format(printf, 2, 3)))
#endif
  {
    ++count;
    if (out->size() >= limit) return;
    char line[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    out->push_back(line);
  }
};

using Entry = std::pair<std::string, int32_t>;  // key, data

// Every entry of a tree whose key starts with `first` (all entries when first < 0).
bool entries(CbCursor* c, int first, std::vector<Entry>* out, Report* r, const char* what) {
  out->clear();
  int32_t data = 0;
  int rc;
  if (first >= 0) {
    const unsigned char k = static_cast<unsigned char>(first);
    rc = cbfind(c, &k, 1, &data);
  } else {
    while ((rc = cbprev(c, &data)) == 1) {
    }
    rc = cbnext(c, &data);
  }
  std::string key;
  while (rc == 1 || rc == 2 || rc == 3) {
    int len = 0;
    if (cbkeylen(c, &len) != 1 || len < 0) break;
    key.assign(static_cast<size_t>(len), '\0');
    if (len > 0 && cbkey(c, key.data(), len) != 1) break;
    if (cbcurr(c, &data) != 1) break;
    if (first >= 0 && (key.empty() || static_cast<unsigned char>(key[0]) != first)) return true;
    out->emplace_back(key, data);
    rc = cbnext(c, &data);
  }
  if (rc == -3) return true;
  r->add("%s: cannot walk the tree (cb_errcode %d)", what, cb_errcode);
  return false;
}

std::string printable(const std::string& key) {
  std::string s;
  for (unsigned char ch : key) {
    if (ch >= 0x20 && ch < 0x7F) {
      s += static_cast<char>(ch);
    } else {
      char hex[5];
      std::snprintf(hex, sizeof hex, "\\x%02x", ch);
      s += hex;
    }
  }
  return s.size() > 60 ? s.substr(0, 60) + "..." : s;
}

// Compares what an index holds with what it should hold.
void compare(const std::vector<Entry>& want, const std::vector<Entry>& have, Report* r,
             const char* what) {
  std::vector<Entry> missing, extra;
  std::set_difference(want.begin(), want.end(), have.begin(), have.end(),
                      std::back_inserter(missing));
  std::set_difference(have.begin(), have.end(), want.begin(), want.end(),
                      std::back_inserter(extra));
  for (const Entry& e : missing) {
    r->add("%s: no entry for the record at %d (key '%s')", what, e.second,
           printable(e.first).c_str());
  }
  for (const Entry& e : extra) {
    r->add("%s: entry '%s' -> %d matches no record", what, printable(e.first).c_str(), e.second);
  }
}

std::string hole_key(unsigned char kind, int32_t v) {
  std::string k(5, '\0');
  const uint32_t u = static_cast<uint32_t>(v);
  k[0] = static_cast<char>(kind);
  for (int i = 0; i < 4; ++i) k[1 + i] = static_cast<char>(u >> (24 - 8 * i));
  return k;
}

void check_open(IsamDb* db, Report* r) {
  // Trees first: a tree that fails its structural check is not walked (a damaged chain
  // could lead a walk in circles).
  std::string problem;
  const bool tree_sound = cbcheck(db->tree, &problem) == 1;
  if (!tree_sound) r->add("index tree: %s", problem.c_str());
  if (!I_open_holes(db)) {
    r->add("holes tree: cannot open: %s (the header block, block 0, of the .HOL file beside the "
           "data file; cb_errcode %d)",
           isam_strerror(isam_errno), cb_errcode);
  }
  const bool holes_sound = db->holes == nullptr || cbcheck(db->holes, &problem) == 1;
  if (!holes_sound) r->add("holes tree: %s", problem.c_str());
  // Tiling of the data file.
  struct Record {
    int32_t offset;
    std::string bytes;
  };
  std::vector<Record> records;
  std::vector<std::pair<int32_t, int32_t>> holes;  // offset, size
  const int64_t end = db->data_end;
  int64_t at = db->first_record;
  while (at < end) {
    int32_t len = 0;
    if (!I_reclen(db, static_cast<int32_t>(at), &len) || end - at < 4) {
      r->add("data file: a length word is cut off at %lld", static_cast<long long>(at));
      break;
    }
    const int64_t size = len < 0 ? -static_cast<int64_t>(len) : len;
    if (len == 0 || at + 4 + size > end) {
      r->add("data file: length word %d at %lld runs past the end (%lld)", len,
             static_cast<long long>(at), static_cast<long long>(end));
      break;
    }
    if (len > 0) {
      std::string bytes;
      std::vector<const char*> fields;
      if (I_fetchrec(db, static_cast<int32_t>(at), &bytes) != 1 || !I_split(db, bytes, &fields)) {
        r->add("data file: the record at %lld does not hold its %d fields",
               static_cast<long long>(at), db->nfields);
      } else {
        records.push_back({static_cast<int32_t>(at), std::move(bytes)});
      }
    } else {
      holes.emplace_back(static_cast<int32_t>(at), -len);
    }
    at += 4 + size;
  }
  // Every keyed index against the records.
  std::vector<Entry> want, have;
  std::vector<const char*> fields;
  std::string key;
  for (IsamIndex* i = db->indexes; i != nullptr && tree_sound; i = i->next) {
    if (i->number == 0) continue;
    want.clear();
    for (const Record& rec : records) {
      I_split(db, rec.bytes, &fields);
      if (I_mkkey(db, i, fields.data(), &key) == 1) want.emplace_back(key, rec.offset);
    }
    std::sort(want.begin(), want.end());
    const std::string what = "index " + i->name;
    if (entries(db->tree, i->number, &have, r, what.c_str())) {
      std::sort(have.begin(), have.end());
      compare(want, have, r, what.c_str());
    }
  }
  // Entries of index numbers that the catalogue does not name.
  std::vector<Entry> all;
  if (tree_sound && entries(db->tree, -1, &all, r, "index tree")) {
    for (const Entry& e : all) {
      if (e.first.empty()) {
        r->add("index tree: an empty key");
        continue;
      }
      const int n = static_cast<unsigned char>(e.first[0]);
      bool known = n == kCatalogueByte;
      for (IsamIndex* i = db->indexes; i != nullptr && !known; i = i->next) known = i->number == n;
      if (!known) {
        r->add("index tree: entry '%s' belongs to no index", printable(e.first).c_str());
        break;
      }
    }
  }
  // The holes tree against the holes. Without its file nothing lists the holes there are,
  // so none of them is ever used again.
  if (db->holes == nullptr && !db->holes_pending && !holes.empty()) {
    r->add("holes file %s is missing, though the data file has %lld holes",
           isam_file(db->name, ".HOL").c_str(), static_cast<long long>(holes.size()));
  }
  if (db->holes != nullptr && holes_sound) {
    want.clear();
    for (const auto& [off, size] : holes) {
      want.emplace_back(hole_key(0xFF, size), off);
      want.emplace_back(hole_key(0xFE, off), size);
    }
    std::sort(want.begin(), want.end());
    if (entries(db->holes, -1, &have, r, "holes tree")) {
      std::sort(have.begin(), have.end());
      compare(want, have, r, "holes tree");
    }
  }
}

// Whether another process holds the database (the lock on its data file's header): its
// files may then lack changes that process has not written yet, so they are not checked.
// Files that cannot be opened for writing are nobody's to change, and are checked.
bool held_elsewhere(const std::string& base) {
  platform::File f;
  if (!f.open(isam_file(base, ".DB").c_str(), platform::OpenMode::kReadWrite)) return false;
  return !f.lock_header();  // a lock taken here goes with the close
}

}  // namespace

bool icheck_db(const char* name, std::vector<std::string>* problems, size_t limit) {
  Report r{problems, limit};
  isam_errno = 0;
  const std::string base = isam_base_name(name);
  IsamDb* db = isam_find_open(base);
  if (db != nullptr && db->suspended) {
    // Checked as it is in the files now: taken up again if nobody changed it, else closed
    // for its owner to open anew, and read like a database nobody here has open.
    if (iresume_db(db) == 1) {
      check_open(db, &r);
      isuspend_db(db);
      return r.count == 0;
    }
    I_evict(db);
    db = nullptr;
  }
  if (db != nullptr) {
    check_open(db, &r);
    return r.count == 0;
  }
  if (held_elsewhere(base)) {
    r.add("locked by another process: not checked");
    isam_errno = kIsamLocked;
    return false;
  }
  db = iopen_db_readonly(base.c_str());
  if (db == nullptr) {
    if (isam_errno == kIsamNoFile) {
      // Which of the two files is missing, so the user knows what to restore.
      for (const char* suffix : {".DB", ".IDX"}) {
        const std::string file = isam_file(base, suffix);
        if (!platform::file_exists(file.c_str())) {
          r.add("%s file %s is missing", suffix[1] == 'D' ? "data" : "index", file.c_str());
        }
      }
    }
    if (r.count == 0) {
      // The words of isam_errno, then what to look at.
      const std::string data = isam_file(base, ".DB"), index = isam_file(base, ".IDX");
      switch (isam_errno) {
        case kIsamDataCorrupt:
          r.add("cannot open: %s: the header of %s (field count and first record offset in "
                "bytes 0 to 3, then the field names) is not valid",
                isam_strerror(isam_errno), data.c_str());
          break;
        case kIsamCbt:
        case kIsamIndexCorrupt:
          r.add("cannot open: %s: the header block (block 0) of %s cannot be used (cb_errcode %d)",
                isam_strerror(isam_errno), index.c_str(), cb_errcode);
          break;
        case kIsamIo:
          r.add("cannot open: %s: %s or %s cannot be read (permissions, a short file)",
                isam_strerror(isam_errno), data.c_str(), index.c_str());
          break;
        default:
          r.add("cannot open %s: %s", data.c_str(), isam_strerror(isam_errno));
      }
    }
    return false;
  }
  check_open(db, &r);
  iclose_db(db);
  return r.count == 0;
}

}  // namespace kyt
