#include "cli/MailboxTest.h"

#include <gtest/gtest.h>

#include "support/Dialogue.h"
#include "support/RunTask.h"

namespace halcyra {
namespace {

MailAccount imapMailbox() {
  MailAccount account;
  account.id = "A";
  account.kind = IMAPConnection{" mail.x ", 143, false, "u", ""};
  return account;
}

std::string outcome(Dialogue& dialogue, MailAccount account, std::string password) {
  try {
    return runTask(testMailbox(dialogue, std::move(account), std::move(password)));
  } catch (const MailboxTestError& error) {
    return std::string("failed: ") + error.what();
  }
}

TEST(MailboxTest, TellsHowFarItCame) {
  struct Case {
    const char* login;
    const char* select;
    std::string expected;
  };
  const Case cases[] = {
      {"E1 OK", "E2 OK", "Mailbox OK — connected, signed in, and opened “INBOX”."},
      {"E1 NO [AUTHENTICATIONFAILED] nope", nullptr,
       "failed: connected, but the server refused the user name or the password: "
       "E1 NO [AUTHENTICATIONFAILED] nope"},
      {"E1 OK", "E2 NO no such mailbox",
       "failed: connected and signed in, but “INBOX” could not be opened: E2 NO no such mailbox"},
  };
  for (const Case& c : cases) {
    Dialogue dialogue;
    dialogue.server("* OK ready").client("E1 LOGIN \"u\" \"sesame\"").server(c.login);
    if (c.select != nullptr) dialogue.client("E2 SELECT \"INBOX\"").server(c.select);
    EXPECT_EQ(outcome(dialogue, imapMailbox(), "sesame"), c.expected);
    EXPECT_EQ(dialogue.complaints(), "");
    ASSERT_EQ(dialogue.connections().size(), 1u);
    EXPECT_EQ(dialogue.connections()[0], (Endpoint{"mail.x", 143, false}));
  }
}

TEST(MailboxTest, WhatIsMissingIsSaidBeforeAnyConnection) {
  using Change = void (*)(MailAccount&);
  const std::tuple<Change, std::string, std::string> cases[] = {
      {[](MailAccount& a) { a.kind = GoogleGmail{}; }, "p",
       "failed: a mailbox of this kind cannot be tested yet, only IMAP ones"},
      {[](MailAccount& a) { std::get<IMAPConnection>(a.kind).host = " "; }, "p",
       "failed: the IMAP host is empty; set it with \"halcyra-cli config edit\""},
      {[](MailAccount& a) { std::get<IMAPConnection>(a.kind).username = ""; }, "p",
       "failed: the IMAP username is empty; set it with \"halcyra-cli config edit\""},
      {[](MailAccount&) {}, "",
       "failed: no IMAP password is stored; store it with \"halcyra-cli secret set "
       "imap.password\""},
  };
  for (const auto& [change, password, expected] : cases) {
    Dialogue dialogue;
    MailAccount account = imapMailbox();
    change(account);
    EXPECT_EQ(outcome(dialogue, account, password), expected);
    EXPECT_TRUE(dialogue.connections().empty());
  }
}

}  // namespace
}  // namespace halcyra
