// USER: the users of the station (BT). "USER /CREATE", "/MODIFY" and "/DELETE" with the
// keywords UID, NAME, LANGUAGE, PRIV, PASSWORD, USERSID, PROFSESS; each change and its done
// command row (type "US") are one transaction.
#include <cctype>
#include <cstring>
#include <string>

#include "api/cmdutil.h"
#include "api/verbs.h"
#include "services/services.h"
#include "sql/sql.h"

namespace kyt::api {
namespace {

enum class Action { kCreate, kModify, kDelete };

bool one_of(const char* v, const char* letters) {
  return v[0] != '\0' && v[1] == '\0' &&
         std::strchr(letters, std::toupper(static_cast<unsigned char>(v[0]))) != nullptr;
}

bool is_letter(const char* v) {
  return v[0] != '\0' && v[1] == '\0' && std::isalpha(static_cast<unsigned char>(v[0]));
}

// Puts the given keywords into *u; kVerbBadValue for a value that does not fit its column or
// is not allowed, kVerbNoStation for a USERSID not in ST.
int32_t apply(const cmd_args& args, kyt_bt_elem* u) {
  if (const char* v = args.value("NAME")) {
    if (*v == '\0' || !copy_text(u->nameusr, sizeof u->nameusr, v)) return kVerbBadValue;
  }
  if (const char* v = args.value("LANGUAGE")) {
    if (!is_letter(v)) return kVerbBadValue;
    copy_text(u->language, sizeof u->language, v, true);
  }
  if (const char* v = args.value("PRIV")) {
    if (!one_of(v, "AOU")) return kVerbBadValue;
    copy_text(u->privusr, sizeof u->privusr, v, true);
  }
  if (const char* v = args.value("PROFSESS")) {
    if (!(*v == '\0' || is_letter(v))) return kVerbBadValue;
    copy_text(u->profsess, sizeof u->profsess, v, true);
  }
  if (const char* v = args.value("PASSWORD")) {
    if (!copy_text(u->password, sizeof u->password, v)) return kVerbBadValue;
  }
  if (const char* v = args.value("USERSID")) {
    if (!copy_text(u->usersid, sizeof u->usersid, v, true)) return kVerbBadValue;
    if (u->usersid[0] != '\0') {
      int32_t rc = 0;
      if (!station_exists(u->usersid, &rc)) return rc != 0 ? rc : kVerbNoStation;
    }
  }
  return 0;
}

int32_t change(Action action, const cmd_args& args) {
  const char* uid = args.value("UID");
  if (uid == nullptr || *uid == '\0') return refuse("USER", kVerbMissing, "UID missing");
  kyt_bt_elem u{};
  if (!copy_text(u.uid, sizeof u.uid, uid, true)) return refuse("USER", kVerbBadValue, "UID too long");
  kyt_bt_elem old{};
  int32_t rc = getBTelemByUid(u.uid, &old);
  const bool exists = rc == 0;
  if (rc != 0 && rc != RPDSQL_NOT_FOUND) return rc;
  if (action == Action::kCreate) {
    if (exists) return refuse("USER", kVerbExists, "user exists already");
    if (!args.given("NAME")) return refuse("USER", kVerbMissing, "NAME missing");
    copy_text(u.language, sizeof u.language, "E");
    copy_text(u.privusr, sizeof u.privusr, "U");
  } else {
    if (!exists) return refuse("USER", kVerbNotFound, "no such user");
    u = old;
  }
  if (action != Action::kDelete) {
    rc = apply(args, &u);
    if (rc != 0) return refuse("USER", rc, "value not accepted");
  }
  Transaction t;
  rc = t.begin();
  if (rc != 0) return rc;
  if (action == Action::kCreate) {
    rc = insBTelem(&u);
  } else if (action == Action::kModify) {
    rc = tm::update(Tab::kBT, "USER /MODIFY", &u,
                    {"NAMEUSR", "PRIVUSR", "PROFSESS", "LANGUAGE", "PASSWORD", "USERSID"});
  } else {
    rc = delBTelem(u.uid);
  }
  int32_t cn = 0;
  if (rc == 0) rc = new_command("US", "dn", priority_parameter("OKPRIO", 10), true, &cn);
  return t.end(rc);
}

}  // namespace

int32_t verb_user(const cmd_args& args, cmd_msg*) {
  const char* action = args.positional(0);
  if (action == nullptr) return refuse("USER", kVerbMissing, "no action");
  const std::string a = upper(action);
  if (a == "CREATE") return change(Action::kCreate, args);
  if (a == "MODIFY") return change(Action::kModify, args);
  if (a == "DELETE") return change(Action::kDelete, args);
  return refuse("USER", kVerbUnknownAction, "unknown action");
}

}  // namespace kyt::api
