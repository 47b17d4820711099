// lgwread: the receiving side of the channel's formats, for programs that watch a station
// (kytadm listen) and for the tests: log-writer records taken off a byte stream, and the
// agent's XML notifications read back.
//
// Records on a stream: the length byte holds only the low 8 bits, so the end of a record is
// the first length that agrees with it (9 + n*256, at most 2009) after which the stream goes
// on with a record header ("~" and, where already received, version 1), or at which the data
// received ends. When the data ends at a length that is not the longest possible one, more
// of the same record may still be under way: such an end counts only when the caller says
// the stream has gone quiet (`settled`). Bytes before a "~" are skipped (counted).
#ifndef KYT_MONITOR_LGWREAD_H
#define KYT_MONITOR_LGWREAD_H

#include <cstdint>
#include <string>
#include <string_view>

namespace kyt {

struct LgwRecord {
  uint32_t time = 0;  // seconds since 1970
  char tag = 0;
  char type = 0;
  uint8_t version = 0;
  std::string text;
};

// Takes the first whole record off the front of `stream`: true and the record (the bytes
// removed) when one is whole; false when more data is needed. *skipped counts bytes dropped
// before a record's marker.
bool lgw_take_record(std::string* stream, bool settled, LgwRecord* record, size_t* skipped);

struct AgentNote {
  std::string type;  // LogMessage, Heartbeat, Start, Stop
  int64_t time = 0;
  std::string oid;
  std::string logtext;  // LogMessage only
};

// Reads a notification document: false when it is not one (no XML declaration, no
// <message><notification>, no <type>, an element not closed, a bad reference).
bool agent_read_note(std::string_view doc, AgentNote* note);

}  // namespace kyt

#endif  // KYT_MONITOR_LGWREAD_H
