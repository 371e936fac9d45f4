#pragma once

#include <string>
#include <string_view>

namespace halcyra {

// Proof Key for Code Exchange (RFC 7636): whoever catches the redirect cannot use its code without
// the verifier, which never leaves this program except to the token endpoint.

/// A fresh verifier: 43 characters of the URL-safe base64 alphabet.
std::string makeCodeVerifier();

/// The challenge of method "S256" for a verifier.
std::string codeChallenge(std::string_view verifier);

}  // namespace halcyra
