// kytadm: what the subcommands share: the table of subcommands, the one option parser, the
// reading of the environment file and the exit statuses.
#ifndef KYT_TOOLS_KYTADM_KYTADM_H
#define KYT_TOOLS_KYTADM_KYTADM_H

#include <span>
#include <string>
#include <vector>

namespace kytadm {

constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

struct Args;

// An option of a subcommand: "-e FILE" (takes a value, named `value` in messages) or a flag.
struct Option {
  const char* name;   // "-e", "--create"
  const char* value;  // "FILE" when the option takes one, else nullptr
};

struct Subcommand {
  const char* name;
  const char* synopsis;  // after "kytadm "
  const char* help;      // shown by "kytadm help NAME" and "kytadm NAME --help"
  std::span<const Option> options;
  // Whether operands may begin with "-" once the first operand is read (sql statements).
  bool operands_end_options;
  int (*run)(const Args& args);
};

// What the parser made of a subcommand's arguments.
struct Args {
  const Subcommand* self = nullptr;
  std::vector<std::pair<std::string, std::string>> given;  // option name, value ("" for flags)
  std::vector<std::string> operands;
  bool has(const char* option) const;
  // The value of an option; `fallback` when not given.
  std::string value(const char* option, const std::string& fallback = {}) const;
};

// Parses `argv` for `s` (`out` may be null when only the help is wanted). Options come before operands ("--" ends them); "-h" and "--help"
// anywhere among the options ask for the help. Returns -1 when the subcommand is to run,
// else the exit status, having printed the help or the complaint with the usage line.
int parse_args(const Subcommand& s, const std::vector<std::string>& argv, Args* out);

// Prints "kytadm NAME: WHY" and the usage line on standard error; kExitUsage.
int bad_usage(const Subcommand& s, const std::string& why);

// Reads the environment file (-e FILE, else the process's own); on failure prints
// "kytadm NAME: FILE:LINE: WHAT: TEXT (code N)" on standard error and answers the code.
int read_environment(const Args& args);

// The directory of the station database: DBNAME when set, else DB. Empty when neither is.
std::string database_directory();

int run_env(const Args& args);
int run_check(const Args& args);
int run_sql(const Args& args);
int run_params(const Args& args);
extern const char* const kParamsSynopsis;
extern const char* const kParamsHelp;
int run_listen(const Args& args);
extern const char* const kListenSynopsis;
extern const char* const kListenHelp;
int run_stations(const Args& args);
extern const char* const kStationsSynopsis;
extern const char* const kStationsHelp;
int run_cmd(const Args& args);
extern const char* const kCmdSynopsis;
extern const char* const kCmdHelp;
int run_import(const Args& args);
extern const char* const kImportSynopsis;
extern const char* const kImportHelp;
int run_receives(const Args& args);
extern const char* const kReceivesSynopsis;
extern const char* const kReceivesHelp;
// The database as a whole (admin.cpp).
extern const Subcommand kInitdbCommand;
extern const Subcommand kDumpCommand;
extern const Subcommand kLoadCommand;
extern const Subcommand kDeletedbCommand;
extern const Subcommand kVersionCommand;

// The station's long-running processes: the word naming it on the command line, what it is
// called in messages, its unique-process semaphore and its stop request selector.
struct StationProcess {
  const char* word;
  const char* title;
  const char* semaphore;
  int who;
};
extern const StationProcess kStationProcesses[3];
int run_status(const Args& args);
int run_stop(const Args& args);
extern const char* const kStatusSynopsis;
extern const char* const kStatusHelp;
extern const char* const kStopSynopsis;
extern const char* const kStopHelp;
int run_sends(const Args& args);
extern const char* const kSendsSynopsis;
extern const char* const kSendsHelp;
extern const Option kSendsOptions[2];

}  // namespace kytadm

#endif  // KYT_TOOLS_KYTADM_KYTADM_H
