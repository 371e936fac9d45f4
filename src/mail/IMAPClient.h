#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>
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
/// `disconnect`. All operations throw IMAPError, or StreamError when the connection itself fails.
class IMAPClient {
 public:
  /// `connector` must outlive the client.
  explicit IMAPClient(StreamConnector& connector) : connector_(connector) {}

  /// Greeting, LOGIN, SELECT.
  Task<void> connect(IMAPLogin login);

  /// UIDs of unseen messages with an internal date of `date` (d-MMM-yyyy) or later.
  Task<std::vector<std::uint32_t>> searchUnseen(std::string date);

  /// The read units of a whole message, fetched without setting \Seen; literals carry the marker of
  /// ParsedMail.
  Task<std::vector<std::string>> fetchMessage(std::uint32_t uid);

  Task<void> markSeen(std::uint32_t uid);

  /// Waits until the server announces something, the time is up or a stop is requested.
  Task<void> idle(std::chrono::milliseconds longest, std::stop_token stop);

  void disconnect() noexcept;

 private:
  Task<std::vector<std::string>> runCommand(std::string text);
  Task<std::string> readUnit();
  Task<Received> receiveChunk(ReceiveWait wait);

  StreamConnector& connector_;
  std::unique_ptr<ByteStream> connection_;
  IMAPReader reader_;
  int tagCounter_ = 0;
};

}  // namespace halcyra
