// ISAsqlbt: the access module of BT (users).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kBT;
}  // namespace

int32_t createBTtable() { return tm::create(T, "createBTtable"); }
int32_t getBTelemByUid(const char* uid, kyt_bt_elem* e) {
  return tm::get(T, "getBTelemByUid", "BTUID", "UID = ?", {tm::arg(uid)}, e);
}
int32_t getBTelemByUsersid(const char* usersid, kyt_bt_elem* e) {
  return tm::get(T, "getBTelemByUsersid", "BTUSID", "USERSID = ?", {tm::arg(usersid)}, e);
}
int32_t getBTelemList(kyt_bt_elem* first) {
  return tm::list(T, "getBTelemList", "BTLIST", nullptr, nullptr, {}, first);
}
int32_t insBTelem(const kyt_bt_elem* e) { return tm::insert(T, "insBTelem", e); }
int32_t delBTelem(const char* uid) {
  return tm::remove(T, "delBTelem", {{"UID", kExprEq, tm::arg(uid)}});
}
void freeBTelemList(kyt_bt_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
