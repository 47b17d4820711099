// lpdsn: the environment store and the dataset names of every station file.
//
// The environment file ("kytenv.dat"; its name from the parameter KYTENV, else the process
// environment variable KYTENV, else the current directory) is read once a process. Its lines,
// read in pieces of at most 99 bytes, are joined with single blanks behind the verb "SET" and
// parsed as one command of the command language with 0 to 99 positional parameters and the
// keywords below. A positional parameter NAME=value sets any other name.
//
// Store order (what the listing shows): DSN_KYTENV; the keywords given, in the order of the
// keyword table; the positional settings in the order written; the defaults of the keywords
// not given, in table order; VERSION, PGM; the dataset names in table order.
//
// Settings: MODE keeps its first letter in lower case (default "d"; "t" also copies the
// station parameter KYTMODE into the store when it has one); LANGUAGE its first letter in
// upper case (default "E"); DEBUG (no default) switches the line trace on when its value is
// a non-zero number; PATH is made absolute (at most 255 characters) without a trailing
// separator (default the platform's installation directory: /opt/kyt, or C:\KYT); each
// directory keyword defaults to PATH, the platform's separator and its own name.
//
// A dataset name is its directory, the platform's separator and its file pattern, or the
// pattern alone where no directory is named. DSN_ODT_LOG is completed at once with the
// process id modulo 10000; the other patterns are completed by the modules that open them.
//
// Codes: 0; 99 when the file cannot be read or PATH cannot be made absolute; the command
// language's parse code for a syntax error in the file (4: a setting given twice).
#ifndef KYT_RUNTIME_LPDSN_H
#define KYT_RUNTIME_LPDSN_H

#include <string>
#include <utility>
#include <vector>

#include "runtime/trace.h"

namespace kyt {

constexpr int kLpdsnGet = 0;   // action: look the key up
constexpr int kLpdsnList = 1;  // action: print the listing to standard output

// Reads the environment file named as above; 0 or the first failure code. Later calls
// answer the code of the first one.
int lpdsn_init();
// Reads the given environment file instead (kytadm -e); replaces whatever was read before.
int lpdsn_init_file(const std::string& file);

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
// reload reads the environment file again. The trace facility uses it unless told otherwise.
TraceEnvSource lpdsn_trace_source();

// Forgets the store. Tests only.
void lpdsn_reset_for_tests();

}  // namespace kyt

#endif  // KYT_RUNTIME_LPDSN_H
