// pool: statement memory.
//
// Everything a parse builds (the joined statement text, the scanner's work buffer, the
// statement record, its lists and its expression tree) is taken from a pool by bumping a
// pointer, and given back all at once when the pool is reset before the next parse. Nothing
// in a pool is freed one by one, so an error path can simply return: no leak is possible.
//
// Two process-wide pools: stmt_pool() ("STMT") for isapar and for the records the table
// modules build in memory for the executor, and dbi_pool() for the statement interface
// parser, so that the executor may run isapar while it still holds the interface's result.
// A record that has to outlive the next parse (a statement prepared for a cursor) is taken
// out of its pool with detach().
#ifndef KYT_SQL_POOL_H
#define KYT_SQL_POOL_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

namespace kyt {

class StmtPool {
 public:
  StmtPool() = default;
  StmtPool(const StmtPool&) = delete;
  StmtPool& operator=(const StmtPool&) = delete;
  StmtPool(StmtPool&&) noexcept = default;
  StmtPool& operator=(StmtPool&&) noexcept = default;

  // `size` bytes aligned to 8, or nullptr when memory is exhausted (or the limit reached).
  void* alloc(size_t size);
  // A zero-filled object of a trivial type, or nullptr.
  template <class T>
  T* make() {
    void* p = alloc(sizeof(T));
    if (p == nullptr) return nullptr;
    std::memset(p, 0, sizeof(T));
    return static_cast<T*>(p);
  }
  // A copy of `n` bytes with a NUL behind them, or nullptr.
  char* copy(const char* s, size_t n);

  // Gives back everything handed out; the memory is kept for the next parse, up to a bound.
  void reset();
  // Hands everything allocated since the last reset to a new pool and starts empty: the
  // records built so far stay valid for as long as the returned pool lives.
  std::unique_ptr<StmtPool> detach();

  size_t used() const { return used_; }  // bytes handed out since the last reset
  // Tests: refuse allocations beyond `bytes` handed out since the last reset (0: no limit).
  void set_limit(size_t bytes) { limit_ = bytes; }

 private:
  struct Chunk {
    std::unique_ptr<char[]> mem;
    size_t size;
  };
  std::vector<Chunk> chunks_;
  size_t current_ = 0;  // chunk being filled
  size_t offset_ = 0;   // bytes used in it
  size_t used_ = 0;
  size_t limit_ = 0;
};

StmtPool& stmt_pool();  // "STMT": isapar and the in-memory records of the table modules
StmtPool& dbi_pool();   // the statement interface parser
// Empties both pools and drops their limits. Tests only.
void pool_reset_for_tests();

// A list kept in a pool: an array that moves to a larger block of the pool when it is full.
// Plain data: zero-filled it is an empty list.
template <class T>
struct PLIST {
  T* items;
  uint32_t count;
  uint32_t cap;

  // false when the pool is exhausted; the list is unchanged then.
  bool append(StmtPool& pool, const T& v) {
    if (count == cap) {
      uint32_t ncap = cap == 0 ? 4 : cap * 2;
      T* n = static_cast<T*>(pool.alloc(sizeof(T) * ncap));
      if (n == nullptr) return false;
      if (count > 0) std::memcpy(static_cast<void*>(n), items, sizeof(T) * count);
      items = n;
      cap = ncap;
    }
    items[count++] = v;
    return true;
  }
  T* begin() const { return items; }
  T* end() const { return items + count; }
  uint32_t size() const { return count; }
  bool empty() const { return count == 0; }
  T& operator[](uint32_t i) const { return items[i]; }
};

}  // namespace kyt

#endif  // KYT_SQL_POOL_H
