#include "crm/SalesforceSessions.h"

#include <utility>

#include "platform/ProviderError.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr std::chrono::seconds margin(120);

enum Code { noClientId = 1, notSignedIn = 2, sessionExpired = 3 };

ProviderError accessError(Code code, const char* description) {
  return {"SalesforceAccess", code, description};
}

Task<void> writeTo(SalesforceCredentialStore* store, SalesforceStoredCredential credential,
                   std::string connectionId) {
  store->saveSalesforceCredential(credential, connectionId);
  co_return;
}

}  // namespace

SalesforceSessions::SalesforceSessions(KeychainHelper& secrets,
                                       SalesforceCredentialStore& credentials,
                                       SalesforceOAuthClient& client, const Clock& clock,
                                       Executor blocking)
    : secrets_(secrets),
      credentials_(credentials),
      client_(client),
      clock_(clock),
      blocking_(std::move(blocking)) {}

Task<SalesforceSession> SalesforceSessions::validSalesforceSession(std::string connectionId) {
  const std::string clientId = salesforceClientId(secrets_);
  if (clientId.empty()) {
    throw accessError(noClientId, "Salesforce Consumer Key is not configured in this build.");
  }
  const auto credential = credentials_.loadSalesforceCredential(connectionId);
  if (!credential) {
    throw accessError(notSignedIn,
                      "Sign in to Salesforce for this connection (Settings → Custom actions).");
  }
  if (credential->expiresAt && *credential->expiresAt > clock_.now() + margin) {
    co_return SalesforceSession{credential->accessToken, credential->instanceURL};
  }
  if (trimmed(credential->refreshToken.value_or("")).empty()) {
    throw accessError(sessionExpired, "Salesforce session expired; sign in again.");
  }
  Task<SalesforceStoredCredential> refresh = client_.refreshSalesforceToken(clientId, *credential);
  const SalesforceStoredCredential fresh = co_await std::move(refresh);
  Task<void> saving = save(fresh, connectionId);
  co_await std::move(saving);
  co_return SalesforceSession{fresh.accessToken, fresh.instanceURL};
}

Task<void> SalesforceSessions::save(SalesforceStoredCredential credential,
                                    std::string connectionId) {
  Task<void> writing = writeTo(&credentials_, std::move(credential), std::move(connectionId));
  if (blocking_) writing = runOn(blocking_, std::move(writing));
  co_await std::move(writing);
}

}  // namespace halcyra
