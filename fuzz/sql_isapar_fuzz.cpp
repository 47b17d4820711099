// Arbitrary statements through isapar, against the station schema. Every answer is one of
// its statuses; an accepted record has every name resolved, and its print-back reads back
// to the same print-back, also after the record was taken out of the pool and the pool used
// again. Deep nesting must end in a status, never in the stack.
// Input layout: tests/sql/fuzz_input.h; bit 5 of the control byte chooses EXECUTE IMMEDIATE
// over PREPARE, bit 4 splits the text into two pieces.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "../tests/sql/fuzz_input.h"
#include "../tests/sql/statement_corpus.h"
#include "sql/ISAsqlutil.h"
#include "sql/isa.h"
#include "sql/isadbg.h"
#include "sql/isapar.h"
#include "sql/isatab.h"
#include "sql/isaval.h"
#include "sql/pool.h"
#include "sql/schema.h"
#include "sql/status.h"
#include "sql/stmt.h"

namespace {

using kyt::fuzz::check;

const std::vector<std::string>& seeds() {
  static const std::vector<std::string> s = [] {
    std::vector<std::string> v;
    std::vector<int32_t> store(64, 0);
    for (const auto& c : kyt::test::statement_corpus()) {
      std::vector<kyt::HostVar> hv;
      for (int i = 0; i < c.n_in + c.n_out; ++i) hv.push_back({kyt::kTypeInteger, &store[i]});
      kyt::DbiStatement st;
      if (kyt::lpdbi_parse(c.pieces, hv, &st) == kyt::OK_STATE && !st.sql.empty())
        v.emplace_back(st.sql);
    }
    for (std::string_view t : kyt::test::isapar_corpus()) {
      v.emplace_back(t.substr(t.find("DELETE")));
    }
    for (std::string& t : kyt::test::schema_statements()) v.push_back(std::move(t));
    return v;
  }();
  return s;
}

bool known_status(int32_t rc) {
  switch (rc) {
    case kyt::OK_STATE:
    case kyt::RC_INTERNAL_ERROR:
    case kyt::DBI_E_SYNTAX:
    case kyt::DBI_E_NYI:
    case kyt::DBI_E_TOO_COMPLEX:
    case kyt::DBI_E_TABERR:
    case kyt::DBI_E_INV_COL_NAM:
      return true;
    default:
      return false;
  }
}

bool resolved(const kyt::STMT& s) {
  if (s.p_td == nullptr) return false;
  for (const kyt::COLREF& c : s.cols) {
    if (c.p_col == nullptr) return false;
  }
  for (const kyt::SETITEM& i : s.set) {
    if (i.col.p_col == nullptr) return false;
  }
  for (const kyt::ORDERITEM& o : s.order) {
    if (o.col.p_col == nullptr) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  kyt::fuzz::SqlInput in = kyt::fuzz::sql_input(data, size, seeds());
  const char* keyword = (in.control & 0x20) ? "EXECUTE IMMEDIATE" : "PREPARE";
  std::string_view text = in.text;
  std::string_view pieces[2] = {text.substr(0, text.size() / 2), text.substr(text.size() / 2)};
  size_t n_pieces = (in.control & 0x10) ? 2 : 1;
  if (n_pieces == 1) pieces[0] = text;

  kyt::IsaparResult r;
  int32_t rc = kyt::isapar(-1, keyword, std::span(pieces, n_pieces), &r);
  check(known_status(rc));
  check((rc == kyt::OK_STATE) == (r.stmt != nullptr));
  if (rc == kyt::OK_STATE) {
    check(r.immediate == ((in.control & 0x20) != 0));
    int16_t k = r.stmt->kind;
    if (k == kyt::kStmtSelect || k == kyt::kStmtInsert || k == kyt::kStmtUpdate ||
        k == kyt::kStmtDelete || k == kyt::kStmtCreateIndex) {
      check(resolved(*r.stmt));
    }
    std::string printed = kyt::stmt_text(*r.stmt);
    std::unique_ptr<kyt::StmtPool> kept = kyt::stmt_pool().detach();
    check(kept != nullptr);
    kyt::IsaparResult again;
    check(kyt::isapar(-1, keyword, printed, &again) == kyt::OK_STATE);
    check(kyt::stmt_text(*again.stmt) == printed);
    check(kyt::stmt_text(*r.stmt) == printed);  // still valid in its own pool
  }
  if (in.pool_limit != 0) {
    kyt::stmt_pool().set_limit(in.pool_limit);
    int32_t limited = kyt::isapar(-1, keyword, std::span(pieces, n_pieces), &r);
    kyt::stmt_pool().set_limit(0);
    check(limited == rc || limited == kyt::RC_INTERNAL_ERROR);
  }
  return 0;
}
