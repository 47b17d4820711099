// cmdnum: the numbers of new commands.
//
// Every command row of KT gets its number (CN) from the one counter of the database, table
// LC (one INTEGER column CN, no index): LC holds the last number handed out. The command
// entry's handlers draw the number for the KT row they create with next_command_number and
// hand it back to the caller of kytcal.
//
// Rules:
//   - The next number is the largest CN of LC plus one; LC is then set to it. A database
//     whose LC has no row yet (made before its first counter row, or an LC emptied by hand)
//     counts as last number 0: the first number is 1 and the row is inserted. The counter
//     row that the database creation inserts holds 0, so a fresh database also starts at 1.
//   - Several rows (LC has no unique index, a load may add one): the largest counts, and
//     every row is set to the new number, so the table holds equal rows from then on.
//   - A negative CN counts as 0. When the last number is 2147483647 no number is left: 99,
//     LC unchanged (numbers never start over).
//   - Numbers never come from KT, so deleting command rows never frees a number.
//
// Transactions: the read and the change of LC are one unit inside the caller's
// transaction (sqlSetAutocommOff / sqlSetAutocommOn nesting of rpdsql); without one they form
// a transaction of their own that commits at once. While the transaction is open, LC stays
// locked, so another process cannot draw (it gets the executor's DBI_E_LOCKED) until this
// one commits or rolls back. A caller that rolls back gives its number back: the next draw
// hands out the same number again. That is safe because the rows that carried the number
// were rolled back with it; a number therefore never appears twice among committed rows.
//
// Statuses: 0 with *cn set; 99 for a null `cn` or when no number is left; otherwise the status of rpdsql or the executor (DBI_E_LOCKED, 24200002 the database cannot
// be opened, ...), traced at level 1 as "next_command_number <step> returns %d". On failure
// *cn is 0 and LC is as it was (a failed statement undoes itself; nothing else was changed).
#ifndef KYT_SERVICES_CMDNUM_H
#define KYT_SERVICES_CMDNUM_H

#include <cstdint>

namespace kyt {

int32_t next_command_number(int32_t* cn);

}  // namespace kyt

#endif  // KYT_SERVICES_CMDNUM_H
