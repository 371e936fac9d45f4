#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// A code point beyond ASCII of Unicode's White_Space property.
bool isWideWhiteSpace(char32_t codePoint);

/// A code point of Unicode's White_Space property.
inline bool isWhiteSpace(char32_t codePoint) {
  if (codePoint >= 0x80) return isWideWhiteSpace(codePoint);
  return codePoint == ' ' || (codePoint >= 0x09 && codePoint <= 0x0D);
}

/// The text without leading and trailing Unicode white space, newlines included. A view into
/// `text`, which must be valid UTF-8.
std::string_view trimmed(std::string_view text);

/// The same, in place.
void trim(std::string& text);

/// The text without leading and trailing characters of an ASCII set.
std::string_view trimmedOf(std::string_view text, std::string_view characters);

}  // namespace halcyra
