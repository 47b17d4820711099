// kytadm stations: the partner stations as the station list of the client API gives them,
// one line a station in aligned columns.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "api/calstlst.h"
#include "kyt/kyt.h"
#include "kytadm.h"
#include "sql/sql.h"

namespace kytadm {

const char* const kStationsSynopsis = "stations [-e FILE] [SID]";
const char* const kStationsHelp =
    "Lists the partner stations of the station database through the station list of the\n"
    "client API, one line a station in aligned columns:\n"
    "  SID       the station id\n"
    "  TYPE      local (the station itself, parameter LID) or partner\n"
    "  ODETTEID  the ODETTE id of its OP row\n"
    "  NAME      STATNAME of its ST row\n"
    "  LINKS     the protocols of its NK rows, joined by \",\" (\"*\" marks a suspended link)\n"
    "  TCPIP     the addresses and ports of its TC rows\n"
    "  VIA       the neighbours of the routes to it (RT), joined by \",\"\n"
    "\n"
    "  -e FILE   the environment file (default: the KYTENV environment variable, else\n"
    "            kytenv.dat in the current directory)\n"
    "  SID       list this station only (its id matched without regard to case)\n"
    "\n"
    "Exit status: 0 listed (also none); 1 the list could not be loaded (the code is named)\n"
    "or no station SID; 2 wrong arguments (an id of more than 16 characters or with a control\n"
    "character among them) or an environment file that cannot be read.\n";

namespace {

using Row = std::vector<std::string>;

Row station_row(const kyt_station& s) {
  std::string links, tcpip, via;
  for (const kyt_nk_elem* e = s.nk; e != nullptr; e = e->next) {
    if (!links.empty()) links += ',';
    links += e->protocol;
    if (e->flagsuspnd != 0) links += '*';
  }
  for (const kyt_tc_elem* e = s.tc; e != nullptr; e = e->next) {
    if (!tcpip.empty()) tcpip += ',';
    tcpip += std::string(e->inaddr) + ":" + std::to_string(e->port);
  }
  for (const kyt_rt_elem* e = s.rt; e != nullptr; e = e->next) {
    if (!via.empty()) via += ',';
    via += e->sidneighb;
  }
  return {s.sid, s.stationtype == KYT_STATION_LOCAL ? "local" : "partner",
          s.op != nullptr ? s.op->odetteid : "", s.st.statname, links, tcpip, via};
}

void print_rows(const std::vector<Row>& rows) {
  std::vector<size_t> width(rows[0].size(), 0);
  for (const Row& r : rows) {
    for (size_t i = 0; i < r.size(); ++i) width[i] = std::max(width[i], r[i].size());
  }
  for (const Row& r : rows) {
    std::string line;
    for (size_t i = 0; i < r.size(); ++i) {
      line += r[i];
      if (i + 1 < r.size()) line += std::string(width[i] - r[i].size() + 2, ' ');
    }
    while (!line.empty() && line.back() == ' ') line.pop_back();
    std::printf("%s\n", line.c_str());
  }
}

const char* meaning(int32_t rc) {
  switch (rc) {
    case -2: return "out of memory or the database could not be closed";
    case -3: return "the database could not be opened";
    case -5: return "invalid station id";
    case 12: return "parameter LID missing (or the database could not be read)";
    default: return "a table could not be read";
  }
}

}  // namespace

int run_stations(const Args& args) {
  const Subcommand& self = *args.self;
  if (args.operands.size() > 1) return bad_usage(self, "too many arguments");
  const std::string want = args.operands.empty() ? "" : args.operands[0];
  if (!want.empty() && !kyt::api::valid_station_id(want.c_str()))
    return bad_usage(self, "a station id has 1 to 16 printable characters");
  if (read_environment(args) != 0) return kExitUsage;
  int32_t rc = kytInitStationList();
  std::vector<Row> rows = {{"SID", "TYPE", "ODETTEID", "NAME", "LINKS", "TCPIP", "VIA"}};
  char sid[17] = "";
  if (rc == 0) rc = kytGetNextStation("", sid);
  while (rc == 0) {
    kyt_station s{};
    if (kytGetStation(sid, &s) == 0) {
      bool match = want.empty();
      if (!match) {
        std::string a = want, b = sid;
        for (char& c : a) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        for (char& c : b) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        match = a == b;
      }
      if (match) rows.push_back(station_row(s));
      kytFreeStationEntries(&s);
    }
    rc = kytGetNextStation(sid, sid);
  }
  kytFreeStationList();
  if (kyt::isa_db_open()) kyt::rpdsql_run("CLOSE DB");
  if (rc != -1) {
    std::fprintf(stderr, "kytadm stations: %ld %s\n", static_cast<long>(rc), meaning(rc));
    return kExitFailed;
  }
  if (!want.empty() && rows.size() == 1) {
    std::fprintf(stderr, "kytadm stations: no station %s\n", want.c_str());
    return kExitFailed;
  }
  print_rows(rows);
  return kExitOk;
}

}  // namespace kytadm
