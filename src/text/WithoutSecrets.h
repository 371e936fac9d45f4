#pragma once

#include <span>
#include <string>

namespace halcyra {

/// The text with each occurrence of a secret replaced by "***". For words of servers, some of which
/// repeat what they refuse, and not always as it was sent: a secret is also found behind escapes of
/// JSON, of URLs and of HTML, three deep, and within base64. Linear in the text.
std::string withoutSecrets(std::string text, std::span<const std::string> secrets);

}  // namespace halcyra
