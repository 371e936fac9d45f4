#include "cli/MailboxTest.h"

#include <gtest/gtest.h>

#include "support/Dialogue.h"
#include "support/RunTask.h"

namespace halcyra {
namespace {

IMAPConnection imapMailbox() {
  return {" mail.x ", 143, false, "u", ""};
}

std::string outcome(Dialogue& dialogue, IMAPConnection connection, std::string password) {
  try {
    return runTask(testMailbox(dialogue, std::move(connection), std::move(password)));
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
  using Change = void (*)(IMAPConnection&);
  const std::tuple<Change, std::string, std::string> cases[] = {
      {[](IMAPConnection& c) { c.host = " "; }, "p",
       "failed: the IMAP host is empty; set it with \"halcyra-cli config edit\""},
      {[](IMAPConnection& c) { c.username = ""; }, "p",
       "failed: the IMAP username is empty; set it with \"halcyra-cli config edit\""},
      {[](IMAPConnection&) {}, "",
       "failed: no IMAP password is stored; store it with \"halcyra-cli secret set "
       "imap.password\""},
  };
  for (const auto& [change, password, expected] : cases) {
    Dialogue dialogue;
    IMAPConnection connection = imapMailbox();
    change(connection);
    EXPECT_EQ(outcome(dialogue, connection, password), expected);
    EXPECT_TRUE(dialogue.connections().empty());
  }
}

}  // namespace
}  // namespace halcyra
