#include "mail/GmailAPIClient.h"

#include <gtest/gtest.h>

#include "mail/GmailAPIError.h"
#include "platform/ProviderError.h"
#include "support/FailureText.h"
#include "support/ManualClock.h"
#include "support/RunTask.h"
#include "support/ScriptedHttp.h"
#include "support/WireText.h"
#include "text/Json.h"

namespace halcyra {
namespace {

using Texts = std::vector<std::string>;

struct Gmail {
  ScriptedHttp http;
  ManualClock clock;
  GmailLabelCache labels;
  GmailAPIClient client{http, clock, labels, Endpoints{.google = "https://g"}};

  std::string raw(std::string body) {
    http.answer(200, std::move(body));
    return runTask(client.fetchRawMessage("T", "m"));
  }
  std::string labelId(std::string tag, std::string account = "A") {
    return runTask(client.ensureLabelId("T", std::move(account), std::move(tag)));
  }
};

TEST(GmailAPIClient, SendsTheseRequests) {
  struct Case {
    std::function<void(GmailAPIClient&)> call;
    std::string answer;
    std::string wire;
    std::size_t limit = 8u << 20;
  };
  const std::string bearer = "\nAuthorization: Bearer T\n";
  const std::string withJson = bearer + "Content-Type: application/json\n\n";
  const std::string me = "https://g/gmail/v1/users/me";
  const Case cases[] = {
      {[](auto& c) { runTask(c.listTodayUnreadInboxMessageIds("T", 25)); }, "{}",
       "GET " + me +
           "/messages?q=is%3Aunread%20in%3Ainbox%20after%3A2026%2F03%2F05%20before%3A2026%2F03%2F06"
           "&maxResults=25" +
           bearer + "\n"},
      {[](auto& c) { runTask(c.fetchRawMessage("T", "a/b=+")); }, R"({"raw":""})",
       "GET " + me + "/messages/a/b=+?format=raw" + bearer + "\n", 64u << 20},
      {[](auto& c) { runTask(c.fetchMessageLabelIds("T", "m")); }, "{}",
       "GET " + me + "/messages/m?format=minimal" + bearer + "\n"},
      {[](auto& c) {
         runTask(c.modifyMessageLabels("T", "m", {"L1", "L2"}, {"UNREAD"}));
       },
       "",
       "POST " + me + "/messages/m/modify" + withJson +
           R"({"addLabelIds":["L1","L2"],"removeLabelIds":["UNREAD"]})"},
      {[](auto& c) { runTask(c.modifyMessageLabels("T", "m", {}, {"UNREAD"})); }, "",
       "POST " + me + "/messages/m/modify" + withJson + R"({"removeLabelIds":["UNREAD"]})"},
      {[](auto& c) { runTask(c.modifyMessageLabels("T", "m", {}, {})); }, "",
       "POST " + me + "/messages/m/modify" + withJson + "{}"},
      // Bytes that use both changed digits of the alphabet, and padding.
      {[](auto& c) { runTask(c.sendRawMessage("T", "A: é~~~?\r\n\r\n¿ÿ")); }, "not read",
       "POST " + me + "/messages/send" + withJson + R"({"raw":"QTogw6l-fn4_DQoNCsK_w78"})"},
  };
  for (const Case& c : cases) {
    Gmail gmail;
    gmail.http.answer(204, c.answer);
    c.call(gmail.client);
    ASSERT_EQ(gmail.http.requests.size(), 1u);
    EXPECT_EQ(wireText(gmail.http.requests[0]), c.wire);
    EXPECT_EQ(gmail.http.requests[0].timeout, std::chrono::seconds(60));
    EXPECT_EQ(gmail.http.requests[0].answerLimit, c.limit) << c.wire;
  }
}

TEST(GmailAPIClient, ReadsListsStrictly) {
  const auto ids = [](std::string body) {
    Gmail gmail;
    gmail.http.answer(200, std::move(body));
    return runTask(gmail.client.listTodayUnreadInboxMessageIds("T", 2));
  };
  EXPECT_EQ(ids(R"({"resultSizeEstimate":0})"), Texts());
  EXPECT_EQ(ids(R"({"messages":null})"), Texts());
  EXPECT_EQ(ids(R"({"messages":[{"id":"b","threadId":5},{"id":"a"}],"nextPageToken":"n"})"),
            (Texts{"b", "a"}));
  for (const std::string body : {"", "<html>", "[]", R"({"messages":{}})", R"({"messages":["a"]})",
                                 R"({"messages":[{"id":5}]})", R"({"messages":[{}]})",
                                 R"({"messages":[{"id":"a"})", "{\"messages\":[\"\xFF\"]}"}) {
    EXPECT_THROW(ids(body), JsonError) << body;
  }
  Gmail gmail;
  gmail.http.answer(200, R"({"labelIds":["UNREAD","CATEGORY_SOCIAL"]})").answer(200, "{}");
  EXPECT_EQ(runTask(gmail.client.fetchMessageLabelIds("T", "m")),
            (Texts{"UNREAD", "CATEGORY_SOCIAL"}));
  EXPECT_EQ(runTask(gmail.client.fetchMessageLabelIds("T", "m")), Texts());
}

TEST(GmailAPIClient, DecodesRawMessages) {
  Gmail gmail;
  EXPECT_EQ(gmail.raw(R"({"raw":"QTogw6l-fn4_"})"), "A: é~~~?");
  EXPECT_EQ(gmail.raw(R"({"raw":"QTogw6l-fn4_DQ"})"), "A: é~~~?\r");     // 4n + 2
  EXPECT_EQ(gmail.raw(R"({"raw":"QTogw6l-fn4_DQo"})"), "A: é~~~?\r\n");  // 4n + 3
  EXPECT_EQ(gmail.raw(R"({"raw":"QTogw6l+fn4/DQo="})"), "A: é~~~?\r\n");
  EXPECT_EQ(gmail.raw(R"({"raw":""})"), "");
  for (const std::string raw : {"QTogw", "QTo gw6l", "QT*gw6l-"}) {
    EXPECT_EQ(failureText<ProviderError>([&] { gmail.raw(R"({"raw":")" + raw + "\"}"); }),
              "The message could not be decoded: it is not base64.")
        << raw;
  }
  EXPECT_EQ(failureText<ProviderError>([&] { gmail.raw(R"({"raw":"Y2Fm6Q"})"); }),
            "The message could not be decoded: it is not UTF-8.");
  EXPECT_EQ(failureText<JsonError>([&] { gmail.raw("{}"); }),
            "Not the expected JSON: \"raw\" is not there.");
}

TEST(GmailAPIClient, SaysWhatGmailRefuses) {
  const auto failure = [](int status, std::string body) {
    Gmail gmail;
    gmail.http.answer(status, std::move(body));
    try {
      runTask(gmail.client.modifyMessageLabels("secret", "m", {}, {}));
    } catch (const ProviderError& error) {
      EXPECT_EQ(error.domain(), "GmailAPI");
      EXPECT_EQ(error.code(), status);
      return std::string(error.what());
    }
    return std::string("no failure");
  };
  const std::string fallback =
      " from Gmail API. Enable “Gmail API” for your Google Cloud project and ensure you signed in "
      "with the Gmail scope.";
  const std::pair<std::string, std::string> cases[] = {
      {R"({"error":{"message":"No","status":"PERMISSION_DENIED"}})", "No (PERMISSION_DENIED)"},
      {R"({"error":{"message":"No","status":7}})", "No"},
      {R"({"error":{"message":"","errors":[{"message":"First"},{"message":"Second"}]}})", "First"},
      {R"({"error":{"status":"S","errors":[{"message":"First"}]}})", "First"},
      {R"( {"error":"invalid_grant"} )", R"({"error":"invalid_grant"})"},
      {R"({"error":{"errors":[]}})", R"({"error":{"errors":[]}})"},
      {R"({"error":{"message":"cut)", R"({"error":{"message":"cut)"},
      {"\n<html>Sorry</html> \n", "<html>Sorry</html>"},
      {"token secret is bad", "token *** is bad"},
      {" \n", "HTTP 403" + fallback},
      {"\xFF", "HTTP 403" + fallback},
  };
  for (const auto& [body, text] : cases) EXPECT_EQ(failure(403, body), text) << body;
  for (const int status : {199, 300, 302, 401, 429, 500}) {
    EXPECT_EQ(failure(status, ""), "HTTP " + std::to_string(status) + fallback);
  }
}

TEST(GmailAPIClient, NamesFailedTransfers) {
  Gmail gmail;
  using Kind = HttpError::Kind;
  gmail.http.fail({Kind::notHTTP, "SSH"})
      .fail({Kind::invalidURL, "bad"})
      .fail({Kind::transport, "lost"});
  const auto list = [&] { runTask(gmail.client.listTodayUnreadInboxMessageIds("T", 25)); };
  try {
    list();
    ADD_FAILURE();
  } catch (const ProviderError& error) {
    EXPECT_EQ(error.code(), -1);
    EXPECT_STREQ(error.what(), "Not an HTTP response");
  }
  EXPECT_EQ(failureText<GmailAPIError>(list), "Invalid Gmail API URL.");
  EXPECT_EQ(failureText<HttpError>(list), "lost");
}

TEST(GmailAPIClient, FindsLabelsByTheirExactName) {
  struct Case {
    std::string labels;
    std::string id;  // empty where the label is created
  };
  const Case cases[] = {
      {R"([{"id":"L1","name":"work","type":"user"},{"id":"L2","name":"Work","type":"user"}])",
       "L2"},
      {R"([{"id":"L3","name":"Work"},{"id":"L4","name":"Work"}])", "L3"},
      {R"([{"id":"Work","name":"Work","type":"system"},{"name":"Work"},{"id":"","name":"Work"}])",
       ""},
      {"[]", ""},
  };
  for (const Case& c : cases) {
    Gmail gmail;
    gmail.http.answer(200, R"({"labels":)" + c.labels + "}").answer(200, R"({"id":"new"})");
    EXPECT_EQ(gmail.labelId(" Work\n"), c.id.empty() ? "new" : c.id) << c.labels;
    EXPECT_EQ(wireText(gmail.http.requests[0]),
              "GET https://g/gmail/v1/users/me/labels\nAuthorization: Bearer T\n\n");
    ASSERT_EQ(gmail.http.requests.size(), c.id.empty() ? 2u : 1u) << c.labels;
    if (!c.id.empty()) continue;
    EXPECT_EQ(
        wireText(gmail.http.requests[1]),
        "POST https://g/gmail/v1/users/me/labels\nAuthorization: Bearer T\n"
        "Content-Type: application/json\n\n"
        R"({"labelListVisibility":"labelShow","messageListVisibility":"show","name":"Work"})");
  }
}

TEST(GmailAPIClient, RemembersLabelsOfEachMailbox) {
  Gmail gmail;
  EXPECT_EQ(failureText<GmailAPIError>([&] { gmail.labelId(" \n\u00A0"); }),
            "Empty mailbox tag name.");
  EXPECT_EQ(gmail.http.requests.size(), 0u);
  gmail.http.answer(200, R"({"labels":[]})").answer(200, "{}");
  EXPECT_EQ(failureText<ProviderError>([&] { gmail.labelId("\"Q\" 🏷"); }),
            "Create label returned no id.");
  gmail.http.answer(200, "{}").answer(409, R"({"error":{"message":"Label name exists"}})");
  EXPECT_EQ(failureText<ProviderError>([&] { gmail.labelId("\"Q\" 🏷"); }), "Label name exists");

  gmail.http.answer(200, "{}").answer(200, R"({"id":"L9"})");
  EXPECT_EQ(gmail.labelId("\"Q\" 🏷"), "L9");
  EXPECT_EQ(gmail.labelId(" \"Q\" 🏷 "), "L9");
  EXPECT_EQ(gmail.http.requests.size(), 6u);
  GmailAPIClient another(gmail.http, gmail.clock, gmail.labels, {});
  EXPECT_EQ(runTask(another.ensureLabelId("T", "A", "\"Q\" 🏷")), "L9");
  EXPECT_EQ(gmail.http.requests.size(), 6u);
  gmail.http.answer(200, R"({"labels":[{"id":"B1","name":"\"Q\" 🏷"}]})");
  EXPECT_EQ(gmail.labelId("\"Q\" 🏷", "B"), "B1");
}

TEST(GmailAPIClient, SamplesSentMailAndSkipsWhatFails) {
  Gmail gmail;
  const std::string longest(280, 'x');
  gmail.http
      .answer(200, R"({"messages":[{"id":"1"},{"id":"2"},{"id":"3"},{"id":"4"},{"id":"5"},
                                    {"id":"6"},{"id":"7"}]})")
      .answer(200, R"({"snippet":" Thanks,\nall ","payload":{"headers":[{"name":"To"},
                       {"name":"SUBJECT","value":" Re: It "},{"name":"subject","value":"No"}]}})")
      .answer(500, "down")
      .answer(200, R"({"payload":{"headers":[{"name":"Subject","value":" "}]},"snippet":""})")
      .answer(200, R"({"snippet":5})")
      .fail({HttpError::Kind::transport, "lost"})
      .answer(200, R"({"snippet":")" + longest + "\"}")
      .answer(200, R"({"snippet":")" + longest + "y\"}");
  EXPECT_EQ(runTask(gmail.client.recentSentSnippets("T", 6)),
            (Texts{"Re: It — Thanks, all", longest, longest + "…"}));
  EXPECT_EQ(wireText(gmail.http.requests[0]),
            "GET https://g/gmail/v1/users/me/messages?q=in%3Asent&maxResults=6\n"
            "Authorization: Bearer T\n\n");
  EXPECT_EQ(wireText(gmail.http.requests[7]),
            "GET https://g/gmail/v1/users/me/messages/7?format=metadata\n"
            "Authorization: Bearer T\n\n");
  gmail.http.answer(401, "").answer(200, "<html>").fail({HttpError::Kind::notHTTP, "SSH"});
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(runTask(gmail.client.recentSentSnippets("T", 6)), Texts());
  }
  EXPECT_EQ(gmail.http.requests.size(), 11u);
}

}  // namespace
}  // namespace halcyra
