// ISAsqliz: the access module of IZ (receive entries of the queue).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kIZ;
}  // namespace

int32_t createIZtable() { return tm::create(T, "createIZtable"); }
int32_t getIZelemByCn(int32_t cn, kyt_iz_elem* e) {
  return tm::get(T, "getIZelemByCn", "IZCN", "CN = ?", {tm::arg(cn)}, e);
}
int32_t getIZelemList(kyt_iz_elem* first) {
  return tm::list(T, "getIZelemList", "IZLIST", nullptr, nullptr, {}, first);
}
int32_t insIZelem(const kyt_iz_elem* e) { return tm::insert(T, "insIZelem", e); }
int32_t updIZCnre(const kyt_iz_elem* e) { return tm::update(T, "updIZCnre", e, {"CNRE"}); }
int32_t delIZelem(int32_t cn) { return tm::remove(T, "delIZelem", {{"CN", kExprEq, tm::arg(cn)}}); }
void freeIZelemList(kyt_iz_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
