#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "mail/IMAPError.h"
#include "mail/IMAPReader.h"
#include "platform/ByteStream.h"
#include "platform/Task.h"

namespace halcyra {

struct IMAPLogin {
  Endpoint endpoint;
  std::string username;
  std::string password;
  std::string mailbox;
};

/// The few IMAP commands (RFC 9051, IDLE of RFC 2177) that watching a mailbox needs, over one
/// connection. One task drives a client, one command at a time; a client is not reused after
/// `disconnect`. All operations throw IMAPError, or StreamError when the connection itself fails;
/// no error text holds the password or mail text. The bounds of IMAPReader hold for each command.
class IMAPClient {
 public:
  /// `connector` must outlive the client.
  explicit IMAPClient(StreamConnector& connector) : connector_(connector) {}

  /// Greeting, LOGIN, SELECT. A user name, password or mailbox that no quoted string can carry (CR,
  /// LF, NUL) is a protocolError before anything is sent.
  Task<void> connect(IMAPLogin login);

  /// UIDs of unseen messages with an internal date of `date` (d-MMM-yyyy) or later.
  Task<std::vector<std::uint32_t>> searchUnseen(std::string date);

  /// The read units of a whole message, fetched without setting \Seen; literals carry the marker of
  /// ParsedMail.
  Task<std::vector<std::string>> fetchMessage(std::uint32_t uid);

  Task<void> markSeen(std::uint32_t uid);

  /// Waits until the server announces something, the time is up or a stop is requested, from any
  /// thread; the connection can be used further in each case.
  Task<void> idle(std::chrono::milliseconds longest, std::stop_token stop);

  /// Drops the connection; a command under way fails.
  void disconnect() noexcept;

  /// False before `connect`, after `disconnect` and after a failure that leaves the dialogue with
  /// the server out of step (anything but a tagged NO or BAD).
  bool connected() const noexcept { return inStep_; }

 private:
  Task<std::vector<std::string>> runCommand(std::string text);
  void failIfRefused(const std::vector<std::string>& units, std::string_view tag);
  using Deadline = std::chrono::steady_clock::time_point;

  Task<std::string> readUnit(std::optional<Deadline> deadline = std::nullopt);
  void take(Received received);
  Task<void> waitForAnnouncement(std::chrono::milliseconds longest, std::stop_token stop);
  ByteStream& connection();

  StreamConnector& connector_;
  std::unique_ptr<ByteStream> connection_;
  IMAPReader reader_;
  std::vector<std::string> secrets_;  // kept out of every failure text
  int tagCounter_ = 0;
  bool inStep_ = false;  // no command is under way or was broken off
};

}  // namespace halcyra
