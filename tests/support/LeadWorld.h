#pragma once

#include "support/ManualClock.h"
#include "support/MemoryKeychain.h"
#include "support/ScriptedHttp.h"
#include "triage/LeadActions.h"

namespace halcyra {

/// The real clients of the CRMs over a scripted transport.
struct LeadWorld {
  explicit LeadWorld(std::string salesforceClientId = "s-id")
      : secrets(storage, {{"HalcyraMicrosoftOAuthClientId", "m-id"},
                          {"HalcyraSalesforceOAuthClientId", std::move(salesforceClientId)}}) {}

  CRMClients clients() { return {secrets, tokens, dataverse, sessions, salesforce}; }

  /// A mailbox whose sign-in reaches an environment.
  void signIn(const std::string& accountId, const std::string& environment) {
    OAuthStoredCredential credential;
    credential.dataverseByEnvironment = {
        {environment, {"token-of-" + accountId, clock.now() + std::chrono::hours(1)}}};
    credentials.saveCredential(credential, accountId);
  }
  void signInSalesforce(const std::string& connectionId) {
    salesforceCredentials.saveSalesforceCredential(
        {"token-of-" + connectionId, {}, clock.now() + std::chrono::hours(1), "h", "https://sf"},
        connectionId);
  }

  /// "{URL} {Authorization}" of each request.
  std::vector<std::string> asked() const {
    std::vector<std::string> lines;
    for (const HttpRequest& request : http.requests) {
      lines.push_back(request.url + " " + request.headers.at(0).value);
    }
    return lines;
  }

  ScriptedHttp http;
  MemoryKeychain keychain;
  KeychainEnvelopeStorage storage{keychain};
  KeychainHelper secrets;
  ManualClock clock;
  OAuthCredentialStore credentials{secrets};
  GoogleOAuthClient google{http, clock, {}, ""};
  MicrosoftOAuthClient microsoft{http, clock, {}};
  AccessTokens tokens{secrets, credentials, google, microsoft, clock};
  DataverseClient dataverse{http, {}};
  SalesforceCredentialStore salesforceCredentials{secrets};
  SalesforceOAuthClient salesforceOAuth{http, clock, {}, ""};
  SalesforceSessions sessions{secrets, salesforceCredentials, salesforceOAuth, clock};
  SalesforceLeads salesforce{http};
};

}  // namespace halcyra
