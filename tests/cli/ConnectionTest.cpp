#include <gtest/gtest.h>

#include "Program.h"
#include "cli/LeadWays.h"

namespace halcyra {
namespace {

using Strings = std::vector<std::string>;

/// The id behind "added ".
std::string add(Program& program, Strings arguments) {
  const auto result = program.run(arguments);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return result.out.substr(6, 36);
}

struct Connections {
  Connections() {
    program.variables["HALCYRA_INFO"] = program.write(
        "Info.json",
        R"({"HalcyraSalesforceOAuthClientId":"s","HalcyraMicrosoftOAuthClientId":"m"})");
    mailbox = add(program, {"mailbox", "add", "microsoft", "--label", "me@x"});
    dynamics = add(program, {"connection", "add", "dynamics", "--environment", "Org.example/main",
                             "--mailbox", mailbox, "--label", "Sales"});
    salesforce =
        add(program, {"connection", "add", "salesforce", "--login-host", "test.example/x"});
  }

  Program program;
  std::string mailbox, dynamics, salesforce;
};

TEST(Connections, AreListedAndGoWithTheirSignIn) {
  Connections c;
  Program& program = c.program;
  EXPECT_EQ(program.run({"connection", "list"}).out,
            "ID                                    LABEL       KIND        ADDRESS               "
            "MAILBOX\n" +
                c.dynamics + "  Sales       Dynamics    https://Org.example   me@x\n" +
                c.salesforce + "  Salesforce  Salesforce  https://test.example  -\n");
  for (const char* key : {"oauth.salesforce", "oauth.salesforce."}) {
    const std::string name = key + (std::string(key).ends_with('.') ? c.salesforce : "");
    ASSERT_EQ(program.run({"secret", "set", name}, "{}").exitCode, 0);
  }
  EXPECT_EQ(program.run({"signout", "salesforce", "--connection", c.salesforce}).out,
            "Salesforce disconnected for this connection.\n");
  EXPECT_EQ(program.run({"secret", "list"}).out, "oauth.salesforce\n");
  program.run({"secret", "set", "oauth.salesforce." + c.salesforce}, "{}");
  program.run({"config", "set", "customAutomations",
               R"([{"id":"a","displayName":"Hand over","steps":[{"id":"1","kind":"suggestReply"},)"
               R"({"id":"2","kind":"createSalesforceLead","connectionId":" )" +
                   c.salesforce + R"("}]},{"id":"b","displayName":"Empty","steps":[]}])"});
  EXPECT_EQ(program.run({"automation", "list"}).out,
            "ID  NAME       STEPS\na   Hand over  suggestReply, createSalesforceLead\n"
            "b   Empty      -\n");
  EXPECT_NE(
      program.run({"config", "check"})
          .err.find("warning: customAutomations[0].steps[1]: creates no lead: it needs a sign-in: "
                    "\"halcyra-cli signin salesforce --connection " +
                    c.salesforce + "\"\n"),
      std::string::npos);
  const auto removed = program.run({"connection", "remove", c.salesforce});
  EXPECT_EQ(removed.out, "removed " + c.salesforce + " (Salesforce)\n");
  EXPECT_EQ(removed.err,
            "halcyra-cli: warning: step 2 of the automation \"Hand over\" names this connection "
            "and fails from now on; mend it with \"halcyra-cli config edit\"\n");
  EXPECT_EQ(program.run({"secret", "list"}).out, "oauth.salesforce\n");
  EXPECT_EQ(program.run({"connection", "list"}).out.find(c.salesforce), std::string::npos);
  EXPECT_EQ(program.run({"mailbox", "remove", c.mailbox}).err,
            "halcyra-cli: warning: the connection \"Sales\" signs in with this mailbox and fails "
            "from now on\n");
}

TEST(Connections, WhatCannotBeDoneIsSaidInOneLine) {
  Connections c;
  const std::string imap = add(c.program, {"mailbox", "add", "imap", "--host", "h", "--user", "u"});
  const std::string known = c.dynamics + ", " + c.salesforce;
  const std::string file = c.program.write("mail.eml", "From: Ann <a@x.org>\nSubject: S\n\nText.");
  struct Case {
    Strings arguments;
    int exitCode;
    std::string message;
  };
  const Case cases[] = {
      {{"connection", "add", "dynamics", "--environment", "o.example", "--mailbox", imap},
       1,
       "mailbox \"" + imap + "\" is not one of Microsoft"},
      {{"connection", "add", "dynamics", "--environment", "no host", "--mailbox", c.mailbox},
       1,
       "\"no host\" is no address of a Dataverse environment"},
      {{"connection", "add", "salesforce", "--login-host", "no host"},
       1,
       "\"no host\" is no address of a Salesforce login host"},
      {{"connection", "remove", "X"},
       1,
       "there is no connection \"X\"; the connections are: " + known},
      {{"signin", "salesforce"}, 1, "Select a Salesforce connection in Custom actions"},
      {{"signin", "salesforce", "--connection", c.dynamics},
       1,
       "connection \"" + c.dynamics + "\" is not one of Salesforce"},
      {{"automation", "run", "X", file, "--mailbox", imap}, 1, "there is no automation \"X\""},
      {{"lead", file}, 2, "say where the lead goes: --connection ID"},
      {{"lead", file, "--dynamics"}, 2, "--dynamics needs --mailbox"},
      {{"lead", file, "--salesforce", "--connection", "X"}, 2, "name one of --connection"},
      {{"lead", file, "--connection", c.salesforce},
       1,
       "no lead can be created there: it needs a sign-in: \"halcyra-cli signin salesforce "
       "--connection " +
           c.salesforce + "\""},
      {{"lead", file, "--connection", c.dynamics},
       1,
       "no lead can be created there: it needs a sign-in: \"halcyra-cli signin microsoft "
       "--mailbox " +
           c.mailbox + "\""},
      {{"lead", file, "--dynamics", "--mailbox", c.mailbox},
       1,
       "no lead can be created there: it has no valid Dataverse environment; "},
  };
  for (const Case& each : cases) {
    const auto result = c.program.run(each.arguments);
    EXPECT_EQ(result.exitCode, each.exitCode) << each.message;
    EXPECT_TRUE(result.err.starts_with("halcyra-cli: " + each.message)) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  }
  c.program.variables.erase("HALCYRA_INFO");
  EXPECT_EQ(c.program.run({"signin", "salesforce", "--connection", c.salesforce}).err,
            "halcyra-cli: Salesforce Consumer Key is not set. Add "
            "HALCYRA_SALESFORCE_OAUTH_CLIENT_ID to Config/Secrets.xcconfig and rebuild.\n");
}

TEST(Lead, ADryRunShowsWhatWouldBeSent) {
  Program program;
  const auto run = [&](Strings more) {
    more.insert(more.begin(), {"lead", "--dry-run"});
    return program.run(more, "From: Ann Lee <a@x.org>\nSubject: Twenty\n\nText.");
  };
  const std::string dynamics =
      "--- Dynamics 365: POST /api/data/v9.2/leads ---\n{\n  \"subject\": \"Twenty\",\n"
      "  \"firstname\": \"Ann\",\n  \"lastname\": \"Lee\",\n  \"emailaddress1\": \"a@x.org\",\n"
      "  \"description\": \"From: Ann Lee <a@x.org>\\n\\nText.\"\n}\n";
  const std::string salesforce =
      "--- Salesforce: POST /services/data/v59.0/sobjects/Lead/ ---\n{\n"
      "  \"LeadSource\": \"Halcyra\",\n  \"FirstName\": \"Ann\",\n  \"LastName\": \"Lee\",\n"
      "  \"Email\": \"a@x.org\",\n  \"Company\": \"Twenty\",\n"
      "  \"Description\": \"From: Ann Lee <a@x.org>\\n\\nText.\"\n}\n";
  EXPECT_EQ(run({}).out, dynamics + salesforce);
  EXPECT_EQ(run({"--dynamics"}).out, dynamics);
  EXPECT_EQ(run({"--salesforce"}).out, salesforce);
}

TEST(LeadWarnings, NameEachLeadThatCannotBeAndHowToMendIt) {
  AppConfig config;
  config.dataverseEnvironmentURL = "org.example";
  config.mailAccounts = {{.id = "o", .kind = MicrosoftGraph{}}};
  config.crmConnectionProfiles = {
      {"dyn", "", CRMConnectionKind::dynamics365, " o ", "own.example", ""},
      {"sf", "", CRMConnectionKind::salesforce, "", "", ""}};
  using enum CustomAutomationStepKind;
  config.rules = {
      {.id = "1", .action = MailRuleAction::dynamicsCreateLead},
      {.id = "2", .action = MailRuleAction::salesforceCreateLead},
      {.id = "3", .action = MailRuleAction::runCustomAutomation, .customAutomationId = "a"},
      {.id = "4", .isCatchAll = true}};
  config.customAutomations = {{"a",
                               "",
                               {{"1", createDynamicsLead, " dyn ", ""},
                                {"2", createSalesforceLead, "sf", ""},
                                {"3", suggestReply, "", ""},
                                {"4", createDynamicsLead, "", ""}}}};
  bool hasIds = true;
  std::set<std::string> signedIn = {"o", "sf", ""};
  const LeadWays ways{[&] { return hasIds; }, [&] { return hasIds; },
                      [&](const std::string& id) { return signedIn.contains(id); },
                      [&](const std::string& id) { return signedIn.contains(id); }};
  // Where it warns of what, in short.
  const auto warned = [&] {
    Strings places;
    for (const std::string& warning : leadWarnings(config, ways)) {
      const std::size_t end = warning.find(": creates no lead: it ");
      places.push_back(warning.substr(0, end) + "|" + warning.substr(end + 22, 20));
    }
    return places;
  };
  const std::string all[] = {"rules[0]|", "rules[1]|", "customAutomations[0].steps[0]|",
                             "customAutomations[0].steps[1]|", "customAutomations[0].steps[3]|"};
  EXPECT_EQ(warned(), Strings());
  signedIn.clear();
  const std::string signIn = "needs a sign-in: \"ha";
  EXPECT_EQ(warned(), (Strings{all[0] + signIn, all[1] + "names no connection,", all[2] + signIn,
                               all[3] + signIn, all[4] + signIn}));
  hasIds = false;
  const std::string id = "needs the applicatio", key = "needs a build with t";
  EXPECT_EQ(warned(), (Strings{all[0] + id, all[1] + key, all[2] + id, all[3] + key, all[4] + id}));
  hasIds = true;
  signedIn = {"o", "sf", ""};
  config.dataverseEnvironmentURL = " ";
  std::swap(config.crmConnectionProfiles[0].kind, config.crmConnectionProfiles[1].kind);
  EXPECT_EQ(warned(), (Strings{all[0] + "has no valid Dataver", all[2] + "names no Dynamics co",
                               all[3] + "names no Salesforce ", all[4] + "has no valid Dataver"}));
  config.mailAccounts[0].kind = GoogleGmail{};
  config.crmConnectionProfiles[0].kind = CRMConnectionKind::dynamics365;
  EXPECT_EQ(warned(), (Strings{all[0] + "applies to no Outloo", all[2] + "has no Outlook mailb",
                               all[3] + "names no Salesforce ", all[4] + "applies to no Outloo"}));
}

}  // namespace
}  // namespace halcyra
