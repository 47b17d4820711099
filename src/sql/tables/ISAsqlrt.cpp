// ISAsqlrt: the access module of RT (routes (deleted through "DELETE FROM RT WHERE SIDDEST = ? OR SIDNEIGHB = ?")).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kRT;
}  // namespace

int32_t createRTtable() { return tm::create(T, "createRTtable"); }
// The first route to a destination (the one over the lowest neighbour id).
int32_t getRTelemBySid(const char* siddest, kyt_rt_elem* e) {
  return tm::get(T, "getRTelemBySid", "RTSID", "SIDDEST = ?", {tm::arg(siddest)}, e);
}
int32_t getRTelemList(kyt_rt_elem* first) {
  return tm::list(T, "getRTelemList", "RTLIST", nullptr, nullptr, {}, first);
}
void freeRTelemList(kyt_rt_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
