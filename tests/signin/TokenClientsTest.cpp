#include <gtest/gtest.h>

#include "SignInWorld.h"
#include "platform/ProviderError.h"
#include "signin/ScopeHint.h"
#include "support/FailureText.h"
#include "support/RunTask.h"
#include "text/Json.h"

namespace halcyra {
namespace {

const std::string redirectField = "redirect_uri=http%3A%2F%2Flocalhost%3A18876%2Foauth";

TEST(TokenClients, AuthorizationURLsKeepTheirOrder) {
  SignInWorld world;
  EXPECT_EQ(world.google.buildGoogleAuthorizationURL("id&1", "ch"),
            "https://accounts.google.com/o/oauth2/v2/auth?client_id=id%261&" + redirectField +
                "&response_type=code&scope=https%3A%2F%2Fwww.googleapis.com%2Fauth%2Fgmail.modify"
                "%20https%3A%2F%2Fwww.googleapis.com%2Fauth%2Fcalendar.readonly"
                "%20https%3A%2F%2Fwww.googleapis.com%2Fauth%2Fuserinfo.email&code_challenge=ch"
                "&code_challenge_method=S256&access_type=offline&prompt=consent");
  EXPECT_EQ(world.microsoft.buildMicrosoftAuthorizationURL("id", "ch"),
            "https://login.microsoftonline.com/common/oauth2/v2.0/authorize?client_id=id&" +
                redirectField + "&response_type=code&scope=" + microsoftScopes +
                "&code_challenge=ch&code_challenge_method=S256&response_mode=query");
  GoogleOAuthClient nowhere(world.http, world.clock, {.googleAccounts = "file:///"}, "");
  EXPECT_EQ(nowhere.buildGoogleAuthorizationURL("id", "ch"), std::nullopt);
}

TEST(TokenClients, CallsAreWholeAndResultsAreTheirs) {
  for (const bool withSecret : {false, true}) {
    BuildValues values;
    if (withSecret) values["HalcyraGoogleOAuthClientSecret"] = " \"s+t\" ";
    SignInWorld world(values);
    const std::string secret = withSecret ? "&client_secret=s%2Bt" : "";
    const std::string answer =
        R"({"access_token":"a","refresh_token":"r2","expires_in":3600.0,"scope":[1]})";
    const std::string bare = R"({"access_token":"a","refresh_token":null})";
    world.http.answer(200, answer).answer(299, bare).answer(200, answer);
    world.http.answer(200, bare).answer(200, answer).answer(200, answer);
    const OAuthStoredCredential full{"a", "r2", world.in(3600), {}, {}, {}};
    EXPECT_EQ(runTask(world.google.exchangeGoogleCode("i", "4/c", "v")), full);
    EXPECT_EQ(runTask(world.google.exchangeGoogleCode("i", "4/c", "v")),
              (OAuthStoredCredential{"a", {}, {}, {}, {}, {}}));
    EXPECT_EQ(runTask(world.google.refreshGoogleToken("", "r1")),
              (OAuthStoredCredential{"a", "r1", world.in(3600), {}, {}, {}}));
    EXPECT_EQ(runTask(world.microsoft.exchangeMicrosoftCode("i", "c", "v")),
              (OAuthStoredCredential{"a", {}, {}, {}, {}, {}}));
    EXPECT_EQ(runTask(world.microsoft.refreshMicrosoftToken("i", "r1")), full);
    const auto dataverse =
        runTask(world.microsoft.refreshDataverseToken("i", "r1", "https://Org.example.com"));
    EXPECT_EQ(dataverse.accessToken + *dataverse.refreshToken, "ar2");
    EXPECT_EQ(dataverse.expiresAt, world.in(3600));

    const std::string exchange =
        "client_id=i&code=4%2Fc&code_verifier=v"
        "&grant_type=authorization_code&" +
        redirectField + secret;
    const std::vector<std::string> expected = {
        googlePost(exchange),
        googlePost(exchange),
        googlePost("client_id=&refresh_token=r1&grant_type=refresh_token" + secret),
        microsoftPost("client_id=i&code=c&code_verifier=v&grant_type=authorization_code&" +
                      redirectField + "&scope=" + microsoftScopes),
        microsoftPost("client_id=i&refresh_token=r1&grant_type=refresh_token&scope=" +
                      std::string(microsoftScopes)),
        microsoftPost("client_id=i&refresh_token=r1&grant_type=refresh_token"
                      "&scope=https%3A%2F%2FOrg.example.com%2F.default")};
    ASSERT_EQ(world.http.requests.size(), expected.size());
    for (std::size_t index = 0; index < expected.size(); ++index) {
      EXPECT_EQ(wire(world.http.requests[index]), expected[index]);
      EXPECT_EQ(world.http.requests[index].timeout, std::chrono::seconds(60));
    }
  }
}

template <class Call>
std::string refusal(ScriptedHttp& http, int status, const std::string& body, Call call) {
  http.answer(status, body);
  try {
    runTask(call());
  } catch (const ProviderError& error) {
    EXPECT_EQ(error.code(), status);
    return error.domain() + ": " + error.what();
  }
  return "no failure";
}

TEST(TokenClients, GoogleRefusalsAreExplained) {
  SignInWorld world;
  const std::string advice =
      " — Google still treats this client ID as a “Web application” (confidential): the token "
      "endpoint requires a client secret. Fix: Google Cloud Console → APIs & Services → "
      "Credentials "
      "→ use type **Desktop app**, or set `HALCYRA_GOOGLE_OAUTH_CLIENT_SECRET` in local "
      "`Config/Secrets.xcconfig` (see `Secrets.xcconfig.example`).";
  const std::pair<std::string, std::string> cases[] = {
      {R"({"error":"invalid_grant","error_description":"Bad+Request now"})",
       "invalid_grant: Bad Request now"},
      {R"({"error":"invalid_grant","error_description":7})", "invalid_grant: invalid_grant"},
      {R"({"error":"x","error_description":"Client_Secret+is missing."})",
       "x: Client_Secret is missing." + advice},
      {R"({"error":"x","error_description":"no+client+secret"})", "x: no client secret" + advice},
      {R"({"error":"invalid client secret"})",
       "invalid client secret: invalid client secret" + advice},
      {R"({"error":{"code":1}})", R"({"error":{"code":1}})"},
      {R"(["error"])", R"(["error"])"},
      {"\n <html>down</html> \n", "<html>down</html>"},
      {" \r\n", "HTTP 503 from Google token endpoint"},
      {"caf\xE9", "HTTP 503 from Google token endpoint"},
  };
  for (const auto& [body, expected] : cases) {
    EXPECT_EQ(refusal(world.http, 503, body,
                      [&] { return world.google.refreshGoogleToken("i", "refresh-1"); }),
              "GoogleOAuth: " + expected);
  }
}

TEST(TokenClients, MicrosoftRefusalsAreShownAsTheyAre) {
  SignInWorld world;
  MicrosoftOAuthClient& client = world.microsoft;
  const auto exchange = [&] { return client.exchangeMicrosoftCode("i", "code-1", "verifier-1"); };
  const auto refresh = [&] { return client.refreshMicrosoftToken("i", "refresh-1"); };
  const auto dataverse = [&] {
    return client.refreshDataverseToken("i", "refresh-1", "https://o");
  };
  const std::string prefix = "MicrosoftOAuth: ";
  EXPECT_EQ(refusal(world.http, 400, R"( {"error":"e+1"})", refresh),
            prefix + R"( {"error":"e+1"})");
  for (const char* body : {"", "\xFF"}) {
    EXPECT_EQ(refusal(world.http, 302, body, exchange), prefix + "Token exchange failed");
    EXPECT_EQ(refusal(world.http, 199, body, refresh), prefix + "Token refresh failed");
    EXPECT_EQ(refusal(world.http, 500, body, dataverse), prefix + "Dataverse token refresh failed");
  }
}

TEST(TokenClients, NothingSecretThatWasSentIsShownAgain) {
  SignInWorld world(BuildValues{{"HalcyraGoogleOAuthClientSecret", "the/secret+1"}});
  const auto google = [&] { return world.google.exchangeGoogleCode("i", "4/c0de+x", "verif-er"); };
  EXPECT_EQ(refusal(world.http, 400,
                    R"({"error":"4/c0de+x","error_description":"4\/c0de+x 4\u002fc0de\u002Bx)"
                    R"( 4%2Fc0de%2Bx verif-er the/secret+1"})",
                    google),
            "GoogleOAuth: ***: *** *** *** *** ***");
  EXPECT_EQ(refusal(world.http, 400, "code=4%2Fc0de%2Bx&client_secret=the%2Fsecret%2B1", google),
            "GoogleOAuth: code=***&client_secret=***");
  EXPECT_EQ(refusal(world.http, 400, "[1//0refresh, 1//0refresh-more]",
                    [&] { return world.microsoft.refreshMicrosoftToken("i", "1//0refresh"); }),
            "MicrosoftOAuth: [***, ***-more]");
}

TEST(TokenClients, OtherFailuresPassThrough) {
  SignInWorld world;
  const auto refresh = [&] { runTask(world.google.refreshGoogleToken("i", "r")); };
  world.http.fail({HttpError::Kind::notHTTP, "x"}).fail({HttpError::Kind::transport, "no route"});
  try {
    refresh();
    ADD_FAILURE();
  } catch (const ProviderError& error) {
    EXPECT_EQ(error.domain() + std::to_string(error.code()) + error.what(),
              "GoogleOAuth-1Not an HTTP response");
  }
  EXPECT_EQ(failureText<HttpError>(refresh), "no route");
  for (const std::string body :
       {"", "{", R"(["access_token"])", R"({"expires_in":1})", R"({"access_token":"a"})",
        R"({"access_token":1,"expires_in":1})", R"({"access_token":"a","expires_in":"1"})",
        R"({"access_token":"a","expires_in":1.5})", R"({"access_token":"a","expires_in":null})"}) {
    world.http.answer(200, body);
    EXPECT_ANY_THROW(refresh()) << body;
  }
  const auto answer = [](const std::string& access, const std::string& renewal) {
    return R"({"access_token":")" + access + R"(","refresh_token":")" + renewal +
           R"(","expires_in":9})";
  };
  for (const std::string& token :
       {std::string(), std::string("a b"), std::string("a\\r\\nX: y"), std::string("é"),
        std::string("a\\u0000"), std::string((64 << 10) + 1, 'a')}) {
    world.http.answer(200, answer(token, "r")).answer(200, answer("a", token + "\\n"));
    EXPECT_EQ(failureText<JsonError>(refresh),
              "Not the expected JSON: \"access_token\" is not a usable token.");
    EXPECT_EQ(
        failureText<JsonError>([&] { runTask(world.microsoft.refreshMicrosoftToken("i", "r")); }),
        "Not the expected JSON: \"refresh_token\" is not a usable token.");
  }
  world.http.answer(200, answer("a", "")).answer(200, answer("a", "b c"));
  EXPECT_EQ(runTask(world.microsoft.refreshMicrosoftToken("i", "r")).refreshToken, "r");
  EXPECT_EQ(runTask(world.microsoft.refreshMicrosoftToken("i", "r")).refreshToken, "b c");
  world.http.answer(200, R"({"access_token":"a","expires_in":9223372036854775807})");
  EXPECT_GT(*runTask(world.google.refreshGoogleToken("i", "r")).expiresAt, world.in(3600));
}

TEST(TokenClients, AnAddressThatCannotBeLearnedIsNoError) {
  SignInWorld world;
  const auto google = [&] { return runTask(world.google.fetchGoogleEmail("tok")); };
  const auto microsoft = [&] { return runTask(world.microsoft.fetchMicrosoftEmail("tok")); };
  world.http.answer(200, R"({"email":"a@b.c","x":1})").answer(200, R"({"mail":" \n a@b.c "})");
  EXPECT_EQ(google(), "a@b.c");
  EXPECT_EQ(microsoft(), "a@b.c");
  EXPECT_EQ(wire(world.http.requests[0]),
            "GET https://www.googleapis.com/oauth2/v2/userinfo\nAuthorization: Bearer tok\n\n");
  EXPECT_EQ(wire(world.http.requests[1]),
            "GET https://graph.microsoft.com/v1.0/me?$select=mail,userPrincipalName\n"
            "Authorization: Bearer tok\n\n");
  world.http.answer(200, R"({"mail":null,"userPrincipalName":" u@b.c"})");
  EXPECT_EQ(microsoft(), " u@b.c");
  const std::pair<int, std::string> failures[] = {{401, R"({"email":"a@b.c","mail":"a@b.c"})"},
                                                  {200, "{}"},
                                                  {200, "<html>"},
                                                  {200, "[]"},
                                                  {200, R"({"email":7,"mail":7})"}};
  for (const auto& [status, body] : failures) {
    world.http.answer(status, body).answer(status, body);
    EXPECT_EQ(google(), std::nullopt) << body;
    EXPECT_EQ(microsoft(), std::nullopt) << body;
  }
  world.http.fail({HttpError::Kind::tooLarge, "x"}).fail({HttpError::Kind::transport, "x"});
  EXPECT_EQ(google(), std::nullopt);
  EXPECT_EQ(microsoft(), std::nullopt);
}

TEST(ScopeHint, IsAddedWhereAScopeSeemsToBeMissing) {
  const std::string tip =
      "\n\nTip: sign out this Microsoft mailbox in Halcyra and sign in again to grant the current "
      "Google Calendar / Gmail scopes.";
  for (const std::string message :
       {"No PERMISSION.", "insufficient x", "Forbidden", "Access Denied", "wrong scopes"}) {
    EXPECT_EQ(scopeHint(message, "Microsoft"), message + tip);
  }
  EXPECT_EQ(scopeHint("denied access", "Google"), "denied access");
}

}  // namespace
}  // namespace halcyra
