#include "signin/MicrosoftOAuthClient.h"

#include <array>
#include <utility>

#include "config/RecordTable.h"
#include "signin/AuthorizationURL.h"
#include "signin/OAuthRedirect.h"
#include "signin/ProviderCalls.h"
#include "signin/TokenResponses.h"
#include "text/Json.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr const char* microsoftDomain = "MicrosoftOAuth";

constexpr const char* microsoftScopes =
    "offline_access openid profile User.Read Mail.ReadWrite Mail.Send Calendars.Read";

struct Me {
  std::optional<std::string> mail;
  std::optional<std::string> userPrincipalName;
};

}  // namespace

template <>
std::span<const Field<Me>> fieldsOf() {
  static constexpr std::array fields = {
      field<&Me::mail>("mail", Absent::isDefault),
      field<&Me::userPrincipalName>("userPrincipalName", Absent::isDefault),
  };
  return fields;
}

MicrosoftOAuthClient::MicrosoftOAuthClient(HttpClient& http, const Clock& clock,
                                           Endpoints endpoints)
    : http_(http), clock_(clock), endpoints_(std::move(endpoints)) {}

std::optional<std::string> MicrosoftOAuthClient::buildMicrosoftAuthorizationURL(
    const std::string& clientId, const std::string& challenge) const {
  return authorizationURL(endpoints_.microsoftLogin, "/common/oauth2/v2.0/authorize",
                          {{"client_id", clientId},
                           {"redirect_uri", redirectURI},
                           {"response_type", "code"},
                           {"scope", microsoftScopes},
                           {"code_challenge", challenge},
                           {"code_challenge_method", "S256"},
                           {"response_mode", "query"}});
}

Task<OAuthStoredCredential> MicrosoftOAuthClient::exchangeMicrosoftCode(std::string clientId,
                                                                        std::string code,
                                                                        std::string verifier) {
  Task<std::string> call = callTokenEndpoint({{"client_id", clientId},
                                              {"code", code},
                                              {"code_verifier", verifier},
                                              {"grant_type", "authorization_code"},
                                              {"redirect_uri", redirectURI},
                                              {"scope", microsoftScopes}},
                                             "Token exchange failed");
  const std::string body = co_await std::move(call);
  co_return credentialOf(decodeTokenResponse<TokenResponse>(body), clock_);
}

Task<OAuthStoredCredential> MicrosoftOAuthClient::refreshMicrosoftToken(std::string clientId,
                                                                        std::string refreshToken) {
  Task<std::string> call = callTokenEndpoint({{"client_id", clientId},
                                              {"refresh_token", refreshToken},
                                              {"grant_type", "refresh_token"},
                                              {"scope", microsoftScopes}},
                                             "Token refresh failed");
  const std::string body = co_await std::move(call);
  const auto response = decodeTokenResponse<RefreshResponse>(body);
  OAuthStoredCredential credential;
  credential.accessToken = response.access_token;
  credential.refreshToken = response.refresh_token.value_or(refreshToken);
  credential.expiresAt = expiryAfter(clock_, response.expires_in);
  co_return credential;
}

Task<MicrosoftOAuthClient::DataverseToken> MicrosoftOAuthClient::refreshDataverseToken(
    std::string clientId, std::string refreshToken, std::string environment) {
  Task<std::string> call = callTokenEndpoint({{"client_id", clientId},
                                              {"refresh_token", refreshToken},
                                              {"grant_type", "refresh_token"},
                                              {"scope", environment + "/.default"}},
                                             "Dataverse token refresh failed");
  const std::string body = co_await std::move(call);
  const auto response = decodeTokenResponse<RefreshResponse>(body);
  co_return DataverseToken{response.access_token, expiryAfter(clock_, response.expires_in),
                           response.refresh_token};
}

Task<std::optional<std::string>> MicrosoftOAuthClient::fetchMicrosoftEmail(
    std::string accessToken) {
  Task<std::optional<std::string>> asking = tryGetWithBearer(
      http_, endpoints_.graph + "/v1.0/me?$select=mail,userPrincipalName", std::move(accessToken));
  const std::optional<std::string> body = co_await std::move(asking);
  if (!body) co_return std::nullopt;
  try {
    Me me;
    decodeValue(parseJson(*body), me, Place());
    const std::string mail(trimmed(me.mail.value_or("")));
    co_return mail.empty() ? me.userPrincipalName : mail;
  } catch (const std::runtime_error&) {
    co_return std::nullopt;
  }
}

Task<std::string> MicrosoftOAuthClient::callTokenEndpoint(Form form, std::string failureText) {
  auto refusal = [failureText = std::move(failureText)](int, const std::string& body) {
    return body.empty() ? failureText : body;
  };
  return postTokenCall(http_,
                       {microsoftDomain, endpoints_.microsoftLogin + "/common/oauth2/v2.0/token",
                        std::move(form), std::move(refusal)});
}

}  // namespace halcyra
