// The JSON shape of every record under AppConfig.
#include <array>

#include "config/RecordTable.h"

namespace halcyra {

using enum Absent;

template <>
std::span<const Field<IMAPConnection>> fieldsOf() {
  using R = IMAPConnection;
  static constexpr std::array fields = {
      field<&R::host>("host", fails),       field<&R::port>("port", fails),
      field<&R::useTLS>("useTLS", fails),   field<&R::username>("username", fails),
      field<&R::mailbox>("mailbox", fails),
  };
  return fields;
}

template <>
std::span<const Field<MailAccountOutgoingSMTP>> fieldsOf() {
  using R = MailAccountOutgoingSMTP;
  static constexpr std::array fields = {
      field<&R::host>("host", fails),
      field<&R::port>("port", fails),
      field<&R::useStartTLS>("useStartTLS", fails),
      field<&R::username>("username", fails),
  };
  return fields;
}

template <>
std::span<const Field<MailAccount>> fieldsOf() {
  using R = MailAccount;
  static constexpr std::array fields = {
      field<&R::id>("id", fails),
      field<&R::enabled>("enabled", isDefault),
      field<&R::displayLabel>("displayLabel", fails),
      field<&R::kind>("kind", fails),
      field<&R::outgoingSMTP>("outgoingSMTP", isDefault),
      field<&R::classificationAddedContext>("classificationAddedContext", isDefault),
  };
  return fields;
}

template <>
std::span<const Field<MailRule>> fieldsOf() {
  using R = MailRule;
  static constexpr std::array fields = {
      field<&R::id>("id", fails),
      field<&R::displayName>("displayName", fails),
      field<&R::criteriaPrompt>("criteriaPrompt", fails),
      field<&R::action>("action", fails),
      field<&R::forwardTo>("forwardTo", isDefault),
      field<&R::isCatchAll>("isCatchAll", isDefault),
      field<&R::mailboxScope>("mailboxScope", isDefault),
      field<&R::mailboxAccountIds>("mailboxAccountIds", isDefault),
      field<&R::mailboxTagName>("mailboxTagName", isDefault),
      field<&R::customAutomationId>("customAutomationId", isDefault),
  };
  return fields;
}

template <>
std::span<const Field<CRMConnectionProfile>> fieldsOf() {
  using R = CRMConnectionProfile;
  static constexpr std::array fields = {
      field<&R::id>("id", fails),
      field<&R::displayName>("displayName", fails),
      field<&R::kind>("kind", fails),
      field<&R::microsoftMailAccountId>("microsoftMailAccountId", fails),
      field<&R::dataverseEnvironmentURL>("dataverseEnvironmentURL", fails),
      field<&R::salesforceLoginHost>("salesforceLoginHost", fails),
  };
  return fields;
}

template <>
std::span<const Field<CustomAutomationStep>> fieldsOf() {
  using R = CustomAutomationStep;
  static constexpr std::array fields = {
      field<&R::id>("id", fails),
      field<&R::kind>("kind", fails),
      field<&R::connectionId>("connectionId", isDefault),
      field<&R::forwardTo>("forwardTo", isDefault),
  };
  return fields;
}

template <>
std::span<const Field<CustomAutomation>> fieldsOf() {
  using R = CustomAutomation;
  static constexpr std::array fields = {
      field<&R::id>("id", fails),
      field<&R::displayName>("displayName", fails),
      field<&R::steps>("steps", fails),
  };
  return fields;
}

template <>
std::span<const Field<AppConfig>> fieldsOf() {
  using R = AppConfig;
  static constexpr std::array fields = {
      field<&R::microsoftOAuthClientId>("microsoftOAuthClientId", fails),
      field<&R::mailAccounts>("mailAccounts", fails),
      field<&R::imapHost>("imapHost", fails),
      field<&R::imapPort>("imapPort", fails),
      field<&R::imapUseTLS>("imapUseTLS", fails),
      field<&R::imapUsername>("imapUsername", fails),
      field<&R::imapMailbox>("imapMailbox", fails),
      field<&R::legacyIMAPClassificationAddedContext>("legacyIMAPClassificationAddedContext",
                                                      isFilled),
      field<&R::smtpHost>("smtpHost", fails),
      field<&R::smtpPort>("smtpPort", fails),
      field<&R::smtpUseTLS>("smtpUseTLS", fails),
      field<&R::smtpUseStartTLS>("smtpUseStartTLS", fails),
      field<&R::smtpUsername>("smtpUsername", fails),
      field<&R::rules>("rules", fails),  // the rule migration has put them there
      field<&R::dataverseEnvironmentURL>("dataverseEnvironmentURL", isFilled),
      field<&R::salesforceLoginHost>("salesforceLoginHost", isFilled),
      field<&R::crmConnectionProfiles>("crmConnectionProfiles", isFilled),
      field<&R::customAutomations>("customAutomations", isFilled),
      field<&R::llmBaseURL>("llmBaseURL", fails),
      field<&R::llmModel>("llmModel", fails),
      field<&R::llmTemperature>("llmTemperature", fails),
      field<&R::llmMaxBodyChars>("llmMaxBodyChars", fails),
      field<&R::meetingLeadTimeDays>("meetingLeadTimeDays", isFilled),
      field<&R::meetingWorkingWeekdays>("meetingWorkingWeekdays", isFilled),
      field<&R::meetingIncludeSentMailVoice>("meetingIncludeSentMailVoice", isFilled),
      field<&R::meetingWorkingHoursStart>("meetingWorkingHoursStart", isFilled),
      field<&R::meetingWorkingHoursEnd>("meetingWorkingHoursEnd", isFilled),
      field<&R::meetingMinGapMinutes>("meetingMinGapMinutes", isFilled),
      field<&R::meetingCheckAllCalendarsForAvailability>("meetingCheckAllCalendarsForAvailability",
                                                         isFilled),
      field<&R::classificationSystemPrompt>("classificationSystemPrompt", fails),
      field<&R::pollingIntervalSeconds>("pollingIntervalSeconds", fails),
      field<&R::useIDLE>("useIDLE", fails),
      field<&R::idleFallbackPollSeconds>("idleFallbackPollSeconds", fails),
      field<&R::quietHoursEnabled>("quietHoursEnabled", fails),
      field<&R::quietStartHour>("quietStartHour", fails),
      field<&R::quietEndHour>("quietEndHour", fails),
      field<&R::lowConfidenceThreshold>("lowConfidenceThreshold", fails),
      field<&R::lowConfidenceAction>("lowConfidenceAction", fails),
      field<&R::prefilterMarketingEnabled>("prefilterMarketingEnabled", isFilled),
      field<&R::prefilterGmailPromotionsLabel>("prefilterGmailPromotionsLabel", isFilled),
      field<&R::prefilterGmailSocialLabel>("prefilterGmailSocialLabel", isFilled),
      field<&R::prefilterOutlookOtherTab>("prefilterOutlookOtherTab", isFilled),
      field<&R::prefilterPrecedenceBulk>("prefilterPrecedenceBulk", isFilled),
      field<&R::prefilterNewsletterTemplateHeuristic>("prefilterNewsletterTemplateHeuristic",
                                                      isFilled),
      field<&R::prefilterSkippedMailboxTag>("prefilterSkippedMailboxTag", isFilled),
      field<&R::prefilterSkippedTagGmailPromotions>("prefilterSkippedTagGmailPromotions", isFilled),
      field<&R::prefilterSkippedTagGmailSocial>("prefilterSkippedTagGmailSocial", isFilled),
      field<&R::prefilterSkippedTagOutlookOther>("prefilterSkippedTagOutlookOther", isFilled),
      field<&R::prefilterSkippedTagBulkListHeaders>("prefilterSkippedTagBulkListHeaders", isFilled),
      field<&R::prefilterSkippedTagUnsubscribeWord>("prefilterSkippedTagUnsubscribeWord", isFilled),
      field<&R::prefilterSkippedTagNewsletterTemplate>("prefilterSkippedTagNewsletterTemplate",
                                                       isFilled),
  };
  return fields;
}

// Kind is a tagged union: `type` is the tag, and `imap` holds the connection of that case only.

void decodeValue(const nlohmann::json& json, Kind& value, const Place& place) {
  if (!json.is_object()) place.fail("expected an object");
  const Place typePlace(place, "type");
  const Place imapPlace(place, "imap");
  const auto type = json.find("type");
  if (type == json.end()) typePlace.fail("missing");
  TypeKey tag{};
  decodeValue(*type, tag, typePlace);
  switch (tag) {
    case TypeKey::googleGmail:
      value = GoogleGmail{};
      return;
    case TypeKey::microsoftGraph:
      value = MicrosoftGraph{};
      return;
    case TypeKey::imap:
      break;
  }
  const auto imap = json.find("imap");
  if (imap == json.end()) imapPlace.fail("missing");
  decodeValue(*imap, value.emplace<IMAPConnection>(), imapPlace);
}

nlohmann::json encodeValue(const Kind& value) {
  nlohmann::json json = {{"type", rawString(static_cast<TypeKey>(value.index()))}};
  if (const auto* imap = std::get_if<IMAPConnection>(&value)) json["imap"] = encodeValue(*imap);
  return json;
}

void UnknownKeys<Kind>::find(const nlohmann::json& json, const Place& place,
                             std::vector<std::string>& unknown) {
  if (!json.is_object()) return;
  for (const auto& [key, value] : json.items()) {
    const Place keyPlace(place, key);
    if (key == "imap") {
      UnknownKeys<IMAPConnection>::find(value, keyPlace, unknown);
    } else if (key != "type") {
      unknown.push_back(keyPlace.path());
    }
  }
}

}  // namespace halcyra
