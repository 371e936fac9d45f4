#pragma once

#include <string>

#include "config/KeychainHelper.h"
#include "crm/SalesforceCredentialStore.h"
#include "crm/SalesforceOAuthClient.h"
#include "platform/Clock.h"
#include "platform/Task.h"

namespace halcyra {

/// A token that is good for more than two minutes, and where it is good.
struct SalesforceSession {
  std::string accessToken;
  std::string instanceURL;
};

/// Hands out sessions of CRM connections from what is stored, refreshed where it must be. As with
/// mailboxes, two refreshes of one token may run at once, and the later result wins.
class SalesforceSessions {
 public:
  /// Everything must outlive the object, and the object its operations. `blocking`, where there is
  /// one, runs the writing of a refreshed credential, which may wait for the keychain.
  SalesforceSessions(KeychainHelper& secrets, SalesforceCredentialStore& credentials,
                     SalesforceOAuthClient& client, const Clock& clock, Executor blocking = {});

  /// A blank id means the older single sign-in. Throws ProviderError of the domain
  /// "SalesforceAccess" when the build has no consumer key (code 1), nobody is signed in (2) or the
  /// session cannot be refreshed (3), and what client and store throw.
  Task<SalesforceSession> validSalesforceSession(std::string connectionId);

 private:
  Task<void> save(SalesforceStoredCredential credential, std::string connectionId);

  KeychainHelper& secrets_;
  SalesforceCredentialStore& credentials_;
  SalesforceOAuthClient& client_;
  const Clock& clock_;
  Executor blocking_;
};

}  // namespace halcyra
