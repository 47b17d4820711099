// kytadm stop: sets the stop (or end) event of a station process.
#include <cstdint>
#include <cstdio>
#include <string>

#include "kytadm.h"
#include "monitor/monitor.h"
#include "runtime/runtime.h"

namespace kytadm {

const char* const kStopSynopsis = "stop [-e FILE] xmt|lgw|mon [--end]";
const char* const kStopHelp =
    "Tells a process of the station to stop, through its stop event: xmt the transmitter,\n"
    "lgw the log writer, mon the monitor. The process sees the request when it next\n"
    "looks, finishes its work and ends; kytadm does not wait for that (kytadm status\n"
    "tells when it has gone).\n"
    "\n"
    "  -e FILE   the environment file (default: the KYTENV environment variable, else\n"
    "            kytenv.dat in the current directory)\n"
    "  --end     the transmitter only: set its end event instead of its stop event\n"
    "\n"
    "A process that does not run is not sent anything (a request left set would stop it\n"
    "as soon as it started): kytadm says so and ends with status 1.\n"
    "Exit status: 0 the request is set; 1 the process does not run or the request could not\n"
    "be set (the code on standard error); 2 wrong arguments or an environment file that\n"
    "cannot be read.\n";

int run_stop(const Args& args) {
  const Subcommand& self = *args.self;
  if (args.operands.size() != 1) return bad_usage(self, "name one process: xmt, lgw or mon");
  const StationProcess* target = nullptr;
  for (const StationProcess& p : kStationProcesses) {
    if (args.operands[0] == p.word) target = &p;
  }
  if (target == nullptr) return bad_usage(self, "unknown process '" + args.operands[0] + "'");
  const bool end = args.has("--end");
  if (end && target->who != kyt::SRF_XMT) return bad_usage(self, "--end is for xmt only");
  if (read_environment(args) != 0) return kExitUsage;
  const int32_t running = kyt::rpxunq_run(kyt::UNQ_TEST, target->semaphore);
  if (running == kyt::UNQ_OK) {
    std::fprintf(stderr, "kytadm stop: the %s (%s) is not running\n", target->title,
                 target->semaphore);
    return kExitFailed;
  }
  if (running != kyt::UNQ_EXISTS) {
    std::fprintf(stderr, "kytadm stop: cannot tell whether the %s runs (code %ld)\n",
                 target->title, static_cast<long>(running));
    return kExitFailed;
  }
  const int32_t priority = end ? kyt::SRF_PRIO_END : kyt::SRF_PRIO_STOP;
  int32_t rc = kyt::init_stop_request(target->who);
  if (rc == 0) rc = kyt::set_stop_request(target->who, priority);
  kyt::deinit_stop_request();
  if (rc != 0) {
    std::fprintf(stderr, "kytadm stop: the %s request could not be set (code %ld)\n",
                 end ? "end" : "stop", static_cast<long>(rc));
    return kExitFailed;
  }
  std::printf("%s request set for the %s (%s)\n", end ? "end" : "stop", target->title,
              target->semaphore);
  return kExitOk;
}

}  // namespace kytadm
