// ISAsqlsk: the access module of SK (send queue).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kSK;
}  // namespace

int32_t createSKtable() { return tm::create(T, "createSKtable"); }
int32_t getSKelemByCn(int32_t cn, kyt_sk_elem* e) {
  return tm::get(T, "getSKelemByCn", "SKCN", "CN = ?", {tm::arg(cn)}, e);
}
int32_t getSKelemList(kyt_sk_elem* first) {
  return tm::list(T, "getSKelemList", "SKLIST", nullptr, nullptr, {}, first);
}
// The queue of one neighbour: the station the files are handed to.
int32_t getSKelemListBySid(const char* sidneighb, kyt_sk_elem* first) {
  return tm::list(T, "getSKelemListBySid", "SKLISTSI", "SIDNEIGHB = ?", nullptr,
                  {tm::arg(sidneighb)}, first);
}
// The start of a send attempt: its time and the attempt count.
int32_t updSKBegSend(const kyt_sk_elem* e) {
  return tm::update(T, "updSKBegSend", e, {"DTBEGSEND", "CNTSENDATT"});
}
int32_t updSKCnqe(const kyt_sk_elem* e) { return tm::update(T, "updSKCnqe", e, {"CNQE"}); }
int32_t updSKCntRecByt(const kyt_sk_elem* e) {
  return tm::update(T, "updSKCntRecByt", e, {"CNTRECORD", "CNTBYTE"});
}
int32_t updSKCntbyte(const kyt_sk_elem* e) { return tm::update(T, "updSKCntbyte", e, {"CNTBYTE"}); }
int32_t updSKCntrecord(const kyt_sk_elem* e) {
  return tm::update(T, "updSKCntrecord", e, {"CNTRECORD"});
}
int32_t updSKCode(const kyt_sk_elem* e) { return tm::update(T, "updSKCode", e, {"CODE"}); }
int32_t updSKDsntemp(const kyt_sk_elem* e) { return tm::update(T, "updSKDsntemp", e, {"DSNTEMP"}); }
int32_t updSKDtendsend(const kyt_sk_elem* e) {
  return tm::update(T, "updSKDtendsend", e, {"DTENDSEND"});
}
int32_t delSKelem(int32_t cn) { return tm::remove(T, "delSKelem", {{"CN", kExprEq, tm::arg(cn)}}); }
void freeSKelemList(kyt_sk_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
