#include "text/Graphemes.h"

#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <stdexcept>

#include "text/Utf8.h"

namespace halcyra {
namespace {

struct BreakIteratorClose {
  void operator()(UBreakIterator* iterator) const { ubrk_close(iterator); }
};

UBreakIterator& characterIterator() {
  thread_local const std::unique_ptr<UBreakIterator, BreakIteratorClose> iterator = [] {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UBreakIterator, BreakIteratorClose> opened(
        ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status));
    if (U_FAILURE(status)) throw std::runtime_error("ICU has no character break rules");
    return opened;
  }();
  return *iterator;
}

// Letters and signs that never join a neighbour of their own kind; other than ASCII only some of
// them, to keep the test short.
bool standsAlone(char32_t c) {
  if (c < 0x80) return true;
  return (c < 0x300 && c != 0xAD) ||                                    // Latin
         (c >= 0x370 && c < 0x483) ||                                   // Greek, Cyrillic
         (c >= 0x2010 && c < 0x2028) || (c >= 0x20A0 && c < 0x20C0) ||  // punctuation, currencies
         (c >= 0x3041 && c < 0x3097) || (c >= 0x30A1 && c < 0x30FB) ||  // Kana
         (c >= 0x4E00 && c < 0xA000);                                   // Han
}

// End of the stretch that needs Unicode's rules: up to the second of two neighbours that stand
// alone.
std::size_t complexRunEnd(std::string_view text, std::size_t begin) {
  std::size_t end = begin;
  bool previousStandsAlone = standsAlone(nextCodePoint(text, end));
  while (end < text.size()) {
    std::size_t next = end;
    const bool alone = standsAlone(nextCodePoint(text, next));
    const bool crlf = text[end - 1] == '\r' && text[end] == '\n';
    if (previousStandsAlone && alone && !crlf) break;
    previousStandsAlone = alone;
    end = next;
  }
  return end;
}

// How many ASCII characters stand at `position`, as far as none is a CR. Looks only a little ahead,
// so that many CRs in a long run cost no more than the run.
std::size_t plainRun(std::string_view text, std::size_t position) {
  const std::string_view window = text.substr(position, 64);
  const std::string_view ascii = window.substr(0, asciiRunEnd(window, 0));
  return std::min(ascii.find('\r'), ascii.size());
}

int32_t breakClass(char32_t codePoint) {
  return u_getIntPropertyValue(static_cast<UChar32>(codePoint), UCHAR_GRAPHEME_CLUSTER_BREAK);
}

// Walks `run` by Unicode's rules until `budget` characters are passed; gives the bytes passed and
// lowers the budget.
std::size_t walkComplexRun(std::string_view run, std::size_t& budget) {
  UErrorCode status = U_ZERO_ERROR;
  UText text = UTEXT_INITIALIZER;
  utext_openUTF8(&text, run.data(), static_cast<int64_t>(run.size()), &status);
  UBreakIterator& iterator = characterIterator();
  ubrk_setUText(&iterator, &text, &status);
  std::size_t passed = 0;
  if (U_SUCCESS(status)) {
    ubrk_first(&iterator);
    while (budget > 0) {
      const int32_t next = ubrk_next(&iterator);
      if (next == UBRK_DONE) break;
      passed = static_cast<std::size_t>(next);
      --budget;
    }
  }
  utext_close(&text);
  return U_SUCCESS(status) ? passed : run.size();
}

// Byte length of the first `budget` characters; `budget` is left with what the text did not use.
std::size_t walk(std::string_view text, std::size_t& budget) {
  // ICU positions are 32-bit; a longer stretch without two neighbouring ASCII bytes is walked in
  // slices, which costs at most one miscounted character a gigabyte.
  constexpr std::size_t longestRun = 1u << 30;
  std::size_t position = 0;
  while (budget > 0 && position < text.size()) {
    // All but the last, which may belong to what follows.
    const std::size_t plain = plainRun(text, position);
    if (plain > 1) {
      const std::size_t passed = std::min(plain - 1, budget);
      position += passed;
      budget -= passed;
      continue;
    }
    std::size_t next = position;
    const bool alone = standsAlone(nextCodePoint(text, next));
    std::size_t behind = next;
    if (alone && (next == text.size() || standsAlone(nextCodePoint(text, behind)))) {
      const bool crlf = text[position] == '\r' && next < text.size() && text[next] == '\n';
      position = crlf ? behind : next;
      --budget;
      continue;
    }
    std::string_view run = text.substr(position, complexRunEnd(text, position) - position);
    position += walkComplexRun(run.substr(0, longestRun), budget);
  }
  return position;
}

}  // namespace

std::size_t graphemeCount(std::string_view text) {
  constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();
  std::size_t budget = unlimited;
  walk(text, budget);
  return unlimited - budget;
}

bool hasMoreGraphemesThan(std::string_view text, std::size_t limit) {
  if (text.size() <= limit) return false;
  return walk(text, limit) < text.size();
}

bool isWholeAmongWide(std::string_view text, std::size_t begin, std::size_t end) {
  if (begin > 0 && !isAsciiByte(text[begin - 1])) {
    std::size_t previous = codePointStart(text, begin - 1);
    if (breakClass(nextCodePoint(text, previous)) == U_GCB_PREPEND) return false;
  }
  if (end >= text.size() || isAsciiByte(text[end])) return true;
  const int32_t next = breakClass(nextCodePoint(text, end));
  return next != U_GCB_EXTEND && next != U_GCB_ZWJ && next != U_GCB_SPACING_MARK;
}

std::string_view graphemePrefix(std::string_view text, std::size_t count) {
  if (text.size() <= count) return text;
  return text.substr(0, walk(text, count));
}

}  // namespace halcyra
