#pragma once

#include <optional>
#include <string>

#include "platform/Clock.h"
#include "platform/Endpoints.h"
#include "platform/HttpClient.h"
#include "signin/OAuthStoredCredential.h"

namespace halcyra {

/// Speaks to the Microsoft identity platform's token endpoint. Token calls throw ProviderError of
/// the domain "MicrosoftOAuth", HttpError, or what the decoder of a response throws.
class MicrosoftOAuthClient {
 public:
  struct DataverseToken {
    std::string accessToken;
    TimePoint expiresAt;
    /// Replaces the one that was sent.
    std::optional<std::string> refreshToken;
  };

  /// `http` and `clock` must outlive the client, and the client its operations.
  MicrosoftOAuthClient(HttpClient& http, const Clock& clock, Endpoints endpoints);

  /// The page where the user agrees; nothing when its base is no http address.
  std::optional<std::string> buildMicrosoftAuthorizationURL(const std::string& clientId,
                                                            const std::string& challenge) const;

  Task<OAuthStoredCredential> exchangeMicrosoftCode(std::string clientId, std::string code,
                                                    std::string verifier);

  /// With the new refresh token when one is sent, else the one that is passed in.
  Task<OAuthStoredCredential> refreshMicrosoftToken(std::string clientId, std::string refreshToken);

  /// `environment` is a normalised one.
  Task<DataverseToken> refreshDataverseToken(std::string clientId, std::string refreshToken,
                                             std::string environment);

  /// The address of the mailbox, or nothing when it cannot be had.
  Task<std::optional<std::string>> fetchMicrosoftEmail(std::string accessToken);

 private:
  using Form = std::vector<std::pair<std::string, std::string>>;
  Task<std::string> callTokenEndpoint(Form form, std::string failureText);

  HttpClient& http_;
  const Clock& clock_;
  Endpoints endpoints_;
};

}  // namespace halcyra
