// isadbg: descriptor dump and isaerr line.
#include "sql/isadbg.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "cbt/cbt.h"
#include "isam/isam.h"
#include "runtime/trace.h"
#include "sql/status.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "s";

std::string format_line(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

std::string format_line(const char* format, ...) {
  char buf[256];
  va_list args;
  va_start(args, format);
  int n = std::vsnprintf(buf, sizeof buf, format, args);
  va_end(args);
  if (n < 0) return std::string();
  return std::string(buf,
                     static_cast<size_t>(n) < sizeof buf ? static_cast<size_t>(n) : sizeof buf - 1);
}

const char* base_name(const char* path) {
  const char* base = path;
  for (const char* p = path; *p != '\0'; ++p) {
    if (*p == '/' || *p == '\\') base = p + 1;
  }
  return base;
}

}  // namespace

std::vector<std::string> dump_tab_desc_lines(const TABDESC& d) {
  std::vector<std::string> lines;
  lines.reserve(d.cols.size() + 2);
  lines.push_back(format_line("Table:  %s  (EX=%d) CN=%2d  RS=%2d  KS=%2d", d.ts.s_tabname,
                              d.exists, d.n_cols, d.row_size, d.key_size));
  lines.push_back("  #   COLUMN     TYPE KEY NOT_NULL WDTH ROFFS KOFFS");
  for (const COLDESC& c : d.cols) {
    std::string l =
        format_line(" (%02d) %-10.10s   %2d %3d %8d %4d %5d %5d\n", c.colno, c.s_colname, c.type,
                    c.key, c.not_null, c.width, c.row_offset, c.key_offset);
    l.pop_back();  // the line end is the line's, not part of its text
    lines.push_back(std::move(l));
  }
  return lines;
}

void dump_tab_desc(const TABDESC& desc) {
  for (const std::string& l : dump_tab_desc_lines(desc)) {
    KYT_TRACE(kModule, kTopic, 11, "%s", l.c_str());
  }
}

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
