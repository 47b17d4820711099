// Placeholder until the unique-process semaphores land.
#include "kyt/kyt.h"

extern "C" int32_t rpxunq(int32_t action, const char*) { return action >= 1 && action <= 3 ? 99 : 8; }
