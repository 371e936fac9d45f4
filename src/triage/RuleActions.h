#pragma once

#include <string>

#include "config/AppConfig.h"
#include "mail/ParsedMail.h"
#include "platform/Task.h"

namespace halcyra {

/// What an action works on. All references outlive the action.
struct RuleActionContext {
  const ParsedMail& mail;
  const AppConfig& config;
  const MailAccount& account;
  const MailRule& rule;
  const std::string& smtpPassword;
  const std::string& llmAPIKey;
};

enum class ForwardNotice { notify, silent };

/// The actions of rules that reach beyond the mailbox. Each says false when it failed, after
/// logging why; nothing is thrown.
class RuleActions {
 public:
  virtual ~RuleActions() = default;

  virtual Task<bool> forwardMail(RuleActionContext context, std::string address,
                                 ForwardNotice notice) = 0;
  virtual Task<bool> createDynamicsLead(RuleActionContext context) = 0;
  virtual Task<bool> createSalesforceLead(RuleActionContext context) = 0;
  virtual Task<bool> runCustomAutomation(RuleActionContext context) = 0;
};

}  // namespace halcyra
