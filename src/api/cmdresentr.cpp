// RESENTR: resident receive entries from the command language. The line's keywords fill the
// same record as the exported kytResidentReceiveEntry, and the same code checks and writes
// it, so a line and a client call give the same rows and the same codes.
//
//   RESENTR [/CREATE | /REPLACE | /DELETE] DSN=vdsn SID=station [DSNNEW=file] [REPLACE=I|N|R]
//           [DISP=D|K] [TSTAMP=n] [JOB=file] [ACCOUNT=acct] [COMMENT=text] [VFTYP=c]
//           [CODETRANS=c] [CODETABLE=file] [FLAGCOMP=n] [FLAGCRYP=n] [LUID=*] [UID=*]
//
// Without a positional parameter the entry is created. Codes besides those of the entry:
// -5 for an unknown positional parameter, a value too long for its member, a number that is
// not one, a VFTYP or CODETRANS of more than one character, or LUID / UID other than "*"
// (an entry is for every local and every sending user).
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "api/calre.h"
#include "api/verbs.h"
#include "runtime/runtime.h"

namespace kyt::api {
namespace {

bool same_word(const char* a, const char* b) {
  for (; *a != '\0' && *b != '\0'; ++a, ++b)
    if (std::toupper(static_cast<unsigned char>(*a)) != *b) return false;
  return *a == '\0' && *b == '\0';
}

// Copies a keyword's value into a member; false when it does not fit (so the entry's own
// length check cannot be bypassed by cutting).
template <size_t N>
bool put(char (&dst)[N], const char* value) {
  if (value == nullptr) return true;
  if (std::strlen(value) >= N) return false;
  std::memcpy(dst, value, std::strlen(value) + 1);
  return true;
}

// A 16-bit flag: decimal digits with an optional sign, or Y/YES (1) and N/NO (0).
bool flag(const char* value, int16_t* out) {
  if (value == nullptr) return true;
  if (same_word(value, "Y") || same_word(value, "YES")) {
    *out = 1;
    return true;
  }
  if (same_word(value, "N") || same_word(value, "NO")) {
    *out = 0;
    return true;
  }
  int64_t v = 0;
  if (parse_int(value, -32768, 32767, &v, NumSyntax{false, true, false}) != NumText::kOk)
    return false;
  *out = static_cast<int16_t>(v);
  return true;
}

bool letter(char (&dst)[2], const char* value) {
  if (value == nullptr) return true;
  if (std::strlen(value) > 1) return false;
  dst[0] = value[0];
  dst[1] = '\0';
  return true;
}

// REPLACE and DISP go by their first letter, so REPLACE=NO and DISP=KEEP read naturally.
void first_letter(char (&dst)[2], const char* value) {
  if (value == nullptr) return;
  dst[0] = value[0];
  dst[1] = '\0';
}

}  // namespace

int32_t verb_resentr(const cmd_args& args, cmd_msg* msg) {
  set_command_number(0);
  int32_t action = KYT_RE_CREATE;
  if (const char* p = args.positional(0); p != nullptr) {
    if (same_word(p, "CREATE")) {
      action = KYT_RE_CREATE;
    } else if (same_word(p, "REPLACE")) {
      action = KYT_RE_REPLACE;
    } else if (same_word(p, "DELETE")) {
      action = KYT_RE_DELETE;
    } else {
      return kReBadField;
    }
  }
  for (const char* k : {"LUID", "UID"}) {
    const char* v = args.value(k);
    if (v != nullptr && std::strcmp(v, "*") != 0) return kReBadField;
  }
  kyt_re_record rec{};
  const bool ok = put(rec.vdsn, args.value("DSN")) && put(rec.sidsender, args.value("SID")) &&
                  put(rec.dsnlocal, args.value("DSNNEW")) &&
                  flag(args.value("TSTAMP"), &rec.flagtstamp) &&
                  put(rec.batchjob, args.value("JOB")) &&
                  put(rec.acctrecvr, args.value("ACCOUNT")) &&
                  put(rec.commentre, args.value("COMMENT")) &&
                  letter(rec.vftyp, args.value("VFTYP")) &&
                  letter(rec.codetrans, args.value("CODETRANS")) &&
                  put(rec.codetable, args.value("CODETABLE")) &&
                  flag(args.value("FLAGCOMP"), &rec.flagcomp) &&
                  flag(args.value("FLAGCRYP"), &rec.flagcryp);
  if (!ok) return kReBadField;
  first_letter(rec.replace, args.value("REPLACE"));
  first_letter(rec.disp, args.value("DISP"));
  const int32_t rc = re_apply(action, &rec);
  if (rc != 0) return rc;
  if (action != KYT_RE_DELETE) set_command_number(rec.cn);
  (void)msg;  // kytcmd reports the line as executed
  return 0;
}

}  // namespace kyt::api
