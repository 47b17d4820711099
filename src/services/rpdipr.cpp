// rpdipr: the default parameter table and the initial command file.
#include "services/rpdipr.h"

#include <cctype>
#include <cstring>
#include <string>

#include "runtime/runtime.h"
#include "sql/sql.h"
#include "kyt/kyt.h"
#include "platform/platform.h"
#include "services/rpdprm.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "p";
constexpr int16_t kText = 1;
constexpr int16_t kLong = 4;
constexpr int16_t kShort = 8;
constexpr size_t kLineMax = 1023;  // a line of the command file: 1024 bytes with its end

// Intervals: years/months/days hours:minutes:seconds. "NOLIMIT" / "NONE" read as 0.
constexpr ParmDefault kDefaults[] = {
    {"ACTPCOUNT", kShort, 7, "10"},
    {"AECCHECK", kShort, 2, "0"},
    {"STATISTICS", kShort, 2, "2"},
    {"RLDB", kShort, 2, "0"},
    {"BBCREATE", kShort, 2, "0"},
    {"BBPRIO", kShort, 4, "90"},
    {"CNTIE", kLong, 12, "1000"},
    {"CNTGC", kLong, 12, "40"},
    {"CNTMA", kLong, 12, "40"},
    {"CMDDELETE", kShort, 2, "1"},
    {"CMDTRACE", kShort, 2, "0"},
    {"CNSMSGS", kText, 40, "ABEIRWSOL+"},
    {"RECERREX", kText, 255, "recerrex.sh"},
    {"DTCONN01", kText, 40, "00/00/00 00:01:00"},
    {"DTCONN02", kText, 40, "00/00/00 00:02:00"},
    {"DTCONN03", kText, 40, "00/00/00 00:03:00"},
    {"DTCONN05", kText, 40, "00/00/00 00:05:00"},
    {"DTCONN07", kText, 40, "00/00/00 00:07:00"},
    {"DTCONN10", kText, 40, "00/00/00 00:10:00"},
    {"DTCONN15", kText, 40, "00/00/00 00:15:00"},
    {"DTCONN20", kText, 40, "00/00/00 00:20:00"},
    {"DTCOPY", kText, 40, "00/00/00 00:10:00"},
    {"EFIDGAPTIMEOUT", kText, 40, "00/00/00 02:00:00"},
    {"IECLEANTIME", kText, 40, "00/00/14 00:00:00"},
    {"STATCHECKINT", kText, 40, "00/00/00 01:00:00"},
    {"HEAVYDUTY", kText, 40, "00/00/00 01:00:00"},
    {"FORCEDEND", kShort, 2, "0"},
    {"IEPRIO", kShort, 4, "50"},
    {"INITCMDS", kShort, 2, "1"},
    {"IZPRIO", kShort, 4, "40"},
    {"JSERRHOLD", kText, 4, "NO"},
    {"KEEPDAYS", kShort, 7, "7"},
    {"LDSNPRIO", kShort, 4, "50"},
    {"LITRACELVL", kShort, 7, ""},
    {"RPTRACELVL", kShort, 7, "0"},
    {"SIDTRACE", kText, 17, "   "},
    {"LMPRIO", kShort, 4, "20"},
    {"MASKSND", kShort, 2, "0"},
    {"MASKRCV", kShort, 2, "0"},
    {"MAXCMD", kLong, 12, "1"},
    {"MAXRECL", kLong, 12, "99999"},
    {"MAXSENDERS", kShort, 7, "1"},
    {"MAXX25RCV", kShort, 7, "0"},
    {"SNARCV", kShort, 7, "0"},
    {"TCPIPRCV", kShort, 7, "0"},
    {"MSGPRIO", kShort, 4, "60"},
    {"VDSNCHAR", kText, 10, "ODETTE"},
    {"SECURITY", kText, 10, "OPT"},
    {"COMPFLAGS", kText, 10, "1"},
    {"CRYPFLAGS", kText, 10, "1"},
    {"AUTODECRYP", kText, 2, "Y"},
    {"CHECKMAXPSESSIONS", kText, 2, "N"},
    {"CALLINGNUMCHECK", kText, 2, "N"},
    {"USEPKI", kText, 4, "NO"},
    {"USEULS", kText, 9, "OPTIONAL"},
    {"ROUTING", kText, 2, "B"},
    {"OCREVAL", kLong, 12, "99"},
    {"ORETRY", kText, 20, "10111000111011111111"},
    {"ODTRACELVL", kShort, 7, "0"},
    {"OEXBUF", kLong, 12, "2048"},
    {"OKPRIO", kShort, 4, "10"},
    {"OTIMEOUT", kShort, 7, "600"},
    {"MONTIMEOUT", kShort, 7, "700"},
    {"COMTIMEOUT", kShort, 7, "700"},
    {"XMTTIMEOUT", kShort, 7, "700"},
    {"MWTIMEOUT", kShort, 7, "700"},
    {"MWSTART", kShort, 2, "1"},
    {"MWSTOP", kShort, 2, "1"},
    {"QEPRIO", kShort, 4, "30"},
    {"QSPRIO", kShort, 4, "30"},
    {"RECVBLOCKS", kLong, 12, "1000"},
    {"SCPRIO", kShort, 4, "10"},
    {"SDSNMAX", kLong, 12, "100"},
    {"SDSNPRIO", kShort, 4, "40"},
    {"SENDBLOCKS", kLong, 12, "1000"},
    {"SEPRIO", kShort, 4, "50"},
    {"SLEEP", kShort, 7, "30"},
    {"SSCREATE", kShort, 2, "0"},
    {"DISKSPACEWARN", kLong, 12, "50000"},
    {"DISKSPACEERR", kLong, 12, "1000"},
    {"DISKSPACEDELAY", kLong, 12, "600"},
    {"DISKSPACEREJECT", kLong, 12, "5000"},
    {"CRYPERRDELAY", kLong, 12, "300"},
    {"SYNCDL", kLong, 12, "500"},
    {"SYNCTO", kLong, 12, "120"},
    {"TIMESTAMP", kShort, 7, "2"},
    {"TMAXCON", kLong, 12, "0"},
    {"TSTODPRCT", kShort, 7, "90"},
    {"VFTYP", kText, 2, "V"},
    {"XMCREATE", kShort, 2, "1"},
    {"KYTDIAEXTENDEDMODE", kText, 4, "0"},
    {"JOBIDSTAMP", kText, 4, "0"},
    {"RLOGMAXSIZE", kLong, 12, "2000000"},
    {"NUMRLOGS", kLong, 12, "NOLIMIT"},
    {"RLCOMAXSIZE", kLong, 12, "200000"},
    {"RLSTATMAXSIZE", kLong, 12, "2000000"},
    {"NUMRLSTATS", kLong, 12, "NOLIMIT"},
    {"RLDBMAXSIZE", kLong, 12, "1000000"},
    {"BACKUPINT", kLong, 12, "720"},
    {"CDWAIT", kShort, 7, "0"},
    {"BRICKOFTPTI", kLong, 12, "20"},
    {"CODEIN", kText, 2, "A"},
    {"CODEOUT", kText, 2, "X"},
    {"USERFIELD", kText, 10, " "},
    {"EERP_IN", kText, 10, "NORMAL"},
    {"EERP_OUT", kText, 10, "NORMAL"},
    {"RETRY", kText, 40, "00/00/00 00:01:00"},
    {"TRACEOFF", kLong, 12, "0"},
    {"TRACEALWAYSTOFILE", kLong, 12, "0"},
    {"TRACECONNERR", kLong, 12, "0"},
    {"TRACEMAXITEM", kLong, 12, "1024"},
    {"TRACEMAXSIZE", kLong, 12, "1024"},
    {"AGENT_LOGLEVEL", kShort, 7, "0"},
    {"AGENT_HEARTBEAT", kShort, 7, "0"},
    {"DIALCOUNT", kLong, 12, "5"},
    {"DIALRTIME", kLong, 12, "5"},
    {"REDOMAXSIZE", kLong, 12, "1000000"},
    {"NUMREDOLOGS", kLong, 12, "NOLIMIT"},
};

// A line of the initial command file goes to the station log: OK_READ when it is read,
// OK_INVALID_SYNTAX with the command's code when it fails; the trace gets it too.
void log_init_line(const char* key, std::string_view line, int32_t rc = 0) {
  KYT_TRACE(kModule, kTopic, 3, "%s %.*s (rc = %d)", key, static_cast<int>(line.size()),
            line.data(), rc);
  if (rc == 0) {
    msg_report(key, {line});
  } else {
    const std::string code = std::to_string(rc);
    msg_report(key, {line, code});
  }
}

bool prefix_nocase(std::string_view s, std::string_view p) {
  if (s.size() < p.size()) return false;
  for (size_t i = 0; i < p.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(s[i])) != p[i]) return false;
  }
  return true;
}

CommandSet& operator_commands() {
  static CommandSet set = [] {
    CommandSet s;
    auto setparm = [](const cmd_args& a, cmd_msg*) -> int32_t {
      const char* v = a.value("PARM");
      if (v == nullptr) v = a.positional(0);
      if (v == nullptr) return PRM_BAD_VALUE;
      return rpdprm_run("opset", nullptr, const_cast<char*>(v));
    };
    rpxcid(s, "SETPARM: 0-1 PARM ", setparm);
    rpxcid(s, "SP: 0-1 PARM ", setparm);
    return s;
  }();
  return set;
}

}  // namespace

std::span<const ParmDefault> default_parameters() { return kDefaults; }

int32_t run_operator_line(std::string_view line) {
  return rpxcie(operator_commands(), line, nullptr);
}

int32_t rpdipr_run() {
  for (const ParmDefault& d : kDefaults) {
    kyt_pt_elem e{};
    std::strncpy(e.name, d.name, sizeof e.name - 1);
    e.type = d.type;
    e.len = d.len;
    std::strncpy(e.val, d.value, sizeof e.val - 1);
    const int32_t rc = insPTelem(&e);
    if (rc != 0) {
      KYT_TRACE(kModule, kTopic, 1,
                "rpdipr, ipr_store: Unable to INSERT parameter \"%s\" (rc = %ld)\n", d.name,
                static_cast<long>(rc));
      return 99;
    }
  }
  std::string path;
  if (lpdsn_get("DSN_MON_INIT", &path) != 0 || path.empty()) return 0;
  platform::File f;
  if (!f.open(path.c_str(), platform::OpenMode::kRead)) return 0;
  std::string text;
  char buf[8192];
  for (int64_t n; (n = f.read(buf, sizeof buf)) > 0;) text.append(buf, static_cast<size_t>(n));
  f.close();
  size_t at = 0;
  while (at < text.size()) {
    size_t end = text.find('\n', at);
    if (end == std::string::npos) end = text.size();
    std::string_view line(text.data() + at, end - at);
    at = end + 1;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.size() > kLineMax) line = line.substr(0, kLineMax);
    if (!prefix_nocase(line, "setparm ") && !prefix_nocase(line, "sp ")) continue;
    log_init_line("OK_READ", line);
    const int32_t rc = run_operator_line(line);
    if (rc != 0) log_init_line("OK_INVALID_SYNTAX", line, rc);
  }
  return 0;
}

}  // namespace kyt

extern "C" int32_t rpdipr(void* unused) {
  (void)unused;
  return kyt::api_guard("rpdipr", []() -> int32_t { return kyt::rpdipr_run(); });
}
