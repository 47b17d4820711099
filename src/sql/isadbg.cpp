// isadbg: descriptor dump and isaerr line.
#include "sql/isadbg.h"

#include <cstdarg>
#include <cstdio>

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
}

}  // namespace kyt
