#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/FileStore.h"
#include "platform/Keychain.h"

namespace halcyra {

/// The keychain for the items of one service. `choice` is the value of HALCYRA_KEYCHAIN:
/// "secret-service", "file" (`folder`/secrets.json), or empty for the Secret Service if it answers
/// and the file otherwise; `warn` is then called once with a text that names the file. Throws
/// std::invalid_argument for any other choice. `files` must outlive the keychain.
std::unique_ptr<Keychain> openKeychain(const std::string& service, FileStore& files,
                                       const std::filesystem::path& folder, std::string_view choice,
                                       const std::function<void(const std::string&)>& warn);

}  // namespace halcyra
