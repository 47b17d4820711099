// registry: the lists through which the B-tree layer knows its pools, block files, tree
// files and cursors. Each is chained through the items' `next`, new items at the head; a
// handle given to an operation counts only while it is on its list. Private to src/cbt/.
#ifndef KYT_CBT_REGISTRY_H
#define KYT_CBT_REGISTRY_H

#include <new>
#include <unordered_set>

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

// One registry list, with a set of its members for the checks and a few members recently
// checked remembered before that. Every block and tree operation checks its handles: a row
// read runs dozens of checks over a handful of handles, a flush at the end of a transaction
// one over each of dozens of cursors, and walking the list for each cost a tenth of a table
// scan. Invariants: `members_` holds exactly the items on the list, and every pointer in
// `recent_` is on it (unlink forgets it first), so both answer exactly as the walk would.
template <typename T>
class Registry {
 public:
  T* head() const { return head_; }
  bool has(const T* item) const {
    if (item == nullptr) return false;
    for (const T* r : recent_) {
      if (r == item) return true;
    }
    if (members_.count(item) == 0) return false;
    recent_[next_++ % kRecent] = item;
    return true;
  }
  // Puts item at the head of the list. false, and nothing changed, when memory runs out.
  bool push(T* item) {
    try {
      members_.insert(item);
    } catch (const std::bad_alloc&) {
      return false;
    }
    item->next = head_;
    head_ = item;
    return true;
  }
  void unlink(T* item) {
    for (const T*& r : recent_) {
      if (r == item) r = nullptr;
    }
    members_.erase(item);
    unlink_from(&head_, item);
  }
  // Takes the head off the list (nullptr when empty).
  T* pop() {
    T* item = head_;
    if (item != nullptr) unlink(item);
    return item;
  }

 private:
  static constexpr unsigned kRecent = 4;
  T* head_ = nullptr;
  std::unordered_set<const T*> members_;
  mutable const T* recent_[kRecent] = {};
  mutable unsigned next_ = 0;
};

}  // namespace kyt

#endif  // KYT_CBT_REGISTRY_H
