#pragma once

#include <string>

#include "config/AppConfig.h"

namespace halcyra {

/// Throws std::runtime_error that lists the connections there are when none has this id.
CRMConnectionProfile connectionWithId(const AppConfig& config, const std::string& id);

}  // namespace halcyra
