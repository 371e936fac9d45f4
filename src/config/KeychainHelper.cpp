#include "config/KeychainHelper.h"

#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr std::string_view embeddedLLMKey = "HalcyraEmbeddedLLMAPIKey";

}  // namespace

std::string secretKey::smtpPasswordOfAccount(std::string_view accountId) {
  return "smtp.password.account." + std::string(accountId);
}

std::string secretKey::oauthCredential(std::string_view accountId) {
  return "oauth.credential." + std::string(accountId);
}

std::string secretKey::salesforceCredential(std::string_view connectionId) {
  return std::string(olderSalesforceCredential) + "." + std::string(connectionId);
}

KeychainHelper::KeychainHelper(KeychainEnvelopeStorage& storage, BuildValues buildValues)
    : storage_(storage), buildValues_(std::move(buildValues)) {}

SecretsSnapshot KeychainHelper::secretsSnapshot() {
  const std::scoped_lock hold(snapshotLock_);
  if (snapshot_) return *snapshot_;
  SecretsSnapshot fresh;
  fresh.imapPassword = storage_.readSecret(secretKey::imapPassword).value_or("");
  if (!storage_.isLoaded()) {
    // Asking a locked keychain for each secret would prompt as often; what it seems to hold is not
    // worth remembering.
    fresh.llmKey = buildSetting(embeddedLLMKey);
    return fresh;
  }
  fresh.smtpPassword = storage_.readSecret(secretKey::smtpPassword).value_or("");
  fresh.llmKey = resolveLLMAPIKey();
  snapshot_ = fresh;
  return fresh;
}

std::string KeychainHelper::smtpPasswordForAccount(const std::string& accountId,
                                                   const std::string& fallback,
                                                   bool perAccountEnabled) {
  if (!perAccountEnabled) return fallback;
  const std::scoped_lock hold(snapshotLock_);
  auto cached = smtpPasswords_.find(accountId);
  if (cached == smtpPasswords_.end()) {
    const auto saved = storage_.readSecret(secretKey::smtpPasswordOfAccount(accountId));
    if (!storage_.isLoaded()) return fallback;
    cached = smtpPasswords_.emplace(accountId, saved.value_or("")).first;
  }
  return cached->second.empty() ? fallback : cached->second;
}

std::string KeychainHelper::llmAPIKey() {
  return resolveLLMAPIKey();
}

void KeychainHelper::invalidateSecretCaches() {
  std::function<void()> observer;
  {
    const std::scoped_lock hold(snapshotLock_);
    snapshot_.reset();
    smtpPasswords_.clear();
    observer = invalidationObserver_;
  }
  if (observer) observer();
}

void KeychainHelper::setInvalidationObserver(std::function<void()> observer) {
  const std::scoped_lock hold(snapshotLock_);
  invalidationObserver_ = std::move(observer);
}

std::string KeychainHelper::buildSetting(std::string_view key) const {
  const auto found = buildValues_.find(key);
  if (found == buildValues_.end()) return "";
  std::string_view value = trimmed(found->second);
  if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
    value = value.substr(1, value.size() - 2);
  }
  return std::string(value);
}

std::string KeychainHelper::resolvedMicrosoftClientId(const AppConfig& config) const {
  const std::string setting = buildSetting("HalcyraMicrosoftOAuthClientId");
  const std::string_view built = trimmed(setting);
  // "$(" is a variable that the build left unexpanded.
  if (!built.empty() && built.find("$(") == std::string_view::npos) return std::string(built);
  return std::string(trimmed(config.microsoftOAuthClientId));
}

std::string KeychainHelper::resolveLLMAPIKey() {
  const std::string saved = storage_.readSecret(secretKey::llmAPIKey).value_or("");
  return saved.empty() ? buildSetting(embeddedLLMKey) : saved;
}

}  // namespace halcyra
