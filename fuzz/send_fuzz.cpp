// Feeds arbitrary bytes to the send entry paths on one station database: as the rest of a
// SEND command line through the SEND verb's handler, and split at byte 0x01 into the text
// fields of a send request through kytCreateSendEntryS. Checks that a request refused with
// -5 ran no command, and that an entry reported made has its command row.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "api/calsnd.h"
#include "api/verbs.h"
#include "kyt/kyt.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "sql/sql.h"

namespace {

void check(bool ok) {
  if (!ok) __builtin_trap();
}

struct Station {
  kyt::CommandSet set;
  std::string file;
  Station() {
    const std::string dir = kyt::platform::make_temp_directory("kytsendfuzz");
    const char sep = kyt::platform::path_separator();
    const std::string env = dir + sep + "kytenv.dat";
    file = dir + sep + "payload.dat";
    for (const std::string* f : {&env, static_cast<const std::string*>(&file)})
      if (std::FILE* h = std::fopen(f->c_str(), "w")) std::fclose(h);
    check(kyt::lpdsn_init_file(env) == 0);
    kyt::lpdsn_set("DB", dir.c_str());
    check(kyt::rpdsql_run("OPEN DB") == 0);
    check(kyt::isa_create_catalogue() == 0);
    check(rpdini() == 0 && rpdipr(nullptr) == 0);
    check(kyt::rpdsql_run("INSERT INTO PT (NAME, TYPE, LEN, VAL) VALUES('LID', 1, 17, 'HOME')") == 0);
    check(kyt::rpdsql_run("INSERT INTO ST (SID, NETID, STATNAME) VALUES('P1', 'N', 'x')") == 0);
    check(kyt::rpxcid(set,
                      "SEND: 0-1 ACCOUNT CODEIN DSN DISP FORMAT VFTYP MAXRECL INITTIME LABEL "
                      "SERIAL SIDORIG OIDORIG USEUSERSID CMDID EFCHECK (CODEOUT CODETABLE DSNNEW "
                      "SID OIDDEST TSTAMP COMPRESSION  ENCRYPTION UID)",
                      kyt::api::verb_send) == 0);
  }
};

int32_t last_cn() {
  kyt_lc_elem lc{};
  check(kyt::getLCelem(&lc) == 0);
  return lc.cn;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Station* station = new Station;
  if (size == 0) return 0;
  const std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);
  const int32_t before = last_cn();
  if (data[0] & 1) {
    kyt::cmd_msg msg;
    kyt::api::set_command_number(0);
    const int32_t rc = kyt::rpxcie(station->set, "SEND " + rest, &msg);
    if (rc == 0 && kyt::api::command_number() != 0) {
      kyt_kt_elem kt{};
      check(kyt::getKTelemByCn(kyt::api::command_number(), &kt) == 0);
    } else if (rc != 0) {
      check(last_cn() == before);
    }
    return 0;
  }
  std::vector<std::string> parts(1);
  for (char c : rest) {
    if (c == '\x01')
      parts.emplace_back();
    else
      parts.back() += c;
  }
  parts.resize(19);
  const char* f[19];
  for (size_t i = 0; i < 19; ++i) f[i] = parts[i].c_str();
  char msg[KYT_SEND_MSG_SIZE];
  kytSendEntryRequest r{};
  r.dsn = (data[0] & 2) ? station->file.c_str() : f[0];
  r.disp = f[1];
  r.format = f[2];
  r.codein = f[3];
  r.inittime = f[4];
  r.serial = f[5];
  r.label = f[6];
  r.vftyp = f[7];
  r.maxrecl = static_cast<int32_t>(data[0]) - 2;
  r.tstamp = f[8];
  r.compression = f[9];
  r.encryption = f[10];
  r.sid = (data[0] & 4) ? "P1" : f[11];
  r.dsnnew = f[12];
  r.codeout = f[13];
  r.codetable = f[14];
  r.sidorig = f[15];
  r.efcheck = f[16];
  r.oidorig = f[17];
  r.oiddest = f[18];
  r.msg = msg;
  const int32_t rc = kytCreateSendEntryS(&r);
  if (rc == 0) {
    kyt_kt_elem kt{};
    check(last_cn() == before + 1);
    check(kyt::getKTelemByCn(last_cn(), &kt) == 0);
  } else {
    check(last_cn() == before);
  }
  return 0;
}
