// ISAsqllt: the access module of LT (log messages).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kLT;
}  // namespace

int32_t createLTtable() { return tm::create(T, "createLTtable"); }
int32_t insLTelem(const kyt_lt_elem* e) { return tm::insert(T, "insLTelem", e); }
void freeLTelemList(kyt_lt_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
