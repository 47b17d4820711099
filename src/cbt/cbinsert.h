// cbinsert: insertion of an entry, with shifting into siblings, balanced splits, the
// repair of parents and new roots.
#ifndef KYT_CBT_CBINSERT_H
#define KYT_CBT_CBINSERT_H

#include "cbt/node.h"

namespace kyt {

// Result codes passed from a node to its parent.
enum : int {
  kInsDone = 1,     // nothing for the parent to do
  kInsSplit = 2,    // a new right sibling exists that the parent does not list
  kInsShifted = 4,  // entries went into a sibling; the parent's entry for it is gone
  kInsShiftedNew = 5,  // as 4, and the new entry itself went into the sibling
};

// cbinsert without the checks of the entry point (used by cbmodify).
int insert_entry(Tree& t, const KeyDesc& k);

}  // namespace kyt

#endif  // KYT_CBT_CBINSERT_H
