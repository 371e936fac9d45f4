#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "config/AppConfig.h"
#include "config/KeychainEnvelopeStorage.h"
#include "platform/BuildValues.h"

namespace halcyra {

namespace secretKey {
inline constexpr const char* imapPassword = "imap.password";
inline constexpr const char* smtpPassword = "smtp.password";
inline constexpr const char* llmAPIKey = "llm.apiKey";
inline constexpr const char* olderSalesforceCredential = "oauth.salesforce";
std::string smtpPasswordOfAccount(std::string_view accountId);
std::string oauthCredential(std::string_view accountId);
std::string salesforceCredential(std::string_view connectionId);
}  // namespace secretKey

/// What the polling loops read all the time; empty strings when unset.
struct SecretsSnapshot {
  std::string imapPassword;
  std::string smtpPassword;
  std::string llmKey;

  bool operator==(const SecretsSnapshot&) const = default;
};

/// The facade over the secrets and the build's values that the rest of the program calls, with
/// caches for what the polling loops read. Any thread may call.
class KeychainHelper {
 public:
  /// `storage` must outlive the helper.
  KeychainHelper(KeychainEnvelopeStorage& storage, BuildValues buildValues);

  SecretsSnapshot secretsSnapshot();

  /// The mailbox's own SMTP password, or `fallback` when it has none or uses no server of its own.
  std::string smtpPasswordForAccount(const std::string& accountId, const std::string& fallback,
                                     bool perAccountEnabled);

  /// The key to use for the model, empty when there is none.
  std::string llmAPIKey();

  /// Forgets what is cached, here and by the observer. Call after secrets were saved.
  void invalidateSecretCaches();

  /// Called, without any lock held, whenever the caches are invalidated: for the one cache of
  /// secrets that lives above this class. An empty function ends it.
  void setInvalidationObserver(std::function<void()> observer);

  /// A value of the build: trimmed, without one pair of enclosing double quotes, empty when unset.
  std::string buildSetting(std::string_view key) const;

  /// The Microsoft application id: the build's, else the user's, else empty.
  std::string resolvedMicrosoftClientId(const AppConfig& config) const;

  KeychainEnvelopeStorage& storage() { return storage_; }

 private:
  std::string resolveLLMAPIKey();

  KeychainEnvelopeStorage& storage_;
  const BuildValues buildValues_;
  std::mutex snapshotLock_;  // taken before the storage's own lock, never after it
  std::optional<SecretsSnapshot> snapshot_;
  std::map<std::string, std::string> smtpPasswords_;
  std::function<void()> invalidationObserver_;
};

}  // namespace halcyra
