#include "signin/PKCE.h"

#include <algorithm>

#include "platform/Digest.h"
#include "platform/SecureRandom.h"
#include "text/Base64.h"

namespace halcyra {
namespace {

constexpr std::size_t verifierBytes = 32;

// base64url without padding (RFC 4648, section 5).
std::string urlSafeBase64(std::string_view bytes) {
  std::string text = encodeBase64(bytes);
  std::replace(text.begin(), text.end(), '+', '-');
  std::replace(text.begin(), text.end(), '/', '_');
  std::erase(text, '=');
  return text;
}

}  // namespace

std::string makeCodeVerifier() {
  return urlSafeBase64(secureRandomBytes(verifierBytes));
}

std::string codeChallenge(std::string_view verifier) {
  return urlSafeBase64(sha256(verifier));
}

}  // namespace halcyra
