#pragma once

#include <cstddef>
#include <string_view>

#include "text/Utf8.h"

namespace halcyra {

/// "Character" wherever a limit is counted: an extended grapheme cluster (Unicode Annex 29), in
/// which CR LF is one. Texts are valid UTF-8. Cost is linear, and ASCII is counted without tables.

std::size_t graphemeCount(std::string_view text);

/// True when the text has more than `limit` characters; reads no further than it must.
bool hasMoreGraphemesThan(std::string_view text, std::size_t limit);

/// isWholeCharacter where a neighbour is beyond ASCII.
bool isWholeAmongWide(std::string_view text, std::size_t begin, std::size_t end);

/// True when the code point text[begin, end), a letter, sign or digit, is a character of its own:
/// nothing before it attaches itself to it, and no combining mark follows.
inline bool isWholeCharacter(std::string_view text, std::size_t begin, std::size_t end) {
  const bool amongAscii = (begin == 0 || isAsciiByte(text[begin - 1])) &&
                          (end >= text.size() || isAsciiByte(text[end]));
  return amongAscii || isWholeAmongWide(text, begin, end);
}

/// The first `count` characters, or the whole text when it has fewer.
std::string_view graphemePrefix(std::string_view text, std::size_t count);

}  // namespace halcyra
