// cmdlang: the station's command language engine. A caller builds a command set with
// `rpxcid` (one syntax string and one handler a verb) and hands command lines to `rpxcie`,
// which parses a line against the set and calls the verb's handler with the parsed command.
//
// Syntax strings
//   VERB ":" [count] {KEYWORD} ["(" {KEYWORD} ")"]
//   count is n (exactly n positional parameters) or n-m (n to m, no blanks inside); without a
//   count the verb takes none. Counts are 0 to 32767 and n <= m. Keywords before the
//   parentheses are the non-repeatable set, those inside the repeatable set (one list at
//   most, nothing but blanks after it). Any run of blanks separates. A keyword twice in the
//   same set, or a verb defined twice in one command set, is refused with 4.
//   "RECEIVER: 1 CMDID SID UID", "LX: 1-99 SID ", "END:", "SEND: 0-1 DSN (SID UID)".
//
// Command lines
//   VERB { "/" value | KEYWORD "=" value | "(" {KEYWORD "=" value} ")" }
//   "SEND /CREATE DSN=\"a b\" (SID=P1 UID=U) (SID=P2)", "USER/CREATE UID=X".
//   A "/" at the start of a token, or right after the verb, introduces a positional
//   parameter. Tokens are handled left to right and the first offending one ends the parse
//   with its code; positional parameters, keywords and groups may come in any order, and
//   a group holds keyword parameters only.
//
// Token rules
//   - The text ends at its first NUL byte. Every byte 255 is read as ".".
//   - Blanks are space, tab, CR, LF, VT and FF; a line break is just a blank, so a text of
//     several lines is one command. There are no continuation marks and no comments.
//   - Names (verbs and keywords) are a letter or "_" followed by letters, digits and "_".
//     They are matched without regard to letter case and are kept in upper case; lower-case
//     verbs and keywords are therefore accepted ("setparm parm=x" is "SETPARM PARM=x").
//   - A value is a word or a quoted text, and keeps its case. A word runs to the next blank,
//     "(" or ")" and may hold any other byte ("/", "=", "\", quotes): DSN=/tmp/a=b is the
//     value "/tmp/a=b", PATH=C:\KYT\ the value "C:\KYT\".
//   - A quoted text is enclosed in double quotes or in single quotes and runs to the next
//     quote of the same kind. There are no escapes: "\" is an ordinary byte (Windows paths),
//     a double quote can be written inside single quotes and the other way round. The
//     closing quote must be followed by a blank, "(", ")" or the end. "" is an empty value.
//   - A quote that is never closed, an empty word (KEY= followed by a blank, "/" at the
//     end), a bare word without "=", a name followed by blanks before its "=", a "(" inside
//     a group, a ")" outside one, a group still open at the end, a positional parameter
//     inside a group: grammar failure, 99.
//   - A keyword that is not in the current set becomes, outside a group and while there is
//     room, the next positional parameter, as the text NAME=value (as written, quotes
//     removed); otherwise it is refused with 3.
//
// Codes of rpxcid and rpxcie: 0 done (also an empty or blank line, which calls no handler);
// 1 a definition given to rpxcie or a command line (or nothing) given to rpxcid; 2 verb not
// in the set; 3 keyword not allowed here; 4 keyword given twice in one table (or a verb or a
// keyword defined twice); 5 more positional parameters than the maximum; 6 fewer than the
// minimum; 99 grammar failure, out of memory or nesting too deep. After a 99 the set's
// error_text() names the cause ("syntax error", "out of memory", "nesting too deep").
// Otherwise rpxcie answers the handler's code unchanged.
//
// Nesting: a handler may call rpxcie again (of any set) once; a call that would be a third
// level in this process is refused with 99. Each call parses into its own structure, so the
// outer call's parsed command stays valid while the inner one runs. One thread a process.
// rpxcie_apart parses a command that belongs to no caller's command (the environment file,
// read by whichever handler needs it first): it starts a nesting count of its own and leaves
// the count of the calls in progress as it found it.
//
// The parsed command lives from the start of rpxcie until the handler returns; its texts
// point into a copy of the line that goes with it. Handlers copy what they keep.
//
// HELP: the first definition into an empty set defines "HELP:0-1" with the built-in help
// handler first. "HELP" emits the message OK_HELP (group MONIT), then the verbs in
// definition order, "  %-12s" each, four to a line, each line (also the last, shorter one)
// as OK_HELP_MORE. "HELP /VERB" emits OK_HELP_CMD (verb, "%hd - %hd" or the single number),
// OK_HELP_PARM and OK_HELP_RPARM (the keywords joined by blanks, cut to 199 characters) and
// prints the verb's description; an unknown verb prints "Unknown command: %s\n" and gives 2.
// Messages go to the set's message hook, printed text to its print hook (see CommandSet).
#ifndef KYT_RUNTIME_CMDLANG_H
#define KYT_RUNTIME_CMDLANG_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kyt {

// Parse codes.
constexpr int32_t kCmdDone = 0;
constexpr int32_t kCmdWrongStatement = 1;
constexpr int32_t kCmdUnknownVerb = 2;
constexpr int32_t kCmdKeywordNotAllowed = 3;
constexpr int32_t kCmdKeywordTwice = 4;
constexpr int32_t kCmdTooManyPositional = 5;
constexpr int32_t kCmdTooFewPositional = 6;
constexpr int32_t kCmdSyntaxError = 99;

// Message record: what a handler tells the operator. `text` is NUL-terminated and never
// holds more than `capacity` (at most kCapacity) characters; `length` counts them.
struct cmd_msg {
  static constexpr int16_t kCapacity = 200;
  char severity = ' ';  // ' ' unused
  int16_t capacity = kCapacity;
  int16_t length = 0;
  char text[kCapacity + 1] = {};
};
// The line as traces and logs may show it: the value of every keyword parameter that holds a
// password (PASSWORD, PSWFROM, PSWTO, NETPSW, in any letter case) replaced by "*", quotes
// and all; everything else as written. Lines are traced and logged, passwords never.
std::string cmd_line_masked(std::string_view line);

// Fills the record, cutting the text to its capacity.
void cmd_msg_set(cmd_msg* msg, char severity, std::string_view text);
void cmd_msg_format(cmd_msg* msg, char severity, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 3, 4)))
#endif
    ;

class CommandSet;
class cmd_args;

// A handler returns the command's code; rpxcie passes it on unchanged.
using cmd_handler = std::function<int32_t(const cmd_args& args, cmd_msg* msg)>;

// One verb of a command set.
struct cmd_def {
  cmd_handler handler;                 // empty: the line is only checked, rpxcie answers 0
  std::vector<std::string> keywords;   // non-repeatable set, upper case, in definition order
  std::vector<std::string> rkeywords;  // repeatable set
  int16_t min = 0;                     // positional parameters
  int16_t max = 0;
  std::string verb;  // upper case
};

// The keyword values of one table of a parsed command. Slot i belongs to keyword i of the
// definition's set, so a caller that knows its syntax string can read by index; lookups by
// name ignore letter case.
class cmd_table {
 public:
  cmd_table() = default;
  explicit cmd_table(const std::vector<std::string>* names)
      : names_(names), values_(names->size(), nullptr) {}

  size_t size() const { return values_.size(); }
  const std::string& name(size_t i) const { return (*names_)[i]; }
  const char* value(size_t i) const { return i < values_.size() ? values_[i] : nullptr; }
  // The value given for `keyword`, or nullptr when it was not given or is not in the set.
  const char* find(std::string_view keyword) const;
  bool given(std::string_view keyword) const { return find(keyword) != nullptr; }

 private:
  friend class CmdLineParser;
  const std::vector<std::string>* names_ = nullptr;
  std::vector<const char*> values_;
};

// One parenthesised group: its repeatable keywords.
class cmd_group : public cmd_table {
 public:
  using cmd_table::cmd_table;
};

// The parsed command handed to a handler. Not copyable: its texts point into its own
// copy of the line.
class cmd_args {
 public:
  cmd_args(const CommandSet* set, std::string line) : set_(set), line_(std::move(line)) {}
  cmd_args(const cmd_args&) = delete;
  cmd_args& operator=(const cmd_args&) = delete;

  const std::string& verb() const { return def_->verb; }
  const cmd_def& def() const { return *def_; }
  const CommandSet& set() const { return *set_; }

  // Non-repeatable keywords.
  const cmd_table& keywords() const { return keywords_; }
  const char* value(std::string_view keyword) const { return keywords_.find(keyword); }
  bool given(std::string_view keyword) const { return keywords_.given(keyword); }

  // Groups in the order written.
  const std::vector<cmd_group>& groups() const { return groups_; }

  // Positional parameters in the order written; positional(i) is nullptr out of range.
  int16_t positional_count() const { return static_cast<int16_t>(positional_.size()); }
  const char* positional(int i) const {
    return i >= 0 && static_cast<size_t>(i) < positional_.size() ? positional_[i] : nullptr;
  }
  const std::vector<const char*>& positionals() const { return positional_; }

 private:
  friend class CmdLineParser;
  const CommandSet* set_;
  const cmd_def* def_ = nullptr;
  std::string line_;  // the scanned line; every text above points into it
  cmd_table keywords_;
  std::vector<cmd_group> groups_;
  std::vector<const char*> positional_;
};

// Receives a catalogue message that HELP emits (group, key, arguments) together with the
// caller's message record. The default fills the record (severity 'I') with a plain
// English rendering of the message.
using cmd_message_fn = std::function<void(const char* group, const char* key,
                                          const std::vector<std::string>& args, cmd_msg* msg)>;
// Receives the text HELP prints. The default writes it to standard output.
using cmd_print_fn = std::function<void(std::string_view text)>;

// A command set: verbs with their definitions, owned by whoever builds it. Sets are
// independent of each other; the only state shared by all is the nesting depth of rpxcie.
class CommandSet {
 public:
  CommandSet();
  CommandSet(CommandSet&&) noexcept;
  CommandSet& operator=(CommandSet&&) noexcept;
  ~CommandSet();

  // The definition of `verb` (letter case ignored), or nullptr.
  const cmd_def* find(std::string_view verb) const;
  // Definitions in the order they were made (HELP first).
  size_t size() const { return defs_.size(); }
  const cmd_def& def(size_t i) const { return *defs_[i]; }

  void set_message_fn(cmd_message_fn fn);
  void set_print_fn(cmd_print_fn fn);
  void emit(const char* group, const char* key, const std::vector<std::string>& args,
            cmd_msg* msg) const;
  void print(std::string_view text) const;

  // Cause of the last 99 from this set; empty before the first one.
  const std::string& error_text() const { return error_text_; }

 private:
  friend int32_t rpxcid(CommandSet& set, std::string_view syntax, cmd_handler handler);
  friend int32_t rpxcie(CommandSet& set, std::string_view line, cmd_msg* msg);
  std::vector<std::unique_ptr<cmd_def>> defs_;  // stable addresses while a handler runs
  cmd_message_fn message_fn_;
  cmd_print_fn print_fn_;
  std::string error_text_;
};

// Defines one verb from its syntax string. Returns 0 or a parse code.
int32_t rpxcid(CommandSet& set, std::string_view syntax, cmd_handler handler);
int32_t rpxcid(CommandSet& set, const char* syntax, cmd_handler handler);  // nullptr: 1

// Parses one command line and calls its handler. `msg` may be nullptr (the handler then
// gets a scratch record). Returns the handler's code or a parse code.
int32_t rpxcie(CommandSet& set, std::string_view line, cmd_msg* msg);
int32_t rpxcie(CommandSet& set, const char* line, cmd_msg* msg);  // nullptr: empty line
// As rpxcie, outside the nesting of the rpxcie calls in progress (see Nesting above).
int32_t rpxcie_apart(CommandSet& set, std::string_view line, cmd_msg* msg);

}  // namespace kyt

#endif  // KYT_RUNTIME_CMDLANG_H
