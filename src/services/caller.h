// caller: who calls the library. The command entry answers in this user's language and the
// resident receive entry calls check this user's privilege (BT.PRIVUSR).
//
// Order of choice: the UID set by set_calling_user (kytSetUser), else the environment
// variable KYT_USER, else "SYSTEM", the user every new database is made with. The UID is
// upper-cased and at most 20 characters (BT.UID is CHAR(21)).
#ifndef KYT_SERVICES_CALLER_H
#define KYT_SERVICES_CALLER_H

#include <cstdint>
#include <string>

namespace kyt {

constexpr size_t kMaxUidLength = 20;

// The calling user's UID.
std::string calling_user();
// Sets (uid non-empty) or clears (nullptr or "") the process's calling user. -5 when uid is
// longer than kMaxUidLength, else 0.
int32_t set_calling_user(const char* uid);

}  // namespace kyt

#endif  // KYT_SERVICES_CALLER_H
