// kytcmd: the batch command entry. Every administrative line a client hands to kytcal (and
// that the exported API composes, "SEND /CREATE ...", "SEND /HOLD CMDID=%d") runs here
// against the batch command set, which is defined once a process on the first line, in
// this order: START END USER RECV EERP SEND RESENTR RECEIVER MODST DELST ACTIVATE SETPARM
// LISTPARM PRINT SENDJOB OPCMD (HELP comes first, built in). docs/commands.md describes
// every verb.
//
// kytcmd(line, msg):
//   1. defines the set when this process has not (a definition that fails ends the call
//      with its code; the next line tries again from an empty set);
//   2. marks the message record unused (severity ' ') and clears the command number;
//   3. runs the line through rpxcie;
//   4. when the handler left the record unused, fills it with CMD_EXECUTED (the line) on
//      success or CMD_ERROR (the line, the code) on failure, in the calling user's language
//      (BT.LANGUAGE of calling_user(), else the environment's LANGUAGE);
//   5. releases the monitor's wake-up semaphore once and answers the code.
// A handler may run a line through kytcmd again (one level, as rpxcie allows); the inner
// line gets its own message record and command number, and the outer line's number is as
// it was when the inner one ends.
//
// Text printed by the verbs (HELP, LISTPARM, PRINT, the operator messages of MODST) goes to
// the batch output: standard output unless set_batch_output installed another receiver.
#ifndef KYT_API_KYTCMD_H
#define KYT_API_KYTCMD_H

#include <cstdint>
#include <string_view>

#include "runtime/runtime.h"

namespace kyt::api {

int32_t kytcmd(std::string_view line, cmd_msg* msg);

// The batch command set, defined when it was not yet (0), or the failing definition's code.
int32_t define_batch_commands();
// The set itself (defined or not): for the tests that add a verb of their own.
CommandSet& batch_commands();

// The receiver of printed text; an empty function restores standard output.
void set_batch_output(cmd_print_fn out);
// Writes `text` to the batch output.
void batch_print(std::string_view text);

// The language letter of the calling user: BT.LANGUAGE of calling_user() when the user has a
// row with a language, else the environment's LANGUAGE.
char caller_language();

// Forgets the set and the output receiver. Tests only.
void kytcmd_reset_for_tests();

}  // namespace kyt::api

#endif  // KYT_API_KYTCMD_H
