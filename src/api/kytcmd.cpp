// kytcmd: the batch command set and the line runner behind kytcal (see kytcmd.h).
#include "api/kytcmd.h"

#include <cstdio>
#include <string>

#include "api/verbs.h"
#include "platform/platform.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kyt::api {
namespace {

constexpr const char* kModule = "kytcal";
constexpr const char* kTopic = "c";

struct State {
  CommandSet set;
  bool defined = false;
  cmd_print_fn out;
  int depth = 0;  // kytcmd calls in progress (a handler may run a line again)
};

State& st() {
  static State s;
  return s;
}

// The batch verbs in the order of their definition.
struct VerbDef {
  const char* syntax;
  int32_t (*handler)(const cmd_args&, cmd_msg*);
};

constexpr VerbDef kVerbs[] = {
    {"START: 0-1 KYTENV", verb_start},
    {"END:", verb_end},
    {"USER: 0-1 UID NAME LANGUAGE PRIV PASSWORD USERSID PROFSESS", verb_user},
    {"RECV: 0-1 CMDID", verb_recv},
    {"EERP: 0-1 CMDID", verb_eerp},
    {"SEND: 0-1 ACCOUNT CODEIN DSN DISP FORMAT VFTYP MAXRECL INITTIME LABEL SERIAL SIDORIG "
     "OIDORIG USEUSERSID CMDID EFCHECK (CODEOUT CODETABLE DSNNEW SID OIDDEST TSTAMP COMPRESSION "
     " ENCRYPTION UID)",
     verb_send},
    {"RESENTR: 0-1 ACCOUNT COMMENT DISP DSN DSNNEW JOB LUID REPLACE SID TSTAMP UID  VFTYP "
     "CODETRANS CODETABLE FLAGCOMP FLAGCRYP",
     verb_resentr},
    {"RECEIVER: 1 CMDID SID UID", verb_receiver},
    {"MODST: 0-1 DSN ", verb_modst},
    {"DELST: 0-1 SID ", verb_delst},
    {"ACTIVATE: 0-1 SID ", verb_activate},
    {"SETPARM: 0-1 PARM ", verb_setparm},
    {"LISTPARM: 0-1 PARM ", verb_listparm},
    {"PRINT: 1", verb_print},
    {"SENDJOB: 0-1 VDSN UID SIDSENDER SID ATTEMPTS JOB COMMENT", verb_sendjob},
    {"OPCMD: 0-1 CMD ", verb_opcmd},
};

// The traces of the definition: the first verbs name themselves, RECV and EERP report their
// result under the RECV text both (the EERP step reuses it), SEND reports its own.
int32_t define_all(CommandSet& set) {
  for (const VerbDef& v : kVerbs) {
    const std::string_view syntax(v.syntax);
    const std::string_view verb = syntax.substr(0, syntax.find(':'));
    const bool named = verb == "START" || verb == "USER" || verb == "RECV" || verb == "EERP" ||
                       verb == "SEND";
    if (named) KYT_TRACE(kModule, kTopic, 7, "rpxcid %.*s", static_cast<int>(verb.size()), verb.data());
    const int32_t rc = rpxcid(set, syntax, v.handler);
    if (verb == "RECV" || verb == "EERP") KYT_TRACE(kModule, kTopic, 7, "rpxcid RECV returns %d", rc);
    if (verb == "SEND") KYT_TRACE(kModule, kTopic, 7, "rpxcid SEND returns %d", rc);
    if (rc != 0) {
      KYT_TRACE(kModule, kTopic, 1, "rpxcid %.*s returns %d", static_cast<int>(verb.size()),
                verb.data(), rc);
      return rc;
    }
  }
  KYT_TRACE(kModule, kTopic, 7, "define Commands ended");
  return 0;
}

void install_hooks(CommandSet& set) {
  set.set_message_fn([](const char*, const char* key, const std::vector<std::string>& args,
                        cmd_msg* msg) {
    std::vector<std::string_view> views(args.begin(), args.end());
    msg_to_record(key, MsgArgs(views.data(), views.size()), caller_language(), msg);
    // The record keeps only the last message; the batch output shows them all.
    batch_print(std::string(msg->text) + "\n");
  });
  set.set_print_fn([](std::string_view text) { batch_print(text); });
}

}  // namespace

CommandSet& batch_commands() { return st().set; }

int32_t define_batch_commands() {
  State& s = st();
  if (s.defined) return 0;
  const int32_t rc = define_all(s.set);
  if (rc != 0) {
    s.set = CommandSet();  // the next line starts again from an empty set
    return rc;
  }
  install_hooks(s.set);
  s.defined = true;
  return 0;
}

void set_batch_output(cmd_print_fn out) { st().out = std::move(out); }

void batch_print(std::string_view text) {
  if (st().out) {
    st().out(text);
    return;
  }
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

char caller_language() {
  const std::string uid = calling_user();
  // Only a database already open is asked: a caller without one answers in the
  // environment's language rather than opening the database for a message. A caller
  // without a user row is no error (SYSTEM has none), so the row is listed, not fetched.
  char lang = 0;
  if (isa_db_open()) {
    kyt_bt_elem user{};
    if (tm::list(Tab::kBT, "caller_language", "BTLANG", "UID = ?", nullptr, {tm::arg(uid.c_str())},
                 &user, {"LANGUAGE"}) == 0) {
      if (user.language[0] != '\0' && user.language[0] != ' ') lang = user.language[0];
    }
    tm::free_list(Tab::kBT, &user);
  }
  return msg_language(lang);
}

int32_t kytcmd(std::string_view line, cmd_msg* msg) {
  State& s = st();
  if (const int32_t rc = define_batch_commands(); rc != 0) return rc;
  const int32_t outer_cn = command_number();
  ++s.depth;
  msg->severity = ' ';
  set_command_number(0);
  const std::string text(line);
  const std::string shown = cmd_line_masked(text);  // for traces and messages
  KYT_TRACE(kModule, kTopic, 7, "rpxcie called with %s", shown.c_str());
  const int32_t rc = rpxcie(s.set, text, msg);
  KYT_TRACE(kModule, kTopic, 7, "kytcmd (): rpxcie () returned %d / '%s'.", rc, msg->text);
  if (msg->severity == ' ') {
    if (rc == 0) {
      const std::string_view a[] = {shown};
      msg_to_record("CMD_EXECUTED", a, caller_language(), msg);
    } else {
      const std::string code = std::to_string(rc);
      const std::string_view a[] = {shown, code};
      msg_to_record("CMD_ERROR", a, caller_language(), msg);
      KYT_TRACE(kModule, kTopic, 1, "kytcmd returns %d", rc);
    }
  }
  wake_monitor();
  --s.depth;
  if (s.depth > 0) {
    // An inner line leaves the outer line's number as it was.
    set_command_number(outer_cn);
  }
  return rc;
}

void kytcmd_reset_for_tests() {
  State& s = st();
  s.set = CommandSet();
  s.defined = false;
  s.out = nullptr;
  s.depth = 0;
  set_command_number(0);
}

}  // namespace kyt::api
