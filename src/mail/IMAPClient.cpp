#include "mail/IMAPClient.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "mail/IMAPExchange.h"
#include "mail/IMAPIdleWatch.h"

namespace halcyra {
namespace {

using Units = std::vector<std::string>;

// Small, since an idle mailbox holds it for minutes.
constexpr std::size_t idleRoom = 4u << 10;

// From DONE to the answer. A server that words it in a way of its own costs the connection then.
constexpr std::chrono::seconds longestEndOfIdle(30);

// Of a FETCH: the message, the closing parenthesis, the answer, and something unasked.
constexpr std::size_t usualUnits = 4;

std::string asciiUppercased(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
  return text;
}

std::chrono::milliseconds timeUntil(std::chrono::steady_clock::time_point deadline) {
  return std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
}

bool isGreeting(const std::string& unit) {
  return unit.starts_with("* OK") || unit.starts_with("* PREAUTH");
}

bool isAnswer(std::string_view unit, std::string_view tag, std::string_view answer) {
  return unit.starts_with(tag) && unit.substr(tag.size()).starts_with(answer);
}

// Servers word the end of IDLE in their own case; the tag is not looked for.
bool endsIdle(std::string unit) {
  const std::string upper = asciiUppercased(std::move(unit));
  return upper.find("OK IDLE") != upper.npos || upper.find("BAD") != upper.npos;
}

}  // namespace

Task<void> IMAPClient::connect(IMAPLogin login) {
  const std::string user = imapQuoted(login.username, "user name");
  const std::string password = imapQuoted(login.password, "password");
  const std::string mailbox = imapQuoted(login.mailbox, "mailbox name");
  reader_.clear();
  tagCounter_ = 0;
  Task<std::unique_ptr<ByteStream>> connecting = connector_.connect(login.endpoint);
  connection_ = co_await std::move(connecting);
  bool greeted = false;
  while (!greeted) greeted = isGreeting(co_await readUnit());

  // A server may repeat the password in any of its answers, as it was quoted or plain.
  secrets_ = {password.substr(1, password.size() - 2), login.password};
  Task<Units> loggingIn = runCommand("LOGIN " + user + " " + password);
  co_await std::move(loggingIn);
  Task<Units> selecting = runCommand("SELECT " + mailbox);
  co_await std::move(selecting);
}

Task<std::vector<std::uint32_t>> IMAPClient::searchUnseen(std::string date) {
  Task<Units> searching = runCommand("UID SEARCH UNSEEN SINCE " + date);
  const Units units = co_await std::move(searching);
  co_return imapSearchResult(units);
}

Task<std::vector<std::string>> IMAPClient::fetchMessage(std::uint32_t uid) {
  return runCommand("UID FETCH " + std::to_string(uid) + " (BODY.PEEK[])");
}

Task<void> IMAPClient::markSeen(std::uint32_t uid) {
  Task<Units> storing = runCommand("UID STORE " + std::to_string(uid) + " +FLAGS (\\Seen)");
  co_await std::move(storing);
}

Task<void> IMAPClient::idle(std::chrono::milliseconds longest, std::stop_token stop) {
  reader_.startExchange();
  inStep_ = false;
  const std::string tag = "E" + std::to_string(++tagCounter_);
  Task<void> starting = connection().send(tag + " IDLE\r\n");
  co_await std::move(starting);
  Units units;
  // Some servers leave out the blank that a go-ahead without a text has.
  while (units.empty() || !(units.back().starts_with("+ ") || units.back() == "+")) {
    units.push_back(co_await readUnit());
    failIfRefused(units, tag);
  }

  Task<void> announcement = waitForAnnouncement(longest, std::move(stop));
  co_await std::move(announcement);

  reader_.startExchange();
  Task<void> ending = connection().send("DONE\r\n");
  co_await std::move(ending);
  const auto deadline = std::chrono::steady_clock::now() + longestEndOfIdle;
  bool ended = false;
  while (!ended) ended = endsIdle(co_await readUnit(deadline));
  inStep_ = true;
}

// Only the fact of a change matters: what arrives is looked at and dropped, first of all what came
// along with the server's go-ahead.
Task<void> IMAPClient::waitForAnnouncement(std::chrono::milliseconds longest,
                                           std::stop_token stop) {
  const Deadline deadline = std::chrono::steady_clock::now() + longest;
  IMAPIdleWatch watch;
  bool over = watch.announcedIn(reader_.unread());
  reader_.clear();
  std::string room(idleRoom, '\0');
  while (!over && !stop.stop_requested()) {
    const std::chrono::milliseconds left = timeUntil(deadline);
    if (left.count() <= 0) break;
    Task<Received> receiving = connection().receive(room, ReceiveWait{left, stop});
    const Received received = co_await std::move(receiving);
    if (received.count == 0 && received.finished) throw IMAPError::connectionFailed();
    over = received.count == 0 || watch.announcedIn({room.data(), received.count});
  }
}

void IMAPClient::disconnect() noexcept {
  // Kept until the client goes, for a receive that is still to see the end.
  if (connection_) connection_->close();
  inStep_ = false;
}

// Each unit is looked at as it comes, which finds the same end as a look at the whole list. What
// has arrived is taken without a task for each unit.
Task<std::vector<std::string>> IMAPClient::runCommand(std::string text) {
  const std::string tag = "E" + std::to_string(++tagCounter_);
  reader_.startExchange();
  inStep_ = false;
  Task<void> sending = connection().send(tag + " " + text + "\r\n");
  co_await std::move(sending);
  Units units;
  units.reserve(usualUnits);
  for (;;) {
    std::optional<std::string> unit = reader_.nextUnit();
    if (!unit) {
      Task<Received> receiving = connection().receive(reader_.room(), {});
      take(co_await std::move(receiving));
      continue;
    }
    units.push_back(std::move(*unit));
    failIfRefused(units, tag);
    inStep_ = isAnswer(units.back(), tag, " ");
    if (isAnswer(units.back(), tag, " OK")) co_return units;
  }
}

// A refusal leaves the dialogue in step.
void IMAPClient::failIfRefused(const std::vector<std::string>& units, std::string_view tag) {
  if (!isAnswer(units.back(), tag, " NO") && !isAnswer(units.back(), tag, " BAD")) return;
  inStep_ = true;
  throw IMAPError::taggedFailure(imapFailureText(units, secrets_));
}

Task<std::string> IMAPClient::readUnit(std::optional<Deadline> deadline) {
  for (;;) {
    std::optional<std::string> unit = reader_.nextUnit();
    if (unit) co_return std::move(*unit);
    ReceiveWait wait;
    if (deadline) {
      wait.longest = timeUntil(*deadline);
      if (wait.longest->count() <= 0) take({});
    }
    Task<Received> receiving = connection().receive(reader_.room(), std::move(wait));
    take(co_await std::move(receiving));
  }
}

void IMAPClient::take(Received received) {
  if (received.count == 0) {
    throw received.finished ? IMAPError::connectionFailed()
                            : IMAPError::protocolError("Stalled IMAP parse");
  }
  reader_.arrived(received.count);
}

ByteStream& IMAPClient::connection() {
  if (!connection_) throw IMAPError::connectionFailed();
  return *connection_;
}

}  // namespace halcyra
