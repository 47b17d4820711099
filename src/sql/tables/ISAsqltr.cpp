// ISAsqltr: the access module of TR (routing table entries (written through "INSERT TR" statements)).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kTR;
}  // namespace

int32_t createTRtable() { return tm::create(T, "createTRtable"); }
int32_t getTRelemList(kyt_tr_elem* first) {
  return tm::list(T, "getTRelemList", "TRLIST", nullptr, nullptr, {}, first);
}
void freeTRelemList(kyt_tr_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
