#include "signin/GoogleOAuthClient.h"

#include <algorithm>
#include <array>
#include <utility>

#include "config/RecordTable.h"
#include "signin/AuthorizationURL.h"
#include "signin/OAuthRedirect.h"
#include "signin/ProviderCalls.h"
#include "signin/TokenResponses.h"
#include "text/Case.h"
#include "text/Json.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr const char* googleDomain = "GoogleOAuth";

constexpr const char* googleScopes =
    "https://www.googleapis.com/auth/gmail.modify "
    "https://www.googleapis.com/auth/calendar.readonly "
    "https://www.googleapis.com/auth/userinfo.email";

constexpr const char* clientSecretAdvice =
    " — Google still treats this client ID as a “Web application” (confidential): the token "
    "endpoint requires a client secret. Fix: Google Cloud Console → APIs & Services → Credentials "
    "→ use type **Desktop app**, or set `HALCYRA_GOOGLE_OAUTH_CLIENT_SECRET` in local "
    "`Config/Secrets.xcconfig` (see `Secrets.xcconfig.example`).";

struct UserInfo {
  std::optional<std::string> email;
};

// A text member of the object that a body holds, or nothing.
std::optional<std::string> textMember(const nlohmann::json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end() || !found->is_string()) return std::nullopt;
  return found->get<std::string>();
}

nlohmann::json jsonOrNull(const std::string& body) {
  try {
    return parseJson(body);
  } catch (const JsonError&) {
    return nullptr;
  }
}

std::string refusal(int status, const std::string& body) {
  const nlohmann::json answer = jsonOrNull(body);
  const auto error = answer.is_object() ? textMember(answer, "error") : std::nullopt;
  if (error) {
    auto description = textMember(answer, "error_description");
    if (description) std::replace(description->begin(), description->end(), '+', ' ');
    std::string detail = description.value_or(*error);
    const std::string lower = lowercased(detail);
    if (lower.find("client_secret") != lower.npos || lower.find("client secret") != lower.npos) {
      detail += clientSecretAdvice;
    }
    return *error + ": " + detail;
  }
  if (const std::string_view text = trimmed(body); !text.empty()) return std::string(text);
  return "HTTP " + std::to_string(status) + " from Google token endpoint";
}

}  // namespace

template <>
std::span<const Field<UserInfo>> fieldsOf() {
  static constexpr std::array fields = {field<&UserInfo::email>("email", Absent::isDefault)};
  return fields;
}

GoogleOAuthClient::GoogleOAuthClient(HttpClient& http, const Clock& clock, Endpoints endpoints,
                                     std::string clientSecret)
    : http_(http),
      clock_(clock),
      endpoints_(std::move(endpoints)),
      clientSecret_(std::move(clientSecret)) {}

std::optional<std::string> GoogleOAuthClient::buildGoogleAuthorizationURL(
    const std::string& clientId, const std::string& challenge) const {
  return authorizationURL(endpoints_.googleAccounts, "/o/oauth2/v2/auth",
                          {{"client_id", clientId},
                           {"redirect_uri", redirectURI},
                           {"response_type", "code"},
                           {"scope", googleScopes},
                           {"code_challenge", challenge},
                           {"code_challenge_method", "S256"},
                           {"access_type", "offline"},
                           {"prompt", "consent"}});
}

Task<OAuthStoredCredential> GoogleOAuthClient::exchangeGoogleCode(std::string clientId,
                                                                  std::string code,
                                                                  std::string verifier) {
  Task<std::string> call = callTokenEndpoint({{"client_id", clientId},
                                              {"code", code},
                                              {"code_verifier", verifier},
                                              {"grant_type", "authorization_code"},
                                              {"redirect_uri", redirectURI}});
  const std::string body = co_await std::move(call);
  co_return credentialOf(decodeTokenResponse<TokenResponse>(body), clock_);
}

Task<OAuthStoredCredential> GoogleOAuthClient::refreshGoogleToken(std::string clientId,
                                                                  std::string refreshToken) {
  Task<std::string> call = callTokenEndpoint(
      {{"client_id", clientId}, {"refresh_token", refreshToken}, {"grant_type", "refresh_token"}});
  const std::string body = co_await std::move(call);
  const auto response = decodeTokenResponse<RefreshTokenResponse>(body);
  OAuthStoredCredential credential;
  credential.accessToken = response.access_token;
  credential.refreshToken = refreshToken;
  credential.expiresAt = expiryAfter(clock_, response.expires_in);
  co_return credential;
}

Task<std::optional<std::string>> GoogleOAuthClient::fetchGoogleEmail(std::string accessToken) {
  Task<std::optional<std::string>> asking =
      tryGetWithBearer(http_, endpoints_.google + "/oauth2/v2/userinfo", std::move(accessToken));
  const std::optional<std::string> body = co_await std::move(asking);
  if (!body) co_return std::nullopt;
  try {
    UserInfo info;
    decodeValue(parseJson(*body), info, Place());
    co_return info.email;
  } catch (const std::runtime_error&) {
    co_return std::nullopt;
  }
}

Task<std::string> GoogleOAuthClient::callTokenEndpoint(Form form) {
  if (!clientSecret_.empty()) form.emplace_back("client_secret", clientSecret_);
  return postTokenCall(http_,
                       {googleDomain, endpoints_.googleToken + "/token", std::move(form), refusal});
}

}  // namespace halcyra
