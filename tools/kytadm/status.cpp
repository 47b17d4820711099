// kytadm status: which station processes run, told by their unique-process semaphores.
#include <cstdint>
#include <cstdio>
#include <string>

#include "kytadm.h"
#include "monitor/monitor.h"
#include "runtime/runtime.h"

namespace kytadm {

const char* const kStatusSynopsis = "status [-e FILE]";
const char* const kStatusHelp =
    "Tells which processes of the station run: the monitor, the transmitter and the log\n"
    "writer, each by the semaphore it holds while it lives (KYTMON, KYTXMT, KYTLGW, named\n"
    "after the DB directory of the environment file). One line each:\n"
    "\n"
    "  monitor      KYTMON running\n"
    "  transmitter  KYTXMT not running\n"
    "  log writer   KYTLGW not running\n"
    "\n"
    "  -e FILE   the environment file (default: the KYTENV environment variable, else\n"
    "            kytenv.dat in the current directory)\n"
    "\n"
    "A process that was killed no longer counts as running: the system lets go of its\n"
    "semaphore when it ends, however it ends.\n"
    "Exit status: 0 listed; 1 a semaphore could not be tested; 2 wrong arguments or an\n"
    "environment file that cannot be read.\n";

const StationProcess kStationProcesses[3] = {
    {"mon", "monitor", KYT_PROCESS_MONITOR, kyt::SRF_MON},
    {"xmt", "transmitter", KYT_PROCESS_TRANSMITTER, kyt::SRF_XMT},
    {"lgw", "log writer", KYT_PROCESS_LOGWRITER, kyt::SRF_LGW},
};

int run_status(const Args& args) {
  if (!args.operands.empty()) return bad_usage(*args.self, "no operands expected");
  if (read_environment(args) != 0) return kExitUsage;
  int status = kExitOk;
  for (const StationProcess& p : kStationProcesses) {
    const int32_t rc = kyt::rpxunq_run(kyt::UNQ_TEST, p.semaphore);
    if (rc == kyt::UNQ_EXISTS || rc == kyt::UNQ_OK) {
      std::printf("%-12s %s %s\n", p.title, p.semaphore, rc == kyt::UNQ_EXISTS ? "running" : "not running");
    } else {
      std::printf("%-12s %s unknown (code %ld)\n", p.title, p.semaphore, static_cast<long>(rc));
      status = kExitFailed;
    }
  }
  return status;
}

}  // namespace kytadm
