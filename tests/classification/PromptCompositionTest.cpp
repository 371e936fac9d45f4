#include "classification/PromptComposition.h"

#include <gtest/gtest.h>

#include "classification/PromptRules.h"

namespace halcyra {
namespace {

MailRule rule(std::string id, std::string name, std::string criteria, MailRuleAction action) {
  MailRule made;
  made.id = std::move(id);
  made.displayName = std::move(name);
  made.criteriaPrompt = std::move(criteria);
  made.action = action;
  return made;
}

MailAccount account(std::string id, std::string label, std::string notes) {
  MailAccount made;
  made.id = std::move(id);
  made.displayLabel = std::move(label);
  made.classificationAddedContext = std::move(notes);
  return made;
}

// Two mailboxes with notes, and one rule for each action; the catch-all stands first.
AppConfig office() {
  using Action = MailRuleAction;
  AppConfig config;
  config.mailAccounts = {account("acc-1", " Work ", "\n Sign as Ana. \n"),
                         account("acc-2", " ", "Private.")};
  config.legacyIMAPClassificationAddedContext = "Ignored beside mailboxes.";
  config.classificationSystemPrompt = "  Be careful.\n\nVery. ";
  config.rules = {rule("ID-0", "Other", "Anything else.", Action::doNothing),
                  rule("ID-1", " Support ", " Help\nwith \"X\" ", Action::notifyWithSuggestion),
                  rule("ID-2", " \n", "", Action::forwardAndNotify),
                  rule("ID-3", "F", "f", Action::forwardSilently),
                  rule("ID-4", "D", "d", Action::dynamicsCreateLead),
                  rule("ID-5", "S", "s", Action::salesforceCreateLead),
                  rule("ID-6", "A", "a", Action::runCustomAutomation)};
  config.rules[0].isCatchAll = true;
  config.rules[1].mailboxScope = MailRuleMailboxScope::selectedMailboxes;
  config.rules[1].mailboxAccountIds = {"acc-1"};
  config.rules[1].mailboxTagName = " Sup\r\nport\n" + std::string(300, 'x');
  config.rules[2].mailboxScope = MailRuleMailboxScope::selectedMailboxes;
  config.rules[2].mailboxAccountIds = {"acc-2"};
  return config;
}

const std::string replyFormat =
    R"(Respond with ONLY a single JSON object (no markdown). Use exactly these keys:
  "rule_id" — string, must be copied exactly from a **rule_id** line above (do not invent or shorten).
  "confidence" — number from 0 through 1.
  "draft_reply" — string with the suggested reply, or null when the rule says to use null.
Example shape (replace values): {"rule_id":"paste-id-here","confidence":0.85,"draft_reply":"…" or null})";

const std::string jsonReminder =
    R"(Your JSON response must use **exactly one** `rule_id` copied from the **Rules** block that follows (UUID strings). Set `confidence` from 0 to 1. Set `draft_reply` as that block instructs for the chosen rule (reply text or null).)";

const std::string addedContext = R"(

---

## User-added context

Use this together with the Rules when choosing `rule_id`, `confidence`, and `draft_reply` (calendar constraints, tone, language, who you are, company facts, domains to watch, etc.).

)";

const std::string supportEntry = R"(- **rule_id**: `ID-1`
  - **name**:  Support 
  - **when to apply**:  Help
with "X" 
  - **mailbox tag** (after this rule runs): messages get Gmail label / Outlook category `Sup port )" +
                                 std::string(191, 'x') +
                                 R"(` when using Google or Microsoft mail.
  - If you choose this rule, set `draft_reply` to a helpful suggested reply in the same language as the email.

)";

const std::string otherEntry = R"(- **rule_id**: `ID-0`
  - **name**: Other **(CATCH-ALL)**
  - **when to apply**: Anything else.
  - If you choose this rule, set `draft_reply` to null.

)";

TEST(PromptComposition, LiveFormHoldsOneMailbox) {
  AppConfig config = office();
  config.rules.resize(4);
  const std::string expected =
      R"(You triage email for **Halcyra** using user-defined **Rules** (names, criteria, actions, mailbox scope).
Receiving mailbox: **Work**. The **Rules** section below lists only rules that apply to this inbox (scoped rules plus catch-all fallback when included).

Rule overview for this message (3 rules):
• **Support**: Selected inboxes only: Work; action: Notify me with a suggestion
• **F**: All mailboxes; action: Forward without notification
• **Other** — **catch-all**: All mailboxes; action: Do nothing

)" + jsonReminder +
      R"(


### Rules (choose exactly one `rule_id`)

These rules apply to the inbox **Work**. Pick the single best match.

)" + supportEntry +
      R"(- **rule_id**: `ID-3`
  - **name**: F
  - **when to apply**: f
  - If you choose this rule, set `draft_reply` to null.

)" + otherEntry +
      replyFormat + addedContext +
      R"(### Calendar meeting context
Tue 10:00

---

### Global added context
Be careful.

Very.

---

### Added context for inbox **Work**
Sign as Ana.)";
  EXPECT_EQ(composeClassificationSystemPrompt(config, "acc-1", " \nTue 10:00 "), expected);
}

TEST(PromptComposition, TestFormHoldsAllRulesAndNotes) {
  const std::string expected =
      R"(You triage email for **Halcyra** using user-defined **Rules** (names, criteria, actions, mailbox scope).
**Test / preview:** the **Rules** section includes **all** configured rules. Live mail uses only rules assigned to the receiving mailbox (and the global catch-all when the app adds it).

Rule overview for this message (7 rules):
• **Support**: Selected inboxes only: Work; action: Notify me with a suggestion
• **Untitled**: Selected inboxes only: acc-2; action: Forward and notify me
• **F**: All mailboxes; action: Forward without notification
• **D**: All mailboxes; action: Create Dynamics 365 lead
• **S**: All mailboxes; action: Create Salesforce lead
• **A**: All mailboxes; action: Run custom automation
• **Other** — **catch-all**: All mailboxes; action: Do nothing

)" + jsonReminder +
      R"(


### Rules (choose exactly one `rule_id`)

Each rule has a stable `id`. Pick the single best match. Prefer a specific rule over the catch-all.

)" + supportEntry +
      "- **rule_id**: `ID-2`\n  - **name**:  \n\n  - **when to apply**: \n"
      R"(  - If you choose this rule, set `draft_reply` to null.

- **rule_id**: `ID-3`
  - **name**: F
  - **when to apply**: f
  - If you choose this rule, set `draft_reply` to null.

- **rule_id**: `ID-4`
  - **name**: D
  - **when to apply**: d
  - If you choose this rule, set `draft_reply` to null (Halcyra creates a Dynamics 365 lead).

- **rule_id**: `ID-5`
  - **name**: S
  - **when to apply**: s
  - If you choose this rule, set `draft_reply` to null (Halcyra creates a Salesforce lead).

- **rule_id**: `ID-6`
  - **name**: A
  - **when to apply**: a
  - If you choose this rule, set `draft_reply` to null (Halcyra runs your custom automation from Settings → Custom actions).

)" + otherEntry +
      replyFormat + addedContext +
      R"(### Global added context
Be careful.

Very.

---

### Per-mailbox added context (test uses every non-empty block below; **live** mail only includes the receiving inbox’s block)

**Work**:
Sign as Ana.

---

**acc-2**:
Private.)";
  EXPECT_EQ(composeClassificationSystemPrompt(office(), std::nullopt, std::nullopt), expected);
}

TEST(PromptComposition, LegacyMailboxAndEmptySections) {
  AppConfig config;
  config.classificationSystemPrompt = " ";
  config.imapUsername = "ana@example.org";
  config.rules = {rule("ID-0", "Other", "Rest.", MailRuleAction::doNothing)};
  const auto compose = [&](std::optional<std::string> id) {
    return composeClassificationSystemPrompt(config, id, "\n ");
  };
  EXPECT_TRUE(compose(std::nullopt).ends_with("\n\n" + replyFormat));
  EXPECT_NE(compose("legacy-imap").find("message (1 rule):\n"), std::string::npos);

  config.legacyIMAPClassificationAddedContext = " Old notes ";
  EXPECT_TRUE(compose("legacy-imap")
                  .ends_with("### Added context for inbox **ana@example.org**\nOld notes"));
  EXPECT_TRUE(compose(std::nullopt).ends_with("block)\n\n**ana@example.org**:\nOld notes"));
  EXPECT_TRUE(compose("unknown").ends_with(replyFormat));
  EXPECT_NE(compose("").find("\nEach rule has a stable `id`."), std::string::npos);

  config.mailAccounts = {account("acc-1", "Work", " ")};
  EXPECT_TRUE(compose(std::nullopt).ends_with(replyFormat));
}

TEST(PromptComposition, NoMatchingRules) {
  AppConfig config = office();
  config.rules = {config.rules[1]};  // the scoped rule is the catch-all now
  config.classificationSystemPrompt.clear();
  config.mailAccounts[1].classificationAddedContext.clear();
  EXPECT_EQ(
      composeClassificationSystemPrompt(config, "acc-2", std::nullopt),
      R"(Halcyra: **acc-2** has no matching rules in this run (nothing to classify against). If this is unexpected, check the Rules tab and mailbox assignments.


### Rules (choose exactly one `rule_id`)

These rules apply to the inbox **acc-2**. Pick the single best match.

)" + replyFormat);
  EXPECT_EQ(ruleOverview(config, std::nullopt, {}),
            "Halcyra: No rules are configured. Add rules on the Rules tab.");
}

TEST(PromptComposition, UserMessageIntroducesTheMail) {
  EXPECT_EQ(
      classificationUserMessage("Subject: x\n"),
      R"(The email to classify is below. Follow the full system message, including the **User-added context** section (calendar meeting context, global notes, and per-mailbox notes), when you choose the rule and write `draft_reply`.

Subject: x
)");
}

}  // namespace
}  // namespace halcyra
