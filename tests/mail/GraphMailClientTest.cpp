#include "mail/GraphMailClient.h"

#include <gtest/gtest.h>

#include "support/FailureText.h"
#include "support/RecordingLog.h"
#include "support/RunTask.h"
#include "support/ScriptedHttp.h"
#include "support/WireText.h"
#include "support/ZonedClock.h"
#include "text/InternetDate.h"
#include "text/Json.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;
using Texts = std::vector<std::string>;
using Items = std::vector<InboxUnreadItem>;

struct Graph {
  const TimeZone zone{"UTC"};
  ScriptedHttp http;
  ZonedClock clock;
  RecordingLog log;
  GraphMailClient client{http, clock, log, Endpoints{.graph = "https://g"}};

  Items list(int limit) { return runTask(client.listTodayUnreadInbox("T", limit)); }
};

const std::string bearer = "\nAuthorization: Bearer T\n";
const std::string withJson = bearer + "Content-Type: application/json\n\n";
const std::string me = "https://g/v1.0/me";
// An id with all that an address could misread.
const std::string id = "AA+/=é ~.";
const std::string message = me + "/messages/AA%2B%2F%3D%C3%A9%20~.";

TEST(GraphMailClient, SendsTheseRequests) {
  struct Case {
    std::function<void(GraphMailClient&)> call;
    std::string answer;
    std::string wire;  // of the last request
    std::size_t limit = 8u << 20;
  };
  const std::string present = R"({"categories":["a","b"]})";
  const Case cases[] = {
      {[](auto& c) { runTask(c.fetchRawMessage("T", id)); }, "x",
       "GET " + message + "/$value" + bearer + "Accept: application/octet-stream\n\n", 64u << 20},
      {[](auto& c) { runTask(c.fetchSynthesizedMessage("T", id)); }, "{}",
       "GET " + message +
           "?$select=subject,from,receivedDateTime,internetMessageId,body,uniqueBody" + bearer +
           "\n",
       64u << 20},
      {[](auto& c) { runTask(c.markRead("T", id, std::nullopt)); }, "",
       "PATCH " + message + withJson + R"({"isRead":true})"},
      {[](auto& c) { runTask(c.markRead("T", id, " \n")); }, "",
       "PATCH " + message + withJson + R"({"isRead":true})"},
      {[](auto& c) { runTask(c.markRead("T", id, " c\nd ")); }, present,
       "PATCH " + message + withJson + R"({"categories":["a","b","c d"],"isRead":true})"},
      {[](auto& c) { runTask(c.addCategory("T", id, "B")); }, present,
       "PATCH " + message + withJson + R"({"categories":["a","b","B"]})"},
      {[](auto& c) { runTask(c.addCategory("T", id, "b")); }, present,
       "PATCH " + message + withJson + R"({"categories":["a","b"]})"},
      {[](auto& c) { runTask(c.addCategory("T", id, "b")); }, "{}",
       "PATCH " + message + withJson + R"({"categories":["b"]})"},
      {[](auto& c) { runTask(c.replyToMessage("T", id, "a<b> & \"c\"\r\nd\re\n&amp;")); }, "",
       "POST " + message + "/reply" + withJson +
           R"({"comment":"<div style=\"font-family: sans-serif;\">a&lt;b&gt; &amp; &quot;c&quot;)"
           R"(<br>d<br>e<br>&amp;amp;</div>"})"},
      {[](auto& c) {
         runTask(c.sendMail("T", {"a\r\nb", {.content = "t\r\n"}, {{{"x@y"}}}, std::nullopt}));
       },
       "",
       "POST " + me + "/sendMail" + withJson +
           R"({"message":{"body":{"content":"t\r\n","contentType":"Text"},"subject":"a  b",)"
           R"("toRecipients":[{"emailAddress":{"address":"x@y"}}]},"saveToSentItems":true})"},
      {[](auto& c) {
         runTask(c.sendMail("T", {"", {}, {}, std::vector<Header>{{"In-Reply-To", "<1>"}}}));
       },
       "",
       "POST " + me + "/sendMail" + withJson +
           R"({"message":{"body":{"content":"","contentType":"Text"},"internetMessageHeaders":)"
           R"([{"name":"In-Reply-To","value":"<1>"}],"subject":"","toRecipients":[]},)"
           R"("saveToSentItems":true})"},
      {[](auto& c) { runTask(c.recentSentSnippets("T", 6)); }, "{}",
       "GET " + me +
           "/mailFolders/sentitems/messages?$top=6&$orderby=sentDateTime%20desc"
           "&$select=subject,bodyPreview" +
           bearer + "\n"},
  };
  for (const Case& c : cases) {
    Graph graph;
    graph.http.answer(200, c.answer).answer(202, "");
    c.call(graph.client);
    const HttpRequest& last = graph.http.requests.back();
    EXPECT_EQ(wireText(last), c.wire);
    EXPECT_EQ(last.timeout, 60s);
    EXPECT_EQ(last.answerLimit, c.limit);
    const bool readsFirst = c.answer.starts_with("{") && last.method == "PATCH";
    ASSERT_EQ(graph.http.requests.size(), readsFirst ? 2u : 1u) << c.wire;
    if (readsFirst) {
      EXPECT_EQ(wireText(graph.http.requests[0]),
                "GET " + message + "?$select=categories" + bearer + "\n");
    }
  }
}

TEST(GraphMailClient, ListsByTheFirstQueryThatWorks) {
  const std::string list = "GET " + me + "/mailFolders/inbox/messages?";
  const std::string today =
      "$filter=isRead%20eq%20false%20and%20receivedDateTime%20ge%202026-03-05T00:00:00Z%20"
      "and%20receivedDateTime%20lt%202026-03-06T00:00:00Z&$top=40&$select=";
  const std::string newest = "$orderby=receivedDateTime%20desc";
  const std::string all = "&$select=id,isRead,inferenceClassification,receivedDateTime";
  const Texts urls = {today + "id,inferenceClassification&" + newest,
                      today + "id&" + newest,
                      today + "id",
                      "$filter=isRead%20eq%20false&$top=200&" + newest + all,
                      "$top=250&" + newest + all,
                      "$top=250&" + newest + "&$select=id,isRead,receivedDateTime"};
  const std::string start = "Graph inbox list failed (";
  const Texts lines = {
      start + "OData today+unread, select=id,inferenceClassification, orderBy=true): HTTP 400: {}",
      start + "OData today+unread, select=id, orderBy=true): HTTP 429 listing inbox messages.",
      start + "OData today+unread, select=id, orderBy=false): Not valid JSON at line 1, column 1.",
      start + "OData unread scan + today filter): The certificate does not fit.",
      start +
          "recent scan + today, select=id,isRead,inferenceClassification,receivedDateTime): "
          "Not an HTTP response",
      start + "recent scan + today, select=id,isRead,receivedDateTime): HTTP 503: *** gone"};
  const std::string inbox =
      R"({"value":[{"id":"1","isRead":false,"receivedDateTime":"2026-03-05T09:00:00Z",
                    "inferenceClassification":"other"}]})";
  for (std::size_t failures = 0; failures <= urls.size(); ++failures) {
    Graph graph;
    if (failures > 0) graph.http.answer(400, "{}");
    if (failures > 1) graph.http.answer(429, "");
    if (failures > 2) graph.http.answer(200, "<html>");
    if (failures > 3) graph.http.fail({HttpError::Kind::failed, "The certificate does not fit."});
    if (failures > 4) graph.http.fail({HttpError::Kind::notHTTP, "SSH"});
    if (failures > 5) graph.http.answer(503, "T gone");
    graph.http.answer(200, inbox);
    if (failures < urls.size()) {
      EXPECT_EQ(graph.list(40), (Items{{"1", "other"}}));
    } else {
      EXPECT_EQ(failureText<ProviderError>([&] { graph.list(40); }), "HTTP 503: *** gone");
    }
    const std::size_t asked = std::min(failures + 1, urls.size());
    ASSERT_EQ(graph.http.requests.size(), asked);
    for (std::size_t index = 0; index < asked; ++index) {
      EXPECT_EQ(wireText(graph.http.requests[index]), list + urls[index] + bearer + "\n");
    }
    EXPECT_EQ(graph.log.lines(), Texts(lines.begin(), lines.begin() + failures));
    EXPECT_EQ(graph.clock.sleeps.size(), 0u);
  }
  Graph empty;
  empty.http.answer(200, "{}");
  EXPECT_EQ(empty.list(25), Items());
  EXPECT_EQ(empty.http.requests.size(), 1u);
  for (const auto& query : inboxQueries(currentDay(empty.clock), 25)) {
    EXPECT_EQ(query.items[query.name.starts_with("recent") ? 0 : 1].second,
              query.needsFilter ? "200" : "25");
  }
}

TEST(GraphMailClient, KeepsUnreadMailOfTheDayFromAScan) {
  const TimeZone zone("Europe/Berlin");
  const ZonedClock clock(*parseInternetDateTime("2026-03-29T12:00:00Z"));  // 23 hours long
  const std::pair<std::string, bool> cases[] = {
      {"2026-03-28T22:59:59Z", false},
      {"2026-03-28T23:00:00Z", true},
      {" 2026-03-29T12:00:00.123Z\n", true},
      {"2026-03-29T21:59:59.9999999Z", true},
      {"2026-03-29T22:00:00Z", false},
      {"2026-03-30T00:30:00+02:00", false},
      {"2026-03-29T23:30:00+02:00", true},
      {"2026-03-28T18:00:00-05:00", true},
      {"2026-03-29T12:00:00", false},
      {"2026-03-29T12:00:00.Z", false},
      {"2026-03-29T24:00:00Z", false},
      {"2026-02-30T12:00:00Z", false},
      {"2026-03-29", false},
      {"", false},
      {"0001-01-01T00:00:00Z", false},
      {"9999-12-31T23:59:59Z", false},
      {"2026-03-29T12:00:00Zx", false},
      {"+026-03-29T12:00:00Z", false},
  };
  for (const auto& [received, isKept] : cases) {
    const Items kept = unreadWithin(currentDay(clock), {{"1", false, "focused", received}}, 5);
    EXPECT_EQ(kept, isKept ? (Items{{"1", "focused"}}) : Items()) << received;
  }
  const std::string now = "2026-03-29T12:00:00Z";
  const std::vector<GraphListedMessage> mixed = {{"read", true, {}, now},
                                                 {"unknown", {}, "other", now},
                                                 {"timeless", false, {}, {}},
                                                 {"second", false, {}, now},
                                                 {"third", false, {}, now}};
  EXPECT_EQ(unreadWithin(currentDay(clock), mixed, 2),
            (Items{{"unknown", "other"}, {"second", std::nullopt}}));
}

TEST(GraphMailClient, TriesReadingAgainAfterAFailedTransfer) {
  using Kind = HttpError::Kind;
  struct Case {
    std::vector<Kind> failures;
    std::size_t requests;
    std::vector<std::chrono::milliseconds> sleeps;
    std::string outcome;
  };
  const Case cases[] = {
      {{}, 1, {}, "body"},
      {{Kind::transport}, 2, {300ms}, "body"},
      {{Kind::transport, Kind::transport}, 3, {300ms, 600ms}, "body"},
      {{Kind::transport, Kind::transport, Kind::transport}, 3, {300ms, 600ms}, "lost"},
      {{Kind::transport, Kind::failed}, 2, {300ms}, "lost"},
      {{Kind::failed}, 1, {}, "lost"},
      {{Kind::tooLarge}, 1, {}, "lost"},
      {{Kind::notHTTP}, 1, {}, "Not an HTTP response"},
      {{Kind::invalidURL}, 1, {}, "Invalid message URL"},
  };
  for (const Case& c : cases) {
    Graph graph;
    for (const Kind kind : c.failures) graph.http.fail({kind, "lost"});
    graph.http.answer(200, "body");
    std::string outcome;
    try {
      outcome = runTask(graph.client.fetchRawMessage("T", "m")).value_or("nothing");
    } catch (const std::runtime_error& error) {
      outcome = error.what();
    }
    EXPECT_EQ(outcome, c.outcome);
    EXPECT_EQ(graph.http.requests.size(), c.requests);
    EXPECT_EQ(graph.clock.sleeps, c.sleeps);
  }
  for (const auto& [status, body] : std::vector<std::pair<int, std::string>>{
           {404, "x"}, {429, "x"}, {503, "x"}, {200, ""}, {200, "caf\xE9"}}) {
    Graph graph;
    graph.http.answer(status, body);
    EXPECT_EQ(runTask(graph.client.fetchRawMessage("T", "m")), std::nullopt) << status << body;
    EXPECT_EQ(graph.http.requests.size(), 1u);
  }
  // What changes something is sent once.
  Graph graph;
  graph.http.fail({Kind::transport, "lost"}).fail({Kind::invalidURL, "bad"});
  EXPECT_EQ(failureText<HttpError>([&] { runTask(graph.client.markRead("T", "m", {})); }), "lost");
  EXPECT_EQ(failureText<ProviderError>([&] { runTask(graph.client.replyToMessage("T", "m", "")); }),
            "Invalid reply URL");
  EXPECT_EQ(graph.clock.sleeps.size(), 0u);
}

TEST(GraphMailClient, SaysWhatGraphRefuses) {
  const std::pair<std::string, std::string> cases[] = {
      {" {\"error\":{}}\n", "{\"error\":{}}"},
      {"bad T0KEN!", "bad ***!"},
      {" \n", "HTTP 403 from Microsoft Graph."},
      {"\xFF", "HTTP 403 from Microsoft Graph."},
  };
  for (const auto& [body, text] : cases) {
    Graph graph;
    graph.http.answer(403, body);
    try {
      runTask(graph.client.replyToMessage("T0KEN", "m", "x"));
      ADD_FAILURE();
    } catch (const ProviderError& error) {
      EXPECT_EQ(error.domain(), "GraphMail");
      EXPECT_EQ(error.code(), 403);
      EXPECT_EQ(error.what(), text);
    }
  }
  Graph graph;
  graph.http.answer(404, "gone").answer(404, "gone").answer(200, R"({"categories":[1]})");
  EXPECT_EQ(failureText<ProviderError>([&] { runTask(graph.client.addCategory("T", "m", "x")); }),
            "Could not load message categories.");
  EXPECT_EQ(
      failureText<ProviderError>([&] { runTask(graph.client.fetchSynthesizedMessage("T", "m")); }),
      "Microsoft Graph gave a bad answer (HTTP 404).");
  EXPECT_THROW(runTask(graph.client.addCategory("T", "m", "x")), JsonError);
  EXPECT_EQ(graph.http.requests.size(), 3u);
}

TEST(GraphMailClient, AddsCategoriesWhileThereIsRoom) {
  const auto patched = [](int present, std::string name, bool read) {
    Graph graph;
    nlohmann::json answer = {{"categories", nlohmann::json::array()}};
    for (int index = 0; index < present; ++index) {
      answer["categories"].push_back("c" + std::to_string(index));
    }
    graph.http.answer(200, jsonText(answer)).answer(200, "");
    if (read) {
      runTask(graph.client.markRead("T", "m", name));
    } else {
      runTask(graph.client.addCategory("T", "m", name));
    }
    return parseJson(graph.http.requests.at(1).body);
  };
  EXPECT_EQ(patched(24, "new", false)["categories"].size(), 25u);
  EXPECT_EQ(patched(24, "new", false)["categories"][24], "new");
  EXPECT_EQ(patched(25, "c3", false)["categories"].size(), 25u);
  EXPECT_EQ(patched(25, "new", false), nlohmann::json::object());
  EXPECT_EQ(patched(25, "new", true)["categories"][24], "c24");
  EXPECT_EQ(patched(25, "new", true)["isRead"], true);
  const std::string family = "👨‍👩‍👧";
  std::string name;
  for (int index = 0; index < 255; ++index) name += family;
  for (const std::string& more : {std::string(), family, family + family}) {
    EXPECT_EQ(patched(0, name + more, true)["categories"][0], name);
  }
}

TEST(GraphMailClient, BuildsAMessageFromTheRecord) {
  const std::string tail = "\nMIME-Version: 1.0\nContent-Type: text/plain; charset=UTF-8\n\n";
  const std::pair<std::string, std::string> cases[] = {
      {R"({"subject":"S","from":{"emailAddress":{"name":"N","address":"a@b"}},
           "receivedDateTime":"2026-03-05T09:00:00Z","internetMessageId":"<<i@x>>",
           "body":{"content":"no"},
           "uniqueBody":{"content":"<p>One</p><BR/>Two<br>Three<br />Four &amp; <>5 <6"}})",
       "Message-ID: <i@x>\nDate: 2026-03-05T09:00:00Z\nFrom: N <a@b>\nSubject: S" + tail +
           "One\nTwo\nThreeFour &amp; <>5 <6"},
      {"{}", "Message-ID: <m>\nDate: \nFrom: unknown@local\nSubject: (no subject)" + tail},
      {R"({"subject":"","from":{"emailAddress":{"name":"","address":"a@b"}},"body":null,
           "uniqueBody":{"content":null}})",
       "Message-ID: <m>\nDate: \nFrom: a@b\nSubject: " + tail},
      {R"({"from":{"emailAddress":{"name":"N"}},"body":{"content":"a\r\nb\rc"},"uniqueBody":{}})",
       "Message-ID: <m>\nDate: \nFrom: unknown@local\nSubject: (no subject)" + tail + "a\nb\nc"},
      {R"({"subject":"a\r\nList-Id: b","from":{}})",
       "Message-ID: <m>\nDate: \nFrom: unknown@local\nSubject: a List-Id: b" + tail},
  };
  for (const auto& [record, text] : cases) {
    Graph graph;
    graph.http.answer(200, record);
    EXPECT_EQ(runTask(graph.client.fetchSynthesizedMessage("T", "m")), text);
  }
  for (const std::string record : {"[]", "", R"({"subject":5})", R"({"body":"text"})"}) {
    Graph graph;
    graph.http.answer(200, record);
    EXPECT_THROW(runTask(graph.client.fetchSynthesizedMessage("T", "m")), JsonError) << record;
  }
}

TEST(GraphMailClient, SamplesSentMail) {
  Graph graph;
  graph.http
      .answer(200, R"({"value":[{"subject":" Re: a\nb ","bodyPreview":"c"},{"subject":" "},
                       {"bodyPreview":"only"},{"subject":"s","bodyPreview":null}]})")
      .answer(500, "")
      .answer(200, R"({"value":{}})")
      .answer(200, "<");
  EXPECT_EQ(runTask(graph.client.recentSentSnippets("T", 4)), (Texts{"Re: a b — c", "only", "s"}));
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(runTask(graph.client.recentSentSnippets("T", 4)), Texts());
  }
}

TEST(GraphMailClient, ReportsWhatItFinds) {
  const Texts targets = {"?$select=mail,userPrincipalName",
                         "/mailFolders/inbox?$select=unreadItemCount,totalItemCount",
                         "/mailFolders?$select=id,displayName,totalItemCount,unreadItemCount,"
                         "wellKnownFolderName&$top=50",
                         "/messages?$top=8&$orderby=receivedDateTime%20desc"
                         "&$select=subject,isRead,parentFolderId,receivedDateTime"};
  const Texts answers = {
      R"({"mail":" ","userPrincipalName":"p@x"})", R"({"unreadItemCount":3,"totalItemCount":9.0})",
      R"({"value":[{"id":"F1","displayName":"Inbox","totalItemCount":9,"unreadItemCount":3,
                    "wellKnownFolderName":"inbox"},{"displayName":"Old"}]})",
      R"({"value":[{"subject":" Hi ","isRead":true,"parentFolderId":"F1"},
                   {"subject":" ","parentFolderId":"éFghijkl"},{}]})",
      R"({"value":[{"id":"1"},{"id":"2"}]})"};
  InboxDiagnostics whole;
  whole.signedInMailboxOrUpn = "p@x";
  whole.inboxUnreadItemCount = 3;
  whole.inboxTotalItemCount = 9;
  whole.listedUnreadMessageCount = 2;
  whole.rootFolderStats = {{"Inbox", 9, 3, "inbox"}, {"Old", 0, 0, std::nullopt}};
  whole.recentMessagesAnywhere = {{"Hi", true, "Inbox"},
                                  {"(no subject)", false, "folder id…éFghij"},
                                  {"(no subject)", false, "unknown folder"}};
  const std::size_t none = 99;
  for (const std::size_t failing :
       {none, std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{3}, std::size_t{4}}) {
    for (const std::string refusal : {"", "no", "{}"}) {
      Graph graph;
      for (std::size_t step = 0; step < answers.size(); ++step) {
        const int times = step == failing && step == 4 ? 6 : 1;  // the whole ladder
        for (int time = 0; time < times; ++time) {
          graph.http.answer(step == failing ? 500 : 200, step == failing ? refusal : answers[step]);
        }
      }
      InboxDiagnostics expected = whole;
      if (failing == 0) expected.signedInMailboxOrUpn.reset();
      if (failing == 1) expected.inboxUnreadItemCount = expected.inboxTotalItemCount = {};
      if (failing == 2) {
        expected.rootFolderStats.clear();
        expected.recentMessagesAnywhere[0].folderLabel = "folder id…F1";
      }
      if (failing == 3) {
        expected.recentMessagesAnywhere.clear();
        expected.recentMessagesErrorDescription =
            refusal.empty() ? "HTTP 500 loading recent messages." : refusal;
      }
      if (failing == 4) {
        expected.listedUnreadMessageCount = 0;
        expected.listUnreadErrorDescription =
            refusal.empty() ? "HTTP 500 listing inbox messages." : "HTTP 500: " + refusal;
      }
      EXPECT_EQ(runTask(graph.client.loadInboxDiagnostics("T", 25)), expected) << failing;
      for (std::size_t step = 0; step < targets.size(); ++step) {
        EXPECT_EQ(wireText(graph.http.requests.at(step)),
                  "GET " + me + targets[step] + bearer + "\n");
      }
    }
  }
  Graph broken;
  for (int step = 0; step < 10; ++step) broken.http.answer(200, "<");
  InboxDiagnostics expected;
  expected.recentMessagesErrorDescription = expected.listUnreadErrorDescription =
      "Not valid JSON at line 1, column 1.";
  EXPECT_EQ(runTask(broken.client.loadInboxDiagnostics("T", 25)), expected);
}

}  // namespace
}  // namespace halcyra
