// registry: the lists through which the B-tree layer knows its pools, block files, tree
// files and cursors. Each is chained through the items' `next`, new items at the head; a
// handle given to an operation counts only while it is on its list. Private to src/cbt/.
#ifndef KYT_CBT_REGISTRY_H
#define KYT_CBT_REGISTRY_H

namespace kyt {

// Whether `item` is on the registry list that starts at `head`.
template <typename T>
bool on_list(const T* head, const T* item) {
  for (const T* q = head; q != nullptr; q = q->next) {
    if (q == item) return true;
  }
  return false;
}

template <typename T>
void unlink_from(T** head, T* item) {
  for (T** pp = head; *pp != nullptr; pp = &(*pp)->next) {
    if (*pp == item) {
      *pp = item->next;
      return;
    }
  }
}

// One registry list with a few of its recently checked members remembered. Every block and
// tree operation checks its handles, a row read runs dozens of them over a handful of
// handles, and walking a list of every open file for each check cost a tenth of a table
// scan. Invariant: every pointer in `recent` is on the list (unlink forgets it first), so a
// hit there answers exactly as the walk would; nothing is allocated.
template <typename T>
class Registry {
 public:
  T* head() const { return head_; }
  bool has(const T* item) const {
    if (item == nullptr) return false;
    for (const T* r : recent_) {
      if (r == item) return true;
    }
    if (!on_list(head_, item)) return false;
    recent_[next_++ % kRecent] = item;
    return true;
  }
  void push(T* item) {
    item->next = head_;
    head_ = item;
  }
  void unlink(T* item) {
    forget(item);
    unlink_from(&head_, item);
  }
  // Takes the head off the list (nullptr when empty).
  T* pop() {
    T* item = head_;
    if (item != nullptr) unlink(item);
    return item;
  }

 private:
  void forget(const T* item) {
    for (const T*& r : recent_) {
      if (r == item) r = nullptr;
    }
  }
  static constexpr unsigned kRecent = 4;
  T* head_ = nullptr;
  mutable const T* recent_[kRecent] = {};
  mutable unsigned next_ = 0;
};

}  // namespace kyt

#endif  // KYT_CBT_REGISTRY_H
