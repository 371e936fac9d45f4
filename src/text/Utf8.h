#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace halcyra {

/// Behind the ASCII bytes that start at `position`.
std::size_t asciiRunEnd(std::string_view bytes, std::size_t position);

bool isAscii(std::string_view bytes);

inline bool isAsciiByte(char byte) {
  return static_cast<unsigned char>(byte) < 0x80;
}

/// Well-formed UTF-8 (RFC 3629): no overlong forms, no surrogates, nothing above U+10FFFF.
bool isValidUtf8(std::string_view bytes);

/// The bytes as UTF-8, each maximal ill-formed subsequence replaced by one U+FFFD (Unicode chapter
/// 3, "substitution of maximal subparts"). Valid input comes back unchanged.
std::string repairedUtf8(std::string bytes);

/// Reads the code point beyond ASCII that starts at `position` of a valid UTF-8 text and moves
/// `position` behind it.
char32_t nextWideCodePoint(std::string_view text, std::size_t& position);

/// Reads the code point that starts at `position` of a valid UTF-8 text and moves `position` behind
/// it.
inline char32_t nextCodePoint(std::string_view text, std::size_t& position) {
  const auto lead = static_cast<unsigned char>(text[position]);
  if (lead >= 0x80) return nextWideCodePoint(text, position);
  ++position;
  return lead;
}

/// Start of the code point that the byte at `position` of a valid UTF-8 text belongs to.
std::size_t codePointStart(std::string_view text, std::size_t position);

/// Appends a Unicode scalar value as UTF-8.
void appendUtf8(std::string& text, char32_t codePoint);

}  // namespace halcyra
