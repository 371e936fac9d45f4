#include "ActionsHarness.h"

namespace halcyra {
namespace {

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

}  // namespace
}  // namespace halcyra
