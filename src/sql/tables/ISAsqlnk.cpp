// ISAsqlnk: the access module of NK (network and protocol links per station (written through "UPDATE NK" statements)).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kNK;
}  // namespace

int32_t createNKtable() { return tm::create(T, "createNKtable"); }
int32_t getNKelemList(kyt_nk_elem* first) {
  return tm::list(T, "getNKelemList", "NKLIST", nullptr, nullptr, {}, first);
}
void freeNKelemList(kyt_nk_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
