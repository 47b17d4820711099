// ISAsqlkt: the access module of KT (commands).
#include "sql/tables/tables.h"

#include "runtime/runtime.h"
#include "sql/tables/tabmod.h"

namespace kyt {

namespace {
constexpr Tab T = Tab::kKT;
}  // namespace

int32_t createKTtable() { return tm::create(T, "createKTtable"); }
int32_t getKTelemByCn(int32_t cn, kyt_kt_elem* e) {
  return tm::get(T, "getKTelemByCn", "KTCN", "CN = ?", {tm::arg(cn)}, e);
}
int32_t getKTStatusByCn(int32_t cn, char* status) {
  return tm::get_col(T, "getKTStatusByCn", "KTSTATCN", "STATUS", "CN = ?", {tm::arg(cn)}, status);
}
int32_t getKTCmdtypByCn(int32_t cn, char* cmdtype) {
  return tm::get_col(T, "getKTCmdtypByCn", "KTTYPCN", "CMDTYPE", "CN = ?", {tm::arg(cn)}, cmdtype);
}
int32_t getKTelemList(kyt_kt_elem* first) {
  return tm::list(T, "getKTelemList", "KTLIST", nullptr, nullptr, {}, first);
}
// Every command in order of PRIORITY (its sort index; equal priorities as the index keeps
// them, which is the order they were written).
int32_t getKTelemListByPriority(kyt_kt_elem* first) {
  return tm::list(T, "getKTelemListByPriority", "KTLISTPR", nullptr, "PRIORITY", {}, first);
}
// The numbers and priorities (only CN and PRIORITY are filled) of the commands in a status.
int32_t getKTCnPrListByStatus(const char* status, kyt_kt_elem* first) {
  return tm::list(T, "getKTCnPrListByStatus", "KTCNPRST", "STATUS = ?", nullptr,
                  {tm::arg(status)}, first, {"CN", "PRIORITY"});
}
// As getKTCnPrListByStatus, limited to commands due at `dt`: scheduled at or before it, or
// not scheduled at all (DTSCHEDULE 0 is before every instant).
int32_t getKTCnPrListByStatusDtselect(const char* status, const char* dt, kyt_kt_elem* first) {
  return tm::list(T, "getKTCnPrListByStatusDtselect", "KTCNPRDT",
                  "STATUS = ? AND DTSCHEDULE <= ?", nullptr, {tm::arg(status), tm::dt(dt)},
                  first, {"CN", "PRIORITY"});
}
// Commands that may be removed: ended ('en'), failed ('er') or marked deleted ('de', or
// DELETEDBY set).
int32_t getKTDelList(kyt_kt_elem* first) {
  return tm::list(T, "getKTDelList", "KTDELLST",
                  "(  STATUS = 'en' OR STATUS = 'er' OR STATUS = 'de' OR DELETEDBY <> '' )",
                  nullptr, {}, first);
}
// The operator commands (CMDTYPE 'OK'), whatever their status.
int32_t getKTOKList(kyt_kt_elem* first) {
  return tm::list(T, "getKTOKList", "KTOKLIST", "CMDTYPE = 'OK'", nullptr, {}, first);
}
// The commands of one type.
int32_t getKTcListbyCmd(const char* cmdtype, kyt_kt_elem* first) {
  return tm::list(T, "getKTcListbyCmd", "KTCMDLST", "CMDTYPE = ?", nullptr, {tm::arg(cmdtype)},
                  first);
}
// A new command row: DTCREATED and DTLASTUSED take the current time when the element leaves
// them empty; then as insKTelem.
int32_t insKT(kyt_kt_elem* e) {
  if (e->dtcreated[0] == '\0') dt_now(e->dtcreated, sizeof e->dtcreated);
  if (e->dtlastused[0] == '\0') dt_copy(e->dtlastused, sizeof e->dtlastused, e->dtcreated);
  return tm::insert(T, "insKT", e);
}
int32_t insKTelem(const kyt_kt_elem* e) { return tm::insert(T, "insKTelem", e); }
int32_t updKTStatus(const kyt_kt_elem* e) {
  return tm::update(T, "updKTStatus", e, {"STATUS", "DTLASTUSED"});
}
int32_t updKTStatusDel(const kyt_kt_elem* e) {
  return tm::update(T, "updKTStatusDel", e, {"STATUS", "DELETEDBY", "XIDDELETED", "DTLASTUSED"});
}
int32_t updKTStatusDon(const kyt_kt_elem* e) {
  return tm::update(T, "updKTStatusDon", e, {"STATUS", "DTDONE", "DTLASTUSED"});
}
int32_t updKTStatusErr(const kyt_kt_elem* e) {
  return tm::update(T, "updKTStatusErr", e, {"STATUS", "ERRORCODE", "DTDONE", "DTLASTUSED"});
}
int32_t updKTStatusSch(const kyt_kt_elem* e) {
  return tm::update(T, "updKTStatusSch", e, {"STATUS", "DTSCHEDULE", "DTLASTUSED"});
}
int32_t updKT_free(const kyt_kt_elem* e) {
  return tm::update(T, "updKT_free", e, {"STATUS", "FREEDBY", "XIDFREED", "DTFREE", "DTLASTUSED"});
}
int32_t updKTFlagser(const kyt_kt_elem* e) {
  return tm::update(T, "updKTFlagser", e, {"FLAGSERIAL"},
                    "updKTFlagser exec_update returns %d for %d");
}
int32_t updKTErrorcode(const kyt_kt_elem* e) {
  return tm::update(T, "updKTErrorcode", e, {"ERRORCODE"},
                    "updKTErrorcode exec_update returns %d ( c:%d e:%d )");
}
int32_t updKTDtschedule(const kyt_kt_elem* e) {
  return tm::update(T, "updKTDtschedule", e, {"DTSCHEDULE"});
}
// The bulk delete: queued operator commands.
int32_t delKT() { return tm::run("delKT", "DELETE FROM KT WHERE CMDTYPE = 'OK' AND STATUS = 'qn'"); }
int32_t delKTelem(int32_t cn) { return tm::remove(T, "delKTelem", {{"CN", kExprEq, tm::arg(cn)}}); }
void freeKTelemList(kyt_kt_elem* first) { tm::free_list(T, first); }

}  // namespace kyt
