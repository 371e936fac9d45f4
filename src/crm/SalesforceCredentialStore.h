#pragma once

#include <optional>
#include <string>

#include "config/KeychainHelper.h"
#include "crm/SalesforceStoredCredential.h"

namespace halcyra {

/// The Salesforce credentials among the secrets, by CRM connection. No connection, or a blank id,
/// means the single entry of versions before there were connections. Any thread may call.
class SalesforceCredentialStore {
 public:
  /// `secrets` must outlive the store.
  explicit SalesforceCredentialStore(KeychainHelper& secrets) : secrets_(secrets) {}

  /// The connection's own, else the older single one, which serves every connection that was not
  /// signed in by itself. Throws JsonError or ConfigError when neither decodes and one is there.
  std::optional<SalesforceStoredCredential> loadSalesforceCredential(
      const std::optional<std::string>& connectionId);

  /// Throws KeychainError.
  void saveSalesforceCredential(const SalesforceStoredCredential& credential,
                                const std::optional<std::string>& connectionId);

  /// Leaves the older single entry alone, unless it is the one that is meant. Throws KeychainError.
  void deleteSalesforceCredential(const std::optional<std::string>& connectionId);

 private:
  KeychainHelper& secrets_;
};

}  // namespace halcyra
