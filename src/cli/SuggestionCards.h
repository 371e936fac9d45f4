#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <string>

#include "app/SuggestionWindow.h"

namespace halcyra {

/// The suggestion popup in a terminal: one card at a time, worked with by commands of one letter.
/// Another suggestion never takes the place of the card that the person reads, so a command meets
/// the card that it was typed for. Belongs to the main executor.
class SuggestionCards {
 public:
  /// The text as the user left it, or nothing, with the reason shown, when editing failed.
  using EditText = std::function<Task<std::optional<std::string>>(std::string text)>;
  /// A line that the user typed, or nothing at the end of the input.
  using NextLine = std::function<Task<std::optional<std::string>>()>;

  /// `out` is a terminal and outlives the object.
  SuggestionCards(std::ostream& out, EditText editText);

  /// For the presenter; the object outlives its windows.
  SuggestionWindowFactory windows();

  /// Carries out what the user types until the input ends.
  Task<void> obey(NextLine nextLine);

  /// Nobody will answer any more. Shows the card of each suggestion that was never on screen: their
  /// messages count as handled, so this is the last place where a draft can be read. May be called
  /// again for later ones. An edit under way is not sent.
  void leave();

 private:
  class Window;

  Task<void> carryOut(std::string line);
  Task<void> edit(std::shared_ptr<GeneralQuestionSheet> sheet);
  void open(std::shared_ptr<GeneralQuestionTabHostController> tabHost);
  void refresh();
  void tellHowSendsEnded();
  void closed();
  void showCard(std::size_t index);
  void send(GeneralQuestionSheet& sheet);
  bool isForTheCardBefore();
  void chooseRule(GeneralQuestionSheet& sheet, std::size_t number);
  void dismiss(GeneralQuestionSheet& sheet);
  void listWaiting();
  void select(std::size_t number);
  std::shared_ptr<GeneralQuestionSheet> current() const;
  void say(const std::string& text);

  std::ostream& out_;
  EditText editText_;
  std::shared_ptr<GeneralQuestionTabHostController> tabHost_;
  /// The card that the user was shown last.
  std::string currentKey_;
  /// Cards that were on screen.
  std::set<std::string> shown_;
  /// Sends whose end was not yet told.
  std::set<std::string> sending_;
  std::size_t waiting_ = 0;
  bool choosingRule_ = false;
  /// The screen is the editor's.
  bool editing_ = false;
  bool leaving_ = false;
  /// When a card took the place of one that went, without being asked for.
  std::chrono::steady_clock::time_point tookPlace_;
};

}  // namespace halcyra
