#pragma once

#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace halcyra {

/// Building blocks of the hand-written scanners that stand in for regular expressions. All of them
/// walk forward over valid UTF-8 and cost time linear in the text.

/// A stretch of a text.
struct Match {
  std::size_t begin = 0;
  std::size_t end = 0;
};

/// First place of `needle` at or after `from`, or npos. Linear for any needle, which
/// string_view::find is not.
std::size_t findText(std::string_view text, std::string_view needle, std::size_t from = 0);

/// First place of `a` or `b` at or after `from`, or the size of the text.
std::size_t findEither(std::string_view text, char a, char b, std::size_t from);

std::size_t codePointCount(std::string_view text);

/// Asks `endAt(position)` at each `first` from `from` on; the first answer other than npos is the
/// end of the match.
template <class EndAt>
std::optional<Match> nextStartingWith(std::string_view text, char first, std::size_t from,
                                      EndAt endAt) {
  for (std::size_t begin = from; (begin = text.find(first, begin)) != text.npos; ++begin) {
    if (const std::size_t end = endAt(begin); end != text.npos) return Match{begin, end};
  }
  return std::nullopt;
}

/// Replaces every match that `next(text, from)` gives by what `replacement(matched)` gives, which
/// must not be longer than the match: the text is rewritten in place, so that a large message
/// needs no second buffer. `next` sees the original text from `from` on.
template <class Next, class Replacement>
void rewriteMatches(std::string& text, Next next, Replacement replacement) {
  const std::string_view view = text;
  std::size_t read = 0, written = 0;
  const auto keep = [&](std::size_t end) {
    if (read != written) std::memmove(text.data() + written, view.data() + read, end - read);
    written += end - read;
  };
  while (const std::optional<Match> match = next(view, read)) {
    keep(match->begin);
    const auto by = replacement(view.substr(match->begin, match->end - match->begin));
    written += by.copy(text.data() + written, by.size());
    read = match->end;
  }
  keep(text.size());
  text.resize(written);
}

template <class Next>
void replaceMatches(std::string& text, std::string_view by, Next next) {
  rewriteMatches(text, next, [by](std::string_view) { return by; });
}

/// Answers "where is the next `needle` at or after this place" for places that never go back; all
/// questions together cost one pass over the text.
class ForwardFinder {
 public:
  ForwardFinder(std::string_view text, std::string_view needle) : text_(text), needle_(needle) {}

  std::size_t from(std::size_t place) {
    if (!known_ || found_ < place) found_ = findText(text_, needle_, place);
    known_ = true;
    return found_;
  }

 private:
  std::string_view text_;
  std::string_view needle_;
  std::size_t found_ = 0;
  bool known_ = false;
};

}  // namespace halcyra
