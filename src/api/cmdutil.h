// cmdutil: what the handlers of the batch verbs share: their codes, the transaction around
// the rows of one command, the KT command row, and the reading of keyword values.
#ifndef KYT_API_CMDUTIL_H
#define KYT_API_CMDUTIL_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "kyt/kyt_elem.h"
#include "runtime/runtime.h"

namespace kyt::api {

// Codes of the verbs (besides the parse codes 2 to 6 of the command language and the codes
// of the services a verb hands on, as SETPARM those of the parameter service).
constexpr int32_t kVerbMissing = 8;        // a required keyword or the action is missing
constexpr int32_t kVerbUnknownAction = 9;  // the positional parameter names no action
constexpr int32_t kVerbNotFound = 12;      // no such command, user or link
constexpr int32_t kVerbNoStation = 13;     // the station is not in ST
constexpr int32_t kVerbWrongState = 14;    // the command is of another type or state
constexpr int32_t kVerbBadValue = 16;      // a value too long, not a number, not allowed
constexpr int32_t kVerbNoFile = 17;        // a file that cannot be read
constexpr int32_t kVerbExists = 19;        // the row to create exists already
constexpr int32_t kVerbFailed = 99;        // the database failed, no number left

// The rows of one command as one unit: begin() opens a transaction (nested inside a
// caller's, as rpdsql nests them); end(rc) commits when rc is 0, else rolls back, and
// answers rc, or the commit's status when rc was 0 and the commit failed. The destructor
// rolls back what was not ended.
class Transaction {
 public:
  Transaction() = default;
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  int32_t begin();
  int32_t end(int32_t rc);

 private:
  bool open_ = false;
};

// Makes the KT row of a new command inside the caller's transaction: a number from
// next_command_number, CMDTYPE `type`, STATUS `status`, PRIORITY `priority`, DTCREATED and
// DTLASTUSED now, DTDONE now when `done`, KYTID 0, ERRORCODE 0. The number goes to *cn and
// becomes the command number kytcal hands back. 0 or the failing status (traced).
int32_t new_command(const char* type, const char* status, int16_t priority, bool done,
                    int32_t* cn);

// The value of `keyword`, else of the positional parameter `pos` (-1: none), else nullptr.
// Both given: *rc = kVerbBadValue.
const char* keyword_or_positional(const cmd_args& args, const char* keyword, int pos,
                                  int32_t* rc);

// Copies `value` into a CHAR column's member of `size` bytes (upper-cased when `upper`):
// false when it does not fit (at most size - 1 characters).
bool copy_text(char* out, size_t size, std::string_view value, bool upper = false);

// A decimal integer (optional sign, nothing else) within lo..hi.
bool read_number(const char* text, int32_t lo, int32_t hi, int32_t* out);

// A command number given as text (1 to 2147483647).
bool read_cn(const char* text, int32_t* cn);

std::string upper(std::string_view text);

// A 16-bit priority parameter of PT, or `fallback` when it cannot be read.
int16_t priority_parameter(const char* name, int16_t fallback);

// Whether ST has a row for `sid` (already upper-cased); *rc gets a database failure.
bool station_exists(const char* sid, int32_t* rc);

// Traces a refusal of a verb at level 1 and answers `rc`.
int32_t refuse(const char* verb, int32_t rc, const char* why);

}  // namespace kyt::api

#endif  // KYT_API_CMDUTIL_H
