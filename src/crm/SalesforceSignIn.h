#pragma once

#include <stop_token>
#include <string>

#include "config/KeychainHelper.h"
#include "crm/SalesforceCredentialStore.h"
#include "crm/SalesforceOAuthClient.h"
#include "signin/OAuthWebSession.h"

namespace halcyra {

/// What a sign-in works with. All of it must outlive the sign-ins.
struct SalesforceSignInServices {
  OAuthWebSession& browser;
  SalesforceCredentialStore& credentials;
  KeychainHelper& secrets;
  SalesforceOAuthClient& client;
};

/// Signs a CRM connection in from beginning to end: browser, code, tokens, store. A failure leaves
/// what was stored before.
class SalesforceSignIn {
 public:
  explicit SalesforceSignIn(SalesforceSignInServices services) : services_(services) {}

  /// Throws SignInError when the sign-in cannot begin with this build, OAuthFlowError,
  /// ProviderError, HttpError, KeychainError and what the decoder of a response throws. To be
  /// awaited on the browser session's executor.
  Task<void> signInSalesforce(std::string connectionId, std::string loginHost,
                              AnnounceAddress announce, std::stop_token stop);

 private:
  SalesforceSignInServices services_;
};

}  // namespace halcyra
