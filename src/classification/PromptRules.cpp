#include "classification/PromptRules.h"

#include <algorithm>
#include <string_view>

#include "text/Trim.h"

namespace halcyra {
namespace {

std::string scopeText(const AppConfig& config, const MailRule& rule) {
  const bool selected = rule.mailboxScope == MailRuleMailboxScope::selectedMailboxes;
  if (!selected || rule.mailboxAccountIds.empty()) return "All mailboxes";
  std::string text = "Selected inboxes only: ";
  std::string_view separator;
  for (const std::string& id : rule.mailboxAccountIds) {
    text.append(separator).append(config.mailboxLabel(id));
    separator = ", ";
  }
  return text;
}

std::string overviewLine(const AppConfig& config, const MailRule& rule) {
  const std::string_view name = trimmed(rule.displayName);
  std::string line = "• **";
  line.append(name.empty() ? "Untitled" : name).append("**");
  if (rule.isCatchAll) line.append(" — **catch-all**");
  line.append(": ").append(scopeText(config, rule));
  line.append("; action: ").append(actionLabel(rule.action)).append("\n");
  return line;
}

std::string_view draftInstruction(MailRuleAction action) {
  switch (action) {
    case MailRuleAction::notifyWithSuggestion:
      return "If you choose this rule, set `draft_reply` to a helpful suggested reply in the same "
             "language as the email.";
    case MailRuleAction::doNothing:
    case MailRuleAction::forwardAndNotify:
    case MailRuleAction::forwardSilently:
      return "If you choose this rule, set `draft_reply` to null.";
    case MailRuleAction::dynamicsCreateLead:
      return "If you choose this rule, set `draft_reply` to null (Halcyra creates a Dynamics 365 "
             "lead).";
    case MailRuleAction::salesforceCreateLead:
      return "If you choose this rule, set `draft_reply` to null (Halcyra creates a Salesforce "
             "lead).";
    case MailRuleAction::runCustomAutomation:
      return "If you choose this rule, set `draft_reply` to null (Halcyra runs your custom "
             "automation from Settings → Custom actions).";
  }
  return {};
}

std::string ruleEntry(const MailRule& rule) {
  std::string entry = "- **rule_id**: `" + rule.id + "`\n";
  entry.append("  - **name**: ").append(rule.displayName);
  entry.append(rule.isCatchAll ? " **(CATCH-ALL)**\n" : "\n");
  entry.append("  - **when to apply**: ").append(rule.criteriaPrompt).append("\n");
  if (const std::string tag = cleanedTag(rule.mailboxTagName); !tag.empty()) {
    entry
        .append(
            "  - **mailbox tag** (after this rule runs): messages get Gmail label / Outlook "
            "category `")
        .append(tag)
        .append("` when using Google or Microsoft mail.\n");
  }
  entry.append("  - ").append(draftInstruction(rule.action)).append("\n\n");
  return entry;
}

constexpr std::string_view replyFormat =
    "Respond with ONLY a single JSON object (no markdown). Use exactly these keys:\n"
    "  \"rule_id\" — string, must be copied exactly from a **rule_id** line above (do not invent "
    "or "
    "shorten).\n"
    "  \"confidence\" — number from 0 through 1.\n"
    "  \"draft_reply\" — string with the suggested reply, or null when the rule says to use null.\n"
    "Example shape (replace values): "
    "{\"rule_id\":\"paste-id-here\",\"confidence\":0.85,\"draft_reply\":\"…\" or null}";

}  // namespace

std::vector<MailRule> promptRules(const AppConfig& config,
                                  const std::optional<ReceivingMailbox>& mailbox) {
  if (mailbox) return config.rulesForMailbox(mailbox->id);
  std::vector<MailRule> rules = config.effectiveRules();
  std::stable_partition(rules.begin(), rules.end(),
                        [](const MailRule& rule) { return !rule.isCatchAll; });
  return rules;
}

std::string ruleOverview(const AppConfig& config, const std::optional<ReceivingMailbox>& mailbox,
                         const std::vector<MailRule>& rules) {
  if (rules.empty()) {
    if (!mailbox) return "Halcyra: No rules are configured. Add rules on the Rules tab.";
    return "Halcyra: **" + mailbox->label +
           "** has no matching rules in this run (nothing to classify against). If this is "
           "unexpected, check the Rules tab and mailbox assignments.";
  }
  std::string text =
      "You triage email for **Halcyra** using user-defined **Rules** (names, criteria, actions, "
      "mailbox scope).\n";
  if (mailbox) {
    text.append("Receiving mailbox: **" + mailbox->label +
                "**. The **Rules** section below lists only rules that apply to this inbox (scoped "
                "rules plus catch-all fallback when included).\n");
  } else {
    text.append(
        "**Test / preview:** the **Rules** section includes **all** configured rules. Live mail "
        "uses only rules assigned to the receiving mailbox (and the global catch-all when the app "
        "adds it).\n");
  }
  text.append("\nRule overview for this message (" + std::to_string(rules.size()));
  text.append(rules.size() == 1 ? " rule):\n" : " rules):\n");
  for (const MailRule& rule : rules) text.append(overviewLine(config, rule));
  text.append(
      "\nYour JSON response must use **exactly one** `rule_id` copied from the **Rules** block "
      "that "
      "follows (UUID strings). Set `confidence` from 0 to 1. Set `draft_reply` as that block "
      "instructs for the chosen rule (reply text or null).");
  return text;
}

std::string rulesBlock(const std::optional<ReceivingMailbox>& mailbox,
                       const std::vector<MailRule>& rules) {
  std::string text = "\n### Rules (choose exactly one `rule_id`)\n\n";
  if (mailbox && !mailbox->label.empty()) {
    text.append("These rules apply to the inbox **" + mailbox->label +
                "**. Pick the single best match.\n\n");
  } else {
    text.append(
        "Each rule has a stable `id`. Pick the single best match. Prefer a specific rule over the "
        "catch-all.\n\n");
  }
  for (const MailRule& rule : rules) text.append(ruleEntry(rule));
  text.append(replyFormat);
  return text;
}

}  // namespace halcyra
