#include <unistd.h>

#include "cli/Command.h"
#include "cli/Mailboxes.h"
#include "cli/Messages.h"
#include "cli/SendingWarnings.h"
#include "mail/MailAddress.h"
#include "platform/linux/JournalLog.h"
#include "text/ControlCharacters.h"
#include "text/Trim.h"
#include "triage/MailSecrets.h"
#include "triage/MailSender.h"

namespace halcyra {
namespace {

struct SendTestOptions {
  std::string mailbox;
  std::string to;
};

// An address, or a name before one in angle brackets; the test goes to nobody else.
bool isOneAddress(std::string_view text) {
  text = trimmed(text);
  const std::optional<std::string> address = extractMailAddress(text);
  return address && isPlainAddress(*address) && onOneLine(text) == text &&
         (text == *address || text.ends_with(" <" + *address + ">"));
}

// A message that the test answers, so that it takes the way of a reply from its first step.
SharedIncomingMail pretendedMail(const AppConfig& config, const MailAccount& account,
                                 const std::string& to) {
  ParsedMail mail;
  mail.accountId = account.id;
  mail.subject = "Test message from Halcyra";
  mail.from = to;
  return std::make_shared<const IncomingMail>(std::move(mail), config, account);
}

Task<int> sendTo(Session& session, MailSender& sender, SharedIncomingMail incoming,
                 std::string smtpPassword) {
  const std::string label = incoming->config.mailboxLabel(incoming->account.id);
  std::string text = "This is a test. Replies from the mailbox \"" + label +
                     "\" take the way that this message took.";
  const std::string hint =
      smtpPassword.empty()
          ? " (no smtp.password is stored; \"halcyra-cli secret set smtp.password\" "
            "stores one, \"halcyra-cli config edit\" names the server)"
          : "";
  Task<ReplySent> sending = sender.sendReply(incoming, std::move(text), std::move(smtpPassword));
  const ReplySent sent = co_await std::move(sending);
  if (!sent.succeeded) {
    complain(session.err, "the test failed: " + sent.message.value_or("") + hint);
    co_return 1;
  }
  session.out << "sent to " << onOneLine(incoming->mail.from) << " through "
              << onOneLine(sent.route) << '\n';
  co_return 0;
}

int sendTest(const SendTestOptions& options, Session& session) {
  const AppConfig config = openConfig(session).config();
  const MailAccount account = mailboxWithId(config, options.mailbox);
  if (!isOneAddress(options.to)) {
    throw std::runtime_error("\"" + options.to + "\" is not one mail address");
  }
  KeychainHelper& secrets = openSecrets(session);
  MailSecrets of = mailSecretsFor(account, secrets.secretsSnapshot(), secrets);
  JournalLog log(STDERR_FILENO);
  MailSender sender({.connector = session.app.connector(),
                     .io = session.app.ioExecutor(),
                     .log = log,
                     .providers = &session.app.providers(log).mail()});
  return session.app.run(sendTo(session, sender, pretendedMail(config, account, options.to),
                                std::move(of.smtpPassword)));
}

}  // namespace

void addSendTestCommand(const CommandSyntax& program) {
  auto options = std::make_shared<SendTestOptions>();
  const CommandSyntax command =
      program.command("send-test", "Send a short test message the way a reply would go");
  command.value("--mailbox", options->mailbox, "The mailbox to send from",
                {.name = "ID", .isRequired = true});
  command.value("--to", options->to, "Who gets the message",
                {.name = "ADDRESS", .isRequired = true});
  command.footer("Says which way it took: the provider's own service, or which SMTP server.");
  command.runs([options](Session& session) { return sendTest(*options, session); });
}

}  // namespace halcyra
