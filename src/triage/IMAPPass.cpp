#include "triage/IMAPPass.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <exception>
#include <optional>
#include <vector>

#include "mail/IMAPClient.h"
#include "text/ControlCharacters.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

/// A message that broke the connection costs a new one, so that the rest of the mailbox is still
/// reached; a server that breaks every time does not get more than this in one pass.
constexpr int mostReconnections = 3;

class Pass {
 public:
  explicit Pass(IMAPPassContext context) : context_(std::move(context)) {}

  Task<PassResult> run();

 private:
  Task<bool> connect();
  Task<std::optional<std::vector<std::uint32_t>>> search();
  Task<bool> handleAll(std::vector<std::uint32_t> uids);
  Task<std::optional<ParsedMail>> fetch(std::uint32_t uid);
  Task<void> handle(std::uint32_t uid);
  Task<void> waitInIdle();
  void logMailboxFailure(const std::exception& error);
  void logMessageFailure(const char* step, std::uint32_t uid, const std::exception& error);

  IMAPPassContext context_;
  std::optional<IMAPClient> client_;
};

IMAPLogin loginOf(const IMAPPassContext& context) {
  const IMAPConnection& connection = context.connection;
  const auto port = std::clamp<std::int64_t>(connection.port, 0, 65535);
  return {.endpoint = {.host = std::string(trimmed(connection.host)),
                       .port = static_cast<std::uint16_t>(port),
                       .implicitTLS = connection.useTLS},
          .username = std::string(trimmed(connection.username)),
          .password = context.password,
          .mailbox = connection.mailbox.empty() ? "INBOX" : connection.mailbox};
}

Task<PassResult> Pass::run() {
  const bool connected = co_await connect();
  if (!connected) co_return PassResult::failed;
  std::optional<std::vector<std::uint32_t>> uids = co_await search();
  if (!uids) co_return PassResult::failed;
  Task<bool> handling = handleAll(std::move(*uids));
  const bool reachable = co_await std::move(handling);
  if (context_.useIDLE && reachable && !context_.stop.stop_requested()) co_await waitInIdle();
  client_->disconnect();
  co_return PassResult::done;
}

Task<bool> Pass::connect() {
  client_.emplace(context_.connector);
  try {
    Task<void> connecting = client_->connect(loginOf(context_));
    co_await std::move(connecting);
    co_return true;
  } catch (const std::exception& error) {
    logMailboxFailure(error);
  }
  client_->disconnect();
  co_return false;
}

Task<std::optional<std::vector<std::uint32_t>>> Pass::search() {
  try {
    const TimePoint today = context_.clock.startOfLocalDay(context_.clock.now());
    Task<std::vector<std::uint32_t>> searching =
        client_->searchUnseen(imapDate(context_.clock.localTime(today)));
    co_return co_await std::move(searching);
  } catch (const std::exception& error) {
    logMailboxFailure(error);
  }
  client_->disconnect();
  co_return std::nullopt;
}

// False when the server was lost on the way, which has been logged then.
Task<bool> Pass::handleAll(std::vector<std::uint32_t> uids) {
  int reconnections = 0;
  for (const std::uint32_t uid : uids) {
    if (context_.stop.stop_requested()) co_return true;
    if (!client_->connected()) {
      if (++reconnections > mostReconnections) {
        logMailboxFailure(IMAPError::connectionFailed());
        co_return false;
      }
      const bool again = co_await connect();
      if (!again) co_return false;
    }
    co_await handle(uid);
  }
  co_return true;
}

Task<void> Pass::handle(std::uint32_t uid) {
  std::optional<ParsedMail> mail = co_await fetch(uid);
  if (!mail) co_return;
  const char* step = "IMAP uid ";
  try {
    Task<bool> processing = context_.process(std::move(*mail));
    const bool finished = co_await std::move(processing);
    if (!finished) co_return;
    step = "IMAP mark read uid ";
    co_await client_->markSeen(uid);
  } catch (const std::exception& error) {
    logMessageFailure(step, uid, error);
  }
}

Task<std::optional<ParsedMail>> Pass::fetch(std::uint32_t uid) {
  try {
    std::vector<std::string> units = co_await client_->fetchMessage(uid);
    co_return ParsedMail::fromIMAPFetch(context_.account.id, uid, units);
  } catch (const std::exception& error) {
    logMessageFailure("IMAP uid ", uid, error);
  }
  co_return std::nullopt;
}

Task<void> Pass::waitInIdle() {
  const double seconds = std::isnan(context_.idleFallbackPollSeconds)
                             ? 30.0
                             : std::clamp(context_.idleFallbackPollSeconds, 30.0, 600.0);
  try {
    const std::chrono::milliseconds longest(static_cast<std::int64_t>(seconds * 1000));
    Task<void> waiting = client_->idle(longest, context_.stop);
    co_await std::move(waiting);
  } catch (const std::exception& error) {
    logMailboxFailure(error);
  }
}

// Much of an error text are the server's words, and they must not start a line of their own.
void Pass::logMailboxFailure(const std::exception& error) {
  context_.log.logLine(
      "IMAP (" + onOneLine(context_.account.displayLabel) + "): " + onOneLine(error.what()),
      {{"MAILBOX", context_.account.id}});
}

void Pass::logMessageFailure(const char* step, std::uint32_t uid, const std::exception& error) {
  context_.log.logLine(step + std::to_string(uid) + ": " + onOneLine(error.what()),
                       {{"MAILBOX", context_.account.id}});
}

}  // namespace

Task<PassResult> runIMAPPass(IMAPPassContext context) {
  const bool configured = !trimmed(context.connection.host).empty() &&
                          !trimmed(context.connection.username).empty() &&
                          !context.password.empty();
  if (!configured) co_return PassResult::notConfigured;
  Pass pass(std::move(context));
  co_return co_await pass.run();
}

std::string imapDate(const LocalTime& day) {
  constexpr std::array months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  return std::to_string(day.day) + "-" + months.at(static_cast<std::size_t>(day.month - 1)) + "-" +
         std::to_string(day.year);
}

}  // namespace halcyra
