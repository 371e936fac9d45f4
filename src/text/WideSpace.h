#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "text/Scan.h"

namespace halcyra {

/// The next [^\S\n]+ of valid UTF-8 at or after `from`, but for the runs that are one space
/// already.
std::optional<Match> nextWideSpace(std::string_view text, std::size_t from);

}  // namespace halcyra
