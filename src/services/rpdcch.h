// rpdcch, rpdch: the command table cache of the monitor programs.
//
// Every job is a KT row (CN, CMDTYPE, STATUS, ...) with a row of its type's table behind it
// (SE, SK, IE, IZ, QS, QE, OK). rpdcch addresses a field of a job by command number (text)
// and field name, reads it from the database on first use and keeps it per command; values
// are kept and handed out as text (numbers in decimal, date-time columns as date-time text).
//
// Field map (made once a process): "TYPE FIELD" keys, for the types KT, IE, IZ,
// OK, QE, QS, SE, SK, each naming the table and column that hold the value. A field that is
// not a column of the type's own table comes from the rows the job refers to:
//   SE  ET (CNSE = CN), VD (CN), SK (CNSE = CN)
//   SK  SE (CN = CNSE), VD (CN = CNSE), ET (CNSK = CN)
//   IE  VD (CN), ET (CNIE = CN)
//   IZ  IE (CN = CNIE), VD (CN = CNIE), ET (CNIZ = CN)
// the first of them (in this order) with such a column; CODE_VD is the CODE of VD.
//
// rpdcch actions: 123 get (cut to length - 1 characters and terminated), 124 put into the
// cache only, 125 put and write (KT's STATUS, ERRORCODE and DTSCHEDULE; any other field
// cannot be written: 4), 126 forget the command ("ALL": every command and the cache itself);
// other actions 8. Codes: 0; 4 the field could not be read or written (an unknown field is
// traced "rpdcch, cch_from_db: invalid field >%s<"); 8; 16 the field map or a cache table
// could not be made; 99 a cached value longer than 32767 bytes or an internal failure.
//
// The pseudo-field Originator (at most 26 characters) tells who started the job: "KYT" for
// the types BB, EC, IE, IZ, LM, QS, QE and for an SE that stems from an incoming entry
// (CNIE not 0); "user: UID" or "oper: CID" for another SE ("unknown" and 4 when neither is
// set); an SK answers its SE's originator; OK "oper: CID(CPID)"; any other type "unknown".
//
// rpdch serves the KT row by 1-based column number: action 123 reads columns 5 (DTDONE) and
// 8 (STATUS), 125 writes 5 (DTDONE) and 9 (HELDBY); 124 and 126 forget the row kept for the
// command, 127 (allowed with command number 0) forgets every row. Other column numbers: 12;
// command number 0 (but for 127): 8; actions outside 123 to 127: 8; a row that cannot be
// read: -1.
#ifndef KYT_SERVICES_RPDCCH_H
#define KYT_SERVICES_RPDCCH_H

#include <cstdint>

namespace kyt {

constexpr int16_t CCH_GET = 123;
constexpr int16_t CCH_PUT = 124;
constexpr int16_t CCH_PUT_WRITE = 125;
constexpr int16_t CCH_FORGET = 126;
constexpr int16_t CCH_FORGET_ALL_ROWS = 127;

int32_t rpdcch_run(int16_t action, const char* cn, const char* field, char* value,
                   int32_t length);
int32_t rpdch_run(int16_t action, int32_t cn, int16_t field, char* value, int32_t length);

// The number of commands whose field tables are kept (tests).
int rpdcch_cached_commands();
// Forgets everything, the field map included. Tests only.
void rpdcch_reset_for_tests();

}  // namespace kyt

#endif  // KYT_SERVICES_RPDCCH_H
