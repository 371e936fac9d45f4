#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/Command.h"
#include "config/AppConfig.h"

namespace halcyra {

/// What leads need besides the configuration. Asked only where a lead depends on it, since the
/// answers may open the keychain.
struct LeadWays {
  std::function<bool()> hasMicrosoftClientId;
  std::function<bool()> hasSalesforceClientId;
  std::function<bool(const std::string& accountId)> isMailboxSignedIn;
  /// A blank id asks for the single sign-in of earlier versions.
  std::function<bool(const std::string& connectionId)> isSalesforceSignedIn;
};

/// Those of this program. `config` and `session` outlive them.
LeadWays leadWays(Session& session, const AppConfig& config);

/// Why no lead can be created in this environment by the sign-in of this mailbox, with the command
/// that mends it; nothing when it can.
std::optional<std::string> dynamicsObstacle(const AppConfig& config, const LeadWays& ways,
                                            const std::string& accountId,
                                            const std::string& environmentURL);

/// The same for a Salesforce sign-in.
std::optional<std::string> salesforceObstacle(const LeadWays& ways,
                                              const std::string& connectionId);

/// The same for a connection of either kind.
std::optional<std::string> connectionObstacle(const AppConfig& config, const LeadWays& ways,
                                              const CRMConnectionProfile& connection);

/// The rules and the steps of chains that can never create their lead as things are.
std::vector<std::string> leadWarnings(const AppConfig& config, const LeadWays& ways);

}  // namespace halcyra
