// cbdelete: deletion of an entry from the top, removal of unused parent entries and of
// an emptied root.
#ifndef KYT_CBT_CBDELETE_H
#define KYT_CBT_CBDELETE_H

#include "cbt/node.h"

namespace kyt {

// cbdelete without the checks of the entry point (used by cbmodify).
int delete_entry(Tree& t, const KeyDesc& k);

}  // namespace kyt

#endif  // KYT_CBT_CBDELETE_H
