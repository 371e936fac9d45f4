#include <gtest/gtest.h>

#include <sstream>

#include "cli/Classification.h"
#include "cli/MailRendering.h"
#include "cli/Messages.h"
#include "cli/Table.h"

namespace halcyra {
namespace {

ParsedMail sample() {
  ParsedMail mail;
  mail.messageID = "<1@x>";
  mail.subject = "Été\tsoldes";
  mail.from = "A \"B\" <a@x>";
  mail.date = "Mon, 1 Jun 2026";
  mail.rawRFC822 = "Subject: x\r\n\r\nbody";
  mail.bodyText = "one\n\x1b[31mtwo\x7F\u0085";
  return mail;
}

std::string mailText(RawSource raw) {
  std::ostringstream out;
  writeMail(out, sample(), raw);
  return out.str();
}

TEST(Rendering, MailAsText) {
  const std::string shown =
      "Message-ID: <1@x>\nSubject: Été soldes\nFrom: A \"B\" <a@x>\nDate: Mon, 1 Jun 2026\n\n"
      "one\n[31mtwo\n";
  EXPECT_EQ(mailText(RawSource::hidden), shown);
  EXPECT_EQ(mailText(RawSource::shown), shown + "\n--- source ---\nSubject: x\n\nbody\n");
}

TEST(Rendering, MailAsJsonHasTheRecordsFieldsInTheirOrder) {
  EXPECT_EQ(mailJson(sample(), RawSource::hidden),
            R"({"accountId":"","uid":0,"providerRESTId":null,"messageID":"<1@x>",)"
            R"("subject":"Été\tsoldes","from":"A \"B\" <a@x>","date":"Mon, 1 Jun 2026",)"
            R"("bodyText":"one\n\u001b[31mtwo\u007f\u0085"})");
  EXPECT_NE(
      mailJson(sample(), RawSource::shown)
          .find(R"("date":"Mon, 1 Jun 2026","rawRFC822":"Subject: x\r\n\r\nbody","bodyText")"),
      std::string::npos);
}

TEST(Rendering, VerdictNamesTheRuleOfTheListThatWasAskedAbout) {
  AppConfig config;
  MailAccount account;
  account.id = "M";
  config.mailAccounts = {account};
  MailRule everywhere, elsewhere;
  everywhere.id = "R1";
  everywhere.displayName = "Invoices";
  everywhere.isCatchAll = true;
  elsewhere.id = "R2";
  elsewhere.displayName = "Sales";
  elsewhere.mailboxScope = MailRuleMailboxScope::selectedMailboxes;
  elsewhere.mailboxAccountIds = {"M"};
  config.rules = {everywhere, elsewhere};

  struct Case {
    ClassificationResult result;
    std::optional<std::string> mailbox;
    std::string text, json;
  };
  const Case cases[] = {
      {{" R1\n", 0.85, "Dear A,\nyes"},
       std::nullopt,
       "rule_id: R1\nrule_name: Invoices\nconfidence: 0.85\ndraft_reply: Dear A,\nyes\n",
       R"({"rule_id":"R1","rule_name":"Invoices","confidence":0.85,"draft_reply":"Dear A,\nyes",)"
       R"("test_form":true,"mailbox":null})"},
      {{"R2", 0.5, std::nullopt},
       "M",
       "rule_id: R2\nrule_name: Sales\nconfidence: 0.5\ndraft_reply: \n",
       R"({"rule_id":"R2","rule_name":"Sales","confidence":0.5,"draft_reply":null,)"
       R"("test_form":false,"mailbox":"M"})"},
      {{"R2", 1, std::nullopt},
       "other",
       "rule_id: R2\nrule_name: (unknown id)\nconfidence: 1.0\ndraft_reply: \n",
       R"({"rule_id":"R2","rule_name":null,"confidence":1.0,"draft_reply":null,)"
       R"("test_form":false,"mailbox":"other"})"},
  };
  for (const Case& c : cases) {
    const Verdict verdict = verdictOf(c.result, config, c.mailbox);
    EXPECT_EQ(verdictText(verdict), c.text);
    EXPECT_EQ(verdictJson(verdict), c.json);
  }
}

TEST(Rendering, PromptIsCutAsItIsSent) {
  AppConfig config;
  config.llmMaxBodyChars = 9;
  EXPECT_EQ(promptFor(sample(), config, std::nullopt).user, "The email");
  config.llmMaxBodyChars = -1;
  EXPECT_EQ(promptFor(sample(), config, std::nullopt).user, "");
}

TEST(Rendering, MessagesAreOneLineThatCannotSteerATerminal) {
  const std::pair<std::string, std::string> cases[] = {
      {" E1 NO\n\x1b]0;x\x07 away\n", "E1 NO  ]0;x  away"},
      {"caf\xe9 \xc2\x9b.", "caf\uFFFD  ."},
      {std::string(5000, 'x'), std::string(1000, 'x') + "…"},
  };
  for (const auto& [text, expected] : cases) {
    std::ostringstream err;
    complain(err, text);
    EXPECT_EQ(err.str(), "halcyra-cli: " + expected + "\n");
  }
}

TEST(Rendering, TableColumnsAlignByCharacters) {
  EXPECT_EQ(alignedTable({{"ID", "LABEL", "X"}, {"1", "Büro", ""}, {"long", "a\nb", "z"}}),
            "ID    LABEL  X\n1     Büro\nlong  a b    z\n");
}

}  // namespace
}  // namespace halcyra
