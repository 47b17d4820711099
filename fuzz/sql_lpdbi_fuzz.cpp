// Arbitrary statements through the statement interface parser. Every answer is one of its
// statuses; an accepted statement binds exactly its host variables, and its print-back reads
// back to the same print-back. Deep nesting must end in a status, never in the stack.
// Input layout: tests/sql/fuzz_input.h (bits 4 and 5 of the control byte spoil a host
// variable's type or address).
#include <cstddef>
#include <cstdint>
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

using kyt::DbiOp;
using kyt::DbiStatement;
using kyt::HostVar;
using kyt::fuzz::check;

const std::vector<std::string>& seeds() {
  static const std::vector<std::string> s = [] {
    std::vector<std::string> v;
    for (const auto& c : kyt::test::statement_corpus()) {
      std::string t;
      for (std::string_view p : c.pieces) t += p;
      v.push_back(t);
    }
    for (std::string& t : kyt::test::schema_statements()) v.push_back(std::move(t));
    for (const auto& t : kyt::station_schema()) v.push_back(kyt::test::dump_cursor_text(t));
    return v;
  }();
  return s;
}

char g_text[] = "TEXT";
int32_t g_i32 = 1;
int16_t g_i16 = 2;
double g_f = 3;

std::vector<HostVar> host_vars(size_t n, uint8_t control) {
  std::vector<HostVar> v;
  for (size_t i = 0; i < n; ++i) {
    switch (i % 4) {
      case 0:
        v.push_back({kyt::kTypeInteger, &g_i32});
        break;
      case 1:
        v.push_back({kyt::kTypeChar, g_text});
        break;
      case 2:
        v.push_back({kyt::kTypeSmallint, &g_i16});
        break;
      default:
        v.push_back({kyt::kTypeFloat, &g_f});
        break;
    }
  }
  if (n > 0 && (control & 0x20)) v.back().type = 3;
  if (n > 0 && (control & 0x10)) v.back().addr = nullptr;
  return v;
}

bool known_status(int32_t rc) {
  switch (rc) {
    case kyt::OK_STATE:
    case kyt::RC_INTERNAL_ERROR:
    case kyt::LPDBI_E_SYNTAX:
    case kyt::LPDBI_E_HOSTVAR_MISSING:
    case kyt::LPDBI_E_HOSTVAR_LEFT:
    case kyt::LPDBI_E_HOSTVAR_NULL:
    case kyt::LPDBI_E_TOO_MANY_INPUTS:
    case kyt::LPDBI_E_TOO_MANY_OUTPUTS:
    case kyt::LPDBI_E_HOSTVAR_TYPE:
    case kyt::LPDBI_E_NAME_TOO_LONG:
    case kyt::LPDBI_E_NUMBER_RANGE:
    case kyt::LPDBI_E_VALUE_COUNT:
    case kyt::LPDBI_E_NOT_SUPPORTED:
    case kyt::LPDBI_E_TOO_DEEP:
      return true;
    default:
      return false;
  }
}

// Parses with as many host variables as the statement takes, found from the statuses;
// answers the status of the last parse, whose host variables are left in *hv.
int32_t parse_bound(const std::string& text, uint8_t control, std::vector<HostVar>* hv,
                    DbiStatement* st) {
  *hv = host_vars(0, control);
  int32_t rc = kyt::lpdbi_parse(text, *hv, st);
  size_t lo = 1, hi = 64;
  bool searching = rc == kyt::LPDBI_E_HOSTVAR_MISSING;
  while (searching && lo <= hi) {
    size_t mid = (lo + hi) / 2;
    *hv = host_vars(mid, control);
    rc = kyt::lpdbi_parse(text, *hv, st);
    check(known_status(rc));
    if (rc == kyt::LPDBI_E_HOSTVAR_MISSING) {
      lo = mid + 1;
    } else if (rc == kyt::LPDBI_E_HOSTVAR_LEFT) {
      hi = mid - 1;
    } else {
      searching = false;
    }
  }
  return rc;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  kyt::fuzz::SqlInput in = kyt::fuzz::sql_input(data, size, seeds());
  std::vector<HostVar> hv;
  DbiStatement st;
  int32_t rc = parse_bound(in.text, in.control, &hv, &st);
  check(known_status(rc));
  if (rc == kyt::OK_STATE) {
    check(st.op != DbiOp::kNone);
    check(st.in.size() + st.out.size() == hv.size());
    if (st.op == DbiOp::kDeclare || st.op == DbiOp::kStatement) {
      check(st.stmt != nullptr && !st.sql.empty());
      check(st.in.size() == st.stmt->params.count);
      std::string printed = kyt::stmt_text(*st.stmt);
      std::string again = (st.op == DbiOp::kDeclare ? "DECLARE C CURSOR FOR " : "") + printed;
      check(kyt::lpdbi_parse(again, hv, &st) == kyt::OK_STATE);
      check(kyt::stmt_text(*st.stmt) == printed);
    }
  }
  if (in.pool_limit != 0) {
    kyt::dbi_pool().set_limit(in.pool_limit);
    int32_t limited = kyt::lpdbi_parse(in.text, hv, &st);
    kyt::dbi_pool().set_limit(0);
    check(limited == rc || limited == kyt::RC_INTERNAL_ERROR);
  }
  return 0;
}
