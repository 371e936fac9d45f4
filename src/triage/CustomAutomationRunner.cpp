#include "triage/CustomAutomationRunner.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

#include "classification/LLMClient.h"
#include "classification/PromptComposition.h"
#include "text/ControlCharacters.h"
#include "text/Trim.h"
#include "triage/ModelFailure.h"

namespace halcyra {

Task<bool> CustomAutomationRunner::run(RuleActionContext context) {
  const std::string id(trimmed(context.rule.customAutomationId));
  const std::optional<CustomAutomation> automation = context.incoming->config.customAutomation(id);
  if (!automation || automation->steps.empty()) {
    services_.log.logLine("Custom automation missing or has no steps (id: " + onOneLine(id) + ").");
    co_return false;
  }
  for (const CustomAutomationStep& step : automation->steps) {
    Task<bool> running = runStep(context, step);
    const bool done = co_await std::move(running);
    if (!done) co_return false;
  }
  co_return true;
}

Task<bool> CustomAutomationRunner::runStep(RuleActionContext context, CustomAutomationStep step) {
  switch (step.kind) {
    case CustomAutomationStepKind::createDynamicsLead:
      co_return refuseLead("Dynamics", step);
    case CustomAutomationStepKind::createSalesforceLead:
      co_return refuseLead("Salesforce", step);
    case CustomAutomationStepKind::suggestReply: {
      Task<bool> suggesting = suggestReply(std::move(context));
      co_return co_await std::move(suggesting);
    }
    case CustomAutomationStepKind::forwardAndNotify: {
      Task<bool> forwarding = forward(std::move(context), step.forwardTo, ForwardNotice::notify);
      co_return co_await std::move(forwarding);
    }
    case CustomAutomationStepKind::forwardSilently: {
      Task<bool> forwarding = forward(std::move(context), step.forwardTo, ForwardNotice::silent);
      co_return co_await std::move(forwarding);
    }
  }
  co_return false;
}

Task<bool> CustomAutomationRunner::forward(RuleActionContext context, std::string address,
                                           ForwardNotice notice) {
  address = std::string(trimmed(address));
  if (address.empty()) {
    services_.log.logLine("Custom automation: forward step has no address.");
    co_return false;
  }
  Task<bool> forwarding =
      services_.actions.forwardMail(std::move(context), std::move(address), notice);
  co_return co_await std::move(forwarding);
}

// Done when the suggestion is shown; what the user makes of it comes later.
Task<bool> CustomAutomationRunner::suggestReply(RuleActionContext context) {
  const IncomingMail& incoming = *context.incoming;
  std::string draft;
  if (!trimmed(context.secrets.llmAPIKey).empty()) {
    LLMClient model(services_.http, {.baseURL = incoming.config.llmBaseURL,
                                     .model = incoming.config.llmModel,
                                     .temperature = incoming.config.llmTemperature,
                                     .apiKey = context.secrets.llmAPIKey});
    std::optional<std::string> failure;
    try {
      Task<std::string> asking = model.proposeReplyDraft(
          classificationUserMessage(incoming.mail.classificationEmailText()),
          incoming.config.llmMaxBodyChars);
      draft = co_await std::move(asking);
    } catch (const std::exception& error) {
      failure = shownModelFailure(error.what(), incoming.mail);
    }
    if (failure) {
      services_.log.logLine("Custom automation suggest reply LLM failed: " + *failure);
      co_return false;
    }
  }
  services_.presenter.present(suggestionFor(context.incoming, std::move(draft), context.rule,
                                            services_.actions.popupSend(context.incoming)));
  co_return true;
}

// Leads do not exist yet, so there is no connection that could be valid.
bool CustomAutomationRunner::refuseLead(const std::string& crm, const CustomAutomationStep& step) {
  services_.log.logLine("Custom automation: invalid " + crm + " connection id " +
                        onOneLine(trimmed(step.connectionId)) + ".");
  return false;
}

}  // namespace halcyra
