// ISAsqlop: the access module of OP (ODETTE partners (written through "INSERT INTO OP" / "UPDATE OP" / "DELETE FROM OP WHERE SID = ?" statements by their users)).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kOP;
}  // namespace

int32_t createOPtable() { return tm::create(T, "createOPtable"); }
int32_t getOPelemBySid(const char* sid, kyt_op_elem* e) {
  return tm::get(T, "getOPelemBySid", "OPSID", "SID = ?", {tm::arg(sid)}, e);
}
int32_t getOPelemByOid(const char* odetteid, kyt_op_elem* e) {
  return tm::get(T, "getOPelemByOid", "OPOID", "ODETTEID = ?", {tm::arg(odetteid)}, e);
}
int32_t getOPelemList(kyt_op_elem* first) {
  return tm::list(T, "getOPelemList", "OPLIST", nullptr, nullptr, {}, first);
}
void freeOPelemList(kyt_op_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
