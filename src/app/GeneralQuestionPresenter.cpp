#include "app/GeneralQuestionPresenter.h"

#include <utility>

namespace halcyra {

GeneralQuestionPresenter::GeneralQuestionPresenter(Executor main, Pasteboard& pasteboard,
                                                   SuggestionWindowFactory makeWindow)
    : sends_(main),
      services_{.main = main, .sends = sends_, .pasteboard = pasteboard},
      makeWindow_(std::move(makeWindow)) {}

GeneralQuestionPresenter::~GeneralQuestionPresenter() {
  onWindowClosed = {};
  closeWindow();
}

void GeneralQuestionPresenter::present(Suggestion suggestion) {
  const auto tabHost = tabHost_.lock();
  if (!tabHost || !isOnScreen()) {
    openWindow(std::move(suggestion));
    return;
  }
  const std::string key = suggestionTabKey(*suggestion.mail);
  if (tabHost->hasTab(key)) {
    tabHost->tabSelectClicked(key);
  } else {
    tabHost->addTab(std::move(suggestion));
  }
  window_->bringToFront();
}

bool GeneralQuestionPresenter::isOnScreen() const {
  return window_ && window_->isVisible();
}

void GeneralQuestionPresenter::openWindow(Suggestion suggestion) {
  closeWindow();
  const auto tabHost = std::make_shared<GeneralQuestionTabHostController>(services_);
  tabHost->onLastTabClosed = [this] { closeWindow(); };
  tabHost->addTab(std::move(suggestion));
  tabHost_ = tabHost;
  window_ = makeWindow_(tabHost, [this] { windowClosed(); });
  window_->show();
  window_->bringToFront();
}

void GeneralQuestionPresenter::closeWindow() {
  if (const auto closing = window_) closing->close();
}

void GeneralQuestionPresenter::windowClosed() {
  const auto closing = window_;
  if (const auto tell = std::exchange(onWindowClosed, {})) tell();
  // The owner may have presented anew meanwhile.
  if (window_ != closing) return;
  window_.reset();
  tabHost_.reset();
}

}  // namespace halcyra
