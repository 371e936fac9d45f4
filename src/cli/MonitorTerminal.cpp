#include <unistd.h>

#include <iostream>

#include "app/GeneralQuestionPresenter.h"
#include "cli/DraftEditor.h"
#include "cli/InputLines.h"
#include "cli/MonitorFace.h"
#include "cli/SuggestionCards.h"
#include "cli/TerminalPasteboard.h"
#include "platform/linux/JournalLog.h"
#include "text/ControlCharacters.h"

namespace halcyra {
namespace {

Task<std::string> editOn(Variables variables, std::string draft) {
  co_return editedDraft(variables, draft);
}

class TerminalFace : public MonitorFace {
 public:
  TerminalFace(FaceExecutors executors, Variables variables)
      : blocking_(executors.blocking),
        variables_(std::move(variables)),
        lines_(executors.blocking, STDIN_FILENO),
        cards_(std::cout, [this](std::string draft) { return edit(std::move(draft)); }),
        presenter_(executors.main, pasteboard_, cards_.windows()) {}

  Log& log() override { return log_; }

  void status(const std::string& text) override { std::cerr << text << std::endl; }

  void decided(const TriageDecision&) override {}

  void present(Suggestion suggestion) override {
    suggestion.draft = printable(suggestion.draft);  // what is sent is what was seen
    presenter_.present(std::move(suggestion));
    if (!answering_) cards_.leave();
    if (!std::cout) throw std::runtime_error("standard output cannot be written");
  }

  void passEnded(const MailAccount&, PassResult) override {}

  bool lostOutput() const override { return !std::cout; }

  Task<void> takeAnswers() override {
    Task<void> obeying = cards_.obey([this] { return lines_.next(); });
    co_await std::move(obeying);
    if (answering_) status("The input has ended; suggestions are only shown from here on.");
    stopTakingAnswers();
  }

  void stopTakingAnswers() override {
    answering_ = false;
    lines_.close();
    cards_.leave();
  }

  Task<void> sendsEnded() override { return presenter_.sendsEnded(); }

 private:
  // The editor has the terminal for itself.
  Task<std::optional<std::string>> edit(std::string draft) {
    log_.holdStream();
    std::optional<std::string> text;
    std::string failure;
    try {
      Task<std::string> editing = editOn(variables_, std::move(draft));
      Task<std::string> elsewhere = runOn(blocking_, std::move(editing));
      text = co_await std::move(elsewhere);
    } catch (const std::exception& error) {
      failure = error.what();
    }
    log_.releaseStream();
    if (!text) std::cout << "Not edited: " << onOneLine(failure) << std::endl;
    co_return text;
  }

  Executor blocking_;
  Variables variables_;
  JournalLog log_{STDOUT_FILENO};
  InputLines lines_;
  TerminalPasteboard pasteboard_{std::cout};
  SuggestionCards cards_;
  GeneralQuestionPresenter presenter_;
  bool answering_ = true;
};

}  // namespace

std::unique_ptr<MonitorFace> terminalMonitorFace(FaceExecutors executors,
                                                 const Variables& variables) {
  return std::make_unique<TerminalFace>(std::move(executors), variables);
}

}  // namespace halcyra
