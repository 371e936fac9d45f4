#pragma once

#include <optional>
#include <string_view>

#include "text/Scan.h"

namespace halcyra {

/// One scanner per regular expression of the HTML cleaning: each gives the next match at or after
/// `from`, exactly as ICU's engine would, in time linear in the text passed over.

/// (?is)<NAME\b[^>]*>.*?</NAME>
std::optional<Match> nextElement(std::string_view text, std::size_t from, std::string_view name);

/// (?i)<br\s*/?>
std::optional<Match> nextLineBreak(std::string_view text, std::size_t from);

/// (?i)</NAME\s*>
std::optional<Match> nextClosingTag(std::string_view text, std::size_t from, std::string_view name);

/// (?i)</h[1-6]\s*>
std::optional<Match> nextHeadingEnd(std::string_view text, std::size_t from);

/// Where the name ends of a tag at `begin` that closes a block, </p, </div, </tr or </h[1-6], or
/// npos.
std::size_t blockCloserNameEnd(std::string_view text, std::size_t begin);

/// The end of a line or block, with what takes its place.
struct BlockEnd {
  Match match;
  std::string_view by;
};

/// A line break or a closing tag of those, whichever comes first.
std::optional<BlockEnd> nextBlockEnd(std::string_view text, std::size_t from);

/// <!--[\s\S]*?-->
std::optional<Match> nextComment(std::string_view text, std::size_t from);

/// (?i)<!\[CDATA\[[\s\S]*?\]\]>
std::optional<Match> nextCharacterData(std::string_view text, std::size_t from);

/// <[^>]+>
std::optional<Match> nextTag(std::string_view text, std::size_t from);

/// <[^>\n]{0,200}>
std::optional<Match> nextShortTag(std::string_view text, std::size_t from);

/// (?i)</?t[rhd]\b[^>\n]{0,200}>
std::optional<Match> nextTableTag(std::string_view text, std::size_t from);

/// \n{3,}
std::optional<Match> nextBlankRun(std::string_view text, std::size_t from);

/// (?i)href\s* up to the "=" at `equals`: where it begins, or npos
std::size_t hrefBefore(std::string_view text, std::size_t equals);

/// (?i)\ba\s+href\s*=\s*"[^"]*" and, with `wholeTag`, the rest of the tag behind it:
/// \s*(?:target\s*=\s*"[^"]*"\s*)?(?:style\s*=\s*"[^"]*"\s*)?>
std::optional<Match> nextLinkOpening(std::string_view text, std::size_t from, bool wholeTag);

}  // namespace halcyra
