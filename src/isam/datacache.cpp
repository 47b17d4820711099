// datacache: the page cache of data files.
#include "isam/datacache.h"

#include <cstring>

namespace kyt {

namespace {
int64_t g_pages = 0;  // pages held by every cache of the process
}  // namespace

void DataCache::clear() {
  g_pages -= static_cast<int64_t>(pages_.size());
  pages_.clear();
  index_.clear();
}

DataCache::Page* DataCache::page(platform::File& file, int64_t no, int64_t end) {
  // Records read in index order mostly follow each other in the file.
  if (!pages_.empty() && pages_.front().no == no) return &pages_.front();
  auto it = index_.find(no);
  if (it != index_.end()) {
    pages_.splice(pages_.begin(), pages_, it->second);
    return &pages_.front();
  }
  const int64_t start = no * kPageSize;
  const int64_t valid = end - start < kPageSize ? end - start : kPageSize;
  if (valid <= 0) return nullptr;
  if (g_pages >= kMaxPages) {
    if (pages_.empty()) return nullptr;  // over the budget: read past the cache
    index_.erase(pages_.back().no);
    pages_.pop_back();
    --g_pages;
  }
  Page p{no, valid, std::make_unique<unsigned char[]>(kPageSize)};
  if (file.read_at(p.bytes.get(), static_cast<size_t>(valid), start) != valid) return nullptr;
  pages_.push_front(std::move(p));
  index_[no] = pages_.begin();
  ++g_pages;
  return &pages_.front();
}

int64_t DataCache::read(platform::File& file, void* buf, size_t n, int64_t offset, int64_t end) {
  if (offset < 0) return -1;
  if (static_cast<int64_t>(n) > 4 * kPageSize) return file.read_at(buf, n, offset);
  auto* out = static_cast<unsigned char*>(buf);
  int64_t done = 0;
  while (done < static_cast<int64_t>(n)) {
    const int64_t at = offset + done;
    if (at >= end) break;
    Page* p = page(file, at / kPageSize, end);
    if (p == nullptr) {
      const int64_t got = file.read_at(out + done, n - static_cast<size_t>(done), at);
      return got < 0 ? (done > 0 ? done : -1) : done + got;
    }
    const int64_t in = at - p->no * kPageSize;
    int64_t take = p->valid - in;
    if (take <= 0) break;
    if (take > static_cast<int64_t>(n) - done) take = static_cast<int64_t>(n) - done;
    std::memcpy(out + done, p->bytes.get() + in, static_cast<size_t>(take));
    done += take;
  }
  return done;
}

const unsigned char* DataCache::view(platform::File& file, int64_t offset, size_t n, int64_t end) {
  if (offset < 0 || static_cast<int64_t>(n) > kPageSize) return nullptr;
  const int64_t no = offset / kPageSize;
  const int64_t in = offset - no * kPageSize;
  if (in + static_cast<int64_t>(n) > kPageSize || offset + static_cast<int64_t>(n) > end) return nullptr;
  Page* p = page(file, no, end);
  if (p == nullptr || in + static_cast<int64_t>(n) > p->valid) return nullptr;
  return p->bytes.get() + in;
}

void DataCache::wrote(const void* buf, size_t n, int64_t offset) {
  const auto* in = static_cast<const unsigned char*>(buf);
  const int64_t stop = offset + static_cast<int64_t>(n);
  for (int64_t no = offset / kPageSize; no * kPageSize < stop; ++no) {
    auto it = index_.find(no);
    if (it == index_.end()) continue;
    Page& p = *it->second;
    const int64_t start = no * kPageSize;
    const int64_t from = offset > start ? offset : start;
    const int64_t to = stop < start + kPageSize ? stop : start + kPageSize;
    if (from - start > p.valid) {
      // A write past the valid end of the last page: drop the page rather than guess the gap.
      g_pages -= 1;
      pages_.erase(it->second);
      index_.erase(it);
      continue;
    }
    std::memcpy(p.bytes.get() + (from - start), in + (from - offset), static_cast<size_t>(to - from));
    if (to - start > p.valid) p.valid = to - start;
  }
}

}  // namespace kyt
