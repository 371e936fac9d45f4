#pragma once

#include <string>

#include "platform/HttpClient.h"
#include "platform/Log.h"
#include "platform/Task.h"
#include "triage/LeadActions.h"
#include "triage/RuleActions.h"

namespace halcyra {

/// What the steps work with. All of it outlives the run.
struct AutomationServices {
  RuleActions& actions;
  LeadActions& leads;
  SuggestionPresenter& presenter;
  HttpClient& http;
  Log& log;
};

/// Runs the steps of a rule's automation one after the other on one message.
class CustomAutomationRunner {
 public:
  explicit CustomAutomationRunner(AutomationServices services) : services_(services) {}

  /// True when all steps are done. The first that fails ends the run with false; steps before it
  /// are not undone. Throws only what presenting a suggestion throws.
  Task<bool> run(RuleActionContext context);

 private:
  Task<bool> runStep(RuleActionContext context, CustomAutomationStep step);
  Task<bool> forward(RuleActionContext context, std::string address, ForwardNotice notice);
  Task<bool> suggestReply(RuleActionContext context);
  Task<bool> createLead(SharedIncomingMail incoming, CustomAutomationStep step,
                        DynamicsLeadFields fields);

  AutomationServices services_;
};

}  // namespace halcyra
