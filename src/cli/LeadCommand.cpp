#include <unistd.h>

#include <CLI/CLI.hpp>

#include "cli/Command.h"
#include "cli/Connections.h"
#include "cli/LeadWays.h"
#include "cli/MailInput.h"
#include "cli/Mailboxes.h"
#include "cli/Messages.h"
#include "cli/Source.h"
#include "crm/LeadPayload.h"
#include "platform/linux/JournalLog.h"
#include "text/ControlCharacters.h"
#include "triage/LeadActions.h"

namespace halcyra {
namespace {

struct LeadOptions {
  std::string file = standardInput;
  bool dynamics = false;
  bool salesforce = false;
  std::string connection;
  std::string mailbox;
  bool dryRun = false;
};

/// Where the lead goes.
struct Destination {
  bool isDynamics = false;
  std::optional<CRMConnectionProfile> connection;
  /// Of the mailbox that the mail came to, without a connection.
  MailAccount account;
};

void requireOneDestination(const LeadOptions& options) {
  const int named = int{options.dynamics} + int{options.salesforce};
  if (named > 1 || (named == 1 && !options.connection.empty())) {
    throw UsageError("name one of --connection, --dynamics and --salesforce");
  }
  if (named == 0 && options.connection.empty()) {
    throw UsageError(
        "say where the lead goes: --connection ID (\"halcyra-cli connection list\" shows them), "
        "--dynamics --mailbox ID, or --salesforce; --dry-run only shows it");
  }
  if (options.dynamics && options.mailbox.empty()) {
    throw UsageError("--dynamics needs --mailbox, the Outlook mailbox whose sign-in is used");
  }
}

Destination destinationOf(const LeadOptions& options, const AppConfig& config) {
  requireOneDestination(options);
  Destination destination;
  destination.isDynamics = options.dynamics;
  if (!options.mailbox.empty()) destination.account = mailboxWithId(config, options.mailbox);
  if (!options.connection.empty()) {
    destination.connection = connectionWithId(config, options.connection);
    destination.isDynamics = destination.connection->kind == CRMConnectionKind::dynamics365;
  }
  return destination;
}

std::optional<std::string> obstacleOf(const Destination& destination, const AppConfig& config,
                                      const LeadWays& ways) {
  if (destination.connection) return connectionObstacle(config, ways, *destination.connection);
  if (!destination.isDynamics) return salesforceObstacle(ways, "");
  return dynamicsObstacle(config, ways, destination.account.id, config.dataverseEnvironmentURL);
}

// What each CRM would get; of both, unless one is chosen.
std::string payloadsText(const LeadOptions& options, const AppConfig& config,
                         const DynamicsLeadFields& fields, const ParsedMail& mail) {
  bool both = !options.dynamics && !options.salesforce;
  bool isDynamics = options.dynamics;
  if (!options.connection.empty()) {
    isDynamics =
        connectionWithId(config, options.connection).kind == CRMConnectionKind::dynamics365;
    both = false;
  }
  constexpr auto replaceIllFormed = LeadPayload::error_handler_t::replace;
  std::string text;
  if (both || isDynamics) {
    text += "--- Dynamics 365: POST /api/data/v9.2/leads ---\n" +
            dynamicsLeadPayload(fields, mail).dump(2, ' ', false, replaceIllFormed) + "\n";
  }
  if (both || !isDynamics) {
    text += "--- Salesforce: POST /services/data/v59.0/sobjects/Lead/ ---\n" +
            salesforceLeadPayload(fields, mail).dump(2, ' ', false, replaceIllFormed) + "\n";
  }
  return printable(text);
}

Task<int> showPayloads(Session& session, LeadActions& leads, SharedIncomingMail incoming,
                       LeadOptions options, std::string llmAPIKey) {
  Task<DynamicsLeadFields> reading = leads.leadFields(incoming, std::move(llmAPIKey));
  const DynamicsLeadFields fields = co_await std::move(reading);
  session.out << payloadsText(options, incoming->config, fields, incoming->mail);
  co_return 0;
}

Task<int> create(Session& session, LeadActions& leads, SharedIncomingMail incoming,
                 Destination destination, std::string llmAPIKey) {
  Task<DynamicsLeadFields> reading = leads.leadFields(incoming, std::move(llmAPIKey));
  DynamicsLeadFields fields = co_await std::move(reading);
  Task<bool> creating =
      destination.isDynamics
          ? leads.createDynamicsLead(incoming, std::move(fields), destination.connection)
          : leads.createSalesforceLead(incoming, std::move(fields), destination.connection);
  const bool created = co_await std::move(creating);
  if (created) session.out << "lead created\n";
  co_return created ? 0 : 1;
}

int lead(const LeadOptions& options, Session& session) {
  const AppConfig config = openConfig(session).config();
  Destination destination;
  if (!options.dryRun) {
    destination = destinationOf(options, config);
    if (const auto obstacle = obstacleOf(destination, config, leadWays(session, config))) {
      throw std::runtime_error("no lead can be created there: it " + *obstacle);
    }
  }
  ParsedMail mail = readMail(options.file, session.in);
  mail.accountId = destination.account.id;
  const auto incoming =
      std::make_shared<const IncomingMail>(std::move(mail), config, destination.account);
  std::string key = openSecrets(session).llmAPIKey();
  JournalLog log(STDERR_FILENO);
  LeadActions leads(session.app.providers(log).crm(), session.app.http(), log);
  return session.app.run(
      options.dryRun ? showPayloads(session, leads, incoming, options, std::move(key))
                     : create(session, leads, incoming, std::move(destination), std::move(key)));
}

}  // namespace

void addLeadCommand(CLI::App& app, Invocation& invocation) {
  auto options = std::make_shared<LeadOptions>();
  CLI::App* command = app.add_subcommand("lead", "Create a lead from a message in a CRM");
  command->add_option("FILE", options->file, "A message file; - or nothing is standard input");
  command->add_option("--connection", options->connection, "Where: this connection")
      ->type_name("ID");
  command->add_flag("--dynamics", options->dynamics,
                    "Where: the Dataverse environment of the settings, as a rule does it");
  command->add_flag("--salesforce", options->salesforce,
                    "Where: Salesforce by the sign-in from before connections, as a rule does it");
  command->add_option("--mailbox", options->mailbox, "The mailbox that the message came to")
      ->type_name("ID");
  command->add_flag("--dry-run", options->dryRun, "Print what would be sent and create nothing");
  command->footer(
      "The fields are read by the model, or from the From line where there is no key or no\n"
      "answer. The message itself is not touched.");
  command->callback([options, &invocation] {
    invocation.body = [options](Session& session) { return lead(*options, session); };
  });
}

}  // namespace halcyra
