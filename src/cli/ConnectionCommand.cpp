#include "cli/Command.h"
#include "cli/ConnectionChange.h"
#include "cli/Messages.h"
#include "cli/Table.h"
#include "crm/SalesforceOAuthClient.h"
#include "signin/DataverseEnvironment.h"

namespace halcyra {
namespace {

std::vector<std::string> row(const AppConfig& config, const CRMConnectionProfile& connection) {
  if (connection.kind == CRMConnectionKind::salesforce) {
    return {connection.id, connection.displayName, "Salesforce",
            normalizedSalesforceLoginHost(connection.salesforceLoginHost), "-"};
  }
  const std::string& typed = connection.dataverseEnvironmentURL;
  return {connection.id, connection.displayName, "Dynamics",
          normalizedDataverseEnvironment(typed).value_or(typed),
          config.mailboxLabel(connection.microsoftMailAccountId)};
}

int list(Session& session) {
  const AppConfig config = openConfig(session).config();
  if (config.crmConnectionProfiles.empty()) {
    complain(session.err,
             "no connection is configured; add one with \"halcyra-cli connection add\"");
    return 0;
  }
  std::vector<std::vector<std::string>> rows = {{"ID", "LABEL", "KIND", "ADDRESS", "MAILBOX"}};
  for (const CRMConnectionProfile& connection : config.crmConnectionProfiles) {
    rows.push_back(row(config, connection));
  }
  session.out << alignedTable(rows);
  return 0;
}

void finishAdding(const CommandSyntax& command, std::shared_ptr<CRMConnectionProfile> connection) {
  command.value("--label", connection->displayName, "Its name", {.showsDefault = true});
  command.runs([connection](Session& session) { return addConnection(session, *connection); });
}

void addDynamics(const CommandSyntax& add) {
  auto dynamics = std::make_shared<CRMConnectionProfile>();
  dynamics->displayName = "Dynamics 365";
  const CommandSyntax command = add.command(
      "dynamics", "A Dynamics 365 environment, reached by the sign-in of an Outlook mailbox");
  command.value("--environment", dynamics->dataverseEnvironmentURL,
                "Its address, such as https://yourorg.crm.dynamics.com",
                {.name = "URL", .isRequired = true});
  command.value("--mailbox", dynamics->microsoftMailAccountId, "The Outlook mailbox that signs in",
                {.name = "ID", .isRequired = true});
  finishAdding(command, dynamics);
}

void addSalesforce(const CommandSyntax& add) {
  auto salesforce = std::make_shared<CRMConnectionProfile>();
  salesforce->displayName = "Salesforce";
  salesforce->kind = CRMConnectionKind::salesforce;
  salesforce->salesforceLoginHost = defaultSalesforceLoginHost;
  const CommandSyntax command = add.command("salesforce", "A Salesforce organisation");
  command.value("--login-host", salesforce->salesforceLoginHost,
                "Where a person signs in; a sandbox has a host of its own",
                {.name = "URL", .showsDefault = true});
  finishAdding(command, salesforce);
}

void addChanges(const CommandSyntax& group) {
  const CommandSyntax add = group.command("add", "Add a connection");
  addDynamics(add);
  addSalesforce(add);
  auto id = std::make_shared<std::string>();
  const CommandSyntax command = group.command(
      "remove", "Remove a connection from the settings, with its sign-in; no lead is touched");
  command.value("ID", *id, "The connection", {.isRequired = true});
  command.runs([id](Session& session) { return removeConnection(session, *id); });
}

}  // namespace

void addConnectionCommand(const CommandSyntax& program) {
  const CommandSyntax group =
      program.command("connection", "List, add and remove connections to CRMs");
  group.command("list", "List the configured connections").runs(list);
  addChanges(group);
}

}  // namespace halcyra
