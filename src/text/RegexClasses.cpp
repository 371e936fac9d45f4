#include "text/RegexClasses.h"

#include <unicode/uchar.h>

#include "text/Case.h"
#include "text/Trim.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

UChar32 icu(char32_t c) {
  return static_cast<UChar32>(c);
}

// [\p{Alphabetic}\p{M}\p{Nd}\p{Pc}\u200c\u200d]
bool isWordCharacter(char32_t c) {
  if (c < 0x80)
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
  constexpr uint32_t categories = U_GC_M_MASK | U_GC_ND_MASK | U_GC_PC_MASK;
  return u_hasBinaryProperty(icu(c), UCHAR_ALPHABETIC) ||
         (U_GET_GC_MASK(icu(c)) & categories) != 0 || c == 0x200C || c == 0x200D;
}

// A character that `\b` takes as part of the one before it.
bool isTransparent(char32_t c) {
  return c >= 0x80 && (u_hasBinaryProperty(icu(c), UCHAR_GRAPHEME_EXTEND) ||
                       u_charType(icu(c)) == U_FORMAT_CHAR);
}

}  // namespace

std::size_t skipWhiteSpace(std::string_view text, std::size_t position) {
  while (position < text.size()) {
    std::size_t next = position;
    if (!isWhiteSpace(nextCodePoint(text, next))) break;
    position = next;
  }
  return position;
}

std::size_t whiteSpaceStart(std::string_view text, std::size_t position) {
  while (position > 0) {
    const std::size_t last = codePointStart(text, position - 1);
    std::size_t next = last;
    if (!isWhiteSpace(nextCodePoint(text, next))) break;
    position = last;
  }
  return position;
}

std::size_t foldedMatchEnd(std::string_view text, std::size_t position, std::string_view word) {
  while (!word.empty()) {
    const std::string_view rest = text.substr(position);
    if (!rest.empty() && asciiLower(rest.front()) == word.front()) {
      ++position;
      word.remove_prefix(1);
    } else if (word.front() == 's' && rest.starts_with("\u017F")) {
      position += 2;
      word.remove_prefix(1);
    } else if (word.starts_with("st") &&
               (rest.starts_with("\uFB05") || rest.starts_with("\uFB06"))) {
      position += 3;
      word.remove_prefix(2);
    } else {
      return text.npos;
    }
  }
  return position;
}

bool wordEndsAt(std::string_view text, std::size_t position) {
  if (position >= text.size()) return true;
  const char32_t next = nextCodePoint(text, position);
  return !isTransparent(next) && !isWordCharacter(next);
}

bool wordStartsAt(std::string_view text, std::size_t position) {
  while (position > 0) {
    position = codePointStart(text, position - 1);
    std::size_t end = position;
    const char32_t previous = nextCodePoint(text, end);
    if (!isTransparent(previous)) return !isWordCharacter(previous);
  }
  return true;
}

}  // namespace halcyra
