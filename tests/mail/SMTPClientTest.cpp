#include "mail/SMTPClient.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "mail/SMTPError.h"
#include "support/Dialogue.h"
#include "support/RecordingLog.h"
#include "support/RunTask.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t noCut = std::string::npos;
const SMTPOrder order{"mail.example.org",
                      465,
                      true,
                      false,
                      "ann",
                      "plum cake",
                      "ann@example.org",
                      "bob@example.net",
                      "A: b\r\n\r\nt\r\n \u2003\r\n"};

void hello(Dialogue& d) {
  d.server("220 ready").client("EHLO mail.example.org");
  d.server("250-mail").server("250-AUTH LOGIN").server("250 8BITMIME");
}

// "ann" and "plum cake" in base64.
Dialogue happyScript() {
  Dialogue d;
  hello(d);
  d.client("AUTH LOGIN").server("334 VXNlcm5hbWU6").client("YW5u").server("334 UGFzc3dvcmQ6");
  d.client("cGx1bSBjYWtl").server("235 in").client("MAIL FROM:<ann@example.org>").server("250 ok");
  d.client("RCPT TO:<bob@example.net>").server("250 ok").client("DATA").server("354 go");
  return d.client("A: b\r\n\r\nt\r\n.").server("250 queued");
}

// The failure's text, "sent" when there was none.
std::string outcome(StreamConnector& connector, Log& log, SMTPOrder with = order) {
  SMTPClient client(connector, log);
  try {
    runTask(client.send(std::move(with)));
    return "sent";
  } catch (const SMTPError& error) {
    return error.what();
  } catch (const StreamError& error) {
    return std::string("stream: ") + error.what();
  }
}

std::string outcome(StreamConnector& connector, SMTPOrder with = order) {
  RecordingLog log;
  return outcome(connector, log, std::move(with));
}

TEST(SMTPClient, SendsTheSameHoweverTheServerIsSplit) {
  for (const std::size_t piece : {std::size_t{1}, std::size_t{2}, std::size_t{7}, noCut}) {
    Dialogue d = happyScript();
    d.inPiecesOf(piece);
    EXPECT_EQ(outcome(d), "sent") << piece;
    EXPECT_EQ(d.complaints(), "");
    EXPECT_EQ(d.connections(), (std::vector<Endpoint>{{"mail.example.org", 465, true}}));
    EXPECT_EQ(d.closings(), 1);
    for (const auto& wait : d.waits()) {
      ASSERT_TRUE(wait.has_value());
      EXPECT_LE(*wait, 60s);
      EXPECT_GT(*wait, 50s);
    }
  }
}

TEST(SMTPClient, AServerThatClosesAtAnyByteHasNotTakenTheMessage) {
  const std::size_t size = happyScript().serverSize();
  for (std::size_t cut = 0; cut < size; ++cut) {
    Dialogue d = happyScript();
    d.closedAfter(cut);
    EXPECT_EQ(outcome(d), "SMTP connection failed.") << cut;
    EXPECT_EQ(d.closings(), 1);
  }
}

struct Turn {
  const char* client;  // nullptr: the greeting
  const char* code;
};

const Turn turns[] = {{nullptr, "220"},
                      {"EHLO mail.example.org", "250"},
                      {"AUTH LOGIN", "334"},
                      {"YW5u", "334"},
                      {"cGx1bSBjYWtl", "235"},
                      {"MAIL FROM:<ann@example.org>", "250"},
                      {"RCPT TO:<bob@example.net>", "250"},
                      {"DATA", "354"},
                      {"A: b\r\n\r\nt\r\n.", "250"}};

// The happy dialogue up to the question that turn `last` answers.
Dialogue upTo(const Turn& last) {
  Dialogue d;
  for (const Turn& turn : turns) {
    if (turn.client) d.client(turn.client);
    if (&turn == &last) break;
    d.server(turn.code + std::string(" ok"));
  }
  return d;
}

TEST(SMTPClient, EachStepCanFail) {
  for (const Turn& turn : turns) {
    const bool isHello = turn.client && std::string_view(turn.client).starts_with("EHLO");
    const auto expected = [&](const std::string& line) {
      return isHello ? "EHLO failed" : std::string("Expected ") + turn.code + ", got: " + line;
    };
    const std::string code = turn.code;
    const std::string asked = turn.client ? turn.client : "greeting";
    EXPECT_EQ(outcome(upTo(turn).server("554 5.7.0 no")), expected("554 5.7.0 no")) << asked;
    EXPECT_EQ(outcome(upTo(turn).server("554-no").server("554 way")), expected("554-no")) << asked;
    EXPECT_EQ(outcome(upTo(turn).server(code + "-a").server("421 bye")), expected("421 bye"));
    EXPECT_EQ(outcome(upTo(turn).serverBytes("\r\n")), expected(""));
    EXPECT_EQ(outcome(upTo(turn).serverBytes("5\xFF\n\r\r\n")), expected("5\uFFFD\n\r"));
    EXPECT_EQ(outcome(upTo(turn).silence()), "Read timeout") << asked;
    EXPECT_EQ(outcome(upTo(turn).serverBytes("250 ne").silence()), "Read timeout") << asked;
    EXPECT_EQ(outcome(upTo(turn).breaks("reset")), "stream: reset") << asked;
    EXPECT_EQ(outcome(upTo(turn).serverBytes(std::string(70'000, '2'))),
              "The server's reply line is longer than 64 KB.");
    Dialogue endless = upTo(turn);
    for (int line = 0; line < SMTPClient::mostLines; ++line) endless.server(code + "-more");
    EXPECT_EQ(outcome(endless), "The server's reply does not end.") << asked;
    EXPECT_EQ(endless.closings(), 1);
  }
}

TEST(SMTPClient, AReplyOfSeveralLinesAnswersOneCommand) {
  Dialogue d;
  for (const Turn& turn : turns) {
    if (turn.client) d.client(turn.client);
    d.server(turn.code + std::string("-one")).server(turn.code + std::string("-"));
    d.server(turn.code + std::string(" two"));
  }
  EXPECT_EQ(outcome(d), "sent");
  EXPECT_EQ(d.complaints(), "");
}

TEST(SMTPClient, ALongLineWithinTheBoundIsFine) {
  Dialogue d = upTo(turns[8]);
  d.server("250 " + std::string(SMTPReplyReader::longestLine - 4, 'x'));
  EXPECT_EQ(outcome(d), "sent");
}

// A server some of whose ports cannot be reached.
class Refusing : public StreamConnector {
 public:
  Refusing(Dialogue& server, std::vector<std::uint16_t> ports)
      : server_(server), ports_(std::move(ports)) {}

  Task<std::unique_ptr<ByteStream>> connect(Endpoint endpoint) override {
    tried += (endpoint.implicitTLS ? "TLS " : "TCP ") + std::to_string(endpoint.port) + " ";
    if (std::ranges::count(ports_, endpoint.port)) throw StreamError("refused");
    Task<std::unique_ptr<ByteStream>> connecting = server_.connect(std::move(endpoint));
    co_return co_await std::move(connecting);
  }

  std::string tried;

 private:
  Dialogue& server_;
  std::vector<std::uint16_t> ports_;
};

TEST(SMTPClient, SendsWithTLSOrByChoiceInTheClearButNeverAfterARefusedSTARTTLS) {
  const std::string line = "SMTP: implicit TLS on port 465 failed (refused); trying port 587.";
  const std::string refusal587 =
      "Implicit TLS on port 465 failed, and this app cannot complete STARTTLS on port 587 (TLS "
      "must "
      "continue on the same TCP connection). Check the SMTP host, or use Gmail/Outlook sign-in to "
      "send without SMTP.";
  const std::string refusal25 =
      "STARTTLS on port 25 is not supported here. Use SMTP on port 465 with SSL if your provider "
      "offers it, or OAuth send for Gmail/Outlook.";
  struct Case {
    std::uint16_t port;
    bool implicitTLS, useStartTLS;
    std::vector<std::uint16_t> refused;
    std::string tried, outcome;
    std::vector<std::string> log;
  };
  for (const Case& c : std::vector<Case>{
           {465, true, false, {}, "TLS 465 ", "sent", {}},
           {465, true, true, {}, "TLS 465 ", "sent", {}},
           {465, true, false, {465}, "TLS 465 ", "stream: refused", {}},
           {587, false, true, {}, "TLS 465 ", "sent", {}},
           {587, false, true, {465}, "TLS 465 TCP 587 ", refusal587, {line}},
           {587, false, true, {465, 587}, "TLS 465 TCP 587 ", "stream: refused", {line}},
           {587, false, false, {}, "TCP 587 ", "sent", {}},
           {25, false, true, {}, "TCP 25 ", refusal25, {}},
           {25, false, false, {}, "TCP 25 ", "sent", {}},
       }) {
    Dialogue d = happyScript();
    if (c.outcome == refusal587 || c.outcome == refusal25) hello(d = Dialogue());
    Refusing connector(d, c.refused);
    RecordingLog log;
    SMTPOrder with = order;
    with.port = c.port;
    with.implicitTLS = c.implicitTLS;
    with.useStartTLS = c.useStartTLS;
    EXPECT_EQ(outcome(connector, log, with), c.outcome) << c.port;
    EXPECT_EQ(connector.tried, c.tried);
    EXPECT_EQ(log.lines(), c.log);
    const bool connected = !c.outcome.starts_with("stream");
    EXPECT_EQ(d.complaints().empty(), connected);
    EXPECT_EQ(d.closings(), connected ? 1 : 0);
  }
}

TEST(SMTPClient, ValuesThatWouldBeCommandsReachNoServer) {
  std::string SMTPOrder::*const address[] = {&SMTPOrder::from, &SMTPOrder::to};
  const char* names[] = {"sender's address", "recipient's address"};
  const auto refused = [](std::string SMTPOrder::*field, const std::string& value) {
    Dialogue d = happyScript();
    SMTPOrder with = order;
    with.*field = value;
    const std::string text = outcome(d, with);
    EXPECT_TRUE(d.connections().empty()) << text;
    return text;
  };
  for (const char control : {'\r', '\n', '\0', '\t', '\x7F'}) {
    const std::string value = std::string("a@b") + control + "RSET";
    const std::string holds = " holds a control character.";
    for (int i : {0, 1}) EXPECT_EQ(refused(address[i], value), "The " + (names[i] + holds));
    EXPECT_EQ(refused(&SMTPOrder::username, value), "The SMTP user name" + holds);
    EXPECT_EQ(refused(&SMTPOrder::host, value), "The SMTP host name" + holds);
  }
  for (const char* value : {"a@b> SIZE=1", "a b@c", "<a@b", "a@b>"}) {
    for (int i : {0, 1}) {
      EXPECT_EQ(refused(address[i], value),
                "The " + std::string(names[i]) + " holds a blank or an angle bracket.");
    }
  }
}

TEST(SMTPClient, ErrorTextsHideWhatTheServerRepeatsOfTheCredentials) {
  Dialogue d = upTo(turns[4]);
  d.server("535 plum cake/cGx1bSBjYWtl/YW5u for ann plum cakeplum cake");
  EXPECT_EQ(outcome(d), "Expected 235, got: 535 ***/***/*** for ann ******");
}

TEST(SMTPClient, TheMessageGoesOutUnstuffedAndWithoutItsTrailingWhiteSpace) {
  struct Row {
    std::string message, data;
  };
  for (const Row& row : {Row{"\n a\r\n.\r\n..b", "\n a\r\n.\r\n..b\r\n.\r\n"},
                         Row{"a\n\t\u2003", "a\r\n.\r\n"}, Row{" \r\n", "\r\n.\r\n"}}) {
    Dialogue d = upTo(turns[7]);
    d.server("354 go").client(row.data.substr(0, row.data.size() - 2)).server("250 ok");
    SMTPOrder with = order;
    with.message = row.message;
    EXPECT_EQ(outcome(d, with), "sent");
    EXPECT_EQ(d.complaints(), "");
  }
}

TEST(SMTPReply, ALineWithNoneOfSeveralCodesIsUnexpected) {
  constexpr std::string_view codes[] = {"250", "251"};
  EXPECT_TRUE(beginsWithOneOf("251 will forward", codes));
  EXPECT_FALSE(beginsWithOneOf("25", codes));
  EXPECT_STREQ(wrongReply("550 no", codes).what(), "Unexpected: 550 no");
}

}  // namespace
}  // namespace halcyra
