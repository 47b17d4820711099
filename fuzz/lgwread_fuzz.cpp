// Fuzz target of what kytadm listen reads from the network: arbitrary bytes as a stream of
// log-writer records arriving in chunks of every size (byte 0 gives the chunk size), and
// the same bytes as a notification datagram. Every record taken must be one the stream held
// (9 to 2009 bytes, text at most 2000), nothing may be lost or invented, and escaping any text
// must read back to a text that escapes to the same document.
#include <cstddef>
#include <cstdint>
#include <string>

#include "monitor/monitor.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const size_t chunk = data[0] % 64 + 1;
  const std::string input(reinterpret_cast<const char*>(data + 1), size - 1);

  std::string stream;
  size_t consumed = 0;  // bytes taken as records or skipped
  kyt::LgwRecord r;
  size_t skipped = 0;
  for (size_t at = 0; at < input.size(); at += chunk) {
    stream += input.substr(at, chunk);
    for (;;) {
      const size_t before = stream.size();
      const bool took = kyt::lgw_take_record(&stream, false, &r, &skipped);
      consumed += before - stream.size();
      if (!took) break;
      if (r.text.size() > 2000) __builtin_trap();
    }
  }
  for (;;) {
    const size_t before = stream.size();
    const bool took = kyt::lgw_take_record(&stream, true, &r, &skipped);
    consumed += before - stream.size();
    if (!took) break;
    if (r.text.size() > 2000) __builtin_trap();
  }
  if (consumed + stream.size() != input.size()) __builtin_trap();

  kyt::AgentNote note;
  (void)kyt::agent_read_note(input, &note);

  // A document with the escaped input as its text reads back to a text whose escaped form
  // is the input's: escaping loses only what XML cannot carry, and only once.
  const std::string escaped = kyt::xml_escape(input);
  const std::string doc =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?><message><notification> <type>LogMessage</type>"
      "<time>1</time><oid>" + escaped + "</oid><logtext>" + escaped +
      "</logtext></notification></message>";
  if (!kyt::agent_read_note(doc, &note) || note.type != "LogMessage" || note.oid != note.logtext ||
      kyt::xml_escape(note.logtext) != escaped)
    __builtin_trap();
  return 0;
}
