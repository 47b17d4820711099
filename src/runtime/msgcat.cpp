// msgcat: built-in texts, catalogue files and the rendering of messages.
#include "runtime/msgcat.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <new>
#include <string>
#include <unordered_map>

#include "platform/platform.h"
#include "runtime/lpdsn.h"
#include "runtime/trace.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "m";
constexpr int64_t kMaxCatalogueBytes = 1 << 20;

// Groups: DBADM the database administration (create, load, dump, delete); MONIT the
// monitor's operator commands and HELP; UTILS the command entry and shared services; XMT the
// transmitter control.
constexpr MsgDef kBuiltin[] = {
    // Creating a database.
    {"CREATING_DATABASE", "DBADM", 'I', "Creating database %1", "Datenbank %1 wird angelegt"},
    {"DATABASE_CREATED", "DBADM", 'I', "Database %1 created", "Datenbank %1 angelegt"},
    {"CREATING_TABLES", "DBADM", 'I', "Creating tables", "Tabellen werden angelegt"},
    {"TABLES_CREATED", "DBADM", 'I', "Tables created", "Tabellen angelegt"},
    {"INIT_PARMS", "DBADM", 'I', "Initialising parameters", "Parameter werden initialisiert"},
    {"INIT_TABLES", "DBADM", 'I', "Initialising station tables",
     "Stationstabellen werden initialisiert"},
    {"INIT_DONE", "DBADM", 'I', "Database initialisation done",
     "Initialisierung der Datenbank beendet"},
    {"UNDEFINED_LID", "DBADM", 'E', "The station's own identifier (LID) is not defined",
     "Die eigene Stationskennung (LID) ist nicht definiert"},
    {"NO_ENV_DATASET", "DBADM", 'E', "Environment file %1 cannot be read",
     "Umgebungsdatei %1 kann nicht gelesen werden"},
    // Loading a dump.
    {"RECOVER_DATABASE", "DBADM", 'I', "Recovering database %1 from %2",
     "Datenbank %1 wird aus %2 wiederhergestellt"},
    {"RECOVER_DONE", "DBADM", 'I', "Database recovered from %1",
     "Datenbank aus %1 wiederhergestellt"},
    {"RECOVER_FAILED", "DBADM", 'E', "Recovery of the database failed (rc = %1)",
     "Wiederherstellung der Datenbank fehlgeschlagen (rc = %1)"},
    {"RECOVER_ERROR", "DBADM", 'E', "Error in line %1 of %2: %3",
     "Fehler in Zeile %1 von %2: %3"},
    {"DATASET_NOT_EXIST", "DBADM", 'E', "File %1 does not exist", "Datei %1 existiert nicht"},
    {"RPXCIE_FAILED", "DBADM", 'E', "Line could not be processed (rc = %2): %1",
     "Zeile konnte nicht verarbeitet werden (rc = %2): %1"},
    {"SYNTAX_ERROR", "DBADM", 'E', "Syntax error: %1", "Syntaxfehler: %1"},
    {"INVALID_CMD", "DBADM", 'E', "Invalid command: %1", "Ungültiger Befehl: %1"},
    {"INVALID_COLNAME", "DBADM", 'E', "Column %1 is not defined for table %2",
     "Spalte %1 ist für Tabelle %2 nicht definiert"},
    {"PARM_USED_TWICE", "DBADM", 'E', "Parameter %1 given twice", "Parameter %1 doppelt angegeben"},
    {"INVALID_INPUT", "DBADM", 'E', "Invalid input: %1", "Ungültige Eingabe: %1"},
    // Dumps.
    {"DUMP_DONE", "DBADM", 'I', "Dump finished", "Sicherung beendet"},
    {"DUMP_WRITTEN", "DBADM", 'I', "Dump written to %1", "Sicherung nach %1 geschrieben"},
    {"DUMP_TABLE", "DBADM", 'I', "Dumping table %1", "Tabelle %1 wird gesichert"},
    {"TABLE_WRITTEN", "DBADM", 'I', "Table %1 written", "Tabelle %1 geschrieben"},
    {"DUMP_RU_WRITTEN", "DBADM", 'I', "Resident receive entries and users written to %1",
     "Residente Empfangseinträge und Benutzer nach %1 geschrieben"},
    // Deleting a database.
    {"DBDEL", "DBADM", 'I', "Deleting database %1", "Datenbank %1 wird gelöscht"},
    {"NO_DB", "DBADM", 'W', "Database directory %1 does not exist",
     "Datenbankverzeichnis %1 existiert nicht"},
    {"DEL_DB", "DBADM", 'I', "Database files in %1 deleted", "Datenbankdateien in %1 gelöscht"},
    {"DEL_LOG", "DBADM", 'I', "Log files in %1 deleted", "Protokolldateien in %1 gelöscht"},
    {"NO_TEMP", "DBADM", 'W', "Temporary directory %1 does not exist",
     "Temporäres Verzeichnis %1 existiert nicht"},
    {"DEL_TEMP", "DBADM", 'I', "Temporary files in %1 deleted",
     "Temporäre Dateien in %1 gelöscht"},
    {"SYS_CMD", "DBADM", 'I', "System command: %1", "Systembefehl: %1"},
    {"DBDEL_ACTIVE", "DBADM", 'E', "Database %1 not deleted: station process %2 is running",
     "Datenbank %1 nicht gelöscht: Stationsprozess %2 läuft"},
    // Operator commands and HELP.
    {"OK_READ", "MONIT", 'I', "Command read: %1", "Befehl gelesen: %1"},
    {"OK_INVALID_SYNTAX", "MONIT", 'E', "Command refused (rc = %2): %1",
     "Befehl abgewiesen (rc = %2): %1"},
    {"OK_HELP", "MONIT", 'I', "Commands:", "Befehle:"},
    {"OK_HELP_MORE", "MONIT", 'I', "%1", "%1"},
    {"OK_HELP_CMD", "MONIT", 'I', "%1 expects %2 positional parameters",
     "%1 erwartet %2 Positionsparameter"},
    {"OK_HELP_PARM", "MONIT", 'I', "Keywords: %1", "Schlüsselwörter: %1"},
    {"OK_HELP_RPARM", "MONIT", 'I', "Repeatable keywords: %1", "Wiederholbare Schlüsselwörter: %1"},
    // Command entry and shared services.
    {"CMD_EXECUTED", "UTILS", 'I', "Command executed: %1", "Befehl ausgeführt: %1"},
    {"CMD_ERROR", "UTILS", 'E', "Command failed (rc = %2): %1",
     "Befehl fehlgeschlagen (rc = %2): %1"},
    {"FUNCTION_FAILED", "UTILS", 'E', "%1 failed (rc = %2)", "%1 fehlgeschlagen (rc = %2)"},
    {"PARM_UNAVAILABLE", "UTILS", 'E', "Parameter %1 is not available",
     "Parameter %1 ist nicht verfügbar"},
    // Transmitter control.
    {"XMT_ACTIVE", "XMT", 'W', "The transmitter is already running",
     "Der Transmitter läuft bereits"},
    {"XMT_START", "XMT", 'I', "The transmitter has been started",
     "Der Transmitter wurde gestartet"},
    {"XMT_STOPPED", "XMT", 'W', "The transmitter has been stopped",
     "Der Transmitter wurde angehalten"},
};

struct Entry {
  std::string group;
  char severity = 'I';
  std::string text;
};

struct Catalogue {
  MsgCatalogueInfo info;
  std::unordered_map<std::string, Entry> entries;
};

struct State {
  std::map<char, Catalogue> loaded;  // by language letter
};

State& st() {
  static State s;
  return s;
}

bool is_blank(char c) { return c == ' ' || c == '\t'; }
bool is_upper(char c) { return c >= 'A' && c <= 'Z'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_severity(char c) { return c == 'I' || c == 'W' || c == 'E'; }

// A name of upper-case letters, digits and "_" beginning with a letter, at most `max` long.
bool is_name(std::string_view s, size_t max) {
  if (s.empty() || s.size() > max || !is_upper(s[0])) return false;
  return std::all_of(s.begin(), s.end(), [](char c) { return is_upper(c) || is_digit(c) || c == '_'; });
}

const MsgDef* find_builtin(std::string_view key) {
  for (const MsgDef& d : kBuiltin)
    if (key == d.key) return &d;
  return nullptr;
}

// Fills the "%[-][width][.prec]s" conversions of the file part of a dataset name with the
// given texts in turn; "%%" is "%"; any other byte, and the directory, stay as they are.
std::string complete_strings(const std::string& name, std::initializer_list<std::string_view> values) {
  const size_t sep = name.find_last_of("/\\");
  const size_t start = sep == std::string::npos ? 0 : sep + 1;
  std::string out = name.substr(0, start);
  auto next = values.begin();
  for (size_t i = start; i < name.size();) {
    if (name[i] != '%') {
      out += name[i++];
      continue;
    }
    if (i + 1 < name.size() && name[i + 1] == '%') {
      out += '%';
      i += 2;
      continue;
    }
    size_t j = i + 1;
    while (j < name.size() && name[j] == '-') ++j;
    while (j < name.size() && is_digit(name[j])) ++j;
    size_t prec = std::string::npos;
    if (j < name.size() && name[j] == '.') {
      ++j;
      prec = 0;
      while (j < name.size() && is_digit(name[j]) && prec < 1000) prec = prec * 10 + (name[j++] - '0');
      while (j < name.size() && is_digit(name[j])) ++j;
    }
    if (j < name.size() && name[j] == 's' && next != values.end()) {
      out += next->substr(0, prec);
      ++next;
      i = j + 1;
    } else {
      out += name[i++];
    }
  }
  return out;
}

bool read_whole(const std::string& path, std::string* out, bool* too_big) {
  *too_big = false;
  platform::File f;
  if (!f.open(path.c_str(), platform::OpenMode::kRead)) return false;
  const int64_t size = f.size();
  if (size > kMaxCatalogueBytes) {
    *too_big = true;
    return false;
  }
  out->clear();
  char buf[8192];
  for (;;) {
    const int64_t n = f.read(buf, sizeof buf);
    if (n < 0) return false;
    if (n == 0) break;
    if (static_cast<int64_t>(out->size()) + n > kMaxCatalogueBytes) {
      *too_big = true;
      return false;
    }
    out->append(buf, static_cast<size_t>(n));
  }
  return true;
}

// One line of a catalogue file: false (with the reason) when it is not a message.
bool parse_line(std::string_view line, std::string* key, Entry* e, const char** why) {
  size_t i = 0;
  auto word = [&]() {
    while (i < line.size() && is_blank(line[i])) ++i;
    const size_t b = i;
    while (i < line.size() && !is_blank(line[i])) ++i;
    return line.substr(b, i - b);
  };
  const std::string_view k = word();
  if (!is_name(k, kMsgKeyMax)) return *why = "key is not a name", false;
  const std::string_view g = word();
  if (!is_name(g, kMsgGroupMax)) return *why = "group is not a name", false;
  const std::string_view s = word();
  if (s.size() != 1 || !is_severity(s[0])) return *why = "severity is not I, W or E", false;
  while (i < line.size() && is_blank(line[i])) ++i;
  std::string_view text = line.substr(i);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  if (text.empty()) return *why = "no text", false;
  if (text.size() > kMsgTextMax) return *why = "text too long", false;
  for (char c : text)
    if ((static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7f)
      return *why = "control character in text", false;
  key->assign(k);
  e->group.assign(g);
  e->severity = s[0];
  e->text.assign(text);
  return true;
}

void load(char lang, Catalogue* cat) {
  cat->info.file = msg_catalogue_file(lang);
  if (cat->info.file.empty()) return;
  std::string data;
  bool too_big = false;
  if (!read_whole(cat->info.file, &data, &too_big)) {
    if (too_big)
      KYT_TRACE(kModule, kTopic, 1, "msgcat: %s larger than %ld bytes, not read",
                cat->info.file.c_str(), static_cast<long>(kMaxCatalogueBytes));
    return;
  }
  cat->info.read = true;
  size_t pos = 0;
  int number = 0;
  while (pos < data.size()) {
    size_t end = data.find('\n', pos);
    if (end == std::string::npos) end = data.size();
    std::string_view line(data.data() + pos, end - pos);
    pos = end + 1;
    ++number;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    size_t b = 0;
    while (b < line.size() && is_blank(line[b])) ++b;
    if (b == line.size() || line[b] == '#') continue;
    std::string key;
    Entry e;
    const char* why = "";
    if (!parse_line(line, &key, &e, &why)) {
      ++cat->info.refused;
      KYT_TRACE(kModule, kTopic, 1, "msgcat: %s line %d refused: %s", cat->info.file.c_str(),
                number, why);
      continue;
    }
    if (find_builtin(key) == nullptr)
      KYT_TRACE(kModule, kTopic, 6, "msgcat: %s line %d: key %s is not built in",
                cat->info.file.c_str(), number, key.c_str());
    ++cat->info.taken;
    cat->entries[key] = std::move(e);  // a later line of a key replaces an earlier one
  }
}

// The catalogue of `lang`, read on first use. A catalogue whose file name could not be had
// (no environment yet) is not kept, so a later call tries again.
const Catalogue& catalogue(char lang) {
  State& s = st();
  auto it = s.loaded.find(lang);
  if (it != s.loaded.end()) return it->second;
  Catalogue cat;
  load(lang, &cat);
  if (cat.info.file.empty()) {
    static Catalogue none;
    none = std::move(cat);
    return none;
  }
  return s.loaded.emplace(lang, std::move(cat)).first->second;
}

// Cuts `s` to at most `max` bytes without splitting a UTF-8 sequence.
size_t cut_length(std::string_view s, size_t max) {
  if (s.size() <= max) return s.size();
  size_t n = max;
  while (n > 0 && (static_cast<unsigned char>(s[n]) & 0xC0) == 0x80) --n;
  return n;
}

int32_t get(std::string_view key, MsgArgs args, char lang, MsgText* out) {
  out->lang = msg_language(lang);
  const Catalogue& cat = catalogue(out->lang);
  const std::string k(key);
  auto it = cat.entries.find(k);
  if (it != cat.entries.end()) {
    out->severity = it->second.severity;
    out->group = it->second.group;
    out->text = msg_expand(it->second.text, args);
    return kMsgOk;
  }
  if (const MsgDef* d = find_builtin(key)) {
    out->severity = d->severity;
    out->group = d->group;
    out->text = msg_expand(out->lang == 'D' ? d->german : d->english, args);
    return kMsgOk;
  }
  out->severity = 'E';
  out->group.clear();
  out->text = k;
  for (std::string_view a : args) {
    out->text += ' ';
    out->text.append(a);
  }
  return kMsgUnknownKey;
}

}  // namespace

std::span<const MsgDef> msg_builtin() { return kBuiltin; }

char msg_language(char lang) {
  if (lang >= 'a' && lang <= 'z') return static_cast<char>(lang - 'a' + 'A');
  if (is_upper(lang)) return lang;
  std::string v;
  if (lpdsn_get("LANGUAGE", &v) == 0 && !v.empty()) {
    const char c = v[0];
    if (c >= 'a' && c <= 'z') return static_cast<char>(c - 'a' + 'A');
    if (is_upper(c)) return c;
  }
  return 'E';
}

std::string msg_expand(std::string_view pattern, MsgArgs args) {
  std::string out;
  out.reserve(pattern.size());
  for (size_t i = 0; i < pattern.size(); ++i) {
    const char c = pattern[i];
    if (c == '%' && i + 1 < pattern.size()) {
      const char d = pattern[i + 1];
      if (d == '%') {
        out += '%';
        ++i;
        continue;
      }
      if (d >= '1' && d <= '9') {
        const size_t n = static_cast<size_t>(d - '1');
        if (n < args.size()) out.append(args[n]);
        ++i;
        continue;
      }
    }
    out += c;
  }
  return out;
}

int32_t msg_get(std::string_view key, MsgArgs args, char lang, MsgText* out) {
  if (out == nullptr) return kMsgFailed;
  try {
    return get(key, args, lang, out);
  } catch (const std::bad_alloc&) {
    return kMsgFailed;
  }
}

int32_t msg_render(std::string_view key, MsgArgs args, char lang, char* buf, size_t size,
                   char* severity) {
  if (buf == nullptr || size == 0) return kMsgFailed;
  buf[0] = '\0';
  MsgText m;
  const int32_t rc = msg_get(key, args, lang, &m);
  if (rc == kMsgFailed) return rc;
  const size_t n = cut_length(m.text, size - 1);
  std::memcpy(buf, m.text.data(), n);
  buf[n] = '\0';
  if (severity != nullptr) *severity = m.severity;
  return rc;
}

int32_t msg_to_record(std::string_view key, MsgArgs args, char lang, cmd_msg* msg) {
  if (msg == nullptr) return kMsgFailed;
  MsgText m;
  const int32_t rc = msg_get(key, args, lang, &m);
  if (rc == kMsgFailed) return rc;
  const size_t cap = static_cast<size_t>(std::clamp<int16_t>(msg->capacity, 0, cmd_msg::kCapacity));
  const size_t n = cut_length(m.text, cap);
  std::memcpy(msg->text, m.text.data(), n);
  msg->text[n] = '\0';
  msg->length = static_cast<int16_t>(n);
  msg->severity = m.severity;
  return rc;
}

std::string msg_catalogue_text(char lang) {
  const bool german = msg_language(lang) == 'D';
  std::string out = german ? "# kyt message catalogue, language D\n"
                           : "# kyt message catalogue, language E\n";
  out +=
      "# One message a line: KEY GROUP SEVERITY TEXT. SEVERITY is I, W or E; %1 to %9 are\n"
      "# the arguments, %% is a percent sign. Lines beginning with # are comments.\n";
  for (const MsgDef& d : kBuiltin) {
    out += d.key;
    out += ' ';
    out += d.group;
    out += ' ';
    out += d.severity;
    out += ' ';
    out += german ? d.german : d.english;
    out += '\n';
  }
  return out;
}

std::string msg_catalogue_file(char lang) {
  std::string pattern;
  if (lpdsn_get("DSN_MSG", &pattern) != 0 || pattern.empty()) return std::string();
  const char letter[2] = {msg_language(lang), '\0'};
  return complete_strings(pattern, {letter, kMsgCatalogueName});
}

void msg_catalogue_reload() { st().loaded.clear(); }

MsgCatalogueInfo msg_catalogue_info(char lang) { return catalogue(msg_language(lang)).info; }

void msg_reset_for_tests() { st().loaded.clear(); }

}  // namespace kyt
