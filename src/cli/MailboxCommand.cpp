#include <unistd.h>

#include "cli/Command.h"
#include "cli/MailboxChange.h"
#include "cli/MailboxTest.h"
#include "cli/Mailboxes.h"
#include "cli/Messages.h"
#include "cli/ProviderTest.h"
#include "cli/Table.h"
#include "platform/linux/JournalLog.h"
#include "platform/linux/SocketConnector.h"
#include "text/ControlCharacters.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

std::vector<std::string> row(const AppConfig& config, const MailAccount& account) {
  std::string kind = "IMAP";
  std::string server = "-";
  if (const auto* imap = std::get_if<IMAPConnection>(&account.kind)) {
    server = imap->host + ":" + std::to_string(imap->port) + (imap->useTLS ? " TLS" : " plain");
  } else {
    kind = std::holds_alternative<GoogleGmail>(account.kind) ? "Gmail" : "Outlook";
  }
  return {account.id, config.mailboxLabel(account.id), kind, account.enabled ? "yes" : "no",
          server};
}

int list(Session& session) {
  const AppConfig config = openConfig(session).config();
  const std::vector<MailAccount> mailboxes = allMailboxes(config);
  if (mailboxes.empty()) {
    complain(session.err, "no mailbox is configured; " + addMailboxHint(session));
    return 0;
  }
  std::vector<std::vector<std::string>> rows = {{"ID", "LABEL", "KIND", "ENABLED", "SERVER"}};
  for (const MailAccount& account : mailboxes) rows.push_back(row(config, account));
  session.out << alignedTable(rows);
  return 0;
}

std::vector<MailAccount> mailboxesToTest(Session& session, const std::string& id) {
  const AppConfig config = openConfig(session).config();
  if (id.empty()) {
    if (config.monitoredMailAccounts().empty()) {
      throw std::runtime_error("no mailbox is enabled; " + addMailboxHint(session));
    }
    return config.monitoredMailAccounts();
  }
  return {mailboxWithId(config, id)};
}

Task<std::string> testOne(Session& session, Providers& providers, MailAccount account,
                          std::string password) {
  const auto* imap = std::get_if<IMAPConnection>(&account.kind);
  if (imap == nullptr) {
    Task<std::string> asking =
        testProviderMailbox(providers, session.app.configStore().config(), std::move(account));
    co_return co_await std::move(asking);
  }
  // Whoever asks sits and waits, and a server of another kind may say nothing at all.
  SocketConnector connector(session.app.ioExecutor(), {.silence = std::chrono::seconds(20)});
  Task<std::string> connecting = testMailbox(connector, *imap, std::move(password));
  Task<std::string> onIo = runOn(session.app.ioExecutor(), std::move(connecting));
  co_return co_await std::move(onIo);
}

Task<int> testEach(Session& session, std::vector<MailAccount> mailboxes, std::string password) {
  JournalLog log(STDERR_FILENO);
  Providers& providers = session.app.providers(log);
  int exitCode = 0;
  for (const MailAccount& account : mailboxes) {
    const std::string name = account.id + " (" + std::string(trimmed(account.displayLabel)) + ")";
    try {
      Task<std::string> testing = testOne(session, providers, account, password);
      const std::string sentence = co_await std::move(testing);
      session.out << onOneLine(name) << ": " << printable(sentence) << std::endl;
    } catch (const MailboxTestError& error) {
      complain(session.err, name + ": " + error.what());
      exitCode = 1;
    }
  }
  co_return exitCode;
}

int test(Session& session, const std::string& id) {
  const std::vector<MailAccount> mailboxes = mailboxesToTest(session, id);
  const std::string password = openSecrets(session).secretsSnapshot().imapPassword;
  return session.app.run(testEach(session, mailboxes, password));
}

void addProvider(const CommandSyntax& group, const std::string& name, const std::string& help,
                 const Kind& kind, const std::string& defaultLabel) {
  auto label = std::make_shared<std::string>(defaultLabel);
  const CommandSyntax command = group.command(name, help);
  command.value("--label", *label, "Its name; the sign-in replaces it by the address");
  command.runs([kind, label](Session& session) {
    return addMailbox(session, {.id = "", .displayLabel = *label, .kind = kind});
  });
}

void addIMAP(const CommandSyntax& group) {
  auto connection = std::make_shared<IMAPConnection>();
  connection->mailbox = "INBOX";
  auto label = std::make_shared<std::string>();
  auto plain = std::make_shared<bool>(false);
  const CommandSyntax command = group.command("imap", "A mailbox on an IMAP server");
  command.value("--host", connection->host, "The server", {.isRequired = true});
  command.value("--user", connection->username, "The user name there", {.isRequired = true});
  command.port("--port", connection->port, "Its port");
  command.value("--folder", connection->mailbox, "The folder", {.showsDefault = true});
  command.value("--label", *label, "Its name; without it the user name");
  command.flag("--plain", *plain, "No TLS, for a server on this machine");
  command.runs([connection, label, plain](Session& session) {
    connection->useTLS = !*plain;
    const std::string name = label->empty() ? connection->username : *label;
    return addMailbox(session, {.id = "", .displayLabel = name, .kind = *connection});
  });
}

void addChanges(const CommandSyntax& group) {
  const CommandSyntax add = group.command("add", "Add a mailbox");
  addProvider(add, "google", "A Gmail mailbox", GoogleGmail{}, "Gmail");
  addProvider(add, "microsoft", "An Outlook mailbox", MicrosoftGraph{}, "Outlook");
  addIMAP(add);
  auto id = std::make_shared<std::string>();
  const CommandSyntax command = group.command(
      "remove", "Remove a mailbox from the settings, with its sign-in; its mail is not touched");
  command.value("ID", *id, "The mailbox", {.isRequired = true});
  command.runs([id](Session& session) { return removeMailbox(session, *id); });
}

}  // namespace

void addMailboxCommand(const CommandSyntax& program) {
  const CommandSyntax group = program.command("mailbox", "List, test, add and remove mailboxes");
  group.command("list", "List the configured mailboxes").runs(list);
  auto id = std::make_shared<std::string>();
  const CommandSyntax command =
      group.command("test", "Connect, sign in and open the folder, without looking at any message");
  command.value("ID", *id, "The mailbox; without it every enabled one is tested");
  command.runs([id](Session& session) { return test(session, *id); });
  addChanges(group);
}

}  // namespace halcyra
