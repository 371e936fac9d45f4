#include "signin/TokenResponses.h"

#include <algorithm>
#include <array>

#include "config/RecordTable.h"
#include "text/Json.h"

namespace halcyra {
namespace {

constexpr std::int64_t hundredYears = 100LL * 365 * 24 * 3600;
constexpr std::size_t longestToken = 64u << 10;

// RFC 6749, appendix A.12 and A.17. `lowest` is '!' for a token that goes into a header.
void requireToken(std::string_view token, char lowest, const std::string& key) {
  const bool isPrintable =
      std::ranges::all_of(token, [&](char c) { return c >= lowest && c < '\x7F'; });
  if (token.empty() || token.size() > longestToken || !isPrintable) {
    throw JsonError("Not the expected JSON: \"" + key + "\" is not a usable token.");
  }
}

}  // namespace

template <>
std::span<const Field<TokenResponse>> fieldsOf() {
  using R = TokenResponse;
  static constexpr std::array fields = {
      field<&R::access_token>("access_token", Absent::fails),
      field<&R::refresh_token>("refresh_token", Absent::isDefault),
      field<&R::expires_in>("expires_in", Absent::isDefault),
  };
  return fields;
}

template <>
std::span<const Field<RefreshTokenResponse>> fieldsOf() {
  using R = RefreshTokenResponse;
  static constexpr std::array fields = {
      field<&R::access_token>("access_token", Absent::fails),
      field<&R::expires_in>("expires_in", Absent::fails),
  };
  return fields;
}

template <>
std::span<const Field<RefreshResponse>> fieldsOf() {
  using R = RefreshResponse;
  static constexpr std::array fields = {
      field<&R::access_token>("access_token", Absent::fails),
      field<&R::refresh_token>("refresh_token", Absent::isDefault),
      field<&R::expires_in>("expires_in", Absent::fails),
  };
  return fields;
}

void requireAccessToken(std::string_view token) {
  requireToken(token, '!', "access_token");
}

void requireRefreshToken(std::optional<std::string>& token) {
  if (token == "") token.reset();
  if (token) requireToken(*token, ' ', "refresh_token");
}

template <class Response>
Response decodeTokenResponse(std::string_view body) {
  Response response;
  decodeValue(parseJson(body), response, Place());
  requireAccessToken(response.access_token);
  if constexpr (requires { response.refresh_token; }) requireRefreshToken(response.refresh_token);
  return response;
}

template TokenResponse decodeTokenResponse(std::string_view body);
template RefreshTokenResponse decodeTokenResponse(std::string_view body);
template RefreshResponse decodeTokenResponse(std::string_view body);

// The provider's number may be anything; a TimePoint does not reach much further.
TimePoint expiryAfter(const Clock& clock, std::int64_t expiresIn) {
  return clock.now() + std::chrono::seconds(std::clamp(expiresIn, -hundredYears, hundredYears));
}

OAuthStoredCredential credentialOf(const TokenResponse& response, const Clock& clock) {
  OAuthStoredCredential credential;
  credential.accessToken = response.access_token;
  credential.refreshToken = response.refresh_token;
  if (response.expires_in) credential.expiresAt = expiryAfter(clock, *response.expires_in);
  return credential;
}

}  // namespace halcyra
