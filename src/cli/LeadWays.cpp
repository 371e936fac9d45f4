#include "cli/LeadWays.h"

#include <algorithm>
#include <exception>

#include "crm/SalesforceCredentialStore.h"
#include "crm/SalesforceOAuthClient.h"
#include "signin/DataverseEnvironment.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

using Obstacle = std::optional<std::string>;
using Warnings = std::vector<std::string>;

const MailAccount* graphMailbox(const AppConfig& config, const std::string& id) {
  const auto found = std::ranges::find(config.mailAccounts, id, &MailAccount::id);
  const bool isGraph =
      found != config.mailAccounts.end() && std::holds_alternative<MicrosoftGraph>(found->kind);
  return isGraph ? &*found : nullptr;
}

// The Outlook mailboxes whose mail may meet the rule.
std::vector<std::string> graphMailboxesOf(const AppConfig& config, const std::string& ruleId) {
  std::vector<std::string> ids;
  for (const MailAccount& account : config.monitoredMailAccounts()) {
    if (!std::holds_alternative<MicrosoftGraph>(account.kind)) continue;
    const std::vector<MailRule> rules = config.rulesForMailbox(account.id);
    if (std::ranges::find(rules, ruleId, &MailRule::id) != rules.end()) ids.push_back(account.id);
  }
  return ids;
}

// Without a connection the mailbox that the mail came to is the one that reaches Dataverse.
Obstacle obstacleOfMailboxes(const AppConfig& config, const LeadWays& ways,
                             const std::vector<std::string>& mailboxes) {
  if (mailboxes.empty()) return "applies to no Outlook mailbox that is watched";
  for (const std::string& id : mailboxes) {
    if (auto obstacle = dynamicsObstacle(config, ways, id, config.dataverseEnvironmentURL)) {
      return obstacle;
    }
  }
  return std::nullopt;
}

Obstacle ruleObstacle(const AppConfig& config, const LeadWays& ways, const MailRule& rule) {
  if (rule.action == MailRuleAction::dynamicsCreateLead) {
    return obstacleOfMailboxes(config, ways, graphMailboxesOf(config, rule.id));
  }
  if (rule.action == MailRuleAction::salesforceCreateLead) return salesforceObstacle(ways, "");
  return std::nullopt;
}

std::vector<std::string> graphMailboxesOfAutomation(const AppConfig& config,
                                                    const std::string& automationId) {
  std::vector<std::string> ids;
  for (const MailRule& rule : config.rules) {
    if (rule.action != MailRuleAction::runCustomAutomation ||
        trimmed(rule.customAutomationId) != automationId) {
      continue;
    }
    for (std::string& id : graphMailboxesOf(config, rule.id)) ids.push_back(std::move(id));
  }
  return ids;
}

Obstacle stepObstacle(const AppConfig& config, const LeadWays& ways, const std::string& automation,
                      const CustomAutomationStep& step) {
  const bool isDynamics = step.kind == CustomAutomationStepKind::createDynamicsLead;
  if (!isDynamics && step.kind != CustomAutomationStepKind::createSalesforceLead) {
    return std::nullopt;
  }
  const std::string id(trimmed(step.connectionId));
  if (id.empty() && isDynamics) {
    return obstacleOfMailboxes(config, ways, graphMailboxesOfAutomation(config, automation));
  }
  if (id.empty()) return salesforceObstacle(ways, "");
  const auto connection = config.crmConnectionProfile(id);
  if (!connection || (connection->kind == CRMConnectionKind::dynamics365) != isDynamics) {
    return std::string("names no ") + (isDynamics ? "Dynamics" : "Salesforce") +
           " connection there is; see \"halcyra-cli connection list\"";
  }
  return connectionObstacle(config, ways, *connection);
}

}  // namespace

LeadWays leadWays(Session& session, const AppConfig& config) {
  return {
      .hasMicrosoftClientId =
          [&] { return !session.app.secrets().resolvedMicrosoftClientId(config).empty(); },
      .hasSalesforceClientId = [&] { return !salesforceClientId(session.app.secrets()).empty(); },
      .isMailboxSignedIn =
          [&](const std::string& id) {
            return session.app.secrets()
                .storage()
                .readSecret(secretKey::oauthCredential(id))
                .has_value();
          },
      .isSalesforceSignedIn =
          [&](const std::string& id) {
            try {
              return SalesforceCredentialStore(session.app.secrets())
                  .loadSalesforceCredential(id)
                  .has_value();
            } catch (const std::exception&) {
              return false;
            }
          }};
}

std::optional<std::string> dynamicsObstacle(const AppConfig& config, const LeadWays& ways,
                                            const std::string& accountId,
                                            const std::string& environmentURL) {
  if (!normalizedDataverseEnvironment(environmentURL)) {
    return "has no valid Dataverse environment; set dataverseEnvironmentURL with \"halcyra-cli "
           "config set\", or that of the connection with \"halcyra-cli config edit\"";
  }
  if (graphMailbox(config, accountId) == nullptr) {
    return "has no Outlook mailbox to sign in with; add one with \"halcyra-cli mailbox add "
           "microsoft\"";
  }
  if (!ways.hasMicrosoftClientId()) {
    return "needs the application id at Microsoft; set it with \"halcyra-cli config set "
           "microsoftOAuthClientId ID\"";
  }
  if (!ways.isMailboxSignedIn(accountId)) {
    return "needs a sign-in: \"halcyra-cli signin microsoft --mailbox " + accountId + "\"";
  }
  return std::nullopt;
}

std::optional<std::string> salesforceObstacle(const LeadWays& ways,
                                              const std::string& connectionId) {
  if (!ways.hasSalesforceClientId()) {
    return "needs a build with the Salesforce consumer key HALCYRA_SALESFORCE_OAUTH_CLIENT_ID";
  }
  if (ways.isSalesforceSignedIn(connectionId)) return std::nullopt;
  if (connectionId.empty()) {
    return "names no connection, and there is no sign-in from before connections; use an "
           "automation whose step names a connection, which \"halcyra-cli connection add "
           "salesforce\" makes";
  }
  return "needs a sign-in: \"halcyra-cli signin salesforce --connection " + connectionId + "\"";
}

std::optional<std::string> connectionObstacle(const AppConfig& config, const LeadWays& ways,
                                              const CRMConnectionProfile& connection) {
  if (connection.kind == CRMConnectionKind::salesforce) {
    return salesforceObstacle(ways, connection.id);
  }
  return dynamicsObstacle(config, ways, std::string(trimmed(connection.microsoftMailAccountId)),
                          connection.dataverseEnvironmentURL);
}

std::vector<std::string> leadWarnings(const AppConfig& config, const LeadWays& ways) {
  Warnings warnings;
  const auto warn = [&](const std::string& place, const Obstacle& obstacle) {
    if (obstacle) warnings.push_back(place + ": creates no lead: it " + *obstacle);
  };
  for (std::size_t i = 0; i < config.rules.size(); ++i) {
    warn("rules[" + std::to_string(i) + "]", ruleObstacle(config, ways, config.rules[i]));
  }
  for (std::size_t i = 0; i < config.customAutomations.size(); ++i) {
    const CustomAutomation& automation = config.customAutomations[i];
    for (std::size_t k = 0; k < automation.steps.size(); ++k) {
      warn("customAutomations[" + std::to_string(i) + "].steps[" + std::to_string(k) + "]",
           stepObstacle(config, ways, automation.id, automation.steps[k]));
    }
  }
  return warnings;
}

}  // namespace halcyra
