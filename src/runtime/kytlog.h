// kytlog: the station log and the one reporting function of every module.
//
// msg_report makes a catalogue message (msgcat) and writes it as one line to the station log,
// the dataset name DSN_KYT_LOG ("rlog.log" in the DB directory), appending (the file is made
// when it is missing). Line layout, LF-terminated:
//
//   YYYY/MM/DD HH:MM:SS S KEY TEXT
//
// the local date-time text (rpxdt), the severity letter, the key and the text with its
// arguments in place. Nothing is cut: a text of 5000 bytes is written whole. A byte below
// 0x20 or 0x7F in the key or the text (a line break inside an argument) is written as a
// blank, so every message is exactly one line. Each line goes to the end of the file in one
// write while the file's first four bytes are locked, so lines of several processes neither
// mix nor overwrite each other.
//
// The line without its date-time ("S KEY TEXT", which begins with the severity letter) is
// then handed to the log-writer channel, when one is installed (the monitor installs it when
// it opens its connection; without one nothing is sent). A message reported from within the
// channel goes to the station log only.
//
// The station log lives in the runtime beside the catalogue, not in src/monitor: every
// process reports (database administration, parameters, command entry) whether or not a
// monitor runs, and the monitor's modules (rpwcl, rpxlog) are only the receivers of the
// channel.
#ifndef KYT_RUNTIME_KYTLOG_H
#define KYT_RUNTIME_KYTLOG_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "runtime/msgcat.h"

namespace kyt {

// What the log-writer channel receives.
struct LogRecord {
  char severity;
  std::string_view group;  // empty for a key without a text
  std::string_view key;
  std::string_view text;   // line-safe, arguments in place
  std::string_view line;   // "S KEY TEXT"
};
using log_channel_fn = void (*)(const LogRecord& record, void* context);

// Installs (or with nullptr removes) the channel.
void kytlog_set_channel(log_channel_fn fn, void* context);

// Reports the message `key` with its arguments in language `lang` (0: the environment's
// LANGUAGE). Returns 0; kMsgUnknownKey when the key has no text (the line is written all the
// same, with severity E and the key followed by the arguments); kMsgFailed when the station
// log cannot be written (DSN_KYT_LOG cannot be had, the file cannot be opened or written;
// traced at level 1) or memory ran out. The channel gets the line in every case but the
// last.
int32_t msg_report(std::string_view key, MsgArgs args, char lang = 0);
inline int32_t msg_report(std::string_view key, std::initializer_list<std::string_view> args,
                          char lang = 0) {
  return msg_report(key, MsgArgs(args.begin(), args.size()), lang);
}

// The station log's file name (DSN_KYT_LOG); empty when it cannot be had.
std::string kytlog_file();

// Forgets the channel. Tests only.
void kytlog_reset_for_tests();

}  // namespace kyt

#endif  // KYT_RUNTIME_KYTLOG_H
