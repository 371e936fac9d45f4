#include <unistd.h>

#include <CLI/CLI.hpp>

#include "cli/Command.h"
#include "cli/MailboxChange.h"
#include "cli/MailboxTest.h"
#include "cli/Mailboxes.h"
#include "cli/Messages.h"
#include "cli/ProviderTest.h"
#include "cli/Table.h"
#include "platform/linux/JournalLog.h"
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
  Task<std::string> connecting = testMailbox(session.app.connector(), *imap, std::move(password));
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

void addProvider(CLI::App& group, Invocation& invocation, const std::string& name,
                 const std::string& help, const Kind& kind, const std::string& defaultLabel) {
  auto label = std::make_shared<std::string>(defaultLabel);
  CLI::App* command = group.add_subcommand(name, help);
  command->add_option("--label", *label, "Its name; the sign-in replaces it by the address");
  command->callback([&invocation, kind, label] {
    invocation.body = [kind, label](Session& session) {
      return addMailbox(session, {.id = "", .displayLabel = *label, .kind = kind});
    };
  });
}

void addIMAP(CLI::App& group, Invocation& invocation) {
  auto connection = std::make_shared<IMAPConnection>();
  connection->mailbox = "INBOX";
  auto label = std::make_shared<std::string>();
  auto plain = std::make_shared<bool>(false);
  CLI::App* command = group.add_subcommand("imap", "A mailbox on an IMAP server");
  command->add_option("--host", connection->host, "The server")->required();
  command->add_option("--user", connection->username, "The user name there")->required();
  command->add_option("--port", connection->port, "Its port")
      ->check(CLI::Range(1, 65535))
      ->capture_default_str();
  command->add_option("--folder", connection->mailbox, "The folder")->capture_default_str();
  command->add_option("--label", *label, "Its name; without it the user name");
  command->add_flag("--plain", *plain, "No TLS, for a server on this machine");
  command->callback([&invocation, connection, label, plain] {
    invocation.body = [connection, label, plain](Session& session) {
      connection->useTLS = !*plain;
      const std::string name = label->empty() ? connection->username : *label;
      return addMailbox(session, {.id = "", .displayLabel = name, .kind = *connection});
    };
  });
}

void addChanges(CLI::App& group, Invocation& invocation) {
  CLI::App& add = *group.add_subcommand("add", "Add a mailbox");
  addProvider(add, invocation, "google", "A Gmail mailbox", GoogleGmail{}, "Gmail");
  addProvider(add, invocation, "microsoft", "An Outlook mailbox", MicrosoftGraph{}, "Outlook");
  addIMAP(add, invocation);
  auto id = std::make_shared<std::string>();
  CLI::App* command = group.add_subcommand(
      "remove", "Remove a mailbox from the settings, with its sign-in; its mail is not touched");
  command->add_option("ID", *id, "The mailbox")->required();
  command->callback([&invocation, id] {
    invocation.body = [id](Session& session) { return removeMailbox(session, *id); };
  });
}

}  // namespace

void addMailboxCommand(CLI::App& app, Invocation& invocation) {
  CLI::App& group = *app.add_subcommand("mailbox", "List, test, add and remove mailboxes");
  group.add_subcommand("list", "List the configured mailboxes")->callback([&invocation] {
    invocation.body = list;
  });
  auto id = std::make_shared<std::string>();
  CLI::App* command = group.add_subcommand(
      "test", "Connect, sign in and open the folder, without looking at any message");
  command->add_option("ID", *id, "The mailbox; without it every enabled one is tested");
  command->callback([&invocation, id] {
    invocation.body = [id](Session& session) { return test(session, *id); };
  });
  addChanges(group, invocation);
}

}  // namespace halcyra
