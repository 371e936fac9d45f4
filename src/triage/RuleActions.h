#pragma once

#include <string>

#include "platform/Task.h"
#include "triage/IncomingMail.h"
#include "triage/MailSecrets.h"
#include "triage/SuggestionPresenter.h"

namespace halcyra {

/// What an action works on.
struct RuleActionContext {
  SharedIncomingMail incoming;
  MailRule rule;
  MailSecrets secrets;
};

enum class ForwardNotice { notify, silent };

/// What rules do beyond the mailbox. Each says false when it failed, after logging why; nothing is
/// thrown.
class RuleActions {
 public:
  virtual ~RuleActions() = default;

  virtual Task<bool> forwardMail(RuleActionContext context, std::string address,
                                 ForwardNotice notice) = 0;
  virtual Task<bool> createDynamicsLead(RuleActionContext context) = 0;
  virtual Task<bool> createSalesforceLead(RuleActionContext context) = 0;
  virtual Task<bool> runCustomAutomation(RuleActionContext context) = 0;

  /// What "Send response" does for a suggestion about this mail.
  virtual SendReply popupSend(SharedIncomingMail incoming) = 0;
};

}  // namespace halcyra
