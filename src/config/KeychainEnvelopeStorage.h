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

  /// Stores a secret; an empty value removes it. Throws KeychainError: when the keychain could not
  /// be read nothing is changed; when it could not be written the change stays in memory.
  void writeSecret(const std::string& value, const std::string& key);

  /// Writes the envelope even when there is no such entry, since an earlier removal may not have
  /// reached the keychain. Throws KeychainError.
  void removeSecret(const std::string& key);

  /// The keys in ascending order. Throws KeychainError when the keychain cannot be read.
  std::vector<std::string> keys();

  /// Have the secrets been read? Until then what reads as absent may well be there.
  bool isLoaded();

 private:
  using Entries = std::map<std::string, std::string>;

  /// How an attempt to load went. `isEmpty`: the keychain was read and holds no secret, but the
  /// empty envelope could not be written.
  struct Loading {
    KeychainStatus status = KeychainStatus::success;
    bool isEmpty = false;
  };

  // These are called with the lock held.
  Loading ensureLoaded();
  Loading migrate();
  KeychainStatus writeEnvelope();
  void persist();
  Entries& loadedEntries();
  [[noreturn]] void fail(KeychainStatus status) const;

  Keychain& keychain_;
  std::mutex lock_;
  std::optional<Entries> entries_;  // absent until loaded
};

}  // namespace halcyra
