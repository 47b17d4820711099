// cbmodify: replacing one entry by another, in place when both belong to the same leaf.
#ifndef KYT_CBT_CBMODIFY_H
#define KYT_CBT_CBMODIFY_H

#include "cbt/cbt.h"

#endif  // KYT_CBT_CBMODIFY_H
