#include <gtest/gtest.h>

#include "Program.h"

namespace halcyra {
namespace {

using Strings = std::vector<std::string>;

/// The id of the mailbox that is added.
std::string addMailbox(Program& program, Strings arguments) {
  arguments.insert(arguments.begin(), {"mailbox", "add"});
  const auto result = program.run(arguments);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  const std::size_t begin = std::string("added ").size();
  return result.out.substr(begin, result.out.find(' ', begin) - begin);
}

TEST(MailboxChange, AnAddedMailboxIsListedAndGoesWithItsSecrets) {
  Program program;
  const auto added = program.run({"mailbox", "add", "google"});
  const std::string google = added.out.substr(6, 36);
  EXPECT_EQ(added.out, "added " + google + " (Gmail)\nnext: halcyra-cli signin google --mailbox " +
                           google + "\n");
  const std::string microsoft = addMailbox(program, {"microsoft", "--label", "me@x"});
  const std::string imap =
      addMailbox(program, {"imap", "--host", "h", "--user", "u", "--port", "143", "--plain"});
  const std::string heading = "ID                                    LABEL  KIND     ENABLED  ";
  const std::string outlook = microsoft + "  me@x   Outlook  yes      -\n";
  const std::string plain = imap + "  u      IMAP     yes      h:143 plain\n";
  EXPECT_EQ(program.run({"mailbox", "list"}).out,
            heading + "SERVER\n" + google + "  Gmail  Gmail    yes      -\n" + outlook + plain);

  EXPECT_EQ(program.run({"mailbox", "add", "google", "--label", "4"}).err,
            "halcyra-cli: warning: 4 mailboxes are enabled; no more than 3 are meant to be "
            "watched\n");

  for (const std::string& id : {google, microsoft}) {
    for (const std::string key : {"oauth.credential.", "smtp.password.account."}) {
      ASSERT_EQ(program.run({"secret", "set", key + id}, "{}").exitCode, 0);
    }
  }
  EXPECT_EQ(program.run({"mailbox", "remove", google}).out, "removed " + google + " (Gmail)\n");
  EXPECT_EQ(program.run({"secret", "list"}).out,
            "oauth.credential." + microsoft + "\nsmtp.password.account." + microsoft + "\n");
  EXPECT_EQ(program.run({"signout", "microsoft", "--mailbox", microsoft}).out,
            "Microsoft sign-in of this account removed.\n");
  EXPECT_EQ(program.run({"secret", "list"}).out, "smtp.password.account." + microsoft + "\n");
  const std::string left = program.run({"mailbox", "list"}).out;
  EXPECT_EQ(left.find(google), left.npos);
  EXPECT_NE(left.find(outlook + plain), left.npos);
}

TEST(MailboxChange, WhatCannotBeDoneIsSaidInOneLineAndChangesNothing) {
  Program program;
  const std::string google = addMailbox(program, {"google"});
  const std::string microsoft = addMailbox(program, {"microsoft"});
  const std::string imap = addMailbox(program, {"imap", "--host", "h", "--user", "u"});
  const std::string before = program.file("config.json");
  const std::string notThere =
      "there is no mailbox \"X\"; the mailboxes are: " + google + ", " + microsoft + ", " + imap;
  const auto notAt = [](const std::string& id, const std::string& provider) {
    return "mailbox \"" + id + "\" is not one of " + provider +
           "; see \"halcyra-cli mailbox list\"";
  };
  struct Case {
    Strings arguments;
    int exitCode;
    std::string message;
  };
  const Case cases[] = {
      {{"mailbox", "add"}, 2, "name a command: google, microsoft, imap; see "},
      {{"mailbox", "add", "yahoo"}, 2, "unknown command \"yahoo\"; "},
      {{"mailbox", "add", "google", "me@x"}, 2, "unexpected argument \"me@x\"; "},
      {{"mailbox", "add", "imap", "--host", "h"}, 2, "--user is required; "},
      {{"mailbox", "add", "imap", "--host", "h", "--user", "u", "--port", "65536"}, 2, "--port"},
      {{"mailbox", "remove"}, 2, "ID is required; "},
      {{"mailbox", "remove", "X"}, 1, notThere},
      {{"signin"}, 2, "name a command: google, microsoft, salesforce; "},
      {{"signin", "google"}, 2, "--mailbox is required; "},
      {{"signin", "google", "--mailbox", "X"}, 1, notThere},
      {{"signin", "google", "--mailbox", microsoft}, 1, notAt(microsoft, "Google")},
      {{"signin", "microsoft", "--mailbox", imap}, 1, notAt(imap, "Microsoft")},
      {{"signout", "microsoft", "--mailbox", google}, 1, notAt(google, "Microsoft")},
      {{"signin", "microsoft", "--mailbox", microsoft},
       1,
       "Microsoft Entra client ID is not set in this build. Add "
       "HALCYRA_MICROSOFT_OAUTH_CLIENT_ID to Secrets.xcconfig and rebuild."},
      {{"mailbox", "test", google},
       1,
       google + " (Gmail): Not signed in to Google for this account."},
      {{"mailbox", "test", microsoft},
       1,
       microsoft + " (Outlook): Microsoft OAuth client ID is not configured."},
  };
  for (const Case& c : cases) {
    const auto result = program.run(c.arguments);
    EXPECT_EQ(result.exitCode, c.exitCode) << c.message;
    EXPECT_EQ(result.out, "") << c.message;
    EXPECT_TRUE(result.err.starts_with("halcyra-cli: " + c.message)) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  }
  EXPECT_EQ(program.file("config.json"), before);
}

TEST(MailboxChange, TheMailboxOfTheOlderSettingsIsRemovedThere) {
  Program program;
  program.run({"config", "set", "imapHost", "mail.x"});
  program.run({"config", "set", "imapUsername", "u@x"});
  EXPECT_EQ(program.run({"mailbox", "remove", "legacy-imap"}).err,
            "halcyra-cli: this mailbox comes from the older settings imapHost and imapUsername; "
            "empty these with \"halcyra-cli config set\"\n");
}

}  // namespace
}  // namespace halcyra
