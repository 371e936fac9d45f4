#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/Keychain.h"

namespace halcyra {

/// A keychain operation that failed; `what()` is the keychain's own text for the status, or
/// "Keychain error ({status}).".
class KeychainError : public std::runtime_error {
 public:
  KeychainError(KeychainStatus status, const std::optional<std::string>& description);

  KeychainStatus status() const { return status_; }

 private:
  KeychainStatus status_;
};

/// All secrets, in one keychain item that is loaded once and rewritten whole. Any thread may call.
class KeychainEnvelopeStorage {
 public:
  static constexpr const char* serviceName = "com.halcyra.app.secrets";
  static constexpr const char* envelopeAccount = "halcyra.secrets.envelope.v1";

  /// `keychain` must outlive the storage.
  explicit KeychainEnvelopeStorage(Keychain& keychain) : keychain_(keychain) {}

  /// The secret, or nothing. A keychain that cannot be read looks empty for this call.
  std::optional<std::string> readSecret(const std::string& key);

  /// Stores a secret; an empty value removes it. Throws KeychainError.
  void writeSecret(const std::string& value, const std::string& key);

  /// Throws KeychainError.
  void removeSecret(const std::string& key);

  /// The keys in ascending order. Throws KeychainError when the keychain cannot be read.
  std::vector<std::string> keys();

 private:
  using Entries = std::map<std::string, std::string>;

  KeychainStatus ensureLoaded();
  void migrate();
  void writeEnvelope();

  Keychain& keychain_;
  std::mutex lock_;
  std::optional<Entries> entries_;
};

}  // namespace halcyra
