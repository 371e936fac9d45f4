#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace halcyra {

/// The bare address of a From header or of what a person typed as recipient. Lenient: no grammar is
/// checked, so the result may still be no address that a server takes.
std::optional<std::string> extractMailAddress(std::string_view text);

/// A message id in angle brackets; for an empty one a placeholder.
std::string angleBracketed(std::string_view messageID);

}  // namespace halcyra
