#include <unistd.h>

#include "app/AgendaReport.h"
#include "cli/Command.h"
#include "cli/Mailboxes.h"
#include "cli/Messages.h"
#include "platform/linux/JournalLog.h"
#include "text/ControlCharacters.h"

namespace halcyra {
namespace {

Task<int> printAgenda(Session& session, const AppConfig& config, const MailAccount& mailbox) {
  JournalLog log(STDERR_FILENO);
  Task<std::string> testing = testAgenda(session.app.providers(log), config, mailbox);
  const std::string report = co_await std::move(testing);
  session.out << printable(report) << '\n';
  co_return 0;
}

int agenda(Session& session, const std::string& id) {
  const AppConfig config = openConfig(session).config();
  const MailAccount mailbox = mailboxWithId(config, id);
  openSecrets(session);
  return session.app.run(printAgenda(session, config, mailbox));
}

Task<int> printContext(Session& session, const AppConfig& config, const MailAccount& mailbox) {
  JournalLog log(STDERR_FILENO);
  Task<std::string> looking = session.app.providers(log).meetings().meetingContext(mailbox, config);
  const std::string context = co_await std::move(looking);
  session.out << printable(context) << '\n';
  co_return 0;
}

int meetingContext(Session& session, const std::string& id) {
  const AppConfig config = openConfig(session).config();
  const MailAccount mailbox = mailboxWithId(config, id);
  if (std::holds_alternative<IMAPConnection>(mailbox.kind)) {
    complain(session.err, "mailbox \"" + id +
                              "\" is an IMAP one without a calendar, so the model is told nothing "
                              "about meetings");
    return 0;
  }
  openSecrets(session);
  return session.app.run(printContext(session, config, mailbox));
}

CommandSyntax addFor(const CommandSyntax& program, const std::string& name, const std::string& help,
                     int (*body)(Session&, const std::string&)) {
  auto id = std::make_shared<std::string>();
  const CommandSyntax command = program.command(name, help);
  command.value("--mailbox", *id, "A Gmail or Outlook mailbox", {.name = "ID", .isRequired = true});
  command.runs([id, body](Session& session) { return body(session, *id); });
  return command;
}

}  // namespace

void addAgendaCommands(const CommandSyntax& program) {
  addFor(program, "agenda", "Show the next events of a mailbox's calendar", agenda)
      .footer(
          "The primary or default calendar, or all of them where\n"
          "meetingCheckAllCalendarsForAvailability is true. Nothing is changed there.");
  addFor(program, "meeting-context", "Show what the model is told about meetings and your tone",
         meetingContext)
      .footer("It is made anew for each message of the mailbox; an IMAP mailbox has none.");
}

}  // namespace halcyra
