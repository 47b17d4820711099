// ISAsqlpt: the access module of PT (parameters).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kPT;
}  // namespace

int32_t createPTtable() { return tm::create(T, "createPTtable"); }
int32_t getPTelemList(kyt_pt_elem* first) {
  return tm::list(T, "getPTelemList", "PTLIST", nullptr, nullptr, {}, first);
}
int32_t insPTelem(const kyt_pt_elem* e) { return tm::insert(T, "insPTelem", e); }
// A parameter's new value: TYPE, LEN and VAL of the row named e->name.
int32_t updPTStatus(const kyt_pt_elem* e) {
  return tm::update(T, "updPTStatus", e, {"TYPE", "LEN", "VAL"});
}
void freePTelemList(kyt_pt_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
