// rpmxmt: control of the transmitter, a station process of its own (kytxmt).
//
// Other processes start it, test whether it runs (its unique-process semaphore KYTXMT, see
// rpxunq.h) and send it one-character commands through its pipe:
//
//   pipe name        "\\.\pipe\%s\kytxmt", "%s" the DB directory, every ":" turned into
//                    "q"; 255 characters or more are refused (99)
//   readiness event  the pipe name with every "\" turned into "/"; the transmitter holds it
//                    while it reads the pipe, so a pipe without it is not listening
//
// Commands: "a" activate (take up the work queued for sending), "p" poll (call the partners
// that are due), "n" new work (send entries were added), "j" job done (a job the transmitter
// started has ended), "s" stop. The command entries answer 8 once the transmitter has been
// stopped by this process (until the next start), and start the transmitter instead of
// sending when it does not run.
//
// Messages through the station log: XMT_ACTIVE, XMT_START, XMT_STOPPED, PARM_UNAVAILABLE
// (argument: the parameter), FUNCTION_FAILED (arguments: the step, its code).
#ifndef KYT_MONITOR_RPMXMT_H
#define KYT_MONITOR_RPMXMT_H

#include <cstdint>
#include <string>

namespace kyt {

// The pipe's name; 0, or 99 (DB unreadable or the name too long; traced).
int32_t xmt_pipe_name(std::string* name);
// The readiness event's name for a pipe name.
std::string xmt_ready_name(const std::string& pipe_name);

// Sends one character: 0 written; 99 no name, no pipe, no readiness event (nothing written)
// or the write failed.
int32_t xmt_send_char(char c);
// Starts the transmitter: "PGM /eKYTENV [ /t]" from DSN_PGM completed with "kytxmt". 0, 99
// (a parameter or the program name missing) or the system error of the start.
int32_t xmt_spawn_process();
// Starts the transmitter unless it runs: 4 it runs (XMT_ACTIVE); 0 started (XMT_START; waits
// up to the poll allowance for it to take its semaphore); 99 it could not be started.
// Clears the "stopped" flag in every case.
int32_t xmt_start_if_needed();
// A command entry: 8 stopped; the send's result when the transmitter runs; else the start's.
int32_t xmt_command(char c);
// Stop: 8 stopped already (XMT_STOPPED); the send's result of "s" (and the flag set when it
// is 0); 12 the transmitter did not run in 6 attempts, one wait apart.
int32_t xmt_stop_run();

// Whether the transmitter runs (its semaphore is held).
bool xmt_running();

// Shortens the waits (one poll after a start, the wait between stop attempts; normally
// 1000 and 10000 ms). Tests only.
void rpmxmt_set_waits_for_tests(int start_poll_ms, int stop_wait_ms);
// Closes the pipe and forgets the state. Tests only.
void rpmxmt_reset_for_tests();

}  // namespace kyt

#endif  // KYT_MONITOR_RPMXMT_H
