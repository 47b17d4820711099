// monitor: the front door of the monitor services for the folders above them (api, tools,
// and the tests of other folders). They include this header only.
//
// The monitor services stand on the database services (services/services.h), the SQL
// layer's front door and the runtime's.
#ifndef KYT_MONITOR_MONITOR_H
#define KYT_MONITOR_MONITOR_H

#include "kyt/kyt.h"
#include "monitor/rpmxmt.h"
#include "monitor/rpwsrf.h"
#include "monitor/rpxunq.h"

#endif  // KYT_MONITOR_MONITOR_H
