#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// Unicode lower case, independent of any locale.
std::string lowercased(std::string_view text);

/// Only A to Z are changed.
std::string asciiLowercased(std::string_view text);

/// Equal but for the case of A to Z, the comparison of header names and protocol words (RFC 5322,
/// section 1.2.2).
bool equalsIgnoringAsciiCase(std::string_view left, std::string_view right);

inline char asciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

}  // namespace halcyra
