// services: the front door of the database services for the folders above them (api, tools,
// and the tests of other folders). They include this header only.
//
//   caller.h   the calling user (kytSetUser, KYT_USER, "SYSTEM")
//   cmdnum.h   next_command_number: the next command number, drawn from LC inside the
//              caller's transaction
//   rpdprm.h   parameters: rpdprm's verbs, the cached lookup, the monitor's wake-up
//   rpdipr.h   the default parameter table and the initial command file
//   rpdcch.h   the command table cache (rpdcch, rpdch)
//   rpdist.h   the import of station and routing tables (import_stations, import_routes)
//
// The services stand on the SQL layer's front door (sql/sql.h: rpdsql, the per-table
// modules) and on the runtime's; none of them reaches into another folder's internals.
#ifndef KYT_SERVICES_SERVICES_H
#define KYT_SERVICES_SERVICES_H

#include "services/caller.h"
#include "services/cmdnum.h"
#include "services/rpdcch.h"
#include "services/rpdipr.h"
#include "services/rpdist.h"
#include "services/rpdprm.h"

#endif  // KYT_SERVICES_SERVICES_H
