// isachg: INSERT, UPDATE and DELETE (see isachg.h).
#include "sql/isachg.h"

#include <cstring>
#include <vector>

#include "runtime/runtime.h"
#include "sql/isadbg.h"
#include "sql/isascan.h"
#include "sql/isatrans.h"
#include "sql/isaval.h"
#include "sql/status.h"

namespace kyt {

namespace {

constexpr const char* kModule = "KYTEXE";
constexpr const char* kTopic = "s";


// The values of the unique index `u` for a row.
std::vector<const char*> key_of(const UniqueIndex& u, const char* const* fields) {
  std::vector<const char*> key;
  for (int c : u.cols) key.push_back(fields[c]);
  key.push_back(nullptr);
  return key;
}

// Adds a row, refusing a key that a unique index holds already.
int32_t add_row(TabHandle* t, const char* const* fields) {
  claim_indexes(t, nullptr);
  for (const UniqueIndex& u : t->unique) {
    std::vector<const char*> key = key_of(u, fields);
    int rc = ifindkey(t->db, u.index, key.data());
    if (rc == 2) return DBI_E_NO_DUP;
    if (rc != 3) return KYT_TABFAIL("ifindkey", t);
  }
  Undo undo = undo_row(t, true, fields);
  if (iaddrec(t->db, t->primary, fields) != 1) return KYT_TABFAIL("iaddrec", t);
  log_undo(t, std::move(undo));
  return RC_OK;
}

// A row being built: one field slot a column.
struct RowBuf {
  std::vector<char> bytes;
  std::vector<const char*> fields;
  explicit RowBuf(const TabHandle* t)
      : bytes(static_cast<size_t>(t->text_size)), fields(t->td->cols.size() + 1, nullptr) {
    for (size_t i = 0; i < t->td->cols.size(); ++i) fields[i] = bytes.data() + t->text_off[i];
  }
  char* slot(const TabHandle* t, int col) { return bytes.data() + t->text_off[static_cast<size_t>(col)]; }
};

int32_t put_value(const TabHandle* t, RowBuf* row, const COLDESC* c, const EXPR* value) {
  if (!KYT_ISACHECK(c != nullptr && value != nullptr && (value->flags & kExprValue),
                    RC_INTERNAL_ERROR, "err_return"))
    return RC_INTERNAL_ERROR;
  if (!KYT_ISACHECK(value->value.null_ind != 0 || value->value.type != 0, RC_INTERNAL_ERROR,
                    "err_return"))
    return RC_INTERNAL_ERROR;  // a "?" without value
  int32_t rc = field_from_value(*c, value->value, row->slot(t, c->colno - 1));
  if (rc != RC_OK)
    KYT_TRACE(kModule, kTopic, 1, "column %s: %s", c->s_colname, sql_status_text(rc));
  return rc;
}

}  // namespace

int32_t exec_insert(int flag, TABDESC* td, const PLIST<COLREF>& cols, const PLIST<EXPR*>& values) {
  (void)flag;
  if (td == nullptr) {
    KYT_TRACE(kModule, kTopic, 1, "exec_ins p_td is NULL!");
    return RC_INTERNAL_ERROR;
  }
  StmtFrame frame;
  TableUse t;
  int32_t rc = t.open(td);
  if (rc != RC_OK) return frame.finish(rc);
  RowBuf row(t.get());
  std::vector<bool> set(td->cols.size(), false);
  if (cols.empty() && values.count != static_cast<uint32_t>(td->n_cols))
    return frame.finish(DBI_E_SYNTAX);
  if (!cols.empty() && cols.count != values.count) return frame.finish(DBI_E_SYNTAX);
  for (uint32_t i = 0; i < values.count; ++i) {
    const COLDESC* c = cols.empty() ? &td->cols[i] : cols[i].p_col;
    rc = put_value(t.get(), &row, c, values[i]);
    if (rc != RC_OK) return frame.finish(rc);
    set[static_cast<size_t>(c->colno - 1)] = true;
  }
  VALUE null{};
  null.null_ind = -1;
  for (size_t i = 0; i < td->cols.size(); ++i) {
    if (set[i]) continue;
    rc = field_from_value(td->cols[i], null, row.slot(t.get(), static_cast<int>(i)));
    if (rc != RC_OK) {
      KYT_TRACE(kModule, kTopic, 1, "column %s: %s", td->cols[i].s_colname, sql_status_text(rc));
      return frame.finish(rc);
    }
  }
  return frame.finish(add_row(t.get(), row.fields.data()));
}

int32_t exec_update(TABDESC* td, const PLIST<SETITEM>& set, const EXPR* where) {
  if (!KYT_ISACHECK(td != nullptr, RC_INTERNAL_ERROR, "err_return")) return RC_INTERNAL_ERROR;
  StmtFrame frame;
  Scan scan;
  int32_t rc = scan.open(td->ts, nullptr, where);
  if (rc != RC_OK) return frame.finish(rc);
  TabHandle* t = scan.table();
  // First find every row, then change them: a changed row moves in the index and must not
  // be met again by the same scan.
  struct Found {
    IsamPos pos;
    std::string row;
  };
  std::vector<Found> found;
  while ((rc = scan.next()) == 1) {
    std::string row;
    for (int i = 0; i < td->n_cols; ++i) {
      const char* f = scan.fields()[i];
      row.append(f, std::strlen(f) + 1);
    }
    found.push_back(Found{scan.saved_position(), std::move(row)});
  }
  if (rc != 0) return frame.finish(rc);
  RowBuf nrow(t);
  std::vector<const char*> old(static_cast<size_t>(td->n_cols) + 1, nullptr);
  for (Found& f : found) {
    size_t p = 0;
    for (int i = 0; i < td->n_cols; ++i) {
      // The scan checked that every field fits its slot (Scan::check_row).
      const size_t n = std::strlen(f.row.data() + p);
      old[static_cast<size_t>(i)] = f.row.data() + p;
      std::memcpy(nrow.slot(t, i), f.row.data() + p, n + 1);
      p += n + 1;
    }
    for (const SETITEM& s : set) {
      rc = put_value(t, &nrow, s.col.p_col, s.value);
      if (rc != RC_OK) return frame.finish(rc);
    }
    claim_indexes(t, nullptr);
    f.pos.pending = false;
    if (irestorepos(t->db, scan.index(), &f.pos) != 1) return frame.finish(KYT_TABFAIL("irestorepos", t));
    Undo undo = undo_row(t, false, old.data());
    if (idelrec(t->db, scan.index()) != 1) return frame.finish(KYT_TABFAIL("idelrec", t));
    log_undo(t, std::move(undo));
    rc = add_row(t, nrow.fields.data());
    if (rc != RC_OK) return frame.finish(rc);
  }
  return frame.finish(OK_STATE);
}

int32_t exec_delete(TABDESC* td, const EXPR* where) {
  if (!KYT_ISACHECK(td != nullptr, RC_INTERNAL_ERROR, "err_return")) return RC_INTERNAL_ERROR;
  StmtFrame frame;
  Scan scan;
  int32_t rc = scan.open(td->ts, nullptr, where);
  if (rc != RC_OK) return frame.finish(rc);
  while ((rc = scan.next()) == 1) {
    rc = scan.delete_current();
    if (rc != RC_OK) return frame.finish(rc);
  }
  return frame.finish(rc == 0 ? OK_STATE : rc);
}

}  // namespace kyt
