// A stand-in for the station's transmitter, for the tests of transmitter control.
//
// usage: kytxmt /eENVFILE [/t]
//
// Reads the environment file, takes the semaphore KYTXMT (ends with 4 when another holds
// it), makes the pipe and, unless the environment names FAKEXMT_NOREADY, the readiness
// event, and records its command line in TEMP/xmt.args and each character read in
// TEMP/xmt.rec (appended, one write a character), and its process id in TEMP/xmt.pid. Ends on "s" (exit 0), on a stop or end
// request of its stop events (recording "S" or "E"), or after two minutes.
#include <cstdio>
#include <string>

#include "kyt/kyt.h"
#include "monitor/monitor.h"
#include "platform/ipc.h"
#include "platform/platform.h"
#include "runtime/runtime.h"

namespace {

void append(const std::string& path, const std::string& text) {
  kyt::platform::File f;
  if (f.open(path.c_str(), kyt::platform::OpenMode::kAppend)) f.write(text.data(), text.size());
}

}  // namespace

int main(int argc, char** argv) {
  using namespace kyt;
  std::string envfile, args;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    args += (i > 1 ? " " : "") + a;
    if (a.rfind("/e", 0) == 0) envfile = a.substr(2);
  }
  if (envfile.empty() || lpdsn_init_file(envfile) != 0) return 2;
  std::string temp;
  if (lpdsn_get("TEMP", &temp) != 0) return 2;
  const std::string record = temp + platform::path_separator() + "xmt.rec";
  if (const int32_t rc = rpxunq(1, "KYTXMT"); rc != 0) return rc;
  std::string pipe_name;
  if (xmt_pipe_name(&pipe_name) != 0) return 3;
  const std::string ready_name = xmt_ready_name(pipe_name);
  platform::PipeServer pipe;
  if (!pipe.create(pipe_name.c_str())) return 5;
  std::string no_ready;
  platform::NamedEvent ready;
  if (lpdsn_get("FAKEXMT_NOREADY", &no_ready) != 0 && !ready.create(ready_name.c_str())) return 6;
  if (InitStopRequest(KYT_STOP_XMT) != 0) return 7;
  append(temp + platform::path_separator() + "xmt.pid", std::to_string(platform::process_id()) + "\n");
  append(temp + platform::path_separator() + "xmt.args", args + "\n");
  int code = 1;
  for (int round = 0; round < 1200; ++round) {  // 100 ms a round
    const int c = pipe.read_byte(100);
    if (c == -2) {
      code = 8;
      break;
    }
    if (c >= 0) {
      append(record, std::string(1, static_cast<char>(c)));
      if (c == 's') {
        code = 0;
        break;
      }
      continue;
    }
    const int32_t req = CheckStopRequest(KYT_STOP_XMT, 0);
    if (req == 97 || req == 98) {
      append(record, req == 97 ? "S" : "E");
      ResetStopRequest(KYT_STOP_XMT);
      code = 0;
      break;
    }
  }
  DeInitStopRequest();
  ready.close();
  platform::NamedEvent::remove(ready_name.c_str());
  pipe.close();
  rpxunq(2, "KYTXMT");
  return code;
}
