#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/Keychain.h"

namespace halcyra {

/// A keychain in a map that writes down its calls ("read a", "peek a" for a read that may not
/// prompt, "list", "update a", "add a", "remove a") and fails as told.
class MemoryKeychain : public Keychain {
 public:
  std::map<std::string, std::string> items;
  std::map<std::string, KeychainStatus> failures;  // by call
  std::map<KeychainStatus, std::string> descriptions;
  std::vector<std::string> calls;

  /// The calls since the last look.
  std::vector<std::string> takeCalls() { return std::exchange(calls, {}); }

  KeychainValue read(const std::string& account, KeychainPrompt prompt) override {
    const KeychainStatus status =
        called((prompt == KeychainPrompt::allowed ? "read " : "peek ") + account, account, true);
    return {status, status == KeychainStatus::success ? items[account] : ""};
  }

  KeychainAccounts listAccounts() override {
    KeychainAccounts list{called("list", "", false), {}};
    if (list.status != KeychainStatus::success) return list;
    for (const auto& [account, value] : items) list.accounts.push_back(account);
    return list;
  }

  KeychainStatus update(const std::string& account, const std::string& value) override {
    const KeychainStatus status = called("update " + account, account, true);
    if (status == KeychainStatus::success) items[account] = value;
    return status;
  }

  KeychainStatus add(const std::string& account, const std::string& value) override {
    const KeychainStatus status = called("add " + account, account, false);
    if (status == KeychainStatus::success) items[account] = value;
    return status;
  }

  KeychainStatus remove(const std::string& account) override {
    const KeychainStatus status = called("remove " + account, account, true);
    if (status == KeychainStatus::success) items.erase(account);
    return status;
  }

  std::optional<std::string> describe(KeychainStatus status) const override {
    const auto found = descriptions.find(status);
    return found == descriptions.end() ? std::nullopt : std::optional(found->second);
  }

 private:
  KeychainStatus called(const std::string& call, const std::string& account, bool needsItem) {
    calls.push_back(call);
    if (const auto failure = failures.find(call); failure != failures.end()) return failure->second;
    if (needsItem && !items.contains(account)) return KeychainStatus::itemNotFound;
    return KeychainStatus::success;
  }
};

}  // namespace halcyra
