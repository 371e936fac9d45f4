#pragma once

#include <exception>
#include <string>

#include "config/AppConfig.h"

namespace halcyra {

/// Why a model call failed, with the setting to mend where it is likely one.
std::string withModelHint(const std::exception& error, const AppConfig& config);

}  // namespace halcyra
