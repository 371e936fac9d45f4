#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "platform/HttpClient.h"
#include "platform/Log.h"
#include "platform/Notifications.h"
#include "platform/TaskGroup.h"
#include "triage/LeadActions.h"
#include "triage/MailSender.h"
#include "triage/RuleActions.h"

namespace halcyra {

/// What the actions work with. All of it outlives them.
struct RuleActionServices {
  Executor main;
  MailSender& sender;
  LeadActions& leads;
  SuggestionPresenter& presenter;
  HttpClient& http;
  Notifications& notifications;
  Log& log;
  /// The secrets of the moment for a mailbox. A suggestion may be answered long after its mail
  /// came, with a password that was corrected meanwhile.
  std::function<MailSecrets(const MailAccount&)> secrets;
  /// None while all mailboxes are IMAP.
  ProviderMail* providers = nullptr;
};

/// Carries out the actions of rules, from the pipeline and from suggestions. Belongs to the main
/// executor and outlives the suggestions it was asked for.
class MailRuleActions : public RuleActions {
 public:
  explicit MailRuleActions(RuleActionServices services)
      : services_(std::move(services)), notices_(services_.main) {}

  Task<bool> forwardMail(RuleActionContext context, std::string address,
                         ForwardNotice notice) override;
  Task<bool> createDynamicsLead(RuleActionContext context) override;
  Task<bool> createSalesforceLead(RuleActionContext context) override;
  Task<bool> runCustomAutomation(RuleActionContext context) override;
  SendReply popupSend(SharedIncomingMail incoming) override;

  /// Is a message or a lead on its way out, or a chain under way that may have sent one? An end of
  /// the program would leave it unknown whether it arrived, or send it again at the next start.
  bool isSending() const {
    return services_.sender.isSending() || services_.leads.isSending() || chainsUnderWay_ > 0;
  }

  /// Ends when no notification is on its way.
  Task<void> noticesPosted() { return notices_.drained(); }

 private:
  Task<void> notifyForward(SharedIncomingMail incoming, MailRule rule);
  Task<SendResult> sendFromPopup(SharedIncomingMail incoming, std::string text,
                                 std::optional<std::string> overrideRuleId);
  Task<SendResult> carryOutOverride(RuleActionContext context, std::string text);
  Task<SendResult> actInstead(RuleActionContext context, std::string text);
  Task<SendResult> forwardInstead(RuleActionContext context);
  Task<void> applyMailboxTag(SharedIncomingMail incoming, std::string tag);

  RuleActionServices services_;
  TaskGroup notices_;
  std::atomic<std::size_t> chainsUnderWay_ = 0;
};

}  // namespace halcyra
