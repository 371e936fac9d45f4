#include "config/KeychainEnvelopeStorage.h"

#include "config/RecordTable.h"
#include "text/Json.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

constexpr std::int64_t envelopeVersion = 1;

struct Payload {
  std::int64_t v = envelopeVersion;
  std::map<std::string, std::string> e;
};

}  // namespace

template <>
std::span<const Field<Payload>> fieldsOf() {
  static constexpr std::array fields = {field<&Payload::v>("v", Absent::fails),
                                        field<&Payload::e>("e", Absent::fails)};
  return fields;
}

namespace {

// The entries of an envelope of any version, or nothing when the text is none.
std::optional<std::map<std::string, std::string>> decodeEnvelope(const std::string& text) {
  try {
    Payload payload;
    decodeValue(parseJson(text), payload, Place());
    return std::move(payload.e);
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
}

// Nothing when an entry is not UTF-8, which JSON cannot hold.
std::optional<std::string> encodeEnvelope(const std::map<std::string, std::string>& entries) {
  try {
    return encodeValue(Payload{envelopeVersion, entries}).dump();
  } catch (const nlohmann::json::type_error&) {
    return std::nullopt;
  }
}

std::string errorText(KeychainStatus status, const std::optional<std::string>& description) {
  if (description) return *description;
  return "Keychain error (" + std::to_string(static_cast<std::int32_t>(status)) + ").";
}

}  // namespace

KeychainError::KeychainError(KeychainStatus status, const std::optional<std::string>& description)
    : std::runtime_error(errorText(status, description)), status_(status) {}

std::optional<std::string> KeychainEnvelopeStorage::readSecret(const std::string& key) {
  const std::scoped_lock hold(lock_);
  ensureLoaded();
  if (!entries_) return std::nullopt;
  const auto found = entries_->find(key);
  return found == entries_->end() ? std::nullopt : std::optional(found->second);
}

void KeychainEnvelopeStorage::writeSecret(const std::string& value, const std::string& key) {
  const std::scoped_lock hold(lock_);
  Entries& entries = loadedEntries();
  const auto found = entries.find(key);
  if (value.empty()) {
    if (found == entries.end()) return;
    entries.erase(found);
  } else {
    if (found != entries.end() && found->second == value) return;
    entries[key] = value;
  }
  persist();
}

void KeychainEnvelopeStorage::removeSecret(const std::string& key) {
  const std::scoped_lock hold(lock_);
  loadedEntries().erase(key);
  persist();
}

std::vector<std::string> KeychainEnvelopeStorage::keys() {
  const std::scoped_lock hold(lock_);
  std::vector<std::string> keys;
  for (const auto& [key, value] : loadedEntries()) keys.push_back(key);
  return keys;
}

bool KeychainEnvelopeStorage::isLoaded() {
  const std::scoped_lock hold(lock_);
  return entries_.has_value();
}

// The entries for an operation that may fail. After a failed attempt to load, they start out empty
// only when there is nothing that a new envelope would put out of reach.
KeychainEnvelopeStorage::Entries& KeychainEnvelopeStorage::loadedEntries() {
  const Loading loading = ensureLoaded();
  if (!entries_) {
    if (!loading.isEmpty) fail(loading.status);
    entries_.emplace();
  }
  return *entries_;
}

// A keychain that cannot be read is not an empty one: nothing is migrated, overwritten or deleted
// on its account, and the next access tries again.
KeychainEnvelopeStorage::Loading KeychainEnvelopeStorage::ensureLoaded() {
  if (entries_) return {};
  const KeychainValue envelope = keychain_.read(envelopeAccount, KeychainPrompt::allowed);
  if (envelope.status == KeychainStatus::success) {
    entries_ = decodeEnvelope(envelope.value);
    return entries_ ? Loading{} : migrate();
  }
  return envelope.status == KeychainStatus::itemNotFound ? migrate() : Loading{envelope.status};
}

// Brings secrets that earlier versions kept in an item each into the envelope.
KeychainEnvelopeStorage::Loading KeychainEnvelopeStorage::migrate() {
  KeychainAccounts old = keychain_.listAccounts();
  if (old.status != KeychainStatus::success && old.status != KeychainStatus::itemNotFound) {
    return {old.status};
  }
  std::erase_if(old.accounts, [](const std::string& account) {
    return account == envelopeAccount || !isValidUtf8(account);
  });
  Entries carried;
  for (const std::string& account : old.accounts) {
    KeychainValue item = keychain_.read(account, KeychainPrompt::skipped);
    if (item.status == KeychainStatus::success) {
      if (!item.value.empty() && isValidUtf8(item.value)) carried[account] = std::move(item.value);
    } else if (item.status != KeychainStatus::itemNotFound) {
      return {item.status};
    }
  }
  const bool isEmpty = carried.empty();
  entries_ = std::move(carried);
  if (const KeychainStatus status = writeEnvelope(); status != KeychainStatus::success) {
    entries_.reset();
    return {status, isEmpty};
  }
  for (const std::string& account : old.accounts) keychain_.remove(account);
  return {};
}

void KeychainEnvelopeStorage::persist() {
  if (const KeychainStatus status = writeEnvelope(); status != KeychainStatus::success) {
    fail(status);
  }
}

KeychainStatus KeychainEnvelopeStorage::writeEnvelope() {
  const std::optional<std::string> text = encodeEnvelope(*entries_);
  if (!text) return KeychainStatus::success;
  const KeychainStatus status = keychain_.update(envelopeAccount, *text);
  return status == KeychainStatus::itemNotFound ? keychain_.add(envelopeAccount, *text) : status;
}

void KeychainEnvelopeStorage::fail(KeychainStatus status) const {
  throw KeychainError(status, keychain_.describe(status));
}

}  // namespace halcyra
