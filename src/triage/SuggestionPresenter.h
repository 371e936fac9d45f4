#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "config/AppConfig.h"
#include "mail/ParsedMail.h"
#include "platform/Task.h"
#include "triage/IncomingMail.h"

namespace halcyra {

/// A rule that the user may choose instead of the model's suggestion.
struct PopupRuleOverrideOption {
  std::string ruleId;
  std::string title;
  std::string actionLabel;

  bool operator==(const PopupRuleOverrideOption&) const = default;
};

/// One option for each rule that is not the catch-all, in list order.
std::vector<PopupRuleOverrideOption> ruleOverrideOptions(const std::vector<MailRule>& rules);

/// How a send from a suggestion ended; a failure may say why, in words for the user.
struct SendResult {
  bool succeeded = false;
  std::optional<std::string> message;

  bool operator==(const SendResult&) const = default;
};

/// Sends the text as a reply, or carries out the rule with the given id instead. Never throws.
using SendReply =
    std::function<Task<SendResult>(std::string text, std::optional<std::string> overrideRuleId)>;

/// A reply that waits for the user.
struct Suggestion {
  std::shared_ptr<const ParsedMail> mail;
  std::string mailboxLabel;
  /// Trimmed; empty when the model gave none.
  std::string draft;
  std::vector<PopupRuleOverrideOption> ruleOverrides;
  /// The rule behind the suggestion; none for low confidence.
  std::optional<MailRule> rule = std::nullopt;
  SendReply sendReply;
};

/// A suggestion about a mail, with the rules of its mailbox to choose from.
Suggestion suggestionFor(SharedIncomingMail incoming, std::string draft,
                         std::optional<MailRule> rule, SendReply sendReply);

/// Shows suggestions. The message counts as handled once it was presented, so its draft must not be
/// lost.
class SuggestionPresenter {
 public:
  virtual ~SuggestionPresenter() = default;

  /// On the main executor; returns at once.
  virtual void present(Suggestion suggestion) = 0;
};

}  // namespace halcyra
