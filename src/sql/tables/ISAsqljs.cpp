// ISAsqljs: the access module of JS (jobs started on receipt).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kJS;
}  // namespace

int32_t createJStable() { return tm::create(T, "createJStable"); }
int32_t getJSelemByCn(int32_t cn, kyt_js_elem* e) {
  return tm::get(T, "getJSelemByCn", "JSCN", "CN = ?", {tm::arg(cn)}, e);
}
int32_t getJSelemList(kyt_js_elem* first) {
  return tm::list(T, "getJSelemList", "JSLIST", nullptr, "CNTSENDATT DESC", {}, first);
}
int32_t insJSelem(const kyt_js_elem* e) { return tm::insert(T, "insJSelem", e); }
// Every column but the key.
int32_t updJSelem(const kyt_js_elem* e) {
  return tm::update(T, "updJSelem", e,
                    {"VDSN", "UIDSENDER", "SIDSENDER", "SIDRCV", "CNTSENDATT", "BATCHJOB",
                     "UIDCREATOR", "COMMENTJS", "DTLASTUSED"});
}
int32_t updJSDtlastused(const kyt_js_elem* e) {
  return tm::update(T, "updJSDtlastused", e, {"DTLASTUSED"});
}
int32_t delJSelem(int32_t cn) { return tm::remove(T, "delJSelem", {{"CN", kExprEq, tm::arg(cn)}}); }
void freeJSelemList(kyt_js_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
