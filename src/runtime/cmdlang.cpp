// cmdlang: syntax strings, command lines, dispatch and the built-in HELP (rpxcid, rpxcie).
//
// Both parsers are single forward passes over a private copy of their text, without
// recursion; every loop advances by at least one byte or stops. Command line texts are
// NUL-terminated in place inside that copy: a word's terminator is remembered (held) when
// it is "(" or ")" that still has to be read, and a positional NAME="quoted value" is
// closed up over its opening quote, which only ever shortens it.
#include "runtime/cmdlang.h"

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <exception>
#include <utility>

#include "runtime/numtext.h"
#include "runtime/trace.h"

namespace kyt {

namespace {

constexpr const char* kModule = "kytcal";
constexpr const char* kTopic = "c";
constexpr int kLevel = 7;
constexpr int kMaxDepth = 2;       // the outermost rpxcie and one nested call
constexpr int32_t kEmptyLine = 7;  // parsed as 7, reported as 0
constexpr size_t kHelpJoinMax = 199;

int g_depth = 0;  // rpxcie calls in progress in this process

// Counts one rpxcie call for as long as it runs, whichever way it returns.
class DepthGuard {
 public:
  DepthGuard() { ++g_depth; }
  ~DepthGuard() { --g_depth; }
  DepthGuard(const DepthGuard&) = delete;
  DepthGuard& operator=(const DepthGuard&) = delete;
};

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}
bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
bool is_name_start(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}
bool is_name_char(char c) {
  return is_name_start(c) || is_digit(c);
}
// What may follow a complete token.
bool is_separator(char c) {
  return c == '\0' || is_blank(c) || c == '(' || c == ')';
}
char to_upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool same_name(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (to_upper(a[i]) != to_upper(b[i])) return false;
  }
  return true;
}

std::string upper_name(std::string_view name) {
  std::string out(name);
  for (char& c : out) c = to_upper(c);
  return out;
}

int find_name(const std::vector<std::string>& names, std::string_view name) {
  for (size_t i = 0; i < names.size(); ++i) {
    if (same_name(names[i], name)) return static_cast<int>(i);
  }
  return -1;
}

// The text as both parsers read it: cut at its first NUL, every byte 255 read as '.'.
std::string scan_copy(std::string_view text) {
  size_t n = 0;
  while (n < text.size() && text[n] != '\0') ++n;
  std::string out(text.substr(0, n));
  for (char& c : out) {
    if (static_cast<unsigned char>(c) == 0xFF) c = '.';
  }
  return out;
}

// Reads a NUL-terminated buffer (std::string keeps a NUL after its last byte) and can
// terminate tokens in place.
class Scanner {
 public:
  explicit Scanner(std::string& buf) : buf_(buf.data()) {}

  size_t pos() const { return pos_; }
  char peek() const { return at(pos_); }
  void advance() { ++pos_; }
  void skip_blanks() {
    while (is_blank(peek())) ++pos_;
  }

  // A name at the current position, or an empty view.
  std::string_view name() {
    size_t start = pos_;
    if (!is_name_start(peek())) return {};
    while (is_name_char(peek())) ++pos_;
    return {buf_ + start, pos_ - start};
  }

  // A decimal count of 0 to 32767.
  // Digits only, no sign or blanks. A held separator is never a digit, so the run ends at
  // the NUL that stands in for it.
  bool count(int16_t* out) {
    const char* p = buf_ + pos_;
    int64_t v = 0;
    size_t used = 0;
    if (parse_int({p, std::strlen(p)}, 0, 32767, &v, NumSyntax{false, false}, &used) !=
        NumText::kOk) {
      return false;
    }
    pos_ += used;
    *out = static_cast<int16_t>(v);
    return true;
  }

  // A value (quoted text or word), NUL-terminated in place; nullptr on a grammar failure.
  char* value(bool* quoted) {
    char c = peek();
    *quoted = c == '"' || c == '\'';
    if (*quoted) {
      size_t start = pos_ + 1;
      size_t end = start;
      while (at(end) != '\0' && at(end) != c) ++end;
      if (at(end) == '\0') return nullptr;  // never closed
      buf_[end] = '\0';
      pos_ = end + 1;
      if (!is_separator(peek())) return nullptr;
      return buf_ + start;
    }
    if (is_separator(c)) return nullptr;  // empty word
    size_t start = pos_;
    while (!is_separator(peek())) ++pos_;
    if (buf_[pos_] != '\0') {  // "(", ")" or a blank: keep it readable
      held_ = buf_[pos_];
      held_pos_ = pos_;
      buf_[pos_] = '\0';
    }
    return buf_ + start;
  }

  char* at_ptr(size_t i) { return buf_ + i; }

 private:
  char at(size_t i) const { return i == held_pos_ ? held_ : buf_[i]; }

  char* buf_;
  size_t pos_ = 0;
  size_t held_pos_ = static_cast<size_t>(-1);
  char held_ = '\0';
};

// Syntax string into `def`. Returns 0 or a parse code.
int32_t parse_definition(std::string& text, cmd_def* def) {
  Scanner sc(text);
  sc.skip_blanks();
  if (sc.peek() == '\0') return kCmdWrongStatement;
  std::string_view verb = sc.name();
  if (verb.empty()) return kCmdSyntaxError;
  sc.skip_blanks();
  if (sc.peek() != ':') return kCmdWrongStatement;
  sc.advance();
  def->verb = upper_name(verb);
  sc.skip_blanks();
  if (is_digit(sc.peek())) {
    int16_t lo = 0;
    if (!sc.count(&lo)) return kCmdSyntaxError;
    int16_t hi = lo;
    if (sc.peek() == '-') {
      sc.advance();
      if (!sc.count(&hi)) return kCmdSyntaxError;
    }
    if (lo > hi || !is_separator(sc.peek())) return kCmdSyntaxError;
    def->min = lo;
    def->max = hi;
  }
  enum { kOutside, kInside, kAfter } where = kOutside;
  for (;;) {
    sc.skip_blanks();
    char c = sc.peek();
    if (c == '\0') break;
    if (c == '(') {
      if (where != kOutside) return kCmdSyntaxError;
      where = kInside;
      sc.advance();
      continue;
    }
    if (c == ')') {
      if (where != kInside) return kCmdSyntaxError;
      where = kAfter;
      sc.advance();
      continue;
    }
    if (where == kAfter) return kCmdSyntaxError;
    std::string_view name = sc.name();
    if (name.empty() || !is_separator(sc.peek())) return kCmdSyntaxError;
    std::vector<std::string>& names = where == kInside ? def->rkeywords : def->keywords;
    if (find_name(names, name) >= 0) return kCmdKeywordTwice;
    names.push_back(upper_name(name));
  }
  return where == kInside ? kCmdSyntaxError : kCmdDone;
}

void help_lines(const CommandSet& set, cmd_msg* msg) {
  set.emit("MONIT", "OK_HELP", {}, msg);
  std::string line;
  int in_line = 0;
  for (size_t i = 0; i < set.size(); ++i) {
    const std::string& verb = set.def(i).verb;
    line += "  ";
    line += verb;
    if (verb.size() < 12) line.append(12 - verb.size(), ' ');
    if (++in_line == 4) {
      set.emit("MONIT", "OK_HELP_MORE", {line}, msg);
      line.clear();
      in_line = 0;
    }
  }
  if (in_line > 0) set.emit("MONIT", "OK_HELP_MORE", {line}, msg);
}

std::string join_names(const std::vector<std::string>& names) {
  std::string out;
  for (const std::string& n : names) {
    if (!out.empty()) out += ' ';
    out += n;
    if (out.size() >= kHelpJoinMax) break;
  }
  if (out.size() > kHelpJoinMax) out.resize(kHelpJoinMax);
  return out;
}

std::string sformat(const char* fmt, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;
std::string sformat(const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  va_list ap2;
  va_copy(ap2, ap);
  int n = std::vsnprintf(nullptr, 0, fmt, ap);
  va_end(ap);
  std::string out;
  if (n > 0) {
    out.resize(static_cast<size_t>(n));
    std::vsnprintf(out.data(), out.size() + 1, fmt, ap2);
  }
  va_end(ap2);
  return out;
}

// The built-in HELP handler.
int32_t help(const cmd_args& args, cmd_msg* msg) {
  const CommandSet& set = args.set();
  if (args.positional_count() == 0) {
    help_lines(set, msg);
    return 0;
  }
  const char* verb = args.positional(0);
  const cmd_def* def = set.find(verb);
  if (def == nullptr) {
    set.print(sformat("Unknown command: %s\n", verb));
    return kCmdUnknownVerb;
  }
  std::string range =
      def->min == def->max ? sformat("%hd", def->min) : sformat("%hd - %hd", def->min, def->max);
  set.emit("MONIT", "OK_HELP_CMD", {def->verb, range}, msg);
  set.emit("MONIT", "OK_HELP_PARM", {join_names(def->keywords)}, msg);
  set.emit("MONIT", "OK_HELP_RPARM", {join_names(def->rkeywords)}, msg);
  std::string out = sformat("\n *** %s *** expects %hd to %hd positional parameters \n",
                            def->verb.c_str(), def->min, def->max);
  out += "--- non-repeatable keyword parameters ---\n";
  for (const std::string& k : def->keywords) out += "  " + k;
  out += "\n";
  out += "----- repeatable keyword parameters -----\n";
  for (const std::string& k : def->rkeywords) out += "  " + k;
  out += "\n";
  set.print(out);
  return 0;
}

// Plain rendering of HELP's messages for a set without a message catalogue.
std::string render_message(const char* key, const std::vector<std::string>& args) {
  auto arg = [&](size_t i) { return i < args.size() ? args[i] : std::string(); };
  std::string k = key;
  if (k == "OK_HELP") return "Commands:";
  if (k == "OK_HELP_MORE") return arg(0);
  if (k == "OK_HELP_CMD") return arg(0) + " expects " + arg(1) + " positional parameters";
  if (k == "OK_HELP_PARM") return "Keywords: " + arg(0);
  if (k == "OK_HELP_RPARM") return "Repeatable keywords: " + arg(0);
  std::string out = k;
  for (const std::string& a : args) out += " " + a;
  return out;
}

}  // namespace

// The command line parser: fills one cmd_args from its line.
class CmdLineParser {
 public:
  CmdLineParser(const CommandSet& set, cmd_args* args) : set_(set), args_(args) {}

  int32_t run() {
    Scanner sc(args_->line_);
    sc.skip_blanks();
    if (sc.peek() == '\0') return kEmptyLine;
    std::string_view verb = sc.name();
    if (verb.empty()) return fail(sc, kCmdSyntaxError);
    sc.skip_blanks();
    if (sc.peek() == ':') return fail(sc, kCmdWrongStatement);
    const cmd_def* def = set_.find(verb);
    if (def == nullptr) return fail(sc, kCmdUnknownVerb);
    args_->def_ = def;
    args_->keywords_ = cmd_table(&def->keywords);
    args_->positional_.reserve(static_cast<size_t>(def->max < 128 ? def->max : 128));

    cmd_table* table = &args_->keywords_;
    bool in_group = false;
    for (;;) {
      sc.skip_blanks();
      char c = sc.peek();
      if (c == '\0') break;
      if (c == '(') {
        if (in_group) return fail(sc, kCmdSyntaxError);
        args_->groups_.emplace_back(&def->rkeywords);
        table = &args_->groups_.back();
        in_group = true;
        sc.advance();
      } else if (c == ')') {
        if (!in_group) return fail(sc, kCmdSyntaxError);
        table = &args_->keywords_;
        in_group = false;
        sc.advance();
      } else if (c == '/') {
        if (in_group) return fail(sc, kCmdSyntaxError);
        sc.advance();
        bool quoted = false;
        char* v = sc.value(&quoted);
        if (v == nullptr) return fail(sc, kCmdSyntaxError);
        if (args_->positional_count() >= def->max) return fail(sc, kCmdTooManyPositional);
        args_->positional_.push_back(v);
      } else {
        size_t start = sc.pos();
        std::string_view name = sc.name();
        if (name.empty() || sc.peek() != '=') return fail(sc, kCmdSyntaxError);
        sc.advance();
        bool quoted = false;
        char* v = sc.value(&quoted);
        if (v == nullptr) return fail(sc, kCmdSyntaxError);
        int i = find_name(*table->names_, name);
        if (i >= 0) {
          if (table->values_[i] != nullptr) return fail(sc, kCmdKeywordTwice);
          table->values_[i] = v;
        } else if (!in_group && args_->positional_count() < def->max) {
          // NAME=value as one positional text; a quoted value is moved over its quote.
          char* text = sc.at_ptr(start);
          if (quoted) {
            size_t n = std::strlen(v);
            char* dst = text + name.size() + 1;
            std::memmove(dst, v, n);
            dst[n] = '\0';
          }
          args_->positional_.push_back(text);
        } else {
          return fail(sc, kCmdKeywordNotAllowed);
        }
      }
    }
    if (in_group) return fail(sc, kCmdSyntaxError);
    if (args_->positional_count() < def->min) return fail(sc, kCmdTooFewPositional);
    return kCmdDone;
  }

 private:
  int32_t fail(const Scanner& sc, int32_t rc) {
    KYT_TRACE(kModule, kTopic, kLevel, "rpxcie (): parse code %d at offset %lu", rc,
              static_cast<unsigned long>(sc.pos()));
    return rc;
  }

  const CommandSet& set_;
  cmd_args* args_;
};

void cmd_msg_set(cmd_msg* msg, char severity, std::string_view text) {
  if (msg == nullptr) return;
  int16_t cap = msg->capacity;
  if (cap < 0 || cap > cmd_msg::kCapacity) cap = cmd_msg::kCapacity;
  size_t n = text.size() < static_cast<size_t>(cap) ? text.size() : static_cast<size_t>(cap);
  std::memcpy(msg->text, text.data(), n);
  msg->text[n] = '\0';
  msg->length = static_cast<int16_t>(n);
  msg->severity = severity;
}

void cmd_msg_format(cmd_msg* msg, char severity, const char* format, ...) {
  char buf[cmd_msg::kCapacity + 1];
  va_list ap;
  va_start(ap, format);
  int n = std::vsnprintf(buf, sizeof buf, format, ap);
  va_end(ap);
  if (n < 0) n = 0;
  size_t len = static_cast<size_t>(n) < sizeof buf - 1 ? static_cast<size_t>(n) : sizeof buf - 1;
  cmd_msg_set(msg, severity, std::string_view(buf, len));
}

const char* cmd_table::find(std::string_view keyword) const {
  if (names_ == nullptr) return nullptr;
  int i = find_name(*names_, keyword);
  return i < 0 ? nullptr : values_[static_cast<size_t>(i)];
}

CommandSet::CommandSet() = default;
CommandSet::CommandSet(CommandSet&&) noexcept = default;
CommandSet& CommandSet::operator=(CommandSet&&) noexcept = default;
CommandSet::~CommandSet() = default;

const cmd_def* CommandSet::find(std::string_view verb) const {
  for (const auto& d : defs_) {
    if (same_name(d->verb, verb)) return d.get();
  }
  return nullptr;
}

void CommandSet::set_message_fn(cmd_message_fn fn) {
  message_fn_ = std::move(fn);
}
void CommandSet::set_print_fn(cmd_print_fn fn) {
  print_fn_ = std::move(fn);
}

void CommandSet::emit(const char* group, const char* key, const std::vector<std::string>& args,
                      cmd_msg* msg) const {
  if (message_fn_) {
    message_fn_(group, key, args, msg);
  } else {
    cmd_msg_set(msg, 'I', render_message(key, args));
  }
}

void CommandSet::print(std::string_view text) const {
  if (print_fn_) {
    print_fn_(text);
  } else {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
  }
}

int32_t rpxcid(CommandSet& set, std::string_view syntax, cmd_handler handler) {
  try {
    if (set.defs_.empty()) {
      auto help_def = std::make_unique<cmd_def>();
      std::string help_text = "HELP:0-1";
      if (parse_definition(help_text, help_def.get()) != kCmdDone) return kCmdSyntaxError;
      help_def->handler = help;
      set.defs_.push_back(std::move(help_def));
    }
    std::string text = scan_copy(syntax);
    auto def = std::make_unique<cmd_def>();
    int32_t rc = parse_definition(text, def.get());
    if (rc == kCmdDone && set.find(def->verb) != nullptr) rc = kCmdKeywordTwice;
    if (rc != kCmdDone) {
      if (rc == kCmdSyntaxError) set.error_text_ = "syntax error";
      KYT_TRACE(kModule, kTopic, kLevel, "rpxcid (def '%s') returns %d", text.c_str(), rc);
      return rc;
    }
    def->handler = std::move(handler);
    set.defs_.push_back(std::move(def));
    return kCmdDone;
  } catch (const std::exception&) {
    set.error_text_ = "out of memory";
    KYT_TRACE(kModule, kTopic, 1, "rpxcid : out of memory");
    return kCmdSyntaxError;
  }
}

int32_t rpxcid(CommandSet& set, const char* syntax, cmd_handler handler) {
  return rpxcid(set, syntax == nullptr ? std::string_view() : std::string_view(syntax),
                std::move(handler));
}

std::string cmd_line_masked(std::string_view line) {
  static constexpr std::string_view kSecrets[] = {"PASSWORD", "PSWFROM", "PSWTO", "NETPSW"};
  auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f'; };
  std::string out;
  out.reserve(line.size());
  size_t i = 0;
  while (i < line.size()) {
    const bool token_start = i == 0 || blank(line[i - 1]) || line[i - 1] == '(';
    bool masked = false;
    if (token_start) {
      for (std::string_view key : kSecrets) {
        if (line.size() - i <= key.size() || line[i + key.size()] != '=') continue;
        bool same = true;
        for (size_t k = 0; k < key.size() && same; ++k) {
          same = std::toupper(static_cast<unsigned char>(line[i + k])) == key[k];
        }
        if (!same) continue;
        out.append(line.substr(i, key.size() + 1));
        const size_t value = i + key.size() + 1;
        size_t j = value;
        if (j < line.size() && (line[j] == '"' || line[j] == '\'')) {
          const size_t close = line.find(line[j], j + 1);
          j = close == std::string_view::npos ? line.size() : close + 1;
        } else {
          while (j < line.size() && !blank(line[j]) && line[j] != '(' && line[j] != ')') ++j;
        }
        if (j > value) out += '*';
        i = j;
        masked = true;
        break;
      }
    }
    if (!masked) out += line[i++];
  }
  return out;
}

int32_t rpxcie(CommandSet& set, std::string_view line, cmd_msg* msg) {
  DepthGuard depth;
  int32_t rc;
  // The parsed command outlives the handler call; its texts point into its own line copy.
  std::unique_ptr<cmd_args> args;
  try {
    std::string text = scan_copy(line);
    KYT_TRACE(kModule, kTopic, kLevel, "rpxcie (cmd '%s') entered.",
              cmd_line_masked(text).c_str());
    if (g_depth > kMaxDepth) {
      set.error_text_ = "nesting too deep";
      KYT_TRACE(kModule, kTopic, 1, "rpxcie (): nesting depth %d refused", g_depth);
      return kCmdSyntaxError;
    }
    args = std::make_unique<cmd_args>(&set, std::move(text));
    rc = CmdLineParser(set, args.get()).run();
  } catch (const std::exception&) {
    set.error_text_ = "out of memory";
    KYT_TRACE(kModule, kTopic, 1, "rpxcie : out of memory");
    return kCmdSyntaxError;
  }
  if (rc == kEmptyLine) return kCmdDone;
  if (rc != kCmdDone) {
    if (rc == kCmdSyntaxError) set.error_text_ = "syntax error";
    return rc;
  }
  const cmd_def& def = args->def();
  if (!def.handler) return kCmdDone;
  cmd_msg scratch;
  if (msg == nullptr) msg = &scratch;
  KYT_TRACE(kModule, kTopic, kLevel, "rpxcie (): invoke command function.");
  rc = def.handler(*args, msg);
  KYT_TRACE(kModule, kTopic, kLevel, "rpxcie (): command returned %d'.", rc);
  return rc;
}

int32_t rpxcie(CommandSet& set, const char* line, cmd_msg* msg) {
  return rpxcie(set, line == nullptr ? std::string_view() : std::string_view(line), msg);
}

int32_t rpxcie_apart(CommandSet& set, std::string_view line, cmd_msg* msg) {
  // Restores the count of the calls in progress however the call returns.
  class Apart {
   public:
    Apart() : saved_(g_depth) { g_depth = 0; }
    ~Apart() { g_depth = saved_; }
    Apart(const Apart&) = delete;
    Apart& operator=(const Apart&) = delete;

   private:
    int saved_;
  } apart;
  return rpxcie(set, line, msg);
}

}  // namespace kyt
