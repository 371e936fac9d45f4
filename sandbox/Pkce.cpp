#include "sandbox/Pkce.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>

#include "text/Base64.h"

namespace halcyra::sandbox {

bool verifierFits(std::string_view verifier, std::string_view challenge) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
  unsigned size = 0;
  if (EVP_Digest(verifier.data(), verifier.size(), digest.data(), &size, EVP_sha256(), nullptr) !=
      1) {
    throw std::runtime_error("SHA-256 is not available.");
  }
  std::string text = encodeBase64({reinterpret_cast<const char*>(digest.data()), size});
  std::replace(text.begin(), text.end(), '+', '-');
  std::replace(text.begin(), text.end(), '/', '_');
  text.erase(text.find_last_not_of('=') + 1);
  // RFC 7636, section 4.1, bounds the verifier.
  return verifier.size() >= 43 && verifier.size() <= 128 && text == challenge;
}

}  // namespace halcyra::sandbox
