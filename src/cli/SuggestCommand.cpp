
#include "classification/LLMClient.h"
#include "classification/PromptComposition.h"
#include "cli/Classification.h"
#include "cli/Command.h"
#include "cli/MailInput.h"
#include "cli/Mailboxes.h"
#include "cli/Messages.h"
#include "cli/ModelHint.h"
#include "cli/Source.h"
#include "text/ControlCharacters.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

struct SuggestOptions {
  std::string file = standardInput;
  std::optional<std::string> mailbox;
};

// What the live classification drafts for the mailbox; empty when it drafts nothing.
Task<std::string> draftOfMailbox(LLMClient& client, ParsedMail mail, const AppConfig& config,
                                 std::string mailbox) {
  const Prompt prompt = promptFor(mail, config, mailbox);
  Task<ClassificationResult> asking =
      client.classify(prompt.system, prompt.user, config.llmMaxBodyChars);
  const ClassificationResult answer = co_await std::move(asking);
  co_return std::string(trimmed(answer.draftReply.value_or("")));
}

Task<std::string> draft(LLMClient& client, ParsedMail mail, const AppConfig& config,
                        std::optional<std::string> mailbox) {
  if (mailbox) {
    Task<std::string> drafting = draftOfMailbox(client, mail, config, *mailbox);
    std::string text = co_await std::move(drafting);
    if (!text.empty()) co_return text;
  }
  Task<std::string> proposing = client.proposeReplyDraft(
      classificationUserMessage(mail.classificationEmailText()), config.llmMaxBodyChars);
  co_return co_await std::move(proposing);
}

Task<int> suggestTo(Session& session, LLMClient client, ParsedMail mail, const AppConfig& config,
                    std::optional<std::string> mailbox) {
  try {
    Task<std::string> drafting = draft(client, std::move(mail), config, std::move(mailbox));
    const std::string text = co_await std::move(drafting);
    session.out << printable(text) << '\n';
    co_return 0;
  } catch (const std::exception& error) {
    complain(session.err, withModelHint(error, config));
  }
  co_return 1;
}

int suggest(const SuggestOptions& options, Session& session) {
  const AppConfig config = openConfig(session).config();
  if (options.mailbox) mailboxWithId(config, *options.mailbox);
  ParsedMail mail = readMail(options.file, session.in);
  const LLMSettings settings{config.llmBaseURL, config.llmModel, config.llmTemperature,
                             openSecrets(session).llmAPIKey()};
  return session.app.run(suggestTo(session, LLMClient(session.app.http(), settings),
                                   std::move(mail), config, options.mailbox));
}

}  // namespace

void addSuggestCommand(const CommandSyntax& program) {
  auto options = std::make_shared<SuggestOptions>();
  const CommandSyntax command =
      program.command("suggest", "Ask the model for a reply to a message");
  command.value("FILE", options->file, "A message file; - or nothing is standard input");
  command.value("--mailbox", options->mailbox,
                "Draft as live mail of this mailbox is drafted, with its rules and notes",
                {.name = "ID"});
  command.footer(
      "Prints the draft. Nothing is sent, nothing is done with the message and nothing is\n"
      "remembered.");
  command.runs([options](Session& session) { return suggest(*options, session); });
}

}  // namespace halcyra
