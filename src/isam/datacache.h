// datacache: pages of a data file kept in memory, so that reading records in index order
// (which visits the file out of order) reads each page from the system once.
//
// Pages are 4096 bytes at multiples of 4096; the last page of the file holds fewer valid
// bytes. Every write to the data file passes through the cache (write-through), so a page in
// memory never differs from the file: nobody else writes the file while it is open and
// locked. All databases of the process share one budget of pages; a database over it gives
// up its least recently used page, one without pages reads past the cache.
#ifndef KYT_ISAM_DATACACHE_H
#define KYT_ISAM_DATACACHE_H

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <unordered_map>

#include "platform/platform.h"

namespace kyt {

class DataCache {
 public:
  static constexpr int64_t kPageSize = 4096;
  static constexpr int64_t kMaxPages = 4096;  // 16 MiB for the whole process

  DataCache() = default;
  ~DataCache() { clear(); }
  DataCache(const DataCache&) = delete;
  DataCache& operator=(const DataCache&) = delete;

  // Reads up to n bytes at `offset` of `file` whose size is `end`; the bytes read, or -1.
  int64_t read(platform::File& file, void* buf, size_t n, int64_t offset, int64_t end);
  // The n bytes at `offset` where they lie inside one page of the cache (read in if need
  // be); nullptr when they cross a page end, lie past `end`, or the cache cannot hold the
  // page. The pointer is valid until the next call on this cache.
  const unsigned char* view(platform::File& file, int64_t offset, size_t n, int64_t end);
  // Takes note of bytes written to the file.
  void wrote(const void* buf, size_t n, int64_t offset);
  void clear();

 private:
  struct Page {
    int64_t no;
    int64_t valid;  // bytes of the page that hold file data
    std::unique_ptr<unsigned char[]> bytes;
  };
  Page* page(platform::File& file, int64_t no, int64_t end);

  std::list<Page> pages_;  // most recently used first
  std::unordered_map<int64_t, std::list<Page>::iterator> index_;
};

}  // namespace kyt

#endif  // KYT_ISAM_DATACACHE_H
