#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace halcyra {

/// Unicode lower case, independent of any locale.
std::string lowercased(std::string_view text);

/// The same, in place.
void lowercase(std::string& text);

/// Only A to Z are changed.
std::string asciiLowercased(std::string_view text);

/// Equal but for the case of A to Z, the comparison of header names and protocol words (RFC 5322,
/// section 1.2.2).
bool equalsIgnoringAsciiCase(std::string_view left, std::string_view right);

inline char asciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

/// Eight characters at once: a byte from 'A' to 'Z' gets the bit that makes it small.
inline std::uint64_t asciiLower(std::uint64_t characters) {
  constexpr std::uint64_t each = 0x0101010101010101u;
  const std::uint64_t low = characters & 0x7F * each;
  const std::uint64_t fromA = low + (0x80 - 'A') * each;
  const std::uint64_t behindZ = low + (0x7F - 'Z') * each;
  const std::uint64_t capital = ~characters & (fromA ^ behindZ) & 0x80 * each;
  return characters | capital >> 2;
}

}  // namespace halcyra
