#include "crm/SalesforceStoredCredential.h"

#include <array>

#include "config/RecordTable.h"
#include "text/Json.h"

namespace halcyra {

template <>
std::span<const Field<SalesforceStoredCredential>> fieldsOf() {
  using R = SalesforceStoredCredential;
  static constexpr std::array fields = {
      field<&R::accessToken>("accessToken", Absent::fails),
      field<&R::refreshToken>("refreshToken", Absent::isDefault),
      field<&R::expiresAt>("expiresAt", Absent::isDefault),
      field<&R::loginHost>("loginHost", Absent::fails),
      field<&R::instanceURL>("instanceURL", Absent::fails),
  };
  return fields;
}

std::string encodeSalesforceCredential(const SalesforceStoredCredential& credential) {
  return jsonText(encodeValue(credential));
}

SalesforceStoredCredential decodeSalesforceCredential(std::string_view text) {
  SalesforceStoredCredential credential;
  decodeValue(parseJson(text), credential, Place());
  return credential;
}

}  // namespace halcyra
