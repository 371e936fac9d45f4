#include "app/GeneralQuestionSheet.h"

#include <algorithm>
#include <utility>

#include "app/SuggestionTexts.h"
#include "text/Trim.h"

namespace halcyra {

std::string_view shownSubject(const ParsedMail& mail) {
  const std::string_view subject = trimmed(mail.subject);
  return subject.empty() ? suggestionTexts::noSubject : subject;
}

std::string_view shownSender(const ParsedMail& mail) {
  const std::string_view sender = trimmed(mail.from);
  return sender.empty() ? suggestionTexts::unknownSender : sender;
}

GeneralQuestionSheet::GeneralQuestionSheet(Suggestion suggestion, SheetServices services,
                                           Links links)
    : suggestion_(std::move(suggestion)),
      services_(services),
      links_(std::move(links)),
      text_(suggestion_.draft) {}

std::string GeneralQuestionSheet::mailboxLine() const {
  return std::string(suggestionTexts::mailboxPrefix) + suggestion_.mailboxLabel;
}

void GeneralQuestionSheet::setText(std::string text) {
  text_ = std::move(text);
  links_.changed();
}

std::vector<ConsiderAsItem> GeneralQuestionSheet::considerAsItems() const {
  std::vector<ConsiderAsItem> items;
  if (suggestion_.ruleOverrides.empty()) return items;
  items.push_back({std::string(suggestionTexts::keepOriginalAction), ""});
  for (const PopupRuleOverrideOption& option : suggestion_.ruleOverrides) {
    items.push_back({option.title + " — " + option.actionLabel, option.ruleId});
  }
  return items;
}

bool GeneralQuestionSheet::considerAs(const std::string& value) {
  const bool known =
      value.empty() || std::ranges::any_of(suggestion_.ruleOverrides, [&](const auto& option) {
        return option.ruleId == value;
      });
  if (!known) return false;
  considerAsValue_ = value;
  links_.changed();
  return true;
}

bool GeneralQuestionSheet::canSend() const {
  return !sending_ && !trimmed(text_).empty();
}

void GeneralQuestionSheet::sendResponse() {
  if (!canSend()) return;
  const auto self = shared_from_this();
  sending_ = true;
  status_.reset();
  links_.changed();
  services_.sends.spawn(services_.main, deliver(suggestion_.sendReply, std::string(trimmed(text_)),
                                                overrideRuleId(), weak_from_this()));
}

// Owns all it uses: the sheet may be gone before the send has ended.
Task<void> GeneralQuestionSheet::deliver(SendReply sendReply, std::string text,
                                         std::optional<std::string> overrideRuleId,
                                         std::weak_ptr<GeneralQuestionSheet> sheet) {
  SendResult result;
  if (sendReply) {
    Task<SendResult> sending = sendReply(std::move(text), std::move(overrideRuleId));
    result = co_await std::move(sending);
  }
  if (const auto shown = sheet.lock()) shown->sendEnded(std::move(result));
}

void GeneralQuestionSheet::sendEnded(SendResult result) {
  sending_ = false;
  if (result.succeeded) {
    links_.closeThisTab();
    return;
  }
  status_ = std::move(result.message).value_or(std::string(suggestionTexts::sendFailed));
  links_.changed();
}

std::optional<std::string> GeneralQuestionSheet::overrideRuleId() const {
  const std::string_view ruleId = trimmed(considerAsValue_);
  if (ruleId.empty()) return std::nullopt;
  return std::string(ruleId);
}

void GeneralQuestionSheet::copyDraft() {
  services_.pasteboard.setText(text_);
}

void GeneralQuestionSheet::notNow() {
  const auto self = shared_from_this();
  links_.closeThisTab();
}

}  // namespace halcyra
