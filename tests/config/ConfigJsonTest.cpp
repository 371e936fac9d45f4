#include "config/ConfigJson.h"

#include <gtest/gtest.h>

#include "ConfigSamples.h"

namespace halcyra {
namespace {

using nlohmann::json;

std::string failureOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const ConfigError& error) {
    return error.what();
  }
  return "no failure";
}

// Every field set to something other than its default.
const json fullDocument = json::parse(R"({
  "microsoftOAuthClientId": "client",
  "mailAccounts": [
    {"id": "A", "enabled": false, "displayLabel": "me@example.org",
     "kind": {"type": "imap", "imap": {"host": "h", "port": 143, "useTLS": false, "username": "u",
                                       "mailbox": "Büro"}},
     "outgoingSMTP": {"host": "s", "port": 25, "useStartTLS": false, "username": "su"},
     "classificationAddedContext": "notes"},
    {"id": "B", "enabled": true, "displayLabel": "g", "kind": {"type": "googleGmail"},
     "outgoingSMTP": {"host": "", "port": 587, "useStartTLS": true, "username": ""},
     "classificationAddedContext": ""},
    {"id": "C", "enabled": true, "displayLabel": "o", "kind": {"type": "microsoftGraph"},
     "outgoingSMTP": {"host": "", "port": 587, "useStartTLS": true, "username": ""},
     "classificationAddedContext": ""}],
  "imapHost": "ih", "imapPort": 1, "imapUseTLS": false, "imapUsername": "iu", "imapMailbox": "im",
  "legacyIMAPClassificationAddedContext": "ln", "smtpHost": "sh", "smtpPort": 2,
  "smtpUseTLS": false, "smtpUseStartTLS": false, "smtpUsername": "su",
  "rules": [{"id": "R", "displayName": "n", "criteriaPrompt": "c", "action": "runCustomAutomation",
             "forwardTo": "f", "isCatchAll": true, "mailboxScope": "selectedMailboxes",
             "mailboxAccountIds": ["A", "B"], "mailboxTagName": "t", "customAutomationId": "ca"}],
  "dataverseEnvironmentURL": "dv", "salesforceLoginHost": "sf",
  "crmConnectionProfiles": [{"id": "P", "displayName": "p", "kind": "salesforce",
      "microsoftMailAccountId": "C", "dataverseEnvironmentURL": "d", "salesforceLoginHost": "s"}],
  "customAutomations": [{"id": "U", "displayName": "u", "steps": [
      {"id": "S", "kind": "createSalesforceLead", "connectionId": "P", "forwardTo": "x"}]}],
  "llmBaseURL": "lb", "llmModel": "lm", "llmTemperature": 0.75, "llmMaxBodyChars": 3,
  "meetingLeadTimeDays": 4, "meetingWorkingWeekdays": [7], "meetingIncludeSentMailVoice": false,
  "meetingWorkingHoursStart": 5, "meetingWorkingHoursEnd": 6, "meetingMinGapMinutes": 7,
  "meetingCheckAllCalendarsForAvailability": true, "classificationSystemPrompt": "p",
  "pollingIntervalSeconds": 8.5, "useIDLE": false, "idleFallbackPollSeconds": 9.5,
  "quietHoursEnabled": true, "quietStartHour": 10, "quietEndHour": 11,
  "lowConfidenceThreshold": 0.25, "lowConfidenceAction": "skip",
  "prefilterMarketingEnabled": false, "prefilterGmailPromotionsLabel": false,
  "prefilterGmailSocialLabel": false, "prefilterOutlookOtherTab": false,
  "prefilterPrecedenceBulk": false, "prefilterNewsletterTemplateHeuristic": false,
  "prefilterSkippedMailboxTag": "t0", "prefilterSkippedTagGmailPromotions": "t1",
  "prefilterSkippedTagGmailSocial": "t2", "prefilterSkippedTagOutlookOther": "t3",
  "prefilterSkippedTagBulkListHeaders": "t4", "prefilterSkippedTagUnsubscribeWord": "t5",
  "prefilterSkippedTagNewsletterTemplate": "t6"})");

const json defaultDocument = json::parse(R"({
  "microsoftOAuthClientId": "", "mailAccounts": [],
  "imapHost": "", "imapPort": 993, "imapUseTLS": true, "imapUsername": "", "imapMailbox": "INBOX",
  "legacyIMAPClassificationAddedContext": "", "smtpHost": "", "smtpPort": 587,
  "smtpUseTLS": true, "smtpUseStartTLS": true, "smtpUsername": "", "rules": [],
  "dataverseEnvironmentURL": "", "salesforceLoginHost": "https://login.salesforce.com",
  "crmConnectionProfiles": [], "customAutomations": [],
  "llmBaseURL": "https://api.openai.com/v1", "llmModel": "gpt-5-nano", "llmTemperature": 0.2,
  "llmMaxBodyChars": 12000, "meetingLeadTimeDays": 2, "meetingWorkingWeekdays": [2, 3, 4, 5, 6],
  "meetingIncludeSentMailVoice": true, "meetingWorkingHoursStart": 9, "meetingWorkingHoursEnd": 17,
  "meetingMinGapMinutes": 15, "meetingCheckAllCalendarsForAvailability": false,
  "classificationSystemPrompt": "Prefer the most specific rule whose criteria clearly match the email. Use the catch-all only when no other rule is a reasonable fit.\n\nWhen unsure between two rules, pick the broader or catch-all rule and lower `confidence`.\n\nIf the email is not in English and a rule asks for a suggested reply, write `draft_reply` in the same language as the email.",
  "pollingIntervalSeconds": 60.0, "useIDLE": true, "idleFallbackPollSeconds": 120.0,
  "quietHoursEnabled": false, "quietStartHour": 22, "quietEndHour": 7,
  "lowConfidenceThreshold": 0.5, "lowConfidenceAction": "popup",
  "prefilterMarketingEnabled": true, "prefilterGmailPromotionsLabel": true,
  "prefilterGmailSocialLabel": true, "prefilterOutlookOtherTab": true,
  "prefilterPrecedenceBulk": true, "prefilterNewsletterTemplateHeuristic": true,
  "prefilterSkippedMailboxTag": "", "prefilterSkippedTagGmailPromotions": "",
  "prefilterSkippedTagGmailSocial": "", "prefilterSkippedTagOutlookOther": "",
  "prefilterSkippedTagBulkListHeaders": "", "prefilterSkippedTagUnsubscribeWord": "",
  "prefilterSkippedTagNewsletterTemplate": ""})");

const std::set<std::string> filledKeys = {"prefilterMarketingEnabled",
                                          "prefilterGmailPromotionsLabel",
                                          "prefilterGmailSocialLabel",
                                          "prefilterOutlookOtherTab",
                                          "prefilterPrecedenceBulk",
                                          "prefilterNewsletterTemplateHeuristic",
                                          "prefilterSkippedMailboxTag",
                                          "prefilterSkippedTagGmailPromotions",
                                          "prefilterSkippedTagGmailSocial",
                                          "prefilterSkippedTagOutlookOther",
                                          "prefilterSkippedTagBulkListHeaders",
                                          "prefilterSkippedTagUnsubscribeWord",
                                          "prefilterSkippedTagNewsletterTemplate",
                                          "legacyIMAPClassificationAddedContext",
                                          "meetingLeadTimeDays",
                                          "meetingWorkingWeekdays",
                                          "meetingIncludeSentMailVoice",
                                          "meetingWorkingHoursStart",
                                          "meetingWorkingHoursEnd",
                                          "meetingMinGapMinutes",
                                          "meetingCheckAllCalendarsForAvailability",
                                          "dataverseEnvironmentURL",
                                          "salesforceLoginHost",
                                          "crmConnectionProfiles",
                                          "customAutomations"};

TEST(ConfigJson, EveryFieldSurvivesTheRoundTrip) {
  EXPECT_EQ(json::parse(encodeConfig(decodeConfig(fullDocument.dump()))), fullDocument);
  EXPECT_EQ(json::parse(encodeConfig(AppConfig())), defaultDocument);
  for (const auto& [key, value] : fullDocument.items())
    EXPECT_NE(value, defaultDocument[key]) << key;
}

TEST(ConfigJson, IsPrettySortedAndPlainUtf8) {
  const std::string text = encodeConfig(decodeConfig(fullDocument.dump()));
  EXPECT_TRUE(text.starts_with("{\n  \"classificationSystemPrompt\": \"p\",\n  \"crmConn"));
  EXPECT_TRUE(text.ends_with("\n}\n"));
  EXPECT_NE(text.find("Büro"), std::string::npos);
  AppConfig config;
  config.llmTemperature = std::numeric_limits<double>::infinity();
  EXPECT_THROW(encodeConfig(config), ConfigError);
}

TEST(ConfigJson, EachAbsentTopLevelKeyIsFilledOrFatal) {
  for (const auto& [key, value] : fullDocument.items()) {
    json document = fullDocument;
    document.erase(key);
    const std::string failure = failureOf([&] { decodeConfig(document.dump()); });
    const bool isFilled = filledKeys.contains(key);
    EXPECT_EQ(failure, isFilled || key == "rules" ? "no failure" : key + ": missing");
    if (isFilled) {
      const json filled = json::parse(encodeConfig(decodeConfig(document.dump())));
      EXPECT_EQ(filled[key], defaultDocument[key]) << key;
    }
    document[key] = nullptr;  // present, whatever it holds
    EXPECT_EQ(failureOf([&] { decodeConfig(document.dump()); }) == "no failure", key == "rules");
  }
}

TEST(ConfigJson, NestedKeysAreRequiredOrDefaulted) {
  const std::map<std::string, std::set<std::string>> optional = {
      {"/mailAccounts/0", {"enabled", "outgoingSMTP", "classificationAddedContext"}},
      {"/mailAccounts/0/kind", {}},
      {"/mailAccounts/0/kind/imap", {}},
      {"/mailAccounts/0/outgoingSMTP", {}},
      {"/rules/0",
       {"forwardTo", "isCatchAll", "mailboxScope", "mailboxAccountIds", "mailboxTagName",
        "customAutomationId"}},
      {"/crmConnectionProfiles/0", {}},
      {"/customAutomations/0", {}},
      {"/customAutomations/0/steps/0", {"connectionId", "forwardTo"}}};
  for (const auto& [pointer, defaulted] : optional) {
    const json record = fullDocument[json::json_pointer(pointer)];
    for (const auto& [key, value] : record.items()) {
      json document = fullDocument;
      document[json::json_pointer(pointer)].erase(key);
      const std::string failure = failureOf([&] { decodeConfig(document.dump()); });
      EXPECT_EQ(failure == "no failure", defaulted.contains(key))
          << pointer << " " << key << failure;
    }
  }
  json document = fullDocument;
  document["rules"] = {
      {{"id", "R"}, {"displayName", "n"}, {"criteriaPrompt", "c"}, {"action", "doNothing"}}};
  document["mailAccounts"] = {
      {{"id", "A"}, {"displayLabel", "l"}, {"kind", {{"type", "googleGmail"}}}}};
  const AppConfig config = decodeConfig(document.dump());
  MailRule rule = ruleNamed("R");
  rule.displayName = "n";
  rule.criteriaPrompt = "c";
  rule.action = MailRuleAction::doNothing;
  EXPECT_EQ(config.rules, std::vector{rule});
  EXPECT_EQ(config.mailAccounts[0].outgoingSMTP, (MailAccountOutgoingSMTP{"", 587, true, ""}));
  EXPECT_TRUE(config.mailAccounts[0].enabled);
}

TEST(ConfigJson, FaultsAreNamedWithTheirPlace) {
  struct Case {
    const char* pointer;
    const char* value;
    const char* failure;
  };
  const Case cases[] = {
      {"/rules/0/action", R"("forward")",
       "rules[0].action: \"forward\" is not one of notifyWithSuggestion, doNothing, "
       "forwardAndNotify, forwardSilently, dynamicsCreateLead, salesforceCreateLead, "
       "runCustomAutomation"},
      {"/mailAccounts/0/kind/imap/port", R"("993")",
       "mailAccounts[0].kind.imap.port: expected a whole number"},
      {"/mailAccounts/0/kind/imap/port", "993.5",
       "mailAccounts[0].kind.imap.port: expected a whole number"},
      {"/mailAccounts/0/kind/imap/port", "993.0", "no failure"},
      {"/imapPort", "9223372036854775807", "no failure"},
      {"/imapPort", "9223372036854775808", "imapPort: the number is too large"},
      {"/imapPort", "-9223372036854775809", "imapPort: the number is too large"},
      {"/llmTemperature", "1", "no failure"},
      {"/llmTemperature", "true", "llmTemperature: expected a number"},
      {"/useIDLE", "1", "useIDLE: expected true or false"},
      {"/mailAccounts", "{}", "mailAccounts: expected a list"},
      {"/mailAccounts/1", "[]", "mailAccounts[1]: expected an object"},
      {"/mailAccounts/1/kind/type", R"("pop")",
       "mailAccounts[1].kind.type: \"pop\" is not one of googleGmail, microsoftGraph, imap"},
      {"/mailAccounts/1/kind/type", R"("imap")", "mailAccounts[1].kind.imap: missing"},
      {"/mailAccounts/1/kind/imap", "7", "no failure"},
      {"/rules/0/mailboxAccountIds/1", "1", "rules[0].mailboxAccountIds[1]: expected a text"},
      {"/customAutomations/0/steps/0/kind", R"("a\nb")",
       "customAutomations[0].steps[0].kind: \"a\\nb\" is not one of createDynamicsLead, "
       "createSalesforceLead, suggestReply, forwardAndNotify, forwardSilently"},
  };
  for (const Case& c : cases) {
    json document = fullDocument;
    document[json::json_pointer(c.pointer)] = json::parse(c.value);
    EXPECT_EQ(failureOf([&] { decodeConfig(document.dump()); }), c.failure) << c.pointer << c.value;
  }
  EXPECT_EQ(failureOf([] { decodeConfig("[]"); }), "top level: expected a JSON object");
  EXPECT_EQ(failureOf([] { decodeConfig("{\n  \"a\": ,\n}"); }),
            "Not valid JSON at line 2, column 8.");
}

TEST(ConfigJson, UnknownKeysAreFoundAtAnyDepth) {
  json document = fullDocument;
  document["supportForwardTo"] = "x";
  document["llmmodel"] = "x";
  document["rules"][0]["odd key"] = 1;
  document["mailAccounts"][0]["kind"]["imap"]["tls"] = true;
  document["mailAccounts"][1]["kind"]["more"] = true;
  EXPECT_EQ(unknownKeys(document.dump()),
            (std::vector<std::string>{"llmmodel", "mailAccounts[0].kind.imap.tls",
                                      "mailAccounts[1].kind.more", "rules[0][\"odd key\"]"}));
  EXPECT_EQ(unknownKeys(fullDocument.dump()), std::vector<std::string>{});
}

TEST(ConfigJson, DiscardedRulesAreTold) {
  const std::pair<const char*, const char*> cases[] = {
      {"{}", ""},
      {R"({"rules": []})", ""},
      {R"({"rules": [{}]})", ""},
      {R"({"rules": "x"})", "rules: expected a list"},
      {R"({"rules": [{}, 7]})", "rules[1]: expected an object"}};
  for (const auto& [text, reason] : cases) EXPECT_EQ(discardedRules(text), reason) << text;
}

TEST(ConfigValue, OneValueIsSetByItsPath) {
  struct Case {
    const char* key;
    const char* value;
    const char* pointer;  // what changes, or nullptr for a failure
    const char* result;
  };
  const Case cases[] = {
      {"llmModel", "7 \"x\"", "/llmModel", R"("7 \"x\"")"},
      {"mailAccounts[0].enabled", "true", "/mailAccounts/0/enabled", "true"},
      {"rules[0].forwardTo", "a@example.org", "/rules/0/forwardTo", R"("a@example.org")"},
      {"rules[0].action", "doNothing", "/rules/0/action", R"("doNothing")"},
      {"rules[0].mailboxAccountIds[1]", "C", "/rules/0/mailboxAccountIds/1", R"("C")"},
      {"pollingIntervalSeconds", "30", "/pollingIntervalSeconds", "30.0"},
      {"meetingWorkingWeekdays", "[1]", "/meetingWorkingWeekdays", "[1]"},
      {"mailAccounts[1].kind.type", "microsoftGraph", "/mailAccounts/1/kind/type",
       R"("microsoftGraph")"},
      {"mailAccounts[1].kind.type", "imap", nullptr, "mailAccounts[1].kind.imap: missing"},
      {"meetingWorkingWeekdays", "many", nullptr,
       "meetingWorkingWeekdays: the value is not JSON. Not valid JSON at line 1, column 1."},
      {"llmmodel", "x", nullptr, "llmmodel: no such setting; near it: llmModel"},
      {"rules[0].forward", "x", nullptr, "rules[0].forward: no such setting; near it: forwardTo"},
      {"zzzzzz", "x", nullptr, "zzzzzz: no such setting"},
      {"rules[1].id", "x", nullptr, "rules[1]: the list has 1 entries"},
      {"llmModel.x", "x", nullptr, "llmModel: has no settings of its own"},
      {"imapPort[0]", "1", nullptr, "imapPort: is no list"},
      {"llmModel", "\xFF", nullptr, "The key or the value is not UTF-8 text."},
  };
  const AppConfig full = decodeConfig(fullDocument.dump());
  for (const Case& c : cases) {
    json result;
    const std::string failure = failureOf(
        [&] { result = json::parse(encodeConfig(configWithValue(full, c.key, c.value))); });
    json expected = fullDocument;
    if (c.pointer) expected[json::json_pointer(c.pointer)] = json::parse(c.result);
    if (c.pointer) {
      EXPECT_EQ(result, expected) << c.key << ": " << failure;
    } else {
      EXPECT_EQ(failure, c.result);
    }
  }
  for (const char* key : {"", ".", "rules[", "rules[x]", "rules[0", "rules[0]id", "llmModel."}) {
    EXPECT_EQ(failureOf([&] { configWithValue(full, key, "x"); }).substr(0, 27),
              "A key is written like llmMo")
        << key;
  }
}

}  // namespace
}  // namespace halcyra
