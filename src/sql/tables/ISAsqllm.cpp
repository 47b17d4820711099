// ISAsqllm: the access module of LM (messages).
#include "sql/tables/tables.h"

#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kLM;
}  // namespace

int32_t createLMtable() { return tm::create(T, "createLMtable"); }
int32_t getLMelemByCn(int32_t cn, kyt_lm_elem* e) {
  return tm::get(T, "getLMelemByCn", "LMCN", "CN = ?", {tm::arg(cn)}, e);
}
int32_t getLMelemList(kyt_lm_elem* first) {
  return tm::list(T, "getLMelemList", "LMLIST", nullptr, nullptr, {}, first);
}
int32_t insLMelem(const kyt_lm_elem* e) { return tm::insert(T, "insLMelem", e); }
int32_t delLMelem(int32_t cn) { return tm::remove(T, "delLMelem", {{"CN", kExprEq, tm::arg(cn)}}); }
void freeLMelemList(kyt_lm_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
