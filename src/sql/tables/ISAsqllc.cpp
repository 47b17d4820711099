// ISAsqllc: the access module of LC (last command number).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kLC;
}  // namespace

int32_t createLCtable() { return tm::create(T, "createLCtable"); }
// The first row (the table holds one).
int32_t getLCelem(kyt_lc_elem* e) { return tm::get(T, "getLCelem", "LCELEM", nullptr, {}, e); }
int32_t insLCelem(const kyt_lc_elem* e) { return tm::insert(T, "insLCelem", e); }
int32_t delLCelem(int32_t cn) { return tm::remove(T, "delLCelem", {{"CN", kExprEq, tm::arg(cn)}}); }
void freeLCelemList(kyt_lc_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
