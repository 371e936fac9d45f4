#include <unistd.h>

#include <iostream>

#include "cli/MonitorFace.h"
#include "cli/SuggestionCard.h"
#include "platform/linux/JournalLog.h"
#include "text/ControlCharacters.h"

namespace halcyra {
namespace {

class TextFace : public MonitorFace {
 public:
  Log& log() override { return log_; }

  void status(const std::string& text) override { std::cerr << text << std::endl; }

  void decided(const TriageDecision&) override {}

  void present(Suggestion suggestion) override {
    output_.write(suggestionCard(suggestion, suggestion.draft) + "\n");
  }

  void passEnded(const MailAccount& account, PassResult result) override {
    if (result != PassResult::done) return;
    status("Pass over " + onOneLine(account.displayLabel) + " done.");
  }

  bool lostOutput() const override { return output_.failed(); }

 private:
  JournalLog log_{STDOUT_FILENO};
  WholeOutput output_;
};

}  // namespace

std::unique_ptr<MonitorFace> textMonitorFace() {
  return std::make_unique<TextFace>();
}

}  // namespace halcyra
