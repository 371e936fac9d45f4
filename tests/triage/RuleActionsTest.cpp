#include "triage/MailRuleActions.h"

#include "PipelineHarness.h"
#include "support/LeadWorld.h"
#include "support/SubmissionDouble.h"

namespace halcyra {
namespace {

using Lines = std::vector<std::string>;

/// The real actions over doubles of the servers, the provider and the desktop.
struct ActionsHarness : PipelineHarness, Notifications {
  ActionsHarness() {
    config.mailAccounts = {{.id = "box",
                            .displayLabel = "Work",
                            .kind = IMAPConnection{.username = "me@x", .mailbox = ""}}};
    config.smtpHost = "smtp.x";
    config.smtpPort = 2525;
    config.smtpUseStartTLS = false;
    mail.from = "Ann <ann@y>";
    mail.rawRFC822 = "To: me@x\r\nSubject: Hello\r\nReferences: <0@y>\r\n\r\nbody";
    config.rules[0].forwardTo = " boss@x ";
  }

  void useProvider(Kind kind, std::string label = "me@x") {
    config.mailAccounts[0].kind = std::move(kind);
    config.mailAccounts[0].displayLabel = std::move(label);
    mail.providerRESTId = "rest-1";
  }

  bool forwardIt(ForwardNotice notice = ForwardNotice::silent) {
    return runTask(context, actions.forwardMail(from(config.rules.at(0)), " boss@x ", notice));
  }
  SendResult send(std::string text, std::optional<std::string> rule = {}) {
    return runTask(context, actions.popupSend(incoming())(std::move(text), std::move(rule)));
  }
  bool automate(std::vector<CustomAutomationStep> steps) {
    config.customAutomations = {{"auto", "Steps", std::move(steps)}};
    config.rules[0].customAutomationId = " auto ";
    return runTask(context, actions.runCustomAutomation(from(config.rules[0])));
  }
  RuleActionContext from(const MailRule& rule) { return {incoming(), rule, {"pw", modelKey}}; }

  Task<bool> post(std::string title, std::string body) override {
    effects.push_back("notify " + title + "|" + body);
    if (notifyingFails) throw NotificationError("no\nanswer");
    co_return true;
  }

  boost::asio::io_context context;
  SubmissionDouble servers;
  bool notifyingFails = false;
  std::string modelKey = "key";
  MailSender sender{{servers, context.get_executor(), log, this}};
  LeadWorld crm;
  LeadActions leads{crm.clients(), model, log};
  MailRuleActions actions{{.main = context.get_executor(),
                           .sender = sender,
                           .leads = leads,
                           .presenter = *this,
                           .http = model,
                           .notifications = *this,
                           .log = log,
                           .secrets =
                               [](const MailAccount&) {
                                 return MailSecrets{"new", "key"};
                               },
                           .providers = this}};
};

struct RouteCase {
  const char* name;
  std::function<void(ActionsHarness&)> given;
  bool succeeds;
  Lines forwardEffects, replyEffects;
  Lines hosts;
  Lines forwardLog, replyLog;
  std::string replyMessage;
};

const RouteCase routes[] = {
    {"IMAP", [](auto&) {}, true, {}, {}, {"smtp.x"}, {}, {}, ""},
    {"Gmail",
     [](auto& h) { h.useProvider(GoogleGmail{}); },
     true,
     {"provider forward me@x boss@x"},
     {"provider reply me@x ann@y <0@y> Yes."},
     {},
     {},
     {},
     ""},
    {"Gmail with an own server",
     [](auto& h) {
       h.useProvider(GoogleGmail{});
       h.config.mailAccounts[0].outgoingSMTP = {"own.x", 465, true, ""};
     },
     true,
     {},
     {},
     {"own.x"},
     {},
     {},
     ""},
    {"Graph that fails",
     [](auto& h) {
       h.useProvider(MicrosoftGraph{});
       h.markingFails = true;
     },
     true,
     {"provider forward me@x boss@x"},
     {"provider reply me@x ann@y <0@y> Yes."},
     {"smtp.x"},
     {"Provider forward failed, trying SMTP: no route"},
     {"Provider reply send failed, trying SMTP: no route"},
     ""},
    {"Gmail whose answer is lost",
     [](auto& h) {
       h.useProvider(GoogleGmail{});
       h.answersGetLost = true;
     },
     false,
     {"provider forward me@x boss@x"},
     {"provider reply me@x ann@y <0@y> Yes."},
     {},
     {"Provider forward unanswered, not trying SMTP: no answer"},
     {"Provider reply send unanswered, not trying SMTP: no answer"},
     "no answer The reply may have gone out nevertheless. Look at the mailbox’s sent mail before "
     "you send it again."},
    {"Graph without any address",
     [](auto& h) {
       h.useProvider(MicrosoftGraph{}, "Work");
       h.config.smtpHost = "";
     },
     false,
     {},
     {},
     {},
     {"SMTP not configured; cannot forward."},
     {},
     "Configure SMTP for this mailbox (Mail tab: per-account outgoing or default server), or set "
     "this account’s label to your email for Gmail / Outlook send."},
    {"Server that refuses",
     [](auto& h) { h.servers.refused = "RCPT"; },
     false,
     {},
     {},
     {},
     {"Forward failed: Expected 250, got: 550 no"},
     {"Reply send failed: Expected 250, got: 550 no"},
     "Reply send failed: Expected 250, got: 550 no"},
    {"Both ways fail",
     [](auto& h) {
       h.useProvider(GoogleGmail{});
       h.markingFails = true;
       h.servers.refused = "AUTH";
     },
     false,
     {"provider forward me@x boss@x"},
     {"provider reply me@x ann@y <0@y> Yes."},
     {},
     {"Provider forward failed, trying SMTP: no route",
      "Forward failed: Expected 334, got: 550 no"},
     {"Provider reply send failed, trying SMTP: no route",
      "Reply send failed: Expected 334, got: 550 no"},
     "Reply send failed: Expected 334, got: 550 no"},
};

TEST(RuleActions, MailGoesThroughTheProviderFirstAndBySMTPOtherwise) {
  for (const RouteCase& route : routes) {
    SCOPED_TRACE(route.name);
    for (const bool forwards : {true, false}) {
      ActionsHarness h;
      route.given(h);
      const SendResult result = forwards ? SendResult{h.forwardIt(), {}} : h.send(" Yes.\n");
      EXPECT_EQ(result.succeeded, route.succeeds);
      EXPECT_EQ(result.message.value_or(""), forwards ? "" : route.replyMessage);
      EXPECT_EQ(h.effects, forwards ? route.forwardEffects : route.replyEffects);
      EXPECT_EQ(h.log.lines(), forwards ? route.forwardLog : route.replyLog);
      Lines hosts;
      for (const auto& sent : h.servers.accepted) {
        hosts.push_back(sent.endpoint.host);
        EXPECT_EQ(sent.from + ">" + sent.to, forwards ? "me@x>boss@x" : "me@x>ann@y");
      }
      EXPECT_EQ(hosts, route.hosts);
      EXPECT_FALSE(h.sender.isSending());
    }
  }
}

TEST(RuleActions, SMTPCarriesTheMessageAsBuiltAndThePasswordOfTheMoment) {
  ActionsHarness h;
  EXPECT_TRUE(h.forwardIt());
  EXPECT_TRUE(h.send("Yes.").succeeded);
  const auto& sent = h.servers.accepted;
  EXPECT_EQ(sent.at(0).data,
            "From: me@x\r\nTo: boss@x\r\nSubject: Fwd: Hello\r\nMIME-Version: 1.0\r\n"
            "Content-Type: message/rfc822\r\nSubject: Hello\r\nReferences: <0@y>\r\n\r\nbody");
  EXPECT_EQ(sent.at(0).password, "pw");
  for (const char* header : {"To: ann@y\r\n", "Subject: Re: Hello\r\n", "In-Reply-To: <m@x>\r\n",
                             "References: <0@y> <m@x>\r\n", "\r\n\r\nYes."}) {
    EXPECT_NE(sent.at(1).data.find(header), std::string::npos) << header << sent.at(1).data;
  }
  EXPECT_EQ(sent.at(1).password, "new");

  h.mail.rawRFC822.clear();
  EXPECT_TRUE(h.forwardIt());
  EXPECT_TRUE(sent.at(2).data.ends_with("Content-Transfer-Encoding: 8bit\r\n\r\nbody"));
}

TEST(RuleActions, OneNotificationAForwardAndItsFailureChangesNothing) {
  ActionsHarness h;
  EXPECT_TRUE(h.forwardIt(ForwardNotice::notify));
  EXPECT_TRUE(h.forwardIt(ForwardNotice::silent));
  h.notifyingFails = true;
  EXPECT_TRUE(h.forwardIt(ForwardNotice::notify));
  h.servers.refused = "connect";
  EXPECT_FALSE(h.forwardIt(ForwardNotice::notify));
  EXPECT_EQ(h.effects, (Lines{"notify Support - help|Hello", "notify Support - help|Hello"}));
  EXPECT_EQ(h.log.lines(), (Lines{"Forward notification: no answer", "Forward failed: refused"}));
}

TEST(RuleActions, ReplyNeedsTextAndAnAddress) {
  ActionsHarness h;
  EXPECT_EQ(h.send(" \n").message, "Reply is empty.");
  h.mail.from = "Nobody <>";
  EXPECT_EQ(h.send("Yes.").message, "Could not read a reply address from the From header.");
  EXPECT_TRUE(h.servers.accepted.empty());
}

struct OverrideCase {
  MailRuleAction action;
  std::function<void(ActionsHarness&)> given;
  std::string failure;
  Lines sentTo;
  Lines effects;
};

const auto asTold = [](ActionsHarness&) {};

const OverrideCase overrides[] = {
    {MailRuleAction::notifyWithSuggestion, asTold, "", {"ann@y"}, {}},
    {MailRuleAction::doNothing, asTold, "", {}, {}},
    {MailRuleAction::forwardAndNotify, asTold, "", {"boss@x"}, {"notify Support - help|Hello"}},
    {MailRuleAction::forwardSilently, asTold, "", {"boss@x"}, {}},
    {MailRuleAction::forwardSilently,
     [](auto& h) { h.config.rules[0].forwardTo = " "; },
     "This rule has no forward address.",
     {},
     {}},
    {MailRuleAction::forwardAndNotify,
     [](auto& h) { h.servers.refused = "DATA"; },
     "Forward failed.",
     {},
     {}},
    {MailRuleAction::dynamicsCreateLead,
     asTold,
     "Create Dynamics lead only works for Microsoft Graph mailboxes.",
     {},
     {}},
    {MailRuleAction::dynamicsCreateLead,
     [](auto& h) { h.useProvider(MicrosoftGraph{}); },
     "Could not create Dynamics lead. Check Custom actions URL and Dataverse permissions.",
     {},
     {}},
    {MailRuleAction::dynamicsCreateLead,
     [](auto& h) {
       h.useProvider(MicrosoftGraph{});
       h.config.dataverseEnvironmentURL = "org.example";
       h.config.rules[0].mailboxTagName = "Lead";
       h.crm.signIn("box", "https://org.example");
       h.crm.http.answer(204, "");
     },
     "",
     {},
     {"tag Lead"}},
    {MailRuleAction::salesforceCreateLead,
     [](auto& h) {
       h.crm.signInSalesforce("");
       h.crm.http.onRequest = [&h] { EXPECT_TRUE(h.actions.isSending()); };
       h.crm.http.answer(201, "");
     },
     "",
     {},
     {}},
    {MailRuleAction::salesforceCreateLead,
     asTold,
     "Could not create Salesforce lead. Sign in under Settings → Custom actions and check the "
     "Consumer Key in your build.",
     {},
     {}},
    {MailRuleAction::runCustomAutomation,
     asTold,
     "Custom automation did not complete. Check connections and steps in Settings → Custom "
     "actions.",
     {},
     {}},
    {MailRuleAction::doNothing,
     [](auto& h) {
       h.useProvider(GoogleGmail{});
       h.config.rules[0].mailboxTagName = " To\r\ndo ";
     },
     "",
     {},
     {"tag To do"}},
    {MailRuleAction::forwardSilently,
     [](auto& h) {
       h.useProvider(MicrosoftGraph{});
       h.config.rules[0].mailboxTagName = "Done";
       h.markingFails = true;
     },
     "",
     {"boss@x"},
     {"provider forward me@x boss@x", "tag Done"}},
    {MailRuleAction::forwardSilently,
     [](auto& h) {
       h.config.rules[0].mailboxTagName = "Done";
       h.servers.refused = "RCPT";
     },
     "Forward failed.",
     {},
     {}},
};

TEST(RuleActions, AnotherRuleIsCarriedOutInsteadOfTheReply) {
  for (const OverrideCase& c : overrides) {
    SCOPED_TRACE(actionLabel(c.action));
    ActionsHarness h;
    h.config.rules[0].action = c.action;
    c.given(h);
    const SendResult result = h.send("Yes.", "support");
    EXPECT_EQ(result.succeeded, c.failure.empty());
    EXPECT_EQ(result.message.value_or(""), c.failure);
    EXPECT_EQ(h.effects, c.effects);
    Lines sentTo;
    for (const auto& sent : h.servers.accepted) sentTo.push_back(sent.to);
    EXPECT_EQ(sentTo, c.sentTo);
  }
}

TEST(RuleActions, CatchAllAndUnknownRulesAreNoChoice) {
  for (const char* rule : {"other", "no such"}) {
    ActionsHarness h;
    h.config.rules[1].action = MailRuleAction::doNothing;
    EXPECT_TRUE(h.send("Yes.", rule).succeeded);
    EXPECT_EQ(h.servers.accepted.size(), 1u) << rule;
  }
}

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
