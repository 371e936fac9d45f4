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
namespace {

bool createsLead(const CustomAutomationStep& step) {
  return step.kind == CustomAutomationStepKind::createDynamicsLead ||
         step.kind == CustomAutomationStepKind::createSalesforceLead;
}

}  // namespace

Task<bool> CustomAutomationRunner::run(RuleActionContext context) {
  const std::string id(trimmed(context.rule.customAutomationId));
  const std::optional<CustomAutomation> automation = context.incoming->config.customAutomation(id);
  if (!automation || automation->steps.empty()) {
    services_.log.logLine("Custom automation missing or has no steps (id: " + onOneLine(id) + ").");
    co_return false;
  }
  DynamicsLeadFields fields;
  if (std::ranges::any_of(automation->steps, createsLead)) {
    Task<DynamicsLeadFields> reading =
        services_.leads.leadFields(context.incoming, context.secrets.llmAPIKey);
    fields = co_await std::move(reading);
  }
  for (const CustomAutomationStep& step : automation->steps) {
    Task<bool> running =
        createsLead(step) ? createLead(context.incoming, step, fields) : runStep(context, step);
    const bool done = co_await std::move(running);
    if (!done) co_return false;
  }
  co_return true;
}

Task<bool> CustomAutomationRunner::runStep(RuleActionContext context, CustomAutomationStep step) {
  switch (step.kind) {
    case CustomAutomationStepKind::createDynamicsLead:
    case CustomAutomationStepKind::createSalesforceLead:
      break;
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

Task<bool> CustomAutomationRunner::createLead(SharedIncomingMail incoming,
                                              CustomAutomationStep step,
                                              DynamicsLeadFields fields) {
  const bool isDynamics = step.kind == CustomAutomationStepKind::createDynamicsLead;
  const CRMConnectionKind kind =
      isDynamics ? CRMConnectionKind::dynamics365 : CRMConnectionKind::salesforce;
  const std::string id(trimmed(step.connectionId));
  std::optional<CRMConnectionProfile> connection;
  if (!id.empty()) connection = incoming->config.crmConnectionProfile(id);
  if (!id.empty() && (!connection || connection->kind != kind)) {
    services_.log.logLine(std::string("Custom automation: invalid ") +
                          (isDynamics ? "Dynamics" : "Salesforce") + " connection id " +
                          onOneLine(id) + ".");
    co_return false;
  }
  LeadActions& leads = services_.leads;
  Task<bool> creating =
      isDynamics ? leads.createDynamicsLead(incoming, std::move(fields), std::move(connection))
                 : leads.createSalesforceLead(incoming, std::move(fields), std::move(connection));
  co_return co_await std::move(creating);
}

}  // namespace halcyra
