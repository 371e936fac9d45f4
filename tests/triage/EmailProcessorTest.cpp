#include "PipelineHarness.h"
#include "triage/QuietHours.h"

namespace halcyra {
namespace {

using Effects = std::vector<std::string>;

struct PathCase {
  const char* name;
  std::function<void(PipelineHarness&)> given;
  bool returns;
  bool recorded;
  Effects effects;
  std::vector<std::string> log;
};

MailRule& support(PipelineHarness& h) {
  return h.config.rules[0];
}

void useGraph(PipelineHarness& h) {
  h.config.mailAccounts[0].kind = MicrosoftGraph{};
  h.mail.providerRESTId = "rest";
}

void forwardTo(PipelineHarness& h, MailRuleAction action, const std::string& address) {
  support(h).action = action;
  support(h).forwardTo = address;
  h.answer("support", 0.9);
}

const std::vector<PathCase> paths = {
    {"AlreadyInTheStore",
     [](auto& h) { h.store.insert(messageKey("box", "<m@x>")), h.answer("support", 0.9); },
     false,
     true,
     {},
     {}},
    {"QuietHours",
     [](auto& h) {
       h.config.quietHoursEnabled = true, h.config.quietStartHour = h.config.quietEndHour = 3;
     },
     false,
     false,
     {},
     {}},
    {"PrefilterHitTagsAndMarks",
     [](auto& h) {
       useGraph(h);
       h.mail.rawRFC822 = "Precedence: bulk\r\n\r\nx";
       h.config.prefilterSkippedTagBulkListHeaders = " News ";
     },
     true,
     true,
     {"mark News"},
     {"Prefilter skip (bulk/list headers): <m@x>"}},
    {"PrefilterSwitchedOffAsksTheModel",
     [](auto& h) {
       h.mail.rawRFC822 = "Precedence: bulk\r\n\r\nx";
       h.config.prefilterMarketingEnabled = false;
       h.answer("support", 0.9, "hi");
     },
     true,
     true,
     {"present support \"hi\""},
     {}},
    {"NoRuleForTheMailbox",
     [](auto& h) {
       h.config.mailAccounts.push_back({.id = "two", .displayLabel = "", .kind = GoogleGmail{}});
       for (MailRule& rule : h.config.rules) {
         rule.mailboxScope = MailRuleMailboxScope::selectedMailboxes;
         rule.mailboxAccountIds = {"two"};
       }
     },
     false,
     false,
     {},
     {"No rules apply to mailbox Work (box); skipping: <m@x>"}},
    {"ModelAnswers500",
     [](auto& h) { h.model.status = 500, h.model.reply = "x"; },
     false,
     false,
     {},
     {"LLM error: LLM HTTP 500: {\"choices\":[{\"message\":{\"content\":\"x\"}}]}"}},
    {"ModelUnreachable",
     [](auto& h) { h.model.failure = HttpError(HttpError::Kind::transport, "no route to m"); },
     false,
     false,
     {},
     {"LLM error: no route to m"}},
    {"LowConfidenceSkip",
     [](auto& h) {
       h.config.lowConfidenceAction = LowConfidenceAction::skip, h.answer("support", 0.25);
     },
     false,
     false,
     {},
     {"Low confidence (0.25), skipped: <m@x>"}},
    {"LowConfidencePopupHasNoRuleAndNoTag",
     [](auto& h) {
       useGraph(h);
       support(h).mailboxTagName = "T";
       h.answer("support", 0.49, "  d \n");
     },
     true,
     true,
     {"present - \"d\"", "mark -"},
     {}},
    {"ConfidenceEqualToTheThresholdPasses",
     [](auto& h) { h.answer("support", 0.5); },
     true,
     true,
     {"present support \"\""},
     {}},
    {"UnknownIdTakesTheCatchAll",
     [](auto& h) { h.answer(" SUPPORT ", 0.9); },
     true,
     true,
     {"present other \"\""},
     {"Unknown rule_id from model: SUPPORT; using catch-all."}},
    {"NoCatchAllForTheMailbox",
     [](auto& h) {
       h.config.mailAccounts.push_back({.id = "two", .displayLabel = "", .kind = GoogleGmail{}});
       h.config.rules[1].mailboxScope = MailRuleMailboxScope::selectedMailboxes;
       h.config.rules[1].mailboxAccountIds = {"two"};
       h.answer("ghost", 0.9);
     },
     false,
     false,
     {},
     {"Unknown rule_id from model: ghost; using catch-all.",
      "No rule for id ghost; no catch-all."}},
    {"DoNothing",
     [](auto& h) {
       useGraph(h);
       support(h).action = MailRuleAction::doNothing;
       support(h).mailboxTagName = " a\r\nb\nc ";
       h.answer("support", 0.9);
     },
     true,
     true,
     {"mark a b c"},
     {"Rule ‘Support’ matched with action 'Do nothing': <m@x>"}},
    {"MarkingFailureKeepsTheRecord",
     [](auto& h) { useGraph(h), h.markingFails = true, h.answer("support", 0.9); },
     true,
     true,
     {"present support \"\"", "mark -"},
     {"Graph mark processed: no route"}},
    {"ForwardAndNotify",
     [](auto& h) { forwardTo(h, MailRuleAction::forwardAndNotify, " x@y "); },
     true,
     true,
     {"forward+notify x@y"},
     {}},
    {"ForwardSilentlyFails",
     [](auto& h) {
       forwardTo(h, MailRuleAction::forwardSilently, "x@y"), h.actionsSucceed = false;
     },
     false,
     false,
     {"forward x@y"},
     {}},
    {"ForwardWithoutAddressIsHandled",
     [](auto& h) { forwardTo(h, MailRuleAction::forwardSilently, " "); },
     true,
     true,
     {},
     {"Rule ‘Support’ forwards but has no address; marking handled: <m@x>"}},
    {"DynamicsOnIMAP",
     [](auto& h) { forwardTo(h, MailRuleAction::dynamicsCreateLead, ""); },
     false,
     false,
     {},
     {"Rule ‘Support’ creates a Dynamics lead but account is not Microsoft Graph: <m@x>"}},
    {"DynamicsOnGraph",
     [](auto& h) { useGraph(h), forwardTo(h, MailRuleAction::dynamicsCreateLead, ""); },
     true,
     true,
     {"dynamics", "mark -"},
     {}},
    {"SalesforceFails",
     [](auto& h) {
       forwardTo(h, MailRuleAction::salesforceCreateLead, ""), h.actionsSucceed = false;
     },
     false,
     false,
     {"salesforce"},
     {}},
    {"Automation",
     [](auto& h) {
       support(h).customAutomationId = "steps";
       forwardTo(h, MailRuleAction::runCustomAutomation, "");
     },
     true,
     true,
     {"automation steps"},
     {}},
};

TEST(EmailProcessor, EveryPathLeavesTheRecordTheMarkAndTheLogThatItShould) {
  for (const PathCase& path : paths) {
    SCOPED_TRACE(path.name);
    PipelineHarness h;
    path.given(h);
    EXPECT_EQ(h.process(), path.returns);
    EXPECT_EQ(h.recorded(), path.recorded);
    EXPECT_EQ(h.effects, path.effects);
    EXPECT_EQ(h.log.lines(), path.log);
    EXPECT_EQ(h.files.staged, 0u);
    for (const TriageDecision& decision : h.decisions) {
      EXPECT_EQ(decision.recorded, path.recorded);
    }
  }
}

TEST(EmailProcessor, NothingOfASkippedMailReachesTheModel) {
  PipelineHarness h;
  h.mail.bodyText = "click to Unsubscribe";
  EXPECT_TRUE(h.process());
  EXPECT_TRUE(h.model.requests.empty());
  EXPECT_EQ(h.decisions.at(0).skipReason, PrefilterSkipReason::unsubscribeWord);
}

TEST(EmailProcessor, LongTagIsCutAt200Characters) {
  PipelineHarness h;
  useGraph(h);
  support(h).mailboxTagName = std::string(199, 'x') + "é" + "yyy";
  h.answer("support", 0.9);
  EXPECT_TRUE(h.process());
  EXPECT_EQ(h.effects.at(1), "mark " + std::string(199, 'x') + "é");
}

TEST(EmailProcessor, OverrideOptionsLeaveOutTheCatchAll) {
  PipelineHarness h;
  h.config.rules.insert(h.config.rules.begin(), {.id = "blank",
                                                 .displayName = " ",
                                                 .criteriaPrompt = "",
                                                 .action = MailRuleAction::salesforceCreateLead});
  h.answer("other", 0.9);
  EXPECT_TRUE(h.process());
  const std::vector<PopupRuleOverrideOption> expected = {
      {"blank", "Untitled", "Create Salesforce lead"},
      {"support", "Support", "Notify me with a suggestion"}};
  EXPECT_EQ(h.suggestions.at(0).ruleOverrides, expected);
}

TEST(EmailProcessor, MessageUnderWayElsewhereIsLeftAlone) {
  PipelineHarness h;
  h.answer("support", 0.9);
  const MessagesUnderWay::Claim other(h.underWay, messageKey("box", "<m@x>"));
  EXPECT_FALSE(h.process());
  EXPECT_TRUE(h.model.requests.empty());
}

TEST(EmailProcessor, FoldedMessageIdCannotForgeALogLine) {
  PipelineHarness h;
  h.mail.messageID = "<a>\n[Halcyra] forged\x1b[2J";
  h.mail.bodyText = "unsubscribe";
  EXPECT_TRUE(h.process());
  EXPECT_EQ(h.log.lines(),
            std::vector<std::string>{"Prefilter skip (unsubscribe): <a> [Halcyra] forged [2J"});
}

TEST(EmailProcessor, FullDiskIsSaidOnceAndMessagesAreStillMarked) {
  PipelineHarness h;
  h.answer("support", 0.9);
  EmailProcessor processor = h.processor();
  const auto process = [&](const std::string& id) {
    h.mail.messageID = id;
    return runTask(processor.processMail(h.incoming(), {}));
  };
  h.files.isFull = true;
  EXPECT_TRUE(process("<1@x>"));
  EXPECT_TRUE(process("<2@x>"));
  EXPECT_FALSE(process("<2@x>"));
  EXPECT_EQ(h.effects.size(), 2u) << "no message is handled twice";
  EXPECT_EQ(h.log.lines().size(), 1u) << "said once";

  h.files.isFull = false;
  EXPECT_TRUE(process("<3@x>"));
  ProcessedMessageStore restarted(h.files, "/data");
  for (const char* id : {"<1@x>", "<2@x>", "<3@x>"}) {
    EXPECT_TRUE(restarted.contains(messageKey("box", id))) << id;
  }
  h.files.isFull = true;
  EXPECT_TRUE(process("<4@x>"));
  EXPECT_EQ(h.log.lines().size(), 2u);
}

TEST(QuietHours, WindowsThatCrossMidnightAndFullDays) {
  struct Row {
    int start, end;
    std::string quiet;  // one mark an hour
  };
  for (const Row& row :
       {Row{22, 7, "qqqqqqq...............qq"}, Row{9, 12, ".........qqq............"},
        Row{5, 5, "qqqqqqqqqqqqqqqqqqqqqqqq"}}) {
    AppConfig config;
    config.quietHoursEnabled = true;
    config.quietStartHour = row.start;
    config.quietEndHour = row.end;
    std::string seen;
    for (int hour = 0; hour < 24; ++hour) seen += quietHoursInForce(config, hour) ? 'q' : '.';
    EXPECT_EQ(seen, row.quiet);
    config.quietHoursEnabled = false;
    EXPECT_FALSE(quietHoursInForce(config, row.start));
  }
}

}  // namespace
}  // namespace halcyra
