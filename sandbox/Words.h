#pragma once

#include <set>
#include <string>
#include <string_view>

namespace halcyra::sandbox {

enum class Language { english, french, german };

/// A crude guess by the small words of each language; English when nothing speaks for another.
Language guessedLanguage(std::string_view text);

/// The stems of the words that carry meaning. Common French and German words of business mail, and
/// some English ones of the same meaning, come out as one English stem, so that criteria in one
/// language meet a mail in another.
std::set<std::string> meaningfulStems(std::string_view text);

}  // namespace halcyra::sandbox
