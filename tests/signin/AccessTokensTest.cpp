#include <gtest/gtest.h>

#include "SignInWorld.h"
#include "platform/ProviderError.h"
#include "signin/DataverseEnvironment.h"
#include "support/FailureText.h"
#include "support/RunTask.h"

namespace halcyra {
namespace {

const std::string fresh = R"({"access_token":"new","refresh_token":"r2","expires_in":3600})";

TEST(Credential, StoredFormIsSmallAndStrict) {
  const TimePoint noon = std::chrono::sys_days(std::chrono::year(2026) / 3 / 5) +
                         std::chrono::hours(12) + std::chrono::milliseconds(250);
  const OAuthStoredCredential full{
      "a", "r", noon, "d", noon, {{{"https://o", {"e", noon}}, {"https://p", {"f", {}}}}}};
  const std::pair<std::string, OAuthStoredCredential> cases[] = {
      {R"({"accessToken":"a"})", {"a", {}, {}, {}, {}, {}}},
      {R"({"accessToken":"a","dataverseByEnvironment":{}})", {"a", {}, {}, {}, {}, {{}}}},
      {R"({"accessToken":"a","dataverseAccessToken":"d","dataverseByEnvironment":{"https://o":)"
       R"({"accessToken":"e","expiresAt":794404800.25},"https://p":{"accessToken":"f"}},)"
       R"("dataverseExpiresAt":794404800.25,"expiresAt":794404800.25,"refreshToken":"r"})",
       full}};
  for (const auto& [text, credential] : cases) {
    EXPECT_EQ(encodeCredential(credential), text);
    EXPECT_EQ(decodeCredential(text), credential);
  }
  EXPECT_EQ(decodeCredential(R"({"accessToken":"a","expiresAt":0,"refreshToken":null,"x":1})"),
            (OAuthStoredCredential{
                "a", {}, std::chrono::sys_days(std::chrono::year(2001) / 1 / 1), {}, {}, {}}));
  EXPECT_GT(decodeCredential(R"({"accessToken":"a","expiresAt":1e300})").expiresAt, noon);
  for (const char* text :
       {"", "[]", "{}", R"({"accessToken":1})", R"({"accessToken":"a","expiresAt":"2026"})",
        R"({"accessToken":"a","dataverseByEnvironment":{"o":{}}})"}) {
    EXPECT_ANY_THROW(decodeCredential(text)) << text;
  }
}

TEST(CredentialStore, TheCacheAnswersUntilItIsEmptied) {
  SignInWorld world;
  world.storage.writeSecret(R"({"accessToken":"a"})", "oauth.credential.m");
  EXPECT_EQ(world.store.loadCredential("n"), std::nullopt);
  EXPECT_EQ(world.store.loadCredential("m")->accessToken, "a");
  world.storage.writeSecret("{broken", "oauth.credential.m");
  EXPECT_EQ(world.store.loadCredential("m")->accessToken, "a");
  world.secrets.invalidateSecretCaches();
  EXPECT_ANY_THROW(world.store.loadCredential("m"));
  EXPECT_ANY_THROW(world.store.loadCredential("m"));  // a failure is not remembered as a record
  world.store.saveCredential({"b", {}, {}, {}, {}, {}}, "m");
  EXPECT_EQ(world.stored("m"), R"({"accessToken":"b"})");

  const std::string update = std::string("update ") + KeychainEnvelopeStorage::envelopeAccount;
  world.keychain.failures[update] = KeychainStatus::ioError;
  EXPECT_THROW(world.store.saveCredential({"c", {}, {}, {}, {}, {}}, "m"), KeychainError);
  EXPECT_THROW(world.store.deleteCredential("m"), KeychainError);
  EXPECT_EQ(world.store.loadCredential("m")->accessToken, "b");
  world.keychain.failures.clear();
  world.keychain.takeCalls();
  world.store.deleteCredential("m");  // memory has lost it already, the keychain has not
  EXPECT_EQ(world.keychain.takeCalls(), std::vector<std::string>{update});
  EXPECT_EQ(world.store.loadCredential("m"), std::nullopt);
}

TEST(AccessTokens, AreRefreshedWithin120SecondsOfTheirExpiry) {
  struct Case {
    std::optional<int> expiresIn;
    bool refreshed;
  };
  const AppConfig config;
  for (const Case& c : {Case{121, false}, {120, true}, {119, true}, {-5, true}, {{}, true}}) {
    SCOPED_TRACE(c.expiresIn.value_or(0));
    SignInWorld world;
    OAuthStoredCredential old{"old", "r1", {}, "d", world.in(9), {{{"https://o", {"e", {}}}}}};
    if (c.expiresIn) old.expiresAt = world.in(*c.expiresIn);
    world.store.saveCredential(old, "g");
    world.store.saveCredential(old, "m");
    if (c.refreshed) world.http.answer(200, fresh).answer(200, fresh);
    const std::string expected = c.refreshed ? "new" : "old";
    EXPECT_EQ(runTask(world.tokens.validGoogleAccessToken("g")), expected);
    EXPECT_EQ(runTask(world.tokens.validMicrosoftAccessToken(config, "m")), expected);
    if (!c.refreshed) continue;
    // Google's refresh token is not replaced and its record is new; Microsoft's rotates and keeps
    // what belongs to Dataverse.
    EXPECT_EQ(*world.store.loadCredential("g"),
              (OAuthStoredCredential{"new", "r1", world.in(3600), {}, {}, {}}));
    old.accessToken = "new";
    old.refreshToken = "r2";
    old.expiresAt = world.in(3600);
    EXPECT_EQ(*world.store.loadCredential("m"), old);
    world.secrets.invalidateSecretCaches();
    EXPECT_EQ(*world.store.loadCredential("m"), old);
  }
}

struct Outcome {
  std::string text;
  int code = 0;
  bool operator==(const Outcome&) const = default;
};

Outcome outcome(Task<std::string> task) {
  try {
    return {runTask(std::move(task)), 0};
  } catch (const ProviderError& error) {
    return {error.domain() + ": " + error.what(), error.code()};
  }
}

TEST(AccessTokens, SayWhatIsMissing) {
  const AppConfig config;
  const Outcome noId{"OAuth: Microsoft OAuth client ID is not configured.", 3};
  const Outcome noGoogle{"OAuth: Not signed in to Google for this account.", 1};
  const Outcome noMicrosoft{"OAuth: Not signed in to Microsoft for this account.", 1};
  const Outcome googleExpired{"OAuth: Google session expired; sign in again.", 2};
  const Outcome microsoftExpired{"OAuth: Microsoft session expired; sign in again.", 2};
  SignInWorld bare(BuildValues{{"HalcyraMicrosoftOAuthClientId", "$(UNSET)"}});
  EXPECT_EQ(outcome(bare.tokens.validMicrosoftAccessToken(config, "m")), noId);
  EXPECT_EQ(outcome(bare.tokens.validDataverseAccessToken(config, "m", "")), noId);
  EXPECT_EQ(outcome(bare.tokens.validGoogleAccessToken("m")), noGoogle);

  SignInWorld world;
  EXPECT_EQ(outcome(world.tokens.validMicrosoftAccessToken(config, "m")), noMicrosoft);
  EXPECT_EQ(outcome(world.tokens.validDataverseAccessToken(config, "m", "https://")),
            (Outcome{"OAuth: Set a valid Dataverse environment URL (e.g. "
                     "https://yourorg.crm.dynamics.com).",
                     4}));
  EXPECT_EQ(outcome(world.tokens.validDataverseAccessToken(config, "m", "o")), noMicrosoft);
  world.store.saveCredential({"a", {}, {}, {}, {}, {}}, "m");
  EXPECT_EQ(outcome(world.tokens.validGoogleAccessToken("m")), googleExpired);
  EXPECT_EQ(outcome(world.tokens.validMicrosoftAccessToken(config, "m")), microsoftExpired);
  EXPECT_EQ(outcome(world.tokens.validDataverseAccessToken(config, "m", "o")), microsoftExpired);
  EXPECT_TRUE(world.http.requests.empty());
}

TEST(AccessTokens, AFailedRefreshLeavesTheRecord) {
  SignInWorld world(BuildValues{});  // without a client id it is the provider that refuses
  world.store.saveCredential({"old", "r1", {}, {}, {}, {}}, "g");
  world.http.answer(400, "no").fail({HttpError::Kind::transport, "cut"}).answer(200, fresh);
  EXPECT_EQ(outcome(world.tokens.validGoogleAccessToken("g")), (Outcome{"GoogleOAuth: no", 400}));
  EXPECT_EQ(wire(world.http.requests[0]),
            googlePost("client_id=&refresh_token=r1&grant_type=refresh_token"));
  EXPECT_EQ(failureText<HttpError>([&] { runTask(world.tokens.validGoogleAccessToken("g")); }),
            "cut");
  EXPECT_EQ(world.stored("g"), R"({"accessToken":"old","refreshToken":"r1"})");
  EXPECT_EQ(outcome(world.tokens.validGoogleAccessToken("g")).text, "new");
}

TEST(AccessTokens, DataverseTokensBelongToTheirEnvironment) {
  AppConfig config;
  config.dataverseEnvironmentURL = "Org.example.com/";
  const std::string here = "https://Org.example.com", there = "https://other.example.com";
  struct Case {
    std::string name;
    OAuthStoredCredential before;
    std::string environment, token;
    OAuthStoredCredential after;
  };
  const SignInWorld times;
  const TimePoint soon = times.in(120), later = times.in(121), renewed = times.in(3600);
  const TimePoint own = times.in(-1);  // of the Graph token, which no row touches
  using Tokens = std::map<std::string, DataverseEnvironmentToken>;
  const Case cases[] = {
      {"a valid token",
       {"a", {}, own, {}, {}, Tokens{{here, {"e", later}}}},
       here + "/main.aspx?x",
       "e",
       {"a", {}, own, {}, {}, Tokens{{here, {"e", later}}}}},
      {"a valid older token is used and not saved",
       {"a", {}, own, "d", later, {}},
       here,
       "d",
       {"a", {}, own, "d", later, {}}},
      {"an entry comes before the older token",
       {"a", "r1", own, "d", later, Tokens{{here, {"e", soon}}}},
       here,
       "new",
       {"a", "r2", own, "new", renewed, Tokens{{here, {"new", renewed}}}}},
      {"an older token without expiry is none",
       {"a", "r1", own, "d", {}, {}},
       here,
       "new",
       {"a", "r2", own, "new", renewed, Tokens{{here, {"new", renewed}}}}},
      {"another environment gets none of them",
       {"a", "r1", own, "d", later, Tokens{{here, {"e", later}}}},
       there,
       "new",
       {"a", "r2", own, "d", later, Tokens{{here, {"e", later}}, {there, {"new", renewed}}}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    SignInWorld world;
    world.store.saveCredential(c.before, "m");
    if (c.token == "new") world.http.answer(200, fresh);
    EXPECT_EQ(outcome(world.tokens.validDataverseAccessToken(config, "m", c.environment)),
              (Outcome{c.token, 0}));
    EXPECT_EQ(*world.store.loadCredential("m"), c.after);
  }
}

TEST(DataverseEnvironment, IsSchemeAndHost) {
  const std::pair<std::string, std::optional<std::string>> cases[] = {
      {" Org.example.com/ \n", "https://Org.example.com"},
      {"https://Org.example.com:444/main.aspx?a=b#c", "https://Org.example.com"},
      {"HTTP://o.example.com", "http://o.example.com"},
      {"httpx://o", "https://o"},
      {"u:p@o.example.com", "https://o.example.com"},
      {"o?x", "https://o"},
      {"https://[::1]:1/", "https://[::1]"},
      {"http-host.example.com", {}},
      {"http://", {}},
      {"https:///path", {}},
      {"https://:443", {}},
      {"o:port", {}},
      {"my org", {}},
      {" ", {}},
      {"", {}},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(normalizedDataverseEnvironment(text), expected) << text;
  }
}

}  // namespace
}  // namespace halcyra
