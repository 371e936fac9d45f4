#include "config/AppConfig.h"

#include <algorithm>
#include <array>

#include "text/Graphemes.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr std::size_t longestTag = 200;

bool hasLegacyMailbox(const AppConfig& config) {
  return config.mailAccounts.empty() && !trimmed(config.imapHost).empty() &&
         !trimmed(config.imapUsername).empty();
}

MailAccount legacyMailAccount(const AppConfig& config) {
  const std::string_view mailbox = trimmed(config.imapMailbox);
  MailAccount account;
  account.id = legacyMailboxId;
  account.displayLabel = trimmed(config.imapUsername);
  account.kind = IMAPConnection{.host = std::string(trimmed(config.imapHost)),
                                .port = config.imapPort,
                                .useTLS = config.imapUseTLS,
                                .username = std::string(trimmed(config.imapUsername)),
                                .mailbox = std::string(mailbox.empty() ? "INBOX" : mailbox)};
  account.classificationAddedContext = config.legacyIMAPClassificationAddedContext;
  return account;
}

std::string labelOf(const MailAccount& account) {
  const std::string_view label = trimmed(account.displayLabel);
  return label.empty() ? account.id : std::string(label);
}

}  // namespace

std::vector<MailAccount> AppConfig::monitoredMailAccounts() const {
  if (hasLegacyMailbox(*this)) return {legacyMailAccount(*this)};
  std::vector<MailAccount> monitored;
  std::copy_if(mailAccounts.begin(), mailAccounts.end(), std::back_inserter(monitored),
               [](const MailAccount& account) { return account.enabled; });
  return monitored;
}

std::string AppConfig::mailboxLabel(std::string_view accountId) const {
  for (const MailAccount& account : mailAccounts) {
    if (account.id == accountId) return labelOf(account);
  }
  if (accountId != legacyMailboxId) return std::string(accountId);
  const std::string_view username = trimmed(imapUsername);
  return std::string(username.empty() ? "Legacy IMAP" : username);
}

std::vector<std::int64_t> AppConfig::workingWeekdaySet() const {
  std::vector<std::int64_t> days;
  for (const std::int64_t day : meetingWorkingWeekdays) {
    if (day >= 1 && day <= 7 && std::ranges::count(days, day) == 0) days.push_back(day);
  }
  return days.empty() ? AppConfig().meetingWorkingWeekdays : days;
}

std::optional<CustomAutomation> AppConfig::customAutomation(std::string_view id) const {
  const auto found = std::ranges::find(customAutomations, id, &CustomAutomation::id);
  if (found == customAutomations.end()) return std::nullopt;
  return *found;
}

std::optional<CRMConnectionProfile> AppConfig::crmConnectionProfile(std::string_view id) const {
  const auto found = std::ranges::find(crmConnectionProfiles, id, &CRMConnectionProfile::id);
  if (found == crmConnectionProfiles.end()) return std::nullopt;
  return *found;
}

std::vector<MailboxPickerRow> AppConfig::mailboxPickerRows() const {
  if (hasLegacyMailbox(*this)) {
    return {{std::string(legacyMailboxId), std::string(trimmed(imapUsername)), true}};
  }
  std::vector<MailboxPickerRow> rows;
  for (const MailAccount& account : mailAccounts) {
    rows.push_back({account.id, labelOf(account), account.enabled});
  }
  return rows;
}

std::set<std::string> AppConfig::validMailboxIds() const {
  if (hasLegacyMailbox(*this)) return {std::string(legacyMailboxId)};
  std::set<std::string> ids;
  for (const MailAccount& account : mailAccounts) ids.insert(account.id);
  return ids;
}

std::optional<std::string> AppConfig::prefilterSkipTag(PrefilterSkipReason reason) const {
  const std::array<const std::string*, 6> tags = {
      &prefilterSkippedTagGmailPromotions, &prefilterSkippedTagGmailSocial,
      &prefilterSkippedTagOutlookOther,    &prefilterSkippedTagBulkListHeaders,
      &prefilterSkippedTagUnsubscribeWord, &prefilterSkippedTagNewsletterTemplate};
  for (const std::string* tag :
       {tags[static_cast<std::size_t>(reason)], &prefilterSkippedMailboxTag}) {
    if (const std::string_view text = trimmed(*tag); !text.empty()) return std::string(text);
  }
  return std::nullopt;
}

std::string cleanedTag(std::string_view mailboxTagName) {
  const std::string_view tag = trimmed(mailboxTagName);
  std::string line;
  line.reserve(tag.size());
  for (std::size_t position = 0; position < tag.size(); ++position) {
    const char c = tag[position];
    if (c == '\r' && tag.substr(position + 1).starts_with('\n')) continue;
    line += c == '\r' || c == '\n' ? ' ' : c;
  }
  return std::string(graphemePrefix(line, longestTag));
}

std::string_view actionLabel(MailRuleAction action) {
  switch (action) {
    case MailRuleAction::notifyWithSuggestion:
      return "Notify me with a suggestion";
    case MailRuleAction::doNothing:
      return "Do nothing";
    case MailRuleAction::forwardAndNotify:
      return "Forward and notify me";
    case MailRuleAction::forwardSilently:
      return "Forward without notification";
    case MailRuleAction::dynamicsCreateLead:
      return "Create Dynamics 365 lead";
    case MailRuleAction::salesforceCreateLead:
      return "Create Salesforce lead";
    case MailRuleAction::runCustomAutomation:
      return "Run custom automation";
  }
  return "";
}

}  // namespace halcyra
