#pragma once

#include <array>
#include <optional>
#include <string>

#include "config/AppConfig.h"

namespace halcyra {

/// Id of the connection made from an older sign-in that had none.
inline constexpr const char* legacySalesforceConnectionId = "legacy-salesforce-settings";

/// A one-time change to a configuration of an earlier version; leaves any other as it is.
using ConfigRepair = void (*)(AppConfig& config);

/// The repairs that need nothing but the configuration, in their order.
extern const std::array<ConfigRepair, 5> configRepairs;

/// A Dynamics connection made from the older single URL, when there is a Graph mailbox for it.
std::optional<CRMConnectionProfile> legacyDynamicsConnection(const AppConfig& config);

/// The connection of an older Salesforce sign-in.
CRMConnectionProfile legacySalesforceConnection(const AppConfig& config);

}  // namespace halcyra
