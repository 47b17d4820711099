// datacache: pages of a data file kept in memory, so that reading records in index order
// (which visits the file out of order) reads each page from the system once.
//
// Pages are 4096 bytes at multiples of 4096; the last page of the file holds fewer valid
// bytes. Every write to the data file passes through the cache (write-through), so a page in
// memory never differs from the file: nobody else writes the file while it is open and
// locked. All databases of the process share one budget of pages; a database over it gives
// up a page it has not used lately (a clock sweep over its pages), one without pages reads
// past the cache. Pages are found by number in a table as long as the file has pages, so
// that records read in index order, scattered over the file, cost one lookup each.
#ifndef KYT_ISAM_DATACACHE_H
#define KYT_ISAM_DATACACHE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

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
  // Asks the processor to fetch the bytes at `offset` if their page is held (a hint only).
  void prefetch(int64_t offset) const;
  // Takes note of bytes written to the file.
  void wrote(const void* buf, size_t n, int64_t offset);
  void clear();

 // The process budget in pages (kMaxPages unless a test narrows it).
  static void set_budget(int64_t pages);

 private:
  struct Page {
    std::unique_ptr<unsigned char[]> bytes;  // null: not held
    int64_t valid = 0;                       // bytes of the page that hold file data
    bool used = false;                       // looked at since the clock hand last passed
  };
  Page* page(platform::File& file, int64_t no, int64_t end);
  bool give_back_one();
  void drop(Page& p);

  std::vector<Page> pages_;  // by page number
  int64_t held_ = 0;         // pages_ entries with bytes
  size_t hand_ = 0;          // the clock hand
};

}  // namespace kyt

#endif  // KYT_ISAM_DATACACHE_H
