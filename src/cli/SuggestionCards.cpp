#include "cli/SuggestionCards.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "cli/SuggestionCard.h"
#include "text/ControlCharacters.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr const char* commands =
    "s send · e edit, then send · r consider as another rule · c copy · n not now · l list";

/// How long a new card needs to be noticed.
constexpr std::chrono::seconds timeToNotice(1);

// A number from 1, or 0.
std::size_t numberIn(std::string_view text) {
  std::size_t number = 0;
  const auto [end, failed] = std::from_chars(text.data(), text.data() + text.size(), number);
  return failed == std::errc() && end == text.data() + text.size() ? number : 0;
}

std::string keyOf(const GeneralQuestionSheet& sheet) {
  return suggestionTabKey(sheet.mail());
}

std::string waitingText(std::size_t count) {
  return count == 1 ? "1 suggestion waits."
                    : std::to_string(count) + " suggestions wait; l lists them.";
}

}  // namespace

class SuggestionCards::Window : public SuggestionWindow {
 public:
  Window(SuggestionCards& cards, std::function<void()> closed)
      : cards_(cards), closed_(std::move(closed)) {}

  void show() override { visible_ = true; }
  // A terminal has no front; new cards were announced when their tabs came.
  void bringToFront() override {}
  bool isVisible() const override { return visible_; }

  void close() override {
    if (!std::exchange(visible_, false)) return;
    cards_.closed();
    closed_();
  }

 private:
  SuggestionCards& cards_;
  std::function<void()> closed_;
  bool visible_ = false;
};

SuggestionCards::SuggestionCards(std::ostream& out, EditText editText)
    : out_(out), editText_(std::move(editText)) {}

SuggestionWindowFactory SuggestionCards::windows() {
  return [this](std::shared_ptr<GeneralQuestionTabHostController> tabHost,
                std::function<void()> closed) {
    open(std::move(tabHost));
    return std::make_shared<Window>(*this, std::move(closed));
  };
}

void SuggestionCards::open(std::shared_ptr<GeneralQuestionTabHostController> tabHost) {
  tabHost_ = std::move(tabHost);
  tabHost_->onChanged = [this] { refresh(); };
  refresh();
}

Task<void> SuggestionCards::obey(NextLine nextLine) {
  while (true) {
    Task<std::optional<std::string>> typing = nextLine();
    std::optional<std::string> line = co_await std::move(typing);
    if (!line) co_return;
    Task<void> working = carryOut(std::move(*line));
    co_await std::move(working);
  }
}

Task<void> SuggestionCards::carryOut(std::string line) {
  const auto sheet = current();
  const std::string command(trimmed(line));
  const bool choosing = std::exchange(choosingRule_, false);
  if (!sheet) {
    say("No suggestion waits.");
  } else if (choosing) {
    chooseRule(*sheet, numberIn(command));
  } else if (command == "s" && isForTheCardBefore()) {
    co_return;
  } else if (command == "s") {
    send(*sheet);
  } else if (command == "e") {
    Task<void> editing = edit(sheet);
    co_await std::move(editing);
  } else if (command == "r") {
    choosingRule_ = !sheet->considerAsItems().empty();
    say(choosingRule_ ? considerAsList(*sheet) + "Consider as which number?"
                      : "There is no other rule.");
  } else if (command == "c") {
    sheet->copyDraft();
    say("The text was handed to the terminal's clipboard.");
  } else if (command == "n") {
    dismiss(*sheet);
  } else if (command == "l") {
    listWaiting();
  } else if (numberIn(command) > 0) {
    select(numberIn(command));
  } else {
    say(commands);
  }
}

void SuggestionCards::send(GeneralQuestionSheet& sheet) {
  if (sheet.isSending()) return say("This is being sent.");
  if (!sheet.canSend()) return say("There is no text to send; e opens an editor.");
  sending_.insert(keyOf(sheet));
  say("Sending…");
  sheet.sendResponse();
}

Task<void> SuggestionCards::edit(std::shared_ptr<GeneralQuestionSheet> sheet) {
  if (sheet->isSending()) {
    say("This is being sent.");
    co_return;
  }
  editing_ = true;
  Task<std::optional<std::string>> editorRuns = editText_(sheet->text());
  std::optional<std::string> text = co_await std::move(editorRuns);
  editing_ = false;
  if (text && current() == sheet) {
    const bool changed = *text != sheet->text();
    sheet->setText(std::move(*text));
    if (leaving_) {
      say("Not sent, the program ends:\n" + printable(sheet->text()));
    } else if (!changed) {
      say("The text is as it was; s sends it.");
    } else {
      send(*sheet);
    }
  }
  refresh();
  if (leaving_) leave();
}

// An s typed for the card that went a moment ago must not meet the one that took its place.
bool SuggestionCards::isForTheCardBefore() {
  if (std::chrono::steady_clock::now() - tookPlace_ > timeToNotice) return false;
  tookPlace_ = {};
  say("Another suggestion is on screen now; s again sends that one.");
  return true;
}

void SuggestionCards::chooseRule(GeneralQuestionSheet& sheet, std::size_t number) {
  const std::vector<ConsiderAsItem> items = sheet.considerAsItems();
  if (number == 0 || number > items.size()) return say("The choice stays as it was.");
  sheet.considerAs(items[number - 1].value);
  say("Consider as: " + onOneLine(items[number - 1].title) + ". s carries it out.");
}

void SuggestionCards::dismiss(GeneralQuestionSheet& sheet) {
  sending_.erase(keyOf(sheet));
  say(sheet.isSending() ? "Closed; its send goes on." : "Closed, not answered.");
  sheet.notNow();
}

void SuggestionCards::listWaiting() {
  std::string list;
  std::size_t number = 0;
  for (const TabEntry& tab : tabHost_->tabs()) {
    const char* mark = tab.key == currentKey_ ? " * " : "   ";
    list += mark + std::to_string(++number) + "  " + onOneLine(tab.title) + " — " +
            onOneLine(tab.sheet->senderLine()) + "\n";
  }
  say(list + "A number shows that one.");
}

void SuggestionCards::select(std::size_t number) {
  if (number > tabHost_->tabs().size()) return say("There is no such number; l lists them.");
  currentKey_ = tabHost_->tabs()[number - 1].key;
  showCard(number - 1);
  tabHost_->selectTab(number - 1);
}

// Shows what changed since the last call. While the editor has the screen it waits for its end.
void SuggestionCards::refresh() {
  if (editing_ || !tabHost_ || tabHost_->tabs().empty()) return;
  tellHowSendsEnded();
  if (leaving_) return;
  const std::size_t before = std::exchange(waiting_, tabHost_->tabs().size());
  if (!current()) {
    if (!currentKey_.empty()) tookPlace_ = std::chrono::steady_clock::now();
    currentKey_ = tabHost_->tabs()[tabHost_->selectedIndex()].key;
    choosingRule_ = false;
    showCard(tabHost_->selectedIndex());
  } else if (waiting_ > before) {
    say(waitingText(waiting_));
  }
}

void SuggestionCards::tellHowSendsEnded() {
  for (auto key = sending_.begin(); key != sending_.end();) {
    const auto& tabs = tabHost_->tabs();
    const auto tab = std::ranges::find(tabs, *key, &TabEntry::key);
    if (tab != tabs.end() && !tab->sheet->status()) {
      ++key;
      continue;
    }
    say(tab == tabs.end()
            ? "Sent."
            : "Not sent: " + onOneLine(tab->title) + ": " + onOneLine(*tab->sheet->status()));
    key = sending_.erase(key);
  }
}

void SuggestionCards::closed() {
  if (tabHost_->tabs().empty() && !sending_.empty()) say("Sent.");
  tabHost_->onChanged = {};
  tabHost_.reset();
  currentKey_.clear();
  sending_.clear();
  shown_.clear();
  waiting_ = 0;
  choosingRule_ = false;
}

void SuggestionCards::leave() {
  leaving_ = true;
  if (editing_ || !tabHost_) return;
  for (const TabEntry& tab : tabHost_->tabs()) {
    if (!shown_.insert(tab.key).second) continue;
    out_ << suggestionCard(tab.sheet->suggestion(), tab.sheet->text());
    say("Not answered.");
  }
}

void SuggestionCards::showCard(std::size_t index) {
  const TabEntry& tab = tabHost_->tabs()[index];
  shown_.insert(tab.key);
  out_ << suggestionCard(tab.sheet->suggestion(), tab.sheet->text());
  say(commands);
}

std::shared_ptr<GeneralQuestionSheet> SuggestionCards::current() const {
  if (!tabHost_) return nullptr;
  const auto tab = std::ranges::find(tabHost_->tabs(), currentKey_, &TabEntry::key);
  return tab == tabHost_->tabs().end() ? nullptr : tab->sheet;
}

void SuggestionCards::say(const std::string& text) {
  out_ << text << std::endl;
}

}  // namespace halcyra
