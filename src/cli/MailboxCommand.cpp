#include <CLI/CLI.hpp>

#include "cli/Command.h"
#include "cli/MailboxTest.h"
#include "cli/Mailboxes.h"
#include "cli/Messages.h"
#include "cli/Table.h"
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

Task<int> testEach(Session& session, std::vector<MailAccount> mailboxes, std::string password) {
  int exitCode = 0;
  for (const MailAccount& account : mailboxes) {
    const std::string name = account.id + " (" + std::string(trimmed(account.displayLabel)) + ")";
    try {
      Task<std::string> onIo =
          runOn(session.app.ioExecutor(), testMailbox(session.app.connector(), account, password));
      const std::string sentence = co_await std::move(onIo);
      session.out << onOneLine(name) << ": " << sentence << std::endl;
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

}  // namespace

void addMailboxCommand(CLI::App& app, Invocation& invocation) {
  CLI::App& group = *app.add_subcommand("mailbox", "List the mailboxes and test their servers");
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
}

}  // namespace halcyra
