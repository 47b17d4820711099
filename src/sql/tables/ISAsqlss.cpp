// ISAsqlss: the access module of SS (transfer statistics).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kSS;
}  // namespace

int32_t createSStable() { return tm::create(T, "createSStable"); }
int32_t getSSelemByCn(int32_t cn, kyt_ss_elem* e) {
  return tm::get(T, "getSSelemByCn", "SSCN", "CN = ?", {tm::arg(cn)}, e);
}
int32_t getSSelemByCnSk(int32_t cnsk, kyt_ss_elem* e) {
  return tm::get(T, "getSSelemByCnSk", "SSCNSK", "CNSK = ?", {tm::arg(cnsk)}, e);
}
int32_t getSSelemList(kyt_ss_elem* first) {
  return tm::list(T, "getSSelemList", "SSLIST", nullptr, nullptr, {}, first);
}
int32_t insSSelem(const kyt_ss_elem* e) { return tm::insert(T, "insSSelem", e); }
int32_t delSSelem(int32_t cn) { return tm::remove(T, "delSSelem", {{"CN", kExprEq, tm::arg(cn)}}); }
// The clean-up of old statistics: every row created before the date-time `dt`.
int32_t delSSelemListOld(const char* dt) {
  return tm::remove(T, "delSSelemListOld", {{"DTCREAT", kExprLt, tm::dt(dt)}});
}
void freeSSelemList(kyt_ss_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
