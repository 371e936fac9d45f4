#pragma once

#include <string>
#include <vector>

#include "config/AppConfig.h"

namespace halcyra {

/// What keeps rules from sending, although the configuration allows it.
std::vector<std::string> sendingWarnings(const AppConfig& config);

/// One address without a name, as a forward needs it.
bool isPlainAddress(std::string_view text);

}  // namespace halcyra
