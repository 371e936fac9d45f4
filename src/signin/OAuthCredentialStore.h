#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "config/KeychainHelper.h"
#include "signin/OAuthStoredCredential.h"

namespace halcyra {

/// The credentials of the OAuth mailboxes, by MailAccount id, with a cache in front of the secrets.
/// Any thread may call.
class OAuthCredentialStore {
 public:
  /// Empties its cache whenever those of `secrets` are invalidated. `secrets` must outlive the
  /// store and has one store at a time.
  explicit OAuthCredentialStore(KeychainHelper& secrets);
  ~OAuthCredentialStore();
  OAuthCredentialStore(const OAuthCredentialStore&) = delete;
  OAuthCredentialStore& operator=(const OAuthCredentialStore&) = delete;

  /// Throws JsonError or ConfigError when what is stored does not decode.
  std::optional<OAuthStoredCredential> loadCredential(const std::string& accountId);

  /// Throws KeychainError and leaves the cache as it was.
  void saveCredential(const OAuthStoredCredential& credential, const std::string& accountId);

  /// Throws KeychainError and leaves the cache as it was.
  void deleteCredential(const std::string& accountId);

 private:
  void forgetAll();

  KeychainHelper& secrets_;
  std::mutex cacheLock_;  // taken before the lock of the secrets, never after it
  std::map<std::string, OAuthStoredCredential> cache_;
};

}  // namespace halcyra
