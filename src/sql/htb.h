// htb: the chained hash tables of the SQL layer (table descriptors, columns, open tables,
// cursors and their names). Keys are names as the scanner leaves them (upper case), compared
// exactly. The number of buckets is fixed at creation.
#ifndef KYT_SQL_HTB_H
#define KYT_SQL_HTB_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kyt {

template <class V>
class htb {
 public:
  explicit htb(size_t buckets = 10) : buckets_(buckets == 0 ? 1 : buckets) {}

  V* find(std::string_view key) {
    for (Node* n = buckets_[slot(key)].get(); n != nullptr; n = n->next.get()) {
      if (n->key == key) return &n->value;
    }
    return nullptr;
  }
  const V* find(std::string_view key) const { return const_cast<htb*>(this)->find(key); }

  // Adds an entry; nullptr when the key is present already (nothing changes then).
  V* insert(std::string_view key, V value) {
    if (find(key) != nullptr) return nullptr;
    std::unique_ptr<Node>& head = buckets_[slot(key)];
    auto node = std::make_unique<Node>(Node{std::string(key), std::move(value), std::move(head)});
    head = std::move(node);
    ++size_;
    return &head->value;
  }

  bool erase(std::string_view key) {
    for (std::unique_ptr<Node>* p = &buckets_[slot(key)]; *p != nullptr; p = &(*p)->next) {
      if ((*p)->key == key) {
        std::unique_ptr<Node> gone = std::move(*p);
        *p = std::move(gone->next);
        --size_;
        return true;
      }
    }
    return false;
  }

  void clear() {
    for (auto& b : buckets_) {
      while (b != nullptr) b = std::move(b->next);  // iterative: no deep destructor chain
    }
    size_ = 0;
  }

  size_t size() const { return size_; }
  size_t buckets() const { return buckets_.size(); }

  // Calls f(key, value) for every entry, bucket by bucket.
  template <class F>
  void for_each(F&& f) {
    for (auto& b : buckets_) {
      for (Node* n = b.get(); n != nullptr; n = n->next.get()) f(n->key, n->value);
    }
  }

  ~htb() { clear(); }
  // A moved-from table is empty with one bucket.
  htb(htb&& o) noexcept
      : buckets_(std::exchange(o.buckets_, std::vector<std::unique_ptr<Node>>(1))),
        size_(std::exchange(o.size_, 0)) {}
  htb& operator=(htb&& o) noexcept {
    if (this != &o) {
      clear();
      buckets_ = std::exchange(o.buckets_, std::vector<std::unique_ptr<Node>>(1));
      size_ = std::exchange(o.size_, 0);
    }
    return *this;
  }
  htb(const htb&) = delete;
  htb& operator=(const htb&) = delete;

 private:
  struct Node {
    std::string key;
    V value;
    std::unique_ptr<Node> next;
  };

  size_t slot(std::string_view key) const {
    uint32_t h = 2166136261u;  // FNV-1a
    for (unsigned char c : key) h = (h ^ c) * 16777619u;
    return h % buckets_.size();
  }

  std::vector<std::unique_ptr<Node>> buckets_;
  size_t size_ = 0;
};

}  // namespace kyt

#endif  // KYT_SQL_HTB_H
