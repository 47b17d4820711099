// rpxlog: XML notifications to the management agent, one UDP datagram each (the exported
// rpxlog_message, rpxlog_heartbeat, rpxlog_start, rpxlog_stop of kyt.h).
//
// Documents (the text without a NUL; TIME seconds since 1970 in decimal, OID the station's
// own identifier, parameter LID):
//   <?xml version="1.0" encoding="UTF-8"?><message><notification> <type>LogMessage</type>
//     <time>TIME</time><oid>OID</oid><logtext>TEXT</logtext></notification></message>
//   ... <type>Heartbeat</type><time>TIME</time><oid>OID</oid></notification></message>
//   ... <type>Start</type> ... likewise
//   ... <type>Stop</type><time>TIME</time><oid>OID</oid><reason></reason></notification>...
// (one line each; the blank after "<notification>" belongs to the format).
//
// OID and TEXT are escaped so that every datagram is well-formed XML whatever they hold:
// & < > " ' as &amp; &lt; &gt; &quot; &apos;; tab, line feed and carriage return as &#9;
// &#10; &#13;; other control bytes (which XML cannot carry at all) as "?"; bytes that are not
// UTF-8 are taken as Latin-1 and written in UTF-8.
//
// Settings: AGENT_SERVER and AGENT_PORT (default "6123") of the environment, read on first
// use; parameters AGENT_LOGLEVEL (0 no log messages, 2 only those beginning with "E" or "W",
// others all), AGENT_HEARTBEAT (seconds between heartbeats, 0 none) and LID, read on each call
// through the parameter service's cache.
#ifndef KYT_MONITOR_RPXLOG_H
#define KYT_MONITOR_RPXLOG_H

#include <cstdint>
#include <string>
#include <string_view>

namespace kyt {

constexpr int32_t kAgentNoHost = 51;
constexpr int32_t kAgentNoSocket = 52;
constexpr int32_t kAgentSendFailed = 53;

// The escaped form of a text, as the documents carry it.
std::string xml_escape(std::string_view text);

// Forgets the agent's address and the last heartbeat. Tests only.
void rpxlog_reset_for_tests();

}  // namespace kyt

#endif  // KYT_MONITOR_RPXLOG_H
