// ISAsqlfk: the access module of FK (last error per command).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kFK;
}  // namespace

int32_t createFKtable() { return tm::create(T, "createFKtable"); }
int32_t getFKelemByCn(int32_t cn, kyt_fk_elem* e) {
  return tm::get(T, "getFKelemByCn", "FKCN", "CN = ?", {tm::arg(cn)}, e);
}
int32_t getFKelemList(kyt_fk_elem* first) {
  return tm::list(T, "getFKelemList", "FKLIST", nullptr, nullptr, {}, first);
}
int32_t insFKelem(const kyt_fk_elem* e) { return tm::insert(T, "insFKelem", e); }
int32_t delFKelem(int32_t cn) { return tm::remove(T, "delFKelem", {{"CN", kExprEq, tm::arg(cn)}}); }
void freeFKelemList(kyt_fk_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
