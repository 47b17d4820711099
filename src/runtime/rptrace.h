// rptrace: the protocol trace of the line drivers.
//
// Items are recorded in a fixed array in memory and dumped as text lines to the protocol
// trace file (dataset name DSN_TRACE_LOG, completed with the process id modulo 1000000)
// when the array is full (with TRACEALWAYSTOFILE), and at the end when TRACEALWAYSTOFILE or
// an error was set. Every operation returns 0; failures to write lose the dump silently.
#ifndef KYT_RUNTIME_RPTRACE_H
#define KYT_RUNTIME_RPTRACE_H

#include <cstdint>

namespace kyt {

// Item keys of the dump: 36 flow with result and error, 24 and 28 flow with a time value,
// 40 data.
constexpr int32_t kRptFlow = 36;
constexpr int32_t kRptTime24 = 24;
constexpr int32_t kRptTime28 = 28;
constexpr int32_t kRptData = 40;
// Data types of data items.
constexpr int32_t kRptInt = 2;
constexpr int32_t kRptHex = 9;

int rptraceinit();
// Starts over for a new transfer: an empty array, running size 0, error flag cleared.
int rptracereinit();
int rptraceseterr();
int rptracefinit();
int rptraceFlow(int32_t key, const char* text, int32_t result, int32_t error);
int rptraceData(int32_t key, const char* text, int32_t type, int32_t length, const void* data);
int dumpArray();
int dumpArrayToFile();

// Header values of the dump file, set by the line driver: driver kind (1 "CAPI2.0 over
// Bianca Brick", 2 "TCPIP", 3 "X.25 on AIX"), direction (1 "send", 2 "receive"), remote and
// local address (nullptr or empty prints "unknown"). The next dump starts with the header.
void rptraceSetHeader(int32_t driver, int32_t direction, const char* remote, const char* local);

// The level of the line driver's trace, read from LITRACELVL by rptraceinit.
int32_t rptraceLineLevel();

// Frees the array and forgets all state. Tests only.
void rptrace_reset_for_tests();

}  // namespace kyt

#endif  // KYT_RUNTIME_RPTRACE_H
