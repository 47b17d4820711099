// UPDATE, DELETE and SELECT over a table whose files the input has damaged byte by byte:
// its data file (records whose fields grow past their columns, lose their terminators,
// change their length words), its index file and, with the input's first bit, a data file
// cut short. Every statement must end in a status; nothing may read or write outside a
// buffer, crash or hang. Each run starts again from the same sound table.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "fuzzfile.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "sql/sql.h"

namespace {

const char* const kSuffixes[] = {".DB", ".IDX", ".HOL"};

struct Sample {
  std::string dir;
  std::string files[3];  // KT's files as made
};

using kyt::fuzz::slurp;
using kyt::fuzz::spill;

// A database with KT of 24 rows, some removed again (holes), texts up to their columns'
// widths so that a changed zero byte runs one field into the next.
const Sample* sample() {
  static Sample s;
  s.dir = kyt::platform::make_temp_directory("kytfuzzdamage");
  spill(s.dir + "/kytenv.dat", "");
  if (kyt::lpdsn_init_file(s.dir + "/kytenv.dat") != 0) return nullptr;
  kyt::lpdsn_set("DB", s.dir.c_str());
  if (kyt::rpdsql_run("OPEN DB") != 0 || kyt::isa_create_catalogue() != 0) return nullptr;
  if (kyt::rpdsql_run("CREATE TABLE KT (CN INTEGER NOT NULL, STATUS CHAR(3) NOT NULL, "
                      "PRIORITY SMALLINT, NAME CHAR(9), NOTE CHAR(40))") != 0 ||
      kyt::rpdsql_run("CREATE UNIQUE INDEX PRIM_KT ON KT (CN)") != 0 ||
      kyt::rpdsql_run("CREATE INDEX BY_NAME ON KT (NAME, STATUS)") != 0)
    return nullptr;
  for (int i = 1; i <= 24; ++i) {
    const std::string v = std::to_string(i);
    const std::string name(static_cast<size_t>(i % 9), static_cast<char>('a' + i % 26));
    const std::string note(static_cast<size_t>(i * 5 % 40), 'x');
    kyt::rpdsql_run("INSERT INTO KT VALUES(" + v + ", '" + (i % 2 ? "qn" : "ok") + "', " + v +
                    ", '" + name + "', '" + note + "')");
  }
  kyt::rpdsql_run("DELETE FROM KT WHERE CN = 5 OR CN = 17");
  if (kyt::rpdsql_run("CLOSE DB") != 0) return nullptr;
  for (int f = 0; f < 3; ++f) s.files[f] = slurp(s.dir + "/KT" + kSuffixes[f]);
  return s.files[0].empty() || s.files[1].empty() ? nullptr : &s;
}

// Every row of a SELECT, as texts and into host variables of the columns' sizes.
void select_all(const char* text) {
  int32_t id = -1;
  if (kyt::isa801_alloc_cursor(&id) != 0) return;
  int32_t rc = kyt::isa201_prepare_stat(id, text);
  if (rc == 0) rc = kyt::isa950_put_input(id, {});
  if (rc == 0) rc = kyt::isa203_open_cursor(id);
  std::vector<std::optional<std::string>> row;
  for (int n = 0; rc == 0 && n < 100; ++n) rc = kyt::isa_fetch_texts(id, &row);
  kyt::isa805_set_cursor_frei(id);

  int32_t cn = 0;
  int16_t priority = 0;
  char status[3], name[9], note[40];
  std::vector<kyt::HostVar> out{{kyt::kTypeInteger, &cn},
                                {kyt::kTypeChar, status},
                                {kyt::kTypeSmallint, &priority},
                                {kyt::kTypeChar, name},
                                {kyt::kTypeChar, note}};
  // Both cursor modes: a snapshot reads every row at DECLARE.
  for (int mode : {kyt::kCursorStable, kyt::kCursorSnapshot}) {
    kyt::isa_set_cursor_mode(mode);
    rc = kyt::rpdsql_run("DECLARE F1 CURSOR FOR SELECT CN, STATUS, PRIORITY, NAME, NOTE FROM KT "
                         "ORDER BY NAME DESC",
                         out);
    for (int n = 0; rc == 0 && n < 100; ++n) rc = kyt::rpdsql_run("FETCH F1", out);
    kyt::rpdsql_run("CLOSE F1");
  }
  kyt::isa_set_cursor_mode(kyt::kCursorStable);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Sample* s = sample();
  if (s == nullptr) __builtin_trap();
  if (size > 2048) return 0;
  std::string files[3] = {s->files[0], s->files[1], s->files[2]};
  size_t i = 0;
  if (size > 0 && (data[0] & 0x80) != 0 && size >= 3) {
    // The data file cut short.
    const size_t at = ((static_cast<size_t>(data[1]) << 8) | data[2]) % files[0].size();
    files[0].resize(at);
    i = 3;
  }
  for (; i + 4 <= size; i += 4) {
    std::string& f = files[data[i] % 2];
    if (f.empty()) continue;  // the data file cut to nothing
    const size_t pos = ((static_cast<size_t>(data[i + 1]) << 8) | data[i + 2]) % f.size();
    f[pos] = static_cast<char>(data[i + 3]);
  }
  for (int f = 0; f < 3; ++f) spill(s->dir + "/KT" + kSuffixes[f], files[f]);

  kyt::rpdsql_run("OPEN DB");
  select_all("SELECT CN, STATUS, PRIORITY, NAME, NOTE FROM KT");
  kyt::rpdsql_run("UPDATE KT SET STATUS = 'up' WHERE CN > 20");
  kyt::rpdsql_run("UPDATE KT SET NOTE = 'changed', PRIORITY = 3 WHERE NAME <> 'bb'");
  kyt::rpdsql_run("UPDATE KT SET CN = 100 WHERE CN = 7");
  kyt::rpdsql_run("DELETE FROM KT WHERE CN = 9");
  kyt::rpdsql_run("DELETE FROM KT WHERE STATUS = 'ok'");
  select_all("SELECT NAME, CN FROM KT WHERE CN >= 3 ORDER BY NOTE");
  kyt::rpdsql_run("SET AUTOCOMMIT OFF");
  kyt::rpdsql_run("DELETE FROM KT");
  kyt::rpdsql_run("INSERT INTO KT VALUES(50, 'qn', 1, 'new', 'row')");
  kyt::rpdsql_run("ROLLBACK WORK");
  kyt::rpdsql_run("SET AUTOCOMMIT ON");
  kyt::rpdsql_run("CLOSE DB");
  return 0;
}
