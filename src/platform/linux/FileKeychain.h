#pragma once

#include <filesystem>
#include <map>

#include "platform/FileStore.h"
#include "platform/Keychain.h"

namespace halcyra {

/// A keychain for sessions without a Secret Service: one JSON file, account to text, in plain text.
/// Only the permissions protect it: the file is kept at 0600 in a folder of 0700. A file that is
/// damaged or cannot be read is ioError for every operation and stays as it is; so does one that
/// cannot be replaced, which is cannotWrite.
class FileKeychain : public Keychain {
 public:
  /// `files` must outlive the keychain.
  FileKeychain(FileStore& files, std::filesystem::path file);

  KeychainValue read(const std::string& account, KeychainPrompt prompt) override;
  KeychainAccounts listAccounts() override;
  /// A value that is no UTF-8 is refused with ioError.
  KeychainStatus update(const std::string& account, const std::string& value) override;
  KeychainStatus add(const std::string& account, const std::string& value) override;
  KeychainStatus remove(const std::string& account) override;
  std::optional<std::string> describe(KeychainStatus status) const override;

 private:
  using Items = std::map<std::string, std::string>;

  std::optional<Items> load();
  KeychainStatus save(const Items& items);

  FileStore& files_;
  std::filesystem::path file_;
};

}  // namespace halcyra
