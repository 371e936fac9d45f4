#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// One line about a sent mail: its subject and the begin of its text, trimmed, joined by a dash and
/// cut after 280 characters. Empty when it has neither.
std::string sentSnippet(std::string_view subject, std::string_view preview);

}  // namespace halcyra
