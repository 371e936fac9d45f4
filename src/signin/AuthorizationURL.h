#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "text/PercentEncoding.h"

namespace halcyra {

/// The address of a provider's page with a query; nothing when `base` is no http address, which is
/// all that a browser is ever sent to.
inline std::optional<std::string> authorizationURL(
    std::string_view base, std::string_view path,
    const std::vector<std::pair<std::string, std::string>>& query) {
  if (!base.starts_with("https://") && !base.starts_with("http://")) return std::nullopt;
  return std::string(base) + std::string(path) + "?" + formEncoded(query);
}

}  // namespace halcyra
