// schema: the description of every table, and what is derived from it.
#include "sql/schema.h"

#include <cstring>

#include "sql/status.h"

namespace kyt {

namespace {

// Column makers: C(name, n) is CHAR(n), I is INTEGER, S is SMALLINT; then the not-null flag
// (NN, or NUL for a nullable column) and the place in the primary key (1, 2, ...).
constexpr int16_t NN = 1;
constexpr int16_t NUL = 0;
constexpr COLDEF C(const char* name, int16_t n, int16_t not_null = NUL, int16_t key = 0) {
  return COLDEF{name, kTypeChar, n, not_null, key};
}
constexpr COLDEF I(const char* name, int16_t not_null = NUL, int16_t key = 0) {
  return COLDEF{name, kTypeInteger, 11, not_null, key};
}
constexpr COLDEF S(const char* name, int16_t not_null = NUL, int16_t key = 0) {
  return COLDEF{name, kTypeSmallint, 6, not_null, key};
}

constexpr COLDEF kRI[] = {I("KYTID", NN, 1),   C("MNAME", 128, NN), C("PTYPE", 2, NN),
                          I("PID", NN),        I("DTLASTUSED", NN), I("FLGFLUSH", NN),
                          C("STOPMODE", 2, NN)};
constexpr COLDEF kPT[] = {C("NAME", 20, NN, 1), S("TYPE", NN), I("LEN", NN), C("VAL", 40, NN)};
constexpr COLDEF kKT[] = {
    I("CN", NN, 1),     C("CMDTYPE", 3, NN), S("PRIORITY"),       I("DTCREATED", NN),
    I("DTDONE"),        I("DTSCHEDULE"),     S("FLAGSERIAL", NN), C("STATUS", 3, NN),
    C("HELDBY", 2),     C("XIDHELD", 21),    I("DTHOLD"),         C("FREEDBY", 2),
    C("XIDFREED", 21),  I("DTFREE"),         C("DELETEDBY", 2),   C("XIDDELETED", 21),
    S("ERRORCODE", NN), I("KYTID", NN),      I("DTLASTUSED")};
constexpr COLDEF kLM[] = {I("CN", NN, 1), C("MSGCLASS", 2, NN), C("MSGTEXTLM", 245, NN)};
constexpr COLDEF kLT[] = {I("MSGID", NN, 1),  I("DTCREATED"),     C("MSGCLASS", 2),
                          C("MSGNAME", 31),   C("MSGTEXT", 2001), C("NODENAME", 128),
                          C("PROCESSTYP", 2), I("PROCESSID"),     C("KONTEXTTYP", 2),
                          I("KONTEXTID"),     C("KONTEXTSID", 17)};
constexpr COLDEF kOP[] = {
    C("SID", 17, NN, 1), C("ODETTEID", 26, NN), C("PSWFROM", 9, NN), C("PSWTO", 9, NN),
    I("SENDBLOCKS"),     I("RECVBLOCKS"),       I("OCREVAL"),        I("OEXBUF"),
    C("CODEIN", 2),      C("CODEOUT", 2),       C("USERFIELD", 10),  I("RETRY"),
    C("EERP_IN", 10),    C("EERP_OUT", 10),     C("VDSNCHAR", 10),   S("FLAGCOMP", NN),
    S("FLAGCRYP", NN),   C("ROUTING", 2),       C("SECURITY", 10),   C("USEPKI", 4),
    C("USEULS", 9),      C("OFTPLEV", 2),       C("USERSEP", 2),     C("DIRECTION", 2),
    C("COMPFLAGS", 16),  C("CRYPFLAGS", 16)};
constexpr const char* kOPOid[] = {"ODETTEID"};
constexpr SchemaIndex kOPIndexes[] = {{"IDX_OID", kOPOid}};
constexpr COLDEF kLX[] = {C("SID", 17, NN, 1), C("NAME", 12, NN, 2), S("TYPE", NN), I("LEN", NN),
                          C("VAL", 30, NN)};
constexpr COLDEF kBT[] = {C("UID", 21, NN, 1), C("NAMEUSR", 31, NN), C("PRIVUSR", 2, NN),
                          C("PROFSESS", 2),    C("LANGUAGE", 2, NN), C("PASSWORD", 17),
                          C("USERSID", 17)};
constexpr COLDEF kOK[] = {I("CN", NN, 1), C("CID", 12, NN), I("CPID", NN), C("TEXTOK", 255, NN)};
constexpr COLDEF kJS[] = {I("CN", NN, 1),         C("VDSN", 27, NN),       C("UIDSENDER", 21, NN),
                          C("SIDSENDER", 17, NN), C("SIDRCV", 17, NN),     I("CNTSENDATT", NN),
                          C("BATCHJOB", 255, NN), C("UIDCREATOR", 21, NN), C("COMMENTJS", 51),
                          I("DTLASTUSED")};
constexpr COLDEF kST[] = {C("SID", 17, NN, 1), C("NETID", 26, NN), C("STATNAME", 31, NN),
                          C("PHONE", 30), C("SIDTYP", 2)};
constexpr COLDEF kNK[] = {C("SID", 17, NN, 1), C("FTP", 2, NN, 2),  C("PROTOCOL", 2, NN, 3),
                          S("PRIORITY", NN),   S("FLAGSUSPND", NN), C("AUTODIAL", 2, NN),
                          I("DELAY"),          I("PSESSIONS")};
constexpr COLDEF kLU[] = {C("SID", 17, NN, 1), C("NETID", 9),       C("LUNAME", 9, NN),
                          C("TPNAME", 65, NN), C("USERID", 11, NN), C("PASSWORD", 11, NN),
                          C("PROFILE", 65),    C("MODE", 9),        S("SECURITY", NN),
                          S("FLGSYNC", NN),    S("FLGCONV", NN)};
constexpr COLDEF kET[] = {C("UID", 21, NN, 1), C("CID", 12, NN, 2), C("SIDDEST", 17, NN, 3),
                          I("CNSE", NN, 4),    I("CNIE", NN, 5),    I("CNSK"),
                          I("CNIZ"),           C("VDSN", 27, NN),   C("CODE", 5, NN),
                          C("CODETABLE", 255), S("FLAGTSTAMP", NN), S("FLAGCOMP", NN),
                          S("FLAGCRYP", NN),   C("SIDNEIGHB", 17),  C("STATUSET", 3, NN),
                          C("DELETEDBY", 2),   C("XIDDELETED", 21)};
constexpr COLDEF kRE[] = {
    I("CN", NN, 1),         C("UIDLOCAL", 21, NN), C("VDSN", 27, NN),   C("UIDSENDER", 21, NN),
    C("SIDSENDER", 17, NN), C("DSNLOCAL", 255),    C("REPLACE", 2, NN), C("DISP", 2, NN),
    S("FLAGTSTAMP", NN),    C("PRINTDEF", 2),      C("BATCHJOB", 255),  C("UIDCREATOR", 21, NN),
    C("ACCTRECVR", 21, NN), C("COMMENTRE", 51),    I("DTLASTUSED"),     C("VFTYP", 2),
    C("CODETRANS", 2),      C("CODETABLE", 255),   S("FLAGCOMP", NN),   S("FLAGCRYP", NN)};
constexpr COLDEF kSK[] = {I("CN", NN, 1),       I("CNSE", NN),          I("DTBEGSEND"),
                          I("DTENDSEND"),       C("SIDNEIGHB", 17, NN), S("FLAGZREC", NN),
                          C("SIDDEST", 17, NN), C("VDSN", 27, NN),      I("DTAVAIL", NN),
                          C("DSNTEMP", 255),    S("FLAGCOMPR"),         S("FLAGENCR"),
                          C("CODE", 5),         I("CNTRECORD", NN),     C("CNTBYTE", 15, NN),
                          I("CNTSENDATT", NN),  I("CNTRETRY", NN),      I("CNQE", NN)};
constexpr COLDEF kVD[] = {I("CN", NN, 1),      C("DSNLOCAL", 255, NN), C("RECFM", 2, NN),
                          I("MAXRECL", NN),    I("APPROXSIZE", NN),    C("FILETYPE", 9),
                          C("DISP", 2, NN),    S("FLAGCOMPR", NN),     S("FLAGENCR", NN),
                          C("CODE", 5, NN),    C("STATUSDSN", 2, NN),  C("CODETRANS", 2),
                          C("CODETABLE", 255), C("CRYPT", 2),          C("CRYPTABLE", 255),
                          C("RCOMPRESS", 2),   C("COMPTABLE", 255),    C("VFTYP", 2)};
constexpr COLDEF kSL[] = {I("CNFIRST", NN, 1), I("CNAFTERWRD", NN, 2), I("DTCREATED", NN),
                          I("DTDONE"),         C("STATUS", 3, NN),     C("USRLABEL", 21)};
constexpr COLDEF kSE[] = {I("CN", NN, 1),      C("UIDSENDER", 21),     C("ACCTSENDER", 21),
                          C("CIDSENDER", 12),  C("SIDSENDER", 17, NN), I("DTSCHEDUSR"),
                          C("SEUSRLABEL", 21), I("CNIE", NN),          C("INFOTYPE", 2, NN),
                          I("CNTSK", NN),      I("CNTACKN", NN)};
constexpr COLDEF kTR[] = {C("DIRECTION", 2, NN, 1), C("SIDORG", 17, NN, 2), C("SIDDEST", 17, NN, 3),
                          C("SIDNEIGHB", 17, NN, 4), C("VDSN", 27, NN, 5)};
constexpr COLDEF kLC[] = {I("CN", NN)};
constexpr COLDEF kIZ[] = {I("CN", NN, 1),    I("CNIE", NN),      C("UID", 21, NN),
                          C("CID", 12, NN),  I("CNRE"),          C("DSNLOCAL", 255),
                          C("DSNTEMP", 255), C("BATCHJOBID", 21)};
constexpr COLDEF kSS[] = {
    I("CN", NN, 1),      I("CNSK"),          C("UID", 21),      C("DIRECTION", 2, NN),
    C("LABEL", 21),      C("VDSN", 27, NN),  C("DSN", 255, NN), C("SIDDEST", 17),
    C("SIDORIG", 17),    I("DTCREAT", NN),   I("DTEND"),        I("BYTES"),
    I("KYTSIZE"),        I("SENDATT"),       C("FORMAT", 2),    C("STATUS", 3),
    C("DELREASON", 245), C("ACTION", 8, NN), I("ERRORCODE", NN)};
constexpr COLDEF kRT[] = {C("SIDDEST", 17, NN, 1), C("SIDNEIGHB", 17, NN, 2), S("PRIORITY", NN)};
constexpr COLDEF kEC[] = {I("CN", NN, 1), I("CNCMD", NN), C("STATUSCN", 2, NN)};
constexpr COLDEF kQS[] = {I("CN", NN, 1),         I("CNIE", NN),        I("CNQE", NN),
                          C("SIDORIG", 17, NN),   C("SIDDEST", 17, NN), C("VDSN", 27, NN),
                          I("DTAVAIL", NN),       I("DTBEGSEND"),       I("DTENDSEND"),
                          C("SIDNEIGHB", 17, NN), I("CNTSENDATT", NN),  I("CNTRETRY", NN)};
constexpr COLDEF kQE[] = {I("CN", NN, 1),       C("SIDNEIGHB", 17, NN), I("CNQS"),
                          C("SIDORIG", 17, NN), C("SIDDEST", 17, NN),   C("VDSN", 27, NN),
                          I("DTAVAIL", NN)};
constexpr COLDEF kIE[] = {
    I("CN", NN, 1),         C("SIDNEIGHB", 17, NN), I("CNSK", NN),      C("VDSN", 27, NN),
    I("DTAVAIL", NN),       I("DTRECEIVED", NN),    C("UIDSENDER", 21), C("CIDSENDER", 12),
    C("SIDSENDER", 17, NN), C("INFOTYPE", 2, NN),   S("FLAGZREC", NN),  I("CNTRECORD"),
    C("CNTBYTE", 15),       I("CNTIZANDSE", NN),    I("CNTACKN", NN),   I("CNTSENDATT", NN)};
constexpr COLDEF kFK[] = {I("CN", NN, 1), I("ERR"),          I("ERRNO"),
                          I("ERRTYPE"),   C("ERRMSG", 1025), I("DTCREATED")};
constexpr COLDEF kAV[] = {C("SID", 17, NN), I("DTLASTCONN"), I("DTLASTERR"), I("CNTERRCONN"),
                          I("CNTIN"),       I("CNTOUT"),     I("CNTCONN"),   I("KYTID", NN, 1)};
constexpr COLDEF kBB[] = {I("CN", NN, 1),   I("CNORIGIN", NN), C("UID", 21, NN),
                          C("SID", 17, NN), I("MSGLENBB", NN), C("MSGTEXTBB", 255, NN)};
constexpr COLDEF kTT[] = {C("KEY", 129, NN, 1), C("TEXT", 1025)};
constexpr COLDEF kDB[] = {C("DBVERSION", 128, NN, 1), I("DBDATE", NN)};
constexpr COLDEF kFS[] = {C("SID", 17, NN, 1), I("ERR"),          I("ERRNO"),
                          I("ERRTYPE"),        C("ERRMSG", 1025), I("DTCREATED")};
constexpr COLDEF kAC[] = {C("SID", 17, NN, 1), C("PORT", 9, NN),        S("DATABITS", NN),
                          S("STOPBITS", NN),   C("PARITY", 2, NN),      I("BAUDRATE", NN),
                          S("XONXOFF", NN),    C("DIALNUMBER", 33, NN), C("DIALMETHOD", 2, NN),
                          C("NETUID", 9),      C("NETPSW", 9),          C("PADPARMS", 255),
                          C("X25ADDRESS", 16)};
constexpr COLDEF kSV[] = {I("KEYID", NUL, 1),    S("FLAGPUBLIC", NUL, 2), C("SID", 17, NN),
                          C("KEYNAME", 255, NN), I("DTBEGIN", NN),        I("DTEND", NN)};
constexpr COLDEF kTC[] = {C("SID", 17, NN, 1), C("PROTOCOL", 2, NN, 2), I("N", NUL, 3),
                          C("INADDR", 64, NN), S("PORT", NN),           S("MAX_IN"),
                          S("MAX_OUT"),        C("SECURITY", 9),        I("RCV_N", NN)};
constexpr COLDEF kXP[] = {
    C("SID", 17, NN, 1),  C("ALIAS", 81),       C("RECV_ALIAS", 81), I("N", NUL, 2),
    C("XADDRESS", 41),    C("SUBADDRESS", 3),   C("TIMEOUT", 16),    C("ISDNNO", 41),
    C("LINK", 11),        C("FACILITIES", 219), S("DBIT", NN),       C("CUG", 3, NN),
    S("REQREVERSE", NN),  S("ACCREVERSE", NN),  S("FASTSELECT", NN), C("USERDATA", 255),
    C("VC", 2, NN),       I("SESSIONS", NN),    I("L3PACKETSZ", NN), C("ISDN_FAC", 219),
    C("ISDN_USRDT", 255), C("ISDN_PROT", 8),    I("ISDN_TEI", NN),   I("RCV_N", NN),
    I("RCVTIMEOUT", NN)};
constexpr COLDEF kLD[] = {I("KYTDATE", NN)};

constexpr SchemaTable T(const char* name, std::span<const COLDEF> cols,
                        std::span<const SchemaIndex> indexes = {}) {
  return SchemaTable{kStationCreator, name, cols, indexes};
}

constexpr SchemaTable kStation[] = {
    T("RI", kRI), T("PT", kPT), T("KT", kKT), T("LM", kLM), T("LT", kLT), T("OP", kOP, kOPIndexes),
    T("LX", kLX), T("BT", kBT), T("OK", kOK), T("JS", kJS), T("ST", kST), T("NK", kNK),
    T("LU", kLU), T("ET", kET), T("RE", kRE), T("SK", kSK), T("VD", kVD), T("SL", kSL),
    T("SE", kSE), T("TR", kTR), T("LC", kLC), T("IZ", kIZ), T("SS", kSS), T("RT", kRT),
    T("EC", kEC), T("QS", kQS), T("QE", kQE), T("IE", kIE), T("FK", kFK), T("AV", kAV),
    T("BB", kBB), T("TT", kTT), T("DB", kDB), T("FS", kFS), T("AC", kAC), T("SV", kSV),
    T("TC", kTC), T("XP", kXP), T("LD", kLD)};

constexpr COLDEF kSyscatlg[] = {C("CREATOR", 19, NN, 1), C("TNAME", 19, NN, 2), I("ROWLEN", NN),
                                S("NCOLS", NN)};
constexpr COLDEF kSyscols[] = {
    C("CREATOR", 19, NN, 1), C("TNAME", 19, NN, 2), C("CNAME", 19, NN, 3), S("COLTYPE", NN),
    S("COLNO", NN),          I("LENGTH", NN),       S("NULLS", NN),        S("PRIMKEY", NN)};
constexpr SchemaTable kCatalogue[] = {{kSystemCreator, "SYSCATLG", kSyscatlg, {}},
                                      {kSystemCreator, "SYSCOLS", kSyscols, {}}};

std::string qualified_name(const SchemaTable& t) {
  std::string s;
  if (std::strcmp(t.creator, kStationCreator) != 0) s.append(t.creator).append(".");
  return s.append(t.name);
}

std::string index_text(const char* index, const std::string& table,
                       std::span<const char* const> cols) {
  std::string s = "CREATE UNIQUE INDEX ";
  s.append(index).append(" ON ").append(table).append(" (");
  for (size_t i = 0; i < cols.size(); ++i) {
    if (i > 0) s.append(",");
    s.append(cols[i]);
  }
  return s.append(")");
}

}  // namespace

std::span<const SchemaTable> station_schema() {
  return kStation;
}
std::span<const SchemaTable> catalogue_schema() {
  return kCatalogue;
}

const SchemaTable* schema_table(std::string_view name) {
  for (std::span<const SchemaTable> list : {station_schema(), catalogue_schema()}) {
    for (const SchemaTable& t : list) {
      if (name == t.name) return &t;
    }
  }
  return nullptr;
}

std::string create_table_text(const SchemaTable& t) {
  std::string s = "CREATE TABLE " + qualified_name(t) + " (";
  for (size_t i = 0; i < t.cols.size(); ++i) {
    const COLDEF& c = t.cols[i];
    if (i > 0) s.append(", ");
    s.append(c.s_colname).append(" ").append(col_type_text(c));
    if (c.not_null) s.append(" NOT NULL");
  }
  return s.append(")");
}

std::vector<std::string> create_index_texts(const SchemaTable& t) {
  std::vector<std::string> out;
  if (!t.has_primary()) return out;
  std::vector<const char*> key;
  for (int16_t place = 1;; ++place) {
    size_t before = key.size();
    for (const COLDEF& c : t.cols) {
      if (c.key == place) key.push_back(c.s_colname);
    }
    if (key.size() == before) break;
  }
  std::string table = qualified_name(t);
  out.push_back(index_text(("PRIM_" + std::string(t.name)).c_str(), table, key));
  for (const SchemaIndex& ix : t.indexes) out.push_back(index_text(ix.name, table, ix.cols));
  return out;
}

int32_t schema_catalogue(const TABSPEC& ts, SyscatlgRow* table, std::vector<SyscolsRow>* cols) {
  cols->clear();
  const SchemaTable* t = schema_table(ts.s_tabname);
  if (t == nullptr || (ts.s_creator[0] != '\0' && std::strcmp(ts.s_creator, t->creator) != 0))
    return DBI_E_TABERR;
  table->creator = t->creator;
  table->tname = t->name;
  table->ncols = static_cast<int16_t>(t->cols.size());
  table->rowlen = 0;
  cols->reserve(t->cols.size());
  for (size_t i = 0; i < t->cols.size(); ++i) {
    const COLDEF& c = t->cols[i];
    int16_t width = type_width(c.type, c.width);
    table->rowlen += type_size(c.type, width);
    cols->push_back(SyscolsRow{t->creator, t->name, c.s_colname, c.type,
                               static_cast<int16_t>(i + 1), width,
                               static_cast<int16_t>(c.not_null ? 0 : 1), c.key});
  }
  return RC_OK;
}

}  // namespace kyt
