// ISAsqllu: the access module of LU (LU 6.2 connections).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kLU;
}  // namespace

int32_t createLUtable() { return tm::create(T, "createLUtable"); }
int32_t getLUelemBySid(const char* sid, kyt_lu_elem* e) {
  return tm::get(T, "getLUelemBySid", "LUSID", "SID = ?", {tm::arg(sid)}, e);
}
int32_t getLUelemList(kyt_lu_elem* first) {
  return tm::list(T, "getLUelemList", "LULIST", nullptr, nullptr, {}, first);
}
void freeLUelemList(kyt_lu_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
