// ISAsqlvd: the access module of VD (file descriptions of the queues).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kVD;
}  // namespace

int32_t createVDtable() { return tm::create(T, "createVDtable"); }
int32_t getVDelemByCn(int32_t cn, kyt_vd_elem* e) {
  return tm::get(T, "getVDelemByCn", "VDCN", "CN = ?", {tm::arg(cn)}, e);
}
int32_t getVDelemList(kyt_vd_elem* first) {
  return tm::list(T, "getVDelemList", "VDLIST", nullptr, nullptr, {}, first);
}
int32_t insVDelem(const kyt_vd_elem* e) { return tm::insert(T, "insVDelem", e); }
int32_t updVDFlagsCode(const kyt_vd_elem* e) {
  return tm::update(T, "updVDFlagsCode", e, {"FLAGCOMPR", "FLAGENCR", "CODE"});
}
// The record format and its record length.
int32_t updVDRecfm(const kyt_vd_elem* e) {
  return tm::update(T, "updVDRecfm", e, {"RECFM", "MAXRECL"});
}
int32_t updVDStatusdsn(const kyt_vd_elem* e) {
  return tm::update(T, "updVDStatusdsn", e, {"STATUSDSN"});
}
int32_t delVDelem(int32_t cn) { return tm::remove(T, "delVDelem", {{"CN", kExprEq, tm::arg(cn)}}); }
void freeVDelemList(kyt_vd_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
