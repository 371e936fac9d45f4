#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// The last steps of the body's cleaning.

/// Removes what tags leave that were cut open: link openings, and table tags, which become line
/// feeds.
void stripLinkResidue(std::string& text);

/// Keeps of equal lines, in any case, the first of the whole mail, and of a run of empty lines one.
/// Lines lose blanks at their ends.
void dropRepeatedLines(std::string& text);

/// Removes replacement characters, byte order marks and short tags; shrinks runs of blank lines;
/// trims.
void finalCleanup(std::string& text);

/// A raw body without the lines that are MIME's own: delimiters and part headers.
std::string stripMIMENoise(std::string_view body);

}  // namespace halcyra
