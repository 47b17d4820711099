// isadbg: the isaerr line and the first cause of a failing statement.
#include "sql/isadbg.h"

#include <cerrno>
#include <cstdio>

#include "cbt/cbt.h"
#include "isam/isam.h"
#include "runtime/runtime.h"
#include "sql/status.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "s";

const char* base_name(const char* path) {
  const char* base = path;
  for (const char* p = path; *p != '\0'; ++p) {
    if (*p == '/' || *p == '\\') base = p + 1;
  }
  return base;
}

}  // namespace

void isaerr(const char* cond, int32_t rc, const char* label, const char* file, int line,
            int isamerrno) {
  const char* name = sql_status_name(rc);
  KYT_TRACE(kModule, kTopic, 1,
            "isaerr : cond=\"%s\" err=\"%s\" label=\"%s\" in file=\"%s\" line=\"%d\" rc=\"%d\" "
            "isamerrno=\"%d\"",
            cond, name == nullptr ? "?" : name, label, base_name(file), line, rc, isamerrno);
  fail_cause_note(rc, cond, file, line);
}

namespace {
FailCause& cause() {
  static FailCause c;
  return c;
}
bool severe(int32_t rc) { return rc == RC_INTERNAL_ERROR || rc == DBI_E_EXECERR; }
}  // namespace

void fail_cause_reset() { cause() = FailCause(); }

const FailCause& fail_cause() { return cause(); }

void fail_cause_note(int32_t rc, const std::string& step, const char* file, int line) {
  FailCause& c = cause();
  if (rc == OK_STATE || (c.rc != 0 && (severe(c.rc) || !severe(rc)))) return;
  c.rc = rc;
  c.step = step;
  c.file = base_name(file);
  c.line = line;
  c.isam_err = isam_errno;
  c.cb_err = cb_errcode;
  c.cb_fcn = cb_fcncode;
  c.cb_con = cb_concode;
  c.sys_err = errno;
}

int32_t isam_step_failed(const char* step, const std::string& table, const char* file, int line) {
  int32_t rc = RC_INTERNAL_ERROR;
  switch (isam_errno) {
    case kIsamLocked:
      rc = DBI_E_LOCKED;
      break;
    case kIsamKeyTooLong:
      rc = DBI_E_KEY_TOO_LONG;
      break;
    case kIsamIndexCorrupt:
    case kIsamDataCorrupt:
      rc = DBI_E_DAMAGED;
      break;
    default:
      break;
  }
  KYT_TRACE(kModule, kTopic, 1, "%s failed on %s isam_errno=%d (%s) rc=%d", step,
            table.empty() ? "?" : table.c_str(), isam_errno, isam_strerror(isam_errno), rc);
  fail_cause_note(rc, std::string(step) + " on " + table, file, line);
  return rc;
}

}  // namespace kyt
