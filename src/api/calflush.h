// calflush: telling the running monitors of the station that what they cached is stale.
//
// Every monitor process registers itself in RI (PTYPE "M"). A client that changes stations or
// parameters sets a bit in FLGFLUSH of each such row; the monitor drops the matching cache
// when it sees the bit. Then the monitor's wake-up semaphore is released once, so that it
// looks at once rather than at its next timeout.
#ifndef KYT_API_CALFLUSH_H
#define KYT_API_CALFLUSH_H

#include <cstdint>

namespace kyt::api {

// The FLGFLUSH bits.
constexpr int32_t kFlushParameters = 4;  // a parameter was written
constexpr int32_t kFlushStations = 64;   // a station was deleted

// Sets `bit` in FLGFLUSH of every RI row whose PTYPE is "M" (each row written back by its
// KYTID). Returns the number of rows marked, or -1 when the process list could not be read
// (nothing is marked then; an empty RI is 0). A row whose update fails is traced and
// skipped.
int32_t mark_monitors(int32_t bit);

// mark_monitors(bits), then the monitor's wake-up (services' wake_monitor) once. Returns 0,
// or -1 when the process list could not be read (the monitor is woken all the same).
int32_t flush_monitors(int32_t bits);

}  // namespace kyt::api

#endif  // KYT_API_CALFLUSH_H
