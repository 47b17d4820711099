// The XML notifications received on a real UDP socket: the documents byte for byte, read
// back by an XML parser (expat, where the build has it) also with texts full of markup,
// the log-message modes, the heartbeat interval, and the failures.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "kyt/kyt.h"
#include "monitor/monitor.h"
#include "platform/net.h"
#include "platform/platform.h"
#include "runtime/runtime.h"
#include "services/services.h"
#include "sql/sql.h"
#include "stationdb.h"
#include "testutil.h"

#ifdef KYT_TEST_EXPAT
#include <expat.h>
#endif

namespace kyt {
namespace {

namespace net = platform;

const std::string kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><message><notification> ";

#ifdef KYT_TEST_EXPAT
// The document parsed by expat: false when it is not well-formed; the character data of
// each element by name.
struct Parsed {
  std::string current;
  std::map<std::string, std::string> text;
  std::vector<std::string> elements;
};
bool parse_xml(const std::string& doc, Parsed* p) {
  XML_Parser x = XML_ParserCreate(nullptr);
  XML_SetUserData(x, p);
  XML_SetElementHandler(
      x,
      [](void* ud, const XML_Char* name, const XML_Char**) {
        auto* p = static_cast<Parsed*>(ud);
        p->current = name;
        p->elements.push_back(name);
        p->text[name];
      },
      [](void* ud, const XML_Char*) { static_cast<Parsed*>(ud)->current.clear(); });
  XML_SetCharacterDataHandler(x, [](void* ud, const XML_Char* s, int len) {
    auto* p = static_cast<Parsed*>(ud);
    if (!p->current.empty()) p->text[p->current].append(s, static_cast<size_t>(len));
  });
  const bool ok = XML_Parse(x, doc.data(), static_cast<int>(doc.size()), 1) == XML_STATUS_OK;
  XML_ParserFree(x);
  return ok;
}
#endif

class RpxlogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    reset();
    agent_ = net::udp_bind(net::loopback_address(), 0, &port_);
    ASSERT_NE(agent_, net::kNoSocket);
  }
  void TearDown() override {
    net::close_socket(agent_);
    reset();
  }
  static void reset() {
    rpxlog_reset_for_tests();
    rpdprm_reset_for_tests();
    test::forget_station();
  }
  // A station database with its parameters, LID set, the agent at `server`.
  void station(const std::string& server) { station(server, dir_); }
  void station(const std::string& server, const test::TempDir& dir) {
    ASSERT_TRUE(test::open_station_db(dir, {{"AGENT_SERVER", server},
                                            {"AGENT_PORT", std::to_string(port_)},
                                            {"DSN_KYT_LOG", dir.file("rlog.log")}}));
    ASSERT_EQ(rpdini(), 0);
    ASSERT_EQ(rpdipr(nullptr), 0);
    ASSERT_EQ(rpdsql_run("INSERT INTO PT(NAME,TYPE,LEN,VAL) VALUES('LID',1,26,'O00130000<&>')"), 0);
  }
  void set(const char* name, int16_t v) { ASSERT_EQ(rpdprm("set", name, &v), 0); }
  // The next datagram, or "" when none comes within ms.
  std::string next(int ms = 2000) {
    if (net::wait_readable(agent_, ms) != 1) return "";
    char buf[65536];
    const int64_t n = net::sock_recv(agent_, buf, sizeof buf);
    return n > 0 ? std::string(buf, static_cast<size_t>(n)) : "";
  }
  // The document with the decimal time between <time> and </time> replaced by T, after
  // checking that it is the current time.
  static std::string timeless(std::string doc) {
    const size_t a = doc.find("<time>"), b = doc.find("</time>");
    if (a == std::string::npos || b == std::string::npos) return doc;
    const long long t = std::stoll(doc.substr(a + 6, b - a - 6));
    EXPECT_LE(std::llabs(t - platform::now_seconds()), 5);
    return doc.replace(a + 6, b - a - 6, "T");
  }
  test::TempDir dir_;
  net::Socket agent_ = net::kNoSocket;
  uint16_t port_ = 0;
};

TEST_F(RpxlogTest, StartStopAndHeartbeatDocuments) {
  station("127.0.0.1");
  const std::string oid = "<oid>O00130000&lt;&amp;&gt;</oid>";
  ASSERT_EQ(rpxlog_start(), 0);
  EXPECT_EQ(timeless(next()), kHead + "<type>Start</type><time>T</time>" + oid +
                                  "</notification></message>");
  ASSERT_EQ(rpxlog_stop(), 0);
  const std::string stop = next();
  EXPECT_EQ(timeless(stop), kHead + "<type>Stop</type><time>T</time>" + oid +
                                "<reason></reason></notification></message>");
  AgentNote note;
  ASSERT_TRUE(agent_read_note(stop, &note));
  EXPECT_EQ(note.type, "Stop");
  EXPECT_EQ(note.oid, "O00130000<&>");

  // No interval: no heartbeat. With one: the first call sends, the next within it not.
  ASSERT_EQ(rpxlog_heartbeat(), 0);
  EXPECT_EQ(next(300), "");
  set("AGENT_HEARTBEAT", 3600);
  ASSERT_EQ(rpxlog_heartbeat(), 0);
  EXPECT_EQ(timeless(next()), kHead + "<type>Heartbeat</type><time>T</time>" + oid +
                                  "</notification></message>");
  ASSERT_EQ(rpxlog_heartbeat(), 0);
  EXPECT_EQ(next(300), "");
}

TEST_F(RpxlogTest, LogMessagesByModeAndEscapedWhateverTheyHold) {
  station("127.0.0.1");
  // Mode 0 (the default): nothing.
  EXPECT_EQ(rpxlog_message("E failure"), 0);
  EXPECT_EQ(next(300), "");
  // Mode 2: errors and warnings only.
  set("AGENT_LOGLEVEL", 2);
  EXPECT_EQ(rpxlog_message("I information"), 0);
  EXPECT_EQ(next(300), "");
  const std::string nasty = "E <&>\"' end\x01\tnext\nline \xe4 \xc3\xa4 ]]> <!-- &amp;";
  EXPECT_EQ(rpxlog_message(nasty.c_str()), 0);
  const std::string doc = next();
  EXPECT_EQ(timeless(doc),
            kHead + "<type>LogMessage</type><time>T</time><oid>O00130000&lt;&amp;&gt;</oid>"
                    "<logtext>E &lt;&amp;&gt;&quot;&apos; end?&#9;next&#10;line \xc3\xa4 \xc3\xa4 "
                    "]]&gt; &lt;!-- &amp;amp;</logtext></notification></message>");
  // What a reader gets back: the text, the bad byte as "?", Latin-1 as UTF-8.
  const std::string back = "E <&>\"' end?\tnext\nline \xc3\xa4 \xc3\xa4 ]]> <!-- &amp;";
  AgentNote note;
  ASSERT_TRUE(agent_read_note(doc, &note));
  EXPECT_EQ(note.type, "LogMessage");
  EXPECT_EQ(note.logtext, back);
#ifdef KYT_TEST_EXPAT
  Parsed p;
  ASSERT_TRUE(parse_xml(doc, &p)) << doc;
  EXPECT_EQ(p.text["logtext"], back);
  EXPECT_EQ(p.text["oid"], "O00130000<&>");
  EXPECT_EQ(p.text["type"], "LogMessage");
  EXPECT_EQ(p.elements, (std::vector<std::string>{"message", "notification", "type", "time",
                                                  "oid", "logtext"}));
  // Every byte value in a text still gives a well-formed document.
  std::string all;
  for (int c = 1; c < 256; ++c) all.push_back(static_cast<char>(c));
  Parsed q;
  EXPECT_TRUE(parse_xml(kHead + "<logtext>" + xml_escape(all) + "</logtext></notification></message>", &q));
#endif
  EXPECT_EQ(rpxlog_message("W warning"), 0);
  EXPECT_NE(next().find("<logtext>W warning</logtext>"), std::string::npos);
  // Any other mode: everything.
  set("AGENT_LOGLEVEL", 1);
  EXPECT_EQ(rpxlog_message("I information"), 0);
  EXPECT_NE(next().find("<logtext>I information</logtext>"), std::string::npos);
  EXPECT_EQ(rpxlog_message(nullptr), 0);
  EXPECT_EQ(next(300), "");
}

TEST_F(RpxlogTest, NoAgentSendsNothingAndAnUnknownHostIs51) {
  station("");
  EXPECT_EQ(rpxlog_start(), 0);
  EXPECT_EQ(rpxlog_stop(), 0);
  set("AGENT_HEARTBEAT", 1);
  EXPECT_EQ(rpxlog_heartbeat(), 0);
  EXPECT_EQ(next(300), "");
  reset();
  test::TempDir other;
  station("no-such-host.invalid", other);
  EXPECT_EQ(rpxlog_start(), 51);
  EXPECT_EQ(rpxlog_stop(), 51);
  set("AGENT_LOGLEVEL", 1);
  EXPECT_EQ(rpxlog_message("E x"), 0) << "a log message answers 0 whatever happens";
}

TEST(LgwReadTest, RecordsAreFoundOnAStreamWhateverItsChunks) {
  // Records of 14, 265 (length byte 9) and 2009 bytes, and bytes of junk before the first.
  auto rec = [](char type, const std::string& text) {
    std::string r = "~";
    r += static_cast<char>((text.size() + 9) & 0xFF);
    r += std::string("\x01\x02\x03\x04", 4);
    r += 'T';
    r += type;
    r += '\1';
    return r + text;
  };
  const std::string a(5, '~'), b(256, 'b'), c(2000, 'c');
  const std::string stream = "junk" + rec('L', a) + rec('D', b) + rec('X', c);
  for (size_t chunk : {size_t{1}, size_t{7}, size_t{300}, stream.size()}) {
    std::string buf;
    std::vector<LgwRecord> got;
    size_t skipped_total = 0;
    for (size_t at = 0; at < stream.size(); at += chunk) {
      buf += stream.substr(at, chunk);
      LgwRecord r;
      size_t skipped = 0;
      while (lgw_take_record(&buf, false, &r, &skipped)) {
        got.push_back(r);
        skipped_total += skipped;
      }
      skipped_total += skipped;
    }
    LgwRecord r;
    size_t skipped = 0;
    while (lgw_take_record(&buf, true, &r, &skipped)) got.push_back(r);
    ASSERT_EQ(got.size(), 3u) << "chunk " << chunk;
    EXPECT_EQ(skipped_total, 4u);
    EXPECT_EQ(got[0].text, a);
    EXPECT_EQ(got[0].time, 0x01020304u);
    EXPECT_EQ(got[0].tag, 'T');
    EXPECT_EQ(got[1].type, 'D');
    EXPECT_EQ(got[1].text, b);
    EXPECT_EQ(got[2].text, c);
    EXPECT_TRUE(buf.empty());
  }
}

}  // namespace
}  // namespace kyt
