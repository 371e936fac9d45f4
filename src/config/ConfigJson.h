#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "config/AppConfig.h"

namespace halcyra {

/// A configuration that cannot be read. `what()` names the place and the fault, for instance
/// `mailAccounts[0].kind.imap.port: expected a whole number`.
class ConfigError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads the text of a config.json: adds the keys that older files lack, builds rules from the
/// settings of files from before rules existed, then decodes strictly. Throws ConfigError.
AppConfig decodeConfig(std::string_view text);

/// The text of a config.json: two blanks of indentation, sorted keys, UTF-8, a line feed at the
/// end. Throws ConfigError when a number is not finite, since JSON has no form for it.
std::string encodeConfig(const AppConfig& config);

/// Where the text holds keys that no record has, as paths such as `rules[0].colour`. The settings
/// of files from before rules existed are known. Throws ConfigError when the text is no JSON
/// object.
std::vector<std::string> unknownKeys(std::string_view text);

/// Why decodeConfig replaces what the text holds under `rules` by generated rules, although it
/// holds something there; empty when it does not. Throws ConfigError when the text is no JSON
/// object.
std::string discardedRules(std::string_view text);

/// The configuration with one value changed. `keyPath` is a field's path as in ConfigError, for
/// instance `llmModel` or `rules[1].forwardTo`. `value` is taken as it stands for a text field and
/// read as JSON for any other. Throws ConfigError, with the names that come near for an unknown
/// key.
AppConfig configWithValue(const AppConfig& config, std::string_view keyPath,
                          std::string_view value);

}  // namespace halcyra
