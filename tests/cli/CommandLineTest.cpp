#include "cli/CommandLine.h"

#include <gtest/gtest.h>

#include "Program.h"
#include "cli/MailInput.h"

namespace halcyra {
namespace {

using Strings = std::vector<std::string>;

TEST(CommandLine, WrongUsageIsOneLineThatSaysWhereToLook) {
  const std::pair<Strings, std::string> cases[] = {
      {{},
       "name a command: classify, parse, prefilter, config, secret, mailbox, signin, signout, "
       "connection, automation, lead; see \"halcyra-cli --help\""},
      {{"config"},
       "name a command: path, show, check, edit, set; see \"halcyra-cli config --help\""},
      {{"frobnicate"},
       "unknown command \"frobnicate\"; there is classify, parse, prefilter, config, secret, "
       "mailbox, signin, signout, connection, automation, lead; see \"halcyra-cli --help\""},
      {{"config", "sho\nw"},
       "unknown command \"sho w\"; there is path, show, check, edit, set; see \"halcyra-cli config "
       "--help\""},
      {{"--frob"}, "unknown option \"--frob\"; see \"halcyra-cli --help\""},
      {{"parse", "--frob"}, "unknown option \"--frob\"; see \"halcyra-cli parse --help\""},
      {{"config", "path", "x"},
       "unexpected argument \"x\"; see \"halcyra-cli config path --help\""},
      {{"config", "set", "llmModel"}, "VALUE is required; see \"halcyra-cli config set --help\""},
      {{"config", "set", "llmModle", "x"}, "llmModle: "},
      {{"secret", "set", "password"},
       "there is no secret \"password\"; the keys are: imap.password, llm.apiKey, smtp.password, "
       "smtp.password.account.ID, oauth.credential.ID, oauth.salesforce, oauth.salesforce.ID"},
      {{"secret", "set", "oauth.credential."}, "there is no secret \"oauth.credential.\"; "},
      {{"secret", "set", "llm.apiKey", "a", "-sk-1"},
       "the value does not go on the command line, "},
  };
  for (const auto& [arguments, message] : cases) {
    Program program;
    const auto result = program.run(arguments);
    EXPECT_EQ(result.exitCode, 2) << message;
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(result.err.starts_with("halcyra-cli: " + message)) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_EQ(result.err.find("sk-1"), result.err.npos);
  }
}

TEST(CommandLine, HelpAndVersionNeedNoFolders) {
  const std::pair<Strings, std::string> cases[] = {
      {{"--version"}, "halcyra-cli 1.2.3\n"},
      {{"--help"}, "Exit codes: 0 done, 1 failed, 2 wrong usage."},
      {{"classify", "--help"}, "--show-prompt"},
      {{"parse", "--help"}, "rawRFC822 (only with --raw)"},
      {{"secret", "set", "--help"}, "smtp.password.account.ID"},
      {{"mailbox", "test", "--help"}, "every enabled one is tested"},
  };
  for (const auto& [arguments, expected] : cases) {
    Program program;
    program.variables.clear();
    const auto result = program.run(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.out.find(expected), std::string::npos) << result.out;
    EXPECT_EQ(result.err, "");
  }
}

TEST(CommandLine, AFailedWriteOfTheOutputIsAFailure) {
  Program program;
  program.variables.clear();
  Composition composition([](const std::string&) { return std::nullopt; }, "");
  std::istringstream in;
  std::ostringstream err;
  std::ostream out(nullptr);
  Session session{composition, in, out, err};
  constexpr CommandRegistration commands[] = {addParseCommand};
  EXPECT_EQ(runCommandLine({"--version"}, "1", commands, session), 1);
  EXPECT_EQ(err.str(), "halcyra-cli: standard output could not be written\n");
}

TEST(CommandLine, ParseGoesOnBehindAFileThatCannotBeRead) {
  Program program;
  program.variables = {};
  const std::string list = program.write("[a].eml", "Subject: A\nList-Id: x\n\nHello\n");
  const std::string bytes = program.write("b.eml", "Subject: caf\xe9\r\n\r\nHi\r\n");
  const auto result = program.run({"parse", "/nonexistent/c.eml", list, bytes, "--json"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err, "halcyra-cli: /nonexistent/c.eml: No such file or directory\n");
  EXPECT_NE(result.out.find(R"("subject":"A")"), std::string::npos);
  EXPECT_NE(result.out.find("\"subject\":\"caf\uFFFD\""), std::string::npos);
  EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 2);
  EXPECT_EQ(program.run({"parse", program.settings().string()}).err,
            "halcyra-cli: " + program.settings().string() + ": is a folder, not a file\n");
}

TEST(CommandLine, StandardInputIsReadForNoFileAndForADash) {
  Program program;
  for (const Strings& arguments : {Strings{"prefilter"}, Strings{"prefilter", "-"}}) {
    EXPECT_EQ(program.run(arguments, "Subject: x\n\nunsubscribe here\n").out, "-: unsubscribe\n");
  }
  EXPECT_EQ(program.run({"prefilter", "--json"}, "Message-ID: <1>\n\nhello\n").out,
            "{\"file\":\"-\",\"messageID\":\"<1>\",\"skipped\":false,\"reason\":null}\n");
  const auto empty = program.run({"parse"}, "");
  EXPECT_EQ(empty.exitCode, 1);
  EXPECT_EQ(empty.err, "halcyra-cli: standard input: holds no message\n");
}

TEST(CommandLine, AMessageIsReadUpToTheLimit) {
  std::istringstream largest(std::string(longestMessageBytes, 'x'));
  EXPECT_EQ(readMail("-", largest).rawRFC822.size(), longestMessageBytes);
  std::istringstream larger(std::string(longestMessageBytes + 1, 'x'));
  EXPECT_THROW(readMail("-", larger), std::runtime_error);
}

TEST(CommandLine, SecretsAreSetListedAndRemoved) {
  Program program;
  EXPECT_EQ(program.run({"secret", "set", "imap.password"}, "pass word\r\n").exitCode, 0);
  EXPECT_EQ(program.run({"secret", "set", "oauth.salesforce.7"}, "{\n}\n").exitCode, 0);
  const auto listed = program.run({"secret", "list"});
  EXPECT_EQ(listed.out, "imap.password\noauth.salesforce.7\n");
  EXPECT_EQ(listed.err, "");
  EXPECT_EQ(program.run({"secret", "remove", "imap.password"}).exitCode, 0);
  const auto again = program.run({"secret", "remove", "imap.password"});
  EXPECT_EQ(again.exitCode, 1);
  EXPECT_EQ(again.err,
            "halcyra-cli: no secret is stored under \"imap.password\"; \"halcyra-cli secret list\" "
            "shows the keys\n");

  const std::pair<std::string, std::string> refused[] = {
      {"", "the value is empty; to remove a secret use \"halcyra-cli secret remove llm.apiKey\""},
      {"\n", "the value is empty; to remove a secret use \"halcyra-cli secret remove llm.apiKey\""},
      {"a\nb\n", "the value has more than one line"},
      {"\xff", "the value is not UTF-8 text"},
      {std::string(70000, 'x'), "standard input: longer than the limit of 64 KB"},
  };
  for (const auto& [value, message] : refused) {
    const auto result = program.run({"secret", "set", "llm.apiKey"}, value);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "halcyra-cli: " + message + "\n");
  }
  EXPECT_EQ(program.run({"secret", "list"}).out, "oauth.salesforce.7\n");
}

TEST(CommandLine, ClassifyShowsItsPromptAndRefusesAMailboxThatIsNotThere) {
  Program program;
  const auto shown = program.run({"classify", "--show-prompt"}, "only words");
  EXPECT_EQ(shown.exitCode, 0) << shown.err;
  EXPECT_TRUE(shown.out.starts_with("--- system message ---\nYou triage email for **Halcyra**"));
  EXPECT_NE(shown.out.find("**Test / preview:**"), std::string::npos);
  EXPECT_NE(shown.out.find("\n\n--- user message ---\nThe email to classify is below."),
            std::string::npos);
  EXPECT_NE(shown.out.find("Subject: (no subject)\nFrom: \nDate: \n\nonly words\n"),
            std::string::npos);
  EXPECT_EQ(program.run({"classify", "--mailbox", "X"}, "m").err,
            "halcyra-cli: there is no mailbox \"X\", nor any other; add one with \"halcyra-cli "
            "mailbox add\"\n");

  ASSERT_EQ(program.run({"config", "set", "imapHost", "mail.x"}).exitCode, 0);
  ASSERT_EQ(program.run({"config", "set", "imapUsername", "u@x"}).exitCode, 0);
  EXPECT_EQ(program.run({"mailbox", "list"}).out,
            "ID           LABEL  KIND  ENABLED  SERVER\n"
            "legacy-imap  u@x    IMAP  yes      mail.x:993 TLS\n");
  EXPECT_EQ(program.run({"classify", "--mailbox", "X"}, "m").err,
            "halcyra-cli: there is no mailbox \"X\"; the mailboxes are: legacy-imap\n");
  EXPECT_NE(program.run({"classify", "--mailbox", "legacy-imap", "--show-prompt"}, "m")
                .out.find("Receiving mailbox: **u@x**."),
            std::string::npos);
}

}  // namespace
}  // namespace halcyra
