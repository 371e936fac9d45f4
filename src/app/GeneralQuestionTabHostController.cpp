#include "app/GeneralQuestionTabHostController.h"

#include <algorithm>
#include <utility>

#include "text/Graphemes.h"

namespace halcyra {

std::string suggestionTabKey(const ParsedMail& mail) {
  return mail.accountId + '\x1E' + mail.messageID;
}

std::string suggestionTabTitle(const ParsedMail& mail) {
  const std::string_view title = shownSubject(mail);
  if (!hasMoreGraphemesThan(title, 28)) return std::string(title);
  return std::string(graphemePrefix(title, 26)) + "…";
}

void GeneralQuestionTabHostController::addTab(Suggestion suggestion) {
  std::string key = suggestionTabKey(*suggestion.mail);
  std::string title = suggestionTabTitle(*suggestion.mail);
  const auto close = [host = weak_from_this(), key] {
    if (const auto alive = host.lock()) alive->closeTab(key);
  };
  const auto tellChange = [host = weak_from_this()] {
    if (const auto alive = host.lock()) alive->changed();
  };
  auto sheet = std::make_shared<GeneralQuestionSheet>(
      std::move(suggestion), services_, GeneralQuestionSheet::Links{close, tellChange});
  tabs_.push_back({std::move(key), std::move(title), std::move(sheet)});
  selectTab(tabs_.size() - 1);
}

void GeneralQuestionTabHostController::selectTab(std::size_t index) {
  if (index >= tabs_.size()) return;
  selectedIndex_ = index;
  changed();
}

void GeneralQuestionTabHostController::closeTab(std::string key) {
  const auto self = shared_from_this();
  const std::size_t index = indexOf(key);
  if (index == tabs_.size()) return;
  tabs_.erase(tabs_.begin() + static_cast<std::ptrdiff_t>(index));
  if (tabs_.empty()) {
    if (onLastTabClosed) onLastTabClosed();
    return;
  }
  selectTab(std::min(index, tabs_.size() - 1));
}

std::size_t GeneralQuestionTabHostController::indexOf(const std::string& key) const {
  const auto found = std::ranges::find(tabs_, key, &TabEntry::key);
  return static_cast<std::size_t>(found - tabs_.begin());
}

void GeneralQuestionTabHostController::changed() {
  if (onChanged) onChanged();
}

}  // namespace halcyra
