// calflush: the FLGFLUSH bits of the registered monitors and the monitor's wake-up.
#include "api/calflush.h"

#include <cstring>
#include <string>

#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kyt::api {

namespace {
constexpr const char* kModule = "kytcal";
constexpr const char* kTopic = "p";
}  // namespace

int32_t mark_monitors(int32_t bit) {
  kyt_ri_elem first{};
  const int32_t rc = getRIelemList(&first);
  if (rc == RPDSQL_NOT_FOUND) return 0;
  if (rc != 0) {
    KYT_TRACE(kModule, kTopic, 1, "mark_monitors: getRIelemList returns %d", rc);
    freeRIelemList(&first);
    return -1;
  }
  int32_t marked = 0;
  for (kyt_ri_elem* e = &first; e != nullptr; e = e->next) {
    if (std::strcmp(e->ptype, "M") != 0) continue;
    e->flgflush |= bit;
    const int32_t urc = tm::update(Tab::kRI, "updRIFlgflush", e, {"FLGFLUSH"});
    if (urc != 0) {
      KYT_TRACE(kModule, kTopic, 1, "mark_monitors: update of FLGFLUSH of %d returns %d",
                e->kytid, urc);
      continue;
    }
    ++marked;
  }
  freeRIelemList(&first);
  return marked;
}

int32_t flush_monitors(int32_t bits) {
  const int32_t marked = mark_monitors(bits);
  wake_monitor();
  return marked < 0 ? -1 : 0;
}

}  // namespace kyt::api
