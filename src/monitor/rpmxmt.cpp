// rpmxmt: control of the transmitter (see rpmxmt.h).
#include "monitor/rpmxmt.h"

#include <cstring>

#include "kyt/kyt.h"
#include "monitor/rpxunq.h"
#include "platform/ipc.h"
#include "runtime/runtime.h"
#include "services/services.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "x";
constexpr int32_t kFailed = 99;
constexpr size_t kNameMax = 255;
constexpr const char* kProcess = KYT_PROCESS_TRANSMITTER;
constexpr int kStartPolls = 10;
constexpr int kStopAttempts = 6;

struct State {
  platform::PipeClient pipe;
  std::string ready_name;  // built on the first send after a start
  bool stopped = false;
  int start_poll_ms = 1000;
  int stop_wait_ms = 10000;
};

State& st() {
  static State s;
  return s;
}

std::string text_of(int32_t n) { return std::to_string(n); }

}  // namespace

int32_t xmt_pipe_name(std::string* name) {
  std::string db;
  if (lpdsn_get("DB", &db) != 0) {
    KYT_TRACE(kModule, kTopic, 1, "make_qname 1 : return RC_INTERNAL_ERROR");
    return kFailed;
  }
  std::string n = "\\\\.\\pipe\\" + db + "\\kytxmt";
  for (char& c : n) {
    if (c == ':') c = 'q';
  }
  if (n.size() >= kNameMax) {
    KYT_TRACE(kModule, kTopic, 1, "make_qname 3 : return RC_INTERNAL_ERROR");
    return kFailed;
  }
  *name = n;
  return 0;
}

std::string xmt_ready_name(const std::string& pipe_name) {
  std::string n = pipe_name;
  for (char& c : n) {
    if (c == '\\') c = '/';
  }
  return n;
}

bool xmt_running() { return rpxunq_run(UNQ_TEST, kProcess) == UNQ_EXISTS; }

int32_t xmt_send_char(char c) {
  State& s = st();
  std::string name;
  if (const int32_t rc = xmt_pipe_name(&name); rc != 0) {
    KYT_TRACE(kModule, kTopic, 1, "make_qname failed with %d", static_cast<int>(rc));
    return kFailed;
  }
  if (s.ready_name.empty()) s.ready_name = xmt_ready_name(name);
  if (!s.pipe.is_open() && !s.pipe.open(name.c_str())) {
    KYT_TRACE(kModule, kTopic, 7, "%s, CreateFile failed, rc = %d.", "xmt_send",
              static_cast<int>(platform::sys_error()));
    return kFailed;
  }
  platform::NamedEvent ready;
  if (!ready.open(s.ready_name.c_str())) {
    KYT_TRACE(kModule, kTopic, 7, "xmt_send, c_send=%c, rc = %d.", c, static_cast<int>(kFailed));
    return kFailed;  // the transmitter is not listening
  }
  const bool ok = s.pipe.write_byte(c);
  const int32_t err = ok ? 0 : platform::sys_error();
  ready.close();
  KYT_TRACE(kModule, kTopic, 7, "xmt_send, c_send=%c, rc = %d.", c, static_cast<int>(err));
  if (!ok) {
    s.pipe.close();  // a reader that went away: the next send opens the pipe again
    return kFailed;
  }
  return 0;
}

int32_t xmt_spawn_process() {
  State& s = st();
  char env[256] = {};
  int16_t testmode = 0;
  if (rpdprm_run("get", "KYTENV", env) != 0 || env[0] == 0) {
    msg_report("PARM_UNAVAILABLE", {"KYTENV"});
    return kFailed;
  }
  if (rpdprm_run("get", "TESTMODE", &testmode) != 0) {
    msg_report("PARM_UNAVAILABLE", {"TESTMODE"});
    return kFailed;
  }
  std::string pattern;
  const int rc_pgm = lpdsn_get("DSN_PGM", &pattern);
  // The file part of the pattern names the program with "%s" ("%s.exe").
  const size_t file = pattern.find_last_of("/\\");
  const size_t at = pattern.find("%s", file == std::string::npos ? 0 : file + 1);
  if (rc_pgm != 0 || at == std::string::npos) {
    msg_report("FUNCTION_FAILED", {"DSN_PGM", text_of(rc_pgm != 0 ? rc_pgm : kFailed)});
    return kFailed;
  }
  const std::string program = pattern.substr(0, at) + "kytxmt" + pattern.substr(at + 2);
  s.pipe.close();
  // A name with blanks is quoted, so that the program is handed it as one word.
  const std::string env_word =
      std::strchr(env, ' ') != nullptr ? std::string("\"") + env + "\"" : std::string(env);
  const std::string line = program + " /e" + env_word + " " + (testmode != 0 ? " /t" : "");
  const int32_t rc = platform::spawn_detached(program, line, "kyt MasterTransmitter");
  KYT_TRACE(kModule, kTopic, 7, "xmt_spawn: %s, rc = %d", line.c_str(), static_cast<int>(rc));
  return rc;
}

int32_t xmt_start_if_needed() {
  State& s = st();
  int32_t rc;
  if (xmt_running()) {
    msg_report("XMT_ACTIVE", {});
    rc = 4;
  } else {
    s.ready_name.clear();
    if (xmt_spawn_process() != 0) {
      rc = kFailed;
    } else {
      msg_report("XMT_START", {});
      for (int i = 0; i < kStartPolls && !xmt_running(); ++i) platform::sleep_ms(s.start_poll_ms);
      rc = 0;
    }
  }
  s.stopped = false;
  return rc;
}

int32_t xmt_command(char c) {
  if (st().stopped) return 8;
  if (xmt_running()) return xmt_send_char(c);
  return xmt_start_if_needed();
}

int32_t xmt_stop_run() {
  State& s = st();
  if (s.stopped) {
    msg_report("XMT_STOPPED", {});
    return 8;
  }
  for (int attempt = 0; attempt < kStopAttempts; ++attempt) {
    if (xmt_running()) {
      const int32_t rc = xmt_send_char('s');
      if (rc == 0) s.stopped = true;
      return rc;
    }
    platform::sleep_ms(s.stop_wait_ms);
  }
  return 12;
}

void rpmxmt_set_waits_for_tests(int start_poll_ms, int stop_wait_ms) {
  st().start_poll_ms = start_poll_ms;
  st().stop_wait_ms = stop_wait_ms;
}

void rpmxmt_reset_for_tests() {
  State& s = st();
  s.pipe.close();
  s.ready_name.clear();
  s.stopped = false;
  s.start_poll_ms = 1000;
  s.stop_wait_ms = 10000;
}

}  // namespace kyt

extern "C" {

int32_t xmt_send(char c) {
  return kyt::api_guard("xmt_send", [&] { return kyt::xmt_send_char(c); });
}
int32_t xmt_spawn(void) {
  return kyt::api_guard("xmt_spawn", [] { return kyt::xmt_spawn_process(); });
}
int32_t xmt_start(void) {
  return kyt::api_guard("xmt_start", [] { return kyt::xmt_start_if_needed(); });
}
int32_t xmt_activate(void) {
  return kyt::api_guard("xmt_activate", [] { return kyt::xmt_command('a'); });
}
int32_t xmt_poll(void) {
  return kyt::api_guard("xmt_poll", [] { return kyt::xmt_command('p'); });
}
int32_t xmt_newwork(void) {
  return kyt::api_guard("xmt_newwork", [] { return kyt::xmt_command('n'); });
}
int32_t xmt_jobdone(void) {
  return kyt::api_guard("xmt_jobdone", [] { return kyt::xmt_command('j'); });
}
int32_t xmt_stop(void) {
  return kyt::api_guard("xmt_stop", [] { return kyt::xmt_stop_run(); });
}

}  // extern "C"
