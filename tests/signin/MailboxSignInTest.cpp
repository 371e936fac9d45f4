#include <gtest/gtest.h>

#include "SignInWorld.h"
#include "signin/MailboxSignIn.h"
#include "signin/OAuthFlowError.h"
#include "signin/PKCE.h"
#include "support/Dialogue.h"
#include "support/FailureText.h"
#include "support/RunTask.h"
#include "text/PercentEncoding.h"

namespace halcyra {
namespace {

std::string itemOf(const std::string& query, const std::string& name) {
  for (const QueryItem& item : queryItems(query)) {
    if (item.name == name) return item.value.value_or("");
  }
  return "missing";
}

/// A browser whose user agrees, or not, at once.
class AgreeingUser : public LoopbackListener, public Browser {
 public:
  AgreeingUser(boost::asio::io_context& context, std::string requestLine)
      : context_(context), requestLine_(std::move(requestLine)) {}

  std::unique_ptr<Listening> listen(std::uint16_t port, Accepted accepted) override {
    EXPECT_EQ(port, 18876);
    accepted_ = std::move(accepted);
    return std::make_unique<Listening>();
  }

  bool open(const std::string& address) override {
    opened = address;
    dialogue_.server(requestLine_).breaks("gone before the answer");
    boost::asio::co_spawn(context_, comeBack(*this), [](std::exception_ptr) {});
    return true;
  }

  /// The value of an item in the query of the address that was opened.
  std::string asked(const std::string& name) const {
    return itemOf(opened.substr(opened.find('?') + 1), name);
  }

  std::string opened;

 private:
  static Task<void> comeBack(AgreeingUser& user) {
    Task<std::unique_ptr<ByteStream>> connecting = user.dialogue_.connect({});
    user.accepted_(co_await std::move(connecting));
  }

  boost::asio::io_context& context_;
  std::string requestLine_;
  Dialogue dialogue_;
  Accepted accepted_;
};

struct SignIn {
  explicit SignIn(std::string requestLine, BuildValues values)
      : world(std::move(values)), user(context, std::move(requestLine)) {}

  std::optional<std::string> google() {
    return runTask(context, flow.signInGoogle("m", {}, stop.get_token()));
  }
  std::optional<std::string> microsoft(const AppConfig& config) {
    return runTask(context, flow.signInMicrosoft(config, "m", {}, stop.get_token()));
  }
  /// The verifier that a token call carried.
  std::string verifier() const { return itemOf(world.http.requests.at(0).body, "code_verifier"); }

  std::stop_source stop;
  boost::asio::io_context context;
  SignInWorld world;
  AgreeingUser user;
  OAuthWebSession session{user, user};
  MailboxSignIn flow{{session, world.store, world.secrets, world.google, world.microsoft}};
};

const std::string agreed = "GET /oauth?code=4%2F0 HTTP/1.1";
const std::string tokens = R"({"access_token":"a","refresh_token":"r","expires_in":1})";

TEST(MailboxSignIn, RunsFromTheBrowserToTheStore) {
  SignIn google(agreed, {{"HalcyraGoogleOAuthClientId", "g-id"}});
  google.world.http.answer(200, tokens).answer(200, R"({"email":"me@example.com"})");
  EXPECT_EQ(google.google(), "me@example.com");
  EXPECT_TRUE(google.user.opened.starts_with("https://accounts.google.com/o/oauth2/v2/auth?"));
  EXPECT_EQ(google.user.asked("client_id"), "g-id");
  EXPECT_EQ(google.user.asked("code_challenge"), codeChallenge(google.verifier()));
  EXPECT_EQ(wire(google.world.http.requests[0]),
            googlePost("client_id=g-id&code=4%2F0&code_verifier=" + google.verifier() +
                       "&grant_type=authorization_code&redirect_uri="
                       "http%3A%2F%2Flocalhost%3A18876%2Foauth"));
  EXPECT_EQ(*google.world.store.loadCredential("m"),
            (OAuthStoredCredential{"a", "r", google.world.in(1), {}, {}, {}}));

  AppConfig config;
  config.microsoftOAuthClientId = " m-id ";
  SignIn microsoft(agreed, {});
  microsoft.world.http.answer(200, tokens).answer(500, "");
  EXPECT_EQ(microsoft.microsoft(config), std::nullopt);  // signed in all the same
  EXPECT_EQ(microsoft.user.asked("client_id"), "m-id");
  EXPECT_EQ(microsoft.user.asked("code_challenge"), codeChallenge(microsoft.verifier()));
  EXPECT_EQ(microsoft.world.store.loadCredential("m")->accessToken, "a");
}

TEST(MailboxSignIn, EveryFailureLeavesTheStoreAlone) {
  const BuildValues values = {{"HalcyraGoogleOAuthClientId", "g-id"}};
  const AppConfig config;
  SignIn bare(agreed, {});
  EXPECT_EQ(failureText<SignInError>([&] { bare.google(); }),
            "Google OAuth client ID is not set in this build. Add HALCYRA_GOOGLE_OAUTH_CLIENT_ID "
            "to Secrets.xcconfig and rebuild.");
  EXPECT_EQ(failureText<SignInError>([&] { bare.microsoft(config); }),
            "Microsoft Entra client ID is not set in this build. Add "
            "HALCYRA_MICROSOFT_OAUTH_CLIENT_ID to Secrets.xcconfig and rebuild.");
  EXPECT_EQ(bare.user.opened, "");

  SignIn refused("GET /oauth?error=access_denied HTTP/1.1", values);
  EXPECT_EQ(failureText<OAuthFlowError>([&] { refused.google(); }), "access_denied");
  SignIn icon("GET /favicon.ico HTTP/1.1", values);
  EXPECT_EQ(failureText<OAuthFlowError>([&] { icon.google(); }),
            "No authorization code in callback.");
  SignIn rejected(agreed, values);
  rejected.world.http.answer(400, "code 4/0 is spent");
  EXPECT_EQ(failureText<std::runtime_error>([&] { rejected.google(); }), "code *** is spent");
  SignIn googleGivenUp(agreed, values);
  SignIn microsoftGivenUp(agreed, {{"HalcyraMicrosoftOAuthClientId", "m-id"}});
  for (SignIn* each : {&googleGivenUp, &microsoftGivenUp}) {
    each->world.http.answer(200, tokens).onRequest = [each] { each->stop.request_stop(); };
    EXPECT_EQ(failureText<OAuthFlowError>(
                  [&] { each == &googleGivenUp ? each->google() : each->microsoft(config); }),
              "Sign-in was cancelled or returned no callback.");
  }
  for (SignIn* each : {&bare, &refused, &icon, &rejected, &googleGivenUp, &microsoftGivenUp})
    EXPECT_EQ(each->world.stored("m"), "none");
}

}  // namespace
}  // namespace halcyra
