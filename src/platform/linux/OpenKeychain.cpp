#include "platform/linux/OpenKeychain.h"

#include <stdexcept>

#include "platform/linux/FileKeychain.h"
#include "platform/linux/SecretServiceKeychain.h"

namespace halcyra {

std::unique_ptr<Keychain> openKeychain(const std::string& service, FileStore& files,
                                       const std::filesystem::path& folder, std::string_view choice,
                                       const std::function<void(const std::string&)>& warn) {
  const std::filesystem::path file = folder / "secrets.json";
  if (choice == "file") return std::make_unique<FileKeychain>(files, file);
  if (!choice.empty() && choice != "secret-service") {
    throw std::invalid_argument("HALCYRA_KEYCHAIN must be secret-service or file, not \"" +
                                std::string(choice) + "\".");
  }
  auto keyring = std::make_unique<SecretServiceKeychain>(service);
  if (choice == "secret-service" || keyring->answers()) return keyring;
  std::string reason = keyring->describe(KeychainStatus::notAvailable).value_or("");
  if (reason.ends_with('.')) reason.pop_back();
  warn(reason + ", so secrets are kept as plain text in " + file.string() +
       ", readable by you only. HALCYRA_KEYCHAIN=file silences this warning.");
  return std::make_unique<FileKeychain>(files, file);
}

}  // namespace halcyra
