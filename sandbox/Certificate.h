#pragma once

#include <filesystem>
#include <string>

namespace halcyra::sandbox {

/// A server's certificate, valid for two days, and the authority of its own that signed it.
struct Certificate {
  std::filesystem::path authority;
  std::filesystem::path certificate;
  std::filesystem::path key;
};

/// Makes both in `folder` with the openssl command, for one DNS name. Throws std::runtime_error
/// with the command's words.
Certificate makeCertificate(const std::filesystem::path& folder, const std::string& hostName);

}  // namespace halcyra::sandbox
