// kytadm sends: the send entries of the station as aligned columns, read through the send
// entry calls of the library (the list an operator's client sees).
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "kyt/kyt.h"
#include "kytadm.h"
#include "sql/sql.h"

namespace kytadm {

const Option kSendsOptions[2] = {{"-e", "FILE"}, {"-u", "UID"}};
const char* const kSendsSynopsis = "sends [-e FILE] [-u UID]";
const char* const kSendsHelp =
    "Lists the send entries of the station in ascending command number, one a line:\n"
    "  CN         command number\n"
    "  STATUS     qn queued, ho held, de deleted, en ended, er failed\n"
    "  USER       the sending user\n"
    "  FROM       the sending station\n"
    "  TO         the (first) destination station; +N when there are N more\n"
    "  VDSN       the virtual dataset name at the destination\n"
    "  CREATED    when the entry was made\n"
    "  SCHEDULED  its earliest start (empty: at once)\n"
    "  DSN        the local file\n"
    "\n"
    "  -e FILE    the environment file (default: the KYTENV environment variable, else\n"
    "             kytenv.dat in the current directory)\n"
    "  -u UID     only the entries of this sending user (exactly as stored)\n"
    "\n"
    "Exit status: 0 listed (also when there are none); 1 the list could not be read\n"
    "(\"kytadm sends: \" and the code on standard error); 2 wrong arguments or an\n"
    "environment file that cannot be read.\n";

int run_sends(const Args& args) {
  const Subcommand& self = *args.self;
  if (!args.operands.empty()) return bad_usage(self, "no operands expected");
  const std::string uid = args.value("-u");
  if (args.has("-u") && (uid.empty() || uid.size() > 20))
    return bad_usage(self, "-u needs a user id of 1 to 20 characters");
  if (read_environment(args) != 0) return kExitUsage;
  SetUIDSEList(args.has("-u") ? uid.c_str() : nullptr);

  std::vector<std::vector<std::string>> rows = {
      {"CN", "STATUS", "USER", "FROM", "TO", "VDSN", "CREATED", "SCHEDULED", "DSN"}};
  int32_t cn = 0;
  int32_t rc = kytGetNextSendCmd(0, &cn);
  while (rc == 0) {
    kytSendEntry e{};
    rc = kytGetSendEntry(cn, &e);
    if (rc != 0) break;
    std::string to = e.siddest;
    if (e.cntdest > 1) to += " +" + std::to_string(e.cntdest - 1);
    rows.push_back({std::to_string(e.cn), e.status, e.uidsender, e.sidsender, to, e.vdsn,
                    e.dtcreated, e.dtschedule, e.dsnlocal});
    rc = kytGetNextSendCmd(cn, &cn);
  }
  if (kyt::isa_db_open()) kyt::rpdsql_run("CLOSE DB");
  if (rc != -1) {
    std::fprintf(stderr, "kytadm sends: the send entries could not be read (code %ld)\n",
                 static_cast<long>(rc));
    return kExitFailed;
  }
  std::vector<size_t> width(rows[0].size(), 0);
  for (const auto& r : rows)
    for (size_t i = 0; i < r.size(); ++i) width[i] = std::max(width[i], r[i].size());
  for (const auto& r : rows) {
    std::string line;
    for (size_t i = 0; i < r.size(); ++i) {
      std::string cell = r[i];
      if (i + 1 < r.size()) cell.resize(width[i], ' ');
      line += cell;
      if (i + 1 < r.size()) line += "  ";
    }
    std::printf("%s\n", line.c_str());
  }
  std::fflush(stdout);
  return kExitOk;
}

}  // namespace kytadm
