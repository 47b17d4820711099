// The statements the station issues, as its modules write them (pieces joined with nothing
// between them), with the number of input and output host variables each takes. Shared by
// the SQL tests, the fuzz targets (as seeds) and the parse benchmark.
#ifndef KYT_TESTS_SQL_STATEMENT_CORPUS_H
#define KYT_TESTS_SQL_STATEMENT_CORPUS_H

#include <cctype>
#include <string>
#include <string_view>
#include <vector>

#include "sql/schema.h"

namespace kyt::test {

struct CorpusStatement {
  std::vector<std::string_view> pieces;
  int n_in;                       // "?" marks
  int n_out;                      // selected columns of a DECLARE; host variables given to a FETCH
  const char* printed = nullptr;  // print-back of the isapar record, where checked
};

inline const std::vector<CorpusStatement>& statement_corpus() {
  static const std::vector<CorpusStatement> corpus = {
      // Per-table modules: single reads, lists, updates and deletes by statement.
      {{"DECLARE KTSTATCN CURSOR FOR SELECT STATUS FROM KT WHERE CN = ?"},
       1,
       1,
       "SELECT STATUS FROM KT WHERE (CN == ?)"},
      {{"DECLARE KTCN CURSOR FOR SELECT ",
        "CN, CMDTYPE, PRIORITY, DTCREATED, DTDONE, DTSCHEDULE, FLAGSERIAL, STATUS, HELDBY, "
        "XIDHELD, DTHOLD, FREEDBY, XIDFREED, DTFREE, DELETEDBY, XIDDELETED, ERRORCODE, KYTID, "
        "DTLASTUSED ",
        "FROM KT WHERE CN = ?"},
       1,
       19},
      {{"CLOSE KTCN"}, 0, 0},
      {{"DECLARE KTLIST CURSOR FOR SELECT CN       ,CMDTYPE FROM KT"},
       0,
       2,
       "SELECT CN,CMDTYPE FROM KT"},
      {{"FETCH KTLIST"}, 0, 2},
      {{"CLOSE KTLIST"}, 0, 0},
      {{"CLOSE RIKYTID"}, 0, 0},
      {{"DECLARE KTPRIO CURSOR FOR SELECT CN, PRIORITY, DTSCHEDULE FROM KT ",
        "WHERE STATUS = 'qn' AND FLAGSERIAL = 0 AND DTSCHEDULE <= ? AND  (  PRIORITY < ?  OR  ( "
        "PRIORITY = ? AND DTSCHEDULE < ? ))"},
       4,
       3,
       "SELECT CN,PRIORITY,DTSCHEDULE FROM KT WHERE ((((STATUS == 'qn') AND (FLAGSERIAL == 0)) "
       "AND (DTSCHEDULE <= ?)) AND ((PRIORITY < ?) OR ((PRIORITY == ?) AND (DTSCHEDULE < ?))))"},
      {{"DELETE FROM KT ", "WHERE CMDTYPE = 'OK' AND STATUS = 'qn'"},
       0,
       0,
       "DELETE FROM KT WHERE ((CMDTYPE == 'OK') AND (STATUS == 'qn'))"},
      {{"UPDATE kt SET heldby='S' WHERE cn==?"},
       1,
       0,
       "UPDATE KT SET HELDBY = 'S' WHERE (CN == ?)"},
      {{"UPDATE kt SET status=?,deletedby='U',xiddeleted=?,dtdone=?WHERE cn = ?"},
       4,
       0,
       "UPDATE KT SET STATUS = ?,DELETEDBY = 'U',XIDDELETED = ?,DTDONE = ? WHERE (CN == ?)"},
      {{"UPDATE KT SET STATUS = ? WHERE CN = ?"}, 2, 0},
      {{"UPDATE KT SET ERRORCODE = ? WHERE CN = ?"}, 2, 0},
      {{"UPDATE KT SET DTSCHEDULE = ? WHERE CN = ?"}, 2, 0},
      {{"DECLARE GPTNAME CURSOR FOR SELECT TYPE       , LEN       , VAL  FROM PT WHERE NAME = ?"},
       1,
       3},
      {{"INSERT INTO LX", "(SID, NAME, TYPE, LEN , VAL) ", "VALUES( ?, ?, ?, ? , ?)"},
       5,
       0,
       "INSERT INTO LX(SID,NAME,TYPE,LEN,VAL) VALUES(?,?,?,?,?)"},
      {{"INSERT INTO LC(CN)", "VALUES(?)"}, 1, 0, "INSERT INTO LC(CN) VALUES(?)"},
      {{"DELETE FROM LX WHERE SID = ?"}, 1, 0},
      {{"DELETE FROM LX WHERE SID = ? AND NAME = ?"}, 2, 0},
      {{"DECLARE JSLIST CURSOR FOR SELECT CN, VDSN, UIDSENDER, SIDSENDER, SIDRCV, CNTSENDATT, "
        "BATCHJOB, UIDCREATOR, COMMENTJS, DTLASTUSED FROM JS ORDER BY CNTSENDATT DESC"},
       0,
       10,
       "SELECT CN,VDSN,UIDSENDER,SIDSENDER,SIDRCV,CNTSENDATT,BATCHJOB,UIDCREATOR,COMMENTJS,"
       "DTLASTUSED FROM JS ORDER BY CNTSENDATT DESC  "},
      {{"DROP TABLE KT"}, 0, 0, "DROP TABLE KT "},
      // Database administration.
      {{"DECLARE DUMP_AV CURSOR FOR SELECT sid, dtlastconn, dtlasterr, cnterrconn, cntin, "
        "cntout, cntconn, kytid  FROM AV"},
       0,
       8},
      {{"FETCH DUMP_AC"}, 0, 13},
      {{"CLOSE DUMP_AC"}, 0, 0},
      {{"SET AUTOCOMMIT OFF"}, 0, 0},
      {{"SET AUTOCOMMIT ON"}, 0, 0},
      {{"COMMIT WORK"}, 0, 0},
      {{"ROLLBACK WORK"}, 0, 0},
      {{"OPEN DB"}, 0, 0},
      {{"CLOSE_DB"}, 0, 0},
      // Station list: loading, deleting and updating stations.
      {{" DECLARE stc CURSOR FOR SELECT sid FROM st  ORDER BY sid"},
       0,
       1,
       "SELECT SID FROM ST ORDER BY SID ASC  "},
      {{" DECLARE nkc CURSOR FOR SELECT  SID, FTP, PROTOCOL, PRIORITY, FLAGSUSPND, AUTODIAL, "
        "DELAY, PSESSIONS  FROM nk ",
        " ORDER BY sid"},
       0,
       8},
      {{"FETCH nkc"}, 0, 8},
      {{"CLOSE nkc"}, 0, 0},
      {{" DECLARE rtc CURSOR FOR SELECT  SIDDEST, SIDNEIGHB, PRIORITY FROM rt ",
        " ORDER BY siddest"},
       0,
       3},
      {{" DECLARE luc CURSOR FOR SELECT  SID, NETID, LUNAME, TPNAME, USERID, PASSWORD, PROFILE, "
        "MODE, SECURITY, FLGSYNC, FLGCONV FROM lu",
        " ORDER BY sid"},
       0,
       11},
      {{" DECLARE xpc CURSOR FOR SELECT  SID, N, ALIAS, RECV_ALIAS, XADDRESS, SUBADDRESS, "
        "TIMEOUT, ISDNNO, LINK, FACILITIES, DBIT, CUG, REQREVERSE, ACCREVERSE, FASTSELECT, "
        "USERDATA, VC, SESSIONS, L3PACKETSZ, ISDN_FAC, ISDN_USRDT, ISDN_PROT, ISDN_TEI, RCV_N, "
        "RCVTIMEOUT FROM xp",
        " ORDER BY sid, N"},
       0,
       25},
      {{" DECLARE tcc CURSOR FOR SELECT SID, N, PROTOCOL, INADDR, PORT, MAX_IN, MAX_OUT, "
        "SECURITY, RCV_N FROM tc",
        " ORDER BY sid, N"},
       0,
       9,
       "SELECT SID,N,PROTOCOL,INADDR,PORT,MAX_IN,MAX_OUT,SECURITY,RCV_N FROM TC "
       "ORDER BY SID ASC ,N ASC  "},
      {{" DECLARE lxc CURSOR FOR SELECT  SID, NAME, LEN, VAL FROM lx", " ORDER BY sid"}, 0, 4},
      {{"DELETE FROM ST WHERE SID = ?"}, 1, 0},
      {{"DELETE FROM RT WHERE SIDDEST = ?"}, 1, 0},
      {{"DELETE FROM OP WHERE SID = ?"}, 1, 0},
      {{"DELETE FROM NK WHERE SID = ?"}, 1, 0},
      {{"DELETE FROM LU WHERE SID = ?"}, 1, 0},
      {{"DELETE FROM XP WHERE SID = ?"}, 1, 0},
      {{"DELETE FROM TC WHERE SID = ?"}, 1, 0},
      {{"DELETE FROM NK WHERE SID = ? AND PROTOCOL = ?"}, 2, 0},
      {{"DELETE FROM XP WHERE SID = ? AND N = ?"}, 2, 0},
      {{"DELETE FROM RT WHERE SIDDEST = ? OR SIDNEIGHB = ?"},
       2,
       0,
       "DELETE FROM RT WHERE ((SIDDEST == ?) OR (SIDNEIGHB == ?))"},
      {{"INSERT INTO RT", "(SIDDEST, SIDNEIGHB, PRIORITY)", "VALUES(?, ?, ?)"}, 3, 0},
      // Send entries.
      {{"DECLARE sec CURSOR FOR SELECT uidsender, sidsender, seusrlabel, cn FROM se WHERE "
        "uidsender == ? ORDER BY cn"},
       1,
       4},
      {{"DECLARE sec CURSOR FOR SELECT uidsender, sidsender, seusrlabel, cn FROM se ORDER BY cn"},
       0,
       4},
      {{"DECLARE etc CURSOR FOR SELECT cnse, cnsk, cnie, cniz, sidneighb, siddest, vdsn, "
        "statuset, code, flagtstamp, flagcomp, flagcryp FROM et WHERE CNSE <>  0 ORDER BY cnse"},
       0,
       12,
       "SELECT CNSE,CNSK,CNIE,CNIZ,SIDNEIGHB,SIDDEST,VDSN,STATUSET,CODE,FLAGTSTAMP,FLAGCOMP,"
       "FLAGCRYP FROM ET WHERE (CNSE <> 0) ORDER BY CNSE ASC  "},
      {{"DECLARE ktc CURSOR FOR SELECT cn, status,dtcreated,dtschedule,dtdone,flagserial FROM kt "
        "WHERE ( CMDTYPE = 'SE' ) OR ( CMDTYPE = 'SK' )"},
       0,
       6,
       "SELECT CN,STATUS,DTCREATED,DTSCHEDULE,DTDONE,FLAGSERIAL FROM KT WHERE "
       "((CMDTYPE == 'SE') OR (CMDTYPE == 'SK'))"},
      {{"DECLARE vdn CURSOR FOR SELECT cn, recfm, maxrecl, vftyp, disp, dsnlocal, code, "
        "codetrans, codetable FROM vd ORDER BY cn"},
       0,
       9},
      {{"DECLARE skc CURSOR FOR SELECT CN, DTBEGSEND, DTENDSEND, DTAVAIL, CNTSENDATT, CNTBYTE, "
        "CNTRECORD FROM SK ORDER BY cn"},
       0,
       7},
      // Resident receive entries.
      {{"DECLARE ktc CURSOR FOR  SELECT cn FROM kt WHERE status == ? AND cmdtype == ?"}, 2, 1},
      {{"DECLARE rec CURSOR FOR SELECT cn, uidlocal, vdsn, uidsender, sidsender, dsnlocal, "
        "replace, disp, flagtstamp, printdef, batchjob, uidcreator, acctrecvr, commentre, "
        "dtlastused, vftyp, codetrans, codetable,",
        " flagcomp, flagcryp", " FROM re ", " ORDER BY cn"},
       0,
       20},
      {{"DECLARE sid CURSOR FOR SELECT sid FROM st WHERE sid LIKE ?"},
       1,
       1,
       "SELECT SID FROM ST WHERE (SID LIKE ?)"},
      {{"CLOSE sid"}, 0, 0},
      {{"DECLARE re CURSOR FOR SELECT cn,uidlocal,dsnlocal,replace,disp,flagtstamp,batchjob,"
        "uidcreator,acctrecvr,commentre ,vftyp,codetrans,codetable,flagcomp,flagcryp  FROM re  "
        "WHERE vdsn == ?  AND sidsender == ?"},
       2,
       15},
      {{"DECLARE kt CURSOR FOR SELECT cmdtype FROM kt WHERE cn == ? AND status == ?"}, 2, 1},
      {{"CLOSE kt"}, 0, 0},
      {{"FETCH re"}, 0, 15},
      {{"CLOSE re"}, 0, 0},
      // Parameters and user information.
      {{" DECLARE ptc CURSOR FOR SELECT NAME, TYPE, LEN, VAL FROM PT WHERE NAME > ?  ORDER BY "
        "NAME"},
       1,
       4,
       "SELECT NAME,TYPE,LEN,VAL FROM PT WHERE (NAME > ?) ORDER BY NAME ASC  "},
      {{"CLOSE ptc"}, 0, 0},
      {{" DECLARE ptt CURSOR FOR SELECT KEY, TEXT FROM TT WHERE KEY > ?  ORDER BY KEY"}, 1, 2},
      {{"CLOSE ptt"}, 0, 0},
  };
  return corpus;
}

// Texts only isapar reads: removing a dropped table's catalogue rows.
inline const std::vector<std::string_view>& isapar_corpus() {
  static const std::vector<std::string_view> corpus = {
      "EXECUTE IMMEDIATE DELETE FROM SYSTEM.SYSCATLG WHERE CREATOR == 'KYT' AND TNAME == 'KT'",
      "EXECUTE IMMEDIATE DELETE FROM SYSTEM.SYSCOLS WHERE CREATOR == 'KYT' AND TNAME == 'KT'",
  };
  return corpus;
}

// The schema statements (CREATE TABLE, then its indexes) of every catalogue and station
// table, and the dump cursor of every station table ("DECLARE DUMP_AV CURSOR FOR SELECT sid,
// dtlastconn, ... FROM AV", column names in lower case).
inline std::vector<std::string> schema_statements() {
  std::vector<std::string> out;
  for (auto list : {catalogue_schema(), station_schema()}) {
    for (const SchemaTable& t : list) {
      out.push_back(create_table_text(t));
      for (std::string& ix : create_index_texts(t)) out.push_back(std::move(ix));
    }
  }
  return out;
}

inline std::string dump_cursor_text(const SchemaTable& t) {
  std::string s = std::string("DECLARE DUMP_") + t.name + " CURSOR FOR SELECT ";
  for (size_t i = 0; i < t.cols.size(); ++i) {
    if (i > 0) s += ", ";
    for (const char* p = t.cols[i].s_colname; *p != '\0'; ++p)
      s += static_cast<char>(std::tolower(static_cast<unsigned char>(*p)));
  }
  return s + "  FROM " + t.name;
}

}  // namespace kyt::test

#endif  // KYT_TESTS_SQL_STATEMENT_CORPUS_H
