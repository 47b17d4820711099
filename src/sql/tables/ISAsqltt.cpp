// ISAsqltt: the access module of TT (text table).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kTT;
}  // namespace

int32_t createTTtable() { return tm::create(T, "createTTtable"); }
int32_t getTTelemByKey(const char* key, kyt_tt_elem* e) {
  return tm::get(T, "getTTelemByKey", "TTKEY", "KEY = ?", {tm::arg(key)}, e);
}
int32_t getTTelemList(kyt_tt_elem* first) {
  return tm::list(T, "getTTelemList", "TTLIST", nullptr, nullptr, {}, first);
}
void freeTTelemList(kyt_tt_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
