// lgwread: reading records off a stream and notifications back from their documents.
#include "monitor/lgwread.h"

#include <cstdlib>

#include "monitor/rpwcl.h"

namespace kyt {

namespace {

constexpr size_t kMaxRecord = kLgwMaxText + kLgwHeader;

// Whether a record header could begin at `at` (as far as the stream has it).
bool header_at(std::string_view s, size_t at) {
  if (at >= s.size() || s[at] != '~') return false;
  return at + 8 >= s.size() || static_cast<unsigned char>(s[at + 8]) == 1;
}

// The text of an element's first occurrence between <name> and </name>, unescaped; false
// when the element is missing, not closed, or holds a bad reference.
bool element(std::string_view doc, std::string_view name, bool required, std::string* out) {
  out->clear();
  const std::string open = "<" + std::string(name) + ">";
  const std::string close = "</" + std::string(name) + ">";
  const size_t a = doc.find(open);
  if (a == std::string_view::npos) return !required;
  const size_t from = a + open.size();
  const size_t b = doc.find(close, from);
  if (b == std::string_view::npos) return false;
  const std::string_view raw = doc.substr(from, b - from);
  for (size_t i = 0; i < raw.size(); ++i) {
    const char c = raw[i];
    if (c == '<') return false;
    if (c != '&') {
      out->push_back(c);
      continue;
    }
    const size_t semi = raw.find(';', i);
    if (semi == std::string_view::npos || semi - i > 10) return false;
    const std::string_view ref = raw.substr(i + 1, semi - i - 1);
    if (ref == "amp") {
      out->push_back('&');
    } else if (ref == "lt") {
      out->push_back('<');
    } else if (ref == "gt") {
      out->push_back('>');
    } else if (ref == "quot") {
      out->push_back('"');
    } else if (ref == "apos") {
      out->push_back('\'');
    } else if (ref.size() >= 2 && ref[0] == '#') {
      const bool hex = ref[1] == 'x';
      const std::string digits(ref.substr(hex ? 2 : 1));
      if (digits.empty()) return false;
      char* end = nullptr;
      const unsigned long cp = std::strtoul(digits.c_str(), &end, hex ? 16 : 10);
      if (*end != '\0' || cp == 0 || cp > 0x10FFFF) return false;
      // As UTF-8.
      if (cp < 0x80) {
        out->push_back(static_cast<char>(cp));
      } else if (cp < 0x800) {
        out->push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
      } else if (cp < 0x10000) {
        out->push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
      } else {
        out->push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out->push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
      }
    } else {
      return false;
    }
    i = semi;
  }
  return true;
}

}  // namespace

bool lgw_take_record(std::string* stream, bool settled, LgwRecord* record, size_t* skipped) {
  std::string& s = *stream;
  *skipped = 0;
  size_t start = s.find('~');
  if (start == std::string::npos) start = s.size();
  if (start > 0) {
    *skipped = start;
    s.erase(0, start);
  }
  if (s.size() < kLgwHeader) return false;
  const size_t low = static_cast<unsigned char>(s[1]);
  size_t len = 0;
  for (size_t l = low; l <= kMaxRecord; l += 256) {
    if (l < kLgwHeader) continue;
    if (l > s.size()) return false;  // the record may still be arriving
    const bool last = l + 256 > kMaxRecord;
    if (header_at(s, l) || (l == s.size() && (settled || last))) {
      len = l;
      break;
    }
  }
  if (len == 0) {
    // No length fits what follows: the longest one is taken, so a stream with a damaged
    // record goes on from there.
    size_t longest = low;
    while (longest + 256 <= kMaxRecord) longest += 256;
    if (longest < kLgwHeader || longest > s.size()) return false;
    len = longest;
  }
  const unsigned char* b = reinterpret_cast<const unsigned char*>(s.data());
  record->time = (uint32_t{b[2]} << 24) | (uint32_t{b[3]} << 16) | (uint32_t{b[4]} << 8) | b[5];
  record->tag = s[6];
  record->type = s[7];
  record->version = b[8];
  record->text.assign(s, kLgwHeader, len - kLgwHeader);
  s.erase(0, len);
  return true;
}

bool agent_read_note(std::string_view doc, AgentNote* note) {
  *note = AgentNote{};
  if (doc.substr(0, 5) != "<?xml") return false;
  if (doc.find("<message><notification>") == std::string_view::npos) return false;
  if (doc.find("</notification></message>") == std::string_view::npos) return false;
  std::string time;
  if (!element(doc, "type", true, &note->type) || note->type.empty()) return false;
  if (!element(doc, "time", false, &time) || !element(doc, "oid", false, &note->oid) ||
      !element(doc, "logtext", false, &note->logtext))
    return false;
  note->time = std::strtoll(time.c_str(), nullptr, 10);
  return true;
}

}  // namespace kyt
