#include <unistd.h>

#include <algorithm>

#include "app/Providers.h"
#include "cli/BrowserSignIn.h"
#include "cli/Command.h"
#include "cli/Connections.h"
#include "cli/Mailboxes.h"
#include "cli/Messages.h"
#include "platform/linux/InstanceLock.h"
#include "platform/linux/JournalLog.h"
#include "signin/ScopeHint.h"
#include "text/ControlCharacters.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

enum class Provider { google, microsoft };

const char* nameOf(Provider provider) {
  return provider == Provider::google ? "Google" : "Microsoft";
}

MailAccount mailboxAt(Provider provider, const AppConfig& config, const std::string& id) {
  MailAccount account = mailboxWithId(config, id);
  const bool fits = provider == Provider::google
                        ? std::holds_alternative<GoogleGmail>(account.kind)
                        : std::holds_alternative<MicrosoftGraph>(account.kind);
  if (!fits) {
    throw std::runtime_error("mailbox \"" + id + "\" is not one of " + nameOf(provider) +
                             "; see \"halcyra-cli mailbox list\"");
  }
  return account;
}

CRMConnectionProfile salesforceConnection(const AppConfig& config, const std::string& id) {
  if (trimmed(id).empty()) {
    throw std::runtime_error(
        "Select a Salesforce connection in Custom actions: name it with --connection; "
        "\"halcyra-cli "
        "connection list\" shows them, \"halcyra-cli connection add salesforce\" adds one");
  }
  CRMConnectionProfile connection = connectionWithId(config, id);
  if (connection.kind == CRMConnectionKind::salesforce) return connection;
  throw std::runtime_error("connection \"" + id +
                           "\" is not one of Salesforce; see \"halcyra-cli connection list\"");
}

// The mailbox is named by the address that was signed in: it is also the one that it sends from.
// The settings are read anew, since they may have changed while the browser was open.
void nameMailbox(Session& session, const std::string& id, const std::string& address) {
  try {
    const InstanceLock turn(configLock(session));
    ConfigStore store(session.app.files(), session.app.secretStorage(),
                      session.app.paths().settings);
    if (!store.loadProblem().empty()) throw std::runtime_error(store.loadProblem());
    AppConfig config = store.config();
    const auto named = std::ranges::find(config.mailAccounts, id, &MailAccount::id);
    if (named == config.mailAccounts.end()) return;
    named->displayLabel = address;
    store.setConfig(std::move(config));
    store.save();
  } catch (const std::exception& error) {
    complain(session.err, std::string("Could not save mail accounts: ") + error.what());
  }
}

Task<std::string> signMailboxIn(Session& session, MailboxSignIn& signingIn, Provider provider,
                                std::string id, AnnounceAddress announce, std::stop_token stop) {
  const AppConfig config = session.app.configStore().config();
  Task<std::optional<std::string>> running =
      provider == Provider::google
          ? signingIn.signInGoogle(id, std::move(announce), std::move(stop))
          : signingIn.signInMicrosoft(config, id, std::move(announce), std::move(stop));
  const std::optional<std::string> address = co_await std::move(running);
  if (address) nameMailbox(session, id, *address);
  co_return std::string(nameOf(provider)) + " sign-in saved for this account." +
      (address ? " It is " + onOneLine(*address) + "." : "");
}

Task<std::string> signConnectionIn(SalesforceSignIn& signingIn, CRMConnectionProfile connection,
                                   AnnounceAddress announce, std::stop_token stop) {
  Task<void> running = signingIn.signInSalesforce(connection.id, connection.salesforceLoginHost,
                                                  std::move(announce), std::move(stop));
  co_await std::move(running);
  co_return "Salesforce sign-in saved for this connection.";
}

// Not held while the browser is open: whoever signs in twice shall be told about the port.
void prepareSecrets(Session& session) {
  secretsTurn(session).reset();
  openSecrets(session);
}

int signInTo(Session& session, Provider provider, const std::string& id) {
  mailboxAt(provider, openConfig(session).config(), id);
  prepareSecrets(session);
  JournalLog log(STDERR_FILENO);
  MailboxSignIn& signingIn = session.app.providers(log).signIn();
  return runSignIn(
      session,
      [&](AnnounceAddress announce, std::stop_token stop) {
        return signMailboxIn(session, signingIn, provider, id, std::move(announce),
                             std::move(stop));
      },
      [&](std::string_view text) { return scopeHint(text, nameOf(provider)); });
}

int signInToSalesforce(Session& session, const std::string& id) {
  const CRMConnectionProfile connection = salesforceConnection(openConfig(session).config(), id);
  prepareSecrets(session);
  JournalLog log(STDERR_FILENO);
  SalesforceSignIn& signingIn = session.app.providers(log).salesforceSignIn();
  return runSignIn(
      session,
      [&](AnnounceAddress announce, std::stop_token stop) {
        return signConnectionIn(signingIn, connection, std::move(announce), std::move(stop));
      },
      [](std::string_view text) { return std::string(text); });
}

int signOutOf(Session& session, Provider provider, const std::string& id) {
  mailboxAt(provider, openConfig(session).config(), id);
  const auto turn = secretsTurn(session);
  openSecrets(session);
  JournalLog log(STDERR_FILENO);
  session.app.providers(log).credentials().deleteCredential(id);
  session.out << nameOf(provider) << " sign-in of this account removed.\n";
  return 0;
}

int signOutOfSalesforce(Session& session, const std::string& id) {
  salesforceConnection(openConfig(session).config(), id);
  const auto turn = secretsTurn(session);
  openSecrets(session);
  JournalLog log(STDERR_FILENO);
  session.app.providers(log).salesforceCredentials().deleteSalesforceCredential(id);
  session.out << "Salesforce disconnected for this connection.\n";
  return 0;
}

void addFor(const CommandSyntax& group, Provider provider, const std::string& name,
            const std::string& help, int (*body)(Session&, Provider, const std::string&)) {
  auto id = std::make_shared<std::string>();
  const CommandSyntax command = group.command(name, help);
  command.value("--mailbox", *id, "The mailbox", {.name = "ID", .isRequired = true});
  command.runs([id, provider, body](Session& session) { return body(session, provider, *id); });
}

void addForSalesforce(const CommandSyntax& group, const std::string& help,
                      int (*body)(Session&, const std::string&)) {
  auto id = std::make_shared<std::string>();
  const CommandSyntax command = group.command("salesforce", help);
  command.value("--connection", *id, "The connection", {.name = "ID"});
  command.runs([id, body](Session& session) { return body(session, *id); });
}

}  // namespace

void addSignInCommand(const CommandSyntax& program) {
  const CommandSyntax in = program.command(
      "signin", "Sign a mailbox or a connection in at its provider, in the browser");
  addFor(in, Provider::google, "google", "Sign a Gmail mailbox in", signInTo);
  addFor(in, Provider::microsoft, "microsoft", "Sign an Outlook mailbox in", signInTo);
  addForSalesforce(in, "Sign a Salesforce connection in", signInToSalesforce);
  const CommandSyntax out =
      program.command("signout", "Forget the sign-in of a mailbox or a connection");
  addFor(out, Provider::google, "google", "Of a Gmail mailbox", signOutOf);
  addFor(out, Provider::microsoft, "microsoft", "Of an Outlook mailbox", signOutOf);
  addForSalesforce(out, "Of a Salesforce connection", signOutOfSalesforce);
}

}  // namespace halcyra
