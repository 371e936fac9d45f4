#include "text/Case.h"

#include <unicode/bytestream.h>
#include <unicode/casemap.h>

#include <algorithm>
#include <optional>

#include "text/Utf8.h"

namespace halcyra {

std::string asciiLowercased(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), asciiLower);
  return result;
}

namespace {

// Of ASCII, Latin-1 and the punctuation of U+2000 to U+203F, where every character has a lower case
// of its own size; nothing for texts with others.
std::optional<std::string> latinLowercased(std::string_view text) {
  std::string lower = asciiLowercased(text);
  for (std::size_t at = 0; (at = asciiRunEnd(lower, at)) < lower.size();) {
    const char lead = lower[at];
    char& second = lower[at + 1];
    if (lead == '\xE2' && second == '\x80') {
      at += 3;
      continue;
    }
    if (lead != '\xC2' && lead != '\xC3') return std::nullopt;
    const auto low = static_cast<unsigned char>(second);
    const bool isCapital = lead == '\xC3' && low <= 0x9E && low != 0x97;
    if (isCapital) second = static_cast<char>(low + 0x20);
    at += 2;
  }
  return lower;
}

}  // namespace

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
