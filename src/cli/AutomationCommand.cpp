#include "cli/Command.h"
#include "cli/MailInput.h"
#include "cli/Mailboxes.h"
#include "cli/Messages.h"
#include "cli/MonitorFace.h"
#include "cli/Source.h"
#include "cli/Table.h"
#include "config/RawStrings.h"
#include "text/Trim.h"
#include "triage/MailRuleActions.h"

namespace halcyra {
namespace {

struct RunOptions {
  std::string id;
  std::string file = standardInput;
  std::string mailbox;
};

std::string stepsText(const CustomAutomation& automation) {
  std::string text;
  for (const CustomAutomationStep& step : automation.steps) {
    text += (text.empty() ? "" : ", ") + std::string(rawString(step.kind));
  }
  return text.empty() ? "-" : text;
}

int list(Session& session) {
  const AppConfig config = openConfig(session).config();
  if (config.customAutomations.empty()) {
    complain(session.err,
             "no automation is configured; add one with \"halcyra-cli config edit\", under "
             "customAutomations");
    return 0;
  }
  std::vector<std::vector<std::string>> rows = {{"ID", "NAME", "STEPS"}};
  for (const CustomAutomation& automation : config.customAutomations) {
    rows.push_back({automation.id, automation.displayName, stepsText(automation)});
  }
  session.out << alignedTable(rows);
  return 0;
}

// The rule that a notification names: one that runs the automation, else the automation itself.
MailRule ruleFor(const AppConfig& config, const CustomAutomation& automation) {
  for (MailRule& rule : config.effectiveRules()) {
    if (rule.action == MailRuleAction::runCustomAutomation &&
        trimmed(rule.customAutomationId) == automation.id) {
      return std::move(rule);
    }
  }
  MailRule rule;
  rule.displayName = automation.displayName;
  rule.action = MailRuleAction::runCustomAutomation;
  rule.customAutomationId = automation.id;
  return rule;
}

Task<int> carryOut(Session& session, MailRuleActions& actions, RuleActionContext context) {
  Task<bool> running = actions.runCustomAutomation(std::move(context));
  const bool done = co_await std::move(running);
  Task<void> posting = actions.noticesPosted();
  co_await std::move(posting);
  if (done) {
    session.err << "All steps are done." << std::endl;
    co_return 0;
  }
  complain(session.err,
           "the automation did not complete; steps before the one that failed are "
           "not undone");
  co_return 1;
}

int run(const RunOptions& options, Session& session) {
  const AppConfig config = openConfig(session).config();
  const std::optional<CustomAutomation> automation = config.customAutomation(options.id);
  if (!automation) {
    throw std::runtime_error("there is no automation \"" + options.id +
                             "\"; see \"halcyra-cli automation list\"");
  }
  const MailAccount account = mailboxWithId(config, options.mailbox);
  ParsedMail mail = readMail(options.file, session.in);
  mail.accountId = account.id;
  KeychainHelper& secrets = openSecrets(session);
  const auto secretsOf = [&secrets](const MailAccount& each) {
    return mailSecretsFor(each, secrets.secretsSnapshot(), secrets);
  };
  Composition& app = session.app;
  const auto face = textMonitorFace();
  Providers& providers = app.providers(face->log());
  MailSender sender({.connector = app.connector(),
                     .io = app.ioExecutor(),
                     .log = face->log(),
                     .providers = &providers.mail()});
  LeadActions leads(providers.crm(), app.http(), face->log());
  MailRuleActions actions({.main = app.mainContext().get_executor(),
                           .sender = sender,
                           .leads = leads,
                           .presenter = *face,
                           .http = app.http(),
                           .notifications = app.notifications(),
                           .log = face->log(),
                           .secrets = secretsOf,
                           .providers = &providers.mail()});
  const auto incoming = std::make_shared<const IncomingMail>(std::move(mail), config, account);
  return app.run(
      carryOut(session, actions, {incoming, ruleFor(config, *automation), secretsOf(account)}));
}

void addRun(const CommandSyntax& group) {
  auto options = std::make_shared<RunOptions>();
  const CommandSyntax command =
      group.command("run", "Run the steps of an automation on a message, for real");
  command.value("ID", options->id, "The automation", {.isRequired = true});
  command.value("FILE", options->file, "A message file; - or nothing is standard input");
  command.value("--mailbox", options->mailbox, "The mailbox that the message came to",
                {.name = "ID", .isRequired = true});
  command.footer(
      "Forwards are sent and leads are created, once more with every run. A suggested reply is\n"
      "printed and counts as \"not now\". Nothing is remembered about the message.");
  command.runs([options](Session& session) { return run(*options, session); });
}

}  // namespace

void addAutomationCommand(const CommandSyntax& program) {
  const CommandSyntax group =
      program.command("automation", "List automations, or run one on a message");
  group.command("list", "List the configured automations").runs(list);
  addRun(group);
}

}  // namespace halcyra
