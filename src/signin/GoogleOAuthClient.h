#pragma once

#include <optional>
#include <string>

#include "platform/Clock.h"
#include "platform/Endpoints.h"
#include "platform/HttpClient.h"
#include "signin/OAuthStoredCredential.h"

namespace halcyra {

/// Speaks to Google's token endpoint. Token calls throw ProviderError of the domain "GoogleOAuth",
/// HttpError, or what the decoder of a response throws.
class GoogleOAuthClient {
 public:
  /// An empty `clientSecret` is not sent. `http` and `clock` must outlive the client, and the
  /// client its operations.
  GoogleOAuthClient(HttpClient& http, const Clock& clock, Endpoints endpoints,
                    std::string clientSecret);

  /// The page where the user agrees; nothing when its base is no http address.
  std::optional<std::string> buildGoogleAuthorizationURL(const std::string& clientId,
                                                         const std::string& challenge) const;

  Task<OAuthStoredCredential> exchangeGoogleCode(std::string clientId, std::string code,
                                                 std::string verifier);

  /// Keeps the refresh token that is passed in.
  Task<OAuthStoredCredential> refreshGoogleToken(std::string clientId, std::string refreshToken);

  /// The address of the mailbox, or nothing when it cannot be had.
  Task<std::optional<std::string>> fetchGoogleEmail(std::string accessToken);

 private:
  using Form = std::vector<std::pair<std::string, std::string>>;
  Task<std::string> callTokenEndpoint(Form form);

  HttpClient& http_;
  const Clock& clock_;
  Endpoints endpoints_;
  std::string clientSecret_;
};

}  // namespace halcyra
