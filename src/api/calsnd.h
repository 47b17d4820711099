// calsnd: send entries. The exported creation calls (kytCreateSendEntry and its siblings)
// compose a SEND command line and run it through kytcal; the SEND verb's handler (cmdsend.cpp)
// checks it and writes the rows. The list calls (kytGetNextSendCmd, kytGetSendEntry,
// kytGetNextSendErrCh) read the send entries of the station back. This header holds what the
// handler and the exported calls share inside the library.
#ifndef KYT_API_CALSND_H
#define KYT_API_CALSND_H

#include <cstdint>
#include <string>

namespace kyt::api {

// Codes of the SEND verb's handler besides 0 and 99 (database failure). Parse codes of the
// command language (1 to 6) never come from the handler itself.
constexpr int32_t kSendBadAction = 8;       // the positional parameter is no action
constexpr int32_t kSendNotForAction = 9;    // a keyword or group the action does not use
constexpr int32_t kSendMissing = 10;        // DSN, a destination or CMDID missing
constexpr int32_t kSendBadValue = 11;       // a value that is too long or not of its kind
constexpr int32_t kSendNoFile = 12;         // DSN names no readable file
constexpr int32_t kSendUnknown = 13;        // unknown station, partner, user or command
constexpr int32_t kSendWrongState = 14;     // the command's status does not allow the action

// The acting user: the UID under which SEND /CREATE writes its entry (SE.UIDSENDER and the
// UID of destinations that name none). Set by the request's acting user field of the
// creation calls and kept for the process until set again; while it was never set, the
// calling user (kytSetUser, KYT_USER, "SYSTEM") acts.
std::string send_acting_user();
void set_send_acting_user(const std::string& uid);  // "" returns to the calling user

// Forgets the acting user, the sender filter, the loaded list and the last command number.
// Tests only.
void calsnd_reset_for_tests();

}  // namespace kyt::api

#endif  // KYT_API_CALSND_H
