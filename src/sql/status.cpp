// status: names and texts of the SQL layer's status codes, one table.
#include "sql/status.h"

namespace kyt {

namespace {

struct StatusInfo {
  int32_t code;
  const char* name;
  const char* text;
};

constexpr StatusInfo kStatuses[] = {
    {OK_STATE, "OK_STATE", "success"},
    {RC_INTERNAL_ERROR, "RC_INTERNAL_ERROR", "internal error or out of memory"},
    {DBI_E_SYNTAX, "DBI_E_SYNTAX", "syntax error"},
    {DBI_E_EXECERR, "DBI_E_EXECERR", "execution error"},
    {DBI_E_TABERR, "DBI_E_TABERR", "table error"},
    {DBI_E_TABLE_NOT_EXIST, "DBI_E_TABLE_NOT_EXIST", "table does not exist"},
    {DBI_E_INV_COL_NAM, "DBI_E_INV_COL_NAM", "invalid column name"},
    {DBI_E_NO_DUP, "DBI_E_NO_DUP", "duplicate key"},
    {DBI_E_CURNOTOPE, "DBI_E_CURNOTOPE", "cursor not open"},
    {DBI_E_CONNECTED, "DBI_E_CONNECTED", "database already open"},
    {DBI_E_NYI, "DBI_E_NYI", "statement not supported"},
    {DBI_E_TOO_COMPLEX, "DBI_E_TOO_COMPLEX", "statement too complex"},
    {DBI_E_VALUE, "DBI_E_VALUE", "value does not fit the column or variable"},
    {DBI_E_NOT_NULL, "DBI_E_NOT_NULL", "null value for a NOT NULL column"},
    {DBI_E_CURSOR, "DBI_E_CURSOR", "unknown cursor or no free cursor"},
    {DBI_E_NOT_OPEN, "DBI_E_NOT_OPEN", "no database is open"},
    {DBI_E_CATALOGUE, "DBI_E_CATALOGUE",
     "catalogue tables are changed only by CREATE and DROP statements"},
    {DBI_E_TRANSERR, "DBI_E_TRANSERR", "transaction error"},
    {DBI_W_END_FETCH, "DBI_W_END_FETCH", "no further row"},
    {DBI_E_LOCKED, "DBI_E_LOCKED", "table locked by another process"},
    {DBI_E_KEY_TOO_LONG, "DBI_E_KEY_TOO_LONG", "key too long for the index"},
    {DBI_E_DAMAGED, "DBI_E_DAMAGED", "table damaged (kytadm check tells more)"},
    {LPDBI_E_SYNTAX, "LPDBI_E_SYNTAX", "syntax error"},
    {LPDBI_E_HOSTVAR_MISSING, "LPDBI_E_HOSTVAR_MISSING",
     "fewer host variables than the statement needs"},
    {LPDBI_E_HOSTVAR_LEFT, "LPDBI_E_HOSTVAR_LEFT", "host variables left over"},
    {LPDBI_E_HOSTVAR_NULL, "LPDBI_E_HOSTVAR_NULL", "host variable without address"},
    {LPDBI_E_TOO_MANY_INPUTS, "LPDBI_E_TOO_MANY_INPUTS", "more than 30 input values"},
    {LPDBI_E_TOO_MANY_OUTPUTS, "LPDBI_E_TOO_MANY_OUTPUTS", "more than 30 result columns"},
    {LPDBI_E_HOSTVAR_TYPE, "LPDBI_E_HOSTVAR_TYPE", "host variable of unknown type"},
    {LPDBI_E_NAME_TOO_LONG, "LPDBI_E_NAME_TOO_LONG", "name longer than 18 characters"},
    {LPDBI_E_NUMBER_RANGE, "LPDBI_E_NUMBER_RANGE", "number out of range"},
    {LPDBI_E_VALUE_COUNT, "LPDBI_E_VALUE_COUNT", "column and value counts differ"},
    {LPDBI_E_NOT_SUPPORTED, "LPDBI_E_NOT_SUPPORTED", "language element not supported"},
    {LPDBI_E_TOO_DEEP, "LPDBI_E_TOO_DEEP", "condition nested too deeply"},
};

const StatusInfo* find(int32_t code) {
  for (const StatusInfo& s : kStatuses) {
    if (s.code == code) return &s;
  }
  return nullptr;
}

}  // namespace

const char* sql_status_name(int32_t status) {
  const StatusInfo* s = find(status);
  return s == nullptr ? nullptr : s->name;
}

const char* sql_status_text(int32_t status) {
  const StatusInfo* s = find(status);
  return s == nullptr ? nullptr : s->text;
}

SqlDetail& sql_detail() {
  // Never destroyed: the exit handler may still run statements after static destructors.
  // Made before main by the initialiser below, so a statement never makes it (nor fails to).
  static SqlDetail* detail = new SqlDetail;
  return *detail;
}

namespace {
const bool g_detail_made = (sql_detail(), true);
}  // namespace

void sql_detail_clear() {
  SqlDetail& d = sql_detail();
  d.syntax = false;
  d.position = -1;
  d.token.clear();  // clear() keeps the strings' storage: nothing here can fail
  d.table.clear();
  d.column.clear();
  d.reason.clear();
}

void sql_detail_note(std::string* field, std::initializer_list<std::string_view> pieces) noexcept {
  if (!field->empty()) return;
  try {
    for (std::string_view p : pieces) field->append(p);
  } catch (...) {
    field->clear();
  }
}

}  // namespace kyt
