#include "config/AppConfig.h"

#include <gtest/gtest.h>

#include "ConfigSamples.h"
#include "text/Uuid.h"

namespace halcyra {
namespace {

// A rule list as text: `a* b@m1` is the catch-all a, and b for mailbox m1.
std::string listed(const std::vector<MailRule>& rules) {
  std::string text;
  for (const MailRule& rule : rules) {
    text += (text.empty() ? "" : " ") + rule.id + (rule.isCatchAll ? "*" : "");
    if (rule.mailboxScope == MailRuleMailboxScope::selectedMailboxes) {
      for (const std::string& id : rule.mailboxAccountIds) text += "@" + id;
    }
  }
  return text;
}

AppConfig withMailboxes(std::vector<MailRule> rules) {
  AppConfig config;
  config.mailAccounts = {accountNamed("m1"), accountNamed("m2", false)};
  config.rules = std::move(rules);
  return config;
}

TEST(EffectiveRules, RepairsEachFault) {
  struct Case {
    std::vector<MailRule> rules;
    const char* effective;
    const char* forM1;
    const char* forM2;
  };
  const Case cases[] = {
      {{ruleNamed("a", true), ruleNamed("b", true)}, "a* b", "b a*", "b a*"},
      {{ruleNamed("a"), ruleNamed("b")}, "a b*", "a b*", "a b*"},
      {{ruleFor("a", {"gone"}), ruleNamed("b", true)}, "a b*", "a b*", "a b*"},
      {{ruleFor("a", {}), ruleNamed("b", true)}, "a b*", "a b*", "a b*"},
      {{ruleFor("a", {"gone", "m2", "m1"}), ruleNamed("b", true)}, "a@m2 b*", "b*", "a@m2 b*"},
      {{ruleFor("a", {"m1"}, true), ruleNamed("b")}, "a*@m1 b", "b a*@m1", "b"},
      {{ruleFor("a", {"m1"}, true), ruleFor("b", {"m1"})}, "a*@m1 b@m1", "b@m1 a*@m1", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.effective);
    const AppConfig config = withMailboxes(c.rules);
    EXPECT_EQ(listed(config.effectiveRules()), c.effective);
    EXPECT_EQ(listed(config.rulesForMailbox("m1")), c.forM1);
    EXPECT_EQ(listed(config.rulesForMailbox("m2")), c.forM2);
  }
}

TEST(EffectiveRules, FiftyAtMostAndIdsOfUnscopedRulesStay) {
  std::vector<MailRule> rules(50, ruleNamed("a"));
  rules.push_back(ruleNamed("last", true));
  rules[0].mailboxAccountIds = {"gone"};
  const std::vector<MailRule> effective = withMailboxes(rules).effectiveRules();
  ASSERT_EQ(effective.size(), 50u);
  EXPECT_TRUE(effective[49].isCatchAll);
  EXPECT_EQ(effective[0], rules[0]);
}

TEST(EffectiveRules, AnEmptyListGivesAFreshCatchAll) {
  const MailRule rule = AppConfig().effectiveRules().at(0);
  EXPECT_TRUE(isCanonicalUuid(rule.id));
  EXPECT_NE(rule.id, AppConfig().effectiveRules().at(0).id);
  MailRule expected = ruleNamed(rule.id, true);
  expected.displayName = "Other";
  expected.criteriaPrompt = "Use when none of the other rules clearly apply.";
  EXPECT_EQ(AppConfig().rulesForMailbox("any").size(), 1u);
  EXPECT_EQ(rule, expected);
}

TEST(Mailboxes, AccountsOrTheLegacyMailbox) {
  AppConfig config;
  EXPECT_TRUE(config.monitoredMailAccounts().empty());
  EXPECT_EQ(config.mailboxLabel("legacy-imap"), "Legacy IMAP");
  config.imapHost = " imap.example.org\n";
  EXPECT_TRUE(config.mailboxPickerRows().empty());
  EXPECT_TRUE(config.validMailboxIds().empty());

  config.imapUsername = " me ";
  config.imapMailbox = " ";
  config.imapPort = 143;
  config.imapUseTLS = false;
  config.legacyIMAPClassificationAddedContext = " notes ";
  MailAccount legacy;
  legacy.id = "legacy-imap";
  legacy.displayLabel = "me";
  legacy.kind = IMAPConnection{"imap.example.org", 143, false, "me", "INBOX"};
  legacy.classificationAddedContext = " notes ";
  EXPECT_EQ(config.monitoredMailAccounts(), std::vector{legacy});
  EXPECT_EQ(config.validMailboxIds(), std::set<std::string>{"legacy-imap"});
  EXPECT_EQ(config.mailboxPickerRows(),
            (std::vector<MailboxPickerRow>{{"legacy-imap", "me", true}}));
  EXPECT_EQ(config.mailboxLabel("legacy-imap"), "me");

  config.mailAccounts = {accountNamed("m1"), accountNamed("m2", false)};
  config.mailAccounts[1].displayLabel = " \n";
  EXPECT_EQ(config.monitoredMailAccounts(), std::vector{config.mailAccounts[0]});
  EXPECT_EQ(config.validMailboxIds(), (std::set<std::string>{"m1", "m2"}));
  EXPECT_EQ(config.mailboxPickerRows(),
            (std::vector<MailboxPickerRow>{{"m1", "m1@example.org", true}, {"m2", "m2", false}}));
  EXPECT_EQ(config.mailboxLabel("m2"), "m2");
  EXPECT_EQ(config.mailboxLabel("unknown"), "unknown");
  config.mailAccounts[0].enabled = false;
  EXPECT_TRUE(config.monitoredMailAccounts().empty());
}

TEST(Meetings, WorkingDaysAreThoseThatAWeekHas) {
  using Days = std::vector<std::int64_t>;
  const Days usual = {2, 3, 4, 5, 6};
  const std::pair<Days, Days> cases[] = {
      {{7, 1, 7, 3}, {7, 1, 3}}, {{0, 8, -1, 4}, {4}}, {{0, 8}, usual}, {{}, usual}};
  for (const auto& [stored, days] : cases) {
    AppConfig config;
    config.meetingWorkingWeekdays = stored;
    EXPECT_EQ(config.workingWeekdaySet(), days);
  }
}

TEST(Tags, ThePrefiltersOwnThenTheCommonOne) {
  AppConfig config;
  using enum PrefilterSkipReason;
  EXPECT_EQ(config.prefilterSkipTag(gmailPromotions), std::nullopt);
  config.prefilterSkippedMailboxTag = " all ";
  config.prefilterSkippedTagGmailPromotions = "1";
  config.prefilterSkippedTagGmailSocial = "2";
  config.prefilterSkippedTagOutlookOther = "3";
  config.prefilterSkippedTagBulkListHeaders = " \t";
  config.prefilterSkippedTagUnsubscribeWord = "5";
  config.prefilterSkippedTagNewsletterTemplate = " 6\n";
  std::string tags;
  for (auto reason : {gmailPromotions, gmailSocial, outlookOther, bulkListHeaders, unsubscribeWord,
                      newsletterTemplate}) {
    tags += *config.prefilterSkipTag(reason) + ",";
  }
  EXPECT_EQ(tags, "1,2,3,all,5,6,");
}

TEST(Tags, OneLineOfTwoHundredCharacters) {
  EXPECT_EQ(cleanedTag(" \n a\r\nb\rc\nd\n\r\ne \r\n"), "a b c d  e");
  EXPECT_EQ(cleanedTag("\xC2\xA0"), "");
  std::string accents;
  for (int count = 0; count < 201; ++count) accents += "e\xCC\x81";
  EXPECT_EQ(cleanedTag(accents), accents.substr(0, 600));
}

}  // namespace
}  // namespace halcyra
