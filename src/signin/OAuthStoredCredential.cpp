#include "signin/OAuthStoredCredential.h"

#include <array>

#include "config/RecordTable.h"
#include "text/Json.h"

namespace halcyra {

template <>
std::span<const Field<DataverseEnvironmentToken>> fieldsOf() {
  using R = DataverseEnvironmentToken;
  static constexpr std::array fields = {
      field<&R::accessToken>("accessToken", Absent::fails),
      field<&R::expiresAt>("expiresAt", Absent::isDefault),
  };
  return fields;
}

template <>
std::span<const Field<OAuthStoredCredential>> fieldsOf() {
  using R = OAuthStoredCredential;
  static constexpr std::array fields = {
      field<&R::accessToken>("accessToken", Absent::fails),
      field<&R::refreshToken>("refreshToken", Absent::isDefault),
      field<&R::expiresAt>("expiresAt", Absent::isDefault),
      field<&R::dataverseAccessToken>("dataverseAccessToken", Absent::isDefault),
      field<&R::dataverseExpiresAt>("dataverseExpiresAt", Absent::isDefault),
      field<&R::dataverseByEnvironment>("dataverseByEnvironment", Absent::isDefault),
  };
  return fields;
}

std::string encodeCredential(const OAuthStoredCredential& credential) {
  return jsonText(encodeValue(credential));
}

OAuthStoredCredential decodeCredential(std::string_view text) {
  OAuthStoredCredential credential;
  decodeValue(parseJson(text), credential, Place());
  return credential;
}

}  // namespace halcyra
