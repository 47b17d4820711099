// ISAsqlav: the access module of AV (connection statistics per station (changed through "UPDATE AV" statements)).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kAV;
}  // namespace

int32_t createAVtable() { return tm::create(T, "createAVtable"); }
int32_t getAVelemBySid(const char* sid, kyt_av_elem* e) {
  return tm::get(T, "getAVelemBySid", "AVSID", "SID = ?", {tm::arg(sid)}, e);
}
int32_t getAVCountBySid(const char* sid, int32_t* count) {
  return tm::count(T, "getAVCountBySid", "AVCNTSID", "SID = ?", {tm::arg(sid)}, count);
}
int32_t getAVelemList(kyt_av_elem* first) {
  return tm::list(T, "getAVelemList", "AVLIST", nullptr, nullptr, {}, first);
}
// Every row in order of station id (the statistics listing).
int32_t getAVelemListList(kyt_av_elem* first) {
  return tm::list(T, "getAVelemListList", "AVLISTLS", nullptr, "SID", {}, first);
}
int32_t insAVelem(const kyt_av_elem* e) { return tm::insert(T, "insAVelem", e); }
int32_t delAVelem(int32_t kytid) {
  return tm::remove(T, "delAVelem", {{"KYTID", kExprEq, tm::arg(kytid)}});
}
void freeAVelemList(kyt_av_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
