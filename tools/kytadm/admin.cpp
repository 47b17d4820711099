// kytadm initdb, dump, load, deletedb, version: the station database as a whole, through the
// library's administration functions.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "kyt/kyt.h"
#include "kytadm.h"
#include "platform/console.h"
#include "runtime/runtime.h"

namespace kytadm {

namespace {

// The messages of the library on standard output, one a line; on a terminal the rows so far
// as a figure rewritten in place, cleared before the next message.
struct Printer {
  bool terminal = false;
  bool figure_shown = false;
  bool failed_message = false;
};
Printer g_printer;

void on_progress(char severity, const char* key, const char* text, long rows, void*) {
  Printer& p = g_printer;
  if (rows >= 0) {
    if (!p.terminal) return;
    std::printf("\r  %ld rows", rows);
    std::fflush(stdout);
    p.figure_shown = true;
    return;
  }
  if (p.figure_shown) {
    std::printf("\r%-40s\r", "");
    p.figure_shown = false;
  }
  if (severity == 'E') p.failed_message = true;
  if (key != nullptr && *key != '\0')
    std::printf("%c %s %s\n", severity, key, text);
  else
    std::printf("%s\n", text);
  std::fflush(stdout);
}

// Runs one administration call with the printer installed; the exit status.
int run_call(const char* name, int32_t rc) {
  if (g_printer.figure_shown) std::printf("\n");
  g_printer.figure_shown = false;
  kytSetDBProgress(nullptr, nullptr);
  if (rc == 0) return kExitOk;
  std::fprintf(stderr, "kytadm %s: failed (rc = %ld)\n", name, static_cast<long>(rc));
  return kExitFailed;
}

void install_printer() {
  g_printer = Printer{};
  g_printer.terminal = kyt::platform::stdout_is_terminal();
  kytSetDBProgress(on_progress, nullptr);
}

int run_initdb(const Args& args) {
  if (read_environment(args) != 0) return kExitUsage;
  install_printer();
  return run_call("initdb", kytInitDB());
}

int run_dump(const Args& args) {
  if (read_environment(args) != 0) return kExitUsage;
  if (args.operands.size() != 1) return bad_usage(*args.self, "one dump file expected");
  const char* kinds[] = {"--stations", "--parameters", "--users", "--receive", "--jobs", "--ru"};
  const char* kind = nullptr;
  for (const char* k : kinds) {
    if (!args.has(k)) continue;
    if (kind != nullptr) return bad_usage(*args.self, "one kind of dump at a time");
    kind = k;
  }
  const char* file = args.operands[0].c_str();
  const int32_t with_time = args.has("--no-time") ? 0 : 1;
  install_printer();
  int32_t rc;
  if (kind == nullptr)
    rc = kytDumpDB(file);
  else if (std::strcmp(kind, "--stations") == 0)
    rc = kytDumpStations(file, with_time);
  else if (std::strcmp(kind, "--parameters") == 0)
    rc = kytDumpParameter(file, with_time);
  else if (std::strcmp(kind, "--users") == 0)
    rc = kytDumpUser(file, with_time);
  else if (std::strcmp(kind, "--receive") == 0)
    rc = kytDumpResidentReceiveEntries(file, with_time);
  else if (std::strcmp(kind, "--jobs") == 0)
    rc = kytDumpJobstartEntries(file, with_time);
  else
    rc = kytDumpRU(file);
  return run_call("dump", rc);
}

int run_load(const Args& args) {
  if (read_environment(args) != 0) return kExitUsage;
  if (args.operands.size() != 1) return bad_usage(*args.self, "one dump file expected");
  install_printer();
  return run_call("load", kytWriteDB(args.operands[0].c_str()));
}

int run_deletedb(const Args& args) {
  if (read_environment(args) != 0) return kExitUsage;
  if (!args.operands.empty()) return bad_usage(*args.self, "no operands expected");
  if (!args.has("--yes")) {
    std::printf("Delete the station database in %s, its logs and its temporary files? [y/N] ",
                database_directory().c_str());
    std::fflush(stdout);
    char answer[64] = "";
    if (std::fgets(answer, sizeof answer, stdin) == nullptr) answer[0] = '\0';
    const char a = answer[0];
    if (a != 'y' && a != 'Y' && a != 'j' && a != 'J') {
      std::printf("\nNothing deleted.\n");
      return kExitFailed;
    }
  }
  install_printer();
  return run_call("deletedb", kytDeleteDB());
}

int run_version(const Args& args) {
  std::printf("kytadm %s\n", kyt::version_banner());
  if (read_environment(args) != 0) return kExitUsage;
  char version[128] = "";
  char date[20] = "";
  const int32_t rc = kytGetDBVersion(version, date);
  if (rc != 0) {
    std::fprintf(stderr, "kytadm version: the database version cannot be read (rc = %ld)\n",
                 static_cast<long>(rc));
    return kExitFailed;
  }
  std::printf("database %s: %s, %s\n", database_directory().c_str(), version, date);
  return kExitOk;
}

constexpr Option kEnvOnly[] = {{"-e", "FILE"}};
constexpr Option kDumpOptions[] = {{"-e", "FILE"},      {"--stations", nullptr},
                                   {"--parameters", nullptr}, {"--users", nullptr},
                                   {"--receive", nullptr}, {"--jobs", nullptr},
                                   {"--ru", nullptr},     {"--no-time", nullptr}};
constexpr Option kDeleteOptions[] = {{"-e", "FILE"}, {"--yes", nullptr}};

}  // namespace

const Subcommand kInitdbCommand = {
    "initdb", "initdb [-e FILE]",
    "Creates a new station database in the database directory (DBNAME, else DB, of the\n"
    "environment file): the catalogue, every table, the user SYSTEM, the version row, the\n"
    "parameters with the initial command file, and the station table from DSN_STAT_INIT\n"
    "when that file exists, in one transaction.\n"
    "\n"
    "  -e FILE   the environment file (default: the KYTENV environment variable, else\n"
    "            kytenv.dat in the current directory)\n"
    "\n"
    "Each step is printed as its message (\"S KEY TEXT\") in the user's language.\n"
    "Exit status: 0 created; 1 failed (also when a database is there already); 2 wrong\n"
    "arguments or an environment file that cannot be read.\n",
    kEnvOnly, false, run_initdb};

const Subcommand kDumpCommand = {
    "dump", "dump [-e FILE] [--stations|--parameters|--users|--receive|--jobs|--ru] [--no-time] DUMPFILE",
    "Writes the rows of the station database to DUMPFILE, one line a row, every table, or\n"
    "one group of tables:\n"
    "\n"
    "  --stations    the station information tables (AC LU LX NK OP RT ST TT TC XP)\n"
    "  --parameters  the parameters (PT)\n"
    "  --users       the users (BT)\n"
    "  --receive     the resident receive entries (RE)\n"
    "  --jobs        the job start entries (JS)\n"
    "  --ru          the resident receive entries and the users (RE, BT)\n"
    "  --no-time     leave the date-time out of the header of a group dump\n"
    "  -e FILE       the environment file (default: as for initdb)\n"
    "\n"
    "Each table is printed as it is dumped; on a terminal the rows so far are counted.\n"
    "A dump loads back exactly with kytadm load (docs/file-formats.md).\n"
    "Exit status: 0 written; 1 failed; 2 wrong arguments or environment.\n",
    kDumpOptions, false, run_dump};

const Subcommand kLoadCommand = {
    "load", "load [-e FILE] DUMPFILE",
    "Loads a dump into the station database in one transaction: each table with rows in\n"
    "the file then holds exactly those rows (a whole-database dump replaces every table).\n"
    "A line that cannot be read or stored stops the load, names the line's number, and\n"
    "nothing is loaded.\n"
    "\n"
    "  -e FILE   the environment file (default: as for initdb)\n"
    "\n"
    "Exit status: 0 loaded; 1 failed; 2 wrong arguments or environment.\n",
    kEnvOnly, false, run_load};

const Subcommand kDeletedbCommand = {
    "deletedb", "deletedb [-e FILE] [--yes]",
    "Deletes the station database (the table files of the database directory), the logs\n"
    "of TRACEDIR and every file of the TEMP directory, after asking (unless --yes). It\n"
    "refuses, deleting nothing, while the monitor, the transmitter or the log writer runs.\n"
    "\n"
    "  --yes     do not ask\n"
    "  -e FILE   the environment file (default: as for initdb)\n"
    "\n"
    "Exit status: 0 deleted; 1 not confirmed, refused or failed; 2 wrong arguments or\n"
    "environment.\n",
    kDeleteOptions, false, run_deletedb};

const Subcommand kVersionCommand = {
    "version", "version [-e FILE]",
    "Prints the version of the programs and the version and creation date of the station\n"
    "database (its DB row).\n"
    "\n"
    "  -e FILE   the environment file (default: as for initdb)\n"
    "\n"
    "Exit status: 0 printed; 1 the database version cannot be read; 2 wrong arguments or\n"
    "environment.\n",
    kEnvOnly, false, run_version};

}  // namespace kytadm
