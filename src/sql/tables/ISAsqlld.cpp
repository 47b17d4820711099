// ISAsqlld: the access module of LD (a date).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kLD;
}  // namespace

int32_t createLDtable() { return tm::create(T, "createLDtable"); }
int32_t getLDelemList(kyt_ld_elem* first) {
  return tm::list(T, "getLDelemList", "LDLIST", nullptr, nullptr, {}, first);
}
int32_t insLDelem(const kyt_ld_elem* e) { return tm::insert(T, "insLDelem", e); }
// The table has no key: every row takes the new date.
int32_t updLDelem(const kyt_ld_elem* e) { return tm::update(T, "updLDelem", e, {"KYTDATE"}); }
int32_t delLDelem(int32_t kytdate) {
  return tm::remove(T, "delLDelem", {{"KYTDATE", kExprEq, tm::arg(kytdate)}});
}
void freeLDelemList(kyt_ld_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
