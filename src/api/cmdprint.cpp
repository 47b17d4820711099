// PRINT: a file or a list of the station printed to the batch output.
//   PRINT /FILE           the file's bytes as they are (at most 1 MiB; a file that cannot be
//                         read: 17; a larger one: 16)
//   PRINT LIST=NAME       one line a row, NAME one of USERS (BT, without passwords),
//                         STATIONS (ST), COMMANDS (KT), JOBS (JS); another name: 16
// Nothing is written to the database.
#include <cstdarg>
#include <cstdio>
#include <string>

#include "api/cmdutil.h"
#include "api/kytcmd.h"
#include "api/verbs.h"
#include "platform/platform.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kyt::api {
namespace {

constexpr int64_t kPrintMax = 1 << 20;

std::string line(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;
std::string line(const char* format, ...) {
  char buf[1024];
  va_list ap;
  va_start(ap, format);
  std::vsnprintf(buf, sizeof buf, format, ap);
  va_end(ap);
  return buf;
}

// Prints every element of a table's list with `show`; an empty table prints nothing.
template <typename Elem, typename Show>
int32_t print_list(Tab t, const char* order, Show show) {
  Elem first{};
  const int32_t rc = tm::list(t, "PRINT", "PRINTLST", nullptr, order, {}, &first);
  if (rc == RPDSQL_NOT_FOUND) return 0;
  std::string out;
  for (const Elem* e = &first; e != nullptr && rc == 0; e = e->next) out += show(*e);
  tm::free_list(t, &first);
  if (rc != 0) return rc;
  batch_print(out);
  return 0;
}

int32_t print_named_list(const std::string& name) {
  if (name == "USERS") {
    return print_list<kyt_bt_elem>(Tab::kBT, "UID", [](const kyt_bt_elem& u) {
      return line("%-20s %-30s %-1s %-1s %s\n", u.uid, u.nameusr, u.privusr, u.language,
                  u.usersid);
    });
  }
  if (name == "STATIONS") {
    return print_list<kyt_st_elem>(Tab::kST, "SID", [](const kyt_st_elem& s) {
      return line("%-16s %-25s %s\n", s.sid, s.netid, s.statname);
    });
  }
  if (name == "COMMANDS") {
    return print_list<kyt_kt_elem>(Tab::kKT, "CN", [](const kyt_kt_elem& k) {
      return line("%10ld %-2s %-2s %5d %-19s %s\n", static_cast<long>(k.cn), k.cmdtype,
                  k.status, k.priority, k.dtcreated, k.dtschedule);
    });
  }
  if (name == "JOBS") {
    return print_list<kyt_js_elem>(Tab::kJS, "CN", [](const kyt_js_elem& j) {
      return line("%10ld %-26s %-16s %-16s %s\n", static_cast<long>(j.cn), j.vdsn, j.sidsender,
                  j.sidrcv, j.batchjob);
    });
  }
  return refuse("PRINT", kVerbBadValue, "unknown list");
}

int32_t print_file(const char* path) {
  platform::File f;
  if (!f.open(path, platform::OpenMode::kRead)) return refuse("PRINT", kVerbNoFile, "file cannot be read");
  std::string text;
  char buf[8192];
  int64_t n = 0;
  while ((n = f.read(buf, sizeof buf)) > 0) {
    text.append(buf, static_cast<size_t>(n));
    if (static_cast<int64_t>(text.size()) > kPrintMax) return refuse("PRINT", kVerbBadValue, "file too large");
  }
  if (n < 0) return refuse("PRINT", kVerbNoFile, "file cannot be read");
  batch_print(text);
  return 0;
}

}  // namespace

int32_t verb_print(const cmd_args& args, cmd_msg*) {
  const char* what = args.positional(0);
  if (what == nullptr || *what == '\0') return refuse("PRINT", kVerbMissing, "nothing to print");
  const std::string_view w(what);
  if (w.size() > 5 && upper(w.substr(0, 5)) == "LIST=") return print_named_list(upper(w.substr(5)));
  return print_file(what);
}

}  // namespace kyt::api
