// ISAsqlok: the access module of OK (operator command results).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kOK;
}  // namespace

int32_t createOKtable() { return tm::create(T, "createOKtable"); }
int32_t getOKelemByCn(int32_t cn, kyt_ok_elem* e) {
  return tm::get(T, "getOKelemByCn", "OKCN", "CN = ?", {tm::arg(cn)}, e);
}
int32_t getOKelemList(kyt_ok_elem* first) {
  return tm::list(T, "getOKelemList", "OKLIST", nullptr, nullptr, {}, first);
}
int32_t insOKelem(const kyt_ok_elem* e) { return tm::insert(T, "insOKelem", e); }
int32_t delOKelem(int32_t cn) { return tm::remove(T, "delOKelem", {{"CN", kExprEq, tm::arg(cn)}}); }
void freeOKelemList(kyt_ok_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
