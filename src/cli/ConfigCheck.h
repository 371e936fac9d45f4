#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "config/AppConfig.h"

namespace halcyra {

/// A configuration that can be read, and what in it is likely a slip.
struct ConfigCheck {
  AppConfig config;
  std::vector<std::string> warnings;
};

/// Reads the text of a config.json as the program does at its start. Throws ConfigError.
ConfigCheck checkConfig(std::string_view text);

/// What is allowed in a configuration and yet does not do what its writer may think.
std::vector<std::string> configWarnings(const AppConfig& config);

/// For instance "2 mailboxes (1 enabled), 3 rules".
std::string configSummary(const AppConfig& config);

}  // namespace halcyra
