// kytadm params: list, read and write station parameters through the parameter service.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "kytadm.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kytadm {

const char* const kParamsSynopsis = "params [-e FILE] [list [NAME|ALL]] | get NAME | set NAME=VALUE";
const char* const kParamsHelp =
    "Lists, reads and writes the station parameters (the rows of PT and the process\n"
    "settings KYTMODE, TESTMODE and KYTENV) of the station database.\n"
    "\n"
    "  -e FILE         the environment file (default: the KYTENV environment variable,\n"
    "                  else kytenv.dat in the current directory)\n"
    "  list [NAME|ALL] prints \"KYT Parameter NAME = VALUE\" for one parameter, or for\n"
    "                  KYTMODE, TESTMODE, KYTENV and every row (the default)\n"
    "  get NAME        prints the value (numbers in decimal; NOLIMIT and NONE read 0)\n"
    "  set NAME=VALUE  writes the value as the operator command SETPARM does (cut to the\n"
    "                  parameter's length) and wakes the station's monitor\n"
    "\n"
    "Names are case-insensitive.\n"
    "Exit status: 0 done; 1 the service refused (\"kytadm params: \" with the code and its\n"
    "meaning on standard error); 2 wrong arguments or an environment file that cannot be read.\n";

namespace {

const char* meaning(int32_t rc) {
  switch (rc) {
    case 4: return "KYTENV written before it was read";
    case 8: return "unknown verb";
    case 12: return "no such parameter (or the database could not be read)";
    case 16: return "value not acceptable";
    case 20: return "no such parameter (connect interval already found missing)";
    case 99: return "internal failure or the database update failed";
    default: return "failed";
  }
}


int fail(int32_t rc) {
  std::fprintf(stderr, "kytadm params: %ld %s\n", static_cast<long>(rc), meaning(rc));
  return kExitFailed;
}

}  // namespace

int run_params(const Args& args) {
  const Subcommand& self = *args.self;
  auto usage = [&](const std::string& why) { return bad_usage(self, why); };
  const std::vector<std::string>& rest = args.operands;
  std::string verb = rest.empty() ? "list" : rest[0];
  if (verb == "list" && rest.size() > 2) return usage("too many arguments");
  if ((verb == "get" || verb == "set") && rest.size() != 2) return usage(verb + " needs one argument");
  if (verb != "list" && verb != "get" && verb != "set") return usage("unknown action '" + verb + "'");
  if (verb == "set" && rest[1].find('=') == std::string::npos) return usage("set needs NAME=VALUE");
  if (const int rc0 = read_environment(args); rc0 != 0) return kExitUsage;
  int32_t rc = 0;
  if (verb == "list") {
    rc = kyt::rpdprm_run("list", rest.size() == 2 ? rest[1].c_str() : "ALL", nullptr);
  } else if (verb == "get") {
    std::string value;
    rc = kyt::rpdprm_get_text(rest[1].c_str(), &value);
    if (rc == 0) std::printf("%s\n", value.c_str());
  } else {
    std::string text = rest[1];
    rc = kyt::rpdprm_run("opset", nullptr, text.data());
  }
  std::fflush(stdout);
  if (kyt::isa_db_open()) kyt::rpdsql_run("CLOSE DB");
  return rc == 0 ? kExitOk : fail(rc);
}

}  // namespace kytadm
