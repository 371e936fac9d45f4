#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Pasteboard.h"
#include "platform/TaskGroup.h"
#include "triage/SuggestionPresenter.h"

namespace halcyra {

/// What every sheet works with. All of it outlives the sheets and the sends that they start.
struct SheetServices {
  /// The main executor.
  Executor main;
  TaskGroup& sends;
  Pasteboard& pasteboard;
};

/// An item of the "Consider as" choice. The value is a rule id, or empty for the original action.
struct ConsiderAsItem {
  std::string title;
  std::string value;

  bool operator==(const ConsiderAsItem&) const = default;
};

/// The mail's subject without outer white space, or the words for none. A view into `mail`.
std::string_view shownSubject(const ParsedMail& mail);
/// The same of the sender.
std::string_view shownSender(const ParsedMail& mail);

/// One suggestion on screen: the original, the reply as the user edits it, and the buttons. Belongs
/// to the main executor. Any button may end the last outside reference to the sheet.
class GeneralQuestionSheet : public std::enable_shared_from_this<GeneralQuestionSheet> {
 public:
  struct Links {
    /// Takes the sheet off the screen.
    std::function<void()> closeThisTab;
    /// Something that a view shows may have changed.
    std::function<void()> changed;
  };

  GeneralQuestionSheet(Suggestion suggestion, SheetServices services, Links links);

  const Suggestion& suggestion() const { return suggestion_; }
  const ParsedMail& mail() const { return *suggestion_.mail; }
  std::string_view subjectLine() const { return shownSubject(mail()); }
  std::string_view senderLine() const { return shownSender(mail()); }
  std::string mailboxLine() const;

  /// The reply as the user left it, at first the draft.
  const std::string& text() const { return text_; }
  void setText(std::string text);

  /// Empty when there is no choice; otherwise the original action comes first.
  std::vector<ConsiderAsItem> considerAsItems() const;
  const std::string& considerAsValue() const { return considerAsValue_; }
  /// Selects an item by its value. False, and nothing is changed, when there is no such item.
  bool considerAs(const std::string& value);

  /// Why the last send failed, until the next begins.
  const std::optional<std::string>& status() const { return status_; }
  bool isSending() const { return sending_; }
  /// Is "Send response" enabled?
  bool canSend() const;

  /// Sends the trimmed text and closes the tab once that succeeded; a failure keeps the tab and
  /// shows its reason. Nothing happens while `canSend` is false. The send goes on when the sheet
  /// goes.
  void sendResponse();
  void copyDraft();
  void notNow();

 private:
  static Task<void> deliver(SendReply sendReply, std::string text,
                            std::optional<std::string> overrideRuleId,
                            std::weak_ptr<GeneralQuestionSheet> sheet);
  void sendEnded(SendResult result);
  std::optional<std::string> overrideRuleId() const;

  Suggestion suggestion_;
  SheetServices services_;
  Links links_;
  std::string text_;
  std::string considerAsValue_;
  std::optional<std::string> status_;
  bool sending_ = false;
};

}  // namespace halcyra
