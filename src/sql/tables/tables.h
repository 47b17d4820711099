// tables: the per-table access modules, one a station table (ISAsql<tt>.cpp), each a set of
// named functions over the shared engine (tabmod.h). Element records are those of
// include/kyt/kyt_elem.h.
//
// Conventions of every module:
//   create<TT>table()          the table's CREATE TABLE and CREATE UNIQUE INDEX statements
//   get<TT>elemBy<Key>(k, e)   the first row with that key into *e; 0, 24200000 (no such row),
//                              or the failing status (then *e may be partly filled)
//   get<TT>...List(..., first) every row into a chain: the first into *first, every further
//                              row into an element allocated by the module; 0, 24200000 when
//                              no row at all, or the failing status (the chain as far as it
//                              was built); free<TT>elemList(first) frees what the module
//                              allocated (everything behind *first)
//   ins<TT>elem(e)             one row from every member of *e
//   upd<TT><What>(e)           the columns named by <What> of the row whose key columns equal
//                              those of *e (see each module for the columns)
//   del<TT>...(k)              the rows with that value
// Date-time members are date-time text both ways; an empty text is a column not set.
#ifndef KYT_SQL_TABLES_TABLES_H
#define KYT_SQL_TABLES_TABLES_H

#include <cstdint>

#include "kyt/kyt_elem.h"

namespace kyt {

// ISAsqlri: RI, running processes of the station.
int32_t createRItable();
int32_t getRIelemByKytid(int32_t kytid, kyt_ri_elem* e);
int32_t getRIelemList(kyt_ri_elem* first);
int32_t insRIelem(const kyt_ri_elem* e);
int32_t delRIelem(int32_t kytid);
void freeRIelemList(kyt_ri_elem* first);

// ISAsqlpt: PT, parameters.
int32_t createPTtable();
int32_t getPTelemList(kyt_pt_elem* first);
int32_t insPTelem(const kyt_pt_elem* e);
int32_t updPTStatus(const kyt_pt_elem* e);
void freePTelemList(kyt_pt_elem* first);

// ISAsqlkt: KT, commands.
int32_t createKTtable();
int32_t getKTelemByCn(int32_t cn, kyt_kt_elem* e);
int32_t getKTStatusByCn(int32_t cn, char* status);
int32_t getKTCmdtypByCn(int32_t cn, char* cmdtype);
int32_t getKTelemList(kyt_kt_elem* first);
int32_t getKTelemListByPriority(kyt_kt_elem* first);
int32_t getKTCnPrListByStatus(const char* status, kyt_kt_elem* first);
int32_t getKTCnPrListByStatusDtselect(const char* status, const char* dt, kyt_kt_elem* first);
int32_t getKTDelList(kyt_kt_elem* first);
int32_t getKTOKList(kyt_kt_elem* first);
int32_t getKTcListbyCmd(const char* cmdtype, kyt_kt_elem* first);
int32_t insKT(kyt_kt_elem* e);
int32_t insKTelem(const kyt_kt_elem* e);
int32_t updKTStatus(const kyt_kt_elem* e);
int32_t updKTStatusDel(const kyt_kt_elem* e);
int32_t updKTStatusDon(const kyt_kt_elem* e);
int32_t updKTStatusErr(const kyt_kt_elem* e);
int32_t updKTStatusSch(const kyt_kt_elem* e);
int32_t updKT_free(const kyt_kt_elem* e);
int32_t updKTFlagser(const kyt_kt_elem* e);
int32_t updKTErrorcode(const kyt_kt_elem* e);
int32_t updKTDtschedule(const kyt_kt_elem* e);
int32_t delKT();
int32_t delKTelem(int32_t cn);
void freeKTelemList(kyt_kt_elem* first);

// ISAsqllm: LM, messages.
int32_t createLMtable();
int32_t getLMelemByCn(int32_t cn, kyt_lm_elem* e);
int32_t getLMelemList(kyt_lm_elem* first);
int32_t insLMelem(const kyt_lm_elem* e);
int32_t delLMelem(int32_t cn);
void freeLMelemList(kyt_lm_elem* first);

// ISAsqllt: LT, log messages.
int32_t createLTtable();
int32_t insLTelem(const kyt_lt_elem* e);
void freeLTelemList(kyt_lt_elem* first);

// ISAsqlop: OP, ODETTE partners (written through "INSERT INTO OP" / "UPDATE OP" / "DELETE FROM OP WHERE SID = ?" statements by their users).
int32_t createOPtable();
int32_t getOPelemBySid(const char* sid, kyt_op_elem* e);
int32_t getOPelemByOid(const char* odetteid, kyt_op_elem* e);
int32_t getOPelemList(kyt_op_elem* first);
void freeOPelemList(kyt_op_elem* first);

// ISAsqllx: LX, per-station parameters (written through "INSERT INTO LX" / "UPDATE LX" / "DELETE FROM LX ..." statements).
int32_t createLXtable();
int32_t getLXelemBySidName(const char* sid, const char* name, kyt_lx_elem* e);
int32_t getLXelemList(kyt_lx_elem* first);
int32_t getLXelemListByName(const char* name, kyt_lx_elem* first);
int32_t getLXelemListBySid(const char* sid, kyt_lx_elem* first);
int32_t insLXelem(const kyt_lx_elem* e);
int32_t updLXelem(const kyt_lx_elem* e);  // TYPE, LEN and VAL of the row (SID, NAME)
void freeLXelemList(kyt_lx_elem* first);

// ISAsqlbt: BT, users.
int32_t createBTtable();
int32_t getBTelemByUid(const char* uid, kyt_bt_elem* e);
int32_t getBTelemByUsersid(const char* usersid, kyt_bt_elem* e);
int32_t getBTelemList(kyt_bt_elem* first);
int32_t insBTelem(const kyt_bt_elem* e);
int32_t delBTelem(const char* uid);
void freeBTelemList(kyt_bt_elem* first);

// ISAsqlok: OK, operator command results.
int32_t createOKtable();
int32_t getOKelemByCn(int32_t cn, kyt_ok_elem* e);
int32_t getOKelemList(kyt_ok_elem* first);
int32_t insOKelem(const kyt_ok_elem* e);
int32_t delOKelem(int32_t cn);
void freeOKelemList(kyt_ok_elem* first);

// ISAsqljs: JS, jobs started on receipt.
int32_t createJStable();
int32_t getJSelemByCn(int32_t cn, kyt_js_elem* e);
int32_t getJSelemList(kyt_js_elem* first);
int32_t insJSelem(const kyt_js_elem* e);
int32_t updJSelem(const kyt_js_elem* e);
int32_t updJSDtlastused(const kyt_js_elem* e);
int32_t delJSelem(int32_t cn);
void freeJSelemList(kyt_js_elem* first);

// ISAsqlst: ST, stations (written through "INSERT INTO ST" / "DELETE FROM ST WHERE SID = ?" statements).
int32_t createSTtable();
int32_t getSTelemBySid(const char* sid, kyt_st_elem* e);
int32_t getSTelemList(kyt_st_elem* first);
void freeSTelemList(kyt_st_elem* first);

// ISAsqlnk: NK, network and protocol links per station (written through "UPDATE NK" statements).
int32_t createNKtable();
int32_t getNKelemList(kyt_nk_elem* first);
void freeNKelemList(kyt_nk_elem* first);

// ISAsqllu: LU, LU 6.2 connections.
int32_t createLUtable();
int32_t getLUelemBySid(const char* sid, kyt_lu_elem* e);
int32_t getLUelemList(kyt_lu_elem* first);
void freeLUelemList(kyt_lu_elem* first);

// ISAsqlet: ET, send entries.
int32_t createETtable();
int32_t getETelemByKey(const char* uid, const char* cid, const char* siddest, int32_t cnse, int32_t cnie, kyt_et_elem* e);
int32_t getETelemByCnse(int32_t cnse, kyt_et_elem* e);
int32_t getETelemByCnie(int32_t cnie, kyt_et_elem* e);
int32_t getETelemByCniz(int32_t cniz, kyt_et_elem* e);
int32_t getETelemByCnsk(int32_t cnsk, kyt_et_elem* e);
int32_t getETelemList(kyt_et_elem* first);
int32_t getETelemListByCnse(int32_t cnse, kyt_et_elem* first);
int32_t getETelemListByCnieSid(int32_t cnie, const char* siddest, kyt_et_elem* first);
int32_t getETelemListByCnieNotSid(int32_t cnie, const char* siddest, kyt_et_elem* first);
int32_t insETelem(const kyt_et_elem* e);
int32_t delETelemByCnse(int32_t cnse);
int32_t delETelemByCnie(int32_t cnie);
void freeETelemList(kyt_et_elem* first);

// ISAsqlre: RE, resident receive entries.
int32_t createREtable();
int32_t getREelemByCn(int32_t cn, kyt_re_elem* e);
int32_t getREelemList(kyt_re_elem* first);
int32_t insREelem(const kyt_re_elem* e);
int32_t updREDtlastused(const kyt_re_elem* e);
int32_t delREelem(int32_t cn);
void freeREelemList(kyt_re_elem* first);

// ISAsqlsk: SK, send queue.
int32_t createSKtable();
int32_t getSKelemByCn(int32_t cn, kyt_sk_elem* e);
int32_t getSKelemList(kyt_sk_elem* first);
int32_t getSKelemListBySid(const char* sidneighb, kyt_sk_elem* first);
int32_t updSKBegSend(const kyt_sk_elem* e);
int32_t updSKCnqe(const kyt_sk_elem* e);
int32_t updSKCntRecByt(const kyt_sk_elem* e);
int32_t updSKCntbyte(const kyt_sk_elem* e);
int32_t updSKCntrecord(const kyt_sk_elem* e);
int32_t updSKCode(const kyt_sk_elem* e);
int32_t updSKDsntemp(const kyt_sk_elem* e);
int32_t updSKDtendsend(const kyt_sk_elem* e);
int32_t delSKelem(int32_t cn);
void freeSKelemList(kyt_sk_elem* first);

// ISAsqlvd: VD, file descriptions of the queues.
int32_t createVDtable();
int32_t getVDelemByCn(int32_t cn, kyt_vd_elem* e);
int32_t getVDelemList(kyt_vd_elem* first);
int32_t insVDelem(const kyt_vd_elem* e);
int32_t updVDFlagsCode(const kyt_vd_elem* e);
int32_t updVDRecfm(const kyt_vd_elem* e);
int32_t updVDStatusdsn(const kyt_vd_elem* e);
int32_t delVDelem(int32_t cn);
void freeVDelemList(kyt_vd_elem* first);

// ISAsqlsl: SL, command sequences (changed through "UPDATE SL" statements).
int32_t createSLtable();
int32_t getSLelemByCnfirst(int32_t cnfirst, kyt_sl_elem* e);
int32_t getSLelemByCnafterwrd(int32_t cnafterwrd, kyt_sl_elem* e);
int32_t getSLelemList(kyt_sl_elem* first);
int32_t getSLelemListByLabel(const char* label, kyt_sl_elem* first);
int32_t insSLelem(const kyt_sl_elem* e);
void freeSLelemList(kyt_sl_elem* first);

// ISAsqlse: SE, send entries of the queue.
int32_t createSEtable();
int32_t getSEelemByCn(int32_t cn, kyt_se_elem* e);
int32_t getSEelemList(kyt_se_elem* first);
int32_t getSEelemListByLabel(const char* label, kyt_se_elem* first);
int32_t insSEelem(const kyt_se_elem* e);
int32_t updSECntackn(const kyt_se_elem* e);
int32_t updSECntsk(const kyt_se_elem* e);
int32_t delSEelem(int32_t cn);
void freeSEelemList(kyt_se_elem* first);

// ISAsqltr: TR, routing table entries (written through "INSERT TR" statements).
int32_t createTRtable();
int32_t getTRelemList(kyt_tr_elem* first);
void freeTRelemList(kyt_tr_elem* first);

// ISAsqllc: LC, last command number.
int32_t createLCtable();
int32_t getLCelem(kyt_lc_elem* e);
int32_t insLCelem(const kyt_lc_elem* e);
int32_t delLCelem(int32_t cn);
void freeLCelemList(kyt_lc_elem* first);

// ISAsqliz: IZ, receive entries of the queue.
int32_t createIZtable();
int32_t getIZelemByCn(int32_t cn, kyt_iz_elem* e);
int32_t getIZelemList(kyt_iz_elem* first);
int32_t insIZelem(const kyt_iz_elem* e);
int32_t updIZCnre(const kyt_iz_elem* e);
int32_t delIZelem(int32_t cn);
void freeIZelemList(kyt_iz_elem* first);

// ISAsqlss: SS, transfer statistics.
int32_t createSStable();
int32_t getSSelemByCn(int32_t cn, kyt_ss_elem* e);
int32_t getSSelemByCnSk(int32_t cnsk, kyt_ss_elem* e);
int32_t getSSelemList(kyt_ss_elem* first);
int32_t insSSelem(const kyt_ss_elem* e);
int32_t delSSelem(int32_t cn);
int32_t delSSelemListOld(const char* dt);
void freeSSelemList(kyt_ss_elem* first);

// ISAsqlrt: RT, routes (deleted through "DELETE FROM RT WHERE SIDDEST = ? OR SIDNEIGHB = ?").
int32_t createRTtable();
int32_t getRTelemBySid(const char* siddest, kyt_rt_elem* e);
int32_t getRTelemList(kyt_rt_elem* first);
void freeRTelemList(kyt_rt_elem* first);

// ISAsqlec: EC, commands of an entry.
int32_t createECtable();
int32_t getECelemByCn(int32_t cn, kyt_ec_elem* e);
int32_t getECelemByCncmd(int32_t cncmd, kyt_ec_elem* e);
int32_t getECelemList(kyt_ec_elem* first);
int32_t insECelem(const kyt_ec_elem* e);
int32_t delECelem(int32_t cn);
void freeECelemList(kyt_ec_elem* first);

// ISAsqlqs: QS, send queue of a connection.
int32_t createQStable();
int32_t getQSelemByCn(int32_t cn, kyt_qs_elem* e);
int32_t getQSelemList(kyt_qs_elem* first);
int32_t getQSelemListBySid(const char* sidneighb, kyt_qs_elem* first);
int32_t updQSBegSend(const kyt_qs_elem* e);
int32_t updQSDtendsend(const kyt_qs_elem* e);
int32_t delQSelem(int32_t cn);
void freeQSelemList(kyt_qs_elem* first);

// ISAsqlqe: QE, queue entries.
int32_t createQEtable();
int32_t getQEelemByCn(int32_t cn, kyt_qe_elem* e);
int32_t getQEelemList(kyt_qe_elem* first);
int32_t delQEelem(int32_t cn);
void freeQEelemList(kyt_qe_elem* first);

// ISAsqlie: IE, received files.
int32_t createIEtable();
int32_t getIEelemByCn(int32_t cn, kyt_ie_elem* e);
int32_t getIEelemList(kyt_ie_elem* first);
int32_t updIECntRecByt(const kyt_ie_elem* e);
int32_t updIECntackn(const kyt_ie_elem* e);
int32_t updIECntizandse(const kyt_ie_elem* e);
int32_t updIECntsendatt(const kyt_ie_elem* e);
int32_t updIEDtreceived(const kyt_ie_elem* e);
int32_t updIESidUid(const kyt_ie_elem* e);
int32_t updIEUidCid(const kyt_ie_elem* e);
int32_t delIEelem(int32_t cn);
void freeIEelemList(kyt_ie_elem* first);

// ISAsqlfk: FK, last error per command.
int32_t createFKtable();
int32_t getFKelemByCn(int32_t cn, kyt_fk_elem* e);
int32_t getFKelemList(kyt_fk_elem* first);
int32_t insFKelem(const kyt_fk_elem* e);
int32_t delFKelem(int32_t cn);
void freeFKelemList(kyt_fk_elem* first);

// ISAsqlav: AV, connection statistics per station (changed through "UPDATE AV" statements).
int32_t createAVtable();
int32_t getAVelemBySid(const char* sid, kyt_av_elem* e);
int32_t getAVCountBySid(const char* sid, int32_t* count);
int32_t getAVelemList(kyt_av_elem* first);
int32_t getAVelemListList(kyt_av_elem* first);
int32_t insAVelem(const kyt_av_elem* e);
int32_t delAVelem(int32_t kytid);
void freeAVelemList(kyt_av_elem* first);

// ISAsqlbb: BB, bulletin messages.
int32_t createBBtable();
int32_t getBBelemByCn(int32_t cn, kyt_bb_elem* e);
int32_t getBBelemList(kyt_bb_elem* first);
int32_t insBBelem(const kyt_bb_elem* e);
int32_t delBBelem(int32_t cn);
void freeBBelemList(kyt_bb_elem* first);

// ISAsqltt: TT, text table.
int32_t createTTtable();
int32_t getTTelemByKey(const char* key, kyt_tt_elem* e);
int32_t getTTelemList(kyt_tt_elem* first);
void freeTTelemList(kyt_tt_elem* first);

// ISAsqldb: DB, database version.
int32_t createDBtable();
int32_t getDBelemList(kyt_db_elem* first);
int32_t insDBelem(const kyt_db_elem* e);
void freeDBelemList(kyt_db_elem* first);

// ISAsqlfs: FS, last error per station.
int32_t createFStable();
int32_t getFSelemByCn(const char* sid, kyt_fs_elem* e);
int32_t getFSelemList(kyt_fs_elem* first);
int32_t insFSelem(const kyt_fs_elem* e);
int32_t delFSelem(const char* sid);
void freeFSelemList(kyt_fs_elem* first);

// ISAsqlld: LD, a date.
int32_t createLDtable();
int32_t getLDelemList(kyt_ld_elem* first);
int32_t insLDelem(const kyt_ld_elem* e);
int32_t updLDelem(const kyt_ld_elem* e);
int32_t delLDelem(int32_t kytdate);
void freeLDelemList(kyt_ld_elem* first);

}  // namespace kyt

#endif  // KYT_SQL_TABLES_TABLES_H
