// Placeholder until the station import lands: every import is refused.
#include "kyt/kyt.h"

extern "C" int32_t rpdist(const char*, kyt_msg_out) { return 99; }
extern "C" int32_t rpditr(const char*, kyt_msg_out) { return 99; }
