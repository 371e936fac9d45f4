#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace halcyra {

/// The scheme and host of an environment's address ("https://host"), which a user may have typed
/// without a scheme or copied with a page's path; the key of its tokens. "http" stays "http". The
/// host keeps its case. Nothing when the text holds no host.
std::optional<std::string> normalizedDataverseEnvironment(std::string_view text);

}  // namespace halcyra
