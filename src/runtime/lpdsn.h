// lpdsn: the environment store and the dataset names of every station file.
//
// The environment file ("kytenv.dat"; its name from the parameter KYTENV, else the process
// environment variable KYTENV, else the current directory) is read once a process. Every
// line is read whole, whatever its length; a line whose first non-blank byte is "#" is a
// comment. A line holds settings NAME=value separated by blanks; a value with blanks is
// quoted with " or ' (no escapes), any other value runs to the next blank and may hold any
// byte, parentheses included; NAME= is an empty value. The settings of all lines are taken
// as one command of the command language, "SET" with 0 to 99 positional parameters and the
// keywords below; a name that is not a keyword sets itself. A keyword given twice is
// refused with 4, more than 99 other names with 5, anything else that is not NAME=value
// with 99; lpdsn_error_text() then names the file, the line and the offending text.
//
// Store order (what the listing shows): DSN_KYTENV; the keywords given, in the order of the
// keyword table; the positional settings in the order written; the defaults of the keywords
// not given, in table order; VERSION, PGM; the dataset names in table order.
//
// Settings (an empty value of a keyword with a default leaves the default): MODE keeps its
// first letter in lower case (default "d"; "t" also copies the station parameter KYTMODE
// into the store when it has one); LANGUAGE its first letter in upper case (default "E");
// DEBUG (no default) switches the line trace on, once the store is complete, when its value
// is a non-zero number; PATH is made absolute (at most 255 characters) without a trailing
// separator (default the platform's installation directory: /opt/kyt, or C:\KYT); each
// directory keyword defaults to PATH, the platform's separator and its own name.
//
// A dataset name is its directory, the platform's separator and its file pattern, or the
// pattern alone where no directory is named. DSN_ODT_LOG's pattern is completed at once with
// the process id modulo 10000; the other patterns are completed by the modules that open
// them, through dsn_complete_name, which leaves the directory as it stands.
//
// Reading the file does not count as command nesting (it may first be needed inside a
// command handler), and no trace line is written while it is read. When the store has been
// read it becomes the trace's source of settings (unless another was installed), and the
// trace takes its settings afresh: the file's DBG_LVL, DBG_TPC and TRACEDIR hold whichever
// module was used first.
//
// Codes: 0; 99 when the file cannot be read, is larger than 1 MiB, holds a line that is not
// settings, or PATH cannot be made absolute; 4 a keyword given twice; 5 too many other names.
#ifndef KYT_RUNTIME_LPDSN_H
#define KYT_RUNTIME_LPDSN_H

#include <string>
#include <utility>
#include <vector>

#include "runtime/trace.h"

namespace kyt {

constexpr int kLpdsnGet = 0;   // action: look the key up
constexpr int kLpdsnList = 1;  // action: print the listing to standard output

// Reads the environment file named as above; 0 or the failure code. After a successful
// reading later calls answer 0 at once; after a failed one the next call reads again, so a
// cause that is gone (a file put in place, a line corrected) no longer fails.
int lpdsn_init();
// Reads the given environment file instead (kytadm -e); replaces whatever was read before.
int lpdsn_init_file(const std::string& file);
// What the last reading's failure was: the file, the line (when one is at fault) and the
// offending text, "FILE:LINE: WHY: TEXT". Empty after a successful reading.
const std::string& lpdsn_error_text();

// Get a value: initialises on first use; 0 when the key has a value, else non-zero (the
// initialisation's code when it failed, 12 when the key is not in the store).
int lpdsn(int action, const char* key, std::string* value);
inline int lpdsn_get(const char* key, std::string* value) { return lpdsn(kLpdsnGet, key, value); }

// The store's entries in order, and the listing text:
// "\nList of environment values:\n---------------------------\n", "%-20s = '%s'\n" per
// entry, "\n".
const std::vector<std::pair<std::string, std::string>>& lpdsn_entries();
std::string lpdsn_listing();

// Sets one value (replacing an existing one in its place); 0, or 99 for a null key.
int lpdsn_set(const char* key, const char* value);

// The store as the source of the trace settings: lookups initialise it on first use, a
// reload reads the environment file again. Installed by the store itself (see above).
TraceEnvSource lpdsn_trace_source();

// Forgets the store. Tests only.
void lpdsn_reset_for_tests();

}  // namespace kyt

#endif  // KYT_RUNTIME_LPDSN_H
