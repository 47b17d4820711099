// Arbitrary RESENTR lines against a real station database (a partner PARTNER1, a user ADMIN
// with privilege A, a job file job.sh): the keywords go through the verb's handler into the
// resident receive entry's checks and writes. Each line runs inside a transaction that is
// rolled back, so the tables stay as set up. Whatever the line, the answer is one of the
// codes of the parser or of the entry, and a created entry's row holds what the checks allow.
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "api/calre.h"
#include "api/verbs.h"
#include "kyt/kyt.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"

namespace {

void check(bool ok) {
  if (!ok) __builtin_trap();
}

bool setup(kyt::CommandSet* set) {
  const std::string dir = kyt::platform::make_temp_directory("kytfuzzre");
  for (const char* name : {"/kytenv.dat", "/job.sh"}) {
    std::FILE* f = std::fopen((dir + name).c_str(), "w");
    if (f != nullptr) std::fclose(f);
  }
  if (kyt::lpdsn_init_file(dir + "/kytenv.dat") != 0) return false;
  kyt::lpdsn_set("DB", dir.c_str());
  kyt::lpdsn_set("DSN_KYT_LOG", (dir + "/rlog.log").c_str());
  if (kyt::rpdsql_run("OPEN DB") != 0 || kyt::isa_create_catalogue() != 0) return false;
  if (rpdini() != 0) return false;
  if (kyt::rpdsql_run("INSERT INTO ST VALUES('PARTNER1', 'N', 'P', '', '')") != 0) return false;
  if (kyt::rpdsql_run("INSERT INTO BT VALUES('ADMIN', 'A', 'A', '', 'E', '', '')") != 0)
    return false;
  kytSetUser("ADMIN");
  return kyt::rpxcid(*set,
                     "RESENTR: 0-1 ACCOUNT COMMENT DISP DSN DSNNEW JOB LUID REPLACE SID TSTAMP "
                     "UID  VFTYP CODETRANS CODETABLE FLAGCOMP FLAGCRYP",
                     kyt::api::verb_resentr) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static kyt::CommandSet set;
  static const bool ready = setup(&set);
  if (!ready) __builtin_trap();
  std::string line = "RESENTR ";
  line.append(reinterpret_cast<const char*>(data), size);
  kyt::sqlSetAutocommOff();
  kyt::cmd_msg msg;
  const int32_t rc = kyt::rpxcie(set, line, &msg);
  const int32_t cn = kyt::api::command_number();
  check(rc == 0 || rc == -5 || rc == -7 || (rc >= 1 && rc <= 6) || rc == 13 || rc == 14 ||
        rc == 16 || rc == 17 || rc == 19 || rc == 99 || rc == 256120);
  if (rc == 0 && cn > 0) {
    kyt_re_elem e{};
    check(kyt::getREelemByCn(cn, &e) == 0);
    check(std::strlen(e.vdsn) >= 1 && std::strlen(e.vdsn) <= 26);
    for (const char* c = e.vdsn; *c != '\0'; ++c) check(!std::islower(static_cast<unsigned char>(*c)));
    check(std::strcmp(e.sidsender, "PARTNER1") == 0);
    check(std::strchr("INR", e.replace[0]) != nullptr && e.replace[0] != '\0');
    check(std::strchr("DK", e.disp[0]) != nullptr && e.disp[0] != '\0');
    check(std::strcmp(e.uidlocal, "*") == 0 && std::strcmp(e.uidcreator, "ADMIN") == 0);
  }
  kyt::sqlRollback();
  kyt::sqlSetAutocommOn();
  kyt::api::set_command_number(0);
  kyt::api::re_reset_for_tests();
  return 0;
}
