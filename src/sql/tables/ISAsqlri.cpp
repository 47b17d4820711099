// ISAsqlri: the access module of RI (running processes of the station).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kRI;
}  // namespace

int32_t createRItable() { return tm::create(T, "createRItable"); }
int32_t getRIelemByKytid(int32_t kytid, kyt_ri_elem* e) {
  return tm::get(T, "getRIelemByKytid", "RIKYTID", "KYTID = ?", {tm::arg(kytid)}, e);
}
int32_t getRIelemList(kyt_ri_elem* first) {
  return tm::list(T, "getRIelemList", "RILIST", nullptr, nullptr, {}, first);
}
int32_t insRIelem(const kyt_ri_elem* e) { return tm::insert(T, "insRIelem", e); }
int32_t delRIelem(int32_t kytid) {
  return tm::remove(T, "delRIelem", {{"KYTID", kExprEq, tm::arg(kytid)}});
}
void freeRIelemList(kyt_ri_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
