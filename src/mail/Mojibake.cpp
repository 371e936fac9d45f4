#include "mail/Mojibake.h"

#include <algorithm>
#include <string_view>

#include "text/Graphemes.h"
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
  std::string sequence;
  for (std::size_t position = 0; position < text.size();) {
    const char32_t c = nextCodePoint(text, position);
    if (c > 0xFF) return false;
    if (c >= 0x80 && c < 0xC0) {
      sequence.push_back(static_cast<char>(c));
      if (sequence.size() > 4) return false;
      continue;
    }
    if (!isValidUtf8(sequence)) return false;
    sequence.assign(1, static_cast<char>(c));
  }
  return isValidUtf8(sequence);
}

// The text in ISO-8859-1, which it fits.
std::string latin1Bytes(std::string_view text) {
  std::string bytes;
  for (std::size_t position = 0; position < text.size();) {
    bytes.push_back(static_cast<char>(nextCodePoint(text, position)));
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
