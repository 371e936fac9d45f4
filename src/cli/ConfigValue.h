#pragma once

#include <string>
#include <string_view>

#include "config/AppConfig.h"

namespace halcyra {

/// The value at a path such as `rules[1].forwardTo`, as JSON on one line; "(none)" when there is
/// none.
std::string configValueText(const AppConfig& config, std::string_view keyPath);

}  // namespace halcyra
