#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "config/KeychainHelper.h"
#include "crm/SalesforceStoredCredential.h"
#include "platform/Clock.h"
#include "platform/Endpoints.h"
#include "platform/HttpClient.h"
#include "platform/Task.h"

namespace halcyra {

/// The consumer key of the build; empty when it has none.
std::string salesforceClientId(const KeychainHelper& secrets);

/// The scheme and host of a login address that a user may have typed without a scheme or copied
/// with a path; the address of production when the text holds no host.
std::string normalizedSalesforceLoginHost(std::string_view text);

/// Speaks to Salesforce's token endpoint. Token calls throw ProviderError of the domain
/// "SalesforceOAuth", HttpError, or what the decoder of a response throws.
class SalesforceOAuthClient {
 public:
  /// An empty `clientSecret` is not sent. `http` and `clock` must outlive the client, and the
  /// client its operations.
  SalesforceOAuthClient(HttpClient& http, const Clock& clock, const Endpoints& endpoints,
                        std::string clientSecret);

  /// The page where the user agrees; nothing when its base is no http address. `loginHost` is
  /// normalised by each of these.
  std::optional<std::string> buildSalesforceAuthorizationURL(const std::string& clientId,
                                                             const std::string& challenge,
                                                             std::string_view loginHost) const;

  /// Fails when the answer names no instance that a token may be sent to.
  Task<SalesforceStoredCredential> exchangeSalesforceCode(std::string clientId, std::string code,
                                                          std::string verifier,
                                                          std::string loginHost);

  /// Keeps refresh token and instance. An answer that tells no lifetime gives a token that counts
  /// as expired.
  Task<SalesforceStoredCredential> refreshSalesforceToken(std::string clientId,
                                                          SalesforceStoredCredential credential);

 private:
  using Form = std::vector<std::pair<std::string, std::string>>;
  Task<std::string> callTokenEndpoint(const std::string& loginHost, Form form);
  std::string baseOf(const std::string& loginHost) const;

  HttpClient& http_;
  const Clock& clock_;
  std::string standIn_;
  std::string clientSecret_;
};

}  // namespace halcyra
