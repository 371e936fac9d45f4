#pragma once

#include <string_view>

#include "text/Json.h"

namespace halcyra {

/// Builds the rules of a configuration from before rules existed out of its forward addresses and
/// switches. A document that holds rules stays as it is.
void migrateRules(nlohmann::json& document);

/// Does the document hold rules that migrateRules leaves alone: a list, not empty, of objects only?
bool holdsRules(const nlohmann::json& document);

/// A top-level key that only the migration reads.
bool isLegacyRuleKey(std::string_view key);

}  // namespace halcyra
