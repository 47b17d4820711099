// rpdini: the schema and first rows of a new station database.
#include <cstdint>

#include "runtime/runtime.h"
#include "sql/sql.h"
#include "kyt/kyt.h"
#include "services/rpdipr.h"

namespace kyt {

namespace {

// AC, SV, TC and XP have no access module of their own; their statements come from the same
// table description.
int32_t createACtable() { return tm::create(Tab::kAC, "createACtable"); }
int32_t createSVtable() { return tm::create(Tab::kSV, "createSVtable"); }
int32_t createTCtable() { return tm::create(Tab::kTC, "createTCtable"); }
int32_t createXPtable() { return tm::create(Tab::kXP, "createXPtable"); }

// Catalogue order.
constexpr int32_t (*kCreate[])() = {
    createRItable, createPTtable, createKTtable, createLMtable, createLTtable, createOPtable,
    createLXtable, createBTtable, createOKtable, createJStable, createSTtable, createNKtable,
    createLUtable, createETtable, createREtable, createSKtable, createVDtable, createSLtable,
    createSEtable, createTRtable, createLCtable, createIZtable, createSStable, createRTtable,
    createECtable, createQStable, createQEtable, createIEtable, createFKtable, createAVtable,
    createBBtable, createTTtable, createDBtable, createFStable, createACtable, createSVtable,
    createTCtable, createXPtable, createLDtable,
};
static_assert(sizeof kCreate / sizeof kCreate[0] == static_cast<size_t>(Tab::kCount));

}  // namespace

int32_t rpdini_run() {
  for (auto create : kCreate) {
    const int32_t rc = create();
    if (rc != 0) return rc;
  }
  kyt_lc_elem lc{};
  lc.cn = 0;
  int32_t rc = insLCelem(&lc);
  if (rc != 0) return rc;
  // KYTDATE: the creation instant in the stored form of the date-time columns.
  char now[20];
  kyt_ld_elem ld{};
  if (dt_now(now, sizeof now) != 0 || dt_to_stored(now, &ld.kytdate) != 0) ld.kytdate = 0;
  return insLDelem(&ld);
}

}  // namespace kyt

extern "C" int32_t rpdini(void) {
  return kyt::api_guard("rpdini", []() -> int32_t { return kyt::rpdini_run(); });
}
