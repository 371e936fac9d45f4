#include "triage/SuggestionPresenter.h"

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

}  // namespace halcyra
