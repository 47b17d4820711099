// createdb: making and destroying the files of a database.
#include <chrono>
#include <cstring>

#include "isam/isam_impl.h"

namespace kyt {

namespace {
constexpr const char* kModule = "KYTEXE";

// The trees take blocks as large as the pool's buffers allow, at most 8192 bytes.
int tree_block_size() {
  int size = cbbufsize();
  return size > 0 && size < 8192 ? size : 8192;
}

int create_tree(const std::string& file, bool physical) {
  CbCursor* c = cbcreate(file.c_str(), nullptr, tree_block_size());
  if (c == nullptr) {
    isam_errno = kIsamCbt;
    ISAM_TRACE(kModule, "createdb : cbcreate (%s) failed", file.c_str());
    return -1;
  }
  int rc = 1;
  if (physical) {
    std::string key = catalogue_key(kPhysicalIndex, {});
    if (cbinsert(c, key.data(), static_cast<int>(key.size()), 0, 0) != 1) {
      isam_errno = kIsamCbt;
      rc = -1;
    }
  }
  if (cbclose(c) != 1 && rc == 1) {
    isam_errno = kIsamCbt;
    rc = -1;
  }
  return rc;
}
}  // namespace

namespace {
int32_t first_counter() {
  static uint32_t made = 0;
  uint64_t x = static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  x ^= static_cast<uint64_t>(platform::process_id()) << 32;
  x ^= ++made * 0x9E3779B97F4A7C15ull;
  x ^= x >> 29;
  x *= 0xBF58476D1CE4E5B9ull;
  x ^= x >> 32;
  return static_cast<int32_t>(static_cast<uint32_t>(x));
}
}  // namespace

int icreate_db(const char* name, const char* const* fields) {
  isam_errno = 0;
  if (isam_ensure_init() != 1) return -1;
  const std::string base = isam_base_name(name);
  if (base.empty() || fields == nullptr || fields[0] == nullptr) {
    isam_errno = kIsamBadName;
    return -1;
  }
  const std::string data = isam_file(base, ".DB");
  const std::string idx = isam_file(base, ".IDX");
  const std::string hol = isam_file(base, ".HOL");
  if (platform::file_exists(idx.c_str())) {
    isam_errno = kIsamNoOverwrite;
    return -1;
  }
  // Header: field count and first record offset (16 bits each), change counter, then the
  // field names. The counter starts from a value that differs from one making of a file to
  // the next, so that a process still holding a removed file of this name open cannot take
  // the new one for its own.
  std::string header(kHeaderSize, '\0');
  int32_t nfields = 0;
  for (const char* const* f = fields; *f != nullptr; ++f) {
    if (**f == '\0' || nfields == kMaxFields ||
        header.size() + std::strlen(*f) + 1 > static_cast<size_t>(kMaxFirstRecord)) {
      isam_errno = kIsamBadField;
      return -1;
    }
    header.append(*f);
    header.push_back('\0');
    ++nfields;
  }
  unsigned char* head = reinterpret_cast<unsigned char*>(header.data());
  put_le16(head, nfields);
  put_le16(head + 2, static_cast<int32_t>(header.size()));
  put_le32(head + 4, first_counter());

  platform::File f;
  if (!f.open(data.c_str(), platform::OpenMode::kCreate)) {
    isam_errno = kIsamIo;
    ISAM_TRACE(kModule, "createdb : qmz_creat (IO_ERROR 1)");
    return -1;
  }
  f.close();
  if (!f.open(data.c_str(), platform::OpenMode::kReadWrite)) {
    isam_errno = kIsamIo;
    ISAM_TRACE(kModule, "createdb : qmz_open (IO_ERROR 2)");
    return -1;
  }
  if (f.write_at(header.data(), header.size(), 0) != static_cast<int64_t>(header.size())) {
    isam_errno = kIsamIo;
    ISAM_TRACE(kModule, "createdb : qmz_write (IO_ERROR 3)");
    f.close();
    platform::remove_file(data.c_str());
    return -1;
  }
  f.close();
  if (create_tree(idx, true) != 1 || create_tree(hol, false) != 1) {
    platform::remove_file(data.c_str());
    platform::remove_file(idx.c_str());
    platform::remove_file(hol.c_str());
    return -1;
  }
  return 1;
}

int idestroy_db(const char* name) {
  isam_errno = 0;
  const std::string base = isam_base_name(name);
  const std::string data = isam_file(base, ".DB");
  if (!platform::file_exists(data.c_str())) {
    isam_errno = kIsamNoFile;
    return -1;
  }
  int rc = 1;
  for (const char* suffix : {".DB", ".IDX", ".HOL"}) {
    const std::string file = isam_file(base, suffix);
    if (platform::file_exists(file.c_str()) && !platform::remove_file(file.c_str())) {
      isam_errno = kIsamInUse;  // an open database keeps its files
      rc = -1;
    }
  }
  return rc;
}

}  // namespace kyt
