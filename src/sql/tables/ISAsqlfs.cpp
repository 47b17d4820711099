// ISAsqlfs: the access module of FS (last error per station).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kFS;
}  // namespace

int32_t createFStable() { return tm::create(T, "createFStable"); }
// The table is keyed by station id (it has no command number); the name is the module's.
int32_t getFSelemByCn(const char* sid, kyt_fs_elem* e) {
  return tm::get(T, "getFSelemByCn", "FSSID", "SID = ?", {tm::arg(sid)}, e);
}
int32_t getFSelemList(kyt_fs_elem* first) {
  return tm::list(T, "getFSelemList", "FSLIST", nullptr, nullptr, {}, first);
}
int32_t insFSelem(const kyt_fs_elem* e) { return tm::insert(T, "insFSelem", e); }
int32_t delFSelem(const char* sid) {
  return tm::remove(T, "delFSelem", {{"SID", kExprEq, tm::arg(sid)}});
}
void freeFSelemList(kyt_fs_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
