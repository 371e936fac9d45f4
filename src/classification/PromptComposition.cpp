#include "classification/PromptComposition.h"

#include <algorithm>
#include <vector>

#include "classification/PromptRules.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr std::string_view divider = "\n\n---\n\n";

constexpr std::string_view addedContextHeading =
    "## User-added context\n\nUse this together with the Rules when choosing `rule_id`, "
    "`confidence`, and `draft_reply` (calendar constraints, tone, language, who you are, company "
    "facts, domains to watch, etc.).\n\n";

constexpr std::string_view allMailboxesHeading =
    "### Per-mailbox added context (test uses every non-empty block below; **live** mail only "
    "includes the receiving inbox’s block)\n\n";

std::string joined(const std::vector<std::string>& pieces) {
  std::string text;
  for (const std::string& piece : pieces) {
    if (!text.empty()) text.append(divider);
    text.append(piece);
  }
  return text;
}

// Empty when there is no text for it.
std::string section(std::string_view heading, std::string_view untrimmedText) {
  const std::string_view text = trimmed(untrimmedText);
  if (text.empty()) return {};
  return std::string(heading).append("\n").append(text);
}

std::string_view notesOfMailbox(const AppConfig& config, std::string_view id) {
  const auto account = std::find_if(config.mailAccounts.begin(), config.mailAccounts.end(),
                                    [&](const MailAccount& each) { return each.id == id; });
  if (account != config.mailAccounts.end()) return account->classificationAddedContext;
  if (id == legacyMailboxId) return config.legacyIMAPClassificationAddedContext;
  return {};
}

// Notes of the legacy mailbox count only while it is the only one.
std::string notesOfAllMailboxes(const AppConfig& config) {
  std::vector<std::string> blocks;
  const auto add = [&](std::string_view id, std::string_view notes) {
    std::string block = section("**" + config.mailboxLabel(id) + "**:", notes);
    if (!block.empty()) blocks.push_back(std::move(block));
  };
  for (const MailAccount& account : config.mailAccounts) {
    add(account.id, account.classificationAddedContext);
  }
  if (config.mailAccounts.empty())
    add(legacyMailboxId, config.legacyIMAPClassificationAddedContext);
  if (blocks.empty()) return {};
  return std::string(allMailboxesHeading) + joined(blocks);
}

std::string mailboxNotes(const AppConfig& config, const std::optional<ReceivingMailbox>& mailbox) {
  if (!mailbox) return notesOfAllMailboxes(config);
  return section("### Added context for inbox **" + mailbox->label + "**",
                 notesOfMailbox(config, mailbox->id));
}

}  // namespace

std::string composeClassificationSystemPrompt(const AppConfig& config,
                                              const std::optional<std::string>& receivingAccountId,
                                              const std::optional<std::string>& calendarContext) {
  std::optional<ReceivingMailbox> mailbox;
  if (receivingAccountId) {
    mailbox = {*receivingAccountId, config.mailboxLabel(*receivingAccountId)};
  }
  const std::vector<MailRule> rules = promptRules(config, mailbox);
  std::string prompt = ruleOverview(config, mailbox, rules) + "\n\n" + rulesBlock(mailbox, rules);

  std::vector<std::string> sections = {
      section("### Calendar meeting context", calendarContext.value_or("")),
      section("### Global added context", config.classificationSystemPrompt),
      mailboxNotes(config, mailbox)};
  std::erase_if(sections, [](const std::string& each) { return each.empty(); });
  if (!sections.empty()) {
    prompt.append(divider).append(addedContextHeading).append(joined(sections));
  }
  return prompt;
}

std::string classificationUserMessage(std::string_view mailText) {
  return "The email to classify is below. Follow the full system message, including the "
         "**User-added context** section (calendar meeting context, global notes, and per-mailbox "
         "notes), when you choose the rule and write `draft_reply`.\n\n" +
         std::string(mailText);
}

}  // namespace halcyra
