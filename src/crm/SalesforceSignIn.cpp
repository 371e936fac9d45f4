#include "crm/SalesforceSignIn.h"

#include <utility>

#include "signin/MailboxSignIn.h"
#include "signin/OAuthRedirect.h"
#include "signin/PKCE.h"

namespace halcyra {

Task<void> SalesforceSignIn::signInSalesforce(std::string connectionId, std::string loginHost,
                                              AnnounceAddress announce, std::stop_token stop) {
  const std::string clientId = salesforceClientId(services_.secrets);
  if (clientId.empty()) {
    throw SignInError(
        "Salesforce Consumer Key is not set. Add HALCYRA_SALESFORCE_OAUTH_CLIENT_ID to "
        "Config/Secrets.xcconfig and rebuild.");
  }
  const std::string verifier = makeCodeVerifier();
  const auto url = services_.client.buildSalesforceAuthorizationURL(
      clientId, codeChallenge(verifier), loginHost);
  if (!url) throw SignInError("Could not build Salesforce authorization URL.");
  Task<std::string> asking = services_.browser.runBrowserSignIn(*url, std::move(announce), stop);
  const std::string redirectURL = co_await std::move(asking);
  Task<SalesforceStoredCredential> exchange = services_.client.exchangeSalesforceCode(
      clientId, authorizationCode(redirectURL), verifier, loginHost);
  const SalesforceStoredCredential credential = co_await std::move(exchange);
  requireNotStopped(stop);
  services_.credentials.saveSalesforceCredential(credential, connectionId);
}

}  // namespace halcyra
