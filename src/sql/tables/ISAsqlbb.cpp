// ISAsqlbb: the access module of BB (bulletin messages).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kBB;
}  // namespace

int32_t createBBtable() { return tm::create(T, "createBBtable"); }
int32_t getBBelemByCn(int32_t cn, kyt_bb_elem* e) {
  return tm::get(T, "getBBelemByCn", "BBCN", "CN = ?", {tm::arg(cn)}, e);
}
int32_t getBBelemList(kyt_bb_elem* first) {
  return tm::list(T, "getBBelemList", "BBLIST", nullptr, nullptr, {}, first);
}
int32_t insBBelem(const kyt_bb_elem* e) { return tm::insert(T, "insBBelem", e); }
int32_t delBBelem(int32_t cn) { return tm::remove(T, "delBBelem", {{"CN", kExprEq, tm::arg(cn)}}); }
void freeBBelemList(kyt_bb_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
