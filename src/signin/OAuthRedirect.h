#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace halcyra {

// Where every provider sends the browser back to. Registered with each of them, so it cannot
// change.
inline constexpr std::uint16_t redirectPort = 18876;
inline constexpr const char* redirectOrigin = "http://localhost:18876";
inline constexpr const char* redirectURI = "http://localhost:18876/oauth";

/// The `code` of a redirect's query. Throws OAuthFlowError::providerError with the provider's words
/// when the query tells an error instead, and OAuthFlowError::noAuthCode when it tells neither.
std::string authorizationCode(std::string_view redirectURL);

}  // namespace halcyra
