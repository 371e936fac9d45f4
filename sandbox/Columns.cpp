#include "sandbox/Columns.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstdint>
#include <sstream>

namespace halcyra::sandbox {

namespace {

std::size_t columnsOfCharacter(UChar32 character) {
  const auto kind = u_charType(character);
  if (kind == U_NON_SPACING_MARK || kind == U_ENCLOSING_MARK || kind == U_FORMAT_CHAR) return 0;
  const int width = u_getIntPropertyValue(character, UCHAR_EAST_ASIAN_WIDTH);
  return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

// The next character from `at`, which moves behind it.
UChar32 nextCharacter(std::string_view text, std::size_t& at) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  UChar32 character = 0;
  U8_NEXT_OR_FFFD(bytes, at, text.size(), character);
  return character;
}

// The longest start of the text that takes at most `width` columns.
std::string_view startWithin(std::string_view text, std::size_t width) {
  std::size_t end = 0;
  for (std::size_t at = 0, used = 0; at < text.size(); end = at) {
    used += columnsOfCharacter(nextCharacter(text, at));
    if (used > width) break;
  }
  return text.substr(0, end);
}

}  // namespace

std::size_t columnsOf(std::string_view text) {
  std::size_t columns = 0;
  for (std::size_t at = 0; at < text.size();)
    columns += columnsOfCharacter(nextCharacter(text, at));
  return columns;
}

std::string fitted(std::string_view text, std::size_t width) {
  std::string result(text);
  if (columnsOf(text) > width) result = std::string(startWithin(text, width - 1)) + "…";
  return result + std::string(width - columnsOf(result), ' ');
}

std::vector<std::string> wrapped(std::string_view text, std::size_t width) {
  std::vector<std::string> lines;
  std::istringstream paragraphs{std::string(text)};
  for (std::string paragraph; std::getline(paragraphs, paragraph);) {
    std::istringstream words(paragraph);
    std::string line;
    for (std::string word; words >> word;) {
      if (!line.empty() && columnsOf(line) + 1 + columnsOf(word) > width) {
        lines.push_back(std::move(line));
        line.clear();
      }
      line += (line.empty() ? "" : " ") + word;
    }
    lines.push_back(std::move(line));
  }
  return lines;
}

}  // namespace halcyra::sandbox
