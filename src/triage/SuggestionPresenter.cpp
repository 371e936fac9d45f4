#include "triage/SuggestionPresenter.h"

#include <utility>

#include "text/Trim.h"

namespace halcyra {

std::vector<PopupRuleOverrideOption> ruleOverrideOptions(const std::vector<MailRule>& rules) {
  std::vector<PopupRuleOverrideOption> options;
  for (const MailRule& rule : rules) {
    if (rule.isCatchAll) continue;
    const std::string_view title = trimmed(rule.displayName);
    options.push_back({rule.id, std::string(title.empty() ? "Untitled" : title),
                       std::string(actionLabel(rule.action))});
  }
  return options;
}

Suggestion suggestionFor(SharedIncomingMail incoming, std::string draft,
                         std::optional<MailRule> rule, SendReply sendReply) {
  const AppConfig& config = incoming->config;
  const std::string& mailbox = incoming->account.id;
  return {.mail = {incoming, &incoming->mail},
          .mailboxLabel = config.mailboxLabel(mailbox),
          .draft = std::move(draft),
          .ruleOverrides = ruleOverrideOptions(config.rulesForMailbox(mailbox)),
          .rule = std::move(rule),
          .sendReply = std::move(sendReply)};
}

}  // namespace halcyra
