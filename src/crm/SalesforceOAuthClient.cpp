#include "crm/SalesforceOAuthClient.h"

#include <array>
#include <utility>

#include "config/RecordTable.h"
#include "crm/LeadCreation.h"
#include "crm/SalesforceInstance.h"
#include "platform/ProviderError.h"
#include "signin/AuthorizationURL.h"
#include "signin/DataverseEnvironment.h"
#include "signin/OAuthRedirect.h"
#include "signin/ProviderCalls.h"
#include "signin/TokenResponses.h"
#include "text/Json.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr const char* oauthDomain = "SalesforceOAuth";
constexpr int missingInstance = 1;

struct SFTokenResponse {
  std::string access_token;
  std::optional<std::string> refresh_token;
  std::optional<std::string> instance_url;
  std::optional<std::int64_t> expires_in;
};

struct SFRefreshResponse {
  std::string access_token;
  std::optional<std::int64_t> expires_in;
};

}  // namespace

template <>
std::span<const Field<SFTokenResponse>> fieldsOf() {
  using R = SFTokenResponse;
  static constexpr std::array fields = {
      field<&R::access_token>("access_token", Absent::fails),
      field<&R::refresh_token>("refresh_token", Absent::isDefault),
      field<&R::instance_url>("instance_url", Absent::isDefault),
      field<&R::expires_in>("expires_in", Absent::isDefault),
  };
  return fields;
}

template <>
std::span<const Field<SFRefreshResponse>> fieldsOf() {
  using R = SFRefreshResponse;
  static constexpr std::array fields = {
      field<&R::access_token>("access_token", Absent::fails),
      field<&R::expires_in>("expires_in", Absent::isDefault),
  };
  return fields;
}

namespace {

template <class Response>
Response decoded(const std::string& body) {
  Response response;
  decodeValue(parseJson(body), response, Place());
  requireAccessToken(response.access_token);
  if constexpr (requires { response.refresh_token; }) requireRefreshToken(response.refresh_token);
  return response;
}

std::optional<TimePoint> expiryOf(const std::optional<std::int64_t>& expiresIn,
                                  const Clock& clock) {
  if (!expiresIn) return std::nullopt;
  return expiryAfter(clock, *expiresIn);
}

void requireInstance(std::string_view instanceURL, const char* failure) {
  if (trimmed(instanceURL).empty()) throw ProviderError(oauthDomain, missingInstance, failure);
}

}  // namespace

std::string salesforceClientId(const KeychainHelper& secrets) {
  std::string id(trimmed(secrets.buildSetting("HalcyraSalesforceOAuthClientId")));
  // "$(" is a variable that the build left unexpanded.
  return id.find("$(") == std::string::npos ? id : "";
}

std::string normalizedSalesforceLoginHost(std::string_view text) {
  return normalizedDataverseEnvironment(text).value_or(std::string(defaultSalesforceLoginHost));
}

SalesforceOAuthClient::SalesforceOAuthClient(HttpClient& http, const Clock& clock,
                                             const Endpoints& endpoints, std::string clientSecret)
    : http_(http),
      clock_(clock),
      standIn_(endpoints.salesforceLogin),
      clientSecret_(std::move(clientSecret)) {}

std::optional<std::string> SalesforceOAuthClient::buildSalesforceAuthorizationURL(
    const std::string& clientId, const std::string& challenge, std::string_view loginHost) const {
  return authorizationURL(baseOf(normalizedSalesforceLoginHost(loginHost)),
                          "/services/oauth2/authorize",
                          {{"response_type", "code"},
                           {"client_id", clientId},
                           {"redirect_uri", redirectURI},
                           {"scope", "api refresh_token"},
                           {"code_challenge", challenge},
                           {"code_challenge_method", "S256"}});
}

Task<SalesforceStoredCredential> SalesforceOAuthClient::exchangeSalesforceCode(
    std::string clientId, std::string code, std::string verifier, std::string loginHost) {
  loginHost = normalizedSalesforceLoginHost(loginHost);
  Task<std::string> call = callTokenEndpoint(loginHost, {{"grant_type", "authorization_code"},
                                                         {"client_id", clientId},
                                                         {"redirect_uri", redirectURI},
                                                         {"code", code},
                                                         {"code_verifier", verifier}});
  const std::string body = co_await std::move(call);
  const auto response = decoded<SFTokenResponse>(body);
  const std::string instance = response.instance_url.value_or("");
  requireInstance(instance, "Token response missing instance_url");
  co_return SalesforceStoredCredential{response.access_token, response.refresh_token,
                                       expiryOf(response.expires_in, clock_), loginHost,
                                       usableSalesforceInstance(instance, oauthDomain)};
}

Task<SalesforceStoredCredential> SalesforceOAuthClient::refreshSalesforceToken(
    std::string clientId, SalesforceStoredCredential credential) {
  requireInstance(credential.instanceURL, "Missing instance URL; sign in to Salesforce again.");
  credential.loginHost = normalizedSalesforceLoginHost(credential.loginHost);
  credential.instanceURL = usableSalesforceInstance(credential.instanceURL, oauthDomain);
  Task<std::string> call = callTokenEndpoint(
      credential.loginHost, {{"grant_type", "refresh_token"},
                             {"client_id", clientId},
                             {"refresh_token", credential.refreshToken.value_or("")}});
  const std::string body = co_await std::move(call);
  const auto response = decoded<SFRefreshResponse>(body);
  credential.accessToken = response.access_token;
  credential.expiresAt = expiryOf(response.expires_in, clock_);
  co_return credential;
}

Task<std::string> SalesforceOAuthClient::callTokenEndpoint(const std::string& loginHost,
                                                           Form form) {
  if (!clientSecret_.empty()) form.emplace_back("client_secret", clientSecret_);
  auto refusal = [](int status, const std::string& body) { return refusalOr(body, status); };
  return postTokenCall(http_, {oauthDomain, baseOf(loginHost) + "/services/oauth2/token",
                               std::move(form), std::move(refusal)});
}

std::string SalesforceOAuthClient::baseOf(const std::string& loginHost) const {
  return standIn_.empty() ? loginHost : standIn_;
}

}  // namespace halcyra
