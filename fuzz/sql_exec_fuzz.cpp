// Arbitrary statement scripts run by the executor against a real database of station
// tables: statements separated by newlines, each with five integer and five text host
// variables to bind. Every statement ends in a status; the whole script runs inside a
// transaction that is rolled back, so the tables come back each run and the rollback itself
// is exercised: a script that cannot have committed must leave KT with the rows it had.
#include <cstddef>
#include <cstdint>
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "runtime/runtime.h"
#include "sql/sql.h"

namespace {

int32_t count_kt() {
  int32_t id = -1, n = 0;
  if (kyt::isa801_alloc_cursor(&id) != 0) return -1;
  int32_t rc = kyt::isa201_prepare_stat(id, "SELECT CN FROM KT");
  if (rc == 0) rc = kyt::isa950_put_input(id, {});
  if (rc == 0) rc = kyt::isa203_open_cursor(id);
  std::vector<std::optional<std::string>> row;
  while (rc == 0 && (rc = kyt::isa_fetch_texts(id, &row)) == 0) ++n;
  kyt::isa805_set_cursor_frei(id);
  if (rc != kyt::DBI_W_END_FETCH) std::fprintf(stderr, "reading KT: status %d\n", rc);
  return rc == kyt::DBI_W_END_FETCH ? n : -1;
}

// KT with 20 rows, made again when an earlier script dropped it and committed.
bool make_kt() {
  kyt::rpdsql_run("DROP TABLE KT");
  const kyt::SchemaTable* s = kyt::schema_table("KT");
  kyt::rpdsql_run(kyt::create_table_text(*s));
  for (const std::string& i : kyt::create_index_texts(*s)) kyt::rpdsql_run(i);
  for (int i = 1; i <= 20; ++i) {
    std::string v = std::to_string(i);
    kyt::rpdsql_run("INSERT INTO KT (CN, CMDTYPE, DTCREATED, FLAGSERIAL, STATUS, ERRORCODE, KYTID) "
                    "VALUES(" + v + ", 'SND', " + v + ", 0, '" + (i % 2 ? "qn" : "ok") + "', 0, 1)");
  }
  return count_kt() == 20;
}

bool setup() {
  const std::string dir = kyt::platform::make_temp_directory("kytfuzzsql");
  std::FILE* f = std::fopen((dir + "/kytenv.dat").c_str(), "w");
  if (f != nullptr) std::fclose(f);
  if (kyt::lpdsn_init_file(dir + "/kytenv.dat") != 0) return false;
  kyt::lpdsn_set("DB", dir.c_str());
  if (kyt::rpdsql_run("OPEN DB") != 0 || kyt::isa_create_catalogue() != 0) return false;
  for (const char* t : {"JS", "OP", "LC"}) {
    const kyt::SchemaTable* s = kyt::schema_table(t);
    kyt::rpdsql_run(kyt::create_table_text(*s));
    for (const std::string& i : kyt::create_index_texts(*s)) kyt::rpdsql_run(i);
  }
  return make_kt();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool ready = setup();
  if (!ready) __builtin_trap();
  if (size > 4096) return 0;
  int32_t kt_rows = count_kt();
  if (kt_rows < 0) {
    if (!make_kt()) __builtin_trap();
    kt_rows = 20;
  }
  int32_t ints[5] = {1, -1, 20, 0, 32767};
  // Text variables as large as any CHAR column, as the interface asks of its callers.
  static char texts[5][4096];
  const char* initial[5] = {"qn", "", "SND", "%", "abc"};
  for (int i = 0; i < 5; ++i) std::strcpy(texts[i], initial[i]);
  std::vector<kyt::HostVar> vars;
  for (int i = 0; i < 5; ++i) {
    vars.push_back({kyt::kTypeInteger, &ints[i]});
    vars.push_back({kyt::kTypeChar, texts[i]});
  }
  kyt::rpdsql_run("SET AUTOCOMMIT OFF");
  std::string script(reinterpret_cast<const char*>(data), size);
  size_t start = 0;
  for (int n = 0; n < 16 && start <= script.size(); ++n) {
    size_t end = script.find('\n', start);
    if (end == std::string::npos) end = script.size();
    std::string stmt = script.substr(start, end - start);
    start = end + 1;
    size_t marks = 0;
    for (char c : stmt) marks += c == '?';
    // Inputs, then outputs for a DECLARE or FETCH: as many as the statement can want.
    std::span<const kyt::HostVar> hv(vars.data(), marks < 10 ? 10 : vars.size());
    kyt::rpdsql_run(stmt, hv.subspan(0, std::min(hv.size(), marks)));
    if (stmt.rfind("DECLARE", 0) == 0 || stmt.rfind("FETCH", 0) == 0) kyt::rpdsql_run(stmt, hv);
  }
  std::string upper = script;
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  const bool may_commit = upper.find("COMMIT") != std::string::npos ||
                          upper.find("CLOSE") != std::string::npos ||
                          upper.find("OPEN") != std::string::npos;
  kyt::rpdsql_run("ROLLBACK WORK");
  kyt::rpdsql_run("SET AUTOCOMMIT ON");
  kyt::rpdsql_run("CLOSE DB");  // frees the cursors the script left open
  kyt::rpdsql_run("OPEN DB");
  if (!may_commit) {
    const int32_t after = count_kt();
    if (after != kt_rows) {
      std::fprintf(stderr, "KT held %d rows before the script and %d after its rollback\n", kt_rows,
                   after);
      __builtin_trap();
    }
  }
  return 0;
}
