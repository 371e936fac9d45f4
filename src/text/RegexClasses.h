#pragma once

#include <cstddef>
#include <string_view>

namespace halcyra {

/// What the escapes of an ICU regular expression mean, for scanners written by hand.

/// Behind the white space (`\s*`) that starts at `position`.
std::size_t skipWhiteSpace(std::string_view text, std::size_t position);

/// Where the white space (`\s*`) that ends before `position` starts.
std::size_t whiteSpaceStart(std::string_view text, std::size_t position);

/// `(?i)WORD`: the end of `word` at `position` under full case folding, or npos. U+017F counts as
/// "s", U+FB05 and U+FB06 as "st". `word` is lower-case ASCII without k, ff, fi, fl and ss, whose
/// foldings are not handled.
std::size_t foldedMatchEnd(std::string_view text, std::size_t position, std::string_view word);

/// `\b` between an ASCII letter and what follows at `position`.
bool wordEndsAt(std::string_view text, std::size_t position);

/// `\b` between what precedes `position` and an ASCII letter there. Combining and format characters
/// are looked through.
bool wordStartsAt(std::string_view text, std::size_t position);

}  // namespace halcyra
