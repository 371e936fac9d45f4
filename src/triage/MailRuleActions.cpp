#include "triage/MailRuleActions.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "text/ControlCharacters.h"
#include "text/Trim.h"
#include "triage/CountedWhileAlive.h"
#include "triage/CustomAutomationRunner.h"
#include "triage/ForwardNotification.h"

namespace halcyra {
namespace {

SendResult outcome(bool done, const char* failure) {
  if (done) return {.succeeded = true, .message = std::nullopt};
  return {.succeeded = false, .message = failure};
}

// The rule that the user chose; the catch-all is no choice.
std::optional<MailRule> overrideRule(const IncomingMail& incoming, const std::string& ruleId) {
  for (MailRule& rule : incoming.config.rulesForMailbox(incoming.account.id)) {
    if (rule.id == ruleId && !rule.isCatchAll) return std::move(rule);
  }
  return std::nullopt;
}

}  // namespace

Task<bool> MailRuleActions::forwardMail(RuleActionContext context, std::string address,
                                        ForwardNotice notice) {
  Task<bool> forwarding = services_.sender.forwardMail(context.incoming, std::move(address),
                                                       context.secrets.smtpPassword);
  const bool sent = co_await std::move(forwarding);
  // Not waited for: until the message is recorded as handled, an end of the program would make the
  // forward go out twice.
  if (sent && notice == ForwardNotice::notify) {
    notices_.spawn(services_.main, notifyForward(context.incoming, context.rule));
  }
  co_return sent;
}

Task<void> MailRuleActions::notifyForward(SharedIncomingMail incoming, MailRule rule) {
  std::string failure;
  try {
    ForwardNotification notice = forwardNotification(incoming->mail, rule);
    Task<bool> posting =
        services_.notifications.post(std::move(notice.title), std::move(notice.body));
    co_await std::move(posting);
    co_return;
  } catch (const std::exception& error) {
    failure = error.what();
  }
  services_.log.logLine("Forward notification: " + onOneLine(failure));
}

Task<bool> MailRuleActions::createDynamicsLead(RuleActionContext context) {
  Task<DynamicsLeadFields> reading =
      services_.leads.leadFields(context.incoming, context.secrets.llmAPIKey);
  DynamicsLeadFields fields = co_await std::move(reading);
  Task<bool> creating =
      services_.leads.createDynamicsLead(context.incoming, std::move(fields), std::nullopt);
  co_return co_await std::move(creating);
}

Task<bool> MailRuleActions::createSalesforceLead(RuleActionContext context) {
  Task<DynamicsLeadFields> reading =
      services_.leads.leadFields(context.incoming, context.secrets.llmAPIKey);
  DynamicsLeadFields fields = co_await std::move(reading);
  Task<bool> creating =
      services_.leads.createSalesforceLead(context.incoming, std::move(fields), std::nullopt);
  co_return co_await std::move(creating);
}

Task<bool> MailRuleActions::runCustomAutomation(RuleActionContext context) {
  CustomAutomationRunner runner({.actions = *this,
                                 .leads = services_.leads,
                                 .presenter = services_.presenter,
                                 .http = services_.http,
                                 .log = services_.log});
  const CountedWhileAlive counted(chainsUnderWay_);
  std::string failure;
  try {
    Task<bool> running = runner.run(std::move(context));
    co_return co_await std::move(running);
  } catch (const std::exception& error) {
    failure = error.what();
  }
  services_.log.logLine("Custom automation broke off: " + onOneLine(failure));
  co_return false;
}

SendReply MailRuleActions::popupSend(SharedIncomingMail incoming) {
  return [this, incoming = std::move(incoming)](std::string text,
                                                std::optional<std::string> overrideRuleId) {
    return sendFromPopup(incoming, std::move(text), std::move(overrideRuleId));
  };
}

Task<SendResult> MailRuleActions::sendFromPopup(SharedIncomingMail incoming, std::string text,
                                                std::optional<std::string> overrideRuleId) {
  try {
    MailSecrets secrets = services_.secrets(incoming->account);
    std::optional<MailRule> rule;
    if (overrideRuleId) rule = overrideRule(*incoming, *overrideRuleId);
    if (rule) {
      Task<SendResult> acting =
          carryOutOverride({incoming, std::move(*rule), std::move(secrets)}, std::move(text));
      co_return co_await std::move(acting);
    }
    Task<ReplySent> replying =
        services_.sender.sendReply(incoming, std::move(text), std::move(secrets.smtpPassword));
    co_return co_await std::move(replying);
  } catch (const std::exception& error) {
    co_return outcome(false, error.what());
  }
}

Task<SendResult> MailRuleActions::carryOutOverride(RuleActionContext context, std::string text) {
  Task<SendResult> acting = actInstead(context, std::move(text));
  SendResult result = co_await std::move(acting);
  std::string tag = cleanedTag(context.rule.mailboxTagName);
  if (result.succeeded && !tag.empty()) {
    Task<void> tagging = applyMailboxTag(context.incoming, std::move(tag));
    co_await std::move(tagging);
  }
  co_return result;
}

Task<SendResult> MailRuleActions::actInstead(RuleActionContext context, std::string text) {
  switch (context.rule.action) {
    case MailRuleAction::notifyWithSuggestion: {
      Task<ReplySent> replying = services_.sender.sendReply(context.incoming, std::move(text),
                                                            context.secrets.smtpPassword);
      co_return co_await std::move(replying);
    }
    case MailRuleAction::doNothing:
      co_return outcome(true, "");
    case MailRuleAction::forwardAndNotify:
    case MailRuleAction::forwardSilently: {
      Task<SendResult> forwarding = forwardInstead(std::move(context));
      co_return co_await std::move(forwarding);
    }
    case MailRuleAction::dynamicsCreateLead: {
      if (!std::holds_alternative<MicrosoftGraph>(context.incoming->account.kind)) {
        co_return outcome(false, "Create Dynamics lead only works for Microsoft Graph mailboxes.");
      }
      Task<bool> creating = createDynamicsLead(context);
      co_return outcome(co_await std::move(creating),
                        "Could not create Dynamics lead. Check Custom actions URL and Dataverse "
                        "permissions.");
    }
    case MailRuleAction::salesforceCreateLead: {
      Task<bool> creating = createSalesforceLead(context);
      co_return outcome(co_await std::move(creating),
                        "Could not create Salesforce lead. Sign in under Settings → Custom "
                        "actions and check the Consumer Key in your build.");
    }
    case MailRuleAction::runCustomAutomation: {
      Task<bool> running = runCustomAutomation(context);
      co_return outcome(co_await std::move(running),
                        "Custom automation did not complete. Check connections and steps in "
                        "Settings → Custom actions.");
    }
  }
  co_return SendResult{};
}

Task<SendResult> MailRuleActions::forwardInstead(RuleActionContext context) {
  std::string address(trimmed(context.rule.forwardTo));
  if (address.empty()) co_return outcome(false, "This rule has no forward address.");
  const bool notifies = context.rule.action == MailRuleAction::forwardAndNotify;
  const ForwardNotice notice = notifies ? ForwardNotice::notify : ForwardNotice::silent;
  Task<bool> forwarding = forwardMail(std::move(context), std::move(address), notice);
  co_return outcome(co_await std::move(forwarding), "Forward failed.");
}

// `tag` is cleaned and not empty.
Task<void> MailRuleActions::applyMailboxTag(SharedIncomingMail incoming, std::string tag) {
  const bool known = !incoming->mail.providerRESTId.value_or("").empty();
  if (!known || services_.providers == nullptr) co_return;
  std::string failure;
  try {
    Task<void> tagging = services_.providers->addTag(*incoming, std::move(tag));
    co_await std::move(tagging);
    co_return;
  } catch (const std::exception& error) {
    failure = error.what();
  }
  const bool graph = std::holds_alternative<MicrosoftGraph>(incoming->account.kind);
  services_.log.logLine((graph ? "Graph add category: " : "Gmail add label: ") +
                        onOneLine(failure));
}

}  // namespace halcyra
