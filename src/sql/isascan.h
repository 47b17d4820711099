// isascan: a scan of a table in index order, with the key range of its condition.
//
// The index. A scan reads the table's PRIMARY index (or, without one, the physical index in
// the order of the data file); with ORDER BY it reads the index whose key is exactly the
// sort columns: PRIMARY when it fits, else a sort index "S<n>" over them, made on first use
// and kept (n one above the highest number the table has). The first sort column sets the
// direction.
//
// Key ranges. Where a condition's top-level AND terms fix the first columns of the scanned
// index by equality, and possibly bound the next one, a scan reads only that part of the
// index; the condition is still checked on every row read, so rows, order and statuses are
// those of a scan of the whole index. Only comparisons that order like the stored texts
// bound a column: a CHAR column against a text, an INTEGER or SMALLINT column against a
// number (stored order: 0 ... max, then -1 ... min, see isaval.h). A bound longer than any
// key of the index gives the range up.
//
// Rows. A row is judged where it lies in the index; only a row taken is read out, and every
// field of it must fit its column (else DBI_E_DAMAGED) before anything uses it.
//
// Position. The scan is an IndexOwner of its table (isatrans.h): when another user takes
// the indexes over, the scan saves its place and restores it when it reads on.
#ifndef KYT_SQL_ISASCAN_H
#define KYT_SQL_ISASCAN_H

#include <cstdint>
#include <string>
#include <vector>

#include "isam/isam.h"
#include "sql/isatrans.h"
#include "sql/isaval.h"
#include "sql/stmt.h"

namespace kyt {

// A scan of a table in index order, with the key range of its condition.
class Scan final : public IndexOwner {
 public:
  Scan() = default;
  Scan(const Scan&) = delete;
  Scan& operator=(const Scan&) = delete;
  ~Scan();

  // Takes a use of the table; chooses the index (PRIMARY, or the sort index of `order`).
  int32_t open(const TABSPEC& ts, const PLIST<ORDERITEM>* order, const EXPR* where);
  // The next row satisfying the condition: 1 (fields() hold it), 0 at the end, or a status.
  int32_t next();
  // Deletes the row last delivered.
  int32_t delete_current();
  void close();

  const char* const* fields() const { return fields_.data(); }
  TabHandle* table() const { return t_; }
  bool is_open() const { return t_ != nullptr; }
  // The position of the row last delivered (for returning to it later).
  const IsamPos& saved_position();
  // Keeps the position while another user moves the indexes.
  void save() override;
  IsamIndex* index() const { return index_; }

 private:
  int32_t start();
  int32_t read_current();
  // DBI_E_DAMAGED when a field of the row in fields_ is longer than its column.
  int32_t check_row();
  // The row test of ifindwhere: 0 skip, 1 take, 2 past the key range.
  static int judge(void* self, const char* const* fields);

  TabHandle* t_ = nullptr;
  IsamIndex* index_ = nullptr;
  bool backward_ = false;
  const EXPR* where_ = nullptr;
  RowCondition cond_;               // where_, prepared for the rows of the scan
  std::vector<int> key_cols_;       // columns of the index's key fields
  std::vector<std::string> eq_;     // texts fixed for the first key columns
  bool has_lo_ = false, has_hi_ = false, hi_incl_ = false;
  std::string lo_, hi_;             // bounds of the next key column's text
  bool started_ = false, done_ = false;
  IsamPos pos_;                     // valid while another user holds the indexes
  int32_t save_rc_ = 0;             // a failed save ends the scan with this status
  int shown_ = 0;                   // leading fields the row test reads
  std::vector<char> buf_;
  std::vector<const char*> fields_;
};

}  // namespace kyt

#endif  // KYT_SQL_ISASCAN_H
