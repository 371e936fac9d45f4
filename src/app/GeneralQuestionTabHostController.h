#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/GeneralQuestionSheet.h"

namespace halcyra {

/// One message in one mailbox, always the same tab.
std::string suggestionTabKey(const ParsedMail& mail);

/// The subject, shortened to 26 characters and "…" from 29 characters on.
std::string suggestionTabTitle(const ParsedMail& mail);

struct TabEntry {
  std::string key;
  std::string title;
  std::shared_ptr<GeneralQuestionSheet> sheet;
};

/// The tabs of the suggestion window, one a message; exactly one is selected while there are any.
/// Belongs to the main executor and lives as long as its window.
class GeneralQuestionTabHostController
    : public std::enable_shared_from_this<GeneralQuestionTabHostController> {
 public:
  explicit GeneralQuestionTabHostController(SheetServices services) : services_(services) {}

  /// Called after each change of the tabs or of a sheet in them, but not after the last tab went.
  std::function<void()> onChanged;
  /// May end the last outside reference to the tabs.
  std::function<void()> onLastTabClosed;

  const std::vector<TabEntry>& tabs() const { return tabs_; }
  std::size_t selectedIndex() const { return selectedIndex_; }

  bool hasTab(const std::string& key) const { return indexOf(key) < tabs_.size(); }

  /// Appends a tab and selects it.
  void addTab(Suggestion suggestion);
  /// An index beyond the last tab is ignored.
  void selectTab(std::size_t index);
  /// An unknown key is ignored, here and below.
  void closeTab(std::string key);

  void tabSelectClicked(const std::string& key) { selectTab(indexOf(key)); }
  void tabCloseClicked(const std::string& key) { closeTab(key); }

 private:
  std::size_t indexOf(const std::string& key) const;
  void changed();

  SheetServices services_;
  std::vector<TabEntry> tabs_;
  std::size_t selectedIndex_ = 0;
};

}  // namespace halcyra
