#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace halcyra {

/// Models are asked for one JSON object and wrap it all the same.

/// The reply trimmed and, when it begins with a Markdown fence, without any fence.
std::string withoutFences(std::string_view reply);

/// The text from the first "{" to the last "}"; nothing without such a pair.
std::optional<std::string_view> betweenBraces(std::string_view text);

}  // namespace halcyra
