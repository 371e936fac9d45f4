#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// The text with the characters that mean something in HTML as entities.
std::string escapedHtml(std::string_view text);

}  // namespace halcyra
