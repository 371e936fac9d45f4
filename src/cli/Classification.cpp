#include "cli/Classification.h"

#include <algorithm>

#include "classification/PromptComposition.h"
#include "cli/Json.h"
#include "text/ControlCharacters.h"
#include "text/Graphemes.h"
#include "text/Trim.h"

namespace halcyra {

Prompt promptFor(const ParsedMail& mail, const AppConfig& config,
                 const std::optional<std::string>& mailbox) {
  const std::string user = classificationUserMessage(mail.classificationEmailText());
  const auto limit = static_cast<std::size_t>(std::max<std::int64_t>(0, config.llmMaxBodyChars));
  return {composeClassificationSystemPrompt(config, mailbox, std::nullopt),
          std::string(graphemePrefix(user, limit))};
}

std::string promptText(const Prompt& prompt) {
  return "--- system message ---\n" + printable(prompt.system) + "\n\n--- user message ---\n" +
         printable(prompt.user) + '\n';
}

std::string promptJson(const Prompt& prompt) {
  OrderedJson messages;
  messages["system"] = prompt.system;
  messages["user"] = prompt.user;
  return jsonLine(messages);
}

Verdict verdictOf(const ClassificationResult& result, const AppConfig& config,
                  const std::optional<std::string>& mailbox) {
  Verdict verdict{result, std::nullopt, mailbox};
  verdict.result.ruleId = std::string(trimmed(result.ruleId));
  for (const MailRule& rule :
       mailbox ? config.rulesForMailbox(*mailbox) : config.effectiveRules()) {
    if (rule.id == verdict.result.ruleId) verdict.ruleName = rule.displayName;
  }
  return verdict;
}

std::string verdictText(const Verdict& verdict) {
  return "rule_id: " + onOneLine(verdict.result.ruleId) +
         "\nrule_name: " + (verdict.ruleName ? onOneLine(*verdict.ruleName) : "(unknown id)") +
         "\nconfidence: " + jsonLine(verdict.result.confidence) +
         "\ndraft_reply: " + printable(verdict.result.draftReply.value_or("")) + '\n';
}

std::string verdictJson(const Verdict& verdict) {
  OrderedJson object;
  object["rule_id"] = verdict.result.ruleId;
  object["rule_name"] = orNull(verdict.ruleName);
  object["confidence"] = verdict.result.confidence;
  object["draft_reply"] = orNull(verdict.result.draftReply);
  object["test_form"] = !verdict.mailbox.has_value();
  object["mailbox"] = orNull(verdict.mailbox);
  return jsonLine(object);
}

}  // namespace halcyra
