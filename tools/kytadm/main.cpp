// kytadm: the administration command of the station, one binary with subcommands.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include <cctype>
#include <iostream>
#include <iterator>
#include <optional>

#include "isam/isam.h"
#include "runtime/runtime.h"
#include "sql/sql.h"

// kytadm params (params.cpp).
namespace kytadm {
extern const char* const kParamsSynopsis;
extern const char* const kParamsHelp;
int run_params(const std::vector<std::string>& args);
}  // namespace kytadm

namespace {

constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

struct Subcommand {
  const char* name;
  const char* synopsis;
  const char* help;  // shown by "kytadm help NAME"
  int (*run)(const std::vector<std::string>& args);
};

int run_env(const std::vector<std::string>& args);
int run_check(const std::vector<std::string>& args);
int run_sql(const std::vector<std::string>& args);

const Subcommand kSubcommands[] = {
    {"env", "env [-e FILE]",
     "Lists the environment settings and dataset names of the station as every program\n"
     "of it sees them: the environment file read, the keywords given and their defaults,\n"
     "the settings named in the file, VERSION and PGM, and every DSN_ dataset name.\n"
     "\n"
     "  -e FILE   read FILE instead of the environment file of this process (the\n"
     "            KYTENV environment variable, else kytenv.dat in the current directory)\n"
     "\n"
     "Exit status: 0 listed; 1 the file cannot be read (code 99) or is not valid (the\n"
     "command language's code, 4 for a setting given twice); 2 wrong arguments.\n",
     run_env},
    {"check", "check [-e FILE] [DATABASE...]",
     "Checks the integrity of station databases, reading their files only: the structure\n"
     "of the index and holes trees, that records and holes cover the data file exactly,\n"
     "that every index holds exactly one entry per record with the key built from that\n"
     "record, and that the holes tree lists exactly the holes of the data file.\n"
     "\n"
     "  -e FILE    the environment file whose DB directory is checked (default: as for env)\n"
     "  DATABASE   a database to check, named by its data file (dir/KT.DB) or without the\n"
     "             suffix; without any, every database of the DB directory is checked\n"
     "\n"
     "Prints one line per database, \"NAME: ok\" or the problems found (at most 20 each);\n"
     "a database another process holds is not checked (\"NAME: table locked by another\n"
     "process, not checked\").\n"
     "Exit status: 0 all sound; 1 a problem found, a database that cannot be read or one\n"
     "locked by another process;\n"
     "2 wrong arguments or no DB directory.\n",
     run_check},
    {"sql", "sql [-e FILE] [--create] [STATEMENT...]",
     "Runs statements of the station's SQL subset against the station database (the\n"
     "DBNAME directory of the environment file, else its DB directory).\n"
     "\n"
     "  -e FILE    the environment file (default: as for env)\n"
     "  --create   first make the database directory and its catalogue when missing\n"
     "  STATEMENT  a statement; without any, statements are read from standard input,\n"
     "             separated by \";\" (not inside quotes)\n"
     "\n"
     "A SELECT prints its rows, one a line, values separated by \"|\": numbers in plain\n"
     "decimal, texts as stored, null as nothing. Other statements print nothing.\n"
     "Each statement commits by itself unless SET AUTOCOMMIT OFF is in force; changes\n"
     "not committed by COMMIT WORK when the statements end are rolled back.\n"
     "Exit status: 0 all statements ran; 1 a statement failed (\"kytadm sql: \" with its\n"
     "status and meaning on standard error; later statements are not run) or uncommitted\n"
     "work was rolled back (\"kytadm sql: uncommitted work was rolled back\"); 2 wrong\n"
     "arguments or an environment file that cannot be read.\n",
     run_sql},
    {"params", kytadm::kParamsSynopsis, kytadm::kParamsHelp, kytadm::run_params},
};

void usage(std::FILE* out) {
  std::fprintf(out,
               "usage: kytadm SUBCOMMAND [ARGUMENTS]\n"
               "       kytadm help [SUBCOMMAND]\n\n"
               "The administration command of the kyt station.\n\nSubcommands:\n");
  for (const Subcommand& s : kSubcommands) std::fprintf(out, "  kytadm %s\n", s.synopsis);
  std::fprintf(out, "\n'kytadm help SUBCOMMAND' describes one of them.\n");
}

const Subcommand* find(const std::string& name) {
  for (const Subcommand& s : kSubcommands) {
    if (name == s.name) return &s;
  }
  return nullptr;
}

int bad_usage(const Subcommand& s, const std::string& why) {
  std::fprintf(stderr, "kytadm %s: %s\nusage: kytadm %s\n", s.name, why.c_str(), s.synopsis);
  return kExitUsage;
}

int run_env(const std::vector<std::string>& args) {
  const Subcommand& self = *find("env");
  std::string file;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "-e" && i + 1 < args.size()) {
      file = args[++i];
    } else if (args[i] == "-h" || args[i] == "--help") {
      std::fputs(self.help, stdout);
      return kExitOk;
    } else {
      return bad_usage(self, "unexpected argument '" + args[i] + "'");
    }
  }
  const int rc = file.empty() ? kyt::lpdsn_init() : kyt::lpdsn_init_file(file);
  if (rc != 0) {
    // The store's first entry is always the name of the file it read.
    const auto& entries = kyt::lpdsn_entries();
    const std::string name = entries.empty() ? file : entries.front().second;
    if (!kyt::lpdsn_error_text().empty()) {  // file, line and offending text
      std::fprintf(stderr, "kytadm env: %s (code %d)\n", kyt::lpdsn_error_text().c_str(), rc);
    } else {
      std::fprintf(stderr, "kytadm env: %s '%s' (code %d)\n",
                   rc == 99 ? "cannot read environment file" : "environment file is not valid",
                   name.c_str(), rc);
    }
    return kExitFailed;
  }
  const std::string listing = kyt::lpdsn_listing();
  std::fwrite(listing.data(), 1, listing.size(), stdout);
  return kExitOk;
}

constexpr size_t kMaxProblems = 20;

int run_check(const std::vector<std::string>& args) {
  const Subcommand& self = *find("check");
  std::string file;
  std::vector<std::string> databases;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "-e" && i + 1 < args.size()) {
      file = args[++i];
    } else if (args[i] == "-h" || args[i] == "--help") {
      std::fputs(self.help, stdout);
      return kExitOk;
    } else if (!args[i].empty() && args[i][0] == '-') {
      return bad_usage(self, "unknown option '" + args[i] + "'");
    } else {
      databases.push_back(args[i]);
    }
  }
  if (databases.empty()) {
    const int rc = file.empty() ? kyt::lpdsn_init() : kyt::lpdsn_init_file(file);
    std::string dir;
    if (rc != 0 || kyt::lpdsn_get("DB", &dir) != 0) {
      std::fprintf(stderr, "kytadm check: no DB directory: the environment file cannot be read (code %d)\n", rc);
      return kExitUsage;
    }
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(dir, ec)) {
      const std::string name = entry.path().string();
      if (entry.is_regular_file(ec) && name.size() > 3 && name.compare(name.size() - 3, 3, ".DB") == 0) {
        databases.push_back(name);
      }
    }
    if (ec) {
      std::fprintf(stderr, "kytadm check: cannot list the DB directory '%s'\n", dir.c_str());
      return kExitFailed;
    }
    std::sort(databases.begin(), databases.end());
  }
  bool sound = true;
  for (const std::string& db : databases) {
    std::vector<std::string> problems;
    if (kyt::icheck_db(db.c_str(), &problems, kMaxProblems + 1)) {
      std::printf("%s: ok\n", db.c_str());
      continue;
    }
    sound = false;
    if (kyt::isam_errno == kyt::kIsamLocked) {
      std::printf("%s: %s, not checked\n", db.c_str(), kyt::sql_status_text(kyt::DBI_E_LOCKED));
      continue;
    }
    std::printf("%s: damaged\n", db.c_str());
    for (size_t i = 0; i < problems.size() && i < kMaxProblems; ++i) {
      std::printf("  %s\n", problems[i].c_str());
    }
    if (problems.size() > kMaxProblems) std::printf("  ... and more\n");
  }
  return sound ? kExitOk : kExitFailed;
}

// Splits a script at ";" outside single quotes; blank statements are dropped.
std::vector<std::string> split_statements(const std::string& text) {
  std::vector<std::string> out;
  std::string cur;
  bool quoted = false;
  auto push = [&] {
    if (cur.find_first_not_of(" \t\r\n") != std::string::npos) out.push_back(cur);
    cur.clear();
  };
  for (char c : text) {
    if (c == '\'') quoted = !quoted;
    if (c == ';' && !quoted) {
      push();
    } else {
      cur.push_back(c);
    }
  }
  push();
  return out;
}

bool is_select(const std::string& s) {
  size_t p = s.find_first_not_of(" \t\r\n");
  if (p == std::string::npos || s.size() - p < 6) return false;
  std::string word = s.substr(p, 6);
  for (char& c : word) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return word == "SELECT" && (s.size() == p + 6 || !std::isalnum(static_cast<unsigned char>(s[p + 6])));
}

const char* status_meaning(int32_t rc) {
  switch (rc) {
    case kyt::RPDSQL_NOT_FOUND:
      return "no further row";
    case kyt::RPDSQL_CLOSE_FAILED:
      return "the database could not be closed";
    case kyt::RPDSQL_OPEN_FAILED:
      return "the database could not be found or opened";
    default: {
      const char* t = kyt::sql_status_text(rc);
      return t != nullptr ? t : "unknown status";
    }
  }
}

// A SELECT as a cursor: declare, fetch to the end, close.
int32_t run_select(const std::string& text) {
  int32_t rc = kyt::rpdsql_run("OPEN DB");
  if (rc != 0) return rc;
  int32_t id = -1;
  rc = kyt::isa801_alloc_cursor(&id);
  if (rc != 0) return rc;
  rc = kyt::isa201_prepare_stat(id, text);
  if (rc == 0) rc = kyt::isa950_put_input(id, {});
  if (rc == 0) rc = kyt::isa203_open_cursor(id);
  std::vector<std::optional<std::string>> row;
  while (rc == 0 && (rc = kyt::isa_fetch_texts(id, &row)) == 0) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      if (i > 0) line.push_back('|');
      if (row[i]) line += *row[i];
    }
    line.push_back('\n');
    std::fwrite(line.data(), 1, line.size(), stdout);
  }
  kyt::isa805_set_cursor_frei(id);
  return rc == kyt::DBI_W_END_FETCH ? 0 : rc;
}

int run_sql(const std::vector<std::string>& args) {
  const Subcommand& self = *find("sql");
  std::string file;
  bool create = false;
  std::vector<std::string> statements;
  bool from_args = false;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "-e" && i + 1 < args.size() && !from_args) {
      file = args[++i];
    } else if (args[i] == "--create" && !from_args) {
      create = true;
    } else if ((args[i] == "-h" || args[i] == "--help") && !from_args) {
      std::fputs(self.help, stdout);
      return kExitOk;
    } else if (!from_args && args[i].size() > 1 && args[i][0] == '-') {
      return bad_usage(self, "unknown option '" + args[i] + "'");
    } else {
      from_args = true;
      statements.push_back(args[i]);
    }
  }
  const int rc = file.empty() ? kyt::lpdsn_init() : kyt::lpdsn_init_file(file);
  if (rc != 0) {
    std::fprintf(stderr, "kytadm sql: the environment file cannot be read (code %d)\n", rc);
    return kExitUsage;
  }
  if (create) {
    std::string dir;
    if (kyt::lpdsn_get("DBNAME", &dir) != 0 || dir.empty()) kyt::lpdsn_get("DB", &dir);
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (ec) {
      std::fprintf(stderr, "kytadm sql: cannot make the database directory '%s'\n", dir.c_str());
      return kExitFailed;
    }
    int32_t r = kyt::rpdsql_run("OPEN DB");
    if (r == 0) r = kyt::isa_create_catalogue();
    if (r != 0) {
      std::fprintf(stderr, "kytadm sql: %ld %s\n", static_cast<long>(r), status_meaning(r));
      return kExitFailed;
    }
  }
  if (!from_args) {
    std::string script((std::istreambuf_iterator<char>(std::cin)), std::istreambuf_iterator<char>());
    statements = split_statements(script);
  }
  int status = kExitOk;
  for (const std::string& s : statements) {
    int32_t r = is_select(s) ? run_select(s) : kyt::rpdsql_run(s);
    std::fflush(stdout);
    if (r != 0) {
      // The statement buffer holds 4095 characters; a longer statement cannot be composed.
      const char* meaning = r == kyt::RC_INTERNAL_ERROR && s.size() > 4095
                                ? "statement longer than 4095 characters"
                                : status_meaning(r);
      std::fprintf(stderr, "kytadm sql: %ld %s\n", static_cast<long>(r), meaning);
      status = kExitFailed;
      break;
    }
  }
  // Work not committed at the end rolls back, as at the end of every process; the user who
  // forgot COMMIT WORK hears of it.
  if (kyt::isa_db_open()) {
    const bool uncommitted = kyt::isa_uncommitted_work();
    kyt::rpdsql_run("CLOSE DB");
    if (uncommitted) {
      std::fprintf(stderr, "kytadm sql: uncommitted work was rolled back\n");
      status = kExitFailed;
    }
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    usage(stderr);
    return kExitUsage;
  }
  const std::string first = argv[1];
  if (first == "-h" || first == "--help") {
    usage(stdout);
    return kExitOk;
  }
  if (first == "help") {
    if (argc == 2) {
      usage(stdout);
      return kExitOk;
    }
    const Subcommand* s = find(argv[2]);
    if (s == nullptr) {
      std::fprintf(stderr, "kytadm: no subcommand '%s'\n", argv[2]);
      return kExitUsage;
    }
    std::printf("usage: kytadm %s\n\n%s", s->synopsis, s->help);
    return kExitOk;
  }
  const Subcommand* s = find(first);
  if (s == nullptr) {
    std::fprintf(stderr, "kytadm: no subcommand '%s'\n\n", first.c_str());
    usage(stderr);
    return kExitUsage;
  }
  return s->run(std::vector<std::string>(argv + 2, argv + argc));
}
