// cbcheck: structural check of a whole tree file (declared in cbt.h as cbcheck).
#ifndef KYT_CBT_CBCHECK_H
#define KYT_CBT_CBCHECK_H

#include "cbt/cbt.h"

#endif  // KYT_CBT_CBCHECK_H
