#include "triage/LeadActions.h"

#include <exception>
#include <utility>

#include "classification/LeadExtraction.h"
#include "signin/DataverseEnvironment.h"
#include "text/ControlCharacters.h"
#include "text/Trim.h"
#include "triage/CountedWhileAlive.h"
#include "triage/ModelFailure.h"

namespace halcyra {

/// Whose sign-in reaches which environment.
struct LeadActions::DynamicsTarget {
  std::string accountId;
  std::string environment;
};

Task<DynamicsLeadFields> LeadActions::leadFields(SharedIncomingMail incoming,
                                                 std::string llmAPIKey) {
  std::string failure;
  try {
    Task<DynamicsLeadFields> extracting =
        extractLeadFields(http_, incoming->config, incoming->mail, std::move(llmAPIKey));
    co_return co_await std::move(extracting);
  } catch (const std::exception& error) {
    failure = shownModelFailure(error.what(), incoming->mail);
  }
  log_.logLine("Lead extraction LLM failed: " + failure + "; using From-line fields.");
  co_return fromLineLeadFields(incoming->mail);
}

Task<bool> LeadActions::createDynamicsLead(SharedIncomingMail incoming, DynamicsLeadFields fields,
                                           std::optional<CRMConnectionProfile> connection) {
  std::optional<DynamicsTarget> target = dynamicsTarget(*incoming, connection);
  if (!target) co_return false;
  Task<void> sending = sendToDynamics(incoming, std::move(fields), std::move(*target));
  Task<bool> creating = told(std::move(sending), incoming, "Dynamics");
  co_return co_await std::move(creating);
}

std::optional<LeadActions::DynamicsTarget> LeadActions::dynamicsTarget(
    const IncomingMail& incoming, const std::optional<CRMConnectionProfile>& connection) {
  DynamicsTarget target;
  if (connection) {
    target.accountId = trimmed(connection->microsoftMailAccountId);
    if (target.accountId.empty()) {
      log_.logLine("Dynamics lead: connection has no Microsoft mailbox.");
      return std::nullopt;
    }
  } else if (std::holds_alternative<MicrosoftGraph>(incoming.account.kind)) {
    target.accountId = incoming.account.id;
  } else {
    log_.logLine("Dynamics lead: Microsoft Graph mailbox required.");
    return std::nullopt;
  }
  const auto environment = normalizedDataverseEnvironment(
      connection ? connection->dataverseEnvironmentURL : incoming.config.dataverseEnvironmentURL);
  if (!environment) {
    log_.logLine(
        "Dynamics lead: set a valid Dataverse environment URL (Settings → Custom actions).");
    return std::nullopt;
  }
  target.environment = *environment;
  return target;
}

Task<void> LeadActions::sendToDynamics(SharedIncomingMail incoming, DynamicsLeadFields fields,
                                       DynamicsTarget target) {
  Task<std::string> getting =
      crm_.tokens.validDataverseAccessToken(incoming->config, target.accountId, target.environment);
  std::string token = co_await std::move(getting);
  Task<std::string> creating = crm_.dataverse.createDynamicsLead(
      std::move(token), target.environment, fields, incoming->mail);
  co_await std::move(creating);
}

Task<bool> LeadActions::createSalesforceLead(SharedIncomingMail incoming, DynamicsLeadFields fields,
                                             std::optional<CRMConnectionProfile> connection) {
  if (salesforceClientId(crm_.secrets).empty()) {
    log_.logLine(
        "Salesforce lead: add HALCYRA_SALESFORCE_OAUTH_CLIENT_ID to build secrets and rebuild.");
    co_return false;
  }
  std::string connectionId = connection ? connection->id : "";
  Task<void> sending = sendToSalesforce(incoming, std::move(fields), std::move(connectionId));
  Task<bool> creating = told(std::move(sending), incoming, "Salesforce");
  co_return co_await std::move(creating);
}

Task<void> LeadActions::sendToSalesforce(SharedIncomingMail incoming, DynamicsLeadFields fields,
                                         std::string connectionId) {
  Task<SalesforceSession> opening = crm_.sessions.validSalesforceSession(std::move(connectionId));
  SalesforceSession session = co_await std::move(opening);
  Task<std::string> creating =
      crm_.salesforce.createSalesforceLead(std::move(session), fields, incoming->mail);
  co_await std::move(creating);
}

// The log says how it ended.
Task<bool> LeadActions::told(Task<void> creation, SharedIncomingMail incoming, std::string crm) {
  const CountedWhileAlive sending(underWay_);
  std::string failure;
  try {
    co_await std::move(creation);
    log_.logLine(crm + " lead created for message " + onOneLine(incoming->mail.messageID));
    co_return true;
  } catch (const std::exception& error) {
    failure = error.what();
  }
  log_.logLine(crm + " lead failed: " + onOneLine(failure));
  co_return false;
}

}  // namespace halcyra
