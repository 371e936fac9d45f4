#pragma once

#include "PipelineHarness.h"
#include "support/LeadWorld.h"
#include "support/SubmissionDouble.h"
#include "triage/MailRuleActions.h"

namespace halcyra {

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

}  // namespace halcyra
