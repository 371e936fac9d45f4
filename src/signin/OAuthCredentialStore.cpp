#include "signin/OAuthCredentialStore.h"

namespace halcyra {

OAuthCredentialStore::OAuthCredentialStore(KeychainHelper& secrets) : secrets_(secrets) {
  secrets_.setInvalidationObserver([this] { forgetAll(); });
}

OAuthCredentialStore::~OAuthCredentialStore() {
  secrets_.setInvalidationObserver({});
}

std::optional<OAuthStoredCredential> OAuthCredentialStore::loadCredential(
    const std::string& accountId) {
  const std::scoped_lock hold(cacheLock_);
  if (const auto cached = cache_.find(accountId); cached != cache_.end()) return cached->second;
  const auto text = secrets_.storage().readSecret(secretKey::oauthCredential(accountId));
  if (!text || text->empty()) return std::nullopt;
  return cache_.emplace(accountId, decodeCredential(*text)).first->second;
}

void OAuthCredentialStore::saveCredential(const OAuthStoredCredential& credential,
                                          const std::string& accountId) {
  // Without the lock: the keychain may make this wait for the user, and readers need not.
  secrets_.storage().writeSecret(encodeCredential(credential),
                                 secretKey::oauthCredential(accountId));
  const std::scoped_lock hold(cacheLock_);
  cache_[accountId] = credential;
}

void OAuthCredentialStore::deleteCredential(const std::string& accountId) {
  const std::scoped_lock hold(cacheLock_);
  secrets_.storage().removeSecret(secretKey::oauthCredential(accountId));
  cache_.erase(accountId);
}

void OAuthCredentialStore::forgetAll() {
  const std::scoped_lock hold(cacheLock_);
  cache_.clear();
}

}  // namespace halcyra
