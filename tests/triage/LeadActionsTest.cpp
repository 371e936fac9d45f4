#include "triage/LeadActions.h"

#include <gtest/gtest.h>

#include "support/LeadWorld.h"
#include "support/ModelDouble.h"
#include "support/RecordingLog.h"
#include "support/RunTask.h"

namespace halcyra {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* noEnvironment =
    "Dynamics lead: set a valid Dataverse environment URL (Settings → Custom actions).";

struct LeadHarness {
  explicit LeadHarness(std::string salesforceClientId = "s-id")
      : crm(std::move(salesforceClientId)) {
    incoming.account = {.id = "box", .kind = MicrosoftGraph{}};
    incoming.mail.messageID = "<m@x>\n";
    incoming.mail.subject = "Price?";
    incoming.mail.from = "Ann Lee <ann@x.org>";
    incoming.mail.bodyText = "We would like to buy twenty of them.";
    incoming.config.dataverseEnvironmentURL = "config.example/main.aspx";
    crm.signIn("box", "https://config.example");
    crm.signIn("crm-box", "https://own.example");
  }

  SharedIncomingMail shared() const { return std::make_shared<const IncomingMail>(incoming); }
  bool toDynamics(std::optional<CRMConnectionProfile> connection = {}) {
    return runTask(leads.createDynamicsLead(shared(), {.subject = "S"}, std::move(connection)));
  }
  bool toSalesforce(std::optional<CRMConnectionProfile> connection = {}) {
    return runTask(leads.createSalesforceLead(shared(), {}, std::move(connection)));
  }

  LeadWorld crm;
  ModelDouble model;
  RecordingLog log;
  IncomingMail incoming;
  LeadActions leads{crm.clients(), model, log};
};

CRMConnectionProfile dynamics(std::string mailbox, std::string environment) {
  return {"c", "C", CRMConnectionKind::dynamics365, std::move(mailbox), std::move(environment), ""};
}

TEST(LeadActions, DynamicsTakesTheConnectionsMailboxAndEnvironmentOrThoseOfTheMail) {
  struct Case {
    const char* name;
    std::optional<CRMConnectionProfile> connection;
    std::function<void(LeadHarness&)> given;
    std::string asked;  // empty for a refusal before any request
    std::string log;
  };
  const std::string created = "Dynamics lead created for message <m@x> ";
  const std::string leads = "/api/data/v9.2/leads Bearer token-of-";
  const auto asTold = [](LeadHarness&) {};
  const auto imap = [](LeadHarness& h) { h.incoming.account.kind = IMAPConnection{}; };
  const Case cases[] = {
      {"as a rule", {}, asTold, "https://config.example" + leads + "box", created},
      {"connection", dynamics(" crm-box ", "https://own.example/"), imap,
       "https://own.example" + leads + "crm-box", created},
      {"IMAP", {}, imap, "", "Dynamics lead: Microsoft Graph mailbox required."},
      {"no mailbox", dynamics(" ", "own.example"), asTold, "",
       "Dynamics lead: connection has no Microsoft mailbox."},
      {"no environment",
       {},
       [](LeadHarness& h) { h.incoming.config.dataverseEnvironmentURL = " "; },
       "",
       noEnvironment},
      {"no environment of the connection", dynamics("crm-box", "https://"), asTold, "",
       noEnvironment},
      {"another environment's token is no use", dynamics("box", "own.example"), asTold, "",
       "Dynamics lead failed: Microsoft session expired; sign in again."},
      {"nobody signed in", dynamics("gone", "own.example"), asTold, "",
       "Dynamics lead failed: Not signed in to Microsoft for this account."},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    LeadHarness h;
    c.given(h);
    h.crm.http.answer(204, "");
    EXPECT_EQ(h.toDynamics(c.connection), !c.asked.empty());
    EXPECT_EQ(h.crm.asked(), c.asked.empty() ? Lines() : Lines{c.asked});
    EXPECT_EQ(h.log.lines(), Lines{c.log});
  }
  LeadHarness refused;
  refused.crm.http.answer(403, "no\nright").fail({HttpError::Kind::transport, "cut"});
  EXPECT_FALSE(refused.toDynamics());
  EXPECT_FALSE(refused.toDynamics());
  EXPECT_EQ(refused.log.lines(),
            (Lines{"Dynamics lead failed: no right", "Dynamics lead failed: cut"}));
}

TEST(LeadActions, SalesforceTakesTheConnectionsSignInOrTheOlderOne) {
  const CRMConnectionProfile connection{"c1", "C", CRMConnectionKind::salesforce, "", "", ""};
  const std::string lead = "https://sf/services/data/v59.0/sobjects/Lead/ Bearer token-of-";
  LeadHarness h;
  h.crm.signInSalesforce("");
  h.crm.signInSalesforce("c1");
  h.crm.http.answer(201, "").answer(201, "").answer(400, R"([{"message":"No","errorCode":"X"}])");
  EXPECT_TRUE(h.toSalesforce());
  EXPECT_TRUE(h.toSalesforce(connection));
  EXPECT_FALSE(h.toSalesforce(connection));
  EXPECT_EQ(h.crm.asked(), (Lines{lead, lead + "c1", lead + "c1"}));
  EXPECT_EQ(h.log.lines(), (Lines{"Salesforce lead created for message <m@x> ",
                                  "Salesforce lead created for message <m@x> ",
                                  "Salesforce lead failed: No (X)"}));

  LeadHarness nobody;
  EXPECT_FALSE(nobody.toSalesforce(connection));
  LeadHarness unbuilt("$(KEY)");
  unbuilt.crm.signInSalesforce("c1");
  EXPECT_FALSE(unbuilt.toSalesforce(connection));
  EXPECT_TRUE(nobody.crm.asked().empty() && unbuilt.crm.asked().empty());
  EXPECT_EQ(nobody.log.lines(), Lines{"Salesforce lead failed: Sign in to Salesforce for this "
                                      "connection (Settings → Custom actions)."});
  EXPECT_EQ(unbuilt.log.lines(), Lines{"Salesforce lead: add HALCYRA_SALESFORCE_OAUTH_CLIENT_ID "
                                       "to build secrets and rebuild."});
}

TEST(LeadActions, FieldsAreTheModelsOrThoseOfTheFromLine) {
  LeadHarness h;
  const auto fields = [&](std::string key) {
    return runTask(h.leads.leadFields(h.shared(), std::move(key)));
  };
  DynamicsLeadFields fromLine = fromLineLeadFields(h.incoming.mail);
  EXPECT_EQ(fields(" "), fromLine);
  h.model.reply = R"(Sure: {"company_name":" Acme ","email":null} Done.)";
  DynamicsLeadFields merged = fromLine;
  merged.company_name = "Acme";
  EXPECT_EQ(fields("key"), merged);
  EXPECT_TRUE(h.log.lines().empty());

  h.model.reply = "I cannot.";
  EXPECT_EQ(fields("key"), fromLine);
  h.model.failure = HttpError(HttpError::Kind::transport, "refused: We would like to buy twenty");
  EXPECT_EQ(fields("key"), fromLine);
  EXPECT_EQ(h.log.lines(),
            (Lines{"Lead extraction LLM failed: Could not parse LLM JSON.; using From-line fields.",
                   "Lead extraction LLM failed: the server answered with text of the message; see "
                   "what it says with \"halcyra-cli classify\"; using From-line fields."}));
  EXPECT_EQ(h.model.requests.size(), 3u);
}

TEST(LeadActions, ALeadOnItsWayCountsUntilItsEnd) {
  LeadHarness h;
  h.crm.signInSalesforce("");
  std::vector<bool> during;
  h.crm.http.onRequest = [&] { during.push_back(h.leads.isSending()); };
  h.crm.http.answer(204, "").fail({HttpError::Kind::transport, "cut"});
  EXPECT_TRUE(h.toDynamics());
  EXPECT_FALSE(h.leads.isSending());
  EXPECT_FALSE(h.toSalesforce());
  EXPECT_FALSE(h.leads.isSending());
  EXPECT_EQ(during, (std::vector<bool>{true, true}));
}

}  // namespace
}  // namespace halcyra
