#include <unistd.h>

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

/// Where the lead goes; to both where only its payloads are shown.
struct Destination {
  bool toDynamics = true;
  bool toSalesforce = true;
  std::optional<CRMConnectionProfile> connection;
  /// The mailbox that the mail came to, where it is named.
  MailAccount account;
};

Destination destinationOf(const LeadOptions& options, const AppConfig& config) {
  if (int{options.dynamics} + int{options.salesforce} + int{!options.connection.empty()} > 1) {
    throw UsageError("name one of --connection, --dynamics and --salesforce");
  }
  Destination destination;
  if (!options.mailbox.empty()) destination.account = mailboxWithId(config, options.mailbox);
  if (!options.connection.empty()) {
    destination.connection = connectionWithId(config, options.connection);
    destination.toDynamics = destination.connection->kind == CRMConnectionKind::dynamics365;
    destination.toSalesforce = !destination.toDynamics;
  } else if (options.dynamics || options.salesforce) {
    destination.toDynamics = options.dynamics;
    destination.toSalesforce = options.salesforce;
  }
  return destination;
}

void requireOne(const Destination& destination) {
  if (destination.toDynamics && destination.toSalesforce) {
    throw UsageError(
        "say where the lead goes: --connection ID (\"halcyra-cli connection list\" shows them), "
        "--dynamics --mailbox ID, or --salesforce; --dry-run only shows it");
  }
  if (destination.toDynamics && !destination.connection && destination.account.id.empty()) {
    throw UsageError("--dynamics needs --mailbox, the Outlook mailbox whose sign-in is used");
  }
}

std::optional<std::string> obstacleOf(const Destination& destination, const AppConfig& config,
                                      const LeadWays& ways) {
  if (destination.connection) return connectionObstacle(config, ways, *destination.connection);
  if (destination.toSalesforce) return salesforceObstacle(ways, "");
  return dynamicsObstacle(config, ways, destination.account.id, config.dataverseEnvironmentURL);
}

// What each CRM would get.
std::string payloadsText(const Destination& destination, const DynamicsLeadFields& fields,
                         const ParsedMail& mail) {
  constexpr auto replaceIllFormed = LeadPayload::error_handler_t::replace;
  std::string text;
  if (destination.toDynamics) {
    text += "--- Dynamics 365: POST /api/data/v9.2/leads ---\n" +
            dynamicsLeadPayload(fields, mail).dump(2, ' ', false, replaceIllFormed) + "\n";
  }
  if (destination.toSalesforce) {
    text += "--- Salesforce: POST /services/data/v59.0/sobjects/Lead/ ---\n" +
            salesforceLeadPayload(fields, mail).dump(2, ' ', false, replaceIllFormed) + "\n";
  }
  return printable(text);
}

Task<int> showPayloads(Session& session, LeadActions& leads, SharedIncomingMail incoming,
                       Destination destination, std::string llmAPIKey) {
  Task<DynamicsLeadFields> reading = leads.leadFields(incoming, std::move(llmAPIKey));
  const DynamicsLeadFields fields = co_await std::move(reading);
  session.out << payloadsText(destination, fields, incoming->mail);
  co_return 0;
}

Task<int> create(Session& session, LeadActions& leads, SharedIncomingMail incoming,
                 Destination destination, std::string llmAPIKey) {
  Task<DynamicsLeadFields> reading = leads.leadFields(incoming, std::move(llmAPIKey));
  DynamicsLeadFields fields = co_await std::move(reading);
  Task<bool> creating =
      destination.toDynamics
          ? leads.createDynamicsLead(incoming, std::move(fields), destination.connection)
          : leads.createSalesforceLead(incoming, std::move(fields), destination.connection);
  const bool created = co_await std::move(creating);
  if (created) session.out << "lead created\n";
  co_return created ? 0 : 1;
}

int lead(const LeadOptions& options, Session& session) {
  const AppConfig config = openConfig(session).config();
  Destination destination = destinationOf(options, config);
  if (!options.dryRun) {
    requireOne(destination);
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
      options.dryRun
          ? showPayloads(session, leads, incoming, std::move(destination), std::move(key))
          : create(session, leads, incoming, std::move(destination), std::move(key)));
}

}  // namespace

void addLeadCommand(const CommandSyntax& program) {
  auto options = std::make_shared<LeadOptions>();
  const CommandSyntax command = program.command("lead", "Create a lead from a message in a CRM");
  command.value("FILE", options->file, "A message file; - or nothing is standard input");
  command.value("--connection", options->connection, "Where: this connection", {.name = "ID"});
  command.flag("--dynamics", options->dynamics,
               "Where: the Dataverse environment of the settings, as a rule does it");
  command.flag("--salesforce", options->salesforce,
               "Where: Salesforce by the sign-in from before connections, as a rule does it");
  command.value("--mailbox", options->mailbox, "The mailbox that the message came to",
                {.name = "ID"});
  command.flag("--dry-run", options->dryRun, "Print what would be sent and create nothing");
  command.footer(
      "The fields are read by the model, or from the From line where there is no key or no\n"
      "answer. The message itself is not touched.");
  command.runs([options](Session& session) { return lead(*options, session); });
}

}  // namespace halcyra
