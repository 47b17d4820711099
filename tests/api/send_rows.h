// The ET rows of one send entry, read with a cursor of their own (the rows the send entry
// tests check), in key order.
#ifndef KYT_TESTS_API_SEND_ROWS_H
#define KYT_TESTS_API_SEND_ROWS_H

#include <gtest/gtest.h>

#include <vector>

#include "kyt/kyt_elem.h"
#include "sql/sql.h"

namespace kyt::test {

inline std::vector<kyt_et_elem> et_rows(int32_t cnse) {
  std::vector<kyt_et_elem> out;
  kyt_et_elem e{};
  int32_t cn = cnse;
  const HostVar hv[] = {{kTypeInteger, &cn},          {kTypeChar, e.uid},
                        {kTypeChar, e.siddest},       {kTypeChar, e.vdsn},
                        {kTypeChar, e.code},          {kTypeSmallint, &e.flagtstamp},
                        {kTypeSmallint, &e.flagcomp}, {kTypeSmallint, &e.flagcryp},
                        {kTypeChar, e.sidneighb},     {kTypeChar, e.statuset},
                        {kTypeChar, e.deletedby},     {kTypeChar, e.xiddeleted},
                        {kTypeInteger, &e.cnse}};
  int32_t rc = rpdsql_run(
      "DECLARE send_et CURSOR FOR SELECT UID, SIDDEST, VDSN, CODE, FLAGTSTAMP, FLAGCOMP, "
      "FLAGCRYP, SIDNEIGHB, STATUSET, DELETEDBY, XIDDELETED, CNSE FROM ET WHERE CNSE = ?",
      hv);
  while (rc == 0) {
    out.push_back(e);
    rc = rpdsql_run("FETCH send_et", std::span<const HostVar>(hv + 1, 12));
  }
  EXPECT_EQ(rc, RPDSQL_NOT_FOUND);
  rpdsql_run("CLOSE send_et");
  return out;
}

}  // namespace kyt::test

#endif  // KYT_TESTS_API_SEND_ROWS_H
