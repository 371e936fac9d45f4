#include <CLI/CLI.hpp>

#include "cli/Command.h"
#include "cli/ConnectionChange.h"
#include "cli/Messages.h"
#include "cli/Table.h"
#include "crm/SalesforceOAuthClient.h"

namespace halcyra {
namespace {

std::vector<std::string> row(const AppConfig& config, const CRMConnectionProfile& connection) {
  if (connection.kind == CRMConnectionKind::salesforce) {
    return {connection.id, connection.displayName, "Salesforce",
            normalizedSalesforceLoginHost(connection.salesforceLoginHost), "-"};
  }
  return {connection.id, connection.displayName, "Dynamics", connection.dataverseEnvironmentURL,
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

void finishAdding(CLI::App& command, Invocation& invocation,
                  std::shared_ptr<CRMConnectionProfile> connection) {
  command.add_option("--label", connection->displayName, "Its name")->capture_default_str();
  command.callback([&invocation, connection] {
    invocation.body = [connection](Session& session) {
      return addConnection(session, *connection);
    };
  });
}

void addDynamics(CLI::App& add, Invocation& invocation) {
  auto dynamics = std::make_shared<CRMConnectionProfile>();
  dynamics->displayName = "Dynamics 365";
  CLI::App& dynamicsCommand = *add.add_subcommand(
      "dynamics", "A Dynamics 365 environment, reached by the sign-in of an Outlook mailbox");
  dynamicsCommand
      .add_option("--environment", dynamics->dataverseEnvironmentURL,
                  "Its address, such as https://yourorg.crm.dynamics.com")
      ->type_name("URL")
      ->required();
  dynamicsCommand
      .add_option("--mailbox", dynamics->microsoftMailAccountId,
                  "The Outlook mailbox that signs in")
      ->type_name("ID")
      ->required();
  finishAdding(dynamicsCommand, invocation, dynamics);
}

void addSalesforce(CLI::App& add, Invocation& invocation) {
  auto salesforce = std::make_shared<CRMConnectionProfile>();
  salesforce->displayName = "Salesforce";
  salesforce->kind = CRMConnectionKind::salesforce;
  salesforce->salesforceLoginHost = defaultSalesforceLoginHost;
  CLI::App& salesforceCommand = *add.add_subcommand("salesforce", "A Salesforce organisation");
  salesforceCommand
      .add_option("--login-host", salesforce->salesforceLoginHost,
                  "Where a person signs in; a sandbox has a host of its own")
      ->type_name("URL")
      ->capture_default_str();
  finishAdding(salesforceCommand, invocation, salesforce);
}

void addChanges(CLI::App& group, Invocation& invocation) {
  CLI::App& add = *group.add_subcommand("add", "Add a connection");
  addDynamics(add, invocation);
  addSalesforce(add, invocation);
  auto id = std::make_shared<std::string>();
  CLI::App* command = group.add_subcommand(
      "remove", "Remove a connection from the settings, with its sign-in; no lead is touched");
  command->add_option("ID", *id, "The connection")->required();
  command->callback([&invocation, id] {
    invocation.body = [id](Session& session) { return removeConnection(session, *id); };
  });
}

}  // namespace

void addConnectionCommand(CLI::App& app, Invocation& invocation) {
  CLI::App& group = *app.add_subcommand("connection", "List, add and remove connections to CRMs");
  group.add_subcommand("list", "List the configured connections")->callback([&invocation] {
    invocation.body = list;
  });
  addChanges(group, invocation);
}

}  // namespace halcyra
