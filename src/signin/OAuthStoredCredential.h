#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Clock.h"

namespace halcyra {

struct DataverseEnvironmentToken {
  std::string accessToken;
  std::optional<TimePoint> expiresAt;

  bool operator==(const DataverseEnvironmentToken&) const = default;
};

/// What a Google or Microsoft sign-in of one mailbox left behind.
struct OAuthStoredCredential {
  std::string accessToken;
  std::optional<std::string> refreshToken;
  /// Of `accessToken`. Without it the token counts as expired.
  std::optional<TimePoint> expiresAt;
  /// The single Dataverse token of older versions, and its expiry.
  std::optional<std::string> dataverseAccessToken;
  std::optional<TimePoint> dataverseExpiresAt;
  /// By normalised environment.
  std::optional<std::map<std::string, DataverseEnvironmentToken>> dataverseByEnvironment;

  bool operator==(const OAuthStoredCredential&) const = default;
};

/// The stored form: JSON without the absent fields, dates as seconds since 2001-01-01 UTC.
std::string encodeCredential(const OAuthStoredCredential& credential);

/// Throws JsonError or ConfigError, without quoting the text.
OAuthStoredCredential decodeCredential(std::string_view text);

}  // namespace halcyra
