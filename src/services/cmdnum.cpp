// cmdnum: drawing the next command number from LC.
#include "services/cmdnum.h"

#include <limits>

#include "runtime/runtime.h"
#include "sql/sql.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "s";
constexpr const char* kCursor = "CMDNUM_LC";

// The largest CN of LC into *last (0 for no row or negative values), the rows into *rows.
int32_t read_last(int32_t* last, int* rows) {
  *last = 0;
  *rows = 0;
  int32_t cn = 0;
  const HostVar out[] = {{kTypeInteger, &cn}};
  const std::string_view declare[] = {"DECLARE ", kCursor, " CURSOR FOR SELECT CN FROM LC"};
  const std::string_view fetch[] = {"FETCH ", kCursor};
  const std::string_view close[] = {"CLOSE ", kCursor};
  int32_t rc = rpdsql_run(declare, out);
  while (rc == OK_STATE) {
    ++*rows;
    if (cn > *last) *last = cn;
    rc = rpdsql_run(fetch, out);
  }
  rpdsql_run(close, {});
  return rc == RPDSQL_NOT_FOUND ? OK_STATE : rc;
}

int32_t draw(int32_t* cn) {
  int32_t last = 0;
  int rows = 0;
  int32_t rc = read_last(&last, &rows);
  if (rc != OK_STATE) {
    KYT_TRACE(kModule, kTopic, 1, "next_command_number select returns %d", rc);
    return rc;
  }
  if (last == std::numeric_limits<int32_t>::max()) {
    KYT_TRACE(kModule, kTopic, 1, "next_command_number: no number left after %d", last);
    return RC_INTERNAL_ERROR;
  }
  const int32_t next = last + 1;
  if (rows == 0) {
    kyt_lc_elem e{};
    e.cn = next;
    rc = insLCelem(&e);
    if (rc != OK_STATE) KYT_TRACE(kModule, kTopic, 1, "next_command_number insert returns %d", rc);
  } else {
    int32_t value = next;
    const HostVar in[] = {{kTypeInteger, &value}};
    rc = rpdsql_run("UPDATE LC SET CN = ?", in);
    if (rc != OK_STATE) KYT_TRACE(kModule, kTopic, 1, "next_command_number update returns %d", rc);
  }
  if (rc == OK_STATE) *cn = next;
  return rc;
}

}  // namespace

int32_t next_command_number(int32_t* cn) {
  if (cn == nullptr) return RC_INTERNAL_ERROR;
  *cn = 0;
  int32_t rc = sqlSetAutocommOff();
  if (rc != OK_STATE) {
    KYT_TRACE(kModule, kTopic, 1, "next_command_number begin returns %d", rc);
    sqlSetAutocommOn();  // keeps the nesting count balanced
    return rc;
  }
  rc = draw(cn);
  // Outermost: this commits the draw. Nested: the caller's commit or rollback decides. A
  // failed draw changed nothing (a failed statement undoes itself), so committing it is
  // harmless.
  const int32_t end = sqlSetAutocommOn();
  if (rc == OK_STATE && end != OK_STATE) {
    KYT_TRACE(kModule, kTopic, 1, "next_command_number commit returns %d", end);
    rc = end;
  }
  if (rc != OK_STATE) *cn = 0;
  return rc;
}

}  // namespace kyt
