#pragma once

#include <functional>
#include <memory>

#include "app/SuggestionWindow.h"

namespace halcyra {

/// Owns the window of suggestions: made for the first one, gone with the last tab or when the user
/// closes it, which drops all tabs and their edits. Belongs to the main executor and outlives the
/// sends that its sheets start.
class GeneralQuestionPresenter : public SuggestionPresenter {
 public:
  /// `pasteboard` outlives the presenter.
  GeneralQuestionPresenter(Executor main, Pasteboard& pasteboard,
                           SuggestionWindowFactory makeWindow);
  ~GeneralQuestionPresenter() override;

  /// Called once, when the window closes, and then forgotten.
  std::function<void()> onWindowClosed;

  /// A message that has a tab in the visible window keeps it, with what the user wrote.
  void present(Suggestion suggestion) override;

  /// Ends when no send is under way.
  Task<void> sendsEnded() { return sends_.drained(); }

 private:
  bool isOnScreen() const;
  void openWindow(Suggestion suggestion);
  void closeWindow();
  void windowClosed();

  TaskGroup sends_;
  SheetServices services_;
  SuggestionWindowFactory makeWindow_;
  std::shared_ptr<SuggestionWindow> window_;
  std::weak_ptr<GeneralQuestionTabHostController> tabHost_;
};

}  // namespace halcyra
