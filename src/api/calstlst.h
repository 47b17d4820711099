// calstlst: the station list of the client API (kytInitStationList and its siblings, whose C
// declarations and codes are in kyt.h's station-list section) and the deletion of a station
// that the verb DELST shares with kytDeleteStation.
//
// The list: one node a row of ST in the order of the ST cursor (ascending id), each node
// carrying the rows of NK, RT, OP, LU, XP, TC and LX of its station. The rows are read by one
// cursor a table, ordered by station id, and attached by a merge walk: each row is compared
// (without regard to case) with the nodes from the one that took the previous row onward; a
// row that reaches the end of the list belongs to no station and is traced and dropped, and
// the next row's search starts again at the head.
#ifndef KYT_API_CALSTLST_H
#define KYT_API_CALSTLST_H

#include <cstdint>

#include "kyt/kyt.h"

namespace kyt::api {

// A station id: 1 to 16 characters, each printable ASCII (0x20 to 0x7e).
bool valid_station_id(const char* sid);

// Deletes the station `sid` (already validated) from every table and from the loaded list,
// marks the monitors and wakes them. `existed` (may be null) tells whether ST had the row.
// Returns 0, or 99 when a statement failed.
int32_t delete_station(const char* sid, bool* existed);

}  // namespace kyt::api

#endif  // KYT_API_CALSTLST_H
