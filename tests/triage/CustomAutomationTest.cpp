#include "ActionsHarness.h"

namespace halcyra {
namespace {

CustomAutomationStep step(CustomAutomationStepKind kind, std::string forwardTo = "",
                          std::string connectionId = "") {
  return {"s", kind, std::move(connectionId), std::move(forwardTo)};
}

TEST(CustomAutomation, StepsRunInOrderUntilOneFails) {
  using enum CustomAutomationStepKind;
  const std::string fromLine =
      "Lead extraction LLM failed: Could not parse LLM JSON.; using From-line fields.";
  const struct {
    std::vector<CustomAutomationStep> steps;
    bool succeeds;
    Lines effects, sentTo, log;
  } cases[] = {
      {{}, false, {}, {}, {"Custom automation missing or has no steps (id: auto)."}},
      {{step(forwardSilently, "a@x"), step(suggestReply), step(forwardAndNotify, " b@x ")},
       true,
       {"present support \"Draft.\"", "notify Support - help|Hello"},
       {"a@x", "b@x"},
       {}},
      {{step(forwardSilently, " "), step(suggestReply)},
       false,
       {},
       {},
       {"Custom automation: forward step has no address."}},
      {{step(forwardSilently, "a@x"), step(createDynamicsLead, "", " crm-1 ")},
       false,
       {},
       {"a@x"},
       {fromLine, "Custom automation: invalid Dynamics connection id crm-1."}},
      {{step(createDynamicsLead, "", "sf"), step(forwardSilently, "a@x")},
       false,
       {},
       {},
       {fromLine, "Custom automation: invalid Dynamics connection id sf."}},
      {{step(createDynamicsLead, "", " ")},
       false,
       {},
       {},
       {fromLine, "Dynamics lead: Microsoft Graph mailbox required."}},
      {{step(createSalesforceLead, "", "crm-2"), step(forwardSilently, "a@x")},
       false,
       {},
       {},
       {fromLine, "Custom automation: invalid Salesforce connection id crm-2."}},
  };
  for (const auto& c : cases) {
    ActionsHarness h;
    h.config.crmConnectionProfiles = {{"sf", "S", CRMConnectionKind::salesforce, "", "", ""}};
    h.model.reply = " Draft. ";
    EXPECT_EQ(h.automate(c.steps), c.succeeds);
    EXPECT_EQ(h.effects, c.effects);
    EXPECT_EQ(h.log.lines(), c.log);
    Lines sentTo;
    for (const auto& sent : h.servers.accepted) sentTo.push_back(sent.to);
    EXPECT_EQ(sentTo, c.sentTo);
  }
}

TEST(CustomAutomation, LeadStepsShareFieldsThatAreReadOnceBeforeTheFirstStep) {
  using enum CustomAutomationStepKind;
  ActionsHarness h;
  h.config.crmConnectionProfiles = {
      {"sf", "S", CRMConnectionKind::salesforce, "", "", ""},
      {"dyn", "D", CRMConnectionKind::dynamics365, "crm-box", "org.example", ""}};
  h.crm.signIn("crm-box", "https://org.example");
  h.crm.signInSalesforce("sf");
  h.model.reply = R"({"company_name":"Acme"})";
  Lines order;
  h.crm.http.onRequest = [&] {
    EXPECT_TRUE(h.actions.isSending());
    EXPECT_EQ(h.model.requests.size(), 1u);
    order.push_back("lead after " + std::to_string(h.servers.accepted.size()) + " forwards");
  };
  const std::vector<CustomAutomationStep> steps = {
      step(forwardSilently, "a@x"), step(createSalesforceLead, "", "sf"),
      step(forwardSilently, "b@x"), step(createDynamicsLead, "", " dyn ")};
  h.crm.http.answer(201, "").answer(500, "down");
  EXPECT_FALSE(h.automate(steps));  // the last step fails, and nothing is undone
  h.crm.http.answer(201, "").answer(204, "");
  h.model.requests.clear();
  EXPECT_TRUE(h.automate(steps));
  EXPECT_FALSE(h.actions.isSending());
  EXPECT_EQ(order, (Lines{"lead after 1 forwards", "lead after 2 forwards", "lead after 3 forwards",
                          "lead after 4 forwards"}));
  for (const HttpRequest& request : h.crm.http.requests) {
    EXPECT_NE(request.body.find("\"Acme\""), std::string::npos) << request.body;
  }
  EXPECT_EQ(h.log.lines(),
            (Lines{"Salesforce lead created for message <m@x>", "Dynamics lead failed: down",
                   "Salesforce lead created for message <m@x>",
                   "Dynamics lead created for message <m@x>"}));
}

TEST(CustomAutomation, SuggestedReplyIsTheModelsOrBlankWithoutAKey) {
  const std::vector<CustomAutomationStep> steps = {step(CustomAutomationStepKind::suggestReply)};
  ActionsHarness h;
  h.model.reply = "Draft.";
  EXPECT_TRUE(h.automate(steps));
  EXPECT_NE(h.model.requests.at(0).body.find("The email to classify is below."), std::string::npos);
  EXPECT_EQ(h.suggestions.at(0).mailboxLabel, "Work");
  EXPECT_EQ(h.suggestions.at(0).ruleOverrides.size(), 1u);
  EXPECT_TRUE(runTask(h.context, h.suggestions.at(0).sendReply("Yes.", std::nullopt)).succeeded);
  EXPECT_EQ(h.servers.accepted.size(), 1u);

  h.model.failure = HttpError(HttpError::Kind::transport, "no route");
  EXPECT_FALSE(h.automate(steps));
  EXPECT_EQ(h.log.lines(), (Lines{"Custom automation suggest reply LLM failed: no route"}));
  h.modelKey = " ";
  EXPECT_TRUE(h.automate(steps));
  EXPECT_EQ(h.effects.back(), "present support \"\"");
  EXPECT_EQ(h.model.requests.size(), 2u);
}

}  // namespace
}  // namespace halcyra
