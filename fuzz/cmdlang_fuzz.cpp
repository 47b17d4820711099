// Feeds arbitrary bytes to the command language engine: as a syntax string into a fresh
// set, and as command lines against that set, the batch command set and an environment-file
// style SET set. Handlers read every text they are given and check the parse invariants;
// one verb runs its positional parameter as a nested command line.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "runtime/cmdlang.h"

namespace {

using kyt::cmd_args;
using kyt::cmd_msg;
using kyt::CommandSet;

void check(bool ok) {
  if (!ok) __builtin_trap();
}

size_t touch(const char* s) {
  return s == nullptr ? 0 : std::strlen(s);
}

void check_table(const kyt::cmd_table& t, const std::vector<std::string>& names) {
  check(t.size() == names.size());
  for (size_t i = 0; i < t.size(); ++i) {
    touch(t.value(i));
    check(t.find(names[i]) == t.value(i));
  }
}

// Reads the whole parsed command and checks what the parser promises.
int32_t inspect(const cmd_args& a, cmd_msg* msg) {
  const kyt::cmd_def& d = a.def();
  check(a.positional_count() >= d.min && a.positional_count() <= d.max);
  for (int i = 0; i < a.positional_count(); ++i) check(a.positional(i) != nullptr);
  size_t total = touch(a.verb().c_str());
  for (const char* p : a.positionals()) total += touch(p);
  check_table(a.keywords(), d.keywords);
  for (const auto& g : a.groups()) check_table(g, d.rkeywords);
  check(msg != nullptr);
  return total % 2 == 0 ? 0 : 1;
}

CommandSet* batch_set() {
  static CommandSet* set = [] {
    auto* s = new CommandSet;
    s->set_print_fn([](std::string_view) {});
    const char* defs[] = {
        "START: 0-1 KYTENV",
        "END:",
        "USER: 0-1 UID NAME LANGUAGE PRIV PASSWORD USERSID PROFSESS",
        "SEND: 0-1 ACCOUNT CODEIN DSN DISP FORMAT VFTYP MAXRECL INITTIME LABEL SERIAL SIDORIG "
        "OIDORIG USEUSERSID CMDID EFCHECK (CODEOUT CODETABLE DSNNEW SID OIDDEST TSTAMP "
        "COMPRESSION  ENCRYPTION UID)",
        "RECEIVER: 1 CMDID SID UID",
        "LX: 1-99 SID ",
        "PRINT: 1",
    };
    for (const char* d : defs) check(kyt::rpxcid(*s, d, inspect) == 0);
    // Runs its positional parameter as a command line of this set: one level of nesting,
    // and refused beyond it.
    check(kyt::rpxcid(*s, "NEST: 1", [s](const cmd_args& a, cmd_msg* m) {
            return kyt::rpxcie(*s, a.positional(0), m);
          }) == 0);
    return s;
  }();
  return set;
}

CommandSet* env_set() {
  static CommandSet* set = [] {
    auto* s = new CommandSet;
    check(kyt::rpxcid(*s,
                      "SET: 0-99 MODE LANGUAGE DEBUG PATH TRACEDIR DB INIT SYSTEM TEMP USRDAT "
                      "ARCDIR SPDIR SPINDIR SPOUTDIR SPFILESDIR DFTAUT DBG_LVL DBG_TPC "
                      "DBG_MAXSIZE DBG_NUMLOGS DBNAME DBUSER DBPSW DBTO DBDL LOGINDB",
                      inspect) == 0);
    return s;
  }();
  return set;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view in(reinterpret_cast<const char*>(data), size);
  cmd_msg msg;

  // Syntax string up to the first line feed, command line after it.
  size_t nl = in.find('\n');
  std::string_view syntax = in.substr(0, nl);
  std::string_view line = nl == std::string_view::npos ? in : in.substr(nl + 1);
  CommandSet fresh;
  fresh.set_print_fn([](std::string_view) {});
  int32_t rc = kyt::rpxcid(fresh, syntax, inspect);
  check(rc == 0 || rc == 1 || rc == 4 || rc == 99);
  kyt::rpxcie(fresh, line, &msg);
  kyt::rpxcie(fresh, in, &msg);
  check(msg.length >= 0 && msg.length <= cmd_msg::kCapacity && msg.text[msg.length] == '\0');

  kyt::rpxcie(*batch_set(), in, &msg);
  kyt::rpxcie(*batch_set(), line, nullptr);
  kyt::rpxcie(*env_set(), "SET " + std::string(in), &msg);
  return 0;
}
