// rpdsql: the SQL pass-through and the transaction nesting operations.
#include "sql/rpdsql.h"

#include <cstdarg>
#include <string>
#include <vector>

#include "kyt/kyt.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "sql/isa.h"
#include "sql/status.h"

namespace kyt {

static_assert(KYT_SQL_TABLE_LOCKED == DBI_E_LOCKED && KYT_SQL_KEY_TOO_LONG == DBI_E_KEY_TOO_LONG &&
              KYT_SQL_TABLE_DAMAGED == DBI_E_DAMAGED);

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "s";
constexpr size_t kStatementBuffer = 4096;
constexpr size_t kMaxHostVars = 64;

struct State {
  bool open = false;      // the database is open (or being opened)
  bool first = true;      // no statement has run yet
  bool trace_sql = false; // KYTTRACESQL
  std::string buffer;     // the statement buffer
  int depth = 0;          // transaction nesting
  int begins = 0;
  // The outermost begin found a transaction the caller had opened with its own "SET
  // AUTOCOMMIT OFF": the nested work joins it, and only the caller ends it.
  bool borrowed = false;
};

State& st() {
  static State s;
  return s;
}

bool starts_with(std::string_view s, std::string_view prefix) {
  return s.substr(0, prefix.size()) == prefix;
}

int32_t open_db() {
  State& s = st();
  std::string dir;
  int rc = lpdsn_get("DBNAME", &dir);
  if (rc != 0 || dir.empty()) rc = lpdsn_get("DB", &dir);
  if (rc != 0 || dir.empty()) {
    KYT_TRACE(kModule, kTopic, 1, "rpdsql: Unable to retrieve db-name. rc = %ld",
              static_cast<long>(rc));
    return RPDSQL_OPEN_FAILED;
  }
  s.open = true;
  int32_t r = isa100_open_db(dir.c_str(), nullptr, nullptr);
  if (r != OK_STATE) {
    s.open = false;
    KYT_TRACE(kModule, kTopic, 1, "rpdsql: OPEN_DB failed. rc = %ld", static_cast<long>(r));
    return RPDSQL_OPEN_FAILED;
  }
  // DBHOLD=Y: this process uses the database alone and keeps its tables open.
  std::string hold;
  isa_keep_tables_open(lpdsn_get("DBHOLD", &hold) == 0 && !hold.empty() &&
                       (hold[0] == 'Y' || hold[0] == 'y' || hold[0] == '1'));
  return OK_STATE;
}

// Composes the statement into the buffer: false when it does not fit.
bool compose(std::span<const std::string_view> pieces) {
  State& s = st();
  s.buffer.clear();
  for (std::string_view p : pieces) {
    if (s.buffer.size() + p.size() >= kStatementBuffer) return false;
    s.buffer.append(p);
  }
  return true;
}

int32_t sql_dbi(std::span<const std::string_view> pieces, std::span<const HostVar> hostvars) {
  State& s = st();
  if (s.first) {
    s.first = false;
    std::string ignored;
    s.trace_sql = platform::get_env("KYTTRACESQL", &ignored);
    s.buffer.reserve(kStatementBuffer);
    s.buffer.assign(1, ' ');
  }
  if (!compose(pieces)) {
    KYT_TRACE(kModule, kTopic, 1, "rpdsql, sql_dbi: lpccmd failed with return code \"%ld\"", 99L);
    return RC_INTERNAL_ERROR;
  }
  int32_t rc = isa_exec(s.buffer, hostvars);
  if (s.trace_sql && !starts_with(s.buffer, "SET AUTO"))
    KYT_TRACE(kModule, kTopic, 1, "TRACESQL ended rc = %d >%s<", rc, s.buffer.c_str());
  return rc;
}

}  // namespace

int32_t rpdsql_run(std::span<const std::string_view> pieces, std::span<const HostVar> hostvars) {
  State& s = st();
  if (!s.open || !isa_db_open()) {
    s.open = false;
    int32_t rc = open_db();
    if (rc != OK_STATE) return rc;
  }
  std::string_view first = pieces.empty() ? std::string_view() : pieces.front();
  if (starts_with(first, "OPEN DB")) return OK_STATE;
  if (starts_with(first, "CLOSE DB")) {
    int32_t rc = isa110_close_db();
    s.open = false;
    if (rc != OK_STATE) {
      KYT_TRACE(kModule, kTopic, 1, "rpdsql: CLOSE_DB failed. rc = %ld", static_cast<long>(rc));
      return RPDSQL_CLOSE_FAILED;
    }
    return OK_STATE;
  }
  int32_t rc = sql_dbi(pieces, hostvars);
  return rc == DBI_W_END_FETCH ? RPDSQL_NOT_FOUND : rc;
}

// --- transaction nesting ----------------------------------------------------------------------

int32_t sqlSetAutocommOff() {
  State& s = st();
  ++s.depth;
  if (++s.begins > 100) KYT_TRACE(kModule, kTopic, 1, "autocommit error ? count = %d", s.begins);
  if (s.depth != 1) return OK_STATE;
  // Beginning again inside the caller's own transaction would be refused, and the rollback
  // that follows a refusal would take the caller's work with it.
  s.borrowed = s.open && isa_transaction_open();
  if (s.borrowed) {
    KYT_TRACE(kModule, kTopic, 3, "nested in the caller's transaction");
    return OK_STATE;
  }
  return rpdsql_run("SET AUTOCOMMIT OFF");
}

int32_t sqlSetAutocommOn() {
  State& s = st();
  if (--s.depth < 0) {
    KYT_TRACE(kModule, kTopic, 1, "autocommit on  deep %d !!!", s.depth);
    s.depth = 0;
    return OK_STATE;
  }
  if (s.depth > 0) return OK_STATE;
  s.begins = 0;
  if (s.borrowed) {
    s.borrowed = false;
    return OK_STATE;
  }
  return rpdsql_run("SET AUTOCOMMIT ON");
}

int32_t sqlCommit() {
  // Inside the caller's transaction the work is committed with it, by the caller.
  if (st().borrowed && st().depth > 0) return OK_STATE;
  return rpdsql_run("COMMIT WORK");
}

int32_t sqlRollback() {
  // Inside the caller's transaction too: the whole transaction goes, so that nothing of a
  // failed unit can be committed later; the caller learns of it by the failure code.
  KYT_TRACE(kModule, kTopic, 1, "Rollback on deep %d", st().depth);
  return rpdsql_run("ROLLBACK WORK");
}

int32_t sqlOpenDB() { return rpdsql_run("OPEN DB"); }

namespace {
int32_t framed(const char* name, const std::string& statement) {
  KYT_TRACE(kModule, kTopic, 15, "ENTER %s", name);
  int32_t rc = rpdsql_run(statement);
  if (statement == "CLOSE DB") st().open = false;
  KYT_TRACE(kModule, kTopic, 15, "%s: returns %d", name, rc);
  KYT_TRACE(kModule, kTopic, 15, "EXIT %s", name);
  return rc;
}
}  // namespace

int32_t sqlCloseDB() { return framed("sqlCloseDB", "CLOSE DB"); }

int32_t sqlDropTable(const char* table) {
  return framed("sqlDropTable", std::string("DROP TABLE ") + (table != nullptr ? table : ""));
}

void rpdsql_reset_for_tests() {
  State& s = st();
  s.open = false;
  s.first = true;
  s.depth = 0;
  s.begins = 0;
  s.borrowed = false;
  isa_reset_for_tests();
}

}  // namespace kyt

// The C entry: the pieces up to a null piece, then the host variables up to a null one.
// The argument list is walked inside the guard (collecting it allocates) but started and
// ended outside it, so that it is ended whatever the body does.
extern "C" int32_t rpdsql(const char* piece, ...) {
  va_list ap;
  va_start(ap, piece);
  const int32_t rc = kyt::api_guard("rpdsql", [&]() -> int32_t {
    std::vector<std::string_view> pieces;
    std::vector<kyt::HostVar> vars;
    for (const char* p = piece; p != nullptr; p = va_arg(ap, const char*)) pieces.emplace_back(p);
    for (const kyt_hostvar* h = va_arg(ap, const kyt_hostvar*); h != nullptr;
         h = va_arg(ap, const kyt_hostvar*)) {
      if (vars.size() == kyt::kMaxHostVars) return kyt::LPDBI_E_HOSTVAR_LEFT;
      vars.push_back(kyt::HostVar{h->type, h->addr});
    }
    return kyt::rpdsql_run(pieces, vars);
  });
  va_end(ap);
  return rc;
}
