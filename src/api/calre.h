// calre: resident receive entries (RE rows with their KT command rows), shared by the
// exported functions (kytResidentReceiveEntry, kytCreateRECmd, kytGetNextRE, kytGetRE) and
// the RESENTR verb of the command entry, so that both check and write alike.
//
// Record, checks, codes and rows: see the resident receive section of include/kyt/kyt.h.
#ifndef KYT_API_CALRE_H
#define KYT_API_CALRE_H

#include <cstdint>

#include "kyt/kyt.h"

namespace kyt::api {

// Codes beside the common ones.
constexpr int32_t kReBadField = -5;
constexpr int32_t kReCursorFailed = -7;
constexpr int32_t kReNoStation = 13;
constexpr int32_t kReNotActive = 14;
constexpr int32_t kReBadLocalPath = 16;
constexpr int32_t kReFileMissing = 17;
constexpr int32_t kReNoPrivilege = 18;
constexpr int32_t kReExists = 19;
constexpr int32_t kReFailed = 99;

// Creates, replaces or deletes an entry (action KYT_RE_CREATE, KYT_RE_REPLACE,
// KYT_RE_DELETE). On success of a creation or replacement rec->cn is the new command number.
int32_t re_apply(int32_t action, kyt_re_record* rec);

// Reads the list of entries again (kytGetAllREEntries). 0, or the failing status.
int32_t re_load_list();

// Forgets the list. Tests only.
void re_reset_for_tests();

}  // namespace kyt::api

#endif  // KYT_API_CALRE_H
