// datacache: the page cache of data files.
#include "isam/datacache.h"

#include <algorithm>
#include <cstring>

namespace kyt {

namespace {
int64_t g_pages = 0;                          // pages held by every cache of the process
int64_t g_budget = DataCache::kMaxPages;
}  // namespace

void DataCache::set_budget(int64_t pages) { g_budget = pages; }

void DataCache::drop(Page& p) {
  p.bytes.reset();
  p.valid = 0;
  p.lo = p.hi = 0;
  p.used = false;
  --held_;
  --g_pages;
}

void DataCache::clear() {
  g_pages -= held_;
  held_ = 0;
  pages_.clear();
  dirty_.clear();
  hand_ = 0;
}

bool DataCache::write_out(platform::File& file, int64_t no) {
  Page& p = pages_[static_cast<size_t>(no)];
  if (p.bytes == nullptr || p.lo >= p.hi) return true;
  const int64_t n = p.hi - p.lo;
  const bool ok = file.write_at(p.bytes.get() + p.lo, static_cast<size_t>(n), no * kPageSize + p.lo) == n;
  if (!ok) failed_ = true;
  p.lo = p.hi = 0;
  return ok;
}

bool DataCache::give_back_one(platform::File& file) {
  if (held_ == 0) return false;
  // Two rounds at most: the first clears every `used` mark it passes.
  for (size_t step = 0; step < 2 * pages_.size(); ++step) {
    if (hand_ >= pages_.size()) hand_ = 0;
    const size_t no = hand_++;
    Page& p = pages_[no];
    if (p.bytes == nullptr) continue;
    if (p.used) {
      p.used = false;
      continue;
    }
    write_out(file, static_cast<int64_t>(no));  // a failure is kept for the next flush
    drop(p);
    return true;
  }
  return false;
}

DataCache::Page* DataCache::hold(int64_t no) {
  if (no >= static_cast<int64_t>(pages_.size())) pages_.resize(static_cast<size_t>(no) + 1);
  Page& p = pages_[static_cast<size_t>(no)];
  p.bytes = std::make_unique<unsigned char[]>(kPageSize);
  p.valid = 0;
  p.lo = p.hi = 0;
  p.used = true;
  ++held_;
  ++g_pages;
  return &p;
}

DataCache::Page* DataCache::page(platform::File& file, int64_t no, int64_t end) {
  if (no < static_cast<int64_t>(pages_.size()) && pages_[static_cast<size_t>(no)].bytes != nullptr) {
    Page& p = pages_[static_cast<size_t>(no)];
    p.used = true;
    return &p;
  }
  const int64_t start = no * kPageSize;
  const int64_t valid = end - start < kPageSize ? end - start : kPageSize;
  if (valid <= 0) return nullptr;
  if (g_pages >= g_budget && !give_back_one(file)) return nullptr;  // over the budget: past the cache
  auto bytes = std::make_unique<unsigned char[]>(kPageSize);
  if (file.read_at(bytes.get(), static_cast<size_t>(valid), start) != valid) return nullptr;
  Page* p = hold(no);
  p->bytes = std::move(bytes);
  p->valid = valid;
  return p;
}

int64_t DataCache::read(platform::File& file, void* buf, size_t n, int64_t offset, int64_t end) {
  if (offset < 0) return -1;
  if (static_cast<int64_t>(n) > 4 * kPageSize) {
    // A long read goes to the file: the pages it covers write their changes out first.
    const int64_t last = (offset + static_cast<int64_t>(n) - 1) / kPageSize;
    for (int64_t no = offset / kPageSize; no <= last && no < static_cast<int64_t>(pages_.size()); ++no) {
      if (!write_out(file, no)) return -1;
    }
    return file.read_at(buf, n, offset);
  }
  auto* out = static_cast<unsigned char*>(buf);
  int64_t done = 0;
  while (done < static_cast<int64_t>(n)) {
    const int64_t at = offset + done;
    if (at >= end) break;
    const int64_t no = at / kPageSize;
    Page* p = page(file, no, end);
    if (p == nullptr) {
      const int64_t got = file.read_at(out + done, n - static_cast<size_t>(done), at);
      return got < 0 ? (done > 0 ? done : -1) : done + got;
    }
    const int64_t in = at - no * kPageSize;
    int64_t take = p->valid - in;
    if (take <= 0) break;
    if (take > static_cast<int64_t>(n) - done) take = static_cast<int64_t>(n) - done;
    std::memcpy(out + done, p->bytes.get() + in, static_cast<size_t>(take));
    done += take;
  }
  return done;
}

const unsigned char* DataCache::view_slow(platform::File& file, int64_t offset, size_t n,
                                          int64_t end, int64_t* rest) {
  if (offset < 0 || static_cast<int64_t>(n) > kPageSize) return nullptr;
  const int64_t no = offset / kPageSize;
  const int64_t in = offset - no * kPageSize;
  if (in + static_cast<int64_t>(n) > kPageSize || offset + static_cast<int64_t>(n) > end) return nullptr;
  Page* p = page(file, no, end);
  if (p == nullptr || in + static_cast<int64_t>(n) > p->valid) return nullptr;
  if (rest != nullptr) *rest = p->valid - in;
  return p->bytes.get() + in;
}

void DataCache::prefetch(int64_t offset) const {
  const int64_t no = offset / kPageSize;
  if (offset < 0 || no >= static_cast<int64_t>(pages_.size())) return;
  const unsigned char* b = pages_[static_cast<size_t>(no)].bytes.get();
  if (b == nullptr) return;
  const int64_t in = offset - no * kPageSize;
  // A short record: the length word and the next two cache lines.
  for (int64_t at = in; at < in + 192 && at < kPageSize; at += 64) __builtin_prefetch(b + at);
}

bool DataCache::write(platform::File& file, const void* buf, size_t n, int64_t offset, int64_t end) {
  if (offset < 0 || offset > end) return file.write_at(buf, n, offset) == static_cast<int64_t>(n);
  const auto* in = static_cast<const unsigned char*>(buf);
  const int64_t stop = offset + static_cast<int64_t>(n);
  bool ok = true;
  for (int64_t no = offset / kPageSize; no * kPageSize < stop; ++no) {
    const int64_t start = no * kPageSize;
    const int64_t from = offset > start ? offset : start;
    const int64_t to = stop < start + kPageSize ? stop : start + kPageSize;
    Page* p = no < static_cast<int64_t>(pages_.size()) && pages_[static_cast<size_t>(no)].bytes != nullptr
                  ? &pages_[static_cast<size_t>(no)]
                  : nullptr;
    if (p == nullptr && start >= end && (g_pages < g_budget || give_back_one(file))) {
      p = hold(no);  // bytes past the end: nothing to read first
    }
    // Bytes of pages not held go straight to the file (reading a page in to change a few
    // of its bytes would cost more than the write), and so do bytes after a gap in a page
    // (never made by the callers, which write inside the file or at its end).
    if (p == nullptr || from - start > p->valid) {
      if (p != nullptr && !write_out(file, no)) ok = false;
      if (p != nullptr) drop(*p);
      if (file.write_at(in + (from - offset), static_cast<size_t>(to - from), from) != to - from) {
        failed_ = true;
        ok = false;
      }
      continue;
    }
    std::memcpy(p->bytes.get() + (from - start), in + (from - offset), static_cast<size_t>(to - from));
    if (to - start > p->valid) p->valid = to - start;
    const int32_t lo = static_cast<int32_t>(from - start), hi = static_cast<int32_t>(to - start);
    if (p->lo >= p->hi) {
      if (dirty_.size() > 2 * static_cast<size_t>(held_) + 64) forget_clean();
      dirty_.push_back(no);
      p->lo = lo;
      p->hi = hi;
    } else {
      p->lo = std::min(p->lo, lo);
      p->hi = std::max(p->hi, hi);
    }
  }
  return ok;
}

void DataCache::forget_clean() {
  auto clean = [this](int64_t no) {
    return no >= static_cast<int64_t>(pages_.size()) || pages_[static_cast<size_t>(no)].lo >= pages_[static_cast<size_t>(no)].hi;
  };
  dirty_.erase(std::remove_if(dirty_.begin(), dirty_.end(), clean), dirty_.end());
  std::sort(dirty_.begin(), dirty_.end());
  dirty_.erase(std::unique(dirty_.begin(), dirty_.end()), dirty_.end());
}

bool DataCache::flush(platform::File& file) {
  // In file order: the system sees the writes as one forward pass.
  std::sort(dirty_.begin(), dirty_.end());
  for (int64_t no : dirty_) {
    if (no < static_cast<int64_t>(pages_.size())) write_out(file, no);
  }
  dirty_.clear();
  const bool ok = !failed_;
  failed_ = false;
  return ok;
}

}  // namespace kyt
