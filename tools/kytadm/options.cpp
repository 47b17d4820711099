// kytadm: the one option parser of every subcommand, and the environment file.
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "runtime/runtime.h"
#include "kytadm.h"

namespace kytadm {

bool Args::has(const char* option) const {
  for (const auto& g : given) {
    if (g.first == option) return true;
  }
  return false;
}

std::string Args::value(const char* option, const std::string& fallback) const {
  std::string v = fallback;
  for (const auto& g : given) {
    if (g.first == option) v = g.second;  // the last one given counts
  }
  return v;
}

int bad_usage(const Subcommand& s, const std::string& why) {
  std::fprintf(stderr, "kytadm %s: %s\nusage: kytadm %s\n", s.name, why.c_str(), s.synopsis);
  return kExitUsage;
}

int parse_args(const Subcommand& s, const std::vector<std::string>& argv, Args* out) {
  Args unused;
  if (out == nullptr) out = &unused;
  *out = Args{};
  out->self = &s;
  bool options_done = false;
  for (size_t i = 0; i < argv.size(); ++i) {
    const std::string& a = argv[i];
    const bool looks_like_option = a.size() > 1 && a[0] == '-';
    if (options_done || !looks_like_option) {
      out->operands.push_back(a);
      if (s.operands_end_options) options_done = true;
      continue;
    }
    if (a == "--") {
      options_done = true;
      continue;
    }
    if (a == "-h" || a == "--help") {
      std::printf("usage: kytadm %s\n\n%s", s.synopsis, s.help);
      return kExitOk;
    }
    const Option* found = nullptr;
    for (const Option& o : s.options) {
      if (a == o.name) found = &o;
    }
    if (found == nullptr) return bad_usage(s, "unknown option '" + a + "'");
    if (found->value == nullptr) {
      out->given.emplace_back(a, std::string());
      continue;
    }
    if (i + 1 >= argv.size()) {
      return bad_usage(s, "option " + a + " needs " + (found->value[0] == 'F' ? "a file name" : "a value") +
                              " (" + a + " " + found->value + ")");
    }
    out->given.emplace_back(a, argv[++i]);
  }
  return -1;
}

int read_environment(const Args& args) {
  const std::string file = args.value("-e");
  const int rc = file.empty() ? kyt::lpdsn_init() : kyt::lpdsn_init_file(file);
  if (rc == 0) return 0;
  std::string text;
  // The bytes of a damaged line as they are, but no control characters on the screen.
  for (unsigned char c : kyt::lpdsn_error_text()) {
    if (c < 0x20 || c == 0x7f) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02x", c);
      text += hex;
    } else {
      text.push_back(static_cast<char>(c));
    }
  }
  // Without -e the store's first entry is the name of the file it read.
  const auto& entries = kyt::lpdsn_entries();
  const std::string name = !file.empty() || entries.empty() ? file : entries.front().second;
  std::error_code ec;
  if (std::filesystem::is_directory(name, ec)) {
    text = name + ": a directory, not an environment file";
  } else if (text.empty()) {
    text = name + ": " +
           (rc == 99 ? "cannot read the environment file" : "the environment file is not valid");
  }
  std::fprintf(stderr, "kytadm %s: %s (code %d)\n", args.self->name, text.c_str(), rc);
  return rc;
}

std::string database_directory() {
  std::string dir;
  if (kyt::lpdsn_get("DBNAME", &dir) == 0 && !dir.empty()) return dir;
  dir.clear();
  kyt::lpdsn_get("DB", &dir);
  return dir;
}

}  // namespace kytadm
