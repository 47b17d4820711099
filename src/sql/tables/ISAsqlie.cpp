// ISAsqlie: the access module of IE (received files).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kIE;
}  // namespace

int32_t createIEtable() { return tm::create(T, "createIEtable"); }
int32_t getIEelemByCn(int32_t cn, kyt_ie_elem* e) {
  return tm::get(T, "getIEelemByCn", "IECN", "CN = ?", {tm::arg(cn)}, e);
}
int32_t getIEelemList(kyt_ie_elem* first) {
  return tm::list(T, "getIEelemList", "IELIST", nullptr, nullptr, {}, first);
}
int32_t updIECntRecByt(const kyt_ie_elem* e) {
  return tm::update(T, "updIECntRecByt", e, {"CNTRECORD", "CNTBYTE"});
}
int32_t updIECntackn(const kyt_ie_elem* e) { return tm::update(T, "updIECntackn", e, {"CNTACKN"}); }
int32_t updIECntizandse(const kyt_ie_elem* e) {
  return tm::update(T, "updIECntizandse", e, {"CNTIZANDSE"});
}
int32_t updIECntsendatt(const kyt_ie_elem* e) {
  return tm::update(T, "updIECntsendatt", e, {"CNTSENDATT"});
}
int32_t updIEDtreceived(const kyt_ie_elem* e) {
  return tm::update(T, "updIEDtreceived", e, {"DTRECEIVED"});
}
// The sender: its station and user.
int32_t updIESidUid(const kyt_ie_elem* e) {
  return tm::update(T, "updIESidUid", e, {"SIDSENDER", "UIDSENDER"});
}
// The sender: its user and command id.
int32_t updIEUidCid(const kyt_ie_elem* e) {
  return tm::update(T, "updIEUidCid", e, {"UIDSENDER", "CIDSENDER"});
}
int32_t delIEelem(int32_t cn) { return tm::remove(T, "delIEelem", {{"CN", kExprEq, tm::arg(cn)}}); }
void freeIEelemList(kyt_ie_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
