#include "text/Case.h"

#include <unicode/bytestream.h>
#include <unicode/casemap.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>

#include "text/Utf8.h"

namespace halcyra {

namespace {

// Eight letters at once: a byte from 'A' to 'Z' gets the bit that makes it small.
std::uint64_t asciiLowered(std::uint64_t word) {
  constexpr std::uint64_t each = 0x0101010101010101u;
  const std::uint64_t low = word & 0x7F * each;
  const std::uint64_t fromA = low + (0x80 - 'A') * each;
  const std::uint64_t behindZ = low + (0x7F - 'Z') * each;
  const std::uint64_t capital = ~word & (fromA ^ behindZ) & 0x80 * each;
  return word | capital >> 2;
}

// U+0080 to U+017F; nothing where the lower case is another size or depends on more.
std::optional<char32_t> latinLower(char32_t c) {
  if (c < 0xC0) return c;
  if (c < 0xDF) return c == 0xD7 ? c : c + 0x20;
  if (c < 0x100) return c;
  if (c == 0x130 || c == 0x178) return std::nullopt;
  const bool capitalsAreOdd = (c >= 0x139 && c < 0x149) || (c >= 0x179 && c < 0x17F);
  const bool isSmallOnly = c == 0x138 || c == 0x149 || c == 0x17F;
  const bool isCapital = !isSmallOnly && (c % 2 == 1) == capitalsAreOdd;
  return isCapital ? c + 1 : c;
}

// Of ASCII, Latin and the punctuation of U+2000 to U+203F; nothing for texts with others.
std::optional<std::string> latinLowercased(std::string_view text) {
  std::string lower = asciiLowercased(text);
  for (std::size_t at = 0; (at = asciiRunEnd(lower, at)) < lower.size();) {
    std::size_t next = at;
    const char32_t c = nextCodePoint(lower, next);
    const bool isPunctuation = c >= 0x2000 && c < 0x2040;
    if (!isPunctuation) {
      const std::optional<char32_t> small = c < 0x180 ? latinLower(c) : std::nullopt;
      if (!small) return std::nullopt;
      lower[at] = static_cast<char>(0xC0 | *small >> 6);
      lower[at + 1] = static_cast<char>(0x80 | (*small & 0x3F));
    }
    at = next;
  }
  return lower;
}

}  // namespace

std::string asciiLowercased(std::string_view text) {
  std::string result(text);
  std::size_t at = 0;
  for (std::uint64_t word; at + sizeof word <= result.size(); at += sizeof word) {
    std::memcpy(&word, result.data() + at, sizeof word);
    word = asciiLowered(word);
    std::memcpy(result.data() + at, &word, sizeof word);
  }
  for (; at < result.size(); ++at) result[at] = asciiLower(result[at]);
  return result;
}

std::string lowercased(std::string_view text) {
  if (isAscii(text)) return asciiLowercased(text);
  if (std::optional<std::string> lower = latinLowercased(text)) return *std::move(lower);
  std::string result;
  icu::StringByteSink<std::string> sink(&result, static_cast<int32_t>(text.size()));
  UErrorCode status = U_ZERO_ERROR;
  icu::CaseMap::utf8ToLower("", 0, icu::StringPiece(text.data(), static_cast<int32_t>(text.size())),
                            sink, nullptr, status);
  return U_SUCCESS(status) ? result : asciiLowercased(text);
}

bool equalsIgnoringAsciiCase(std::string_view left, std::string_view right) {
  return left.size() == right.size() &&
         std::equal(left.begin(), left.end(), right.begin(),
                    [](char a, char b) { return asciiLower(a) == asciiLower(b); });
}

}  // namespace halcyra
