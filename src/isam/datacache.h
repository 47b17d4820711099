// datacache: pages of a data file kept in memory, so that reading records in index order
// (which visits the file out of order) reads each page from the system once, and so that
// the many small writes of adding and deleting records (a record, a hole's length word)
// reach the system as one write a page at the next flush.
//
// Pages are 4096 bytes at multiples of 4096; the last page of the file holds fewer valid
// bytes. Every write to the data file passes through the cache. A held page is the truth
// about its bytes; the bytes it changed since they were last written out (one range a
// page) go to the file when the page is given up, at flush(), and never later than the
// database's flush or close. A page not held has its bytes in the file. Nobody else
// writes the file while it is open and locked, so a page read once stays right.
//
// All databases of the process share one budget of pages; a database over it gives up a
// page it has not used lately (a clock sweep over its pages, writing it out first if it
// changed); one without pages works past the cache. Pages are found by number in a table
// as long as the file has pages, so that records read in index order, scattered over the
// file, cost one lookup each.
//
// A write to the file that fails is remembered: the next flush() answers false.
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
  // page. The pointer is valid until the next call on this cache. `rest`, when given, gets
  // the bytes from `offset` to the end of the page's data, all of which may be read.
  const unsigned char* view(platform::File& file, int64_t offset, size_t n, int64_t end,
                            int64_t* rest = nullptr) {
    // A page already held is found here; everything else goes the long way.
    const uint64_t no = static_cast<uint64_t>(offset) / kPageSize;
    if (offset >= 0 && no < pages_.size() && pages_[no].bytes != nullptr) {
      Page& p = pages_[no];
      const int64_t in = offset - static_cast<int64_t>(no) * kPageSize;
      if (in + static_cast<int64_t>(n) <= p.valid && offset + static_cast<int64_t>(n) <= end) {
        p.used = true;
        if (rest != nullptr) *rest = p.valid - in;
        return p.bytes.get() + in;
      }
    }
    return view_slow(file, offset, n, end, rest);
  }
  // Asks the processor to fetch the bytes at `offset` if their page is held (a hint only).
  void prefetch(int64_t offset) const;
  // Writes n bytes at `offset` of `file` whose size is `end` (offset <= end): into the
  // pages held (or made for bytes past the end), the rest to the file at once. False when
  // a write to the file failed; what reached the file is then not known.
  bool write(platform::File& file, const void* buf, size_t n, int64_t offset, int64_t end);
  // Writes every changed range to the file; false when this or an earlier write failed.
  bool flush(platform::File& file);
  // Forgets every page, changed or not (after flush(), or when the file's state is lost).
  void clear();

  // The process budget in pages (kMaxPages unless a test narrows it).
  static void set_budget(int64_t pages);

 private:
  struct Page {
    std::unique_ptr<unsigned char[]> bytes;  // null: not held
    int64_t valid = 0;                       // bytes of the page that hold file data
    int32_t lo = 0, hi = 0;                  // changed bytes not yet written: [lo, hi)
    bool used = false;                       // looked at since the clock hand last passed
  };
  Page* page(platform::File& file, int64_t no, int64_t end);
  const unsigned char* view_slow(platform::File& file, int64_t offset, size_t n, int64_t end,
                                 int64_t* rest);
  Page* hold(int64_t no);  // a page made for bytes past the end, or nullptr
  bool give_back_one(platform::File& file);
  bool write_out(platform::File& file, int64_t no);
  void drop(Page& p);
  void forget_clean();  // keeps dirty_ to the pages still changed

  std::vector<Page> pages_;     // by page number
  std::vector<int64_t> dirty_;  // numbers of pages with changed bytes (each once)
  int64_t held_ = 0;            // pages_ entries with bytes
  size_t hand_ = 0;             // the clock hand
  bool failed_ = false;         // a write to the file failed since the last flush
};

}  // namespace kyt

#endif  // KYT_ISAM_DATACACHE_H
