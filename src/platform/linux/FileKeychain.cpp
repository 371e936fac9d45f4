#include "platform/linux/FileKeychain.h"

#include "text/Json.h"

namespace halcyra {
namespace {

// Takes away what others may do. A path that is not there, or not ours, stays as it is.
void narrow(const std::filesystem::path& path) {
  using std::filesystem::perms;
  std::error_code error;
  std::filesystem::permissions(path, perms::group_all | perms::others_all,
                               std::filesystem::perm_options::remove, error);
}

}  // namespace

FileKeychain::FileKeychain(FileStore& files, std::filesystem::path file)
    : files_(files), file_(std::move(file)) {}

KeychainValue FileKeychain::read(const std::string& account, KeychainPrompt) {
  const std::optional<Items> items = load();
  if (!items) return {KeychainStatus::ioError, ""};
  const auto found = items->find(account);
  if (found == items->end()) return {KeychainStatus::itemNotFound, ""};
  return {KeychainStatus::success, found->second};
}

KeychainAccounts FileKeychain::listAccounts() {
  const std::optional<Items> items = load();
  if (!items) return {KeychainStatus::ioError, {}};
  KeychainAccounts result;
  for (const auto& [account, value] : *items) result.accounts.push_back(account);
  return result;
}

KeychainStatus FileKeychain::update(const std::string& account, const std::string& value) {
  std::optional<Items> items = load();
  if (!items) return KeychainStatus::ioError;
  const auto found = items->find(account);
  if (found == items->end()) return KeychainStatus::itemNotFound;
  found->second = value;
  return save(*items);
}

KeychainStatus FileKeychain::add(const std::string& account, const std::string& value) {
  std::optional<Items> items = load();
  if (!items) return KeychainStatus::ioError;
  if (!items->emplace(account, value).second) return KeychainStatus::duplicateItem;
  return save(*items);
}

KeychainStatus FileKeychain::remove(const std::string& account) {
  std::optional<Items> items = load();
  if (!items) return KeychainStatus::ioError;
  if (items->erase(account) == 0) return KeychainStatus::itemNotFound;
  return save(*items);
}

std::optional<std::string> FileKeychain::describe(KeychainStatus status) const {
  if (status == KeychainStatus::ioError) {
    return "The secrets file " + file_.string() +
           " is damaged or cannot be read: mend it, or move it away and set the secrets again.";
  }
  if (status == KeychainStatus::cannotWrite) {
    return "The secrets file " + file_.string() +
           " cannot be written and stays as it was: make room on the disk of its folder, or make "
           "the folder writable.";
  }
  return std::nullopt;
}

// Nothing when the file is there and cannot be used; no file is no items.
std::optional<FileKeychain::Items> FileKeychain::load() {
  narrow(file_);
  try {
    const auto text = files_.read(file_);
    if (!text) return Items();
    const nlohmann::json document = parseJson(*text);
    if (!document.is_object()) return std::nullopt;
    Items items;
    for (const auto& [account, value] : document.items()) {
      if (!value.is_string()) return std::nullopt;
      items.emplace(account, value.get<std::string>());
    }
    return items;
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
}

KeychainStatus FileKeychain::save(const Items& items) {
  const std::filesystem::path folder = file_.parent_path();
  try {
    const std::string text = nlohmann::json(items).dump(2) + "\n";
    files_.createFolder(folder);
    files_.writeAtomically(file_, text);
    return KeychainStatus::success;
  } catch (const nlohmann::json::type_error&) {  // a value that is no UTF-8
    return KeychainStatus::ioError;
  } catch (const FileError&) {
    return KeychainStatus::cannotWrite;
  }
}

}  // namespace halcyra
