// ISAsqlsl: the access module of SL (command sequences (changed through "UPDATE SL" statements)).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kSL;
}  // namespace

int32_t createSLtable() { return tm::create(T, "createSLtable"); }
int32_t getSLelemByCnfirst(int32_t cnfirst, kyt_sl_elem* e) {
  return tm::get(T, "getSLelemByCnfirst", "SLCNFRST", "CNFIRST = ?", {tm::arg(cnfirst)}, e);
}
int32_t getSLelemByCnafterwrd(int32_t cnafterwrd, kyt_sl_elem* e) {
  return tm::get(T, "getSLelemByCnafterwrd", "SLCNAFTR", "CNAFTERWRD = ?", {tm::arg(cnafterwrd)},
                 e);
}
int32_t getSLelemList(kyt_sl_elem* first) {
  return tm::list(T, "getSLelemList", "SLLIST", nullptr, nullptr, {}, first);
}
// The sequences of one user label.
int32_t getSLelemListByLabel(const char* label, kyt_sl_elem* first) {
  return tm::list(T, "getSLelemListByLabel", "SLLISTLB", "USRLABEL = ?", nullptr,
                  {tm::arg(label)}, first);
}
int32_t insSLelem(const kyt_sl_elem* e) { return tm::insert(T, "insSLelem", e); }
void freeSLelemList(kyt_sl_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
