// kytadm: the administration command of the station, one binary with subcommands.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

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
