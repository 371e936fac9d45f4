#include "mail/IMAPClient.h"

#include <gtest/gtest.h>

#include "mail/IMAPExchange.h"
#include "support/Dialogue.h"
#include "support/RunTask.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;
using Units = std::vector<std::string>;
using Kind = IMAPError::Kind;

const IMAPLogin login{{"mail.example.org", 993, true}, "u", "p", "INBOX"};

// What a visit to the mailbox brought, as text; its failure, if it failed.
struct Visit {
  std::string result;
  std::optional<Kind> kind;
  std::string failure;

  bool operator==(const Visit&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Visit& visit) {
  return out << visit.result << " failure: " << visit.failure;
}

using Steps = Task<void> (*)(IMAPClient& client, std::string& result);

Visit visit(Dialogue& dialogue, Steps steps, IMAPLogin with = login) {
  Visit visit;
  IMAPClient client(dialogue);
  try {
    runTask(client.connect(std::move(with)));
    visit.result = "connected";
    if (steps) runTask(steps(client, visit.result));
  } catch (const IMAPError& error) {
    visit.kind = error.kind();
    visit.failure = error.what();
  } catch (const StreamError& error) {
    visit.failure = error.what();
  }
  return visit;
}

Visit failed(std::string result, Kind kind, std::string text) {
  return {std::move(result), kind, std::move(text)};
}

std::string connectFailure(Dialogue& dialogue, IMAPLogin with = login) {
  return visit(dialogue, nullptr, std::move(with)).failure;
}

Dialogue connected() {
  Dialogue d;
  d.server("* OK [CAPABILITY IMAP4rev1] ready").client("E1 LOGIN \"u\" \"p\"").server("E1 OK in");
  d.client("E2 SELECT \"INBOX\"").server("* 3 EXISTS").server("E2 OK [READ-WRITE] done");
  return d;
}

Task<void> search(IMAPClient& client, std::string& result) {
  for (const std::uint32_t uid : co_await client.searchUnseen("5-Mar-2026")) {
    result += " " + std::to_string(uid);
  }
}

Task<void> fetch(IMAPClient& client, std::string& result) {
  for (const std::string& unit : co_await client.fetchMessage(7)) result += "|" + unit;
}

Task<void> mark(IMAPClient& client, std::string&) {
  co_await client.markSeen(4294967295u);
}

std::stop_source stopping;

Task<void> idle(IMAPClient& client, std::string& result) {
  stopping = std::stop_source();
  Task<void> idling = client.idle(60s, stopping.get_token());
  co_await std::move(idling);
  result += " idled";
}

Task<void> wholePass(IMAPClient& client, std::string& result) {
  co_await search(client, result);
  co_await fetch(client, result);
  co_await mark(client, result);
  co_await idle(client, result);
}

Dialogue passScript() {
  Dialogue d = connected();
  d.client("E3 UID SEARCH UNSEEN SINCE 5-Mar-2026").server("* SEARCH 7").server("E3 OK done");
  d.client("E4 UID FETCH 7 (BODY.PEEK[])").server("* 2 FETCH (UID 7 BODY[] {9}");
  d.serverBytes("A: b\r\n\r\nc").server(")").server("E4 OK done");
  d.client("E5 UID STORE 4294967295 +FLAGS (\\Seen)").server("E5 OK done");
  d.client("E6 IDLE").server("+ idling").server("* 4 EXISTS").client("DONE");
  d.server("E6 OK Idle completed");
  return d;
}

TEST(IMAPClient, AWholePassIsTheSameHoweverTheServerIsCut) {
  const Visit expected{"connected 7|__LITERAL__\nA: b\r\n\r\nc|)|E4 OK done idled", {}, ""};
  for (const std::size_t piece :
       {std::size_t{1}, std::size_t{2}, std::size_t{7}, std::string::npos}) {
    Dialogue d = passScript();
    d.inPiecesOf(piece);
    EXPECT_EQ(visit(d, wholePass), expected) << piece;
    EXPECT_EQ(d.complaints(), "");
    EXPECT_EQ(d.connections(), std::vector{login.endpoint});
  }
}

TEST(IMAPClient, AServerThatClosesAtAnyByteIsAFailedConnection) {
  const std::size_t size = passScript().serverSize();
  for (std::size_t cut = 0; cut < size; ++cut) {
    for (const std::size_t piece : {std::size_t{1}, std::string::npos}) {
      Dialogue d = passScript();
      d.closedAfter(cut).inPiecesOf(piece);
      const Visit broken = visit(d, wholePass);
      EXPECT_EQ(broken.kind, Kind::connectionFailed) << cut;
      EXPECT_EQ(broken.failure, "IMAP connection failed.") << cut;
    }
  }
}

TEST(IMAPClient, GreetingAndLoginFollowTheRule) {
  struct Case {
    const char* situation;
    std::vector<std::string> greeting;
    bool loggedIn;
  };
  for (const Case& c :
       std::vector<Case>{{"pre-authenticated", {"* PREAUTH welcome"}, true},
                         {"with words before", {"* CAPABILITY IMAP4rev1", "junk", "* OK hi"}, true},
                         {"bye", {"* BYE too many"}, false},
                         {"lower case", {"* ok hi"}, false},
                         {"nothing", {}, false}}) {
    Dialogue d;
    for (const std::string& line : c.greeting) d.server(line);
    if (c.loggedIn)
      d.client("E1 LOGIN \"u\" \"p\"")
          .server("E1 OK")
          .client("E2 SELECT \"INBOX\"")
          .server("E2 OK");
    d.closes();
    EXPECT_EQ(connectFailure(d), c.loggedIn ? "" : "IMAP connection failed.") << c.situation;
    EXPECT_EQ(d.complaints(), "") << c.situation;
  }
}

TEST(IMAPClient, CredentialsAreQuotedOrRefusedUnsent) {
  Dialogue d;
  d.server("* OK").client(R"(E1 LOGIN "Zo\"ë" "a\\\"b")").server("E1 OK");
  d.client(R"(E2 SELECT "x\\y")").server("E2 OK");
  EXPECT_EQ(connectFailure(d, {{}, "Zo\"ë", "a\\\"b", "x\\y"}), "");
  EXPECT_EQ(d.complaints(), "");
  for (const std::string& bad :
       {std::string("a\rb"), std::string("a\nb"), std::string("a\0b", 3)}) {
    for (int field = 0; field < 3; ++field) {
      IMAPLogin with = login;
      (field == 0 ? with.username : field == 1 ? with.password : with.mailbox) = bad;
      Dialogue nothing;
      const Visit refused = visit(nothing, nullptr, with);
      EXPECT_EQ(refused.kind, Kind::protocolError);
      EXPECT_TRUE(nothing.connections().empty());
    }
  }
}

TEST(IMAPClient, RefusalCarriesTheServersWords) {
  struct Case {
    Steps steps;
    Dialogue dialogue;
    std::string failure;
  };
  std::vector<Case> cases;
  cases.push_back({nullptr,
                   Dialogue()
                       .server("* OK")
                       .client("E1 LOGIN \"u\" \"p\"")
                       .server("* hint")
                       .server("E1 NO [AUTHENTICATIONFAILED] no"),
                   "* hint\nE1 NO [AUTHENTICATIONFAILED] no"});
  cases.push_back(
      {search, connected().client("E3 UID SEARCH UNSEEN SINCE 5-Mar-2026").server("E3 BAD what"),
       "E3 BAD what"});
  cases.push_back({fetch,
                   connected()
                       .client("E3 UID FETCH 7 (BODY.PEEK[])")
                       .server("* 1 FETCH (BODY[] {6}")
                       .serverBytes("secret")
                       .server(")")
                       .server("* 2 FETCH (BODY[] \"secret\")")
                       .server("E3 NO gone"),
                   "(literal of 6 bytes)\n(line of 1 bytes)\n* 2 FETCH (text)\nE3 NO gone"});
  for (Case& c : cases) {
    const Visit refused = visit(c.dialogue, c.steps);
    EXPECT_EQ(refused.kind, Kind::taggedFailure);
    EXPECT_EQ(refused.failure, c.failure);
    EXPECT_EQ(c.dialogue.complaints(), "");
  }
}

TEST(IMAPClient, APasswordThatTheServerRepeatsIsHidden) {
  Dialogue d;
  d.server("* OK").client(R"(E1 LOGIN "u" "s\"cret")");
  d.server(R"(* got LOGIN "u" "s\"cret")").server("E1 NO bad s\"cret");
  EXPECT_EQ(connectFailure(d, {{}, "u", "s\"cret", "INBOX"}),
            "* got LOGIN \"u\" \"***\"\nE1 NO bad ***");

  Dialogue late;
  late.server("* OK").client(R"(E1 LOGIN "u" "pw!x")").server("E1 OK");
  late.client(R"(E2 SELECT "INBOX")").server("E2 NO user u password pw!x");
  EXPECT_EQ(connectFailure(late, {{}, "u", "pw!x", "INBOX"}), "E2 NO user u password ***");
}

TEST(IMAPClient, FailureTextKeepsTheEndOfALongExchange) {
  const Units units{"* " + std::string(1u << 20, 'x'), "* " + std::string(9000, 'y') + "é",
                    "E1 NO "};
  const std::string text = imapFailureText(units, {});
  EXPECT_LE(text.size(), (16u << 10) + 3);
  EXPECT_TRUE(text.starts_with("...x") && text.ends_with("yé\nE1 NO "));

  // What is masked may leave less than a log has room for; what came before stays out.
  Units masked{"* left out", "* ", "E1 NO"};
  std::string shown = "...\n* ";
  for (int i = 0; i < 5000; ++i) {
    masked[1] += "pw!x";
    shown += "***";
  }
  EXPECT_EQ(imapFailureText(masked, {"pw!x"}), shown + "\nE1 NO");
}

TEST(IMAPClient, TagsAreNotMistaken) {
  Dialogue d = connected();
  d.client("E3 UID STORE 4294967295 +FLAGS (\\Seen)");
  d.server("E2 NO late").server("* E3 NO").server("E30 NO").server("e3 no").server("E3 OK");
  EXPECT_EQ(visit(d, mark), (Visit{"connected", {}, ""}));
}

TEST(IMAPClient, SearchReadsTheFirstLineOnly) {
  const std::vector<std::pair<Units, std::vector<std::uint32_t>>> cases = {
      {{"* SEARCH 5 4294967295 0", "* SEARCH 9", "E3 OK"}, {5, 4294967295u, 0}},
      {{"* 8 EXISTS", "* SEARCH  2   3 ", "E3 OK"}, {2, 3}},
      {{"* UID SEARCH 4294967296 -1 +1 1x x1 6", "E3 OK"}, {6}},
      {{"* SEARCH", "* SEARCH 1", "E3 OK"}, {}},
      {{"* search 1", "E3 OK done"}, {}},
  };
  for (const auto& [units, uids] : cases) EXPECT_EQ(imapSearchResult(units), uids) << units[0];
}

TEST(IMAPClient, IdleEndsForTheRightReason) {
  const auto started = [] { return connected().client("E3 IDLE"); };
  const Visit idled{"connected idled", {}, ""};
  const auto stop = [] { stopping.request_stop(); };
  struct Case {
    const char* situation;
    Dialogue dialogue;
    Visit expected;
  };
  std::vector<Case> cases;
  cases.push_back({"woken in lower case, rest of the chunk dropped",
                   started()
                       .server("* 1 FETCH (FLAGS ())")
                       .server("+ ok")
                       .then([] {})
                       .serverBytes("* 2 exists\r\n* 3 rec")
                       .client("DONE")
                       .server("ent")
                       .server("E3 ok idle done"),
                   idled});
  cases.push_back({"woken along with the go-ahead",
                   started().serverBytes("+ ok\r\n* 1 RECENT\r\n").client("DONE").server("x BAD"),
                   idled});
  cases.push_back({"a FETCH does not wake, the deadline does",
                   started()
                       .server("+ ")
                       .server("* 1 FETCH (FLAGS (\\Seen))")
                       .server("* EXISTNOT")
                       .silence()
                       .client("DONE")
                       .server("E3 NO not this")
                       .server("anything OK IDLE"),
                   idled});
  cases.push_back({"stopped while it waits",
                   started().server("+ ok").then(stop).client("DONE").server("E3 OK Idle"), idled});
  cases.push_back({"stopped before it waits",
                   started().then(stop).server("+ ok").client("DONE").server("E3 OK Idle"), idled});
  cases.push_back({"broken while it waits",
                   started().server("+ ok").breaks("reset"),
                   {"connected", {}, "reset"}});
  cases.push_back({"closed while it waits", started().server("+ ok").closes(),
                   failed("connected", Kind::connectionFailed, "IMAP connection failed.")});
  cases.push_back({"a go-ahead without its blank",
                   started().server("+").then(stop).client("DONE").server("E3 OK Idle"), idled});
  cases.push_back({"an end in words of the server's own",
                   started().server("+").then(stop).client("DONE").server("E3 OK Over").silence(),
                   failed("connected", Kind::protocolError, "Stalled IMAP parse")});
  for (const std::string refusal : {"E3 BAD unknown", "E3 NO not here"}) {
    cases.push_back({"refused", started().server("* note").server(refusal),
                     failed("connected", Kind::taggedFailure, "* note\n" + refusal)});
  }
  for (Case& c : cases) {
    EXPECT_EQ(visit(c.dialogue, idle), c.expected) << c.situation;
    EXPECT_EQ(c.dialogue.complaints(), "") << c.situation;
    for (const auto wait : c.dialogue.waits()) EXPECT_LE(wait.value_or(0s), 60s);
  }
}

TEST(IMAPClient, BadInputEndsInAClearError) {
  struct Case {
    std::string bytes;
    Kind kind;
    std::string failure;
  };
  for (const Case& c :
       std::vector<Case>{{"* {10737418240}\r\n", Kind::protocolError,
                          "The server announced a message of 10737418240 bytes; messages over 64 "
                          "MB are refused."},
                         {std::string(2u << 20, 'x'), Kind::protocolError,
                          "The server sent a line of more than 1 MB."},
                         {"* \xFF\r\n", Kind::protocolError, "Invalid UTF-8"},
                         {"* BYE\r\n", Kind::connectionFailed, "IMAP connection failed."}}) {
    Dialogue d = connected();
    d.client("E3 UID FETCH 7 (BODY.PEEK[])").serverBytes(c.bytes).closes();
    EXPECT_EQ(visit(d, fetch), failed("connected", c.kind, c.failure));
  }
}

TEST(IMAPClient, DisconnectEndsEverything) {
  Dialogue d = connected();
  IMAPClient client(d);
  client.disconnect();
  EXPECT_THROW(runTask(client.markSeen(1)), IMAPError);
  runTask(client.connect(login));
  client.disconnect();
  client.disconnect();
  EXPECT_THROW(runTask(client.markSeen(1)), StreamError);
  EXPECT_EQ(d.closings(), 1);
}

}  // namespace
}  // namespace halcyra
