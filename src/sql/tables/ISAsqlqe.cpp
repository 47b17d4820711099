// ISAsqlqe: the access module of QE (queue entries).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kQE;
}  // namespace

int32_t createQEtable() { return tm::create(T, "createQEtable"); }
int32_t getQEelemByCn(int32_t cn, kyt_qe_elem* e) {
  return tm::get(T, "getQEelemByCn", "QECN", "CN = ?", {tm::arg(cn)}, e);
}
int32_t getQEelemList(kyt_qe_elem* first) {
  return tm::list(T, "getQEelemList", "QELIST", nullptr, nullptr, {}, first);
}
int32_t delQEelem(int32_t cn) { return tm::remove(T, "delQEelem", {{"CN", kExprEq, tm::arg(cn)}}); }
void freeQEelemList(kyt_qe_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
