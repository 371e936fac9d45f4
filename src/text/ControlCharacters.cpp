#include "text/ControlCharacters.h"

#include "text/Utf8.h"

namespace halcyra {
namespace {

// C0, DEL, C1, and the bidirectional overrides and isolates, which make text look like other text.
bool isControl(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || (c >= 0x202A && c <= 0x202E) ||
         (c >= 0x2066 && c <= 0x2069);
}

bool breaksLine(char32_t c) {
  return c == 0x2028 || c == 0x2029;
}

}  // namespace

std::string onOneLine(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t position = 0; position < text.size();) {
    const char32_t c = nextCodePoint(text, position);
    appendUtf8(result, isControl(c) || breaksLine(c) ? U' ' : c);
  }
  return result;
}

std::string printable(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t position = 0; position < text.size();) {
    const char32_t c = nextCodePoint(text, position);
    if (!isControl(c) || c == '\n' || c == '\t') appendUtf8(result, c);
  }
  return result;
}

}  // namespace halcyra
