// DELST: deletes a partner station from every table of the station, as kytDeleteStation does
// (the same code): ST, the routes to it, OP, NK, LU, XP, TC, LX and AC; then the running
// monitors are told to drop their station data and woken.
//
//   DELST SID=PARTNER1      or      DELST /PARTNER1
//
// Codes: 0 deleted; 13 no such station (ST had no row; rows of it left in other tables are
// deleted all the same); 16 no station id, two different ones, or an id that is not 1 to 16
// printable characters; 99 a statement failed (the deletion of ST, RT and OP rolled back).
// The deletion takes effect at once: no command row is made and no number handed back.
#include <cstring>

#include "api/calstlst.h"
#include "api/verbs.h"

namespace kyt::api {

int32_t verb_delst(const cmd_args& args, cmd_msg* msg) {
  const char* by_key = args.value("SID");
  const char* by_pos = args.positional(0);
  if (by_key != nullptr && by_pos != nullptr && std::strcmp(by_key, by_pos) != 0) {
    cmd_msg_set(msg, 'E', "DELST: two different station ids given");
    return 16;
  }
  const char* sid = by_key != nullptr ? by_key : by_pos;
  if (sid == nullptr) {
    cmd_msg_set(msg, 'E', "DELST: no station id given (SID=)");
    return 16;
  }
  if (!valid_station_id(sid)) {
    cmd_msg_set(msg, 'E', "DELST: invalid station id (1 to 16 printable characters)");
    return 16;
  }
  bool existed = false;
  if (delete_station(sid, &existed) != 0) {
    cmd_msg_format(msg, 'E', "DELST: station %s could not be deleted", sid);
    return 99;
  }
  if (!existed) {
    cmd_msg_format(msg, 'E', "DELST: station %s not found", sid);
    return 13;
  }
  cmd_msg_format(msg, 'I', "station %s deleted", sid);
  return 0;
}

}  // namespace kyt::api
