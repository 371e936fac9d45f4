#include "signin/AccessTokens.h"

#include <utility>

#include "platform/ProviderError.h"
#include "signin/DataverseEnvironment.h"

namespace halcyra {
namespace {

constexpr std::chrono::seconds margin(120);

enum Code { notSignedIn = 1, sessionExpired = 2, noClientId = 3, noEnvironment = 4 };

ProviderError oauthError(Code code, const std::string& description) {
  return {"OAuth", code, description};
}

const std::string& requireRefreshToken(const OAuthStoredCredential& credential,
                                       const std::string& provider) {
  if (credential.refreshToken) return *credential.refreshToken;
  throw oauthError(sessionExpired, provider + " session expired; sign in again.");
}

void requireMicrosoftClientId(const std::string& clientId) {
  if (!clientId.empty()) return;
  throw oauthError(noClientId, "Microsoft OAuth client ID is not configured.");
}

using DataverseTokens = std::map<std::string, DataverseEnvironmentToken>;

// The single token of older versions belongs to the environment of the configuration.
void adoptOlderToken(DataverseTokens& tokens, const OAuthStoredCredential& credential,
                     const std::string& configuredEnvironment) {
  if (credential.dataverseAccessToken && credential.dataverseExpiresAt) {
    tokens.try_emplace(
        configuredEnvironment,
        DataverseEnvironmentToken{*credential.dataverseAccessToken, credential.dataverseExpiresAt});
  }
}

Task<void> writeTo(OAuthCredentialStore* store, OAuthStoredCredential credential,
                   std::string accountId) {
  store->saveCredential(credential, accountId);
  co_return;
}

}  // namespace

struct AccessTokens::DataverseOrder {
  std::string clientId;
  std::string accountId;
  std::optional<std::string> environment;
  /// Is it the environment of the configuration?
  bool isConfigured = false;
};

AccessTokens::AccessTokens(KeychainHelper& secrets, OAuthCredentialStore& credentials,
                           GoogleOAuthClient& google, MicrosoftOAuthClient& microsoft,
                           const Clock& clock, Executor blocking)
    : secrets_(secrets),
      credentials_(credentials),
      google_(google),
      microsoft_(microsoft),
      clock_(clock),
      blocking_(std::move(blocking)) {}

Task<std::string> AccessTokens::validGoogleAccessToken(std::string accountId) {
  const std::string clientId = secrets_.buildSetting("HalcyraGoogleOAuthClientId");
  const OAuthStoredCredential credential = requireCredential(accountId, "Google");
  if (isFresh(credential.expiresAt)) co_return credential.accessToken;
  Task<OAuthStoredCredential> refresh =
      google_.refreshGoogleToken(clientId, requireRefreshToken(credential, "Google"));
  const OAuthStoredCredential fresh = co_await std::move(refresh);
  Task<void> saving = save(fresh, accountId);
  co_await std::move(saving);
  co_return fresh.accessToken;
}

Task<std::string> AccessTokens::validMicrosoftAccessToken(const AppConfig& config,
                                                          std::string accountId) {
  return microsoftToken(secrets_.resolvedMicrosoftClientId(config), std::move(accountId));
}

Task<std::string> AccessTokens::microsoftToken(std::string clientId, std::string accountId) {
  requireMicrosoftClientId(clientId);
  const OAuthStoredCredential credential = requireCredential(accountId, "Microsoft");
  if (isFresh(credential.expiresAt)) co_return credential.accessToken;
  Task<OAuthStoredCredential> refresh =
      microsoft_.refreshMicrosoftToken(clientId, requireRefreshToken(credential, "Microsoft"));
  OAuthStoredCredential fresh = co_await std::move(refresh);
  fresh.dataverseAccessToken = credential.dataverseAccessToken;
  fresh.dataverseExpiresAt = credential.dataverseExpiresAt;
  fresh.dataverseByEnvironment = credential.dataverseByEnvironment;
  Task<void> saving = save(fresh, accountId);
  co_await std::move(saving);
  co_return fresh.accessToken;
}

Task<std::string> AccessTokens::validDataverseAccessToken(const AppConfig& config,
                                                          std::string accountId,
                                                          const std::string& environmentURL) {
  DataverseOrder order;
  order.clientId = secrets_.resolvedMicrosoftClientId(config);
  order.accountId = std::move(accountId);
  order.environment = normalizedDataverseEnvironment(environmentURL);
  order.isConfigured =
      order.environment == normalizedDataverseEnvironment(config.dataverseEnvironmentURL);
  return dataverseToken(std::move(order));
}

Task<std::string> AccessTokens::dataverseToken(DataverseOrder order) {
  requireMicrosoftClientId(order.clientId);
  if (!order.environment) {
    throw oauthError(noEnvironment,
                     "Set a valid Dataverse environment URL (e.g. "
                     "https://yourorg.crm.dynamics.com).");
  }
  OAuthStoredCredential credential = requireCredential(order.accountId, "Microsoft");
  DataverseTokens tokens = credential.dataverseByEnvironment.value_or(DataverseTokens());
  if (order.isConfigured) adoptOlderToken(tokens, credential, *order.environment);
  const auto known = tokens.find(*order.environment);
  if (known != tokens.end() && isFresh(known->second.expiresAt))
    co_return known->second.accessToken;

  Task<MicrosoftOAuthClient::DataverseToken> refresh = microsoft_.refreshDataverseToken(
      order.clientId, requireRefreshToken(credential, "Microsoft"), *order.environment);
  const MicrosoftOAuthClient::DataverseToken fresh = co_await std::move(refresh);
  tokens[*order.environment] = {fresh.accessToken, fresh.expiresAt};
  credential.dataverseByEnvironment = std::move(tokens);
  if (order.isConfigured) {
    credential.dataverseAccessToken = fresh.accessToken;
    credential.dataverseExpiresAt = fresh.expiresAt;
  }
  if (fresh.refreshToken) credential.refreshToken = fresh.refreshToken;
  Task<void> saving = save(credential, order.accountId);
  co_await std::move(saving);
  co_return fresh.accessToken;
}

Task<void> AccessTokens::save(OAuthStoredCredential credential, std::string accountId) {
  Task<void> writing = writeTo(&credentials_, std::move(credential), std::move(accountId));
  if (blocking_) writing = runOn(blocking_, std::move(writing));
  co_await std::move(writing);
}

OAuthStoredCredential AccessTokens::requireCredential(const std::string& accountId,
                                                      const std::string& provider) {
  if (auto credential = credentials_.loadCredential(accountId)) return std::move(*credential);
  throw oauthError(notSignedIn, "Not signed in to " + provider + " for this account.");
}

bool AccessTokens::isFresh(const std::optional<TimePoint>& expiresAt) const {
  return expiresAt && *expiresAt > clock_.now() + margin;
}

}  // namespace halcyra
