#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace halcyra {

/// Status of a keychain operation. The numbers are part of stored error texts and stay as they are.
enum class KeychainStatus : std::int32_t {
  success = 0,
  userCanceled = -128,
  notAvailable = -25291,
  authFailed = -25293,
  duplicateItem = -25299,
  itemNotFound = -25300,
  interactionNotAllowed = -25308,
  ioError = -36,
  cannotWrite = -61,
};

/// May the operation ask the user to unlock the keychain?
enum class KeychainPrompt { allowed, skipped };

struct KeychainValue {
  KeychainStatus status = KeychainStatus::itemNotFound;
  std::string value;  // bytes, only with success
};

struct KeychainAccounts {
  KeychainStatus status = KeychainStatus::success;
  std::vector<std::string> accounts;
};

/// The items of one service in the desktop's keychain, each a byte string under an account name.
/// Calls may block on a prompt. Nothing is thrown; the status tells.
class Keychain {
 public:
  virtual ~Keychain() = default;

  virtual KeychainValue read(const std::string& account, KeychainPrompt prompt) = 0;
  /// Never prompts.
  virtual KeychainAccounts listAccounts() = 0;
  /// itemNotFound when there is no such item.
  virtual KeychainStatus update(const std::string& account, const std::string& value) = 0;
  virtual KeychainStatus add(const std::string& account, const std::string& value) = 0;
  virtual KeychainStatus remove(const std::string& account) = 0;

  /// The keychain's own words for a status, if it has any.
  virtual std::optional<std::string> describe(KeychainStatus status) const = 0;
};

}  // namespace halcyra
