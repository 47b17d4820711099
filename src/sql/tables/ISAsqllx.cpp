// ISAsqllx: the access module of LX (per-station parameters (written through "INSERT INTO LX" / "UPDATE LX" / "DELETE FROM LX ..." statements)).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kLX;
}  // namespace

int32_t createLXtable() { return tm::create(T, "createLXtable"); }
int32_t getLXelemBySidName(const char* sid, const char* name, kyt_lx_elem* e) {
  return tm::get(T, "getLXelemBySidName", "LXSIDNAM", "SID = ? AND NAME = ?",
                 {tm::arg(sid), tm::arg(name)}, e);
}
int32_t getLXelemList(kyt_lx_elem* first) {
  return tm::list(T, "getLXelemList", "LXLIST", nullptr, nullptr, {}, first);
}
int32_t getLXelemListByName(const char* name, kyt_lx_elem* first) {
  return tm::list(T, "getLXelemListByName", "LXLISTNM", "NAME = ?", nullptr, {tm::arg(name)},
                  first);
}
int32_t getLXelemListBySid(const char* sid, kyt_lx_elem* first) {
  return tm::list(T, "getLXelemListBySid", "LXLISTSI", "SID = ?", nullptr, {tm::arg(sid)}, first);
}
int32_t insLXelem(const kyt_lx_elem* e) { return tm::insert(T, "insLXelem", e); }
int32_t updLXelem(const kyt_lx_elem* e) {
  return tm::update(T, "updLXelem", e, {"TYPE", "LEN", "VAL"});
}
void freeLXelemList(kyt_lx_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
