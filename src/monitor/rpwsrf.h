// rpwsrf: stop requests, named manual-reset events that any process of the installation
// opens, sets, polls, resets and closes.
//
// Selector iWho (bits): 8 the transmitter (its stop event and its end event), 2 the log
// writer (its stop event), 1 the monitor (its stop event), 16 communication control (three
// events: deactivate, activate and receive-activate communication). The priority chooses
// among the events of one process: transmitter bit 2 stop, bit 1 end; communication bit 1
// deactivate, bit 2 activate, bit 4 receive-activate. The log writer's and the monitor's
// single events do not depend on the priority.
//
// Event names, "%s" the environment's DB directory, then every ":" turned into "q" and every
// "\" into "/"; a name of 255 characters or more is refused:
//
//   transmitter stop     "stopevent/%s/kytxmt"     result 97
//   transmitter end      "endevent/%s/kytxmt"      result 98
//   log writer stop      "stopevent/%s/kytlgw"     result 98
//   monitor stop         "stopevent/%s/kytmon"     result 98
//   deactivate           "deactevent/%s/kytcom"    result 80
//   activate             "actevent/%s/kytcom"      result 81
//   receive-activate     "rcvactevent/%s/kytcom"   result 82
//
// listed in the order in which they are set and polled. The three communication events,
// once opened, stay open as long as the process: DeInitStopRequest closes only the first
// four.
//
// Failures answer the system's error number plus a base naming the step:
//   open/create:  2500000, 3000000, 12300000, 17500000, 19100000, 19200000, 19300000
//   set:          6400000, 3400000, 12400000, 17600000, 18200000, 18300000, 18900000
//   poll:         2600000 (both transmitter events), 14600000, 17700000, 18400000,
//                 18500000, 19000000
//   reset:        11200000, 11300000, 11400000, 11500000, 11600000, 11700000, 11800000
// (each list in the order of the table above). 99: DB cannot be read, or a name too long.
#ifndef KYT_MONITOR_RPWSRF_H
#define KYT_MONITOR_RPWSRF_H

#include <cstdint>
#include <string>

namespace kyt {

constexpr int32_t SRF_XMT = 8;
constexpr int32_t SRF_LGW = 2;
constexpr int32_t SRF_MON = 1;
constexpr int32_t SRF_COM = 16;

constexpr int32_t SRF_PRIO_END = 1;   // transmitter: end event
constexpr int32_t SRF_PRIO_STOP = 2;  // transmitter: stop event

constexpr int32_t SRF_XMT_STOP = 97;
constexpr int32_t SRF_STOP = 98;  // transmitter end, log writer stop, monitor stop
constexpr int32_t SRF_DEACT_COM = 80;
constexpr int32_t SRF_ACT_COM = 81;
constexpr int32_t SRF_RCVACT_COM = 82;

int32_t init_stop_request(int32_t who);
int32_t set_stop_request(int32_t who, int32_t priority);
int32_t check_stop_request(int32_t who, int32_t budget_ms);
int32_t check_certain_stop_request(int32_t who, int32_t priority, int32_t budget_ms);
int32_t reset_stop_request(int32_t who);
int32_t deinit_stop_request();

// The name of event `index` (0 to 6 in the order of the table above) for the DB directory
// `db`; empty when it is 255 characters or more or the index is out of range.
std::string stop_event_name(int index, const std::string& db);

// Closes every event, the communication events too, and forgets the names. Tests only.
void rpwsrf_reset_for_tests();

}  // namespace kyt

#endif  // KYT_MONITOR_RPWSRF_H
