// msgcat: the message catalogue of the station.
//
// Every message an operator or the station log sees is named by a key (CMD_EXECUTED,
// CREATING_DATABASE, XMT_ACTIVE, ...) and has a group (DBADM, MONIT, UTILS, XMT), a severity
// letter (I information, W warning, E error) and a text per language. The texts of English
// (E) and German (D) are built in; an installation may edit them in catalogue files, one per
// language letter, named by the dataset name DSN_MSG ("rm%.1s%.5s.msg" in SYSTEM) completed
// with the language letter and the catalogue name "kyt": rmEkyt.msg, rmDkyt.msg. A missing
// or unreadable file, a key the file does not name and a line of the file that is not a
// message all leave the built-in text in force, so no message is ever silenced. The file
// format is described in docs/file-formats.md; msg_catalogue_text writes the built-in texts
// in it.
//
// Texts hold numbered argument places %1 to %9 and "%%" for a percent sign; any other "%"
// stands for itself. Arguments are inserted as they are and never read again, so an argument
// holding "%s" or "%2" is text, not a directive: data never becomes a format.
//
// Language: a call names a letter ('E', 'D', or any other letter of an installation's own
// catalogue file, case ignored) or 0 for the environment's LANGUAGE (lpdsn; "E" when it is
// not set or the store cannot be read). A language other than D falls back to the English
// built-in texts.
//
// Catalogue files are read once a process per language, on the first message of that
// language; msg_catalogue_reload makes the next message read them again.
#ifndef KYT_RUNTIME_MSGCAT_H
#define KYT_RUNTIME_MSGCAT_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

#include "runtime/cmdlang.h"

namespace kyt {

// Statuses.
constexpr int32_t kMsgOk = 0;
constexpr int32_t kMsgUnknownKey = 12;  // key neither built in nor in the catalogue file
constexpr int32_t kMsgFailed = 99;      // out of memory, bad call

// Lengths the catalogue file accepts (and the built-in table keeps to).
constexpr size_t kMsgKeyMax = 31;
constexpr size_t kMsgGroupMax = 8;
constexpr size_t kMsgTextMax = 1000;  // the text of a line, before arguments are put in
// The catalogue name completing DSN_MSG after the language letter.
constexpr const char* kMsgCatalogueName = "kyt";

// A built-in message.
struct MsgDef {
  const char* key;
  const char* group;
  char severity;
  const char* english;
  const char* german;
};
std::span<const MsgDef> msg_builtin();

// A message made ready for a caller.
struct MsgText {
  char severity = 'E';
  char lang = 'E';     // the language letter that was used
  std::string group;
  std::string text;    // arguments in place
};

using MsgArgs = std::span<const std::string_view>;

// The language letter for `lang` (0: the environment's LANGUAGE), upper case.
char msg_language(char lang = 0);

// Puts the arguments into the places of `pattern` (see above).
std::string msg_expand(std::string_view pattern, MsgArgs args);

// The message `key` with its arguments in language `lang`. An unknown key answers
// kMsgUnknownKey and still fills `out`: severity 'E', group "", and the text
// "<KEY>" followed by the arguments, each after a blank, so what the caller wanted to say is
// not lost.
int32_t msg_get(std::string_view key, MsgArgs args, char lang, MsgText* out);
inline int32_t msg_get(std::string_view key, std::initializer_list<std::string_view> args,
                       char lang, MsgText* out) {
  return msg_get(key, MsgArgs(args.begin(), args.size()), lang, out);
}

// As msg_get, into a caller's buffer of `size` bytes (terminator included; a longer text is
// cut, never inside a UTF-8 sequence). `severity` may be null. A null or empty buffer
// answers kMsgFailed.
int32_t msg_render(std::string_view key, MsgArgs args, char lang, char* buf, size_t size,
                   char* severity);

// Fills a command's message record (severity and text cut to its capacity).
int32_t msg_to_record(std::string_view key, MsgArgs args, char lang, cmd_msg* msg);

// The built-in texts of a language ('D' German, else English) as a catalogue file.
std::string msg_catalogue_text(char lang);

// The catalogue file's name for a language letter: DSN_MSG completed; empty when DSN_MSG
// cannot be had.
std::string msg_catalogue_file(char lang);

// The next message reads the catalogue files again.
void msg_catalogue_reload();

// What reading the catalogue file of a language found (read on demand): the file, whether
// it was read, and the number of lines taken and refused.
struct MsgCatalogueInfo {
  std::string file;
  bool read = false;
  int taken = 0;
  int refused = 0;
};
MsgCatalogueInfo msg_catalogue_info(char lang);

// Forgets everything read. Tests only.
void msg_reset_for_tests();

}  // namespace kyt

#endif  // KYT_RUNTIME_MSGCAT_H
