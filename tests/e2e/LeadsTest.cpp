// Mail that becomes leads in both CRMs.

#include <gtest/gtest.h>

#include <fstream>

#include "ProviderWorld.h"
#include "SignInPages.h"
#include "sandbox/SampleMail.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;
using sandbox::ChildProcess;
using sandbox::DataverseStandIn;

class Leads : public testing::Test, protected ProviderWorld {
 protected:
  static constexpr const char* connection = "sf";

  Leads() {
    home.environment["PATH"] = home.folder().string();  // has no xdg-open
    home.settings["dataverseEnvironmentURL"] = "alder.crm.example/main.aspx";
    home.addSalesforceConnection(connection);
    home.addDynamicsConnection("dyn", "o", DataverseStandIn::environment);
    home.addRule("dynamics", "Dynamics", "Leads.", "dynamicsCreateLead");
    home.addRule("chain", "Chain", "Chains.", "runCustomAutomation");
    home.settings["rules"].back()["customAutomationId"] = "a";
    home.settings["customAutomations"] = {
        {{"id", "a"},
         {"displayName", "A"},
         {"steps",
          {{{"id", "1"}, {"kind", "createSalesforceLead"}, {"connectionId", "sf"}},
           {{"id", "2"}, {"kind", "suggestReply"}},
           {{"id", "3"}, {"kind", "createDynamicsLead"}, {"connectionId", "dyn"}}}}}};
    home.save();
    std::ofstream(mailFile()) << sandbox::simpleMessage("<lead@x>", "Twenty", "How much?");
  }

  std::string mailFile() const { return (home.folder() / "mail.eml").string(); }
  void signInSalesforce() {
    home.storeSalesforceCredential(connection, providers.salesforce.signIn(),
                                   providers.salesforceServer.baseURL());
  }

  sandbox::DataverseStandIn& dataverse = providers.dataverse;
  sandbox::SalesforceStandIn& salesforce = providers.salesforce;
};

bool leaks(const World::Run& run) {
  return ProviderWorld::holdsToken(run.output + run.errors) ||
         (run.output + run.errors).find("00D") != std::string::npos;
}

TEST_F(Leads, ARuleCreatesOneInDynamicsAndHandlesTheMessage) {
  signIn();
  const std::string first = toOutlook("<a@x>", "dynamics");
  EXPECT_EQ(onePass().outcome("<a@x>"), "actionDone");
  dataverse.answerWithoutRecord();
  const std::string second = toOutlook("<b@x>", "dynamics");
  const World::Run run = onePass();
  EXPECT_EQ(run.outcome("<b@x>"), "actionDone");
  EXPECT_NE(run.errors.find("Dynamics lead created for message <b@x>"), std::string::npos);
  EXPECT_FALSE(leaks(run)) << run.errors;
  for (const std::string& id : {first, second}) EXPECT_TRUE(providers.microsoft.isRead(id));
  ASSERT_EQ(dataverse.leads().size(), 2u);
  EXPECT_EQ(dataverse.leads()[1]["subject"], "dynamics");
  // One token for the environment serves both.
  EXPECT_EQ(providers.microsoft.requestCounts()["token"], 1);
}

TEST_F(Leads, ARefusalLeavesTheMessageForTheNextPoll) {
  signIn();
  const std::string id = toOutlook("<a@x>", "dynamics");
  dataverse.answerNext("lead", {403, {}, R"({"error":{"code":"0x80040220","message":"no"}})"});
  const World::Run failed = onePass();
  EXPECT_EQ(failed.outcome("<a@x>"), "actionFailed");
  EXPECT_NE(
      failed.errors.find(R"(Dynamics lead failed: {"error":{"code":"0x80040220","message":"no"}})"),
      std::string::npos)
      << failed.errors;
  EXPECT_FALSE(providers.microsoft.isRead(id));
  EXPECT_EQ(onePass().outcome("<a@x>"), "actionDone");
  EXPECT_EQ(dataverse.leads().size(), 1u);
}

TEST_F(Leads, ASalesforceSignInLeadsToALead) {
  const std::vector<std::string> signIn = {"signin", "salesforce", "--connection", connection};
  ChildProcess program(home.command(signIn));
  const std::string address = printedAddress(program);
  ASSERT_TRUE(address.starts_with("http://127.0.0.1:")) << program.errors();
  EXPECT_NE(opened(address).find("api refresh_token"), std::string::npos);
  opened(address + "&decision=allow");
  const auto ending = program.wait(20s);
  ASSERT_TRUE(ending);
  EXPECT_EQ(ending->status, 0) << program.errors();
  EXPECT_EQ(program.output(), "Salesforce sign-in saved for this connection.\n");

  const World::Run lead = run({"lead", mailFile(), "--connection", connection});
  EXPECT_EQ(lead.status, 0) << lead.errors;
  EXPECT_NE(lead.errors.find("Salesforce lead created for message <lead@x>"), std::string::npos);
  EXPECT_FALSE(leaks(lead)) << lead.errors;
  ASSERT_EQ(salesforce.leads().size(), 1u);
  EXPECT_EQ(salesforce.leads()[0]["Company"], "Twenty");

  salesforce.revokeTokens();
  const World::Run revoked = run({"lead", mailFile(), "--connection", connection});
  EXPECT_EQ(revoked.status, 1);
  EXPECT_NE(revoked.errors.find("Salesforce lead failed: {\"error\":\"invalid_grant\""),
            std::string::npos)
      << revoked.errors;
  EXPECT_FALSE(leaks(revoked)) << revoked.errors;
  EXPECT_EQ(run({"signout", "salesforce", "--connection", connection}).status, 0);
  EXPECT_EQ(run({"secret", "list"}).output.find("oauth.salesforce"), std::string::npos);
}

// Neither a missing nor a hostile instance is kept, and no token goes there.
TEST_F(Leads, ASignInWithoutAProperInstanceStoresNothing) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "Token response missing instance_url"},
      {"http://collector.example", "Salesforce named an instance URL that is not a plain https"}};
  for (const auto& [instance, told] : cases) {
    salesforce.nameInstance(instance);
    ChildProcess program(home.command({"signin", "salesforce", "--connection", connection}));
    const std::string address = printedAddress(program);
    ASSERT_TRUE(address.starts_with("http://127.0.0.1:")) << program.errors();
    opened(address + "&decision=allow");
    const auto ending = program.wait(20s);
    ASSERT_TRUE(ending);
    EXPECT_EQ(ending->status, 1);
    EXPECT_NE(program.errors().find(told), std::string::npos) << program.errors();
    EXPECT_EQ(run({"secret", "list"}).output.find("oauth.salesforce"), std::string::npos);
  }
}

TEST_F(Leads, AChainRunsItsStepsInOrderUntilOneFails) {
  signIn();
  signInSalesforce();
  toOutlook("<a@x>", "chain");
  dataverse.answerNext("lead", {500, {}, "down"});
  EXPECT_EQ(onePass().outcome("<a@x>"), "actionFailed");
  EXPECT_EQ(onePass().outcome("<a@x>"), "actionDone");
  EXPECT_EQ(salesforce.leads().size(), 2u);  // the steps before the failure ran again
  EXPECT_EQ(dataverse.leads().size(), 1u);

  const World::Run byHand = run({"automation", "run", "a", mailFile(), "--mailbox", "g"});
  EXPECT_EQ(byHand.status, 0) << byHand.errors;
  EXPECT_NE(byHand.output.find("Subject: Twenty"), std::string::npos) << byHand.output;
  EXPECT_NE(byHand.output.find("Dynamics lead created for message <lead@x>"), std::string::npos);
  EXPECT_EQ(salesforce.leads().size(), 3u);
  EXPECT_EQ(dataverse.leads().size(), 2u);
  EXPECT_FALSE(leaks(byHand));
}

}  // namespace
}  // namespace halcyra
