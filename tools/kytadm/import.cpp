// kytadm import: loads a station table or a routing table file (or a directory of them)
// into the station database through the import service, printing its operator messages.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "kytadm.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kytadm {

const char* const kImportSynopsis = "import [-e FILE] stations|routes PATH";
const char* const kImportHelp =
    "Imports a station table (records ST, OP, NK, TC, XP, LU, AC, RT, LX) or a routing\n"
    "table (records TR) into the station database (the DBNAME directory of the\n"
    "environment file, else its DB directory), whose tables must exist.\n"
    "\n"
    "  -e FILE   the environment file (default: the KYTENV environment variable, else\n"
    "            kytenv.dat in the current directory)\n"
    "  stations  PATH is a station table\n"
    "  routes    PATH is a routing table\n"
    "  PATH      a file, or a directory whose files are imported in the order of their\n"
    "            names\n"
    "\n"
    "Each record is a line \"TABLE KEYWORD=VALUE ...\"; a \"*\" outside quotes starts a\n"
    "comment, letters outside quotes are taken in upper case, a value in quotes keeps its\n"
    "case and blanks. A record inserts its row, or updates it when the row's key is there\n"
    "already. Station tables are checked first: two OP records with the same SID or\n"
    "ODETTEID stop the import before anything is written. Otherwise the first failing\n"
    "record stops it; the records before it stay imported.\n"
    "The import's messages are printed on standard output, one a line: per file \"N\n"
    "records of \"FILE\" imported\", or the failing record's message and \"line N of\n"
    "\"FILE\" not imported (rc = C): LINE\".\n"
    "Exit status: 0 imported; 1 the import failed (\"kytadm import: failed with code C\"\n"
    "on standard error); 2 wrong arguments or an environment file that cannot be read.\n";

namespace {

void print_message(const char* text) { std::fputs(text, stdout); }

}  // namespace

int run_import(const Args& args) {
  const Subcommand& self = *args.self;
  const std::vector<std::string>& rest = args.operands;
  if (rest.size() != 2) return bad_usage(self, "needs stations or routes and a PATH");
  const std::string& kind = rest[0];
  if (kind != "stations" && kind != "routes")
    return bad_usage(self, "unknown table kind '" + kind + "' (stations or routes)");
  if (read_environment(args) != 0) return kExitUsage;
  const int32_t rc = kind == "stations" ? kyt::import_stations(rest[1].c_str(), print_message)
                                        : kyt::import_routes(rest[1].c_str(), print_message);
  std::fflush(stdout);
  if (kyt::isa_db_open()) kyt::rpdsql_run("CLOSE DB");
  if (rc == 0) return kExitOk;
  std::fprintf(stderr, "kytadm import: failed with code %ld\n", static_cast<long>(rc));
  return kExitFailed;
}

}  // namespace kytadm
