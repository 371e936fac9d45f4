#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace halcyra::sandbox {

/// Terminal columns that UTF-8 text takes: two for wide characters, none for marks that combine.
std::size_t columnsOf(std::string_view text);

/// The text in exactly `width` columns: cut with an ellipsis, or filled with blanks.
std::string fitted(std::string_view text, std::size_t width);

/// The text's paragraphs in lines of at most `width` columns, broken between words. A longer word
/// keeps its length.
std::vector<std::string> wrapped(std::string_view text, std::size_t width);

}  // namespace halcyra::sandbox
