// ISAsqlet: the access module of ET (send entries).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kET;
}  // namespace

int32_t createETtable() { return tm::create(T, "createETtable"); }
int32_t getETelemByKey(const char* uid, const char* cid, const char* siddest, int32_t cnse,
                       int32_t cnie, kyt_et_elem* e) {
  return tm::get(T, "getETelemByKey", "ETKEY",
                 "UID = ? AND CID = ? AND SIDDEST = ? AND CNSE = ? AND CNIE = ?",
                 {tm::arg(uid), tm::arg(cid), tm::arg(siddest), tm::arg(cnse), tm::arg(cnie)}, e);
}
int32_t getETelemByCnse(int32_t cnse, kyt_et_elem* e) {
  return tm::get(T, "getETelemByCnse", "ETCNSE", "CNSE = ?", {tm::arg(cnse)}, e);
}
int32_t getETelemByCnie(int32_t cnie, kyt_et_elem* e) {
  return tm::get(T, "getETelemByCnie", "ETCNIE", "CNIE = ?", {tm::arg(cnie)}, e);
}
int32_t getETelemByCniz(int32_t cniz, kyt_et_elem* e) {
  return tm::get(T, "getETelemByCniz", "ETCNIZ", "CNIZ = ?", {tm::arg(cniz)}, e);
}
int32_t getETelemByCnsk(int32_t cnsk, kyt_et_elem* e) {
  return tm::get(T, "getETelemByCnsk", "ETCNSK", "CNSK = ?", {tm::arg(cnsk)}, e);
}
int32_t getETelemList(kyt_et_elem* first) {
  return tm::list(T, "getETelemList", "ETLIST", nullptr, nullptr, {}, first);
}
int32_t getETelemListByCnse(int32_t cnse, kyt_et_elem* first) {
  return tm::list(T, "getETelemListByCnse", "ETLISTSE", "CNSE = ?", nullptr, {tm::arg(cnse)},
                  first);
}
// The entries of one receive entry for one destination ...
int32_t getETelemListByCnieSid(int32_t cnie, const char* siddest, kyt_et_elem* first) {
  return tm::list(T, "getETelemListByCnieSid", "ETLISTIS", "CNIE = ? AND SIDDEST = ?", nullptr,
                  {tm::arg(cnie), tm::arg(siddest)}, first);
}
// ... and for every other destination.
int32_t getETelemListByCnieNotSid(int32_t cnie, const char* siddest, kyt_et_elem* first) {
  return tm::list(T, "getETelemListByCnieNotSid", "ETLISTIN", "CNIE = ? AND SIDDEST <> ?",
                  nullptr, {tm::arg(cnie), tm::arg(siddest)}, first);
}
int32_t insETelem(const kyt_et_elem* e) { return tm::insert(T, "insETelem", e); }
int32_t delETelemByCnse(int32_t cnse) {
  return tm::remove(T, "delETelemByCnse", {{"CNSE", kExprEq, tm::arg(cnse)}});
}
int32_t delETelemByCnie(int32_t cnie) {
  return tm::remove(T, "delETelemByCnie", {{"CNIE", kExprEq, tm::arg(cnie)}});
}
void freeETelemList(kyt_et_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
