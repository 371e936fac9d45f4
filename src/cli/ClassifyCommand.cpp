
#include "classification/LLMClient.h"
#include "classification/PromptComposition.h"
#include "cli/Classification.h"
#include "cli/Command.h"
#include "cli/MailInput.h"
#include "cli/Mailboxes.h"
#include "cli/Messages.h"
#include "cli/ModelHint.h"
#include "cli/Source.h"
#include "text/Graphemes.h"

namespace halcyra {
namespace {

struct ClassifyOptions {
  std::string file = standardInput;
  std::optional<std::string> mailbox;
  bool showPrompt = false;
  bool json = false;
};

Task<int> ask(Session& session, LLMClient client, Prompt prompt, const AppConfig& config,
              const ClassifyOptions& options) {
  ClassificationResult result;
  try {
    Task<ClassificationResult> asking =
        client.classify(prompt.system, prompt.user, config.llmMaxBodyChars);
    result = co_await std::move(asking);
  } catch (const std::exception& error) {
    complain(session.err, withModelHint(error, config));
    co_return 1;
  }
  const Verdict verdict = verdictOf(result, config, options.mailbox);
  session.out << (options.json ? verdictJson(verdict) + '\n' : verdictText(verdict));
  co_return 0;
}

int classify(const ClassifyOptions& options, Session& session) {
  const AppConfig config = openConfig(session).config();
  if (options.mailbox) mailboxWithId(config, *options.mailbox);
  const ParsedMail mail = readMail(options.file, session.in);
  const Prompt prompt = promptFor(mail, config, options.mailbox);
  if (options.showPrompt) {
    session.out << (options.json ? promptJson(prompt) + '\n' : promptText(prompt));
    return 0;
  }
  if (options.mailbox && config.rulesForMailbox(*options.mailbox).empty()) {
    throw std::runtime_error("no rule applies to mailbox \"" + *options.mailbox +
                             "\", so there is nothing to ask the model; add a rule with "
                             "\"halcyra-cli config edit\"");
  }
  const LLMSettings settings{config.llmBaseURL, config.llmModel, config.llmTemperature,
                             openSecrets(session).llmAPIKey()};
  return session.app.run(
      ask(session, LLMClient(session.app.http(), settings), prompt, config, options));
}

}  // namespace

void addClassifyCommand(const CommandSyntax& program) {
  auto options = std::make_shared<ClassifyOptions>();
  const CommandSyntax command =
      program.command("classify", "Ask the model which rule fits a message");
  command.value("FILE", options->file, "A message file; - or nothing is standard input");
  command.value("--mailbox", options->mailbox,
                "Use the rules and notes of this mailbox, as live mail does; without it all rules "
                "and notes count (test form)",
                {.name = "ID"});
  command.flag("--show-prompt", options->showPrompt,
               "Print the system message and the user message and ask no model");
  command.flag("--json", options->json, "One JSON object");
  command.footer(
      "Nothing is done with the message and nothing is remembered.\n"
      "Keys of the JSON object: rule_id, rule_name (null when no rule has this id), confidence,\n"
      "draft_reply (null for none), test_form (true without --mailbox), mailbox (its id, or "
      "null);\n"
      "with --show-prompt: system, user.");
  command.runs([options](Session& session) { return classify(*options, session); });
}

}  // namespace halcyra
