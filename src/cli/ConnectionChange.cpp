#include "cli/ConnectionChange.h"

#include <algorithm>

#include "cli/Connections.h"
#include "cli/Mailboxes.h"
#include "cli/Messages.h"
#include "crm/SalesforceCredentialStore.h"
#include "platform/linux/InstanceLock.h"
#include "signin/DataverseEnvironment.h"
#include "text/ControlCharacters.h"
#include "text/Trim.h"
#include "text/Uuid.h"

namespace halcyra {
namespace {

// What is no address stands for the public login host, where a person with a sandbox account must
// not end up unawares.
void requireLoginHost(const std::string& typed) {
  if (trimmed(typed).empty() || normalizedDataverseEnvironment(typed)) return;
  throw std::runtime_error("\"" + typed +
                           "\" is no address of a Salesforce login host, such as "
                           "https://yourorg.my.salesforce.com");
}

void requireUsable(const AppConfig& config, const CRMConnectionProfile& connection) {
  if (config.crmConnectionProfiles.size() >= maximumCRMConnections) {
    throw std::runtime_error("there are " + std::to_string(maximumCRMConnections) +
                             " connections already, which is the most; remove one with "
                             "\"halcyra-cli connection remove\"");
  }
  if (connection.kind == CRMConnectionKind::salesforce) {
    return requireLoginHost(connection.salesforceLoginHost);
  }
  const MailAccount mailbox = mailboxWithId(config, connection.microsoftMailAccountId);
  if (!std::holds_alternative<MicrosoftGraph>(mailbox.kind)) {
    throw std::runtime_error("mailbox \"" + mailbox.id +
                             "\" is not one of Microsoft; see \"halcyra-cli mailbox list\"");
  }
  if (!normalizedDataverseEnvironment(connection.dataverseEnvironmentURL)) {
    throw std::runtime_error("\"" + connection.dataverseEnvironmentURL +
                             "\" is no address of a Dataverse environment, such as "
                             "https://yourorg.crm.dynamics.com");
  }
}

std::string nextStep(const CRMConnectionProfile& connection) {
  return connection.kind == CRMConnectionKind::salesforce
             ? "halcyra-cli signin salesforce --connection " + connection.id
             : "halcyra-cli signin microsoft --mailbox " + connection.microsoftMailAccountId;
}

void warnOfSteps(Session& session, const AppConfig& config, const std::string& id) {
  for (const CustomAutomation& automation : config.customAutomations) {
    for (std::size_t k = 0; k < automation.steps.size(); ++k) {
      if (trimmed(automation.steps[k].connectionId) != id) continue;
      complain(session.err, "warning: step " + std::to_string(k + 1) + " of the automation \"" +
                                automation.displayName +
                                "\" names this connection and fails from now on; mend it with "
                                "\"halcyra-cli config edit\"");
    }
  }
}

}  // namespace

int addConnection(Session& session, CRMConnectionProfile connection) {
  const InstanceLock turn(configLock(session));
  ConfigStore& store = openConfig(session);
  AppConfig config = store.config();
  requireUsable(config, connection);
  connection.id = newUuid();
  config.crmConnectionProfiles.push_back(connection);
  store.setConfig(std::move(config));
  store.save();
  session.out << "added " << connection.id << " (" << onOneLine(connection.displayName)
              << ")\nnext: " << nextStep(connection) << '\n';
  return 0;
}

int removeConnection(Session& session, const std::string& id) {
  const auto secretsAlone = secretsTurn(session);
  const InstanceLock turn(configLock(session));
  ConfigStore& store = openConfig(session);
  AppConfig config = store.config();
  const CRMConnectionProfile removed = connectionWithId(config, id);
  std::erase_if(config.crmConnectionProfiles,
                [&](const CRMConnectionProfile& connection) { return connection.id == id; });
  store.setConfig(config);
  store.save();
  if (!trimmed(id).empty()) {
    SalesforceCredentialStore(openSecrets(session)).deleteSalesforceCredential(id);
  }
  session.out << "removed " << onOneLine(id) << " (" << onOneLine(removed.displayName) << ")\n";
  warnOfSteps(session, config, id);
  return 0;
}

}  // namespace halcyra
