#include "api/calflush.h"

#include <string>
#include <vector>

#include "kyt/kyt.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kyt::api {
namespace {
constexpr const char* kModule = "kytcal";
constexpr const char* kTopic = "A";
}  // namespace

int32_t flush_monitors(int32_t bits) {
  // The monitors first, then their rows one by one: no cursor stays open while rows change.
  struct Monitor {
    int32_t kytid;
    int32_t flags;
  };
  std::vector<Monitor> monitors;
  char type[2] = "M";
  Monitor m{};
  const HostVar vars[] = {{KYT_HOST_TEXT, type}, {KYT_HOST_INT32, &m.kytid},
                          {KYT_HOST_INT32, &m.flags}};
  int32_t rc = rpdsql_run("DECLARE kytflush CURSOR FOR SELECT KYTID, FLGFLUSH FROM RI WHERE PTYPE = ?",
                          vars);
  while (rc == 0) {
    monitors.push_back(m);
    rc = rpdsql_run("FETCH kytflush", std::span<const HostVar>(vars + 1, 2));
  }
  rpdsql_run("CLOSE kytflush");
  int32_t result = 0;
  if (rc != RPDSQL_NOT_FOUND) {
    KYT_TRACE(kModule, kTopic, 1, "flush_monitors: select returns %d", rc);
    result = rc;
  }
  for (const Monitor& each : monitors) {
    if ((each.flags & bits) == bits) continue;
    kyt_ri_elem e{};
    e.kytid = each.kytid;
    e.flgflush = each.flags | bits;
    rc = tm::update(Tab::kRI, "flush_monitors", &e, {"FLGFLUSH"});
    if (rc != 0) {
      KYT_TRACE(kModule, kTopic, 1, "flush_monitors: FLGFLUSH of %d returns %d", e.kytid, rc);
      result = rc;
      break;
    }
  }
  const std::string name = monitor_wakeup_name();
  if (!name.empty()) platform::release_named_semaphore(name.c_str());
  return result;
}

}  // namespace kyt::api
