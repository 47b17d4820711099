// dblog: the database log. Each changing statement that runs through the statement
// interface (rpdsql) is rendered as text with its host variable values in place and handed
// to a sink, which the log-writer channel installs when it is connected (the SQL layer knows
// nothing of the channel).
//
// Nothing is rendered unless a sink is installed and the environment setting DBLOG begins
// with "Y" or "y". Only INSERT, UPDATE and DELETE that ran with status 0 are rendered (a
// refused statement changed nothing; a later ROLLBACK WORK is logged as nothing, since the
// log lists what was issued). Cursor, transaction and table statements are not rendered.
//
// Rendering (replayable in the station's SQL subset):
//   INSERT INTO T(C1,C2) VALUES(V1,V2)       ("INSERT INTO T VALUES(...)" without columns)
//   UPDATE T SET C1 = V1,C2 = V2 WHERE COND
//   DELETE FROM T WHERE COND
// Values: texts in single quotes with a quote doubled, integers in decimal, floating values
// with "%.17g", NULL. Conditions: "A = V", "<>", "<", ">", "<=", ">=", "LIKE"; an AND or OR
// operand that is the other of the two stands in parentheses. Tables and columns as the
// statement names them (upper case, a creator with "."). A "?" without a bound value is
// traced "SendDBLogToLogWriter: missing hostvar (cmd=%s)." with the statement text, and the
// statement is not rendered.
#ifndef KYT_SQL_DBLOG_H
#define KYT_SQL_DBLOG_H

#include <string_view>

#include "sql/dbi.h"

namespace kyt {

using DbLogSink = void (*)(std::string_view text, void* context);

// Installs (or with nullptr removes) the sink.
void dblog_set_sink(DbLogSink sink, void* context);

// Called by the statement interface after a statement ran with status 0: renders it and
// hands it to the sink when DBLOG asks for it.
void dblog_statement(const DbiStatement& d);

}  // namespace kyt

#endif  // KYT_SQL_DBLOG_H
