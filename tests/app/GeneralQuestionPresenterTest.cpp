#include "app/GeneralQuestionPresenter.h"

#include <gtest/gtest.h>

#include "support/HeldSend.h"
#include "support/RunTask.h"

namespace halcyra {
namespace {

struct MemoryPasteboard : Pasteboard {
  void setText(const std::string& newText) override { text = newText; }
  std::string text = "before";
};

// Writes down what the presenter asks for, and closes as a window system does.
struct RecordedWindow : SuggestionWindow {
  RecordedWindow(std::shared_ptr<GeneralQuestionTabHostController> host,
                 std::function<void()> onClosed, std::vector<std::string>& calls)
      : tabHost(std::move(host)), closed(std::move(onClosed)), log(calls) {}

  void show() override {
    log.push_back("show");
    visible = true;
  }
  void bringToFront() override { log.push_back("front"); }
  void close() override {
    log.push_back("close");
    visible = false;
    closed();
  }
  bool isVisible() const override { return visible; }

  std::shared_ptr<GeneralQuestionTabHostController> tabHost;
  std::function<void()> closed;
  std::vector<std::string>& log;
  bool visible = false;
};

class SuggestionPopup : public testing::Test {
 protected:
  Suggestion suggestion(std::string id, std::string draft = "Dear all,", std::string box = "box") {
    ParsedMail mail;
    mail.accountId = std::move(box);
    mail.subject = "About " + id;
    mail.messageID = std::move(id);
    Suggestion s;
    s.mail = std::make_shared<const ParsedMail>(std::move(mail));
    s.mailboxLabel = "Work";
    s.draft = std::move(draft);
    s.ruleOverrides = {{"r1", "Billing", "Forward and notify"}, {"r2", "Junk", "Do nothing"}};
    s.sendReply = send.reply();
    return s;
  }

  void present(std::initializer_list<const char*> ids) {
    for (const char* id : ids) presenter.present(suggestion(id));
  }

  std::shared_ptr<RecordedWindow> window() { return lastWindow.lock(); }
  GeneralQuestionTabHostController& tabs() { return *window()->tabHost; }
  GeneralQuestionSheet& sheet(std::size_t index = 0) { return *tabs().tabs().at(index).sheet; }

  // The message ids in the strip, the selected one in brackets.
  std::string strip() {
    if (!window()) return "no window";
    std::string shown;
    for (std::size_t i = 0; i < tabs().tabs().size(); ++i) {
      const std::string& id = sheet(i).mail().messageID;
      shown += i == tabs().selectedIndex() ? "[" + id + "]" : id;
    }
    return shown;
  }

  void run() {
    context.restart();
    context.poll();
  }
  void endSend() {
    send.ended.cancel();
    run();
  }

  std::shared_ptr<SuggestionWindow> makeWindow(
      std::shared_ptr<GeneralQuestionTabHostController> host, std::function<void()> closed) {
    auto made = std::make_shared<RecordedWindow>(std::move(host), std::move(closed), calls);
    made->tabHost->onChanged = [this] { ++changes; };
    lastWindow = made;
    return made;
  }

  boost::asio::io_context context;
  HeldSend send{context};
  MemoryPasteboard pasteboard;
  std::vector<std::string> calls;
  std::weak_ptr<RecordedWindow> lastWindow;
  int changes = 0;
  GeneralQuestionPresenter presenter{
      context.get_executor(), pasteboard,
      [this](auto host, auto closed) { return makeWindow(std::move(host), std::move(closed)); }};
};

TEST(SuggestionTab, TitleIsCutByCharactersAndKeyNamesTheMailbox) {
  const std::string accented28 = [] {
    std::string text;
    for (int i = 0; i < 28; ++i) text += "e\u0301";
    return text;
  }();
  const std::pair<std::string, std::string> titles[] = {
      {"", "(No subject)"},
      {" \r\n\t", "(No subject)"},
      {"\n Hello \r\n", "Hello"},
      {"abcdefghijklmnopqrstuvwxyz12", "abcdefghijklmnopqrstuvwxyz12"},
      {"  abcdefghijklmnopqrstuvwxyz12 ", "abcdefghijklmnopqrstuvwxyz12"},
      {"abcdefghijklmnopqrstuvwxyz123", "abcdefghijklmnopqrstuvwxyz…"},
      {accented28, accented28},
      {accented28 + "x", accented28.substr(0, 26 * 3) + "…"},
  };
  ParsedMail mail;
  for (const auto& [subject, title] : titles) {
    mail.subject = subject;
    EXPECT_EQ(suggestionTabTitle(mail), title) << subject;
  }
  mail.accountId = "A";
  mail.messageID = "<m@x>";
  EXPECT_EQ(suggestionTabKey(mail), "A\x1E<m@x>");
}

TEST_F(SuggestionPopup, SecondPresentSelectsTheTabAndKeepsWhatTheUserTyped) {
  present({"a", "b"});
  sheet(0).setText("typed");
  presenter.present(suggestion("a", "a newer draft"));
  EXPECT_EQ(strip(), "[a]b");
  EXPECT_EQ(sheet(0).text(), "typed");
  EXPECT_EQ(calls, (std::vector<std::string>{"show", "front", "front", "front"}));
  presenter.present(suggestion("a", "draft", "another box"));
  EXPECT_EQ(strip(), "ab[a]");
}

TEST_F(SuggestionPopup, HiddenWindowIsReplacedAndItsTabsGo) {
  present({"a", "b"});
  const std::weak_ptr<GeneralQuestionSheet> old = tabs().tabs().at(0).sheet;
  window()->visible = false;
  calls.clear();
  present({"c"});
  EXPECT_EQ(strip(), "[c]");
  EXPECT_TRUE(old.expired());
  EXPECT_EQ(calls, (std::vector<std::string>{"close", "show", "front"}));
}

TEST_F(SuggestionPopup, ClosingATabSelectsItsNeighbour) {
  struct {
    const char* select;
    const char* close;
    const char* strip;
  } const cases[] = {
      {"b", "b", "a[c]"}, {"c", "c", "a[b]"}, {"a", "a", "[b]c"},
      {"a", "c", "a[b]"}, {"c", "a", "[b]c"}, {"a", "unknown", "[a]bc"},
  };
  for (const auto& c : cases) {
    present({"a", "b", "c"});
    const auto key = [](const char* id) { return std::string("box\x1E") + id; };
    tabs().tabSelectClicked(key(c.select));
    tabs().selectTab(3);
    tabs().tabSelectClicked(key("unknown"));
    tabs().tabCloseClicked(key(c.close));
    EXPECT_EQ(strip(), c.strip) << c.close << " of " << c.select;
    window()->close();
  }
}

TEST_F(SuggestionPopup, WindowClosesOnceWithItsLastTabOrByTheUser) {
  int closed = 0;
  for (const bool byUser : {false, true}) {
    presenter.onWindowClosed = [&] { ++closed; };
    present({"a"});
    byUser ? window()->close() : sheet().notNow();
    EXPECT_EQ(strip(), "no window");
    EXPECT_EQ(closed, byUser ? 2 : 1);
    EXPECT_FALSE(presenter.onWindowClosed);
  }
  // The last words of a window may bring up the next.
  presenter.onWindowClosed = [&] { present({"b"}); };
  present({"a"});
  window()->close();
  EXPECT_EQ(strip(), "[b]");
}

TEST_F(SuggestionPopup, SheetShowsTheMailAndTheChoices) {
  presenter.present(suggestion("a", "draft"));
  EXPECT_EQ(sheet().mailboxLine(), "Mailbox: Work");
  EXPECT_EQ(sheet().subjectLine(), "About a");
  EXPECT_EQ(sheet().senderLine(), "Unknown sender");
  EXPECT_EQ(sheet().considerAsItems(),
            (std::vector<ConsiderAsItem>{{"Keep original action", ""},
                                         {"Billing — Forward and notify", "r1"},
                                         {"Junk — Do nothing", "r2"}}));
  EXPECT_FALSE(sheet().considerAs("r3"));
  EXPECT_EQ(sheet().considerAsValue(), "");
  Suggestion noChoice = suggestion("b");
  noChoice.ruleOverrides.clear();
  presenter.present(std::move(noChoice));
  EXPECT_TRUE(sheet(1).considerAsItems().empty());
  sheet(1).setText(" kept \n");
  sheet(1).copyDraft();
  EXPECT_EQ(pasteboard.text, " kept \n");
  EXPECT_EQ(strip(), "a[b]");
}

TEST_F(SuggestionPopup, NothingIsSentWithoutText) {
  presenter.present(suggestion("a", " \n\u00A0"));
  EXPECT_FALSE(sheet().canSend());
  sheet().sendResponse();
  run();
  EXPECT_TRUE(send.asked.empty());
  const int before = changes;
  sheet().setText("x");
  EXPECT_TRUE(sheet().canSend());
  EXPECT_GT(changes, before);
}

TEST_F(SuggestionPopup, SendTrimsAndRunsOnceAndClosesItsTab) {
  present({"a", "b"});
  sheet(0).setText(" Yes. \n");
  ASSERT_TRUE(sheet(0).considerAs("r1"));
  sheet(0).sendResponse();
  run();
  EXPECT_FALSE(sheet(0).canSend());
  sheet(0).setText("Another");
  sheet(0).sendResponse();
  run();
  EXPECT_EQ(strip(), "a[b]");
  endSend();
  EXPECT_EQ(send.asked, (std::vector<std::string>{"Yes.|r1"}));
  EXPECT_EQ(strip(), "[b]");
  sheet(0).sendResponse();
  run();
  endSend();
  EXPECT_EQ(send.asked.back(), "Dear all,|-");
  EXPECT_EQ(strip(), "no window");
}

TEST_F(SuggestionPopup, FailedSendKeepsTheTabAndSaysWhy) {
  present({"a"});
  const std::pair<std::optional<std::string>, std::string> cases[] = {
      {"This rule has no forward address.", "This rule has no forward address."},
      {std::nullopt, "Send failed."}};
  for (const auto& [message, status] : cases) {
    send.result = {false, message};
    sheet().sendResponse();
    EXPECT_EQ(sheet().status(), std::nullopt);
    run();
    endSend();
    EXPECT_EQ(sheet().status(), status);
    EXPECT_TRUE(sheet().canSend());
    EXPECT_EQ(sheet().text(), "Dear all,");
  }
}

TEST_F(SuggestionPopup, SendGoesOnWhenItsTabIsGone) {
  present({"a"});
  const std::weak_ptr<GeneralQuestionSheet> gone = tabs().tabs().at(0).sheet;
  sheet().sendResponse();
  run();
  sheet().notNow();
  EXPECT_TRUE(gone.expired());
  present({"a"});
  endSend();
  EXPECT_EQ(send.finished, 1);
  EXPECT_EQ(strip(), "[a]");  // the new tab is not the one that sent
  runTask(context, presenter.sendsEnded());
}

}  // namespace
}  // namespace halcyra
