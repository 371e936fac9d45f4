#include "mail/HtmlScanners.h"

#include <algorithm>

#include "text/Case.h"
#include "text/RegexClasses.h"
#include "text/Trim.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

constexpr std::size_t npos = std::string_view::npos;

// Behind `c` at `position`, or npos; npos stays npos.
std::size_t after(std::string_view text, std::size_t position, char c) {
  return position < text.size() && text[position] == c ? position + 1 : npos;
}

std::size_t afterFolded(std::string_view text, std::size_t position, std::string_view word) {
  return position == npos ? npos : foldedMatchEnd(text, position, word);
}

std::size_t afterSpaces(std::string_view text, std::size_t position) {
  return position == npos ? npos : skipWhiteSpace(text, position);
}

std::size_t afterOptional(std::string_view text, std::size_t position, char c) {
  const std::size_t behind = after(text, position, c);
  return behind == npos ? position : behind;
}

// Lazily up to the first `closer` at or after `position`.
std::size_t afterFirst(std::string_view text, std::size_t position, std::string_view closer) {
  const std::size_t found = findText(text, closer, position);
  return found == npos ? npos : found + closer.size();
}

// WORD\s*=\s*"[^"]*", folded
std::size_t afterAttribute(std::string_view text, std::size_t position, std::string_view word) {
  position = afterSpaces(text, afterFolded(text, position, word));
  position = afterSpaces(text, after(text, position, '='));
  position = after(text, position, '"');
  return position == npos ? npos : afterFirst(text, position, "\"");
}

// (?:WORD\s*=\s*"[^"]*"\s*)?
std::size_t afterOptionalAttribute(std::string_view text, std::size_t position,
                                   std::string_view word) {
  const std::size_t behind = afterSpaces(text, afterAttribute(text, position, word));
  return behind == npos ? position : behind;
}

// Places of "</NAME>", folded.
std::size_t afterClosingTag(std::string_view text, std::size_t position, std::string_view name) {
  while ((position = findText(text, "</", position)) != npos) {
    const std::size_t end = after(text, foldedMatchEnd(text, position + 2, name), '>');
    if (end != npos) return end;
    ++position;
  }
  return npos;
}

// At most 200 characters of [^>\n] between `begin` and the ">" at `stop`.
bool isShort(std::string_view text, std::size_t begin, std::size_t stop) {
  constexpr std::size_t longest = 200;
  constexpr std::size_t bytesOfCodePoint = 4;
  const std::size_t bytes = stop - begin;
  if (bytes > longest * bytesOfCodePoint) return false;
  return bytes <= longest || codePointCount(text.substr(begin, bytes)) <= longest;
}

// The next OPENING[^>\n]{0,200}>, where `openingEnd` gives the end of an opening at a "<". The
// first ">" or line feed behind an opening is looked for once and serves all openings before it.
template <class OpeningEnd>
std::optional<Match> nextShort(std::string_view text, std::size_t from, OpeningEnd openingEnd) {
  std::size_t stop = 0;
  for (std::size_t begin = from; (begin = text.find('<', begin)) != npos; ++begin) {
    const std::size_t opened = openingEnd(begin);
    if (opened == npos) continue;
    if (stop < opened) stop = findEither(text, '>', '\n', opened);
    if (stop == text.size()) return std::nullopt;
    if (text[stop] == '>' && isShort(text, opened, stop)) return Match{begin, stop + 1};
  }
  return std::nullopt;
}

// <br\s*/?>
std::size_t lineBreakEnd(std::string_view text, std::size_t begin) {
  const std::size_t named = afterSpaces(text, foldedMatchEnd(text, begin + 1, "br"));
  return after(text, afterOptional(text, named, '/'), '>');
}

// h[1-6], folded
std::size_t headingNameEnd(std::string_view text, std::size_t position) {
  const std::size_t level = afterFolded(text, position, "h");
  const bool known = level < text.size() && text[level] >= '1' && text[level] <= '6';
  return known ? level + 1 : npos;
}

// Whether a look at the first letter leaves it open that `word` stands there, folded.
bool mayBegin(std::string_view text, std::size_t position, std::string_view word) {
  if (position >= text.size()) return false;
  const char first = text[position];
  return asciiLower(first) == word.front() || !isAsciiByte(first);
}

}  // namespace

std::optional<Match> nextElement(std::string_view text, std::size_t from, std::string_view name) {
  for (std::size_t begin = from; (begin = text.find('<', begin)) != npos; ++begin) {
    if (!mayBegin(text, begin + 1, name)) continue;
    const std::size_t named = foldedMatchEnd(text, begin + 1, name);
    if (named == npos || !wordEndsAt(text, named)) continue;
    // Without a ">" or a closing tag behind this place, no later opening has one either.
    const std::size_t opened = afterFirst(text, named, ">");
    const std::size_t end = opened == npos ? npos : afterClosingTag(text, opened, name);
    if (end == npos) return std::nullopt;
    return Match{begin, end};
  }
  return std::nullopt;
}

std::optional<Match> nextLineBreak(std::string_view text, std::size_t from) {
  return nextStartingWith(text, '<', from,
                          [text](std::size_t begin) { return lineBreakEnd(text, begin); });
}

std::optional<Match> nextClosingTag(std::string_view text, std::size_t from,
                                    std::string_view name) {
  return nextStartingWith(text, '<', from, [text, name](std::size_t begin) {
    const std::size_t named = afterFolded(text, after(text, begin + 1, '/'), name);
    return after(text, afterSpaces(text, named), '>');
  });
}

std::optional<Match> nextHeadingEnd(std::string_view text, std::size_t from) {
  return nextStartingWith(text, '<', from, [text](std::size_t begin) {
    const std::size_t named = headingNameEnd(text, after(text, begin + 1, '/'));
    return after(text, afterSpaces(text, named), '>');
  });
}

std::size_t blockCloserNameEnd(std::string_view text, std::size_t begin) {
  const std::size_t name = after(text, begin + 1, '/');
  if (name >= text.size()) return npos;
  switch (asciiLower(text[name])) {
    case 'p':
      return name + 1;
    case 'd':
      return foldedMatchEnd(text, name, "div");
    case 't':
      return foldedMatchEnd(text, name, "tr");
    default:
      return headingNameEnd(text, name);
  }
}

std::optional<BlockEnd> nextBlockEnd(std::string_view text, std::size_t from) {
  for (std::size_t begin = from; (begin = text.find('<', begin)) != npos; ++begin) {
    const std::size_t name = begin + 1;
    if (name == text.size()) break;
    std::size_t end = npos;
    if (text[name] == '/') {
      end = after(text, afterSpaces(text, blockCloserNameEnd(text, begin)), '>');
    } else if (asciiLower(text[name]) == 'b') {
      end = lineBreakEnd(text, begin);
    }
    if (end == npos) continue;
    const char letter = asciiLower(text[name + 1]);  // of a closing tag's name
    const bool isFarApart = letter == 'p' || letter == 'h';
    return BlockEnd{{begin, end}, isFarApart ? "\n\n" : "\n"};
  }
  return std::nullopt;
}

std::optional<Match> nextComment(std::string_view text, std::size_t from) {
  for (std::size_t begin = from; (begin = text.find('<', begin)) != npos; ++begin) {
    if (!text.substr(begin + 1).starts_with("!--")) continue;
    const std::size_t end = afterFirst(text, begin + 4, "-->");
    if (end == npos) return std::nullopt;  // nor is there one for a later opening
    return Match{begin, end};
  }
  return std::nullopt;
}

std::optional<Match> nextCharacterData(std::string_view text, std::size_t from) {
  for (std::size_t begin = from; (begin = findText(text, "<![", begin)) != npos; ++begin) {
    const std::size_t opened = foldedMatchEnd(text, begin + 3, "cdata[");
    if (opened == npos) continue;
    const std::size_t end = afterFirst(text, opened, "]]>");
    if (end == npos) return std::nullopt;
    return Match{begin, end};
  }
  return std::nullopt;
}

std::optional<Match> nextTag(std::string_view text, std::size_t from) {
  for (std::size_t begin = from; (begin = text.find('<', begin)) != npos; ++begin) {
    if (after(text, begin + 1, '>') != npos) continue;
    const std::size_t end = afterFirst(text, begin + 1, ">");
    if (end == npos) return std::nullopt;
    return Match{begin, end};
  }
  return std::nullopt;
}

std::optional<Match> nextShortTag(std::string_view text, std::size_t from) {
  return nextShort(text, from, [](std::size_t begin) { return begin + 1; });
}

std::optional<Match> nextTableTag(std::string_view text, std::size_t from) {
  return nextShort(text, from, [text](std::size_t begin) {
    const std::size_t slashed = afterOptional(text, begin + 1, '/');
    if (slashed >= text.size() || asciiLower(text[slashed]) != 't') return npos;
    for (const std::string_view name : {"tr", "th", "td"}) {
      const std::size_t end = foldedMatchEnd(text, slashed, name);
      if (end != npos && wordEndsAt(text, end)) return end;
    }
    return npos;
  });
}

std::optional<Match> nextBlankRun(std::string_view text, std::size_t from) {
  return nextStartingWith(text, '\n', from, [text](std::size_t begin) {
    if (!text.substr(begin + 1).starts_with("\n\n")) return npos;
    return std::min(text.find_first_not_of('\n', begin), text.size());
  });
}

std::size_t hrefBefore(std::string_view text, std::size_t equals) {
  constexpr std::string_view name = "href";
  // Most often the byte before tells already; a space, or one beyond ASCII, does not.
  if (equals == 0 || (text[equals - 1] > ' ' && asciiLower(text[equals - 1]) != name.back())) {
    return npos;
  }
  const std::size_t end = whiteSpaceStart(text, equals);
  if (end < name.size()) return npos;
  const std::size_t begin = end - name.size();
  return equalsIgnoringAsciiCase(text.substr(begin, name.size()), name) ? begin : npos;
}

// An opening is found from its first "=", which is rarer than its first letter.
std::optional<Match> nextLinkOpening(std::string_view text, std::size_t from, bool wholeTag) {
  for (std::size_t equals = from; (equals = text.find('=', equals)) != npos; ++equals) {
    const std::size_t name = hrefBefore(text, equals);
    const std::size_t spaces = name == npos ? npos : whiteSpaceStart(text, name);
    if (spaces == name || spaces <= from || asciiLower(text[spaces - 1]) != 'a') continue;
    const std::size_t begin = spaces - 1;
    std::size_t end = afterAttribute(text, name, "href");
    if (end == npos || !wordStartsAt(text, begin)) continue;
    if (wholeTag) {
      end = afterOptionalAttribute(text, afterSpaces(text, end), "target");
      end = after(text, afterOptionalAttribute(text, end, "style"), '>');
      if (end == npos) continue;
    }
    return Match{begin, end};
  }
  return std::nullopt;
}

}  // namespace halcyra
