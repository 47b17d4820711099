// kytadm cmd: batch command lines through kytcal, as a client program runs them.
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "kyt/kyt.h"
#include "kytadm.h"
#include "sql/sql.h"

namespace kytadm {

const char* const kCmdSynopsis = "cmd [-e FILE] [LINE...]";
const char* const kCmdHelp =
    "Runs batch command lines (START, END, USER, RECV, EERP, SEND, RESENTR, RECEIVER,\n"
    "MODST, DELST, ACTIVATE, SETPARM, LISTPARM, PRINT, SENDJOB, OPCMD, HELP) through the\n"
    "command entry kytcal against the station database.\n"
    "\n"
    "  -e FILE   the environment file (default: the KYTENV environment variable, else\n"
    "            kytenv.dat in the current directory)\n"
    "  LINE      a command line, one an argument; without any, one a line from standard\n"
    "            input (blank lines skipped)\n"
    "\n"
    "For each line prints what the command printed (HELP, LISTPARM, PRINT, MODST), then\n"
    "its severity letter and message text (\"I Command executed: ...\") and, when the\n"
    "command made or changed a command row, \"command number N\".\n"
    "Exit status: 0 every line done; 1 a line failed (its message says with which code;\n"
    "later lines are not run); 2 wrong arguments or an environment file that cannot be\n"
    "read.\n";

namespace {

// Runs one line; false when it failed.
bool run_line(const std::string& line) {
  char severity = '?';
  char msg[256] = {};
  int32_t msglen = sizeof msg;
  int32_t cn = 0;
  const int32_t rc = kytcal(static_cast<int32_t>(line.size()), line.c_str(), &severity, msg,
                            &msglen, &cn);
  std::printf("%c %s\n", severity, msg);
  if (cn > 0) std::printf("command number %ld\n", static_cast<long>(cn));
  std::fflush(stdout);
  if (rc != 0) {
    std::fprintf(stderr, "kytadm cmd: %s: code %ld\n", line.c_str(), static_cast<long>(rc));
    return false;
  }
  return true;
}

bool blank(const std::string& s) { return s.find_first_not_of(" \t\r") == std::string::npos; }

}  // namespace

int run_cmd(const Args& args) {
  if (read_environment(args) != 0) return kExitUsage;
  bool ok = true;
  if (!args.operands.empty()) {
    for (const std::string& line : args.operands) {
      if (!(ok = run_line(line))) break;
    }
  } else {
    std::string line;
    while (ok && std::getline(std::cin, line)) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      if (blank(line)) continue;
      ok = run_line(line);
    }
  }
  if (kyt::isa_db_open()) kyt::rpdsql_run("CLOSE DB");
  return ok ? kExitOk : kExitFailed;
}

}  // namespace kytadm
