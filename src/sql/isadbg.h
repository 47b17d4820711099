// isadbg: the isaerr line of the SQL layer, and the first cause of a failing statement.
//
// It stands below every other module of the executor (it knows no descriptor, no table and
// no statement), so that each of them may check its conditions with KYT_ISACHECK.
//
// isaerr line, written for every checked condition that fails:
//   isaerr : cond="<source text>" err="<status name>" label="<label>" in file="<file>"
//   line="<line>" rc="<status>" isamerrno="<isam_errno>"
#ifndef KYT_SQL_ISADBG_H
#define KYT_SQL_ISADBG_H

#include <cstdint>
#include <string>

namespace kyt {

// Writes the isaerr line (level 1); `file` may be a path, its base name is written.
void isaerr(const char* cond, int32_t rc, const char* label, const char* file, int line,
            int isamerrno);

// The first cause of a failing statement, for the severe-error report and for what the
// statement leaves in isam_errno: the step that failed, where in the source, and the
// engine's codes at that moment. Clean-up after a failure (rolling back, releasing the
// table) calls the engine again and would otherwise replace them. A severe cause (99,
// DBI_E_EXECERR) replaces an earlier one that is not; otherwise the first one stays until
// fail_cause_reset, which every statement calls before it runs.
struct FailCause {
  int32_t rc = 0;  // 0: nothing failed
  std::string step;
  const char* file = "";
  int line = 0;
  int isam_err = 0;
  int cb_err = 0, cb_fcn = 0, cb_con = 0;
  int sys_err = 0;
};
void fail_cause_reset();
const FailCause& fail_cause();
void fail_cause_note(int32_t rc, const std::string& step, const char* file, int line);

// The status of a failed step of the ISAM layer, from isam_errno: DBI_E_LOCKED (23),
// DBI_E_KEY_TOO_LONG (11), DBI_E_DAMAGED (12, 24), else RC_INTERNAL_ERROR. Traces the step
// with the table's file and notes it as a cause. Use KYT_ISAMFAIL.
int32_t isam_step_failed(const char* step, const std::string& table, const char* file, int line);

}  // namespace kyt

// A failed ISAM step of this source line:  return KYT_ISAMFAIL("idelrec", t->file);
#define KYT_ISAMFAIL(step, table) ::kyt::isam_step_failed(step, table, __FILE__, __LINE__)

// Checks a condition; when it fails, writes the isaerr line with the condition's source text
// and answers false:  if (!KYT_ISACHECK(n > 0, DBI_E_TABERR, "err_return")) return ...;
// Code above the ISAM layer has no isam_errno of its own and writes 0. A failed check is
// also noted as a cause of its status (fail_cause_note).
#define KYT_ISACHECK(cond, rc, label) \
  ((cond) ? true : (::kyt::isaerr(#cond, rc, label, __FILE__, __LINE__, 0), false))

#endif  // KYT_SQL_ISADBG_H
