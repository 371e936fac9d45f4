#include "text/Trim.h"

#include <algorithm>

#include "text/Utf8.h"

namespace halcyra {

bool isWideWhiteSpace(char32_t c) {
  return c == 0x85 || c == 0xA0 || c == 0x1680 || (c >= 0x2000 && c <= 0x200A) || c == 0x2028 ||
         c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty()) {
    std::size_t next = 0;
    if (!isWhiteSpace(nextCodePoint(text, next))) break;
    text.remove_prefix(next);
  }
  while (!text.empty()) {
    const std::size_t last = codePointStart(text, text.size() - 1);
    std::size_t position = last;
    if (!isWhiteSpace(nextCodePoint(text, position))) break;
    text.remove_suffix(text.size() - last);
  }
  return text;
}

void trim(std::string& text) {
  const std::string_view kept = trimmed(text);
  const auto start = static_cast<std::size_t>(kept.data() - text.data());
  text.resize(start + kept.size());
  text.erase(0, start);
}

std::string_view trimmedOf(std::string_view text, std::string_view characters) {
  const auto isOne = [characters](char c) {
    return std::ranges::find(characters, c) != characters.end();
  };
  while (!text.empty() && isOne(text.front())) text.remove_prefix(1);
  while (!text.empty() && isOne(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace halcyra
