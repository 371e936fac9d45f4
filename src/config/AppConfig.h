#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace halcyra {

/// Id of the single mailbox of the older flat configuration. Never stored.
inline constexpr std::string_view legacyMailboxId = "legacy-imap";

inline constexpr std::size_t maximumRules = 50;
inline constexpr std::size_t maximumCRMConnections = 20;
inline constexpr std::size_t maximumMonitoredMailboxes = 3;

inline constexpr std::string_view defaultSalesforceLoginHost = "https://login.salesforce.com";

inline constexpr std::string_view defaultClassificationSystemPrompt =
    "Prefer the most specific rule whose criteria clearly match the email. Use the catch-all only "
    "when no other rule is a reasonable fit.\n\n"
    "When unsure between two rules, pick the broader or catch-all rule and lower `confidence`.\n\n"
    "If the email is not in English and a rule asks for a suggested reply, write `draft_reply` in "
    "the "
    "same language as the email.";

enum class LowConfidenceAction { popup, skip };

struct IMAPConnection {
  std::string host;
  std::int64_t port = 993;
  bool useTLS = true;
  std::string username;
  std::string mailbox;

  bool operator==(const IMAPConnection&) const = default;
};

struct GoogleGmail {
  bool operator==(const GoogleGmail&) const = default;
};

struct MicrosoftGraph {
  bool operator==(const MicrosoftGraph&) const = default;
};

/// The transport of a mailbox.
using Kind = std::variant<GoogleGmail, MicrosoftGraph, IMAPConnection>;

/// An empty host means the default server of AppConfig.
struct MailAccountOutgoingSMTP {
  std::string host;
  std::int64_t port = 587;
  bool useStartTLS = true;
  std::string username;

  bool operator==(const MailAccountOutgoingSMTP&) const = default;
};

struct MailAccount {
  std::string id;
  bool enabled = true;
  /// For Gmail and Outlook also the sending address.
  std::string displayLabel;
  Kind kind;
  MailAccountOutgoingSMTP outgoingSMTP;
  std::string classificationAddedContext;

  bool operator==(const MailAccount&) const = default;
};

enum class MailRuleAction {
  notifyWithSuggestion,
  doNothing,
  forwardAndNotify,
  forwardSilently,
  dynamicsCreateLead,
  salesforceCreateLead,
  runCustomAutomation,
};

enum class MailRuleMailboxScope { allMailboxes, selectedMailboxes };

struct MailRule {
  /// The model answers with it.
  std::string id;
  std::string displayName;
  /// When the rule applies, in the user's words.
  std::string criteriaPrompt;
  MailRuleAction action = MailRuleAction::notifyWithSuggestion;
  std::string forwardTo;
  bool isCatchAll = false;
  MailRuleMailboxScope mailboxScope = MailRuleMailboxScope::allMailboxes;
  std::vector<std::string> mailboxAccountIds;
  std::string mailboxTagName;
  std::string customAutomationId;

  bool operator==(const MailRule&) const = default;
};

enum class CRMConnectionKind { dynamics365, salesforce };

struct CRMConnectionProfile {
  std::string id;
  std::string displayName;
  CRMConnectionKind kind = CRMConnectionKind::dynamics365;
  /// The Graph mailbox whose sign-in reaches Dataverse.
  std::string microsoftMailAccountId;
  std::string dataverseEnvironmentURL;
  std::string salesforceLoginHost;

  bool operator==(const CRMConnectionProfile&) const = default;
};

enum class CustomAutomationStepKind {
  createDynamicsLead,
  createSalesforceLead,
  suggestReply,
  forwardAndNotify,
  forwardSilently,
};

struct CustomAutomationStep {
  std::string id;
  CustomAutomationStepKind kind = CustomAutomationStepKind::suggestReply;
  /// The CRMConnectionProfile of a lead step.
  std::string connectionId;
  std::string forwardTo;

  bool operator==(const CustomAutomationStep&) const = default;
};

struct CustomAutomation {
  std::string id;
  std::string displayName;
  std::vector<CustomAutomationStep> steps;

  bool operator==(const CustomAutomation&) const = default;
};

/// A row of a mailbox chooser; in memory only.
struct MailboxPickerRow {
  std::string id;
  std::string label;
  bool isEnabled = false;

  bool operator==(const MailboxPickerRow&) const = default;
};

/// Why the prefilter kept a message from the model, in the order of the tag fields below.
enum class PrefilterSkipReason {
  gmailPromotions,
  gmailSocial,
  outlookOther,
  bulkListHeaders,
  unsubscribeWord,
  newsletterTemplate,
};

/// Everything the user can set. A plain value: readers take a copy and finish with it. No password,
/// token or key is ever part of it.
struct AppConfig {
  std::string microsoftOAuthClientId;
  std::vector<MailAccount> mailAccounts;
  std::string imapHost;
  std::int64_t imapPort = 993;
  bool imapUseTLS = true;
  std::string imapUsername;
  std::string imapMailbox = "INBOX";
  std::string legacyIMAPClassificationAddedContext;
  std::string smtpHost;
  std::int64_t smtpPort = 587;
  bool smtpUseTLS = true;
  bool smtpUseStartTLS = true;
  std::string smtpUsername;
  /// Read rules through effectiveRules or rulesForMailbox, never from here.
  std::vector<MailRule> rules;
  std::string dataverseEnvironmentURL;
  std::string salesforceLoginHost = std::string(defaultSalesforceLoginHost);
  std::vector<CRMConnectionProfile> crmConnectionProfiles;
  std::vector<CustomAutomation> customAutomations;
  std::string llmBaseURL = "https://api.openai.com/v1";
  std::string llmModel = "gpt-5-nano";
  double llmTemperature = 0.2;
  /// Longest user message handed to the model, in characters.
  std::int64_t llmMaxBodyChars = 12000;
  std::int64_t meetingLeadTimeDays = 2;
  /// 1 is Sunday.
  std::vector<std::int64_t> meetingWorkingWeekdays = {2, 3, 4, 5, 6};
  bool meetingIncludeSentMailVoice = true;
  std::int64_t meetingWorkingHoursStart = 9;
  std::int64_t meetingWorkingHoursEnd = 17;
  std::int64_t meetingMinGapMinutes = 15;
  bool meetingCheckAllCalendarsForAvailability = false;
  /// Global notes for the prompt; despite its name not the whole system prompt.
  std::string classificationSystemPrompt = std::string(defaultClassificationSystemPrompt);
  double pollingIntervalSeconds = 60.0;
  bool useIDLE = true;
  double idleFallbackPollSeconds = 120.0;
  bool quietHoursEnabled = false;
  std::int64_t quietStartHour = 22;
  std::int64_t quietEndHour = 7;
  double lowConfidenceThreshold = 0.5;
  LowConfidenceAction lowConfidenceAction = LowConfidenceAction::popup;
  bool prefilterMarketingEnabled = true;
  bool prefilterGmailPromotionsLabel = true;
  bool prefilterGmailSocialLabel = true;
  bool prefilterOutlookOtherTab = true;
  bool prefilterPrecedenceBulk = true;
  bool prefilterNewsletterTemplateHeuristic = true;
  std::string prefilterSkippedMailboxTag;
  std::string prefilterSkippedTagGmailPromotions;
  std::string prefilterSkippedTagGmailSocial;
  std::string prefilterSkippedTagOutlookOther;
  std::string prefilterSkippedTagBulkListHeaders;
  std::string prefilterSkippedTagUnsubscribeWord;
  std::string prefilterSkippedTagNewsletterTemplate;

  bool operator==(const AppConfig&) const = default;

  /// The enabled mailboxes in order; without any account the synthetic legacy mailbox, if its host
  /// and user name are set.
  std::vector<MailAccount> monitoredMailAccounts() const;

  /// The name to show for a mailbox id; an id that nothing has comes back as it is.
  std::string mailboxLabel(std::string_view accountId) const;

  std::vector<MailboxPickerRow> mailboxPickerRows() const;

  /// Ids that a rule may be scoped to.
  std::set<std::string> validMailboxIds() const;

  /// The repaired rule list: 1 to 50 rules, exactly one catch-all, at most one mailbox a scoped
  /// rule.
  std::vector<MailRule> effectiveRules() const;

  /// The rules for mail that came in at one mailbox, catch-all last; empty when none applies.
  std::vector<MailRule> rulesForMailbox(std::string_view accountId) const;

  /// The days of `meetingWorkingWeekdays` that a week has, in stored order and each once; the
  /// default days when none is left.
  std::vector<std::int64_t> workingWeekdaySet() const;

  /// The automation with exactly this id.
  std::optional<CustomAutomation> customAutomation(std::string_view id) const;

  /// The connection with exactly this id.
  std::optional<CRMConnectionProfile> crmConnectionProfile(std::string_view id) const;

  /// The tag for messages skipped for this reason, if one is set.
  std::optional<std::string> prefilterSkipTag(PrefilterSkipReason reason) const;
};

/// The rule that catches what no other rule fits, with a fresh id.
MailRule defaultCatchAllRule();

/// Drops mailbox ids that are not valid and all but the first of the rest; a scoped rule without
/// any applies to all mailboxes.
void sanitizeRuleMailboxScope(MailRule& rule, const std::set<std::string>& validIds);

/// A rule's tag as it is shown and sent: trimmed, on one line (CR LF, CR and LF become one blank
/// each), at most 200 characters. Empty means no tag.
std::string cleanedTag(std::string_view mailboxTagName);

/// The wording for an action in prompts and choosers.
std::string_view actionLabel(MailRuleAction action);

}  // namespace halcyra
