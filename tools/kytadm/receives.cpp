// kytadm receives: the active resident receive entries of the station, through the client
// calls kytGetNextRE and kytGetRE, as aligned columns.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "kyt/kyt.h"
#include "kytadm.h"
#include "sql/sql.h"

namespace kytadm {

const char* const kReceivesSynopsis = "receives [-e FILE]";
const char* const kReceivesHelp =
    "Lists the active resident receive entries of the station: what the station does with\n"
    "the files that arrive from a partner under a virtual dataset name.\n"
    "\n"
    "  -e FILE   the environment file (default: the KYTENV environment variable, else\n"
    "            kytenv.dat in the current directory)\n"
    "\n"
    "One line per entry in ascending command number, under a heading line, in aligned\n"
    "columns: CMDID, VDSN, SENDER (the partner station), REPLACE (I, N or R), DISP (D or K),\n"
    "DSNLOCAL, JOB, ACCOUNT, CREATOR, COMMENT; an empty value shows as \"-\".\n"
    "Exit status: 0 listed (also none); 1 the entries could not be read; 2 wrong arguments\n"
    "or an environment file that cannot be read.\n";

namespace {

std::string shown(const char* text) { return *text == '\0' ? std::string("-") : std::string(text); }

}  // namespace

int run_receives(const Args& args) {
  if (!args.operands.empty()) return bad_usage(*args.self, "no operands expected");
  if (read_environment(args) != 0) return kExitUsage;
  std::vector<std::vector<std::string>> rows = {
      {"CMDID", "VDSN", "SENDER", "REPLACE", "DISP", "DSNLOCAL", "JOB", "ACCOUNT", "CREATOR",
       "COMMENT"}};
  int32_t cn = 0;
  int32_t rc = kytGetNextRE(0, &cn);
  while (rc == 0) {
    kyt_re_record r{};
    rc = kytGetRE(cn, &r);
    if (rc != 0) break;
    rows.push_back({std::to_string(r.cn), r.vdsn, r.sidsender, shown(r.replace), shown(r.disp),
                    shown(r.dsnlocal), shown(r.batchjob), shown(r.acctrecvr),
                    shown(r.uidcreator), shown(r.commentre)});
    rc = kytGetNextRE(cn, &cn);
  }
  if (kyt::isa_db_open()) kyt::rpdsql_run("CLOSE DB");
  if (rc != -1) {
    std::fprintf(stderr, "kytadm receives: the entries could not be read (%ld)\n",
                 static_cast<long>(rc));
    return kExitFailed;
  }
  std::vector<size_t> width(rows[0].size(), 0);
  for (const auto& row : rows)
    for (size_t i = 0; i < row.size(); ++i) width[i] = std::max(width[i], row[i].size());
  for (const auto& row : rows) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      if (i + 1 < row.size()) line.append(width[i] - row[i].size() + 2, ' ');
    }
    std::printf("%s\n", line.c_str());
  }
  std::fflush(stdout);
  return kExitOk;
}

}  // namespace kytadm
