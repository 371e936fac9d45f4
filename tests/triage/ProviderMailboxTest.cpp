#include "triage/ProviderMailbox.h"

#include "RestWorld.h"
#include "platform/ProviderError.h"
#include "support/FailureText.h"
#include "support/WireText.h"
#include "text/Base64.h"
#include "text/Json.h"

namespace halcyra {
namespace {

using Texts = std::vector<std::string>;

const std::string gmailMe = "https://www.googleapis.com/gmail/v1/users/me";
const std::string graphMe = "https://graph.microsoft.com/v1.0/me";
const std::string withJson = "\nAuthorization: Bearer T\nContent-Type: application/json\n\n";

/// One operation of a provider's mailbox, whose requests are kept.
struct Operation {
  explicit Operation(Kind kind) {
    incoming.account = {.id = "box", .displayLabel = "me@x", .kind = std::move(kind)};
    incoming.mail = {.accountId = "box",
                     .providerRESTId = "A1",
                     .messageID = "<m@x>",
                     .subject = "Hel\r\nlo",
                     .from = "Ann <a@b>",
                     .date = "Thu, 5 Mar",
                     .bodyText = "line 1\nline “2”"};
    world.store.saveCredential(
        {.accessToken = "T", .refreshToken = std::nullopt, .expiresAt = world.in(3600)}, "box");
  }

  Texts wires() const {
    Texts texts;
    for (const HttpRequest& request : http.requests) texts.push_back(wireText(request));
    return texts;
  }

  /// The message that went to Gmail, of which there was one and nothing else.
  std::string sentRaw() const {
    EXPECT_EQ(http.requests.size(), 1u);
    std::string body = http.requests.at(0).body;
    EXPECT_TRUE(http.requests.at(0).statusSuffices && http.requests.at(0).lossIsTold);
    EXPECT_EQ(wireText(http.requests.at(0)),
              "POST " + gmailMe + "/messages/send" + withJson + body);
    std::string raw = parseJson(body).at("raw").get<std::string>();
    std::replace(raw.begin(), raw.end(), '-', '+');
    std::replace(raw.begin(), raw.end(), '_', '/');
    raw.append((4 - raw.size() % 4) % 4, '=');
    return decodeBase64(raw).value_or("not base64");
  }

  SignInWorld world;
  ScriptedHttp http;
  RecordingLog log;
  GmailLabelCache labels;
  GmailAPIClient gmail{http, world.clock, labels, {}};
  GraphMailClient graph{http, world.clock, log, {}};
  ProviderMailbox mailbox{{world.tokens, gmail, graph}};
  IncomingMail incoming;
};

TEST(ProviderMailbox, MarksAndTagsWithTheseRequests) {
  struct Case {
    Kind kind;
    std::function<Task<void>(Operation&)> call;
    Texts answers;
    Texts wires;
  };
  const std::string bearer = "\nAuthorization: Bearer T\n\n";
  const std::string modify = "POST " + gmailMe + "/messages/A1/modify" + withJson;
  const std::string patch = "PATCH " + graphMe + "/messages/A1" + withJson;
  const std::string listLabels = "GET " + gmailMe + "/labels" + bearer;
  const std::string listCategories = "GET " + graphMe + "/messages/A1?$select=categories" + bearer;
  const auto mark = [](Operation& o) { return o.mailbox.markProcessed(o.incoming, std::nullopt); };
  const auto markAndTag = [](Operation& o) { return o.mailbox.markProcessed(o.incoming, "t “1”"); };
  const auto tag = [](Operation& o) { return o.mailbox.addTag(o.incoming, "t “1”"); };
  const Case cases[] = {
      {GoogleGmail{}, mark, {"{}"}, {modify + R"({"removeLabelIds":["UNREAD"]})"}},
      {GoogleGmail{},
       markAndTag,
       {R"({"labels":[{"id":"L1","name":"t “1”","type":"user"}]})", "{}"},
       {listLabels, modify + R"({"addLabelIds":["L1"],"removeLabelIds":["UNREAD"]})"}},
      {GoogleGmail{},
       tag,
       {"{}", R"({"id":"L2"})", "{}"},
       {listLabels,
        "POST " + gmailMe + "/labels" + withJson +
            R"({"labelListVisibility":"labelShow","messageListVisibility":"show","name":"t “1”"})",
        modify + R"({"addLabelIds":["L2"]})"}},
      {MicrosoftGraph{}, mark, {""}, {patch + R"({"isRead":true})"}},
      {MicrosoftGraph{},
       markAndTag,
       {R"({"categories":["a"]})", ""},
       {listCategories, patch + R"({"categories":["a","t “1”"],"isRead":true})"}},
      {MicrosoftGraph{}, tag, {"{}", ""}, {listCategories, patch + R"({"categories":["t “1”"]})"}},
  };
  for (const Case& c : cases) {
    Operation o(c.kind);
    for (const std::string& answer : c.answers) o.http.answer(200, answer);
    runTask(c.call(o));
    EXPECT_EQ(o.wires(), c.wires);
  }
}

TEST(ProviderMailbox, AGmailForwardIsTheMessageWithoutItsOldRecipients) {
  const std::string outer =
      "From: me@x\r\nTo: to@y\r\nSubject: Fwd: Hel lo\r\nMIME-Version: 1.0\r\n"
      "Content-Type: message/rfc822\r\n";
  const std::pair<std::string, std::string> cases[] = {
      {"To: old@z\r\nSubject: Hello\r\nCc: c@z,\r\n d@z\r\n\r\nbody >>> ???",
       "Subject: Hello\r\n\r\nbody >>> ???\r\n"},
      {"",
       "MIME-Version: 1.0\r\nContent-Type: text/plain; charset=UTF-8\r\n"
       "Content-Transfer-Encoding: 8bit\r\n\r\nline 1\r\nline “2”\r\n"},
  };
  for (const auto& [raw, forwarded] : cases) {
    Operation o(GoogleGmail{});
    o.incoming.mail.rawRFC822 = raw;
    o.http.answer(200, "{}");
    runTask(o.mailbox.forward(o.incoming, "me@x", "to@y"));
    EXPECT_EQ(o.sentRaw(), outer + forwarded);
  }
}

TEST(ProviderMailbox, AGmailReplyThreadsBehindTheMessage) {
  Operation o(GoogleGmail{});
  o.http.answer(200, "{}");
  runTask(o.mailbox.reply(
      o.incoming, {.from = "me@x", .to = "a@b", .references = "<r1> <r2>", .body = "Yes.\nBye"}));
  std::string sent = o.sentRaw();
  const std::size_t id = sent.find("Message-ID: <");
  ASSERT_NE(id, sent.npos);
  sent.erase(id, sent.find("\r\n", id) + 2 - id);  // a new one each time
  EXPECT_EQ(sent,
            "From: me@x\r\nTo: a@b\r\nSubject: Re: Hel lo\r\nIn-Reply-To: <m@x>\r\n"
            "References: <r1> <r2> <m@x>\r\nMIME-Version: 1.0\r\n"
            "Content-Type: text/plain; charset=UTF-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"
            "Yes.\r\nBye\r\n");
}

TEST(ProviderMailbox, GraphBuildsTheMessageItself) {
  using Call = std::function<Task<void>(Operation&)>;
  const auto replyWith = [](std::optional<std::string> references) -> Call {
    return [references](Operation& o) {
      return o.mailbox.reply(o.incoming, {"me@x", "a@b", references, "Yes.\nBye"});
    };
  };
  const auto replied = [](const std::string& references) {
    return R"({"message":{"body":{"content":"Yes.\nBye","contentType":"Text"},)"
           R"("internetMessageHeaders":[{"name":"In-Reply-To","value":"<m@x>"},)"
           R"({"name":"References","value":")" +
           references +
           R"("}],"subject":"Re: Hel  lo","toRecipients":[{"emailAddress":{"address":"a@b"}}]},)"
           R"("saveToSentItems":true})";
  };
  const std::pair<Call, std::string> cases[] = {
      {[](Operation& o) { return o.mailbox.forward(o.incoming, "me@x", "to@y"); },
       R"({"message":{"body":{"content":"---------- Forwarded message ----------\n)"
       R"(From: Ann <a@b>\nSubject: Hel\r\nlo\nDate: Thu, 5 Mar\n\nline 1\nline “2”",)"
       R"("contentType":"Text"},"subject":"Fwd: Hel  lo",)"
       R"("toRecipients":[{"emailAddress":{"address":"to@y"}}]},"saveToSentItems":true})"},
      {replyWith("<r1> <r2>"), replied("<r1> <r2> <m@x>")},
      {replyWith(std::nullopt), replied("<m@x>")},
  };
  for (const auto& [call, body] : cases) {
    Operation o(MicrosoftGraph{});
    o.http.answer(202, "");
    runTask(call(o));
    EXPECT_EQ(o.wires(), Texts{"POST " + graphMe + "/sendMail" + withJson + body});
    EXPECT_TRUE(o.http.requests[0].statusSuffices && o.http.requests[0].lossIsTold);
  }
}

TEST(ProviderMailbox, WithoutASignInNothingIsSent) {
  const std::pair<Kind, std::string> cases[] = {
      {GoogleGmail{}, "Not signed in to Google for this account."},
      {MicrosoftGraph{}, "Not signed in to Microsoft for this account."}};
  for (const auto& [kind, failure] : cases) {
    Operation o(kind);
    o.world.store.deleteCredential("box");
    const std::function<Task<void>()> calls[] = {
        [&] { return o.mailbox.markProcessed(o.incoming, "t"); },
        [&] { return o.mailbox.addTag(o.incoming, "t"); },
        [&] { return o.mailbox.forward(o.incoming, "me@x", "to@y"); },
        [&] { return o.mailbox.reply(o.incoming, {}); }};
    for (const auto& call : calls) {
      EXPECT_EQ(failureText<ProviderError>([&] { runTask(call()); }), failure);
    }
    EXPECT_TRUE(o.http.requests.empty());
  }
}

}  // namespace
}  // namespace halcyra
