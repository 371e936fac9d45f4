#include "mail/Mojibake.h"

#include <algorithm>
#include <string_view>

#include "text/Graphemes.h"
#include "text/Scan.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

// U+00C3 and U+00C2 begin most letters of UTF-8 that was read as ISO-8859-1.
struct TellTales {
  std::size_t aTilde = 0;
  std::size_t aCircumflex = 0;

  std::size_t total() const { return aTilde + aCircumflex; }
};

TellTales countTellTales(std::string_view text) {
  TellTales counted;
  for (std::size_t place = 0; (place = text.find('\xC3', place)) != text.npos; place += 2) {
    if (!isWholeCharacter(text, place, place + 2)) continue;
    if (text[place + 1] == '\x83') ++counted.aTilde;
    if (text[place + 1] == '\x82') ++counted.aCircumflex;
  }
  return counted;
}

// Whether the text fits ISO-8859-1 and its bytes there are UTF-8. Seen before they are built, since
// a large text that is no mojibake needs no second string then.
bool isMojibake(std::string_view text) {
  constexpr std::size_t longest = 4;
  for (std::size_t at = 0; (at = asciiRunEnd(text, at)) < text.size();) {
    char sequence[longest];
    std::size_t size = 0;
    // A lead byte and the continuation bytes behind it, U+0080 to U+00BF.
    do {
      const char32_t c = nextCodePoint(text, at);
      if (c > 0xFF || size == longest) return false;
      sequence[size++] = static_cast<char>(c);
    } while (at < text.size() && text[at] == '\xC2');
    if (!isValidUtf8({sequence, size})) return false;
  }
  return true;
}

// The text in ISO-8859-1, which it fits.
std::string latin1Bytes(std::string_view text) {
  std::string bytes;
  bytes.reserve(codePointCount(text));
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t run = asciiRunEnd(text, at);
    bytes.append(text, at, run - at);
    if ((at = run) < text.size()) bytes.push_back(static_cast<char>(nextCodePoint(text, at)));
  }
  return bytes;
}

bool isRepair(std::string_view old, std::string_view repaired) {
  const TellTales before = countTellTales(old), after = countTellTales(repaired);
  if (after.total() < before.total()) return true;
  return before.aTilde > 0 && after.aTilde == 0;
}

}  // namespace

std::string repairMojibake(std::string text, int passes) {
  if (isAscii(text)) return text;
  for (int pass = 0; pass < passes; ++pass) {
    if (!isMojibake(text)) break;
    std::string repaired = latin1Bytes(text);
    if (repaired == text || repaired.empty() || !isRepair(text, repaired)) break;
    text = std::move(repaired);
  }
  return text;
}

}  // namespace halcyra
