// rpwsrf: stop requests (see rpwsrf.h).
#include "monitor/rpwsrf.h"

#include <array>
#include <cstdio>

#include "kyt/kyt.h"
#include "platform/ipc.h"
#include "runtime/runtime.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "s";
constexpr size_t kNameMax = 255;
constexpr int32_t kFailed = 99;

// One row per event, in the order of setting and polling.
struct EventDef {
  const char* pattern;
  int32_t who;       // selector bit
  int32_t priority;  // priority bit choosing it; 0: chosen whatever the priority
  int32_t result;    // what a poll that finds it set answers
  int32_t open_base, set_base, poll_base, reset_base;
  const char* label;  // in the trace lines
  bool closed_by_deinit;
};

constexpr EventDef kEvents[] = {
    {"stopevent/%s/kytxmt", SRF_XMT, SRF_PRIO_STOP, SRF_XMT_STOP, 2500000, 6400000, 2600000,
     11200000, "MhStopEvent", true},
    {"endevent/%s/kytxmt", SRF_XMT, SRF_PRIO_END, SRF_STOP, 3000000, 3400000, 2600000, 11300000,
     "MhEndEvent", true},
    {"stopevent/%s/kytlgw", SRF_LGW, 0, SRF_STOP, 12300000, 12400000, 14600000, 11400000,
     "MhStopEventLGW", true},
    {"stopevent/%s/kytmon", SRF_MON, 0, SRF_STOP, 17500000, 17600000, 17700000, 11500000,
     "MhStopEventMON", true},
    {"deactevent/%s/kytcom", SRF_COM, 1, SRF_DEACT_COM, 19100000, 18200000, 18400000, 11600000,
     "DEACT_COM", false},
    {"actevent/%s/kytcom", SRF_COM, 2, SRF_ACT_COM, 19200000, 18300000, 18500000, 11700000,
     "ACT_COM", false},
    {"rcvactevent/%s/kytcom", SRF_COM, 4, SRF_RCVACT_COM, 19300000, 18900000, 19000000, 11800000,
     "RCVACT_COM", false},
};
constexpr int kEventCount = static_cast<int>(sizeof kEvents / sizeof kEvents[0]);

struct State {
  std::array<platform::NamedEvent, kEventCount> events;
  std::array<int16_t, kEventCount> open{};
};

State& st() {
  static State s;
  return s;
}

bool selected(const EventDef& e, int32_t who) { return (who & e.who) != 0; }
bool chosen(const EventDef& e, int32_t priority) {
  return e.priority == 0 || (priority & e.priority) != 0;
}

int32_t system_failure(int32_t base) { return base + platform::sys_error(); }

// The polling loop of both checks; `priority` -1 takes every event of the selected processes.
int32_t check(const char* fn, int32_t who, int32_t priority, int32_t budget_ms) {
  State& s = st();
  int32_t rc = 0;
  int32_t left = budget_ms;
  for (;;) {
    for (int i = 0; i < kEventCount && rc == 0; ++i) {
      const EventDef& e = kEvents[i];
      if (!selected(e, who) || !s.open[i]) continue;
      if (priority != -1 && !chosen(e, priority)) continue;
      const int r = s.events[i].poll();
      KYT_TRACE(kModule, kTopic, 4, "%s: %s, iWho=%d, poll=%d", fn, e.label,
                static_cast<int>(who), r);
      if (r < 0) rc = system_failure(e.poll_base);
      else if (r == 1) rc = e.result;
    }
    if (rc != 0) break;
    left -= 10;
    if (left < 0) break;
    platform::sleep_ms(10);
  }
  KYT_TRACE(kModule, kTopic, 6, "%s: iWho=%d, rc=%d, iTemp=%d returned", fn,
            static_cast<int>(who), static_cast<int>(rc), static_cast<int>(left));
  return rc;
}

}  // namespace

std::string stop_event_name(int index, const std::string& db) {
  if (index < 0 || index >= kEventCount) return {};
  const std::string pattern = kEvents[index].pattern;
  const size_t at = pattern.find("%s");
  std::string name = pattern.substr(0, at) + db + pattern.substr(at + 2);
  for (char& c : name) {
    if (c == ':') c = 'q';
    else if (c == '\\') c = '/';
  }
  if (name.size() >= kNameMax) return {};
  return name;
}

int32_t init_stop_request(int32_t who) {
  const char* fn = "rpwsrf: InitStopRequest";
  State& s = st();
  std::string db;
  if (lpdsn_get("DB", &db) != 0) {
    KYT_TRACE(kModule, kTopic, 1, "%s: DB not available, iWho=%d", fn, static_cast<int>(who));
    return kFailed;
  }
  for (int i = 0; i < kEventCount; ++i) {
    const EventDef& e = kEvents[i];
    if (!selected(e, who) || s.open[i]) continue;
    const std::string name = stop_event_name(i, db);
    if (name.empty()) {
      KYT_TRACE(kModule, kTopic, 1, "%s: event name too long, iWho=%d", fn,
                static_cast<int>(who));
      return kFailed;
    }
    if (s.events[i].open(name.c_str())) {
      KYT_TRACE(kModule, kTopic, 4, "%s: OpenEvent, iWho=%d, rc=%d", fn, static_cast<int>(who),
                0);
    } else if (s.events[i].create(name.c_str())) {
      KYT_TRACE(kModule, kTopic, 4, "%s: CreateEvent, iWho=%d, rc=%d", fn,
                static_cast<int>(who), 0);
    } else {
      const int32_t rc = system_failure(e.open_base);
      KYT_TRACE(kModule, kTopic, 2, "%s: CreateEvent, iWho=%d, rc=%d", fn,
                static_cast<int>(who), static_cast<int>(rc));
      return rc;
    }
    s.open[i] = 1;
  }
  return 0;
}

int32_t set_stop_request(int32_t who, int32_t priority) {
  const char* fn = "rpwsrf: SetStopRequest";
  State& s = st();
  KYT_TRACE(kModule, kTopic, 5, "%s: iWho=%d, Priority=%d", fn, static_cast<int>(who),
            static_cast<int>(priority));
  int32_t rc = 0;
  for (int i = 0; i < kEventCount; ++i) {
    const EventDef& e = kEvents[i];
    if (!selected(e, who) || !chosen(e, priority) || !s.open[i]) continue;
    if (!s.events[i].set()) {
      rc = system_failure(e.set_base);
      break;
    }
    KYT_TRACE(kModule, kTopic, 4, "%s: iWho=%d, Priority=%d OK", fn, static_cast<int>(who),
              static_cast<int>(priority));
  }
  KYT_TRACE(kModule, kTopic, 4, "%s: rc=%d", fn, static_cast<int>(rc));
  return rc;
}

int32_t check_stop_request(int32_t who, int32_t budget_ms) {
  return check("rpwsrf: CheckStopRequest", who, -1, budget_ms);
}

int32_t check_certain_stop_request(int32_t who, int32_t priority, int32_t budget_ms) {
  return check("rpwsrf: CheckCertainStopRequest", who, priority, budget_ms);
}

int32_t reset_stop_request(int32_t who) {
  const char* fn = "rpwsrf: ResetStopRequest";
  State& s = st();
  for (int i = 0; i < kEventCount; ++i) {
    const EventDef& e = kEvents[i];
    if (!selected(e, who) || !s.open[i]) continue;
    if (!s.events[i].reset()) {
      const int32_t rc = system_failure(e.reset_base);
      KYT_TRACE(kModule, kTopic, 2, "%s: %s, iWho=%d, rc=%d", fn, e.label,
                static_cast<int>(who), static_cast<int>(rc));
      return rc;
    }
  }
  return 0;
}

int32_t deinit_stop_request() {
  State& s = st();
  for (int i = 0; i < kEventCount; ++i) {
    if (!kEvents[i].closed_by_deinit || !s.open[i]) continue;
    s.events[i].close();
    s.open[i] = 0;
    KYT_TRACE(kModule, kTopic, 4, "%s: %s", "rpwsrf: DeInitStopRequest", kEvents[i].label);
  }
  return 0;
}

void rpwsrf_reset_for_tests() {
  State& s = st();
  for (int i = 0; i < kEventCount; ++i) {
    s.events[i].close();
    s.open[i] = 0;
  }
}

}  // namespace kyt

extern "C" {

int32_t InitStopRequest(int32_t who) {
  return kyt::api_guard("InitStopRequest", [&] { return kyt::init_stop_request(who); });
}
int32_t SetStopRequest(int32_t who, int32_t priority) {
  return kyt::api_guard("SetStopRequest", [&] { return kyt::set_stop_request(who, priority); });
}
int32_t CheckStopRequest(int32_t who, int32_t budget_ms) {
  return kyt::api_guard("CheckStopRequest",
                        [&] { return kyt::check_stop_request(who, budget_ms); });
}
int32_t CheckCertainStopRequest(int32_t who, int32_t priority, int32_t budget_ms) {
  return kyt::api_guard("CheckCertainStopRequest", [&] {
    return kyt::check_certain_stop_request(who, priority, budget_ms);
  });
}
int32_t ResetStopRequest(int32_t who) {
  return kyt::api_guard("ResetStopRequest", [&] { return kyt::reset_stop_request(who); });
}
int32_t DeInitStopRequest(void) {
  return kyt::api_guard("DeInitStopRequest", [] { return kyt::deinit_stop_request(); });
}
int32_t StopKyt(void) {
  return kyt::api_guard("StopKyt", [] { return kyt::deinit_stop_request(); });
}

}  // extern "C"
