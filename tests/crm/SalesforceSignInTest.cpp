#include <gtest/gtest.h>

#include "crm/SalesforceSessions.h"
#include "platform/ProviderError.h"
#include "support/FailureText.h"
#include "support/ManualClock.h"
#include "support/MemoryKeychain.h"
#include "support/RunTask.h"
#include "support/ScriptedHttp.h"
#include "text/Json.h"

namespace halcyra {
namespace {

struct SalesforceWorld {
  explicit SalesforceWorld(std::string clientId = "key", std::string clientSecret = "",
                           Endpoints endpoints = {})
      : secrets(storage, {{"HalcyraSalesforceOAuthClientId", std::move(clientId)}}),
        client(http, clock, endpoints, std::move(clientSecret)) {}

  TimePoint in(int seconds) const { return clock.now() + std::chrono::seconds(seconds); }

  /// "{token} at {instance}", or "{domain} {code}: {description}".
  std::string session(std::string connection) {
    try {
      const SalesforceSession s = runTask(sessions.validSalesforceSession(std::move(connection)));
      return s.accessToken + " at " + s.instanceURL;
    } catch (const ProviderError& error) {
      return error.domain() + " " + std::to_string(error.code()) + ": " + error.what();
    }
  }
  SalesforceStoredCredential exchange(std::string loginHost = "") {
    return runTask(
        client.exchangeSalesforceCode("key", "c/1", "the verifier", std::move(loginHost)));
  }

  MemoryKeychain keychain;
  KeychainEnvelopeStorage storage{keychain};
  KeychainHelper secrets;
  ScriptedHttp http;
  ManualClock clock;
  SalesforceCredentialStore store{secrets};
  SalesforceOAuthClient client;
  SalesforceSessions sessions{secrets, store, client, clock};
};

const std::string redirect = "http%3A%2F%2Flocalhost%3A18876%2Foauth";

TEST(SalesforceOAuth, LoginHostIsSchemeAndHostOrThePublicOne) {
  const std::pair<const char*, const char*> cases[] = {
      {" acme--dev.sandbox.my.salesforce.com ", "https://acme--dev.sandbox.my.salesforce.com"},
      {"https://Acme.example:444/path?x", "https://Acme.example"},
      {"HTTP://acme.example/", "http://acme.example"},
      {"", "https://login.salesforce.com"},
      {"https://", "https://login.salesforce.com"},
      {"not a host", "https://login.salesforce.com"},
  };
  for (const auto& [text, host] : cases) EXPECT_EQ(normalizedSalesforceLoginHost(text), host);
}

TEST(SalesforceOAuth, AuthorizationAndTokenCallsAsTheServiceWantsThem) {
  SalesforceWorld world("key", "s&");
  EXPECT_EQ(world.client.buildSalesforceAuthorizationURL("key", "ch", "acme.example"),
            "https://acme.example/services/oauth2/authorize?response_type=code&client_id=key&"
            "redirect_uri=" +
                redirect +
                "&scope=api%20refresh_token&code_challenge=ch&code_challenge_method=S256");
  world.http
      .answer(200, R"({"access_token":"a","refresh_token":"r","instance_url":" https://eu1.x/ ",)"
                   R"("expires_in":60,"issued_at":"7"})")
      .answer(200, R"({"access_token":"b","instance_url":"https://other.x","refresh_token":"q"})");
  SalesforceStoredCredential first = world.exchange("acme.example/x");
  EXPECT_EQ(first, (SalesforceStoredCredential{"a", "r", world.in(60), "https://acme.example",
                                               "https://eu1.x"}));
  first.instanceURL = "https://eu1.x/";
  EXPECT_EQ(runTask(world.client.refreshSalesforceToken("key", first)),
            (SalesforceStoredCredential{"b", "r", {}, "https://acme.example", "https://eu1.x"}));
  EXPECT_EQ(world.http.requests[0].body,
            "grant_type=authorization_code&client_id=key&redirect_uri=" + redirect +
                "&code=c%2F1&code_verifier=the%20verifier&client_secret=s%26");
  EXPECT_EQ(world.http.requests[1].body,
            "grant_type=refresh_token&client_id=key&refresh_token=r&client_secret=s%26");
  for (const HttpRequest& request : world.http.requests) {
    EXPECT_EQ(request.url, "https://acme.example/services/oauth2/token");
    EXPECT_EQ(request.headers,
              (std::vector<HttpHeader>{{"Content-Type", "application/x-www-form-urlencoded"}}));
  }
}

TEST(SalesforceOAuth, AStandInTakesTheCallsAndNotTheRecord) {
  Endpoints endpoints;
  endpoints.salesforceLogin = "http://127.0.0.1:1";
  SalesforceWorld world("key", "", endpoints);
  EXPECT_TRUE(world.client.buildSalesforceAuthorizationURL("key", "ch", "acme.example")
                  ->starts_with("http://127.0.0.1:1/services/oauth2/authorize?"));
  world.http.answer(200, R"({"access_token":"a","instance_url":"http://127.0.0.1:1"})");
  EXPECT_EQ(world.exchange().loginHost, "https://login.salesforce.com");
  EXPECT_EQ(world.http.requests[0].url, "http://127.0.0.1:1/services/oauth2/token");
  EXPECT_EQ(world.http.requests[0].body.find("client_secret"), std::string::npos);
}

TEST(SalesforceOAuth, AnswersThatAreNoSignIn) {
  struct Case {
    int status;
    std::string body, failure;
  };
  const std::string hostile =
      "Salesforce named an instance URL that is not a plain https address; sign in to Salesforce "
      "again.";
  const Case cases[] = {
      {200, R"({"access_token":"a"})", "Token response missing instance_url"},
      {200, R"({"access_token":"a","instance_url":" "})", "Token response missing instance_url"},
      {200, R"({"access_token":"a","instance_url":"http://evil.example"})", hostile},
      {200, R"({"access_token":"a","instance_url":"javascript:alert"})", hostile},
      {400, R"({"error":"invalid_grant"} c/1)", R"({"error":"invalid_grant"} ***)"},
      {500, "", "HTTP 500"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.body);
    SalesforceWorld world;
    world.http.answer(c.status, c.body);
    EXPECT_EQ(failureText<ProviderError>([&] { world.exchange(); }), c.failure);
  }
  SalesforceWorld world;
  world.http.answer(200, R"({"instance_url":"https://x"})");
  EXPECT_ANY_THROW(world.exchange());
  const SalesforceStoredCredential old{"a", "r", {}, "h", "https://x"};
  for (const std::string token : {"", "a b", R"(a\r\nX: y)", "é"}) {
    SCOPED_TRACE(token);
    const std::string answer = R"({"instance_url":"https://x","access_token":")" + token + "\"}";
    world.http.answer(200, answer).answer(200, answer);
    const std::string failure = "Not the expected JSON: \"access_token\" is not a usable token.";
    EXPECT_EQ(failureText<JsonError>([&] { world.exchange(); }), failure);
    EXPECT_EQ(
        failureText<JsonError>([&] { runTask(world.client.refreshSalesforceToken("key", old)); }),
        failure);
  }
  world.http.answer(200, R"({"instance_url":"https://x","access_token":"a","refresh_token":""})");
  EXPECT_EQ(world.exchange().refreshToken, std::nullopt);
  EXPECT_EQ(failureText<ProviderError>([&] {
              runTask(world.client.refreshSalesforceToken("key", {"a", "r", {}, "h", " "}));
            }),
            "Missing instance URL; sign in to Salesforce again.");
  EXPECT_EQ(world.http.requests.size(), 10u);  // none for the last
}

TEST(SalesforceCredentials, AConnectionFallsBackToTheOlderEntry) {
  const std::string own = R"({"accessToken":"own","loginHost":"h","instanceURL":"https://i"})";
  const std::string older = R"({"accessToken":"older","loginHost":"h","instanceURL":"https://i"})";
  struct Case {
    std::string ofConnection, single;  // as stored
    std::string withId, withoutId;     // the token, "none" or "failure"
  };
  const Case cases[] = {
      {own, older, "own", "older"},
      {"", older, "older", "older"},
      {own, "", "own", "none"},
      {"", "", "none", "none"},
      {"{broken", older, "older", "older"},
      {"{broken", "", "failure", "none"},
      {own, "{broken", "own", "failure"},
      {"", "{}", "failure", "failure"},
      {R"({"accessToken":7})", "{}", "failure", "failure"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.ofConnection + " / " + c.single);
    SalesforceWorld world;
    world.storage.writeSecret(c.ofConnection, "oauth.salesforce.c1");
    world.storage.writeSecret(c.single, "oauth.salesforce");
    const auto loaded = [&](std::optional<std::string> id) -> std::string {
      try {
        const auto credential = world.store.loadSalesforceCredential(id);
        return credential ? credential->accessToken : "none";
      } catch (const std::runtime_error&) {
        return "failure";
      }
    };
    EXPECT_EQ(loaded(" c1\n"), c.withId);
    EXPECT_EQ(loaded(" "), c.withoutId);
    EXPECT_EQ(loaded(std::nullopt), c.withoutId);
  }

  SalesforceWorld world;
  world.storage.writeSecret(older, "oauth.salesforce");
  const SalesforceStoredCredential fresh{"new", "r", world.in(0), "h", "https://i"};
  world.store.saveSalesforceCredential(fresh, "c1");
  EXPECT_EQ(world.storage.readSecret("oauth.salesforce"), older);
  EXPECT_EQ(world.storage.readSecret("oauth.salesforce.c1"),
            R"({"accessToken":"new","expiresAt":794404800.0,"instanceURL":"https://i",)"
            R"("loginHost":"h","refreshToken":"r"})");
  EXPECT_EQ(world.store.loadSalesforceCredential("c1"), fresh);
  world.store.deleteSalesforceCredential("c1");
  EXPECT_EQ(world.store.loadSalesforceCredential("c1")->accessToken, "older");
  world.store.deleteSalesforceCredential(std::nullopt);
  EXPECT_EQ(world.store.loadSalesforceCredential("c1"), std::nullopt);
}

TEST(SalesforceSessions, RefreshWithin120SecondsOfTheExpiry) {
  for (const std::optional<int> expires : {std::optional(121), std::optional(120), {}}) {
    SCOPED_TRACE(expires.value_or(-1));
    SalesforceWorld world;
    SalesforceStoredCredential stored{"old", "r", {}, "https://h", "https://i"};
    if (expires) stored.expiresAt = world.in(*expires);
    world.store.saveSalesforceCredential(stored, std::nullopt);
    const bool isFresh = expires == 121;
    // Salesforce tells no lifetime, so its answer is taken and asked for anew each time.
    if (!isFresh) world.http.answer(200, R"({"access_token":"new"})");
    EXPECT_EQ(world.session("c1"), isFresh ? "old at https://i" : "new at https://i");
    const bool hasOwn = world.storage.readSecret("oauth.salesforce.c1").has_value();
    EXPECT_EQ(hasOwn, !isFresh);  // what is refreshed becomes the connection's own
    EXPECT_EQ(world.store.loadSalesforceCredential("")->accessToken, "old");
  }
}

TEST(SalesforceSessions, SayWhatIsMissing) {
  for (const char* unset : {"", " \n", "$(HALCYRA_KEY)"}) {
    EXPECT_EQ(SalesforceWorld(unset).session("c1"),
              "SalesforceAccess 1: Salesforce Consumer Key is not configured in this build.");
  }
  SalesforceWorld world;
  EXPECT_EQ(world.session("c1"),
            "SalesforceAccess 2: Sign in to Salesforce for this connection (Settings → Custom "
            "actions).");
  const std::string expired = "SalesforceAccess 3: Salesforce session expired; sign in again.";
  for (const std::optional<std::string>& refresh :
       {std::optional<std::string>(), std::optional<std::string>(" ")}) {
    world.store.saveSalesforceCredential({"a", refresh, world.in(119), "h", "https://i"}, "c1");
    EXPECT_EQ(world.session("c1"), expired);
  }
  EXPECT_TRUE(world.http.requests.empty());
  world.store.saveSalesforceCredential({"a", "r", {}, "h", "https://i"}, "c1");
  world.http.answer(400, "spent r");
  EXPECT_EQ(world.session("c1"), "SalesforceOAuth 400: spent ***");
  EXPECT_EQ(world.store.loadSalesforceCredential("c1")->refreshToken, "r");
}

}  // namespace
}  // namespace halcyra
