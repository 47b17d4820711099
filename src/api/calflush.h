// calflush: telling the station's monitors that something they keep in memory changed.
//
// Every registered process of type "M" (a row of RI) gets bits set in its FLGFLUSH column:
// the monitor reads the column on its next round, re-reads what the bit names and clears the
// bit. Bits in use: 4 the parameters (after a parameter write), 64 the station list (after a
// station deletion). The monitor is then woken once through its named semaphore, so that it
// does not wait for its sleep to end. A station without a monitor (no "M" row, no semaphore)
// is no error.
#ifndef KYT_API_CALFLUSH_H
#define KYT_API_CALFLUSH_H

#include <cstdint>

namespace kyt::api {

constexpr int32_t kFlushParameters = 4;
constexpr int32_t kFlushStations = 64;

// Sets `bits` in FLGFLUSH of every RI row whose PTYPE is "M" (other bits are kept), then
// releases the monitor's wake-up semaphore once. Returns 0, or the status of the first
// failing statement (the rows before it keep their bits; the monitor is woken all the same).
int32_t flush_monitors(int32_t bits);

}  // namespace kyt::api

#endif  // KYT_API_CALFLUSH_H
