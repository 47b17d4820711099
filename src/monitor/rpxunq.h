// rpxunq: unique-process semaphores, the mark that a station process runs.
//
// A station process (monitor KYTMON, transmitter KYTXMT, log writer KYTLGW) takes its
// semaphore at start-up and holds it while it lives; any process of the host asks whether it
// runs by testing the semaphore. The name is
//
//   "\sem\" + DB directory (cut to 242 characters) + "\"   with every ":" turned into "x"
//                                                          and every "\" into "/"
//   + the process name, cut to 6 characters
//
// so DB C:\KYT\DB and KYTXMT give "/sem/Cx/KYT/DB/KYTXMT". When DB cannot be read the
// installation's default directory and "DB" stand for it. The prefix is formed once a
// process. The platform layer (platform/ipc.h) maps the name to a kernel object that goes
// when its holder dies, however it dies.
//
// Semaphores taken are kept in a table of 10 buckets, name to handle, made on the first take.
#ifndef KYT_MONITOR_RPXUNQ_H
#define KYT_MONITOR_RPXUNQ_H

#include <cstdint>
#include <string>

namespace kyt {

constexpr int32_t UNQ_TAKE = 1;
constexpr int32_t UNQ_RELEASE = 2;
constexpr int32_t UNQ_TEST = 3;

// Results.
constexpr int32_t UNQ_OK = 0;       // taken / released / (test) nobody holds it
constexpr int32_t UNQ_EXISTS = 4;   // another holder has it: that process runs
constexpr int32_t UNQ_BAD_ACTION = 8;
constexpr int32_t UNQ_FAILED = 99;

// action 1 take, 2 release, 3 test, anything else 8. Take: 0 taken, 4 held elsewhere (also
// by an earlier take of this process), 99 failure. Release: 0 (also for a name not held), 99
// when nothing was ever taken. Test: take and release again; 4 runs, 0 does not.
int32_t rpxunq_run(int32_t action, const char* process);

// The full semaphore name of `process`, as above.
std::string unique_name(const char* process);

// Releases every semaphore held and forgets the prefix and the table. Tests only.
void rpxunq_reset_for_tests();

}  // namespace kyt

#endif  // KYT_MONITOR_RPXUNQ_H
