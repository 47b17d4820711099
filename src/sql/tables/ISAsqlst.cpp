// ISAsqlst: the access module of ST (stations (written through "INSERT INTO ST" / "DELETE FROM ST WHERE SID = ?" statements)).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kST;
}  // namespace

int32_t createSTtable() { return tm::create(T, "createSTtable"); }
int32_t getSTelemBySid(const char* sid, kyt_st_elem* e) {
  return tm::get(T, "getSTelemBySid", "STSID", "SID = ?", {tm::arg(sid)}, e);
}
int32_t getSTelemList(kyt_st_elem* first) {
  return tm::list(T, "getSTelemList", "STLIST", nullptr, nullptr, {}, first);
}
void freeSTelemList(kyt_st_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
