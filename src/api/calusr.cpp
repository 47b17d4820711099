#include "api/calusr.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>

#include "api/calflush.h"
#include "kyt/kyt.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kyt::api {
namespace {

constexpr const char* kModule = "kytcal";
constexpr const char* kTopic = "A";
constexpr size_t kParmNameMax = 19;
constexpr size_t kParmValMax = 39;
constexpr size_t kKeyMax = 128;
constexpr size_t kValueMax = 1024;
constexpr int64_t kTouchInterval = 60;  // seconds between two refreshes of the RI row

struct Registration {
  int32_t kytid = 0;
  int64_t last_touch = 0;
};
Registration& reg() {
  static Registration r;
  return r;
}

// The parameter name upper-cased into out (20 bytes); false for NULL or 20 characters and
// more.
bool parm_name(const char* name, char (&out)[20]) {
  if (name == nullptr) return false;
  const size_t n = strnlen(name, kParmNameMax + 1);
  if (n > kParmNameMax) return false;
  for (size_t i = 0; i < n; ++i)
    out[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[i])));
  out[n] = '\0';
  return true;
}

// The row `name` of PT into *out. 0, RPDSQL_NOT_FOUND or the failing status.
int32_t read_parm(const char (&name)[20], kyt_parm* out) {
  char key[20];
  std::memcpy(key, name, sizeof key);
  kyt_parm row{};
  const HostVar vars[] = {{KYT_HOST_TEXT, key},
                          {KYT_HOST_INT16, &row.TYPE},
                          {KYT_HOST_INT32, &row.LEN},
                          {KYT_HOST_TEXT, row.VAL}};
  const int32_t rc =
      rpdsql_run("DECLARE kgparm CURSOR FOR SELECT TYPE, LEN, VAL FROM PT WHERE NAME = ?", vars);
  rpdsql_run("CLOSE kgparm");
  if (rc != 0) return rc;
  std::memcpy(row.NAME, name, sizeof row.NAME);
  *out = row;
  return 0;
}

template <size_t N>
void copy_cut(char (&dst)[N], const char* src, size_t max) {
  const size_t n = std::min({strnlen(src, max), N - 1});
  std::memcpy(dst, src, n);
  dst[n] = '\0';
}

// Copies text into a caller's buffer of *length bytes: at most *length - 1 characters and a
// zero; *length becomes the number copied (0 and nothing written when *length is below 1).
void give(const char* text, char* buffer, int32_t* length) {
  if (*length < 1) {
    *length = 0;
    return;
  }
  const size_t n = std::min(std::strlen(text), static_cast<size_t>(*length - 1));
  std::memcpy(buffer, text, n);
  buffer[n] = '\0';
  *length = static_cast<int32_t>(n);
}

int32_t touch(bool forced) {
  Registration& r = reg();
  if (r.kytid == 0) return -5;
  const int64_t now = platform::now_seconds();
  if (!forced && r.last_touch != 0 && now - r.last_touch < kTouchInterval) return 0;
  kyt_ri_elem e{};
  e.kytid = r.kytid;
  dt_now(e.dtlastused, sizeof e.dtlastused);
  const int32_t rc = tm::update(Tab::kRI, "updDTlast", &e, {"DTLASTUSED"});
  if (rc != 0) {
    if (forced)
      KYT_TRACE(kModule, kTopic, 1, "calutil forced_touch_ri updDTlast failed with %d", rc);
    else
      KYT_TRACE(kModule, kTopic, 1, "caltuil touch_ri updDTlast failed with %d", rc);
    return map_table_code(rc, "updDTlast");
  }
  r.last_touch = now;
  return 0;
}

// Sets the SQL layer's cursor mode from `variable`: its decimal value, 2 (stable) when it is
// not set or empty. 0, or -5 (mode unchanged) for a value that is no mode.
int32_t cursor_mode_from(const char* variable) {
  std::string text;
  int64_t mode = kCursorStable;
  if (platform::get_env(variable, &text) && !text.empty() &&
      parse_int(text, 0, INT32_MAX, &mode, NumSyntax{.blanks = true, .sign = true}, nullptr) !=
          NumText::kOk)
    mode = -1;
  if (!isa_set_cursor_mode(static_cast<int>(mode))) {
    KYT_TRACE(kModule, kTopic, 1, "%s=%s is no cursor mode (1 snapshot, 2 stable)", variable,
              text.c_str());
    return -5;
  }
  KYT_TRACE(kModule, kTopic, 3, "cursor mode %d from %s", static_cast<int>(mode), variable);
  return 0;
}

}  // namespace

int32_t map_table_code(int32_t rc, const char* context) {
  switch (rc) {
    case 0:
    case 99:
      return rc;
    case RPDSQL_NOT_FOUND:
      return -1;
    case RPDSQL_CLOSE_FAILED:
      return -2;
    case RPDSQL_OPEN_FAILED:
      return -3;
    default:
      KYT_TRACE(kModule, kTopic, 1, "%s returns %d", context, rc);
      return 99;
  }
}

int32_t registered_kytid() { return reg().kytid; }

void calusr_reset_for_tests() { reg() = Registration{}; }

}  // namespace kyt::api

using kyt::api::map_table_code;

// ---- parameters --------------------------------------------------------------------------

extern "C" int32_t kytGetParm(const char* name, kyt_parm* out) {
  return kyt::api_guard("kytGetParm", [&]() -> int32_t {
    char key[20];
    if (!kyt::api::parm_name(name, key)) return -5;
    if (out == nullptr) return 99;
    const int32_t rc = kyt::api::read_parm(key, out);
    if (rc != 0) {
      if (rc != kyt::RPDSQL_NOT_FOUND)
        KYT_TRACE(kyt::api::kModule, kyt::api::kTopic, 1, "kytGetParm %s returns %d", key, rc);
      return 12;
    }
    return 0;
  });
}

extern "C" int32_t kytWriteParm(const char* name, const kyt_parm* in) {
  return kyt::api_guard("kytWriteParm", [&]() -> int32_t {
    char key[20];
    if (!kyt::api::parm_name(name, key)) return -5;
    if (in == nullptr) return 99;
    if (kyt::sqlSetAutocommOff() != 0) {
      kyt::sqlSetAutocommOn();
      return 99;
    }
    auto give_up = [](int32_t code) {
      kyt::sqlRollback();
      kyt::sqlSetAutocommOn();
      return code;
    };
    kyt_parm row{};
    if (kyt::api::read_parm(key, &row) != 0) return give_up(12);
    kyt_pt_elem e{};
    std::memcpy(e.name, key, sizeof e.name);
    kyt::api::copy_cut(e.val, in->VAL, kyt::api::kParmValMax);
    int32_t rc = kyt::tm::update(kyt::Tab::kPT, "kytWriteParm", &e, {"VAL"});
    if (rc != 0) return give_up(99);
    rc = kyt::sqlSetAutocommOn();
    if (rc != 0) {
      KYT_TRACE(kyt::api::kModule, kyt::api::kTopic, 1, "kytWriteParm commit returns %d", rc);
      kyt::sqlRollback();
      return 99;
    }
    kyt::api::flush_monitors(kyt::api::kFlushParameters);
    return 0;
  });
}

extern "C" int32_t kytGetNextParm(const char* name, kyt_parm* out) {
  return kyt::api_guard("kytGetNextParm", [&]() -> int32_t {
    char key[20];
    if (!kyt::api::parm_name(name, key)) return -5;
    if (out == nullptr) return 99;
    kyt_parm row{};
    const kyt::HostVar vars[] = {{KYT_HOST_TEXT, key},
                                 {KYT_HOST_TEXT, row.NAME},
                                 {KYT_HOST_INT16, &row.TYPE},
                                 {KYT_HOST_INT32, &row.LEN},
                                 {KYT_HOST_TEXT, row.VAL}};
    const int32_t rc = kyt::rpdsql_run(
        " DECLARE ptc CURSOR FOR SELECT NAME, TYPE, LEN, VAL FROM PT WHERE NAME > ?  ORDER BY NAME",
        vars);
    kyt::rpdsql_run("CLOSE ptc");
    if (rc == 0) *out = row;
    return map_table_code(rc, "kytGetNextParm");
  });
}

extern "C" int32_t kytGetConf(int32_t item, char* buffer) {
  return kyt::api_guard("kytGetConf", [&]() -> int32_t {
    static const char* const kItems[] = {"PATH",   "DB",      "INIT",
                                         "SYSTEM", "ARCDIR",  "TEMP",
                                         "USRDAT", "SAMPLES", "SERVER",
                                         "PORT",   "AP_DISPLAY_INTERVAL", "LANGUAGE",
                                         "DBLOG"};
    if (buffer == nullptr) return -5;
    if (item < 1 || item > 13) return 12;
    std::string value;
    if (kyt::lpdsn_get(kItems[item - 1], &value) != 0) return 12;
    int32_t length = 256;
    kyt::api::give(value.c_str(), buffer, &length);
    return 0;
  });
}

// ---- user information --------------------------------------------------------------------

extern "C" int32_t kytUserInfoSet(const char* key, const char* value, int32_t* length) {
  return kyt::api_guard("kytUserInfoSet", [&]() -> int32_t {
    if (key == nullptr || *key == '\0' || value == nullptr) return -5;
    kyt_tt_elem e{};
    kyt::api::copy_cut(e.key, key, kyt::api::kKeyMax);
    kyt::api::copy_cut(e.text, value, kyt::api::kValueMax);
    if (kyt::sqlSetAutocommOff() != 0) {
      kyt::sqlSetAutocommOn();
      return 99;
    }
    kyt_tt_elem old{};
    int32_t rc = kyt::getTTelemByKey(e.key, &old);
    if (rc == 0) {
      rc = kyt::tm::update(kyt::Tab::kTT, "kytUserInfoSet", &e, {"TEXT"});
    } else if (rc == kyt::RPDSQL_NOT_FOUND) {
      rc = kyt::tm::insert(kyt::Tab::kTT, "kytUserInfoSet", &e);
    }
    if (rc != 0) {
      kyt::sqlRollback();
      kyt::sqlSetAutocommOn();
      return map_table_code(rc == kyt::RPDSQL_NOT_FOUND ? 99 : rc, "kytUserInfoSet");
    }
    rc = kyt::sqlSetAutocommOn();
    if (rc != 0) {
      kyt::sqlRollback();
      return map_table_code(rc, "kytUserInfoSet commit");
    }
    if (length != nullptr) *length = static_cast<int32_t>(std::strlen(e.text));
    return 0;
  });
}

extern "C" int32_t kytUserInfoGet(const char* key, char* buffer, int32_t* length) {
  return kyt::api_guard("kytUserInfoGet", [&]() -> int32_t {
    if (key == nullptr || buffer == nullptr || length == nullptr) return -5;
    kyt_tt_elem e{};
    char k[kyt::api::kKeyMax + 1];
    kyt::api::copy_cut(k, key, kyt::api::kKeyMax);
    const int32_t rc = kyt::getTTelemByKey(k, &e);
    if (rc != 0) return map_table_code(rc, "kytUserInfoGet");
    kyt::api::give(e.text, buffer, length);
    return 0;
  });
}

extern "C" int32_t kytUserInfoGetNext(char* key, int32_t* keylength, char* buffer,
                                      int32_t* length) {
  return kyt::api_guard("kytUserInfoGetNext", [&]() -> int32_t {
    if (key == nullptr || keylength == nullptr || buffer == nullptr || length == nullptr)
      return -5;
    if (*keylength < 1 || *length < 1) return -5;
    char after[kyt::api::kKeyMax + 1];
    const size_t n = strnlen(key, static_cast<size_t>(*keylength));
    kyt::api::copy_cut(after, std::string(key, n).c_str(), kyt::api::kKeyMax);
    kyt_tt_elem e{};
    const kyt::HostVar vars[] = {
        {KYT_HOST_TEXT, after}, {KYT_HOST_TEXT, e.key}, {KYT_HOST_TEXT, e.text}};
    const int32_t rc = kyt::rpdsql_run(
        " DECLARE ptt CURSOR FOR SELECT KEY, TEXT FROM TT WHERE KEY > ?  ORDER BY KEY", vars);
    kyt::rpdsql_run("CLOSE ptt");
    if (rc != 0) return map_table_code(rc, "kytUserInfoGetNext");
    kyt::api::give(e.key, key, keylength);
    kyt::api::give(e.text, buffer, length);
    return 0;
  });
}

extern "C" int32_t kytUserInfoDelete(const char* key) {
  return kyt::api_guard("kytUserInfoDelete", [&]() -> int32_t {
    if (key == nullptr) return -5;
    char k[kyt::api::kKeyMax + 1];
    kyt::api::copy_cut(k, key, kyt::api::kKeyMax);
    kyt_tt_elem e{};
    int32_t rc = kyt::getTTelemByKey(k, &e);
    if (rc != 0) return map_table_code(rc, "kytUserInfoDelete");
    const kyt::HostVar vars[] = {{KYT_HOST_TEXT, k}};
    rc = kyt::rpdsql_run("DELETE FROM TT WHERE KEY = ?", vars);
    return map_table_code(rc, "kytUserInfoDelete");
  });
}

// ---- client initialisation and registration ----------------------------------------------

extern "C" int32_t kytcalInit(void) {
  return kyt::api_guard("kytcalInit", [&]() -> int32_t {
    const int rc = kyt::lpdsn_init();
    if (rc != 0) {
      KYT_TRACE(kyt::api::kModule, kyt::api::kTopic, 1, "kytcalInit: %s (%d)",
                kyt::lpdsn_error_text().c_str(), rc);
      return 99;
    }
    return 0;
  });
}

extern "C" int32_t kytcalUninit(void) {
  return kyt::api_guard("kytcalUninit", [&]() -> int32_t {
    return map_table_code(kyt::sqlCloseDB(), "kytcalUninit");
  });
}

extern "C" int32_t kytcalMWInit(void) {
  return kyt::api_guard("kytcalMWInit", [&]() -> int32_t {
    kyt::api::Registration& r = kyt::api::reg();
    if (r.kytid != 0) return 0;
    if (kyt::sqlSetAutocommOff() != 0) {
      kyt::sqlSetAutocommOn();
      return 99;
    }
    // The number: one above the highest of the table, drawn while RI is held by this
    // transaction, so two clients never take the same.
    int32_t highest = 0, id = 0;
    const kyt::HostVar out[] = {{KYT_HOST_INT32, &id}};
    int32_t rc = kyt::rpdsql_run("DECLARE kytri CURSOR FOR SELECT KYTID FROM RI", out);
    while (rc == 0) {
      highest = std::max(highest, id);
      rc = kyt::rpdsql_run("FETCH kytri", out);
    }
    kyt::rpdsql_run("CLOSE kytri");
    if (rc == kyt::RPDSQL_NOT_FOUND && highest < INT32_MAX) {
      kyt_ri_elem e{};
      e.kytid = highest + 1;
      const std::string exe = kyt::platform::executable_path();
      kyt::api::copy_cut(e.mname, exe.c_str(), sizeof e.mname - 1);
      std::snprintf(e.ptype, sizeof e.ptype, "W");
      e.pid = static_cast<int32_t>(kyt::platform::process_id());
      kyt::dt_now(e.dtlastused, sizeof e.dtlastused);
      std::snprintf(e.stopmode, sizeof e.stopmode, "N");
      rc = kyt::insRIelem(&e);
      if (rc == 0) {
        rc = kyt::sqlSetAutocommOn();
        if (rc == 0) {
          r.kytid = e.kytid;
          r.last_touch = kyt::platform::now_seconds();
          return 0;
        }
        kyt::sqlRollback();
        return map_table_code(rc, "kytcalMWInit commit");
      }
    } else if (rc == kyt::RPDSQL_NOT_FOUND) {
      rc = 99;
    }
    kyt::sqlRollback();
    kyt::sqlSetAutocommOn();
    return map_table_code(rc, "kytcalMWInit");
  });
}

extern "C" int32_t kytcalMWUninit(void) {
  return kyt::api_guard("kytcalMWUninit", [&]() -> int32_t {
    kyt::api::Registration& r = kyt::api::reg();
    if (r.kytid == 0) return 0;
    const int32_t rc = kyt::delRIelem(r.kytid);
    if (rc != 0 && rc != kyt::RPDSQL_NOT_FOUND) return map_table_code(rc, "kytcalMWUninit");
    r = kyt::api::Registration{};
    return 0;
  });
}

extern "C" int32_t kytcalTouchRI(void) {
  return kyt::api_guard("kytcalTouchRI", [&]() -> int32_t { return kyt::api::touch(false); });
}

extern "C" int32_t kytcalForcedTouchRI(void) {
  return kyt::api_guard("kytcalForcedTouchRI",
                        [&]() -> int32_t { return kyt::api::touch(true); });
}

extern "C" int32_t kytcalSetListCursor(void) {
  return kyt::api_guard("kytcalSetListCursor",
                        [&]() -> int32_t { return kyt::api::cursor_mode_from("KYTLISTCURSOR"); });
}

extern "C" int32_t kytcalSetNormalCursor(void) {
  return kyt::api_guard("kytcalSetNormalCursor", [&]() -> int32_t {
    return kyt::api::cursor_mode_from("KYTNORMALCURSOR");
  });
}

// ---- errors ------------------------------------------------------------------------------

extern "C" int32_t kytGetErrorInfoCn(int32_t cn, kyt_error_info* out) {
  return kyt::api_guard("kytGetErrorInfoCn", [&]() -> int32_t {
    if (out == nullptr) return -5;
    kyt_fk_elem e{};
    const int32_t rc = kyt::getFKelemByCn(cn, &e);
    if (rc != 0) return map_table_code(rc, "kytGetErrorInfoCn");
    kyt_error_info info{};
    info.err = e.err;
    info.errnum = e.errno_;
    info.errtype = e.errtype;
    std::snprintf(info.dtcreated, sizeof info.dtcreated, "%s", e.dtcreated);
    kyt::api::copy_cut(info.errmsg, e.errmsg, sizeof info.errmsg - 1);
    *out = info;
    return 0;
  });
}
