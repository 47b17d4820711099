// kytadm: the administration command of the station, one binary with subcommands.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "isam/isam.h"
#include "runtime/lpdsn.h"

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
     "Prints one line per database, \"NAME: ok\" or the problems found (at most 20 each).\n"
     "Exit status: 0 all sound; 1 a problem found or a database that cannot be read;\n"
     "2 wrong arguments or no DB directory.\n",
     run_check},
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
    std::fprintf(stderr, "kytadm env: %s '%s' (code %d)\n",
                 rc == 99 ? "cannot read environment file" : "environment file is not valid",
                 name.c_str(), rc);
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
    std::printf("%s: damaged\n", db.c_str());
    for (size_t i = 0; i < problems.size() && i < kMaxProblems; ++i) {
      std::printf("  %s\n", problems[i].c_str());
    }
    if (problems.size() > kMaxProblems) std::printf("  ... and more\n");
  }
  return sound ? kExitOk : kExitFailed;
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
