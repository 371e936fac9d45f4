#include "platform/linux/SecretServiceKeychain.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <vector>

#include "platform/linux/SecretLibrary.h"

namespace halcyra {
namespace {

constexpr const char* serviceAttribute = "service";
constexpr const char* accountAttribute = "account";

// What is said when the library is absent. Asked before anything of it is called.
std::optional<std::string> missingLibrary() {
  try {
    libsecret();
    return std::nullopt;
  } catch (const LibraryError& error) {
    return error.what();
  }
}

struct Unref {
  void operator()(gpointer object) const { libsecret().objectUnref(object); }
  void operator()(GHashTable* table) const { libsecret().hashTableUnref(table); }
  void operator()(SecretValue* value) const { libsecret().valueUnref(value); }
};

template <class Object>
using Ref = std::unique_ptr<Object, Unref>;

KeychainStatus statusOf(const GError& error) {
  if (error.domain == libsecret().secretErrorQuark()) {
    if (error.code == SECRET_ERROR_IS_LOCKED) return KeychainStatus::interactionNotAllowed;
    if (error.code == SECRET_ERROR_NO_SUCH_OBJECT) return KeychainStatus::itemNotFound;
    if (error.code == SECRET_ERROR_ALREADY_EXISTS) return KeychainStatus::duplicateItem;
  }
  if (error.domain == libsecret().ioErrorQuark()) {
    if (error.code == G_IO_ERROR_CANCELLED) return KeychainStatus::userCanceled;
    if (error.code == G_IO_ERROR_CLOSED) return KeychainStatus::notAvailable;
  }
  if (error.domain == libsecret().dbusErrorQuark()) {
    if (error.code == G_DBUS_ERROR_ACCESS_DENIED) return KeychainStatus::authFailed;
    if (error.code == G_DBUS_ERROR_SERVICE_UNKNOWN ||
        error.code == G_DBUS_ERROR_NAME_HAS_NO_OWNER || error.code == G_DBUS_ERROR_NO_REPLY ||
        error.code == G_DBUS_ERROR_DISCONNECTED) {
      return KeychainStatus::notAvailable;
    }
  }
  return KeychainStatus::ioError;
}

// Receives a GError from a call and gives it back as a status.
class Failure {
 public:
  Failure() = default;
  Failure(const Failure&) = delete;
  Failure& operator=(const Failure&) = delete;
  ~Failure() {
    if (error_) libsecret().errorFree(error_);
  }

  GError** out() { return &error_; }
  KeychainStatus status() const { return error_ ? statusOf(*error_) : KeychainStatus::success; }

 private:
  GError* error_ = nullptr;
};

using Items = std::vector<Ref<SecretItem>>;

struct Found {
  KeychainStatus status = KeychainStatus::success;
  Items items;  // never empty for a search by account that succeeded
};

bool isLocked(const Ref<SecretItem>& item) {
  return libsecret().itemGetLocked(item.get());
}

Ref<SecretValue> secretValue(const std::string& value) {
  return Ref<SecretValue>(
      libsecret().valueNew(value.data(), static_cast<gssize>(value.size()), "text/plain"));
}

std::optional<std::string> accountOf(const Ref<SecretItem>& item) {
  const Ref<GHashTable> attributes(libsecret().itemGetAttributes(item.get()));
  const auto* account =
      static_cast<const char*>(libsecret().hashTableLookup(attributes.get(), accountAttribute));
  return account ? std::optional<std::string>(account) : std::nullopt;
}

}  // namespace

// The connection to the bus and to the service, made on first use and made anew after a failure
// that may come from the service having gone.
class SecretServiceKeychain::Session {
 public:
  explicit Session(std::string service) : service_(std::move(service)) {
    schema_.name = service_.c_str();
    schema_.flags = SECRET_SCHEMA_NONE;
    schema_.attributes[0] = {serviceAttribute, SECRET_SCHEMA_ATTRIBUTE_STRING};
    schema_.attributes[1] = {accountAttribute, SECRET_SCHEMA_ATTRIBUTE_STRING};
  }

  KeychainStatus open() {
    if (missingLibrary()) return KeychainStatus::notAvailable;
    if (proxy_ && !libsecret().connectionIsClosed(bus_.get())) return KeychainStatus::success;
    close();
    bus_.reset(libsecret().busGetSync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    if (!bus_) return KeychainStatus::notAvailable;
    // A session bus that ends must not end this program.
    libsecret().connectionSetExitOnClose(bus_.get(), FALSE);
    proxy_.reset(libsecret().serviceOpenSync(libsecret().serviceGetType(), nullptr,
                                             SECRET_SERVICE_OPEN_SESSION, nullptr, nullptr));
    return proxy_ ? KeychainStatus::success : KeychainStatus::notAvailable;
  }

  Found findAccount(const std::string& account, KeychainPrompt prompt) {
    if (missingLibrary()) return {KeychainStatus::notAvailable, {}};
    const Ref<GHashTable> attributes = attributesOf(account);
    Found found = search(attributes);
    if (found.status == KeychainStatus::success && found.items.empty()) {
      // A collection that was never unlocked since the service started hides its items.
      const Opened opened = openDefaultCollection(prompt);
      found.status = opened.status;
      if (opened.wasUnlocked) found = search(attributes);
    }
    if (found.status == KeychainStatus::success && found.items.empty()) {
      found.status = KeychainStatus::itemNotFound;
    }
    // The first is the one that is used: rather one that needs no prompt.
    std::stable_partition(found.items.begin(), found.items.end(), std::not_fn(isLocked));
    return found;
  }

  Found findAll() {
    if (missingLibrary()) return {KeychainStatus::notAvailable, {}};
    Found found = search(Ref<GHashTable>(
        libsecret().attributesBuild(&schema_, serviceAttribute, service_.c_str(), nullptr)));
    if (found.status == KeychainStatus::success && found.items.empty()) {
      found.status = openDefaultCollection(KeychainPrompt::skipped).status;
    }
    return found;
  }

  KeychainStatus unlock(const Ref<SecretItem>& item) {
    return isLocked(item) ? unlockObject(item.get()) : KeychainStatus::success;
  }

  KeychainStatus store(const std::string& account, const std::string& value) {
    const Ref<GHashTable> attributes = attributesOf(account);
    const std::string label = "Halcyra: " + account;
    Failure failure;
    libsecret().serviceStoreSync(proxy_.get(), &schema_, attributes.get(),
                                 SECRET_COLLECTION_DEFAULT, label.c_str(), secretValue(value).get(),
                                 nullptr, failure.out());
    return finish(failure);
  }

  KeychainStatus finish(const Failure& failure) {
    const KeychainStatus status = failure.status();
    if (status == KeychainStatus::notAvailable || status == KeychainStatus::ioError) close();
    return status;
  }

 private:
  struct Opened {
    KeychainStatus status = KeychainStatus::success;
    bool wasUnlocked = false;
  };

  // A service that was started anew knows nothing of our session: then the second attempt counts.
  Found search(const Ref<GHashTable>& attributes) {
    const bool wasOpen = proxy_ != nullptr;
    Found found = searchOnce(attributes);
    return wasOpen && !proxy_ ? searchOnce(attributes) : std::move(found);
  }

  Found searchOnce(const Ref<GHashTable>& attributes) {
    Found found{open(), {}};
    if (found.status != KeychainStatus::success) return found;
    Failure failure;
    GList* const list = libsecret().serviceSearchSync(proxy_.get(), &schema_, attributes.get(),
                                                      SECRET_SEARCH_ALL, nullptr, failure.out());
    for (GList* each = list; each; each = each->next) {
      found.items.emplace_back(static_cast<SecretItem*>(each->data));
    }
    libsecret().listFree(list);
    found.status = finish(failure);
    return found;
  }

  Opened openDefaultCollection(KeychainPrompt prompt) {
    Failure failure;
    const Ref<SecretCollection> collection(libsecret().collectionForAliasSync(
        proxy_.get(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, nullptr, failure.out()));
    if (!collection) return {finish(failure)};
    if (!libsecret().collectionGetLocked(collection.get())) return {};
    if (prompt == KeychainPrompt::skipped) return {KeychainStatus::interactionNotAllowed};
    const KeychainStatus status = unlockObject(collection.get());
    return {status, status == KeychainStatus::success};
  }

  KeychainStatus unlockObject(gpointer object) {
    GList objects{object, nullptr, nullptr};
    Failure failure;
    const int count =
        libsecret().serviceUnlockSync(proxy_.get(), &objects, nullptr, nullptr, failure.out());
    return count == 0 ? KeychainStatus::userCanceled : finish(failure);
  }

  Ref<GHashTable> attributesOf(const std::string& account) const {
    return Ref<GHashTable>(libsecret().attributesBuild(&schema_, serviceAttribute, service_.c_str(),
                                                       accountAttribute, account.c_str(), nullptr));
  }

  void close() {
    proxy_.reset();
    bus_.reset();
  }

  const std::string service_;
  SecretSchema schema_{};
  Ref<GDBusConnection> bus_;
  Ref<SecretService> proxy_;
};

SecretServiceKeychain::SecretServiceKeychain(std::string service)
    : session_(std::make_unique<Session>(std::move(service))) {}

SecretServiceKeychain::~SecretServiceKeychain() = default;

bool SecretServiceKeychain::answers() {
  return session_->open() == KeychainStatus::success;
}

KeychainValue SecretServiceKeychain::read(const std::string& account, KeychainPrompt prompt) {
  const Found found = session_->findAccount(account, prompt);
  if (found.status != KeychainStatus::success) return {found.status, ""};
  const Ref<SecretItem>& item = found.items.front();
  if (isLocked(item) && prompt == KeychainPrompt::skipped) {
    return {KeychainStatus::interactionNotAllowed, ""};
  }
  const KeychainStatus unlocked = session_->unlock(item);
  if (unlocked != KeychainStatus::success) return {unlocked, ""};
  Failure failure;
  libsecret().itemLoadSecretSync(item.get(), nullptr, failure.out());
  const KeychainStatus loaded = session_->finish(failure);
  if (loaded != KeychainStatus::success) return {loaded, ""};
  const Ref<SecretValue> value(libsecret().itemGetSecret(item.get()));
  if (!value) return {KeychainStatus::interactionNotAllowed, ""};  // locked again meanwhile
  gsize length = 0;
  const char* const bytes = libsecret().valueGet(value.get(), &length);
  return {KeychainStatus::success, std::string(bytes, length)};
}

KeychainAccounts SecretServiceKeychain::listAccounts() {
  const Found found = session_->findAll();
  KeychainAccounts result{found.status, {}};
  for (const Ref<SecretItem>& item : found.items) {
    if (auto account = accountOf(item)) result.accounts.push_back(std::move(*account));
  }
  std::sort(result.accounts.begin(), result.accounts.end());
  result.accounts.erase(std::unique(result.accounts.begin(), result.accounts.end()),
                        result.accounts.end());
  return result;
}

KeychainStatus SecretServiceKeychain::update(const std::string& account, const std::string& value) {
  const Found found = session_->findAccount(account, KeychainPrompt::allowed);
  if (found.status != KeychainStatus::success) return found.status;
  const Ref<SecretItem>& item = found.items.front();
  const KeychainStatus unlocked = session_->unlock(item);
  if (unlocked != KeychainStatus::success) return unlocked;
  Failure failure;
  libsecret().itemSetSecretSync(item.get(), secretValue(value).get(), nullptr, failure.out());
  return session_->finish(failure);
}

KeychainStatus SecretServiceKeychain::add(const std::string& account, const std::string& value) {
  const KeychainStatus existing = session_->findAccount(account, KeychainPrompt::allowed).status;
  if (existing == KeychainStatus::success) return KeychainStatus::duplicateItem;
  if (existing != KeychainStatus::itemNotFound) return existing;
  return session_->store(account, value);
}

KeychainStatus SecretServiceKeychain::remove(const std::string& account) {
  const Found found = session_->findAccount(account, KeychainPrompt::allowed);
  KeychainStatus status = found.status;
  for (const Ref<SecretItem>& item : found.items) {
    if (status == KeychainStatus::success) status = session_->unlock(item);
    if (status != KeychainStatus::success) break;
    Failure failure;
    libsecret().itemDeleteSync(item.get(), nullptr, failure.out());
    status = session_->finish(failure);
  }
  return status;
}

std::optional<std::string> SecretServiceKeychain::describe(KeychainStatus status) const {
  switch (status) {
    case KeychainStatus::userCanceled:
      return "The keyring was not unlocked.";
    case KeychainStatus::notAvailable:
      return missingLibrary().value_or("No Secret Service runs in this session.");
    case KeychainStatus::authFailed:
      return "The keyring refused access.";
    case KeychainStatus::interactionNotAllowed:
      return "The keyring is locked.";
    case KeychainStatus::itemNotFound:
      return "The keyring has no such item.";
    case KeychainStatus::duplicateItem:
      return "The keyring has such an item already.";
    case KeychainStatus::ioError:
    case KeychainStatus::cannotWrite:
      return "The Secret Service reported an error.";
    case KeychainStatus::success:
      break;
  }
  return std::nullopt;
}

}  // namespace halcyra
