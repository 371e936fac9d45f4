#include "cli/ConfigCheck.h"

#include <gtest/gtest.h>

#include "cli/ConfigValue.h"
#include "config/ConfigJson.h"

namespace halcyra {
namespace {

MailAccount imapMailbox(const std::string& id) {
  MailAccount account;
  account.id = id;
  account.kind = IMAPConnection{"mail.x", 993, true, "u", "INBOX"};
  return account;
}

MailRule rule(const std::string& id, bool isCatchAll = false) {
  MailRule made;
  made.id = id;
  made.displayName = id;
  made.isCatchAll = isCatchAll;
  return made;
}

AppConfig soundConfig() {
  AppConfig config;
  config.mailAccounts = {imapMailbox("A"), imapMailbox("B")};
  config.mailAccounts[1].enabled = false;
  config.rules = {rule("R1"), rule("R2", true)};
  return config;
}

TEST(ConfigCheck, SlipsAreNamedWithTheirPlace) {
  using Change = void (*)(AppConfig&);
  const std::pair<Change, std::vector<std::string>> cases[] = {
      {[](AppConfig&) {}, {}},
      {[](AppConfig& c) {
         for (const char* id : {"C", "D", "E"}) c.mailAccounts.push_back(imapMailbox(id));
       },
       {"mailAccounts: 4 mailboxes are enabled; no more than 3 are meant to be watched at a time"}},
      {[](AppConfig& c) { c.mailAccounts[1].id = "A"; },
       {"mailAccounts[1].id: is the same as mailAccounts[0].id"}},
      {[](AppConfig& c) {
         c.mailAccounts[0].kind = IMAPConnection{" ", 0, true, "", "INBOX"};
       },
       {"mailAccounts[0].kind.imap.host: is empty, so nothing is watched",
        "mailAccounts[0].kind.imap.username: is empty, so nothing is watched",
        "mailAccounts[0].kind.imap.port: is not between 1 and 65535"}},
      {[](AppConfig& c) {
         c.mailAccounts[0].kind = IMAPConnection{"mail\u0085x", 993, true, "u", "IN\nBOX"};
       },
       {"mailAccounts[0].kind.imap.host: holds a control character, so no server can be reached",
        "mailAccounts[0].kind.imap.mailbox: holds a control character, so no server can be "
        "reached"}},
      {[](AppConfig& c) {
         while (c.rules.size() <= maximumRules) {
           c.rules.push_back(rule("X" + std::to_string(c.rules.size())));
         }
       },
       {"rules: there are 51; those past the 50th are dropped"}},
      {[](AppConfig& c) { c.rules[1].isCatchAll = false; },
       {"rules: none has isCatchAll, so the last one becomes the catch-all"}},
      {[](AppConfig& c) { c.rules[0].isCatchAll = true; },
       {"rules: several have isCatchAll; only the first stays the catch-all"}},
      {[](AppConfig& c) {
         c.rules[0].action = MailRuleAction::forwardSilently;
         c.mailAccounts[0].outgoingSMTP = {"own.x", 465, true, ""};
       },
       {"rules[0].forwardTo: is empty, so the rule forwards nothing"}},
      {[](AppConfig& c) {
         c.rules[0].action = MailRuleAction::runCustomAutomation;
         c.rules[0].customAutomationId = "a";
         c.rules[1].action = MailRuleAction::forwardAndNotify;
         c.rules[1].forwardTo = "Ann <a@b>";
         using enum CustomAutomationStepKind;
         c.customAutomations = {
             {"a", "A", {{"1", forwardSilently, "", "a@b"}, {"2", forwardSilently, "", " "}}}};
         c.smtpHost = "smtp.x";
         c.smtpPort = 25;
       },
       {"rules[1].forwardTo: is not one plain address such as name@example.com, so forwards fail",
        "customAutomations[0].steps[1].forwardTo: is not one plain address such as "
        "name@example.com, so forwards fail, and the steps before it run again on every poll",
        "mailbox A cannot forward: STARTTLS on port 25 is not possible; use port 465, or no "
        "STARTTLS"}},
      {[](AppConfig& c) {
         c.rules[0].mailboxScope = MailRuleMailboxScope::selectedMailboxes;
         c.rules[0].mailboxAccountIds = {"gone"};
       },
       {"rules[0].mailboxAccountIds: names no mailbox there is, so the rule applies to all "
        "mailboxes"}},
      {[](AppConfig& c) {
         c.rules[0].mailboxScope = MailRuleMailboxScope::selectedMailboxes;
         c.rules[0].mailboxAccountIds = {"gone", "B", "A"};
       },
       {"rules[0].mailboxAccountIds: names several mailboxes; only the first counts"}},
      {[](AppConfig& c) { c.rules[0].action = MailRuleAction::runCustomAutomation; },
       {"rules[0].customAutomationId: names no automation there is",
        "mailbox A cannot forward: set smtpHost, or a server of its own"}},
      {[](AppConfig& c) {
         c.smtpHost = "smtp.x";
         c.smtpPort = 2525;
         c.smtpUseStartTLS = false;
       },
       {"mailbox A sends its SMTP password unencrypted to smtp.x:2525; use port 465, which has "
        "TLS"}},
      {[](AppConfig& c) {
         c.smtpHost = "127.0.0.1";
         c.smtpPort = 2525;
         c.smtpUseStartTLS = false;
       },
       {}},
      {[](AppConfig& c) { c.rules[0].id = " "; }, {"rules[0].id: is empty"}},
      {[](AppConfig& c) { c.llmMaxBodyChars = 0; },
       {"llmMaxBodyChars: is not above 0, so the model gets no mail text"}},
      {[](AppConfig& c) { c.llmBaseURL = "api.x/v1"; },
       {"llmBaseURL: is no http or https address, so no model can be asked"}},
      {[](AppConfig& c) { c.llmBaseURL = "http://api.x/v1"; },
       {"llmBaseURL: is no https address, so mail text and any key go out unencrypted"}},
      {[](AppConfig& c) { c.llmBaseURL = " http://localhost:8080/ "; }, {}},
  };
  for (const auto& [change, expected] : cases) {
    AppConfig config = soundConfig();
    change(config);
    EXPECT_EQ(configWarnings(config), expected);
  }
}

TEST(ConfigCheck, UnknownKeysAreWarningsAndMissingOnesErrors) {
  std::string text = encodeConfig(soundConfig());
  text.insert(text.find('{') + 1, R"("llmModle": "x",)");
  const ConfigCheck check = checkConfig(text);
  EXPECT_EQ(check.config, soundConfig());
  ASSERT_EQ(check.warnings.size(), 1u);
  EXPECT_EQ(check.warnings[0],
            "llmModle: is no setting and is dropped when the file is next saved");
  text.replace(text.find("\"useIDLE\""), 9, "\"useIdle\"");
  EXPECT_THROW(checkConfig(text), ConfigError);
}

TEST(ConfigCheck, SummaryCountsWhatIsUsed) {
  EXPECT_EQ(configSummary(soundConfig()), "2 mailboxes (1 enabled), 2 rules");
  AppConfig older;
  older.imapHost = "mail.x";
  older.imapUsername = "u";
  EXPECT_EQ(configSummary(older), "1 mailbox (1 enabled), 1 rule");
}

TEST(ConfigCheck, ValuesAreFoundByTheirPath) {
  const std::pair<const char*, const char*> cases[] = {
      {"llmModel", "\"gpt-5-nano\""},     {"meetingWorkingWeekdays", "[2,3,4,5,6]"},
      {"rules[1].isCatchAll", "true"},    {"mailAccounts[0].kind.imap.port", "993"},
      {"meetingWorkingWeekdays[4]", "6"}, {"rules[7].id", "(none)"},
  };
  for (const auto& [path, value] : cases) EXPECT_EQ(configValueText(soundConfig(), path), value);
}

}  // namespace
}  // namespace halcyra
