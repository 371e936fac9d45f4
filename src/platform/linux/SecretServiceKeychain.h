#pragma once

#include <memory>
#include <string>

#include "platform/Keychain.h"

namespace halcyra {

/// The desktop's keyring over the Secret Service interface of the session bus. An item carries the
/// attributes `service` and `account`; new ones go into the default collection.
class SecretServiceKeychain : public Keychain {
 public:
  /// `service` is the attribute and the name of the schema that all items share.
  explicit SecretServiceKeychain(std::string service);
  ~SecretServiceKeychain() override;

  /// Does a Secret Service run on this session's bus, or start when asked?
  bool answers();

  KeychainValue read(const std::string& account, KeychainPrompt prompt) override;
  /// All items, locked or not.
  KeychainAccounts listAccounts() override;
  KeychainStatus update(const std::string& account, const std::string& value) override;
  KeychainStatus add(const std::string& account, const std::string& value) override;
  /// Also removes items of the same account in further collections.
  KeychainStatus remove(const std::string& account) override;
  std::optional<std::string> describe(KeychainStatus status) const override;

 private:
  class Session;

  std::unique_ptr<Session> session_;
};

}  // namespace halcyra
