// ISAsqlre: the access module of RE (resident receive entries).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kRE;
}  // namespace

int32_t createREtable() { return tm::create(T, "createREtable"); }
int32_t getREelemByCn(int32_t cn, kyt_re_elem* e) {
  return tm::get(T, "getREelemByCn", "RECN", "CN = ?", {tm::arg(cn)}, e);
}
int32_t getREelemList(kyt_re_elem* first) {
  return tm::list(T, "getREelemList", "RELIST", nullptr, nullptr, {}, first);
}
int32_t insREelem(const kyt_re_elem* e) { return tm::insert(T, "insREelem", e); }
int32_t updREDtlastused(const kyt_re_elem* e) {
  return tm::update(T, "updREDtlastused", e, {"DTLASTUSED"});
}
int32_t delREelem(int32_t cn) { return tm::remove(T, "delREelem", {{"CN", kExprEq, tm::arg(cn)}}); }
void freeREelemList(kyt_re_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
