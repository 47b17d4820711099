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

}  // namespace kyt

#endif  // KYT_CBT_REGISTRY_H
