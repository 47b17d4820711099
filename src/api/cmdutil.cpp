// cmdutil: the handlers' shared pieces (see cmdutil.h), and the command number kytcal hands
// back.
#include "api/cmdutil.h"

#include <cctype>
#include <cstring>

#include "api/verbs.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kyt::api {
namespace {

constexpr const char* kModule = "kytcal";
constexpr const char* kTopic = "c";

int32_t g_command_number = 0;

}  // namespace

void set_command_number(int32_t cn) { g_command_number = cn; }
int32_t command_number() { return g_command_number; }

Transaction::~Transaction() {
  if (open_) end(kVerbFailed);
}

int32_t Transaction::begin() {
  const int32_t rc = sqlSetAutocommOff();
  open_ = true;
  if (rc != 0) {
    KYT_TRACE(kModule, kTopic, 1, "command transaction begin returns %d", rc);
    end(rc);
  }
  return rc;
}

int32_t Transaction::end(int32_t rc) {
  if (!open_) return rc;
  open_ = false;
  if (rc != 0) {
    sqlRollback();
    set_command_number(0);  // the number went back with the rows
  }
  const int32_t done = sqlSetAutocommOn();
  if (rc == 0 && done != 0) {
    KYT_TRACE(kModule, kTopic, 1, "command transaction commit returns %d", done);
    return done;
  }
  return rc;
}

int32_t new_command(const char* type, const char* status, int16_t priority, bool done,
                    int32_t* cn) {
  *cn = 0;
  int32_t number = 0;
  int32_t rc = next_command_number(&number);
  if (rc != 0) {
    KYT_TRACE(kModule, kTopic, 1, "new_command next_command_number returns %d", rc);
    return rc;
  }
  kyt_kt_elem kt{};
  kt.cn = number;
  copy_text(kt.cmdtype, sizeof kt.cmdtype, type);
  copy_text(kt.status, sizeof kt.status, status);
  kt.priority = priority;
  dt_now(kt.dtcreated, sizeof kt.dtcreated);
  if (done) dt_copy(kt.dtdone, sizeof kt.dtdone, kt.dtcreated);
  rc = insKT(&kt);
  if (rc != 0) {
    KYT_TRACE(kModule, kTopic, 1, "new_command insKT (%d) returns %d", number, rc);
    return rc;
  }
  *cn = number;
  set_command_number(number);
  return 0;
}

const char* keyword_or_positional(const cmd_args& args, const char* keyword, int pos,
                                  int32_t* rc) {
  const char* k = args.value(keyword);
  const char* p = pos >= 0 ? args.positional(pos) : nullptr;
  if (k != nullptr && p != nullptr) {
    *rc = kVerbBadValue;
    return nullptr;
  }
  return k != nullptr ? k : p;
}

bool copy_text(char* out, size_t size, std::string_view value, bool up) {
  if (size == 0 || value.size() > size - 1) return false;
  for (size_t i = 0; i < value.size(); ++i) {
    const char c = value[i];
    out[i] = up ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c;
  }
  out[value.size()] = '\0';
  return true;
}

bool read_number(const char* text, int32_t lo, int32_t hi, int32_t* out) {
  if (text == nullptr) return false;
  const char* p = text;
  bool negative = false;
  if (*p == '+' || *p == '-') negative = *p++ == '-';
  if (*p == '\0') return false;
  int64_t v = 0;
  for (; *p != '\0'; ++p) {
    if (*p < '0' || *p > '9') return false;
    v = v * 10 + (*p - '0');
    if (v > 4294967296LL) return false;
  }
  if (negative) v = -v;
  if (v < lo || v > hi) return false;
  *out = static_cast<int32_t>(v);
  return true;
}

bool read_cn(const char* text, int32_t* cn) { return read_number(text, 1, 2147483647, cn); }

std::string upper(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

int16_t priority_parameter(const char* name, int16_t fallback) {
  std::string text;
  int32_t v = 0;
  if (rpdprm_get_text(name, &text) != 0 || !read_number(text.c_str(), -32768, 32767, &v)) {
    return fallback;
  }
  return static_cast<int16_t>(v);
}

bool station_exists(const char* sid, int32_t* rc) {
  kyt_st_elem st{};
  const int32_t r = getSTelemBySid(sid, &st);
  if (r == 0) return true;
  if (r != RPDSQL_NOT_FOUND) *rc = r;
  return false;
}

int32_t refuse(const char* verb, int32_t rc, const char* why) {
  KYT_TRACE(kModule, kTopic, 1, "%s refused (%d): %s", verb, rc, why);
  return rc;
}

}  // namespace kyt::api
