#pragma once

#include <functional>
#include <memory>

#include "app/GeneralQuestionTabHostController.h"

namespace halcyra {

/// What the suggestion popup asks of the window system. The window shows the tabs that it was made
/// with and keeps them alive; it learns of changes through their `onChanged`.
class SuggestionWindow {
 public:
  virtual ~SuggestionWindow() = default;

  virtual void show() = 0;
  /// In front of the other windows, with the application active.
  virtual void bringToFront() = 0;
  virtual void close() = 0;
  virtual bool isVisible() const = 0;
};

/// `closed` must be called once when the window closes, by the user or by `close`, and at the
/// latest before `close` returns. It drops the reference that the presenter holds.
using SuggestionWindowFactory = std::function<std::shared_ptr<SuggestionWindow>(
    std::shared_ptr<GeneralQuestionTabHostController> tabHost, std::function<void()> closed)>;

}  // namespace halcyra
