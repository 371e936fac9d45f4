#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Clock.h"
#include "signin/OAuthStoredCredential.h"

namespace halcyra {

/// Of both providers, for an authorization code.
struct TokenResponse {
  std::string access_token;
  std::optional<std::string> refresh_token;
  std::optional<std::int64_t> expires_in;
};

/// Of Google, for a refresh token, which stays the same.
struct RefreshTokenResponse {
  std::string access_token;
  std::int64_t expires_in = 0;
};

/// Of Microsoft, for a refresh token, which may be replaced; of Dataverse too.
struct RefreshResponse {
  std::string access_token;
  std::optional<std::string> refresh_token;
  std::int64_t expires_in = 0;
};

/// Throws JsonError when the token is not up to 64 KB of printable ASCII without blanks.
void requireAccessToken(std::string_view token);

/// The same where there is one, and blanks are no matter; an empty one becomes none.
void requireRefreshToken(std::optional<std::string>& token);

/// Reads one of the three from a response's body and requires its tokens. Throws JsonError or
/// ConfigError, without quoting the body.
template <class Response>
Response decodeTokenResponse(std::string_view body);

/// `expiresIn` seconds after now.
TimePoint expiryAfter(const Clock& clock, std::int64_t expiresIn);

/// A new credential, without anything for Dataverse.
OAuthStoredCredential credentialOf(const TokenResponse& response, const Clock& clock);

}  // namespace halcyra
