// rpxdt: date-time texts, interval texts, and their conversions.
#include "runtime/rpxdt.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>

#include "platform/platform.h"
#include "runtime/numtext.h"
#include "runtime/trace.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "d";  // topics are lower case: the default DBG_TPC lists a-z
constexpr int kLevelError = 1;

constexpr int64_t kSecondsPerMinute = 60;
constexpr int64_t kSecondsPerHour = 3600;
constexpr int64_t kSecondsPerDay = 86400;
constexpr int64_t kSecondsPerMonth = 2592000;  // 30 days, always
constexpr int64_t kSecondsPerYear = 31536000;  // 365 days, always

constexpr size_t kCopyMax = 20;        // characters taken by a copy
constexpr size_t kIntervalLimit = 40;  // the interval writer refuses texts this long or longer

constexpr int64_t kIntMin = std::numeric_limits<int>::min();
constexpr int64_t kIntMax = std::numeric_limits<int>::max();

#define DT_TRACE(level, ...) KYT_TRACE(kModule, kTopic, level, __VA_ARGS__)

bool fits_int(int64_t v) {
  return v >= kIntMin && v <= kIntMax;
}

// Empties the output so that no failed call leaves an old or half-written text behind.
void clear(char* out, size_t size) {
  if (out != nullptr && size > 0) out[0] = '\0';
}

// The end of every operation that writes a text: a failure leaves the empty text. Outputs
// are touched only after the inputs have been read, since a caller may hand one buffer as
// both (normalising a text in place).
int32_t done(int32_t rc, char* out, size_t size) {
  if (rc != kDtOk) clear(out, size);
  return rc;
}

// The text as far as it is read: false when it is null or not terminated within kDtMaxText
// characters. Reads no byte beyond the terminator or the limit.
bool bounded(const char* text, std::string_view* view) {
  if (text == nullptr) return false;
  for (size_t n = 0; n <= kDtMaxText; ++n) {
    if (text[n] == '\0') {
      *view = std::string_view(text, n);
      return true;
    }
  }
  return false;
}

// The trace lines of an unreadable text: "%s : NULL is invalid ", "%s : EMPTY is invalid "
// or "%s : >text< invalid " (an over-long text shows its first kDtMaxText characters).
void trace_invalid(const char* function, const char* text) {
  if (text == nullptr) {
    DT_TRACE(kLevelError, "%s : %s is invalid ", function, "NULL");
  } else if (text[0] == '\0') {
    DT_TRACE(kLevelError, "%s : %s is invalid ", function, "EMPTY");
  } else {
    size_t n = 0;
    while (n < kDtMaxText && text[n] != '\0') ++n;
    DT_TRACE(kLevelError, "%s : >%.*s< invalid ", function, static_cast<int>(n), text);
  }
}

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}
bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// Reads integers the way sscanf does with a format made of "%d", blanks and other
// characters: a blank in the format skips any white space (none included), "%d" skips white
// space and reads an optionally signed decimal number, any other character must be the next
// one of the input. Returns how many numbers were read before the first mismatch or the end
// of the input. Unlike sscanf, a number beyond 32 bits is a mismatch, not undefined.
int scan_ints(std::string_view in, const char* format, int* values, int max_values) {
  size_t i = 0;
  int count = 0;
  for (const char* f = format; *f != '\0'; ++f) {
    if (is_blank(*f)) {
      while (i < in.size() && is_blank(in[i])) ++i;
      continue;
    }
    if (f[0] == '%' && f[1] == 'd') {
      ++f;
      if (count == max_values) return count;
      int64_t v = 0;
      size_t used = 0;
      if (parse_int(in.substr(i), kIntMin, kIntMax, &v, NumSyntax{true, true}, &used) !=
          NumText::kOk) {
        return count;
      }
      i += used;
      values[count++] = static_cast<int>(v);
      continue;
    }
    if (i >= in.size() || in[i] != *f) return count;
    ++i;
  }
  return count;
}

// Copies a finished text into the caller's buffer.
int32_t put_text(const char* text, size_t len, char* out, size_t size) {
  if (out == nullptr || size == 0) return kDtBadCall;
  if (len >= size) {
    out[0] = '\0';
    return kDtNoFit;
  }
  std::memmove(out, text, len);  // the text may lie in the output buffer
  out[len] = '\0';
  return kDtOk;
}

int32_t put_formatted(char* out, size_t size, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 3, 4)))
#endif
    ;

int32_t put_formatted(char* out, size_t size, const char* format, ...) {
  char buf[160];
  va_list ap;
  va_start(ap, format);
  const int n = std::vsnprintf(buf, sizeof buf, format, ap);
  va_end(ap);
  if (n < 0 || static_cast<size_t>(n) >= sizeof buf) {
    clear(out, size);
    return kDtNoFit;
  }
  return put_text(buf, static_cast<size_t>(n), out, size);
}

// Date-time text of calendar fields (year as calendar year, month from 1). Wide integers, so
// that no field of a caller's broken-down time can overflow while being made a text.
int32_t put_dt(long long year, long long month, long long day, long long hour, long long minute,
               long long second, char* out, size_t size) {
  return put_formatted(out, size, "%04lld/%02lld/%02lld %02lld:%02lld:%02lld", year, month, day,
                       hour, minute, second);
}

// Normalises a local broken-down time with the C library's mktime, letting it decide on
// daylight saving. False when the C library cannot represent the instant. A result of -1
// is also the valid instant 1969-12-31 23:59:59 UTC; tm_wday tells the two apart, since
// mktime sets it only on success.
bool mktime_normalise(std::tm* t, int64_t* seconds) {
  t->tm_isdst = -1;
  t->tm_wday = -1;
  const std::time_t r = std::mktime(t);
  if (r == static_cast<std::time_t>(-1) && t->tm_wday == -1) return false;
  *seconds = static_cast<int64_t>(r);
  return true;
}

// The time zone the process runs in, as the C library reads it: the minute caches below hold
// only while it stays the same.
std::string zone_now() {
  std::string tz;
  if (!platform::get_env("TZ", &tz)) tz.assign(1, '\0');  // unset differs from every setting
  return tz;
}

// The C library looks at the time zone files on every mktime (microseconds), and a station
// converts the same few minutes over and over (the DT columns of each row it writes). So the
// last minute converted is kept: the zone's offset changes only on whole minutes, so seconds
// 0 to 59 of a minute lie 0 to 59 seconds after its start. Fields outside their usual
// ranges, which mktime carries over, always go to mktime.
bool normalise(std::tm* t, int64_t* seconds) {
  struct Minute {
    bool valid = false;
    int year = 0, mon = 0, mday = 0, hour = 0, min = 0;
    std::string tz;
    std::tm start{};  // the minute's start, normalised
    int64_t start_seconds = 0;
  };
  static Minute last;
  const int sec = t->tm_sec;
  if (sec < 0 || sec > 59 || t->tm_min < 0 || t->tm_min > 59 || t->tm_hour < 0 ||
      t->tm_hour > 23 || t->tm_mon < 0 || t->tm_mon > 11 || t->tm_mday < 1 || t->tm_mday > 28)
    return mktime_normalise(t, seconds);
  std::string tz = zone_now();
  if (!last.valid || last.year != t->tm_year || last.mon != t->tm_mon ||
      last.mday != t->tm_mday || last.hour != t->tm_hour || last.min != t->tm_min ||
      last.tz != tz) {
    std::tm start = *t;
    start.tm_sec = 0;
    int64_t s = 0;
    last.valid = false;
    if (!mktime_normalise(&start, &s)) return mktime_normalise(t, seconds);
    last = Minute{true, t->tm_year, t->tm_mon, t->tm_mday, t->tm_hour, t->tm_min, std::move(tz),
                  start, s};
  }
  *t = last.start;
  t->tm_sec += sec;
  *seconds = last.start_seconds + sec;
  return true;
}

// platform::local_time with the same cache of the last minute, for reading stored instants.
bool local_time_of(int64_t unix_seconds, platform::LocalTime* out) {
  struct Minute {
    bool valid = false;
    int64_t start = 0;  // a multiple of 60
    std::string tz;
    platform::LocalTime local{};
  };
  static Minute last;
  const int64_t start = unix_seconds - ((unix_seconds % 60) + 60) % 60;
  std::string tz = zone_now();
  if (!last.valid || last.start != start || last.tz != tz) {
    platform::LocalTime lt{};
    last.valid = false;
    if (!platform::local_time(start, &lt) || lt.second != 0) {
      return platform::local_time(unix_seconds, out);  // a zone offset with seconds: no cache
    }
    last = Minute{true, start, std::move(tz), lt};
  }
  *out = last.local;
  out->second = static_cast<int>(unix_seconds - start);
  return true;
}

// Reads the six parts of an interval text; 8 (traced) when fewer than six are read.
int32_t read_interval(const char* function, const char* text, int parts[6]) {
  std::string_view s;
  if (!bounded(text, &s) || scan_ints(s, "%d/%d/%d %d:%d:%d", parts, 6) != 6) {
    trace_invalid(function, text);
    return kDtUnreadable;
  }
  return kDtOk;
}

// The interval writer: "%+d/%+d/%+d %+d:%+d:%+d"; kDtNoFit for a text of 40 characters or
// more, which is then not written.
int32_t write_interval(const long long p[6], char* out, size_t size) {
  char buf[160];
  const int n = std::snprintf(buf, sizeof buf, "%+lld/%+lld/%+lld %+lld:%+lld:%+lld", p[0], p[1],
                              p[2], p[3], p[4], p[5]);
  if (n < 0 || static_cast<size_t>(n) >= kIntervalLimit) {
    clear(out, size);
    return kDtNoFit;
  }
  return put_text(buf, static_cast<size_t>(n), out, size);
}

// Seconds as interval parts: days, hours, minutes and seconds of the magnitude (years and
// months stay 0), every part negated for a negative count.
void interval_parts(int64_t seconds, long long p[6]) {
  // The magnitude in unsigned arithmetic, so that the most negative count has one too.
  const uint64_t v =
      seconds < 0 ? 0 - static_cast<uint64_t>(seconds) : static_cast<uint64_t>(seconds);
  p[0] = 0;
  p[1] = 0;
  p[2] = static_cast<long long>(v / 86400);
  p[3] = static_cast<long long>(v / 3600 % 24);
  p[4] = static_cast<long long>(v / 60 % 60);
  p[5] = static_cast<long long>(v % 60);
  if (seconds < 0) {
    for (int i = 0; i < 6; ++i) p[i] = -p[i];
  }
}

int32_t shift(const char* function, const char* dt, const char* interval, int sign, char* out,
              size_t size) {
  std::tm t{};
  int32_t rc = dt_to_tm(dt, &t);
  if (rc != kDtOk) return rc;
  int p[6];
  rc = read_interval(function, interval, p);
  if (rc != kDtOk) return rc;
  const int64_t fields[6] = {
      int64_t{t.tm_year} + sign * int64_t{p[0]}, int64_t{t.tm_mon} + sign * int64_t{p[1]},
      int64_t{t.tm_mday} + sign * int64_t{p[2]}, int64_t{t.tm_hour} + sign * int64_t{p[3]},
      int64_t{t.tm_min} + sign * int64_t{p[4]},  int64_t{t.tm_sec} + sign * int64_t{p[5]}};
  for (int64_t f : fields) {
    if (!fits_int(f)) {
      DT_TRACE(kLevelError, "%s : >%s< by >%s< beyond the calendar", function, dt, interval);
      return kDtNoFit;
    }
  }
  t.tm_year = static_cast<int>(fields[0]);
  t.tm_mon = static_cast<int>(fields[1]);
  t.tm_mday = static_cast<int>(fields[2]);
  t.tm_hour = static_cast<int>(fields[3]);
  t.tm_min = static_cast<int>(fields[4]);
  t.tm_sec = static_cast<int>(fields[5]);
  int64_t seconds = 0;  // not needed, but normalise yields it
  if (!normalise(&t, &seconds)) {
    DT_TRACE(kLevelError, "%s : >%s< by >%s< beyond the calendar", function, dt, interval);
    return kDtNoFit;
  }
  return tm_to_dt(t, out, size);
}

}  // namespace

int32_t dt_to_tm(const char* text, std::tm* tm, int64_t* seconds) {
  std::string_view s;
  int v[6];
  // Deliberately lenient: hour 24 and minute 60 pass and seconds are not checked at all;
  // the normalisation carries them over into the next day, hour or minute.
  if (text == nullptr || text[0] == '\0' || !bounded(text, &s) ||
      scan_ints(s, "%d/%d/%d %d:%d:%d", v, 6) != 6 || v[1] < 1 || v[1] > 12 || v[2] < 1 ||
      v[2] > 31 || v[3] < 0 || v[3] > 24 || v[4] < 0 || v[4] > 60) {
    trace_invalid("dt_to_tm", text);
    return kDtUnreadable;
  }
  std::tm t{};
  const bool year_fits = fits_int(int64_t{v[0]} - 1900);
  t.tm_year = year_fits ? v[0] - 1900 : 0;
  t.tm_mon = v[1] - 1;
  t.tm_mday = v[2];
  t.tm_hour = v[3];
  t.tm_min = v[4];
  t.tm_sec = v[5];
  int64_t secs = 0;
  if (!year_fits || !normalise(&t, &secs)) {
    trace_invalid("dt_to_tm", text);
    return kDtUnreadable;
  }
  if (tm != nullptr) *tm = t;
  if (seconds != nullptr) *seconds = secs;
  return kDtOk;
}

int32_t tm_to_dt(const std::tm& tm, char* out, size_t size) {
  return put_dt(tm.tm_year + 1900LL, tm.tm_mon + 1LL, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec,
                out, size);
}

int32_t dt_now(char* out, size_t size) {
  clear(out, size);
  const int64_t now = platform::now_seconds();
  platform::LocalTime lt{};
  if (!platform::local_time(now, &lt)) {
    DT_TRACE(kLevelError, "rpxdt 0 : local time of %lld not formed", static_cast<long long>(now));
    return kDtNoLocalTime;
  }
  return put_dt(lt.year, lt.month, lt.day, lt.hour, lt.minute, lt.second, out, size);
}

int32_t dt_copy(char* out, size_t size, const char* in) {
  if (in == nullptr) {
    trace_invalid("dt_copy", in);
    return done(kDtUnreadable, out, size);
  }
  size_t n = 0;
  while (n < kCopyMax && in[n] != '\0') ++n;
  return put_text(in, n, out, size);
}

int32_t dt_compare(int16_t* order, const char* a, const char* b) {
  if (a == nullptr || b == nullptr) {
    trace_invalid("dt_compare", a == nullptr ? a : b);
    return kDtUnreadable;
  }
  // Bytes beyond the longest readable text are not looked at.
  const int c = std::strncmp(a, b, kDtMaxText + 1);
  if (order != nullptr) *order = static_cast<int16_t>(c < 0 ? -1 : (c > 0 ? 1 : 0));
  return kDtOk;
}

int32_t dt_add_interval(const char* dt, const char* interval, char* out, size_t size) {
  return done(shift("dt_add_interval", dt, interval, 1, out, size), out, size);
}

int32_t dt_subtract_interval(const char* dt, const char* interval, char* out, size_t size) {
  return done(shift("dt_subtract_interval", dt, interval, -1, out, size), out, size);
}

int32_t dt_difference(const char* first, const char* second, int64_t* seconds, char* out,
                      size_t size) {
  int64_t s1 = 0, s2 = 0;
  int32_t rc = dt_to_tm(first, nullptr, &s1);
  if (rc != kDtOk) {
    DT_TRACE(kLevelError, "dt_to_tm 2 failed with %d", rc);
    return done(rc, out, size);
  }
  rc = dt_to_tm(second, nullptr, &s2);
  if (rc != kDtOk) {
    DT_TRACE(kLevelError, "dt_to_tm 3 failed with %d", rc);
    return done(rc, out, size);
  }
  // Instants of the C library lie within a few times 10^16 seconds of 1970: no overflow.
  const int64_t d = s2 - s1;
  if (seconds != nullptr) *seconds = d;
  if (out == nullptr) return kDtOk;
  long long p[6];
  interval_parts(d, p);
  return write_interval(p, out, size);  // unlike seconds_to_interval, the writer's answer counts
}

int32_t seconds_to_interval(int64_t seconds, char* out, size_t size) {
  long long p[6];
  interval_parts(seconds, p);
  // The writer's answer is not passed on: this conversion succeeds by definition, and a
  // text that could not be written is the empty text.
  (void)write_interval(p, out, size);
  return kDtOk;
}

int32_t interval_to_seconds(const char* text, int64_t* seconds) {
  int p[6];
  const int32_t rc = read_interval("interval_to_seconds", text, p);
  if (rc != kDtOk) return rc;
  // At most 2^31 times the year's 31536000 per part: far inside 64 bits.
  const int64_t s = p[5] + kSecondsPerMinute * p[4] + kSecondsPerHour * p[3] +
                    kSecondsPerDay * p[2] + kSecondsPerMonth * p[1] + kSecondsPerYear * p[0];
  if (seconds != nullptr) *seconds = s;
  return kDtOk;
}

int32_t interval_times(const char* text, double factor, char* out, size_t size) {
  int p[6];
  const int32_t rc = read_interval("interval_times", text, p);
  if (rc != kDtOk) return done(rc, out, size);
  long long r[6];
  for (int i = 0; i < 6; ++i) {
    const double x = p[i] * factor;
    // Written so that NaN fails too; the bounds keep the truncation defined.
    if (!(x > static_cast<double>(kIntMin) - 1.0 && x < static_cast<double>(kIntMax) + 1.0)) {
      DT_TRACE(kLevelError, "interval_times : >%s< times %g does not fit", text, factor);
      return done(kDtNoFit, out, size);
    }
    r[i] = static_cast<int>(x);
  }
  return write_interval(r, out, size);
}

int32_t dt_to_stored(const char* text, int32_t* value) {
  if (text != nullptr && text[0] == '\0') {  // not set
    if (value != nullptr) *value = 0;
    return kDtOk;
  }
  int64_t unix_seconds = 0;
  const int32_t rc = dt_to_tm(text, nullptr, &unix_seconds);
  if (rc != kDtOk) return rc;
  const int64_t v = unix_seconds - kDtEpochUnix;
  if (v < std::numeric_limits<int32_t>::min() || v > std::numeric_limits<int32_t>::max()) {
    DT_TRACE(kLevelError, "dt_to_stored : >%s< beyond a 32-bit column", text);
    return kDtNoFit;
  }
  if (value != nullptr) *value = static_cast<int32_t>(v);
  return kDtOk;
}

int32_t dt_from_stored(int32_t value, char* out, size_t size) {
  clear(out, size);
  if (value == 0) return put_text("", 0, out, size);  // not set
  const int64_t unix_seconds = kDtEpochUnix + value;
  platform::LocalTime lt{};
  if (!local_time_of(unix_seconds, &lt)) {
    DT_TRACE(kLevelError, "dt_from_stored : local time of %ld not formed",
             static_cast<long>(value));
    return kDtNoLocalTime;
  }
  return put_dt(lt.year, lt.month, lt.day, lt.hour, lt.minute, lt.second, out, size);
}

int32_t dt_time_of_day(const char* dt, char* out, size_t size) {
  std::tm t{};
  int32_t rc = dt_to_tm(dt, &t);
  if (rc == kDtOk) rc = put_formatted(out, size, "%02d:%02d:%02d", t.tm_hour, t.tm_min, t.tm_sec);
  return done(rc, out, size);
}

int32_t time_of_day_to_seconds(const char* text, int64_t* seconds) {
  std::string_view s;
  int v[3];
  if (!bounded(text, &s) || scan_ints(s, "%d:%d:%d", v, 3) != 3 || v[0] < 0 || v[0] > 24 ||
      v[1] < 0 || v[1] > 60) {
    trace_invalid("time_of_day_to_seconds", text);
    return kDtUnreadable;
  }
  if (seconds != nullptr) *seconds = kSecondsPerHour * v[0] + kSecondsPerMinute * v[1] + v[2];
  return kDtOk;
}

int32_t seconds_to_time_of_day(int64_t seconds, char* out, size_t size) {
  int64_t r = seconds % kSecondsPerDay;
  if (r < 0) r += kSecondsPerDay;
  return put_formatted(out, size, "%02d:%02d:%02d", static_cast<int>(r / 3600),
                       static_cast<int>(r / 60 % 60), static_cast<int>(r % 60));
}

int32_t dt_compact_date(const char* dt, char* out, size_t size) {
  std::tm t{};
  int32_t rc = dt_to_tm(dt, &t);
  if (rc == kDtOk) {
    const int yy = static_cast<int>(((t.tm_year + 1900LL) % 100 + 100) % 100);
    rc = put_formatted(out, size, "%02d%02d%02d", yy, t.tm_mon + 1, t.tm_mday);
  }
  return done(rc, out, size);
}

int32_t dt_compact_time(const char* dt, char* out, size_t size) {
  std::tm t{};
  int32_t rc = dt_to_tm(dt, &t);
  if (rc == kDtOk) rc = put_formatted(out, size, "%02d%02d%02d", t.tm_hour, t.tm_min, t.tm_sec);
  return done(rc, out, size);
}

int32_t dt_day_of_year(const char* dt, int32_t* day, char* out, size_t size) {
  std::tm t{};
  int32_t rc = dt_to_tm(dt, &t);
  if (rc == kDtOk && day != nullptr) *day = t.tm_yday + 1;
  if (rc == kDtOk && out != nullptr) rc = put_formatted(out, size, "%03d", t.tm_yday + 1);
  return done(rc, out, size);
}

int32_t dt_from_compact(const char* date, const char* time, char* out, size_t size) {
  std::string_view d, t;
  const bool time_given = time != nullptr && time[0] != '\0';
  auto all_digits = [](std::string_view s) {
    for (char c : s) {
      if (!is_digit(c)) return false;
    }
    return true;
  };
  if (!bounded(date, &d) || (d.size() != 6 && d.size() != 8) || !all_digits(d)) {
    trace_invalid("dt_from_compact", date);
    return done(kDtUnreadable, out, size);
  }
  if (time_given && (!bounded(time, &t) || t.size() != 6 || !all_digits(t))) {
    trace_invalid("dt_from_compact", time);
    return done(kDtUnreadable, out, size);
  }
  auto two = [](std::string_view s, size_t at) { return (s[at] - '0') * 10 + (s[at + 1] - '0'); };
  int year;
  size_t at = 0;
  if (d.size() == 8) {
    year = two(d, 0) * 100 + two(d, 2);
    at = 4;
  } else {
    const int yy = two(d, 0);
    year = yy < 70 ? 2000 + yy : 1900 + yy;  // the window of POSIX strptime's %y
    at = 2;
  }
  // Compose the date-time text and read it, so that the ranges and the carrying over are
  // those of every other date-time text.
  char text[kDtTextSize];
  if (put_dt(year, two(d, at), two(d, at + 2), time_given ? two(t, 0) : 0,
             time_given ? two(t, 2) : 0, time_given ? two(t, 4) : 0, text, sizeof text) != kDtOk) {
    return done(kDtUnreadable, out, size);  // cannot happen: four-digit years always fit
  }
  return dt_normalise(text, out, size);
}

int32_t dt_normalise(const char* dt, char* out, size_t size) {
  std::tm t{};
  int32_t rc = dt_to_tm(dt, &t);
  if (rc == kDtOk) rc = tm_to_dt(t, out, size);
  return done(rc, out, size);
}

int32_t rpxdt(int16_t op, RpxdtArgs* a) {
  if (a == nullptr) {
    DT_TRACE(kLevelError, "rpxdt : operation %d without arguments", op);
    return kDtBadCall;
  }
  switch (op) {
    case kDtOpNow:
      return dt_now(a->out, a->out_size);
    case kDtOpCopy:
      return dt_copy(a->out, a->out_size, a->text1);
    case kDtOpCompare: {
      int16_t order = 0;
      const int32_t rc = dt_compare(&order, a->text1, a->text2);
      if (rc == kDtOk) a->value = order;
      return rc;
    }
    case kDtOpAdd:
      return dt_add_interval(a->text1, a->text2, a->out, a->out_size);
    case kDtOpDifference:
      return dt_difference(a->text1, a->text2, &a->value, a->out, a->out_size);
    case kDtOpSubtract:
      return dt_subtract_interval(a->text1, a->text2, a->out, a->out_size);
    case kDtOpSecondsToInterval:
      return seconds_to_interval(a->value, a->out, a->out_size);
    case kDtOpIntervalToSeconds:
      return interval_to_seconds(a->text1, &a->value);
    case kDtOpIntervalTimes:
      return interval_times(a->text1, a->factor, a->out, a->out_size);
    case kDtOpToStored: {
      int32_t v = 0;
      const int32_t rc = dt_to_stored(a->text1, &v);
      if (rc == kDtOk) a->value = v;
      return rc;
    }
    case kDtOpFromStored:
      if (a->value < std::numeric_limits<int32_t>::min() ||
          a->value > std::numeric_limits<int32_t>::max()) {
        clear(a->out, a->out_size);
        DT_TRACE(kLevelError, "rpxdt 10 : %lld is no stored value",
                 static_cast<long long>(a->value));
        return kDtUnreadable;
      }
      return dt_from_stored(static_cast<int32_t>(a->value), a->out, a->out_size);
    case kDtOpTimeOfDay:
      return dt_time_of_day(a->text1, a->out, a->out_size);
    case kDtOpTimeOfDayToSeconds:
      return time_of_day_to_seconds(a->text1, &a->value);
    case kDtOpSecondsToTimeOfDay:
      return seconds_to_time_of_day(a->value, a->out, a->out_size);
    case kDtOpCompactDate:
      return dt_compact_date(a->text1, a->out, a->out_size);
    case kDtOpCompactTime:
      return dt_compact_time(a->text1, a->out, a->out_size);
    case kDtOpDayOfYear: {
      int32_t day = 0;
      const int32_t rc = dt_day_of_year(a->text1, &day, a->out, a->out_size);
      if (rc == kDtOk) a->value = day;
      return rc;
    }
    case kDtOpFromCompact:
      return dt_from_compact(a->text1, a->text2, a->out, a->out_size);
    case kDtOpNormalise:
      return dt_normalise(a->text1, a->out, a->out_size);
    default:
      DT_TRACE(kLevelError, "rpxdt : unknown operation %d", op);
      return kDtBadCall;
  }
}

}  // namespace kyt
