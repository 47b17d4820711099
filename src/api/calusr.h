// calusr: small services for client programs: station parameters read and written straight
// in PT, settings of the environment file, user information texts in TT, the client's own
// initialisation and its registration in RI, and the last error of a command (FK).
// The exported functions are declared in the user info section of include/kyt/kyt.h.
#ifndef KYT_API_CALUSR_H
#define KYT_API_CALUSR_H

#include <cstdint>

namespace kyt::api {

// Status of a table read as client programs see it: 0, 99, the SQL layer's "no row", close
// and open failures as -1, -2, -3; anything else traced (with `context`) and answered as 99.
int32_t map_table_code(int32_t rc, const char* context);

// The KYTID of this process's registration, 0 when it is not registered.
int32_t registered_kytid();

// Forgets the registration and the time of the last refresh. Tests only.
void calusr_reset_for_tests();

}  // namespace kyt::api

#endif  // KYT_API_CALUSR_H
