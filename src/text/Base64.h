#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace halcyra {

/// Base64 with padding and without line breaks (RFC 4648, section 4).
std::string encodeBase64(std::string_view bytes);

/// The bytes of a base64 text, or nothing when it holds any character outside the alphabet, lacks
/// its padding or is padded in the middle. The empty text gives no bytes.
std::optional<std::string> decodeBase64(std::string_view text);

}  // namespace halcyra
