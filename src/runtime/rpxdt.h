// rpxdt: the station's date-time texts and interval texts.
//
// Date-time text: local time as "%04d/%02d/%02d %02d:%02d:%02d" (year/month/day
// hour:minute:second), e.g. "2012/12/03 10:33:13". It is read with "%d/%d/%d %d:%d:%d"
// leniently: month 1..12, day 1..31, hour 0..24, minute 0..60, seconds unchecked; the local
// calendar then carries over what lies beyond ("2012/12/31 24:00:00" is 2013/01/01 00:00:00).
//
// Interval text: six signed parts years/months/days hours:minutes:seconds, read with
// "%d/%d/%d %d:%d:%d" and written with "%+d/%+d/%+d %+d:%+d:%+d" ("+0/+0/+14 +0:+0:+0");
// parameters keep the zero-padded form "00/00/14 00:00:00", which reads the same. In seconds
// an interval is always counted with 30-day months and 365-day years, whatever the calendar.
//
// Stored form: INTEGER DT columns hold seconds since 2000-01-01 00:00:00 UTC (kDtEpochUnix in
// Unix seconds), so a signed 32-bit column lasts until 2068. 0 means "not set" and is the empty
// date-time text both ways; the one instant 2000-01-01 00:00:00 UTC itself therefore reads
// back as "not set".
//
// Texts handed in are read up to their terminator but never beyond kDtMaxText characters: a
// longer text is refused as unreadable. Every text written goes into a caller's buffer of
// `size` bytes (terminator included); a result that does not fit is refused with kDtNoFit and
// leaves the empty text (when size > 0). The output is written only after the inputs have
// been read, so one buffer may be both (a text normalised in place). Integers are read
// without overflow: a number that does not fit into 32 bits ends the reading as a non-number
// would.
//
// No state is kept between calls. The local calendar is the C library's (mktime and the
// platform's local_time), so it follows the process's time zone; on Windows the C library
// only knows the years 1970 to 3000, other years are unreadable there.
#ifndef KYT_RUNTIME_RPXDT_H
#define KYT_RUNTIME_RPXDT_H

#include <cstddef>
#include <cstdint>
#include <ctime>

namespace kyt {

// Statuses.
constexpr int32_t kDtOk = 0;
constexpr int32_t kDtUnreadable = 8;  // null, empty, malformed, out-of-range or over-long text
constexpr int32_t kDtBadCall = 12;    // unknown operation number, or no argument block / output
constexpr int32_t kDtNoFit = 16;  // result does not fit (buffer, interval limit, column, calendar)
constexpr int32_t kDtNoLocalTime = 99;  // the local time of an instant cannot be formed

// Sizes. A date-time text is 19 characters for four-digit years; the buffer holds up to 20
// (five-digit years, and what a copy may take) and the terminator.
constexpr size_t kDtTextSize = 21;
// The interval writer refuses texts of 40 characters or more, so 40 bytes always suffice.
constexpr size_t kIntervalTextSize = 40;
// Longest input text read (terminator not counted).
constexpr size_t kDtMaxText = 63;
// The epoch of stored DT values, 2000-01-01 00:00:00 UTC, in seconds since 1970.
constexpr int64_t kDtEpochUnix = 946684800;

// Operation numbers of rpxdt. "text1"/"text2"/"out"/"value"/"factor" are RpxdtArgs members.
constexpr int16_t kDtOpNow = 0;         // out = current local time
constexpr int16_t kDtOpCopy = 1;        // out = at most 20 characters of text1
constexpr int16_t kDtOpCompare = 2;     // value = -1, 0, 1 as text1 <, ==, > text2 (bytes)
constexpr int16_t kDtOpAdd = 3;         // out = instant text1 + interval text2
constexpr int16_t kDtOpDifference = 4;  // value = text2 - text1 in seconds, out = as interval
constexpr int16_t kDtOpSubtract = 5;    // out = instant text1 - interval text2
constexpr int16_t kDtOpSecondsToInterval = 6;    // out = interval text of value seconds
constexpr int16_t kDtOpIntervalToSeconds = 7;    // value = seconds of interval text1
constexpr int16_t kDtOpIntervalTimes = 8;        // out = interval text1 with each part x factor
constexpr int16_t kDtOpToStored = 9;             // value = stored DT integer of text1
constexpr int16_t kDtOpFromStored = 10;          // out = date-time text of stored DT integer value
constexpr int16_t kDtOpTimeOfDay = 11;           // out = "%02d:%02d:%02d" of instant text1
constexpr int16_t kDtOpTimeOfDayToSeconds = 12;  // value = seconds of "%d:%d:%d" text1
constexpr int16_t kDtOpSecondsToTimeOfDay = 13;  // out = "%02d:%02d:%02d" of value mod 1 day
constexpr int16_t kDtOpCompactDate = 14;         // out = "%02d%02d%02d" YYMMDD of instant text1
constexpr int16_t kDtOpCompactTime = 15;         // out = "%02d%02d%02d" HHMMSS of instant text1
constexpr int16_t kDtOpDayOfYear = 16;           // value = day of year 1..366, out = "%03d" of it
constexpr int16_t kDtOpFromCompact = 17;         // out = instant of date text1, time text2
constexpr int16_t kDtOpNormalise = 18;           // out = text1 read and written again
constexpr int16_t kDtOpLast = 18;

// The arguments of one rpxdt call. An operation reads and writes only the members its line
// above names; `out` with `out_size` is needed by every operation that writes a text (op 4
// and op 16 also work without). Op 10 refuses a value beyond 32 bits as unreadable.
struct RpxdtArgs {
  const char* text1 = nullptr;
  const char* text2 = nullptr;
  char* out = nullptr;
  size_t out_size = 0;  // bytes at out, terminator included
  int64_t value = 0;    // number handed in or out (seconds, stored value, order, day)
  double factor = 1.0;
};

// The one entry by operation number. Unknown numbers and a null `args` answer kDtBadCall.
int32_t rpxdt(int16_t op, RpxdtArgs* args);

// The operations one by one (rpxdt calls these). Each returns a status above.

// Current local time as date-time text (op 0); kDtNoLocalTime when it cannot be formed.
int32_t dt_now(char* out, size_t size);
// Copies at most 20 characters of `in` (op 1).
int32_t dt_copy(char* out, size_t size, const char* in);
// Orders two texts as byte strings (op 2): *order = -1, 0 or 1.
int32_t dt_compare(int16_t* order, const char* a, const char* b);
// Reads a date-time text into a normalised local broken-down time (tm_year from 1900,
// tm_mon from 0) and, when `seconds` is given, its instant in seconds since 1970. 0 or 8.
int32_t dt_to_tm(const char* text, std::tm* tm, int64_t* seconds = nullptr);
// Writes a broken-down time as date-time text.
int32_t tm_to_dt(const std::tm& tm, char* out, size_t size);
// Instant plus or minus an interval (ops 3 and 5). The parts are added to the calendar
// fields and the result normalised, so "0/0/1 0:0:0" keeps the wall-clock time across a
// daylight-saving change and "0/1/0 0:0:0" steps one calendar month (01/31 -> 03/03 or 03/02).
int32_t dt_add_interval(const char* dt, const char* interval, char* out, size_t size);
int32_t dt_subtract_interval(const char* dt, const char* interval, char* out, size_t size);
// The seconds from `first` to `second` and that count as interval text (op 4). `out` may
// be null when only the seconds are wanted.
int32_t dt_difference(const char* first, const char* second, int64_t* seconds, char* out,
                      size_t size);
// Seconds as interval text of days, hours, minutes, seconds (op 6). Always 0: a text that
// cannot be written is left empty.
int32_t seconds_to_interval(int64_t seconds, char* out, size_t size);
// Interval text to seconds (op 7); fewer than six parts give 8.
int32_t interval_to_seconds(const char* text, int64_t* seconds);
// Each part times `factor`, truncated toward zero (op 8). A part beyond 32 bits (or a
// factor that is not a number) gives kDtNoFit.
int32_t interval_times(const char* text, double factor, char* out, size_t size);
// Date-time text to the stored DT integer and back (ops 9, 10). The empty text is 0 and 0
// the empty text; an instant beyond 32 bits gives kDtNoFit.
int32_t dt_to_stored(const char* text, int32_t* value);
int32_t dt_from_stored(int32_t value, char* out, size_t size);
// Time of day "%02d:%02d:%02d" of an instant (op 11).
int32_t dt_time_of_day(const char* dt, char* out, size_t size);
// "%d:%d:%d" to seconds since midnight (op 12): hour 0..24, minute 0..60, seconds
// unchecked, as in a date-time text; the count is not reduced to one day.
int32_t time_of_day_to_seconds(const char* text, int64_t* seconds);
// Seconds since midnight as "%02d:%02d:%02d", taken modulo one day (op 13).
int32_t seconds_to_time_of_day(int64_t seconds, char* out, size_t size);
// Compact date YYMMDD (year modulo 100) and compact time HHMMSS of an instant (ops 14, 15).
int32_t dt_compact_date(const char* dt, char* out, size_t size);
int32_t dt_compact_time(const char* dt, char* out, size_t size);
// Day of the year, 1 to 366, of an instant; also as "%03d" when `out` is given (op 16).
int32_t dt_day_of_year(const char* dt, int32_t* day, char* out, size_t size);
// Date-time text from a compact date, "YYMMDD" (00..69 are 2000..2069, 70..99 are 1970..1999)
// or "CCYYMMDD", and a compact time "HHMMSS" (null or empty: midnight), digits only, with the
// ranges of a date-time text (op 17).
int32_t dt_from_compact(const char* date, const char* time, char* out, size_t size);
// A date-time text read and written again in its normalised form (op 18).
int32_t dt_normalise(const char* dt, char* out, size_t size);

}  // namespace kyt

#endif  // KYT_RUNTIME_RPXDT_H
