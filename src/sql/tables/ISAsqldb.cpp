// ISAsqldb: the access module of DB (database version).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kDB;
}  // namespace

int32_t createDBtable() { return tm::create(T, "createDBtable"); }
int32_t getDBelemList(kyt_db_elem* first) {
  return tm::list(T, "getDBelemList", "DBLIST", nullptr, nullptr, {}, first);
}
int32_t insDBelem(const kyt_db_elem* e) { return tm::insert(T, "insDBelem", e); }
void freeDBelemList(kyt_db_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
