// Placeholder until the command entry lands: every line is refused.
#include "kyt/kyt.h"

extern "C" int32_t kytcal(int32_t, const char*, char*, char*, int32_t*, int32_t*) { return 99; }
