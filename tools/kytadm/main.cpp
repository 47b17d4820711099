// kytadm: the administration command of the station, one binary with subcommands.
#include <cstdio>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "kytadm.h"

namespace kytadm {

namespace {

constexpr Option kEnvOptions[] = {{"-e", "FILE"}};
constexpr Option kListenOptions[] = {{"-e", "FILE"}, {"-n", "COUNT"}};
constexpr Option kSqlOptions[] = {{"-e", "FILE"}, {"--create", nullptr}};
constexpr Option kStopOptions[] = {{"-e", "FILE"}, {"--end", nullptr}};

const Subcommand kSubcommands[] = {
    {"env", "env [-e FILE]",
     "Lists the environment settings and dataset names of the station as every program\n"
     "of it sees them: the environment file read, the keywords given and their defaults,\n"
     "the settings named in the file, VERSION and PGM, and every DSN_ dataset name.\n"
     "\n"
     "  -e FILE   read FILE instead of the environment file of this process (the\n"
     "            KYTENV environment variable, else kytenv.dat in the current directory)\n"
     "\n"
     "A file that cannot be used is named with the line at fault and what is wrong there.\n"
     "Exit status: 0 listed; 1 the file cannot be read (code 99) or is not valid (the\n"
     "command language's code, 4 for a setting given twice); 2 wrong arguments.\n",
     kEnvOptions, false, run_env},
    {"check", "check [-e FILE] [DATABASE...]",
     "Checks the integrity of station databases, reading their files only: the structure\n"
     "of the index and holes trees, that records and holes cover the data file exactly,\n"
     "that every index holds exactly one entry per record with the key built from that\n"
     "record, and that the holes tree lists exactly the holes of the data file.\n"
     "\n"
     "  -e FILE    the environment file whose database directory is checked (DBNAME, else\n"
     "             DB; default file: as for env)\n"
     "  DATABASE   a database to check, named by its data file (dir/KT.DB) or without the\n"
     "             suffix; without any, every database of the directory is checked\n"
     "\n"
     "Prints one line per database, \"NAME: ok\" or the problems found (at most 20 each);\n"
     "a database another process holds is not checked (\"NAME: table locked by another\n"
     "process, not checked\").\n"
     "Exit status: 0 all sound (or no database there); 1 a problem found, a database that\n"
     "cannot be read or one locked by another process; 2 wrong arguments, an environment\n"
     "file that cannot be read or no database directory.\n",
     kEnvOptions, false, run_check},
    {"sql", "sql [-e FILE] [--create] [STATEMENT...]",
     "Runs statements of the station's SQL subset against the station database (the\n"
     "DBNAME directory of the environment file, else its DB directory).\n"
     "\n"
     "  -e FILE    the environment file (default: as for env)\n"
     "  --create   first make the database directory and its catalogue when missing\n"
     "  STATEMENT  statements, separated by \";\" (not inside quotes); without any they are\n"
     "             read from standard input, each run as soon as its \";\" is read\n"
     "\n"
     "A SELECT prints its rows, one a line, values separated by \"|\": numbers in plain\n"
     "decimal, texts as stored, null as nothing. SELECT * lists every column. Other\n"
     "statements print nothing. Shell commands, on a line of their own: .tables,\n"
     ".schema [TABLE], .help, .quit.\n"
     "Each statement commits by itself unless SET AUTOCOMMIT OFF is in force; changes\n"
     "not committed by COMMIT WORK when the statements end are rolled back.\n"
     "A failing statement is named on standard error with its number, its text, the table,\n"
     "the reason and, for a syntax error, the line and column where reading stopped. At a\n"
     "terminal (with a prompt) the shell goes on; otherwise later statements are not run.\n"
     "Exit status: 0 all statements ran; 1 a statement failed or uncommitted work was\n"
     "rolled back; 2 wrong arguments or an environment file that cannot be read.\n",
     kSqlOptions, true, run_sql},
    {"params", kParamsSynopsis, kParamsHelp, kEnvOptions, false, run_params},
    {"cmd", kCmdSynopsis, kCmdHelp, kEnvOptions, true, run_cmd},
    {"import", kImportSynopsis, kImportHelp, kEnvOptions, false, run_import},
    {"stations", kStationsSynopsis, kStationsHelp, kEnvOptions, false, run_stations},
    {"sends", kSendsSynopsis, kSendsHelp, kSendsOptions, false, run_sends},
    {"receives", kReceivesSynopsis, kReceivesHelp, kEnvOptions, false, run_receives},
    {"status", kStatusSynopsis, kStatusHelp, kEnvOptions, false, run_status},
    {"stop", kStopSynopsis, kStopHelp, kStopOptions, false, run_stop},
    {"listen", kListenSynopsis, kListenHelp, kListenOptions, false, run_listen},
    kInitdbCommand,
    kDumpCommand,
    kLoadCommand,
    kDeletedbCommand,
    kVersionCommand,
};

void usage(std::FILE* out) {
  std::fprintf(out,
               "usage: kytadm SUBCOMMAND [ARGUMENTS]\n"
               "       kytadm help [SUBCOMMAND]\n"
               "       kytadm --version\n\n"
               "The administration command of the kyt station.\n\nSubcommands:\n");
  for (const Subcommand& s : kSubcommands) std::fprintf(out, "  kytadm %s\n", s.synopsis);
  std::fprintf(out, "\n'kytadm help SUBCOMMAND' or 'kytadm SUBCOMMAND --help' describes one of them.\n");
}

const Subcommand* find(const std::string& name) {
  for (const Subcommand& s : kSubcommands) {
    if (name == s.name) return &s;
  }
  return nullptr;
}

}  // namespace

}  // namespace kytadm

int main(int argc, char** argv) {
  using namespace kytadm;
  if (argc < 2) {
    usage(stderr);
    return kExitUsage;
  }
  const std::string first = argv[1];
  if (first == "-h" || first == "--help" || (first == "help" && argc == 2)) {
    usage(stdout);
    return kExitOk;
  }
  if (first == "--version") {
    std::printf("kytadm %s\n", kyt::version_banner());
    return kExitOk;
  }
  const bool help = first == "help";
  const std::string name = help ? argv[2] : first;
  const Subcommand* s = find(name);
  if (s == nullptr) {
    std::fprintf(stderr, "kytadm: no subcommand '%s'\n\n", name.c_str());
    usage(stderr);
    return kExitUsage;
  }
  if (help) return parse_args(*s, {"--help"}, nullptr);
  Args args;
  const int rc = parse_args(*s, std::vector<std::string>(argv + 2, argv + argc), &args);
  return rc >= 0 ? rc : s->run(args);
}
