// ISAsqlec: the access module of EC (commands of an entry).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kEC;
}  // namespace

int32_t createECtable() { return tm::create(T, "createECtable"); }
int32_t getECelemByCn(int32_t cn, kyt_ec_elem* e) {
  return tm::get(T, "getECelemByCn", "ECCN", "CN = ?", {tm::arg(cn)}, e);
}
int32_t getECelemByCncmd(int32_t cncmd, kyt_ec_elem* e) {
  return tm::get(T, "getECelemByCncmd", "ECCNCMD", "CNCMD = ?", {tm::arg(cncmd)}, e);
}
int32_t getECelemList(kyt_ec_elem* first) {
  return tm::list(T, "getECelemList", "ECLIST", nullptr, nullptr, {}, first);
}
int32_t insECelem(const kyt_ec_elem* e) { return tm::insert(T, "insECelem", e); }
int32_t delECelem(int32_t cn) { return tm::remove(T, "delECelem", {{"CN", kExprEq, tm::arg(cn)}}); }
void freeECelemList(kyt_ec_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
