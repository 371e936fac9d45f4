#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// The text on one line: every control character (C0, DEL, C1, bidirectional control, line and
/// paragraph separator) is one blank. For foreign text in log lines and table cells.
std::string onOneLine(std::string_view text);

/// The text as a terminal may show it: line feeds and tabs stay, every other control character is
/// dropped, so that foreign text cannot steer the terminal.
std::string printable(std::string_view text);

}  // namespace halcyra
