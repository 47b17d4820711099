// kytadm sql: a shell for the station's SQL subset, in the manner of the sqlite3 shell.
//
// Statements come from the arguments or from standard input and run as soon as their ";"
// is read (outside single quotes), so the shell works at a terminal and in a pipe that waits.
// At a terminal it shows a prompt and goes on after an error; otherwise the first error ends
// the run. Lines beginning with "." between statements are the shell's own commands.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "kyt/kyt.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "sql/sql.h"
#include "kytadm.h"

namespace kytadm {

namespace {

// The statement buffer of rpdsql holds 4095 characters.
constexpr size_t kMaxStatement = 4095;

// A statement as read: its text from just after the previous ";" (blanks included, so that
// offsets of the SQL layer map to lines), its number among the statements, and where its
// text begins in the input.
struct Statement {
  std::string text;
  int number = 0;
  int line = 1;    // of the text's first byte
  int column = 1;
};

// Splits input at ";" outside single quotes, keeping track of lines and columns.
class Splitter {
 public:
  // Adds one byte; true when it ended a statement (which `take` then hands out).
  bool add(char c) {
    if (cur_.empty()) {
      start_line_ = line_;
      start_column_ = column_;
    }
    if (c == '\n') {
      ++line_;
      column_ = 1;
    } else {
      ++column_;
    }
    if (c == '\'') quoted_ = !quoted_;
    if (c == ';' && !quoted_) {
      done_ = true;
      return true;
    }
    cur_.push_back(c);
    return false;
  }
  bool blank() const { return cur_.find_first_not_of(" \t\r\n") == std::string::npos; }
  // The statement read so far (complete or not); empty statements give nullopt.
  std::optional<Statement> take() {
    std::optional<Statement> s;
    if (!blank()) {
      s.emplace();
      s->text = std::move(cur_);
      s->line = start_line_;
      s->column = start_column_;
    }
    cur_.clear();
    done_ = false;
    if (!s) {
      // The blanks before an empty statement are not part of the next one.
      start_line_ = line_;
      start_column_ = column_;
    }
    return s;
  }
  void skip_line() {  // a shell command line: counted, not kept
    ++line_;
    column_ = 1;
  }

 private:
  std::string cur_;
  bool quoted_ = false;
  bool done_ = false;
  int line_ = 1, column_ = 1, start_line_ = 1, start_column_ = 1;
};

std::string upper(std::string s) {
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

std::string trimmed(const std::string& s) {
  const size_t a = s.find_first_not_of(" \t\r\n");
  if (a == std::string::npos) return {};
  const size_t b = s.find_last_not_of(" \t\r\n");
  return s.substr(a, b - a + 1);
}

// The statement for a message: blanks run together, at most 50 characters.
std::string shortened(const std::string& s) {
  std::string out;
  for (char c : trimmed(s)) {
    const bool blank = c == ' ' || c == '\t' || c == '\r' || c == '\n';
    if (blank && !out.empty() && out.back() == ' ') continue;
    out.push_back(blank ? ' ' : c);
  }
  if (out.size() > 50) out = out.substr(0, 47) + "...";
  return out;
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

// The words of a failed statement: what, where, and the status.
void report(const Statement& st, int32_t rc) {
  const kyt::SqlDetail& d = kyt::sql_detail();
  std::string what;
  if (rc == kyt::RC_INTERNAL_ERROR && st.text.size() > kMaxStatement) {
    what = "statement longer than " + std::to_string(kMaxStatement) + " characters (99)";
  } else if (d.position >= 0 && static_cast<size_t>(d.position) <= st.text.size()) {
    // Where reading stopped, as a line and column of the input.
    int line = st.line, column = st.column;
    for (size_t i = 0; i < static_cast<size_t>(d.position); ++i) {
      if (st.text[i] == '\n') {
        ++line;
        column = 1;
      } else {
        ++column;
      }
    }
    // Both parsers' syntax codes are the same mistake for the person reading.
    const bool syntax = rc == kyt::LPDBI_E_SYNTAX || rc == kyt::DBI_E_SYNTAX;
    what = syntax ? "syntax error" : status_meaning(rc);
    what += d.token.empty() ? " at the end of the statement" : " at '" + d.token + "'";
    what += " (line " + std::to_string(line) + ", column " + std::to_string(column) + ")";
    if (!syntax) what += " (" + std::to_string(rc) + ")";
  } else {
    if (!d.table.empty()) what = "table " + d.table + ": ";
    if (!d.column.empty() && rc == kyt::DBI_E_INV_COL_NAM) {
      what += "no column " + d.column + " in the table";
    } else if (!d.reason.empty() && rc == kyt::DBI_E_TABERR) {
      what += d.reason;
    } else {
      what += status_meaning(rc);
      if (!d.reason.empty()) what += ": " + d.reason;
    }
    what += " (" + std::to_string(rc) + ")";
  }
  std::fprintf(stderr, "kytadm sql: statement %d \"%s\": %s\n", st.number,
               shortened(st.text).c_str(), what.c_str());
}

int32_t open_db() {
  const int32_t rc = kyt::rpdsql_run("OPEN DB");
  return rc;
}

// A column as the catalogue describes it.
struct Column {
  std::string name;
  int16_t type = 0, width = 0, not_null = 0, key = 0, number = 0;
};

// Runs a SELECT as a cursor and hands each row to `row`.
template <class F>
int32_t each_row(const std::string& text, F row, std::vector<std::string>* names = nullptr) {
  int32_t rc = open_db();
  if (rc != 0) return rc;
  int32_t id = -1;
  rc = kyt::isa801_alloc_cursor(&id);
  if (rc != 0) return rc;
  rc = kyt::isa201_prepare_stat(id, text);
  if (rc == 0 && names != nullptr) *names = kyt::isa_column_names(id);
  if (rc == 0) rc = kyt::isa950_put_input(id, {});
  if (rc == 0) rc = kyt::isa203_open_cursor(id);
  std::vector<std::optional<std::string>> values;
  while (rc == 0 && (rc = kyt::isa_fetch_texts(id, &values)) == 0) row(values);
  kyt::isa805_set_cursor_frei(id);
  return rc == kyt::DBI_W_END_FETCH ? 0 : rc;
}

int16_t small(const std::optional<std::string>& v) {
  return v ? static_cast<int16_t>(std::atoi(v->c_str())) : 0;
}

std::string quote(const std::string& s) {
  std::string q = "'";
  for (char c : s) {
    q.push_back(c);
    if (c == '\'') q.push_back('\'');
  }
  return q + "'";
}

// The catalogue's tables (creator, name) and the columns of one, in declaration order.
int32_t catalogue_tables(std::vector<std::pair<std::string, std::string>>* out) {
  out->clear();
  int32_t rc = each_row("SELECT CREATOR, TNAME FROM SYSTEM.SYSCATLG", [&](const auto& v) {
    out->emplace_back(v[0].value_or(""), v[1].value_or(""));
  });
  std::sort(out->begin(), out->end(),
            [](const auto& a, const auto& b) { return a.second < b.second; });
  return rc;
}

int32_t table_columns(const std::string& table, std::vector<Column>* out) {
  out->clear();
  std::string creator, name = upper(table);
  if (const size_t dot = name.find('.'); dot != std::string::npos) {
    creator = name.substr(0, dot);
    name = name.substr(dot + 1);
  }
  std::string text =
      "SELECT CNAME, COLTYPE, COLNO, LENGTH, NULLS, PRIMKEY FROM SYSTEM.SYSCOLS WHERE TNAME = " +
      quote(name);
  if (!creator.empty()) text += " AND CREATOR = " + quote(creator);
  int32_t rc = each_row(text, [&](const auto& v) {
    Column c;
    c.name = v[0].value_or("");
    c.type = small(v[1]);
    c.number = small(v[2]);
    c.width = small(v[3]);
    c.not_null = small(v[4]) == 0;
    c.key = small(v[5]);
    out->push_back(c);
  });
  std::sort(out->begin(), out->end(), [](const Column& a, const Column& b) { return a.number < b.number; });
  return rc;
}

// The table a SELECT reads, by its words: SELECT ... FROM table (outside quotes).
std::string select_table(const std::string& s) {
  const std::string u = upper(s);
  auto word_char = [&](size_t i) {
    return i < u.size() && (std::isalnum(static_cast<unsigned char>(u[i])) || u[i] == '_' || u[i] == '.');
  };
  bool quoted = false;
  for (size_t i = 0; i + 4 <= u.size(); ++i) {
    if (u[i] == '\'') quoted = !quoted;
    if (quoted || u.compare(i, 4, "FROM") != 0 || (i > 0 && word_char(i - 1)) || word_char(i + 4)) continue;
    size_t a = u.find_first_not_of(" \t\r\n", i + 4);
    if (a == std::string::npos) return {};
    size_t b = a;
    while (word_char(b)) ++b;
    return u.substr(a, b - a);
  }
  return {};
}

bool is_select(const std::string& s) {
  const std::string t = upper(trimmed(s));
  return t.rfind("SELECT", 0) == 0 && (t.size() == 6 || !std::isalnum(static_cast<unsigned char>(t[6])));
}

// Whether the select list is "*".
bool has_star(const std::string& s) {
  const size_t p = s.find_first_not_of(" \t\r\n");
  const size_t star = s.find_first_not_of(" \t\r\n", p + 6);
  return star != std::string::npos && s[star] == '*';
}

// "SELECT * FROM T ..." with the columns of T in declaration order in place of "*".
std::string expand_star(const std::string& s, const std::vector<Column>& cols) {
  if (!has_star(s) || cols.empty()) return s;
  const size_t star = s.find_first_not_of(" \t\r\n", s.find_first_not_of(" \t\r\n") + 6);
  std::string list;
  for (const Column& c : cols) list += (list.empty() ? "" : ", ") + c.name;
  return s.substr(0, star) + list + s.substr(star + 1);
}

// A stored floating value in plain decimal: "1.5", "-0.25", "100000"; the shortest text that
// reads back as the same value. Very large or very small magnitudes keep an exponent.
std::string plain_float(const std::string& stored) {
  char* end = nullptr;
  const double v = std::strtod(stored.c_str(), &end);
  if (end == stored.c_str()) return stored;
  const double m = v < 0 ? -v : v;
  char buf[400];
  const auto format = (m == 0 || (m >= 1e-6 && m < 1e16)) ? std::chars_format::fixed
                                                           : std::chars_format::general;
  const auto r = std::to_chars(buf, buf + sizeof buf, v, format);
  if (r.ec != std::errc()) return stored;
  return std::string(buf, r.ptr);
}

int32_t run_select(const Statement& st) {
  std::vector<Column> cols;
  const std::string table = select_table(st.text);
  if (!table.empty()) {
    const int32_t rc = table_columns(table, &cols);
    if (rc != 0 && rc != kyt::DBI_E_TABERR) return rc;
  }
  const std::string text = expand_star(st.text, cols);
  kyt::sql_detail_clear();
  kyt::sql_detail().table = table;
  if (text == st.text && cols.empty() && !table.empty() && has_star(st.text)) {
    // "*" stands for the columns of a table the catalogue does not know.
    kyt::sql_detail().reason = "no such table";
    return kyt::DBI_E_TABERR;
  }
  std::vector<std::string> names;
  std::vector<bool> floating;
  bool first = true;
  return each_row(
      text,
      [&](const std::vector<std::optional<std::string>>& row) {
        if (first) {
          for (const std::string& n : names) {
            bool f = false;
            for (const Column& c : cols) f = f || (c.name == n && c.type == kyt::kTypeFloat);
            floating.push_back(f);
          }
          first = false;
        }
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
          if (i > 0) line.push_back('|');
          if (row[i]) line += i < floating.size() && floating[i] ? plain_float(*row[i]) : *row[i];
        }
        line.push_back('\n');
        std::fwrite(line.data(), 1, line.size(), stdout);
      },
      &names);
}

// ".tables", ".schema [TABLE]", ".help", ".quit"; false for ".quit".
bool shell_command(const std::string& line, int* status) {
  std::vector<std::string> words;
  for (size_t i = 0; i < line.size();) {
    const size_t a = line.find_first_not_of(" \t\r\n", i);
    if (a == std::string::npos) break;
    const size_t b = std::min(line.find_first_of(" \t\r\n", a), line.size());
    words.push_back(line.substr(a, b - a));
    i = b;
  }
  const std::string cmd = words.empty() ? "" : words[0];
  int32_t rc = 0;
  if (cmd == ".quit" || cmd == ".exit") return false;
  if (cmd == ".help") {
    std::printf(".tables          the tables of the database\n"
                ".schema [TABLE]  the CREATE statements of every table, or of one\n"
                ".quit            ends the shell\n");
  } else if (cmd == ".tables") {
    std::vector<std::pair<std::string, std::string>> tables;
    rc = catalogue_tables(&tables);
    for (const auto& t : tables) {
      if (t.first != kyt::kSystemCreator) std::printf("%s\n", t.second.c_str());
    }
  } else if (cmd == ".schema") {
    std::vector<std::pair<std::string, std::string>> tables;
    rc = catalogue_tables(&tables);
    bool found = false;
    for (size_t i = 0; rc == 0 && i < tables.size(); ++i) {
      const std::string& name = tables[i].second;
      if (words.size() > 1 ? upper(words[1]) != name : tables[i].first == kyt::kSystemCreator) continue;
      found = true;
      std::vector<Column> cols;
      rc = table_columns(tables[i].first + "." + name, &cols);
      std::vector<kyt::COLDEF> defs;
      for (const Column& c : cols) defs.push_back({c.name.c_str(), c.type, c.width, c.not_null, c.key});
      const kyt::SchemaTable t{tables[i].first.c_str(), name.c_str(), defs, {}};
      std::printf("%s;\n", kyt::create_table_text(t).c_str());
      for (const std::string& ix : kyt::create_index_texts(t)) std::printf("%s;\n", ix.c_str());
    }
    if (rc == 0 && !found && words.size() > 1) {
      std::fprintf(stderr, "kytadm sql: .schema: no table %s\n", words[1].c_str());
      *status = kExitFailed;
    }
  } else {
    std::fprintf(stderr, "kytadm sql: unknown command '%s' (.help lists them)\n", cmd.c_str());
    *status = kExitFailed;
    return true;
  }
  std::fflush(stdout);
  if (rc != 0) {
    std::fprintf(stderr, "kytadm sql: %s: %s (%ld)\n", cmd.c_str(), status_meaning(rc), static_cast<long>(rc));
    *status = kExitFailed;
  }
  return true;
}

// Runs one statement; false when it failed.
bool run_statement(const Statement& st) {
  const int32_t rc = is_select(st.text) ? run_select(st) : kyt::rpdsql_run(st.text);
  std::fflush(stdout);
  if (rc == 0) return true;
  report(st, rc);
  return false;
}

}  // namespace

int run_sql(const Args& args) {
  if (read_environment(args) != 0) return kExitUsage;
  // KYTLISTCURSOR=1: a SELECT reads its rows before it prints them and gives the table back,
  // so that a slow reader of the output (a pager) holds no table against the station.
  if (kytcalSetListCursor() != 0) {
    std::string value;
    kyt::platform::get_env("KYTLISTCURSOR", &value);
    std::fprintf(stderr, "kytadm sql: KYTLISTCURSOR=%s is no cursor mode (1 or 2)\n",
                 value.c_str());
    return kExitUsage;
  }
  if (args.has("--create")) {
    const std::string dir = database_directory();
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (ec || dir.empty()) {
      std::fprintf(stderr, "kytadm sql: cannot make the database directory '%s'\n", dir.c_str());
      return kExitFailed;
    }
    int32_t r = open_db();
    if (r == 0) r = kyt::isa_create_catalogue();
    if (r != 0) {
      std::fprintf(stderr, "kytadm sql: --create: %s (%ld)\n", status_meaning(r), static_cast<long>(r));
      return kExitFailed;
    }
  }
  int status = kExitOk;
  int number = 0;
  // Statements run in order; false ends the input.
  const bool terminal = args.operands.empty() && kyt::platform::stdin_is_terminal();
  auto run = [&](std::optional<Statement> st) {
    if (!st) return true;  // an empty statement (";;") is nothing
    st->number = ++number;
    if (run_statement(*st)) return true;
    status = kExitFailed;
    return terminal;  // at a terminal one goes on after an error
  };
  if (!args.operands.empty()) {
    // Each argument is split as standard input is, so "a; b" and ";;" read alike.
    for (const std::string& a : args.operands) {
      if (trimmed(a).rfind('.', 0) == 0) {
        if (!shell_command(trimmed(a), &status) || status != kExitOk) break;
        continue;
      }
      Splitter sp;
      bool go = true;
      for (char c : a) {
        if (sp.add(c) && !(go = run(sp.take()))) break;
      }
      if (!go || !run(sp.take())) break;
    }
  } else {
    Splitter sp;
    bool go = true;
    std::string line;
    while (go) {
      if (terminal) {
        std::fputs(sp.blank() ? "kytadm> " : "   ...> ", stdout);
        std::fflush(stdout);
      }
      line.clear();
      int c = 0;
      while ((c = std::getchar()) != EOF && c != '\n') line.push_back(static_cast<char>(c));
      if (c == EOF && line.empty()) break;
      if (sp.blank() && trimmed(line).rfind('.', 0) == 0) {
        sp.take();
        sp.skip_line();
        const int before = status;
        if (!shell_command(trimmed(line), &status)) break;
        if (!terminal && status != before) break;
        continue;
      }
      line.push_back('\n');
      for (char ch : line) {
        if (sp.add(ch) && !(go = run(sp.take()))) break;
      }
      if (c == EOF) break;
    }
    if (go) run(sp.take());  // the last statement needs no ";"
    if (terminal) std::fputs("\n", stdout);
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

}  // namespace kytadm
