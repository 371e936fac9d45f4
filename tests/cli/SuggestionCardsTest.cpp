#include "cli/SuggestionCards.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/asio/detached.hpp>
#include <deque>
#include <sstream>
#include <thread>

#include "app/GeneralQuestionPresenter.h"
#include "cli/SuggestionCard.h"
#include "cli/TerminalLines.h"
#include "cli/TerminalPasteboard.h"
#include "support/HeldSend.h"
#include "support/RunTask.h"

namespace halcyra {
namespace {

class Cards : public testing::Test {
 protected:
  static Task<std::optional<std::string>> edited(Cards* self, std::string before) {
    self->editorSaw = std::move(before);
    co_return self->editorGives;
  }

  static Task<std::optional<std::string>> nextOf(std::deque<std::string>* lines) {
    if (lines->empty()) co_return std::nullopt;
    std::string line = std::move(lines->front());
    lines->pop_front();
    co_return line;
  }

  void present(std::string id, std::string draft = "Dear all,") {
    Suggestion s;
    s.mail.accountId = "box";
    s.mail.subject = "About " + id;
    s.mail.from = "Ann <ann@example.org>";
    s.mail.bodyText = "The original.";
    s.mail.messageID = std::move(id);
    s.mailboxLabel = "Work";
    s.draft = std::move(draft);
    s.ruleOverrides = {{"r1", "Billing", "Forward and notify"}};
    s.sendReply = send.reply();
    presenter.present(std::move(s));
  }

  // What the terminal shows for the lines that the user types.
  std::string type(std::deque<std::string> lines) {
    shown();
    boost::asio::co_spawn(context, cards.obey([&lines] { return nextOf(&lines); }),
                          boost::asio::detached);
    context.restart();
    context.poll();
    return shown();
  }

  std::string endSend() {
    send.ended.cancel();
    context.restart();
    context.poll();
    return shown();
  }

  std::string shown() {
    std::string text = terminal.str();
    terminal.str("");
    return text;
  }

  boost::asio::io_context context;
  HeldSend send{context};
  std::ostringstream terminal;
  std::string editorSaw;
  std::optional<std::string> editorGives;
  TerminalPasteboard pasteboard{terminal};
  SuggestionCards cards{terminal, [this](std::string text) { return edited(this, text); }};
  GeneralQuestionPresenter presenter{context.get_executor(), pasteboard, cards.windows()};
};

#define EXPECT_SHOWS(text, part) EXPECT_NE((text).find(part), std::string::npos) << (text)

TEST(SuggestionCard, TextIsFoldedToTheScreen) {
  struct {
    std::string text, folded;
    std::size_t columns, lines;
  } const cases[] = {
      {"", "", 5, 3},
      {"  ab\ncd\n\n", "ab\ncd\n", 5, 3},
      {"one two three", "one\ntwo\nthree\n", 5, 3},
      {"abcdefgh", "abcde\nfgh\n", 5, 3},
      {"äöüßéñ\nx", "äöüßé\nñ\nx\n", 5, 3},
      {"a\nb\nc\nd", "a\nb\n[… 3 more characters]\n", 5, 3},
      {"a\x1B[2Jb\u009B1m\rc", "a[2Jb1mc\n", 20, 3},
  };
  for (const auto& c : cases) EXPECT_EQ(foldedText(c.text, c.columns, c.lines), c.folded);
}

TEST_F(Cards, CardShowsTheMailAndForeignTextDoesNotSteerTheTerminal) {
  present(
      "\x1B]0;evil\x07"
      "a",
      "Dear\x1B[2J all,");
  const std::string card = shown();
  for (const char* part : {"Mailbox: Work\n", "From: Ann <ann@example.org>\n", "Subject: About ",
                           "The original.\n", "Dear[2J all,\n"}) {
    EXPECT_SHOWS(card, part);
  }
  EXPECT_EQ(card.find('\x1B'), std::string::npos);
}

TEST_F(Cards, AnotherSuggestionLeavesTheCardThatIsRead) {
  present("a");
  shown();
  present("b", "Dear B,");
  EXPECT_EQ(shown(), "2 suggestions wait; l lists them.\n");
  type({"s"});
  EXPECT_EQ(send.asked, (std::vector<std::string>{"Dear all,|-"}));
  const std::string after = endSend();
  EXPECT_SHOWS(after, "Sent.\n");
  EXPECT_SHOWS(after, "Dear B,");
}

TEST_F(Cards, FailedSendKeepsTheCardAndSaysWhy) {
  present("a");
  send.result = {false, "No route\x1B[2J."};
  EXPECT_EQ(type({"s", "s"}), "Sending…\nThis is being sent.\n");
  EXPECT_EQ(endSend(), "Not sent: About a: No route [2J.\n");
  send.result = {true, std::nullopt};
  type({"s"});
  EXPECT_EQ(endSend(), "Sent.\n");
  EXPECT_EQ(type({"s"}), "No suggestion waits.\n");
}

TEST_F(Cards, EditedTextIsSent) {
  present("a");
  type({"e"});
  EXPECT_TRUE(send.asked.empty());  // the editor failed
  editorGives = " \n";
  EXPECT_SHOWS(type({"e"}), "There is no text to send");
  editorGives = "Mine.\n";
  type({"e"});
  EXPECT_EQ(editorSaw, " \n");
  EXPECT_EQ(send.asked, (std::vector<std::string>{"Mine.|-"}));
}

TEST_F(Cards, AnotherRuleIsChosenByNumber) {
  present("a");
  EXPECT_SHOWS(type({"r"}), " * 1  Keep original action\n   2  Billing — Forward and notify\n");
  EXPECT_SHOWS(type({"3"}), "The choice stays as it was.");
  EXPECT_SHOWS(type({"r", "2", "s"}), "Consider as: Billing — Forward and notify.");
  EXPECT_EQ(send.asked, (std::vector<std::string>{"Dear all,|r1"}));
}

TEST_F(Cards, ListCopyAndNotNow) {
  present("a");
  present("b", "To B");
  EXPECT_SHOWS(type({"l"}), " * 1  About a — Ann <ann@example.org>\n   2  About b");
  EXPECT_SHOWS(type({"3"}), "There is no such number");
  EXPECT_SHOWS(type({"2"}), "To B");
  EXPECT_SHOWS(type({"c"}), "\x1B]52;c;VG8gQg==\x07");
  EXPECT_SHOWS(type({"n"}), "Subject: About a");
  EXPECT_EQ(type({"n", "l"}), "No suggestion waits.\n");
  EXPECT_TRUE(send.asked.empty());
  present("a");
  EXPECT_SHOWS(shown(), "Subject: About a");
}

TEST(TerminalLines, GiveWholeLinesUntilTheInputEndsOrALineIsEndless) {
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"s\n\n\xFF x\nunfinished", {"s", "", "\uFFFD x"}},
      {std::string(70'000, 'x') + "\n", {}},
  };
  for (const auto& [bytes, expected] : cases) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    boost::asio::io_context context;
    TerminalLines lines(context.get_executor(), ends[0]);
    std::thread writer([&, end = ends[1], &sent = bytes] {
      for (const char c : sent) {
        if (write(end, &c, 1) != 1) break;
      }
      close(end);
    });
    std::vector<std::string> read;
    while (auto line = runTask(context, lines.next())) read.push_back(*line);
    EXPECT_EQ(read, expected);
    for (char rest[4096]; ::read(ends[0], rest, sizeof rest) != 0;) continue;
    writer.join();
  }
}

}  // namespace
}  // namespace halcyra
