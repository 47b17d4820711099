// isaval: values of the executor: how a column's value is kept in a stored row, how values
// convert between types, and how conditions compare them.
//
// Stored row. A table's row is an ISAM record with one field a column, in column order; each
// field is a zero-terminated text:
//   CHAR(n)   the text itself, at most n-1 bytes ("%.*s"; a longer value is cut)
//   INTEGER   "%+0*ld" with width 11: sign and ten digits ("+0000000042", "-0000000007")
//   SMALLINT  "%+0*hd" with width 6 ("+00042")
//   FLOAT     "%+0*.10E" with width 25
//   null      the empty text. A CHAR column cannot tell null from the empty text: both are
//             stored and read back as the empty text.
// Reading a numeric field back must read exactly one number ("%ld", "%hd", "%e"); anything
// else marks a damaged row.
//
// Index order follows the stored texts byte by byte. For INTEGER and SMALLINT columns that
// means: null first, then 0, 1, 2, ... up to the largest value, then -1, -2, ... down to the
// smallest (a '+' sorts before a '-', and the digits of negative values grow with their
// magnitude). ORDER BY on a numeric column therefore lists non-negative values ascending
// before negative values by increasing magnitude.
//
// Comparison rules (WHERE):
//   - A comparison with a null operand (a null INTEGER, SMALLINT or FLOAT column) is false,
//     whatever the operator ("=", "<>", "<", ..., LIKE). CHAR columns are never null: their
//     null is the empty text.
//   - When either operand is numeric (a numeric column, an integer or floating literal or host
//     variable), both are compared as numbers. A text operand is read as a number the way a
//     stored field is ("%ld": leading blanks, a sign, digits; what follows is ignored; with a
//     point or exponent as "%e"); a text that holds no number makes the comparison false.
//     Integers compare exactly; a floating operand makes both floating.
//   - Otherwise both are texts, compared byte by byte as unsigned characters (strcmp order);
//     a shorter text that is the start of a longer one is smaller.
//   - LIKE compares the left operand's text (numbers written in plain decimal) with the right
//     operand's text as a pattern: "%" any run of characters, "_" one character.
//
// Values written into a column (INSERT, UPDATE SET):
//   - CHAR(n): a text, cut to n-1 bytes; a number is written in plain decimal.
//   - INTEGER, SMALLINT: an integer within the column's range; a text is read as a number
//     ("%ld"); a floating value loses its fraction. Out of range or not a number:
//     DBI_E_VALUE.
//   - FLOAT: any number, or a text read with "%e".
//   - NULL, or a column an INSERT leaves out: null; a NOT NULL numeric column refuses it
//     with DBI_E_NOT_NULL (a CHAR column stores the empty text).
#ifndef KYT_SQL_ISAVAL_H
#define KYT_SQL_ISAVAL_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sql/isatab.h"
#include "sql/stmt.h"

namespace kyt {

// Capacity of a column's field text in bytes, its zero byte included.
int32_t field_capacity(const COLDESC& c);

// Writes the field text of `v` for column `c` into `out` (field_capacity(c) bytes).
// 0, DBI_E_VALUE or DBI_E_NOT_NULL.
int32_t field_from_value(const COLDESC& c, const VALUE& v, char* out);

// Reads a number the way "%ld" / "%e" would: false when the text holds none.
bool read_integer(std::string_view text, int64_t* v);
bool read_floating(std::string_view text, double* v);

// The plain text of a stored field: CHAR as stored, numbers in plain decimal ("42", "-7",
// "%.10E" for FLOAT), null as the empty text. False for a damaged field.
bool field_plain_text(const COLDESC& c, const char* field, std::string* out);

// Writes a stored field into a host variable of type 1 (text, at most `text_cap` bytes with
// its zero byte), 2, 4 or 8. Null writes the empty text or zero. 0, DBI_E_VALUE (does not
// fit the variable), or DBI_E_DAMAGED (a numeric column's field that holds no number).
int32_t field_to_host(const COLDESC& c, const char* field, int32_t type, void* addr,
                      int32_t text_cap);

// The current row as conditions see it: field texts in column order.
struct RowView {
  const TABDESC* td;
  const char* const* fields;
};

// Evaluates a condition on a row; a null tree is true. Host-variable nodes carry their
// bound values.
bool eval_bool(const EXPR* e, const RowView& row);

// A condition prepared for testing many rows, with eval_bool's answer on every row. A
// conjunction of text columns compared for equality or inequality with texts (the common
// test of a scan) is decided on the field bytes, term by term; any other condition is
// handed to eval_bool. Prepared after its host variables are bound; the tree must outlive it.
class RowCondition {
 public:
  void prepare(const EXPR* where);
  bool test(const RowView& row) const;

  struct Term {
    int field;          // column number - 1
    std::string value;  // without zero bytes
    bool equal;         // "=" (else "<>")
  };

 private:
  const EXPR* where_ = nullptr;
  bool direct_ = false;  // decided by terms_ alone
  std::vector<Term> terms_;
};

}  // namespace kyt

#endif  // KYT_SQL_ISAVAL_H
