// rpdprm: the parameter service. Every tunable of the station is a row of PT (NAME, TYPE,
// LEN, VAL; TYPE 1 text, 4 32-bit, 8 16-bit; VAL always text); rpdprm reads, writes and
// lists them under four verbs and keeps a per-process cache and a snapshot of the most used
// values.
//
//   verb     name            value
//   "get"    parameter       out: text buffer of at least LEN bytes (cut to LEN - 1
//                            characters), int32_t (type 4) or int16_t (type 8); "NOLIMIT"
//                            and "NONE" read as 0
//   "set"    parameter       in: text, int32_t or int16_t by the row's type
//   "list"   parameter/"ALL" a ParmPrinter, or nullptr for the default printer
//   "opset"  ignored         in: text "NAME=VALUE", as the operator command SETPARM gives it
//
// Codes: 0 done; 4 KYTENV written before it was ever read; 8 unknown verb; 12 no such
// parameter or the read failed; 16 value not acceptable (empty "opset" value, a KYTMODE
// value not starting with n, s, t or w, a null value pointer); 20 a DTCONN... name found
// missing earlier in this process; 99 a row of unexpected type or a failed update.
//
// Names are cut to 19 characters and upper-cased; values to 39 (and to LEN - 1 on writing).
// Special names, handled before the table: KYTMODE (run mode letter n, t, s, w; "get"
// writes the letter and a terminating zero), TESTMODE (16-bit flag, 1 in test mode), KYTENV
// (the environment file's path, at most 254 characters, from DSN_KYTENV on first use) and
// FORCEDEND (a real row, but always read from the database so that a forced end requested by
// another process is seen at once; a non-"0" value written sets the run mode to "s").
//
// Cache: a chained hash table of 503 buckets, made on the first lookup of the process, after
// the snapshot; an entry is added on every successful read and replaced on every write, never
// expired, so values written by another process are seen only for names not cached yet. A
// missing DTCONN... name is cached as "VALUE_NOT_SPECIFIED": the first lookup answers 12,
// every later one 20.
//
// After every "opset", whatever its result, the monitor is woken: its named semaphore (see
// monitor_wakeup_name) is released once; a missing semaphore is no error.
#ifndef KYT_SERVICES_RPDPRM_H
#define KYT_SERVICES_RPDPRM_H

#include <cstdint>
#include <string>

namespace kyt {

constexpr int32_t PRM_OK = 0;
constexpr int32_t PRM_KYTENV_UNREAD = 4;
constexpr int32_t PRM_UNKNOWN_VERB = 8;
constexpr int32_t PRM_NOT_FOUND = 12;
constexpr int32_t PRM_BAD_VALUE = 16;
constexpr int32_t PRM_DTCONN_MISSING = 20;
constexpr int32_t PRM_FAILED = 99;

constexpr int16_t PRM_TEXT = 1;
constexpr int16_t PRM_LONG = 4;
constexpr int16_t PRM_SHORT = 8;

using ParmPrinter = int32_t (*)(const char* name, const char* value);

int32_t rpdprm_run(const char* verb, const char* name, void* value);

// "get" with the value as text, whatever the type: texts as "get" copies them, numbers in
// decimal as "get" converts them (NOLIMIT 0), KYTMODE its letter, TESTMODE 0 or 1. Codes as
// "get".
int32_t rpdprm_get_text(const char* name, std::string* text);

// Writes "KYT Parameter %s = %s\n" to standard output; 0.
int32_t rpdprm_default_printer(const char* name, const char* value);

// The snapshot of process variables taken with the first lookup (read-only for others).
struct ParmSnapshot {
  int32_t montimeout = 0, otimeout = 0, comtimeout = 0, xmttimeout = 0, mwtimeout = 0;
  int32_t cntgc = 0, cntie = 0, cntma = 0;
  int16_t bbcreate = 0, bbprio = 0, scprio = 0, lmprio = 0, seprio = 0, ldsnprio = 0,
          sdsnprio = 0, izprio = 0, ieprio = 0, okprio = 0, qsprio = 0, qeprio = 0, msgprio = 0,
          odtracelvl = 0, litracelvl = 0;
  int32_t sdsnmax = 0, keepdays = 0, maxrecl = 0, sendblocks = 0, recvblocks = 0;
  int16_t cmddelete = 0, statistics = 0, xmcreate = 0;
  int32_t agent_loglevel = 0, agent_heartbeat = 0, rlcomaxsize = 0, rlogmaxsize = 0,
          rlstatmaxsize = 0,
          numrlstat = 0,  // looked for as "NUMRLSTAT", while the row is NUMRLSTATS: stays 0
          numrlogs = 0, diskspacewarn = 0, diskspaceerr = 0, diskspacedelay = 0,
          diskspacereject = 0, mwstart = 0, mwstop = 0, cryperrdelay = 0, maxsenders = 0;
  char lid[40] = {};       // whole value
  char vftyp = 0;          // first character
  char autodecryp = 0;     // first character
  char recerrex[40] = {};  // whole value
  int16_t checkmaxpsessions = 0;  // 1 when the value starts with 1, Y or J (any case)
  int32_t fixed120 = 0;           // set to 120 whenever the snapshot is taken
  bool taken = false;
};
const ParmSnapshot& rpdprm_snapshot();

// The run mode letter and the test flag of this process.
char rpdprm_mode();
int16_t rpdprm_testmode();

// The name of the monitor's wake-up semaphore of the station whose database directory is
// `db_dir`: "kytmon." and 16 hexadecimal digits of a 64-bit FNV-1a hash of the absolute
// directory path, so that two installations on one host never wake each other and the name
// fits every platform's limits. Empty when `db_dir` is empty.
std::string monitor_wakeup_name(const std::string& db_dir);
// The name for this process's station (DB of the environment store), or empty.
std::string monitor_wakeup_name();
// Releases this station's monitor wake-up semaphore once; false when no monitor waits on it
// (no error: a station whose monitor is not running).
bool wake_monitor();

// Forgets cache, snapshot and process settings. Tests only.
void rpdprm_reset_for_tests();

}  // namespace kyt

#endif  // KYT_SERVICES_RPDPRM_H
