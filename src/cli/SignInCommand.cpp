#include <unistd.h>

#include <algorithm>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/signal_set.hpp>
#include <csignal>

#include "app/Providers.h"
#include "cli/Command.h"
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

Task<void> stopOnCtrlC(boost::asio::signal_set& signals, std::stop_source stop) {
  boost::system::error_code cancelled;
  co_await signals.async_wait(boost::asio::redirect_error(boost::asio::use_awaitable, cancelled));
  if (cancelled) co_return;
  stop.request_stop();
  signals.clear();  // a second one ends the program, whatever it waits for
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

Task<int> signIn(Session& session, Provider provider, std::string id) {
  boost::asio::signal_set signals(co_await boost::asio::this_coro::executor, SIGINT, SIGTERM);
  std::stop_source stop;
  Task<void> stopping = stopOnCtrlC(signals, stop);
  boost::asio::co_spawn(co_await boost::asio::this_coro::executor, std::move(stopping),
                        boost::asio::detached);
  JournalLog log(STDERR_FILENO);
  MailboxSignIn& signingIn = session.app.providers(log).signIn();
  const AppConfig config = session.app.configStore().config();
  AnnounceAddress announce = [&session](const std::string& address, bool browserStarted) {
    session.err << (browserStarted ? "Sign in in the browser. If it did not open, go to:\n"
                                   : "Open this address in a browser on this machine:\n")
                << printable(address) << "\nCtrl-C gives up." << std::endl;
  };
  std::optional<std::string> failure;
  try {
    Task<std::optional<std::string>> running =
        provider == Provider::google
            ? signingIn.signInGoogle(id, std::move(announce), stop.get_token())
            : signingIn.signInMicrosoft(config, id, std::move(announce), stop.get_token());
    const std::optional<std::string> address = co_await std::move(running);
    if (address) nameMailbox(session, id, *address);
    session.out << nameOf(provider) << " sign-in saved for this account."
                << (address ? " It is " + onOneLine(*address) + "." : "") << '\n';
  } catch (const std::exception& error) {
    failure = scopeHint(error.what(), nameOf(provider));
  }
  signals.cancel();
  if (!failure) co_return 0;
  complain(session.err, failure->empty() ? "the provider gave no reason" : *failure);
  co_return 1;
}

int signInTo(Session& session, Provider provider, const std::string& id) {
  mailboxAt(provider, openConfig(session).config(), id);
  // Not held while the browser is open: whoever signs in twice shall be told about the port.
  secretsTurn(session).reset();
  openSecrets(session);
  return session.app.run(signIn(session, provider, id));
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

void addFor(const CommandSyntax& group, Provider provider, const std::string& name,
            const std::string& help, int (*body)(Session&, Provider, const std::string&)) {
  auto id = std::make_shared<std::string>();
  const CommandSyntax command = group.command(name, help);
  command.value("--mailbox", *id, "The mailbox", {.name = "ID", .isRequired = true});
  command.runs([id, provider, body](Session& session) { return body(session, provider, *id); });
}

}  // namespace

void addSignInCommand(const CommandSyntax& program) {
  const CommandSyntax in =
      program.command("signin", "Sign a mailbox in at Google or Microsoft, in the browser");
  addFor(in, Provider::google, "google", "Sign a Gmail mailbox in", signInTo);
  addFor(in, Provider::microsoft, "microsoft", "Sign an Outlook mailbox in", signInTo);
  const CommandSyntax out = program.command("signout", "Forget the sign-in of a mailbox");
  addFor(out, Provider::google, "google", "Of a Gmail mailbox", signOutOf);
  addFor(out, Provider::microsoft, "microsoft", "Of an Outlook mailbox", signOutOf);
}

}  // namespace halcyra
