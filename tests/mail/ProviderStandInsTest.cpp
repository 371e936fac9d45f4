#include <gtest/gtest.h>

#include <set>

#include "mail/GmailAPIClient.h"
#include "mail/GraphMailClient.h"
#include "mail/ParsedMail.h"
#include "platform/linux/CurlHttpClient.h"
#include "sandbox/GoogleStandIn.h"
#include "sandbox/JsonAnswer.h"
#include "sandbox/MicrosoftStandIn.h"
#include "support/FailureText.h"
#include "support/RecordingLog.h"
#include "support/RunTask.h"
#include "support/ZonedClock.h"
#include "text/Json.h"

namespace halcyra {
namespace {

using namespace sandbox;
using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

const std::string mail =
    "From: Ann <ann@example.org>\r\nTo: p@example.com\r\nSubject: Caf\xC3\xA9\r\n"
    "Message-ID: <1@example.org>\r\n\r\nOne & two\r\n";
const std::string html =
    "From: a@b\r\nSubject: H\r\nContent-Type: text/html\r\n\r\n<p>One</p><p>Two</p>";

template <class StandIn>
struct Served {
  StandIn provider;
  LoopbackHttpServer server{[this](const ServedRequest& request) { return provider(request); }};
  CurlHttpClient http;
  const TimeZone zone{"UTC"};
  ZonedClock clock{std::chrono::system_clock::now()};
  Endpoints endpoints{.google = server.baseURL(), .graph = server.baseURL()};
  std::string token = provider.signIn().accessToken;

  HttpResponse send(std::string method, std::string target, std::string body = {},
                    std::vector<HttpHeader> headers = {}) {
    return runTask(http.perform(
        {std::move(method), server.baseURL() + target, std::move(headers), std::move(body), 10s}));
  }
  HttpResponse form(std::string target, std::vector<std::pair<std::string, std::string>> items) {
    return send("POST", std::move(target), formEncoded(items),
                {{"Content-Type", "application/x-www-form-urlencoded"}});
  }
};

struct Google : Served<GoogleStandIn> {
  GmailLabelCache labels;
  GmailAPIClient client{http, clock, labels, endpoints};
};

struct Microsoft : Served<MicrosoftStandIn> {
  RecordingLog log;
  GraphMailClient client{http, clock, log, endpoints};
};

TEST(GoogleStandIn, ServesAGmailMailbox) {
  Google g;
  const auto now = g.clock.now();
  const std::string older = g.provider.deliver(html, {"INBOX", "UNREAD"}, now - 26h);
  const std::string first = g.provider.deliver(mail, {"INBOX", "UNREAD"}, now);
  g.provider.deliver(mail, {"INBOX"}, now);
  const std::string social =
      g.provider.deliver(mail, {"INBOX", "UNREAD", "CATEGORY_SOCIAL"}, now + 1ms);
  const auto list = [&](int most) {
    return runTask(g.client.listTodayUnreadInboxMessageIds(g.token, most));
  };
  EXPECT_EQ(list(25), (Texts{social, first}));
  EXPECT_EQ(list(1), Texts{social});
  EXPECT_EQ(runTask(g.client.fetchRawMessage(g.token, first)), mail);
  const Texts ids = runTask(g.client.fetchMessageLabelIds(g.token, social));
  EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()),
            (std::set<std::string>{"CATEGORY_SOCIAL", "INBOX", "UNREAD"}));

  const std::string label = runTask(g.client.ensureLabelId(g.token, "A", "\"Work\" 🏷"));
  runTask(g.client.modifyMessageLabels(g.token, first, {label}, {"UNREAD"}));
  EXPECT_EQ(g.provider.labelsOf(first), (std::set<std::string>{"INBOX", "\"Work\" 🏷"}));
  EXPECT_EQ(list(25), Texts{social});
  GmailLabelCache fresh;
  GmailAPIClient other(g.http, g.clock, fresh, g.endpoints);
  EXPECT_EQ(runTask(other.ensureLabelId(g.token, "A", "\"Work\" 🏷")), label);
  const auto refusal = [&](auto action) { return failureText<ProviderError>(action); };
  EXPECT_EQ(refusal([&] { runTask(other.ensureLabelId(g.token, "A", "\"work\" 🏷")); }),
            "Label name exists or conflicts (ABORTED)");
  EXPECT_EQ(refusal([&] { runTask(g.client.modifyMessageLabels(g.token, first, {"L"}, {})); }),
            "Invalid label: L (INVALID_ARGUMENT)");
  EXPECT_EQ(refusal([&] { runTask(g.client.fetchRawMessage(g.token, "unknown")); }),
            "Requested entity was not found. (NOT_FOUND)");
  EXPECT_EQ(refusal([&] { runTask(g.client.sendRawMessage(g.token, "Subject: x\r\n\r\n")); }),
            "Recipient address required (INVALID_ARGUMENT)");

  runTask(g.client.sendRawMessage(g.token, mail));
  EXPECT_EQ(g.provider.sentMail(), Texts{mail});
  EXPECT_EQ(runTask(g.client.recentSentSnippets(g.token, 6)), Texts{"Café — One &amp; two"});
  EXPECT_EQ(g.server.connectionCount(), 1u);

  g.provider.answerNext("list", {500, {}, "<html>down</html>"});
  EXPECT_EQ(refusal([&] { list(25); }), "<html>down</html>");
  g.provider.expireTokens();
  EXPECT_EQ(refusal([&] { list(25); }),
            "Request had invalid authentication credentials. Expected OAuth 2 access token, login "
            "cookie or other valid authentication credential. (UNAUTHENTICATED)");
  EXPECT_EQ(g.provider.requestCounts()["list"], 6);
  EXPECT_EQ(g.provider.requestCounts()["message.raw"], 2);
}

TEST(MicrosoftStandIn, ServesAnOutlookMailbox) {
  Microsoft m;
  const auto now = m.clock.now();
  m.provider.deliver(mail, {.received = now - 26h});
  const std::string first = m.provider.deliver(mail, {.received = now, .categories = {"Old"}});
  m.provider.deliver(mail, {.received = now, .isRead = true});
  const std::string other =
      m.provider.deliver(html, {.received = now + 1s, .inferenceClassification = "other"});
  const auto list = [&](int most) { return runTask(m.client.listTodayUnreadInbox(m.token, most)); };
  const std::vector<InboxUnreadItem> both = {{other, "other"}, {first, "focused"}};
  EXPECT_EQ(list(25), both);
  EXPECT_EQ(m.provider.requestCounts()["list"], 1);
  EXPECT_EQ(list(1), (std::vector<InboxUnreadItem>{{other, "other"}}));
  EXPECT_EQ(runTask(m.client.fetchRawMessage(m.token, first)), mail);

  // Each tenant ends at another step of the ladder.
  const std::tuple<TenantRefusals, int, bool> tenants[] = {
      {{.inferenceClassification = true}, 2, false},
      {{.orderWithDateFilter = true}, 3, false},
      {{.dateFilter = true}, 4, true},
      {{.filter = true}, 5, true},
      {{.filter = true, .inferenceClassification = true}, 6, false}};
  for (const auto& [refusals, requests, classified] : tenants) {
    const int before = m.provider.requestCounts()["list"];
    m.provider.refuse(refusals);
    const auto items = list(25);
    ASSERT_EQ(items.size(), 2u) << requests;
    EXPECT_EQ(items[0].id, other);
    EXPECT_EQ(items[0].inferenceClassification.has_value(), classified) << requests;
    EXPECT_EQ(m.provider.requestCounts()["list"] - before, requests);
  }
  EXPECT_EQ(m.log.lines().size(), 1u + 2 + 3 + 4 + 5);

  m.provider.refuse({.rawText = true});
  EXPECT_EQ(runTask(m.client.fetchRawMessage(m.token, other)), std::nullopt);
  const auto parsed = ParsedMail::fromRawMessage(
      "A", first, 1, runTask(m.client.fetchSynthesizedMessage(m.token, first)));
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->messageID, "<1@example.org>");
  EXPECT_EQ(parsed->from, "Ann <ann@example.org>");
  EXPECT_EQ(parsed->subject, "Café");

  runTask(m.client.addCategory(m.token, first, "New"));
  EXPECT_FALSE(m.provider.isRead(first));
  runTask(m.client.markRead(m.token, first, "Newer"));
  EXPECT_TRUE(m.provider.isRead(first));
  EXPECT_EQ(m.provider.categoriesOf(first), (Texts{"Old", "New", "Newer"}));

  runTask(m.client.replyToMessage(m.token, first, "Yes & no"));
  OutboundMessage forward{"Fwd: x", {.content = "text"}, {{{"to@example.org"}}}, std::nullopt};
  runTask(m.client.sendMail(m.token, forward));
  const auto sent = m.provider.sentMail();
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[0]["inReplyTo"], first);
  EXPECT_EQ(sent[1]["message"]["subject"], "Fwd: x");
  EXPECT_EQ(runTask(m.client.recentSentSnippets(m.token, 6)),
            (Texts{"Fwd: x — text", "RE: Café — Yes & no"}));
  forward.internetMessageHeaders = std::vector<Header>{Header{"In-Reply-To", "<1@example.org>"}};
  const auto refusal = [&](auto action) { return failureText<ProviderError>(action); };
  EXPECT_NE(refusal([&] {
              runTask(m.client.sendMail(m.token, forward));
            }).find("InvalidInternetMessageHeader"),
            std::string::npos);
  EXPECT_EQ(refusal([&] { runTask(m.client.markRead(m.token, "unknown", "x")); }),
            "Could not load message categories.");

  m.provider.refuse({.wellKnownFolderName = false});
  const InboxDiagnostics report = runTask(m.client.loadInboxDiagnostics(m.token, 25));
  EXPECT_EQ(report.signedInMailboxOrUpn, "person@outlook.example");
  EXPECT_EQ(report.inboxUnreadItemCount, 2);
  EXPECT_EQ(report.inboxTotalItemCount, 4);
  EXPECT_EQ(report.listedUnreadMessageCount, 1);
  EXPECT_EQ(report.rootFolderStats.at(1), (FolderStatLine{"Sent Items", 2, 0, "sentitems"}));
  EXPECT_EQ(report.recentMessagesAnywhere.size(), 6u);
  EXPECT_EQ(m.server.connectionCount(), 1u);

  m.provider.expireTokens();
  EXPECT_NE(refusal([&] { list(25); })
                .find("HTTP 401: {\"error\":{\"code\":"
                      "\"InvalidAuthenticationToken\""),
            std::string::npos);
}

// A verifier with its challenge, from RFC 7636, appendix B.
const std::string verifier = "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
const std::string challenge = "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";
const std::string redirect = "http://localhost:18876/oauth";

std::string codeFrom(const HttpResponse& response) {
  for (const HttpHeader& header : response.headers) {
    if (header.name != "Location") continue;
    EXPECT_TRUE(header.value.starts_with(redirect + "?")) << header.value;
    return itemOf(queryItems(header.value.substr(redirect.size() + 1)), "code");
  }
  return {};
}

TEST(ProviderStandIns, GiveTokensForACodeAndItsVerifierOnce) {
  Google g;
  Microsoft m;
  const auto page = [&](auto& served, std::string path, std::string client, std::string scope) {
    const std::string target = path + "?" +
                               formEncoded({{"client_id", client},
                                            {"redirect_uri", redirect},
                                            {"response_type", "code"},
                                            {"scope", scope},
                                            {"code_challenge", challenge},
                                            {"code_challenge_method", "S256"},
                                            {"access_type", "offline"}});
    const HttpResponse shown = served.send("GET", target);
    EXPECT_EQ(shown.status, 200);
    EXPECT_NE(shown.body.find("id=\"allow\""), std::string::npos);
    // With the header of a client that does not want the redirect followed.
    const std::vector<HttpHeader> stay = {{"Authorization", "none"}};
    const HttpResponse denied = served.send("GET", target + "&decision=deny", {}, stay);
    EXPECT_EQ(codeFrom(denied), "");
    return served.send("GET", target + "&decision=allow", {}, stay);
  };
  const auto redeem = [&](auto& served, std::string path, std::string client, std::string code,
                          std::string with) {
    return served.form(path, {{"client_id", client},
                              {"code", code},
                              {"code_verifier", with},
                              {"grant_type", "authorization_code"},
                              {"redirect_uri", redirect}});
  };
  const auto refresh = [&](auto& served, std::string path, std::string client, std::string token) {
    return served.form(
        path, {{"client_id", client}, {"refresh_token", token}, {"grant_type", "refresh_token"}});
  };
  struct Case {
    std::string page, token, client, scope;
    bool rotates;
  };
  const Case google{"/o/oauth2/v2/auth", "/token", "sandbox-google-client",
                    "https://www.googleapis.com/auth/gmail.modify", false};
  const Case microsoft{"/common/oauth2/v2.0/authorize", "/common/oauth2/v2.0/token",
                       "sandbox-microsoft-client", "offline_access Mail.ReadWrite", true};
  const auto walk = [&](auto& served, const Case& c) {
    const std::string code = codeFrom(page(served, c.page, c.client, c.scope));
    const std::string wasted = codeFrom(page(served, c.page, c.client, c.scope));
    EXPECT_EQ(redeem(served, c.token, c.client, wasted, verifier + "x").status, 400);
    EXPECT_EQ(redeem(served, c.token, c.client, wasted, verifier).status, 400);
    const HttpResponse given = redeem(served, c.token, c.client, code, verifier);
    ASSERT_EQ(given.status, 200) << given.body;
    EXPECT_EQ(redeem(served, c.token, c.client, code, verifier).status, 400);
    const auto tokens = parseJson(given.body);
    EXPECT_EQ(tokens["expires_in"], 3599);
    served.provider.expireTokens();
    const std::string old = tokens["refresh_token"];
    const auto renewed = parseJson(refresh(served, c.token, c.client, old).body);
    EXPECT_EQ(renewed.contains("refresh_token"), c.rotates);
    EXPECT_EQ(refresh(served, c.token, c.client, old).status, c.rotates ? 400 : 200);
    served.token = renewed["access_token"];
    served.provider.revokeTokens();
    const auto refused = parseJson(refresh(served, c.token, c.client, old).body);
    EXPECT_EQ(refused["error"], "invalid_grant");
    EXPECT_EQ(served.send("POST", c.token, "grant_type=refresh_token").status, 400);
    EXPECT_EQ(served.send("GET", c.page + "?client_id=" + c.client).status, 400);
  };
  walk(g, google);
  walk(m, microsoft);

  // A token for another service is none for mail.
  const std::string refreshToken = *m.provider.signIn().refreshToken;
  const auto dataverse =
      parseJson(m.form(microsoft.token, {{"client_id", microsoft.client},
                                         {"refresh_token", refreshToken},
                                         {"grant_type", "refresh_token"},
                                         {"scope", "https://org.example/.default"}})
                    .body);
  EXPECT_EQ(failureText<ProviderError>(
                [&] { runTask(m.client.addCategory(dataverse["access_token"], "x", "y")); }),
            "Could not load message categories.");
}

}  // namespace
}  // namespace halcyra
