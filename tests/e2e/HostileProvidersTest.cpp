// Gmail and Graph that answer badly at one step of a pass: the log tells it, nothing is recorded
// that was not handled, and the next pass works.

#include <gtest/gtest.h>

#include <array>

#include "ProviderWorld.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;

constexpr const char* page = "<html><body>Sign in to the network</body></html>";
constexpr std::size_t small = 8u << 20;
constexpr std::size_t large = 64u << 20;

// What the log says of the answers with the status 401 (whose body repeats a token), 403 (an HTML
// page), 429 (nothing) and 500 (no UTF-8).
using StatusTexts = std::array<std::string, 4>;

// With the token that the answer repeats.
const std::string masked = R"({"error":{"message":"Bearer *** is bad","status":"DENIED"}})";
const std::string enableGmail =
    " from Gmail API. Enable “Gmail API” for your Google Cloud project and ensure you signed in "
    "with the Gmail scope.";
const StatusTexts gmailTexts = {"Bearer *** is bad (DENIED)", page, "HTTP 429" + enableGmail,
                                "HTTP 500" + enableGmail};
const StatusTexts googleTokenTexts = {masked, page, "HTTP 429 from Google token endpoint",
                                      "HTTP 500 from Google token endpoint"};
const StatusTexts microsoftTokenTexts = {masked, page, "Token refresh failed",
                                         "Token refresh failed"};
const StatusTexts graphTexts = {masked, page, "HTTP 429 from Microsoft Graph.",
                                "HTTP 500 from Microsoft Graph."};
const StatusTexts listTexts = {"HTTP 401: " + masked, std::string("HTTP 403: ") + page,
                               "HTTP 429 listing inbox messages.",
                               "HTTP 500 listing inbox messages."};
const StatusTexts categoryTexts = {
    "Could not load message categories.", "Could not load message categories.",
    "Could not load message categories.", "Could not load message categories."};

StatusTexts badAnswerTexts() {
  const auto text = [](int status) {
    return "Microsoft Graph gave a bad answer (HTTP " + std::to_string(status) + ").";
  };
  return {text(401), text(403), text(429), text(500)};
}

struct BadAnswer {
  const char* name;
  HttpResponse response;
  /// The text that the log ends with; without one the reader of the answer has words of its own.
  std::optional<std::string> told;
  bool isSuccess() const { return response.status == 200; }
};

std::vector<BadAnswer> badAnswers(const std::string& token, const StatusTexts& told,
                                  std::size_t limit) {
  const json refusal = {
      {"error", {{"message", "Bearer " + token + " is bad"}, {"status", "DENIED"}}}};
  return {{"401", {401, {}, refusal.dump()}, told[0]},
          {"403", {403, {{"Content-Type", "text/html"}}, page}, told[1]},
          {"429", {429, {{"Retry-After", "1"}}, ""}, told[2]},
          {"500", {500, {}, "\xff\xfe"}, told[3]},
          {"HTML", {200, {{"Content-Type", "text/html"}}, page}, {}},
          {"truncated", {200, {}, R"({"access_token":"ya29.x","id":"EwB)"}, {}},
          {"over-long", {200, {}, std::string(limit + 1, ' ')}, {}}};
}

// What happens to the message of a pass in which the step went wrong.
enum class Fate { notListed, leftForTheNextPass, recordedButNotMarked };

struct Step {
  /// Requests that are answered badly, in this order.
  std::vector<const char*> kinds;
  /// The rule that the message is for.
  const char* rule;
  /// How the log line begins; ID is the message's.
  std::string told;
  StatusTexts texts;
  Fate fate;
  /// Is the answer read, or is its status enough?
  bool isRead = true;
  std::size_t limit = small;
  /// Answers the first request of the first kind properly.
  std::optional<HttpResponse> first = {};
};

class HostileProviders : public testing::Test, protected ProviderWorld {
 protected:
  struct Mailbox {
    const char* id;
    std::function<sandbox::IssuedTokens()> signIn;
    std::function<std::string(const std::string& messageID, const std::string& rule)> deliver;
    std::function<bool(const std::string& id)> isUnread;
    std::function<void(const char* kind, const HttpResponse& answer)> answerNext;
  };

  World::Run pass(const Mailbox& mailbox) {
    World::Run done = run({"monitor", "--once", "--json", "--mailbox", mailbox.id});
    EXPECT_FALSE(holdsToken(done.output + done.errors)) << done.errors.substr(0, 2000);
    return done;
  }

  static void expectTold(const std::string& errors, const std::string& start,
                         const BadAnswer& answer) {
    const std::size_t at = errors.find("[Halcyra] " + start);
    ASSERT_NE(at, std::string::npos) << start << "\n" << errors;
    const std::size_t from = at + 10 + start.size();
    const std::string told = errors.substr(from, errors.find('\n', from) - from);
    EXPECT_FALSE(told.empty());
    EXPECT_EQ(told, answer.told.value_or(told));
  }

  void meet(const Mailbox& mailbox, const Step& step, const BadAnswer& answer) {
    SCOPED_TRACE(std::string(mailbox.id) + " " + step.kinds[0] + " " + step.rule + " " +
                 answer.name);
    const std::string messageID = "<" + std::to_string(++messages_) + "@x>";
    const std::string id = mailbox.deliver(messageID, step.rule);
    if (step.first) mailbox.answerNext(step.kinds[0], *step.first);
    for (const char* kind : step.kinds) mailbox.answerNext(kind, answer.response);
    const World::Run bad = pass(mailbox);
    EXPECT_EQ(bad.status, step.fate == Fate::notListed ? 1 : 0);
    std::string start = step.told;
    if (const std::size_t at = start.find("ID"); at != start.npos) start.replace(at, 2, id);
    expectTold(bad.errors, start, answer);
    EXPECT_EQ(recorded()->contains(messageID), step.fate == Fate::recordedButNotMarked);
    EXPECT_TRUE(mailbox.isUnread(id));

    const World::Run clean = pass(mailbox);
    EXPECT_EQ(clean.status, 0) << clean.errors;
    EXPECT_TRUE(recorded()->contains(messageID));
    EXPECT_EQ(mailbox.isUnread(id), step.fate == Fate::recordedButNotMarked);
  }

  void meetAll(const Mailbox& mailbox, const std::vector<Step>& steps) {
    for (const Step& step : steps) {
      const bool isRefresh = std::string_view(step.kinds[0]) == "token";
      for (int number = 0; number < 7; ++number) {
        const sandbox::IssuedTokens tokens = mailbox.signIn();
        home.storeCredential(mailbox.id, tokens, isRefresh ? 1s : 1h);
        const std::string& echoed = isRefresh ? *tokens.refreshToken : tokens.accessToken;
        const BadAnswer answer =
            badAnswers(echoed, step.texts, step.limit)[static_cast<std::size_t>(number)];
        if (step.isRead || !answer.isSuccess()) meet(mailbox, step, answer);
      }
    }
  }

 private:
  int messages_ = 0;
};

TEST_F(HostileProviders, GmailsBadAnswersHarmOnePassAtMost) {
  using enum Fate;
  const Mailbox mailbox = {
      "g", [&] { return providers.google.signIn(); },
      [&](const auto& messageID, const auto& rule) { return toGmail(messageID, rule); },
      [&](const auto& id) { return providers.google.isUnread(id); },
      [&](const char* kind, const auto& answer) { providers.google.answerNext(kind, answer); }};
  const std::string sync = "Gmail sync (person@gmail.example): ";
  const std::string mark = "Gmail mark processed: ";
  const std::string forward = "Provider forward failed, trying SMTP: ";
  const HttpResponse labels = {200, {}, R"({"labelIds":["INBOX"]})"};
  meetAll(mailbox, {{{"token"}, "file", sync, googleTokenTexts, notListed},
                    {{"list"}, "file", sync, gmailTexts, notListed},
                    {{"message"}, "file", "Gmail fetch ID: ", gmailTexts, leftForTheNextPass},
                    {{"message"},
                     "file",
                     "Gmail fetch ID: ",
                     gmailTexts,
                     leftForTheNextPass,
                     true,
                     large,
                     labels},
                    {{"labels"}, "tagged", mark, gmailTexts, recordedButNotMarked},
                    {{"label"}, "tagged", mark, gmailTexts, recordedButNotMarked},
                    {{"modify"}, "file", mark, gmailTexts, recordedButNotMarked, false},
                    {{"send"}, "forward", forward, gmailTexts, leftForTheNextPass, false}});
}

TEST_F(HostileProviders, GraphsBadAnswersHarmOnePassAtMost) {
  using enum Fate;
  const Mailbox mailbox = {
      "o", [&] { return providers.microsoft.signIn(); },
      [&](const auto& messageID, const auto& rule) { return toOutlook(messageID, rule); },
      [&](const auto& id) { return !providers.microsoft.isRead(id); },
      [&](const char* kind, const auto& answer) { providers.microsoft.answerNext(kind, answer); }};
  const std::string sync = "Graph sync (person@outlook.example): ";
  const std::string mark = "Graph mark processed: ";
  const std::string forward = "Provider forward failed, trying SMTP: ";
  const std::vector<const char*> everyQuery(6, "list");
  meetAll(mailbox, {{{"token"}, "file", sync, microsoftTokenTexts, notListed},
                    {everyQuery, "file", sync, listTexts, notListed},
                    {{"message"}, "tagged", mark, categoryTexts, recordedButNotMarked},
                    {{"patch"}, "file", mark, graphTexts, recordedButNotMarked, false},
                    {{"send"}, "forward", forward, graphTexts, leftForTheNextPass, false}});
  providers.microsoft.refuse({.rawText = true});
  meetAll(mailbox,
          {{{"message"}, "file", "Graph fetch ID: ", badAnswerTexts(), leftForTheNextPass}});
}

}  // namespace
}  // namespace halcyra
