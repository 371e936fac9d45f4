// Gmail and Outlook mailboxes at work.

#include <gtest/gtest.h>

#include <iostream>

#include "ProviderWorld.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using sandbox::ChildProcess;
using Labels = std::set<std::string>;
using Counts = std::map<std::string, int>;

class Providers : public testing::Test, protected ProviderWorld {
 protected:
  World::Run cleanPass() {
    World::Run run = onePass();
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_FALSE(holdsToken(run.output + run.errors)) << run.errors;
    return run;
  }

  sandbox::GoogleStandIn& google = providers.google;
  sandbox::MicrosoftStandIn& microsoft = providers.microsoft;
};

// What a stand-in was asked between two moments, without the kinds that it was not.
Counts difference(const Counts& before, Counts after) {
  for (const auto& [kind, count] : before) after[kind] -= count;
  std::erase_if(after, [](const auto& entry) { return entry.second == 0; });
  return after;
}

// The details of Gmail's messages count what is counted as a message too.
int requests(const Counts& counts) {
  int sum = 0;
  for (const auto& [kind, count] : counts) sum += kind.starts_with("message.") ? 0 : count;
  return sum;
}

TEST_F(Providers, APassActsMarksAndForgetsNothing) {
  signIn();
  const auto yesterday = std::chrono::system_clock::now() - 25h;
  const std::string promotion =
      toGmail("<promotion@x>", "reply", {"INBOX", "UNREAD", "CATEGORY_PROMOTIONS"});
  const std::string tagged = toGmail("<tagged@x>", "tagged");
  const std::string forwarded = toGmail("<forwarded@x>", "forward");
  const std::string older =
      google.deliver("Subject: reply\n\nText", {"INBOX", "UNREAD"}, yesterday);
  const std::string other = toOutlook("<other@x>", "reply", {.inferenceClassification = " Other "});
  const std::string taggedThere = toOutlook("<tagged2@x>", "tagged", {.categories = {"Blue"}});
  const std::string forwardedThere = toOutlook("<forwarded2@x>", "forward");
  const std::string olderThere = toOutlook("<older@x>", "reply", {.received = yesterday});

  const World::Run run = cleanPass();
  EXPECT_EQ(google.requestCounts(), (Counts{{"list", 1},
                                            {"message", 5},
                                            {"message.minimal", 3},
                                            {"message.raw", 2},
                                            {"labels", 2},
                                            {"label", 2},
                                            {"modify", 3},
                                            {"events", 2},
                                            {"send", 1}}));
  EXPECT_EQ(
      microsoft.requestCounts(),
      (Counts{{"list", 1}, {"raw", 2}, {"message", 2}, {"patch", 3}, {"send", 1}, {"view", 2}}));
  EXPECT_EQ(google.labelsOf(promotion), (Labels{"INBOX", "CATEGORY_PROMOTIONS", "Bulk"}));
  EXPECT_EQ(google.labelsOf(tagged), (Labels{"INBOX", tag}));
  EXPECT_EQ(google.labelsOf(forwarded), (Labels{"INBOX"}));
  EXPECT_EQ(google.labelsOf(older), (Labels{"INBOX", "UNREAD"}));
  EXPECT_EQ(microsoft.categoriesOf(other), std::vector<std::string>{"Bulk"});
  EXPECT_EQ(microsoft.categoriesOf(taggedThere), (std::vector<std::string>{"Blue", tag}));
  for (const auto& id : {other, taggedThere, forwardedThere}) EXPECT_TRUE(microsoft.isRead(id));
  EXPECT_FALSE(microsoft.isRead(olderThere));
  EXPECT_EQ(recorded(), (std::set<std::string>{"gmail:" + promotion, "<tagged@x>", "<forwarded@x>",
                                               "graph:" + other, "<tagged2@x>", "<forwarded2@x>"}));
  for (const std::string& line : {"Prefilter skip (Gmail Promotions): " + promotion,
                                  "Prefilter skip (Outlook Other): " + other}) {
    EXPECT_NE(run.errors.find("[Halcyra] " + line + "\n"), std::string::npos) << run.errors;
  }

  ASSERT_EQ(google.sentMail().size(), 1u);
  const std::string sent = google.sentMail()[0];
  for (const char* part :
       {"From: person@gmail.example\r\n", "To: boss@y.org\r\n", "Subject: Fwd: forward\r\n"}) {
    EXPECT_NE(sent.find(part), std::string::npos) << part << sent;
  }
  ASSERT_EQ(microsoft.sentMail().size(), 1u);
  const json message = microsoft.sentMail()[0]["message"];
  EXPECT_EQ(message["subject"], "Fwd: forward");
  EXPECT_EQ(message["toRecipients"][0]["emailAddress"]["address"], "boss@y.org");

  // The next start has nothing to do but to look; the sign-ins are renewed on the way.
  google.expireTokens();
  microsoft.expireTokens();
  signIn(119s);
  const Counts googleBefore = google.requestCounts();
  const Counts microsoftBefore = microsoft.requestCounts();
  cleanPass();
  cleanPass();
  const Counts looks = {{"token", 1}, {"list", 2}};
  EXPECT_EQ(difference(googleBefore, google.requestCounts()), looks);
  EXPECT_EQ(difference(microsoftBefore, microsoft.requestCounts()), looks);
}

// Graph refuses the headers that tie a reply to its thread, unless the tenant takes them; without
// another way out the answer is kept for another try.
TEST_F(Providers, AnswersGoOutThroughTheProvider) {
  signIn();
  toGmail("<a@x>", "reply");
  const std::string there = toOutlook("<b@x>", "reply");
  ChildProcess program(home.command({"monitor", "--json"}));
  std::map<std::string, std::string> keys;
  for (int i = 0; i < 2; ++i) {
    const json event = nextEvent(program, "suggestion");
    ASSERT_TRUE(event.is_object()) << program.errors();
    keys[event.at("mailbox")] = event.at("key");
  }
  const auto send = [&](const char* mailbox) {
    const json command = {{"command", "send"}, {"key", keys[mailbox]}, {"text", "Yes.\nKim"}};
    program.writeInput(command.dump() + "\n");
    return nextEvent(program, "answer");
  };
  EXPECT_EQ(send("g")["done"], true);
  const json refused = send("o");
  EXPECT_EQ(refused["done"], false);
  EXPECT_NE(refused.dump().find("Configure SMTP for this mailbox"), std::string::npos) << refused;
  microsoft.refuse({.standardHeaders = false});
  EXPECT_EQ(send("o")["done"], true);
  EXPECT_TRUE(eventually([&] { return microsoft.isRead(there); }, 20s));
  program.signal(SIGTERM);
  const auto ending = program.wait(20s);
  ASSERT_TRUE(ending);
  EXPECT_EQ(ending->status, 0) << program.errors();
  EXPECT_NE(program.errors().find("[Halcyra] Provider reply send failed, trying SMTP: "),
            std::string::npos)
      << program.errors();
  EXPECT_FALSE(holdsToken(program.output() + program.errors()));

  ASSERT_EQ(google.sentMail().size(), 1u);
  const std::string reply = google.sentMail()[0];
  for (const char* part : {"To: kim@rowan.example.org\r\n", "Subject: Re: reply\r\n",
                           "In-Reply-To: <a@x>\r\n", "\r\n\r\nYes.\r\nKim\r\n"}) {
    EXPECT_NE(reply.find(part), std::string::npos) << part << reply;
  }
  ASSERT_EQ(microsoft.sentMail().size(), 1u);
  const json message = microsoft.sentMail()[0]["message"];
  EXPECT_EQ(message["internetMessageHeaders"],
            (json{{{"name", "In-Reply-To"}, {"value", "<b@x>"}},
                  {{"name", "References"}, {"value", "<b@x>"}}}));
  EXPECT_EQ(message["body"], (json{{"contentType", "Text"}, {"content", "Yes.\nKim"}}));
}

// What mail costs at the providers: the figures that the notes quote. Each pass is a start of its
// own.
TEST_F(Providers, RequestsAreFewAndConnectionsAreReused) {
  constexpr int messages = 20;
  struct Round {
    const char* rule;
    /// A list; for each its labels, its text, the agenda and its marks; a tag's label is looked up
    /// and made.
    int gmail;
    /// A list; for each its text, the agenda, for a tag its categories, and its marks.
    int graph;
  };
  const Round rounds[] = {{"file", 1 + 4 * messages, 1 + 3 * messages},
                          {"tagged", 1 + 2 + 4 * messages, 1 + 4 * messages}};
  std::size_t starts = 0;
  for (const Round& round : rounds) {
    signIn();
    for (int i = 0; i < messages; ++i) {
      const std::string id = "<" + std::to_string(i) + round.rule + "@x>";
      toGmail(id, round.rule);
      toOutlook(id, round.rule);
    }
    const Counts googleBefore = google.requestCounts();
    const Counts microsoftBefore = microsoft.requestCounts();
    cleanPass();
    ++starts;
    const int gmail = requests(difference(googleBefore, google.requestCounts()));
    const int graph = requests(difference(microsoftBefore, microsoft.requestCounts()));
    EXPECT_EQ(gmail, round.gmail);
    EXPECT_EQ(graph, round.graph);
    EXPECT_EQ(providers.googleServer.connectionCount(), starts);
    EXPECT_EQ(providers.microsoftServer.connectionCount(), starts);
    for (const auto& [name, count] : {std::pair{"Gmail", gmail}, std::pair{"Graph", graph}}) {
      const std::string words = std::to_string(count) + " requests over 1 connection for " +
                                std::to_string(messages) + " messages";
      RecordProperty(std::string(name) + "." + round.rule, words);
      std::cout << name << ", rule \"" << round.rule << "\": " << words << "\n";
    }
  }
}

}  // namespace
}  // namespace halcyra
