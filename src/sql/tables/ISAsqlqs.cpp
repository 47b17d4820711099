// ISAsqlqs: the access module of QS (send queue of a connection).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kQS;
}  // namespace

int32_t createQStable() { return tm::create(T, "createQStable"); }
int32_t getQSelemByCn(int32_t cn, kyt_qs_elem* e) {
  return tm::get(T, "getQSelemByCn", "QSCN", "CN = ?", {tm::arg(cn)}, e);
}
int32_t getQSelemList(kyt_qs_elem* first) {
  return tm::list(T, "getQSelemList", "QSLIST", nullptr, nullptr, {}, first);
}
// The queue of one neighbour.
int32_t getQSelemListBySid(const char* sidneighb, kyt_qs_elem* first) {
  return tm::list(T, "getQSelemListBySid", "QSLISTSI", "SIDNEIGHB = ?", nullptr,
                  {tm::arg(sidneighb)}, first);
}
// The start of a send attempt: its time and the attempt count.
int32_t updQSBegSend(const kyt_qs_elem* e) {
  return tm::update(T, "updQSBegSend", e, {"DTBEGSEND", "CNTSENDATT"});
}
int32_t updQSDtendsend(const kyt_qs_elem* e) {
  return tm::update(T, "updQSDtendsend", e, {"DTENDSEND"});
}
int32_t delQSelem(int32_t cn) { return tm::remove(T, "delQSelem", {{"CN", kExprEq, tm::arg(cn)}}); }
void freeQSelemList(kyt_qs_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
