// pool: bump allocation in chunks; reset rewinds to the first chunk.
#include "sql/pool.h"

#include <algorithm>

namespace kyt {

namespace {

constexpr size_t kChunkSize = 16 * 1024;
constexpr size_t kKeepBytes = 256 * 1024;  // kept over a reset; larger chunks are let go
constexpr size_t kAlign = 8;

}  // namespace

void* StmtPool::alloc(size_t size) {
  size_t need = (size + kAlign - 1) & ~(kAlign - 1);
  if (need < size) return nullptr;  // wrapped
  if (limit_ != 0 && (need > limit_ || used_ > limit_ - need)) return nullptr;
  while (current_ < chunks_.size()) {
    Chunk& c = chunks_[current_];
    if (c.size - offset_ >= need) {
      void* p = c.mem.get() + offset_;
      offset_ += need;
      used_ += need;
      return p;
    }
    ++current_;  // the rest of this chunk stays unused until the next reset
    offset_ = 0;
  }
  size_t size_new = std::max(kChunkSize, need);
  Chunk c{std::unique_ptr<char[]>(new (std::nothrow) char[size_new]), size_new};
  if (c.mem == nullptr) return nullptr;
  try {
    chunks_.push_back(std::move(c));
  } catch (...) {
    return nullptr;
  }
  current_ = chunks_.size() - 1;
  offset_ = need;
  used_ += need;
  return chunks_.back().mem.get();
}

char* StmtPool::copy(const char* s, size_t n) {
  char* p = static_cast<char*>(alloc(n + 1));
  if (p == nullptr) return nullptr;
  if (n > 0) std::memcpy(p, s, n);
  p[n] = '\0';
  return p;
}

void StmtPool::reset() {
  size_t kept = 0;
  size_t i = 0;
  while (i < chunks_.size() && kept + chunks_[i].size <= kKeepBytes) kept += chunks_[i++].size;
  chunks_.resize(i);  // an oversized chunk of one long statement is not kept
  current_ = 0;
  offset_ = 0;
  used_ = 0;
}

std::unique_ptr<StmtPool> StmtPool::detach() {
  auto kept = std::unique_ptr<StmtPool>(new (std::nothrow) StmtPool);
  if (kept == nullptr) return nullptr;
  size_t n = std::min(current_ + 1, chunks_.size());
  try {
    kept->chunks_.reserve(n);
  } catch (...) {
    return nullptr;
  }
  for (size_t i = 0; i < n; ++i) kept->chunks_.push_back(std::move(chunks_[i]));
  kept->current_ = n == 0 ? 0 : n - 1;
  kept->offset_ = offset_;
  kept->used_ = used_;
  chunks_.erase(chunks_.begin(), chunks_.begin() + static_cast<std::ptrdiff_t>(n));
  current_ = 0;
  offset_ = 0;
  used_ = 0;
  return kept;
}

StmtPool& stmt_pool() {
  static StmtPool pool;
  return pool;
}

StmtPool& dbi_pool() {
  static StmtPool pool;
  return pool;
}

void pool_reset_for_tests() {
  for (StmtPool* p : {&stmt_pool(), &dbi_pool()}) {
    p->set_limit(0);
    p->reset();
  }
}

}  // namespace kyt
