// caldb: database administration: creating, dumping, loading and deleting the station
// database as a whole (the exported kytInitDB, kytWriteDB, kytDumpDB, kytDeleteDB, ...).
//
// Every step is reported as a message of the catalogue (group DBADM): to the station log
// (msg_report) and to the reporter a program installs (kytadm prints them), in the calling
// user's language (BT.LANGUAGE of calling_user() when the database has that user, else the
// environment's LANGUAGE).
//
// Dump files are text, one line a row (dbline.h); the first lines are "*" comments (the
// header). Loading a file runs in one transaction: a line that cannot be read or stored
// rolls everything back and is named with its number (RECOVER_ERROR). A table that has row
// lines in the file is emptied before its first line is stored, so loading a dump gives the
// dump's rows exactly, also over the rows a new database starts with (the SYSTEM user, the
// parameters, the version, LC and LD); a whole-database dump ("* Dump of KYT database")
// empties every table, also those without rows in the file.
#ifndef KYT_API_CALDB_H
#define KYT_API_CALDB_H

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

#include "sql/sql.h"

namespace kyt {

// Results of the administration functions besides 0, the SQL statuses and 99.
constexpr int32_t kDbNoEnv = 1;         // NO_ENV_DATASET: the environment cannot be read
constexpr int32_t kDbNoFile = 2;        // DATASET_NOT_EXIST, or a dump file not writable
constexpr int32_t kDbBadLine = 3;       // a line of the dump file refused
constexpr int32_t kDbStationRuns = 4;   // kytDeleteDB: a station process runs
constexpr int32_t kDbExists = 5;        // kytInitDB: the database is there already

// What a program is told while the functions work.
struct DbadmReporter {
  // Each message as the station log gets it: severity letter, key, text.
  void (*message)(char severity, const char* key, const char* text, void* context) = nullptr;
  // Rows dumped or loaded so far (every 1000 rows and at the end of each table or file).
  void (*rows)(long rows, void* context) = nullptr;
  void* context = nullptr;
};
// Installs (nullptr: removes) the reporter of this process.
void dbadm_set_reporter(const DbadmReporter* reporter);
// Reports a message as the functions do (station log and reporter, the user's language).
void dbadm_report(std::string_view key, std::initializer_list<std::string_view> args);

// Table groups of rpdbd1..3 / rpdbw1..3 (n 1 to 3, catalogue order in thirds) and of
// DumpStationInfoTables1..3 (1: AC; 2: LU LX NK OP; 3: RT ST TT TC XP).
std::span<const Tab> dump_group(int n);
std::span<const Tab> station_group(int n);

// The dumps. `header` is written first; `tables` in order; `station_form` writes OP in its
// station-information form. `append` adds to the file.
int32_t dump_tables(const char* file, const std::string& header, std::span<const Tab> tables,
                    bool station_form, bool append);
// Loads the row lines of `file` whose table is in `tables` (empty: every table); lines of
// other station tables are passed over. `bad_line` (may be null) gets the number of the line
// that stopped the load, else 0.
int32_t load_file(const char* file, std::span<const Tab> tables, long* bad_line);

int32_t init_db();
int32_t delete_db();
int32_t db_version(char version[128], char date[20]);

// The header texts.
std::string dump_header_db(const std::string& dbname, const std::string& at);
std::string dump_header_part(const char* what, const char* at);  // at nullptr: no time

}  // namespace kyt

#endif  // KYT_API_CALDB_H
