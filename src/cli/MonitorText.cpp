#include <iostream>
#include <sstream>

#include "cli/MonitorFace.h"
#include "text/ControlCharacters.h"

namespace halcyra {
namespace {

std::string cardOf(const Suggestion& suggestion) {
  std::ostringstream card;
  card << "\n──── Suggested reply ────────────────────────────────────────\n"
       << "Mailbox: " << onOneLine(suggestion.mailboxLabel) << "\n"
       << "Rule:    "
       << (suggestion.rule ? onOneLine(suggestion.rule->displayName) : "none (low confidence)")
       << "\n"
       << "From:    " << onOneLine(suggestion.mail.from) << "\n"
       << "Subject: " << onOneLine(suggestion.mail.subject) << "\n"
       << "Message: " << onOneLine(suggestion.mail.messageID) << "\n\n"
       << (suggestion.draft.empty() ? "(the model wrote no draft)" : printable(suggestion.draft))
       << "\n─────────────────────────────────────────────────────────────\n\n";
  return card.str();
}

class TextFace : public MonitorFace {
 public:
  void status(const std::string& text) override { std::cerr << text << std::endl; }

  void decided(const TriageDecision&) override {}

  void present(Suggestion suggestion) override { output_.write(cardOf(suggestion)); }

  void passEnded(const MailAccount& account, PassResult result) override {
    if (result != PassResult::done) return;
    status("Pass over " + onOneLine(account.displayLabel) + " done.");
  }

  bool lostOutput() const override { return output_.failed(); }

 private:
  WholeOutput output_;
};

}  // namespace

std::unique_ptr<MonitorFace> textMonitorFace() {
  return std::make_unique<TextFace>();
}

}  // namespace halcyra
