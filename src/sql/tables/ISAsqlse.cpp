// ISAsqlse: the access module of SE (send entries of the queue).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kSE;
}  // namespace

int32_t createSEtable() { return tm::create(T, "createSEtable"); }
int32_t getSEelemByCn(int32_t cn, kyt_se_elem* e) {
  return tm::get(T, "getSEelemByCn", "SECN", "CN = ?", {tm::arg(cn)}, e);
}
int32_t getSEelemList(kyt_se_elem* first) {
  return tm::list(T, "getSEelemList", "SELIST", nullptr, nullptr, {}, first);
}
// The entries of one user label.
int32_t getSEelemListByLabel(const char* label, kyt_se_elem* first) {
  return tm::list(T, "getSEelemListByLabel", "SELISTLB", "SEUSRLABEL = ?", nullptr,
                  {tm::arg(label)}, first);
}
int32_t insSEelem(const kyt_se_elem* e) { return tm::insert(T, "insSEelem", e); }
int32_t updSECntackn(const kyt_se_elem* e) { return tm::update(T, "updSECntackn", e, {"CNTACKN"}); }
int32_t updSECntsk(const kyt_se_elem* e) { return tm::update(T, "updSECntsk", e, {"CNTSK"}); }
int32_t delSEelem(int32_t cn) { return tm::remove(T, "delSEelem", {{"CN", kExprEq, tm::arg(cn)}}); }
void freeSEelemList(kyt_se_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
