#include "cli/SuggestionCards.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/asio/detached.hpp>
#include <boost/asio/thread_pool.hpp>
#include <deque>
#include <sstream>
#include <thread>

#include "app/GeneralQuestionPresenter.h"
#include "cli/InputLines.h"
#include "cli/JsonAnswers.h"
#include "cli/SuggestionCard.h"
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
    ParsedMail mail;
    mail.accountId = "box";
    mail.subject = "About " + id;
    mail.from = "Ann <ann@example.org>";
    mail.bodyText = "The original.";
    mail.messageID = std::move(id);
    Suggestion s;
    s.mail = std::make_shared<const ParsedMail>(std::move(mail));
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
  for (const char* part :
       {"Mailbox: Work\n", "From: Ann <ann@example.org>\nReply to: ann@example.org\n",
        "Subject: About ", "The original.\n", "Dear[2J all,\n"}) {
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
  EXPECT_SHOWS(type({"s"}), "Another suggestion is on screen now");
  EXPECT_EQ(send.asked.size(), 1u);
  EXPECT_SHOWS(type({"s"}), "Sending");
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
  editorGives = "Dear all,";
  EXPECT_SHOWS(type({"e"}), "The text is as it was");
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
  EXPECT_EQ(type({"n", "l"}), "Closed, not answered.\nNo suggestion waits.\n");
  EXPECT_TRUE(send.asked.empty());
  present("a");
  EXPECT_SHOWS(shown(), "Subject: About a");
}

TEST_F(Cards, WhatWasNeverOnScreenIsShownInFullAtTheEnd) {
  present("a", "To A");
  present("b", "To B");
  shown();
  cards.leave();
  const std::string left = shown();
  EXPECT_SHOWS(left, "To B\n");
  EXPECT_EQ(left.find("To A"), std::string::npos);
  present("c", "To C");
  cards.leave();
  EXPECT_SHOWS(shown(), "To C\n");
}

TEST(InputLines, GiveWholeLinesUntilTheInputEndsAndCutEndlessOnes) {
  boost::asio::thread_pool blocking(1);
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"s\n\n\xFF x\nunfinished", {"s", "", "\uFFFD x"}},
      {std::string(17u << 20, 'x') + "\ny\n", {std::string(1000, 'x'), "y"}},
  };
  for (const auto& [bytes, expected] : cases) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    InputLines lines(blocking.get_executor(), ends[0]);
    std::thread writer([end = ends[1], &sent = bytes] {
      std::string_view left = sent;
      while (!left.empty()) {
        const ssize_t count = write(end, left.data(), std::min<std::size_t>(left.size(), 60'000));
        if (count <= 0) break;
        left.remove_prefix(static_cast<std::size_t>(count));
      }
      close(end);
    });
    std::vector<std::string> read;
    while (auto line = runTask(lines.next())) read.push_back(*line);
    EXPECT_EQ(read, expected);
    for (char rest[4096]; ::read(ends[0], rest, sizeof rest) > 0;) continue;
    writer.join();
    close(ends[0]);
  }
}

TEST(InputLines, ReadFilesAndEndAWaitWhenClosed) {
  boost::asio::thread_pool blocking(1);
  const int nothing = open("/dev/null", O_RDONLY);
  EXPECT_FALSE(runTask(InputLines(blocking.get_executor(), nothing).next()));
  close(nothing);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  InputLines waiting(blocking.get_executor(), ends[0]);
  std::thread closer([&] { waiting.close(); });
  EXPECT_FALSE(runTask(waiting.next()));
  closer.join();
  InputLines lines(blocking.get_executor(), ends[0]);
  EXPECT_EQ(write(ends[1], "a\nb\n", 4), 4);
  EXPECT_EQ(runTask(lines.next()), "a");
  lines.close();
  EXPECT_FALSE(runTask(lines.next())) << "a line after the end";
  for (const int end : ends) close(end);
}

class Json : public testing::Test {
 protected:
  void add(const std::string& id) {
    ParsedMail mail;
    mail.accountId = "box";
    mail.messageID = id;
    answers.add({.mail = std::make_shared<const ParsedMail>(std::move(mail)),
                 .mailboxLabel = "Work",
                 .draft = "Draft",
                 .ruleOverrides = {{"r1", "Billing", "Forward and notify"}},
                 .sendReply = send.reply()});
  }
  // "done" or the message of the one event that answers, with its command and key.
  std::string obey(const std::string& line) {
    answers.obey(line);
    return told();
  }
  std::string told() {
    context.restart();
    context.poll();
    std::string text;
    for (const nlohmann::json& event : std::exchange(events, {})) {
      EXPECT_EQ(event.at("event"), "answer");
      text += event.at("command").get<std::string>() + " " + event.at("key").get<std::string>() +
              (event.at("done") == true ? " done" : " " + event.at("message").get<std::string>());
    }
    return text;
  }
  std::string endSend() {
    send.ended.cancel();
    return told();
  }

  boost::asio::io_context context;
  HeldSend send{context};
  std::vector<nlohmann::json> events;
  JsonAnswers answers{context.get_executor(),
                      [this](const nlohmann::json& event) { events.push_back(event); }};
};

constexpr const char* sendHello =
    R"({"command":"send","key":"box\u001em","text":" Hello. ","ruleId":null})";

TEST_F(Json, EveryCommandHasOneAnswer) {
  add("m");
  EXPECT_EQ(obey(sendHello), "");
  EXPECT_EQ(obey(sendHello), "send box\x1Em it is being sent");
  send.result = {false, "No route."};
  EXPECT_EQ(endSend(), "send box\x1Em No route.");
  EXPECT_EQ(obey(R"({"command":"send","key":"box\u001em","text":"x","ruleId":"r1"})"), "");
  send.result = {true, std::nullopt};
  EXPECT_EQ(endSend(), "send box\x1Em done");
  EXPECT_EQ(send.asked, (std::vector<std::string>{"Hello.|-", "x|r1"}));
  EXPECT_EQ(obey(sendHello), "send box\x1Em no suggestion with this key waits");
  const char* dismiss = R"({"command":"dismiss","key":"box\u001em"})";
  add("m");
  EXPECT_EQ(obey(dismiss), "dismiss box\x1Em done");
  add("m");
  EXPECT_EQ(obey(sendHello), "");
  EXPECT_EQ(obey(dismiss), "dismiss box\x1Em done");
  EXPECT_EQ(obey(dismiss), "dismiss box\x1Em no suggestion with this key waits");
  EXPECT_EQ(endSend(), "send box\x1Em done");
  EXPECT_FALSE(answers.isWaiting("box\x1Em"));
}

TEST_F(Json, WhatIsNoCommandIsAnsweredAndChangesNothing) {
  add("m");
  for (const char* line : {"", "send", "[]", "7", "{", R"({"command":7})", R"({"command":"quit"})",
                           R"({"command":"send"})", R"({"command":"send","key":"box\u001em"})",
                           R"({"command":"send","key":"box\u001em","text":" "})",
                           R"({"command":"send","key":"box\u001em","text":"x","ruleId":"r2"})",
                           R"({"command":"send","key":"box\u001em","text":"x","ruleId":1})"}) {
    const std::string answer = obey(line);
    EXPECT_NE(answer, "") << line;
    EXPECT_EQ(answer.find("done"), std::string::npos) << line;
  }
  EXPECT_TRUE(send.asked.empty());
  obey(sendHello);
  answers.inputEnded();
  EXPECT_EQ(endSend(), "send box\x1Em done");
}

}  // namespace
}  // namespace halcyra
