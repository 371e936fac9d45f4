#include "crm/SalesforceCredentialStore.h"

#include <exception>

#include "text/Trim.h"

namespace halcyra {
namespace {

std::string keyOf(const std::optional<std::string>& connectionId) {
  const std::string_view id = connectionId ? trimmed(*connectionId) : std::string_view();
  return id.empty() ? secretKey::olderSalesforceCredential : secretKey::salesforceCredential(id);
}

std::optional<SalesforceStoredCredential> read(KeychainEnvelopeStorage& storage,
                                               const std::string& key) {
  const std::optional<std::string> text = storage.readSecret(key);
  if (!text || text->empty()) return std::nullopt;
  return decodeSalesforceCredential(*text);
}

}  // namespace

std::optional<SalesforceStoredCredential> SalesforceCredentialStore::loadSalesforceCredential(
    const std::optional<std::string>& connectionId) {
  KeychainEnvelopeStorage& storage = secrets_.storage();
  const std::string key = keyOf(connectionId);
  std::exception_ptr undecodable;
  try {
    if (auto own = read(storage, key)) return own;
  } catch (const std::exception&) {
    undecodable = std::current_exception();
  }
  std::optional<SalesforceStoredCredential> older;
  if (key != secretKey::olderSalesforceCredential) {
    older = read(storage, secretKey::olderSalesforceCredential);
  }
  if (!older && undecodable) std::rethrow_exception(undecodable);
  return older;
}

void SalesforceCredentialStore::saveSalesforceCredential(
    const SalesforceStoredCredential& credential, const std::optional<std::string>& connectionId) {
  secrets_.storage().writeSecret(encodeSalesforceCredential(credential), keyOf(connectionId));
}

void SalesforceCredentialStore::deleteSalesforceCredential(
    const std::optional<std::string>& connectionId) {
  secrets_.storage().removeSecret(keyOf(connectionId));
}

}  // namespace halcyra
