#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Clock.h"

namespace halcyra {

/// What a Salesforce sign-in of one connection left behind.
struct SalesforceStoredCredential {
  std::string accessToken;
  std::optional<std::string> refreshToken;
  /// Without it the token counts as expired.
  std::optional<TimePoint> expiresAt;
  /// Normalised; for the token calls.
  std::string loginHost;
  /// Where the API is called, without a slash at the end.
  std::string instanceURL;

  bool operator==(const SalesforceStoredCredential&) const = default;
};

/// The stored form: JSON without the absent fields, dates as seconds since 2001-01-01 UTC.
std::string encodeSalesforceCredential(const SalesforceStoredCredential& credential);

/// Throws JsonError or ConfigError, without quoting the text.
SalesforceStoredCredential decodeSalesforceCredential(std::string_view text);

}  // namespace halcyra
