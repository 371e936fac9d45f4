// The one repair that every reader of the rules goes through.
#include <algorithm>
#include <functional>

#include "config/AppConfig.h"
#include "text/Uuid.h"

namespace halcyra {
namespace {

void leaveOneCatchAll(std::vector<MailRule>& rules) {
  bool found = false;
  for (MailRule& rule : rules) {
    rule.isCatchAll = rule.isCatchAll && !found;
    found = found || rule.isCatchAll;
  }
  if (!found) rules.back().isCatchAll = true;
}

bool appliesTo(const MailRule& rule, std::string_view accountId) {
  return rule.mailboxScope == MailRuleMailboxScope::allMailboxes ||
         std::find(rule.mailboxAccountIds.begin(), rule.mailboxAccountIds.end(), accountId) !=
             rule.mailboxAccountIds.end();
}

bool isCatchAll(const MailRule& rule) {
  return rule.isCatchAll;
}

}  // namespace

MailRule defaultCatchAllRule() {
  MailRule rule;
  rule.id = newUuid();
  rule.displayName = "Other";
  rule.criteriaPrompt = "Use when none of the other rules clearly apply.";
  rule.isCatchAll = true;
  return rule;
}

void sanitizeRuleMailboxScope(MailRule& rule, const std::set<std::string>& validIds) {
  if (rule.mailboxScope == MailRuleMailboxScope::allMailboxes) return;
  std::vector<std::string>& ids = rule.mailboxAccountIds;
  const auto firstValid = std::find_if(
      ids.begin(), ids.end(), [&](const std::string& id) { return validIds.contains(id); });
  if (firstValid == ids.end()) {
    rule.mailboxScope = MailRuleMailboxScope::allMailboxes;
    ids.clear();
  } else {
    ids = {std::string(*firstValid)};
  }
}

std::vector<MailRule> AppConfig::effectiveRules() const {
  if (rules.empty()) return {defaultCatchAllRule()};
  const std::size_t count = std::min(rules.size(), maximumRules);
  std::vector<MailRule> repaired(rules.begin(), rules.begin() + static_cast<std::ptrdiff_t>(count));
  leaveOneCatchAll(repaired);
  const std::set<std::string> validIds = validMailboxIds();
  for (MailRule& rule : repaired) sanitizeRuleMailboxScope(rule, validIds);
  return repaired;
}

std::vector<MailRule> AppConfig::rulesForMailbox(std::string_view accountId) const {
  const std::vector<MailRule> all = effectiveRules();
  std::vector<MailRule> kept;
  std::copy_if(all.begin(), all.end(), std::back_inserter(kept),
               [&](const MailRule& rule) { return appliesTo(rule, accountId); });
  // A catch-all for all mailboxes is always kept. One that is not kept is scoped to another
  // mailbox, and this mailbox then has none.
  std::stable_partition(kept.begin(), kept.end(), std::not_fn(isCatchAll));
  return kept;
}

}  // namespace halcyra
