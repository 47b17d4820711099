// kytdb: the exported functions of database administration, thin over caldb.
#include <string>

#include "api/caldb.h"
#include "kyt/kyt.h"
#include "runtime/runtime.h"

namespace {

std::string db_name() {
  std::string d;
  if (kyt::lpdsn_get("DBNAME", &d) != 0 || d.empty()) kyt::lpdsn_get("DB", &d);
  return d;
}

std::string now_text() {
  char now[32] = "";
  if (kyt::dt_now(now, sizeof now) != 0) now[0] = '\0';
  return now;
}

int32_t dump_part(const char* fn, const char* file, int32_t with_time, const char* what,
                  std::initializer_list<kyt::Tab> tables) {
  return kyt::api_guard(fn, [&]() -> int32_t {
    const std::string at = now_text();
    const int32_t rc = kyt::dump_tables(
        file, kyt::dump_header_part(what, with_time != 0 ? at.c_str() : nullptr),
        std::span<const kyt::Tab>(tables.begin(), tables.size()), false, false);
    return rc;
  });
}

// A whole dump made of groups, with its header and closing messages.
int32_t dump_groups(const char* file, const std::string& header,
                    std::span<const kyt::Tab> (*group)(int), bool station_form) {
  if (file == nullptr || *file == '\0') return -5;
  int32_t rc = kyt::dump_tables(file, header, {}, false, false);
  for (int g = 1; g <= 3 && rc == 0; ++g) rc = kyt::dump_tables(file, "", group(g), station_form, true);
  return rc;
}

}  // namespace

extern "C" int32_t kytInitDB(void) {
  return kyt::api_guard("kytInitDB", []() -> int32_t { return kyt::init_db(); });
}

extern "C" int32_t kytWriteDB(const char* file) {
  return kyt::api_guard("kytWriteDB", [&]() -> int32_t { return kyt::load_file(file, {}, nullptr); });
}

extern "C" int32_t kytDumpDB(const char* file) {
  return kyt::api_guard("kytDumpDB", [&]() -> int32_t {
    if (file == nullptr || *file == '\0') return -5;
    if (kyt::lpdsn_init() != 0) return kyt::dump_tables(file, "", {}, false, false);
    int32_t rc = dump_groups(file, kyt::dump_header_db(db_name(), now_text()), kyt::dump_group, false);
    if (rc == 0) {
      kyt::dbadm_report("DUMP_WRITTEN", {file});
      kyt::dbadm_report("DUMP_DONE", {});
    }
    return rc;
  });
}

extern "C" int32_t kytDumpRU(const char* file) {
  return kyt::api_guard("kytDumpRU", [&]() -> int32_t {
    if (file == nullptr || *file == '\0') return -5;
    if (kyt::lpdsn_init() != 0) return kyt::dump_tables(file, "", {}, false, false);
    const std::string header = "* Dump of KYT resident receive entries and users\n* from db " +
                               db_name() + ": at " + now_text() + " \n\n";
    static constexpr kyt::Tab kTables[] = {kyt::Tab::kRE, kyt::Tab::kBT};
    const int32_t rc = kyt::dump_tables(file, header, kTables, false, false);
    if (rc == 0) kyt::dbadm_report("DUMP_RU_WRITTEN", {file});
    return rc;
  });
}

extern "C" int32_t kytDumpStations(const char* file, int32_t with_time) {
  return kyt::api_guard("kytDumpStations", [&]() -> int32_t {
    const std::string at = now_text();
    return dump_groups(file, kyt::dump_header_part("StationEntries", with_time != 0 ? at.c_str() : nullptr),
                       kyt::station_group, true);
  });
}

extern "C" int32_t kytDumpParameter(const char* file, int32_t with_time) {
  return dump_part("kytDumpParameter", file, with_time, "Parameter", {kyt::Tab::kPT});
}

extern "C" int32_t kytDumpUser(const char* file, int32_t with_time) {
  return dump_part("kytDumpUser", file, with_time, "User", {kyt::Tab::kBT});
}

extern "C" int32_t kytDumpResidentReceiveEntries(const char* file, int32_t with_time) {
  return dump_part("kytDumpResidentReceiveEntries", file, with_time, "ResidentReceiveEntries",
                   {kyt::Tab::kRE});
}

extern "C" int32_t kytDumpJobstartEntries(const char* file, int32_t with_time) {
  return dump_part("kytDumpJobstartEntries", file, with_time, "JobStartEntries", {kyt::Tab::kJS});
}

extern "C" int32_t kytDeleteDB(void) {
  return kyt::api_guard("kytDeleteDB", []() -> int32_t { return kyt::delete_db(); });
}

extern "C" int32_t kytGetDBVersion(char version[128], char date[20]) {
  return kyt::api_guard("kytGetDBVersion",
                        [&]() -> int32_t { return kyt::db_version(version, date); });
}

#define KYT_GROUP_FUNCTIONS(n)                                                               \
  extern "C" int32_t rpdbd##n(const char* file) {                                           \
    return kyt::api_guard("rpdbd" #n, [&]() -> int32_t {                                    \
      return kyt::dump_tables(file, "", kyt::dump_group(n), false, true);                   \
    });                                                                                     \
  }                                                                                         \
  extern "C" int32_t rpdbw##n(const char* file) {                                           \
    return kyt::api_guard("rpdbw" #n, [&]() -> int32_t {                                    \
      return kyt::load_file(file, kyt::dump_group(n), nullptr);                             \
    });                                                                                     \
  }                                                                                         \
  extern "C" int32_t DumpStationInfoTables##n(const char* file) {                           \
    return kyt::api_guard("DumpStationInfoTables" #n, [&]() -> int32_t {                    \
      return kyt::dump_tables(file, "", kyt::station_group(n), true, true);                 \
    });                                                                                     \
  }

KYT_GROUP_FUNCTIONS(1)
KYT_GROUP_FUNCTIONS(2)
KYT_GROUP_FUNCTIONS(3)

static_assert(kyt::kDbNoEnv == KYT_DB_NO_ENV && kyt::kDbNoFile == KYT_DB_NO_FILE &&
              kyt::kDbBadLine == KYT_DB_BAD_LINE && kyt::kDbStationRuns == KYT_DB_STATION_RUNS &&
              kyt::kDbExists == KYT_DB_EXISTS);

namespace {

struct Progress {
  kyt_db_progress fn = nullptr;
  void* context = nullptr;
};
Progress g_progress;

void on_message(char severity, const char* key, const char* text, void* context) {
  const auto* p = static_cast<const Progress*>(context);
  p->fn(severity, key, text, -1, p->context);
}

void on_rows(long rows, void* context) {
  const auto* p = static_cast<const Progress*>(context);
  p->fn(0, "", "", rows, p->context);
}

}  // namespace

extern "C" int32_t kytSetDBProgress(kyt_db_progress fn, void* context) {
  return kyt::api_guard("kytSetDBProgress", [&]() -> int32_t {
    g_progress = Progress{fn, context};
    if (fn == nullptr) {
      kyt::dbadm_set_reporter(nullptr);
    } else {
      kyt::DbadmReporter r;
      r.message = on_message;
      r.rows = on_rows;
      r.context = &g_progress;
      kyt::dbadm_set_reporter(&r);
    }
    return 0;
  });
}
