// rpdipr, rpdini: the contents of a new station database.
//
// rpdini makes the schema (every station table and index through its access module's create
// function, in catalogue order) and the first rows of LC (command number 0) and LD (the
// creation date); it answers the first non-zero status, else 0. The catalogue tables must
// exist already (the database creator makes them).
//
// rpdipr inserts the default parameter rows (default_parameters(), in that order); the first
// failed insert ends it with 99 and the trace line "rpdipr, ipr_store: Unable to INSERT
// parameter "NAME" (rc = N)", the rows before it stay. Then it runs the initial command file
// DSN_MON_INIT when there is one (a missing or unreadable file is no error): each line (the
// first 1023 bytes of it; a CR before the line end is dropped) whose first eight characters
// are "setparm " or first three "sp " (any case) is logged with OK_READ and run as the
// operator command SETPARM ("SETPARM: 0-1 PARM": "setparm NAME=VALUE" or "sp
// PARM=NAME=VALUE"), which writes the parameter through rpdprm "opset" and so wakes the
// monitor; a failing line is logged with OK_INVALID_SYNTAX and the next line follows. Other
// lines are skipped. 0 then.
#ifndef KYT_SERVICES_RPDIPR_H
#define KYT_SERVICES_RPDIPR_H

#include <cstdint>
#include <span>
#include <string_view>

namespace kyt {

struct ParmDefault {
  const char* name;
  int16_t type;  // 1 text, 4 long, 8 short
  int32_t len;   // length of the value text with its terminator
  const char* value;
};
std::span<const ParmDefault> default_parameters();

int32_t rpdipr_run();
int32_t rpdini_run();

// Runs one operator command line of the initial command file ("setparm ..." / "sp ...");
// 0 or the command's code.
int32_t run_operator_line(std::string_view line);

}  // namespace kyt

#endif  // KYT_SERVICES_RPDIPR_H
