#include "text/Case.h"

#include <unicode/bytestream.h>
#include <unicode/casemap.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "text/ByteWord.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

constexpr char16_t latinEnd = 0x180;
constexpr char16_t unknown = 0;

// The small letters of U+0080 to U+017F; unknown where the lower case is another size or depends on
// more.
constexpr std::array<char16_t, latinEnd> latinLower = [] {
  std::array<char16_t, latinEnd> lower{};
  for (char16_t c = 0x80; c < latinEnd; ++c) {
    const bool isPlain = c < 0xC0 || c == 0xD7 || c == 0x138 || c == 0x149 || c == 0x17F;
    const bool capitalsAreOdd = (c >= 0x139 && c < 0x149) || c >= 0x179;
    const bool isExtendedCapital = !isPlain && c >= 0x100 && (c % 2 == 1) == capitalsAreOdd;
    const bool isCapital = !isPlain && c < 0xDF;
    lower[c] = static_cast<char16_t>(isCapital ? c + 0x20 : isExtendedCapital ? c + 1 : c);
  }
  lower[0x130] = lower[0x178] = unknown;
  return lower;
}();

// Lowers A to Z in as many blocks as there are. Their size is fixed so that the compiler takes each
// as a whole.
template <std::ptrdiff_t size>
char* lowerBlocks(char* place, char* end) {
  for (; end - place >= size; place += size) {
    for (std::ptrdiff_t i = 0; i < size; ++i) place[i] = asciiLower(place[i]);
  }
  return place;
}

void lowerAscii(std::string& text) {
  constexpr std::ptrdiff_t small = 8;
  char* const end = text.data() + text.size();
  char* const rest = lowerBlocks<small>(lowerBlocks<32>(text.data(), end), end);
  // The last block may overlap others, since what is small stays so.
  if (end - text.data() >= small) {
    lowerBlocks<small>(end - small, end);
  } else {
    lowerBlocks<1>(rest, end);
  }
}

// Most punctuation and symbols, kana and the ideographs, which have no case.
bool isCaseless(char32_t c) {
  return (c >= 0x2000 && c < 0x2100) || (c >= 0x2190 && c < 0x2480) ||
         (c >= 0x2500 && c < 0x2C00) || (c >= 0x3000 && c < 0xA000) ||
         (c >= 0x1F000 && c < 0x20000);
}

// Lowers the Latin letter at `at`, or passes over what has no case; gives the place behind it, or
// npos for any other character.
std::size_t lowerWide(std::string& text, std::size_t at) {
  const auto lead = static_cast<unsigned char>(text[at]);
  if (lead >= (0xC0 | latinEnd >> 6)) {
    return isCaseless(nextWideCodePoint(text, at)) ? at : text.npos;
  }
  const char16_t small = latinLower[(lead & 0x1F) << 6 | (text[at + 1] & 0x3F)];
  if (small == unknown) return text.npos;
  text[at] = static_cast<char>(0xC0 | small >> 6);
  text[at + 1] = static_cast<char>(0x80 | (small & 0x3F));
  return at + 2;
}

// False for a text with characters that only ICU knows, of which some may be lowered already.
bool lowerLatin(std::string& text) {
  lowerAscii(text);
  for (std::size_t at = 0; (at = asciiRunEnd(text, at)) < text.size();) {
    if ((at = lowerWide(text, at)) == text.npos) return false;
  }
  return true;
}

}  // namespace

std::string asciiLowercased(std::string_view text) {
  std::string result(text);
  lowerAscii(result);
  return result;
}

void lowercase(std::string& text) {
  if (lowerLatin(text)) return;
  std::string result;
  icu::StringByteSink<std::string> sink(&result, static_cast<int32_t>(text.size()));
  UErrorCode status = U_ZERO_ERROR;
  icu::CaseMap::utf8ToLower("", 0, icu::StringPiece(text.data(), static_cast<int32_t>(text.size())),
                            sink, nullptr, status);
  text = U_SUCCESS(status) ? std::move(result) : asciiLowercased(text);
}

std::string lowercased(std::string_view text) {
  std::string result(text);
  lowercase(result);
  return result;
}

bool equalsIgnoringAsciiCase(std::string_view left, std::string_view right) {
  if (left.size() != right.size()) return false;
  std::size_t at = 0;
  for (; at + sizeof(std::uint64_t) <= left.size(); at += sizeof(std::uint64_t)) {
    if (asciiLower(wordAt(left.data() + at)) != asciiLower(wordAt(right.data() + at))) return false;
  }
  return std::equal(left.begin() + static_cast<std::ptrdiff_t>(at), left.end(),
                    right.begin() + static_cast<std::ptrdiff_t>(at),
                    [](char a, char b) { return asciiLower(a) == asciiLower(b); });
}

}  // namespace halcyra
