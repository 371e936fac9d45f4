#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "mail/SMTPReply.h"
#include "platform/ByteStream.h"
#include "platform/Log.h"
#include "platform/Task.h"

namespace halcyra {

/// One message to one recipient, and the server that takes it.
struct SMTPOrder {
  /// Also the name that EHLO gives.
  std::string host;
  std::uint16_t port = 0;
  /// TLS from the first byte; for port 465.
  bool implicitTLS = false;
  /// The server wants STARTTLS, which this client cannot do; see `send`.
  bool useStartTLS = false;
  std::string username;
  std::string password;
  std::string from;
  std::string to;
  /// The whole RFC 5322 text. It goes out without dot-stuffing: a line of a single dot ends it, and
  /// the server takes what follows for commands.
  std::string message;
};

/// Submission of a message (RFC 6409) with AUTH LOGIN. One send per client.
class SMTPClient {
 public:
  /// Lines of one reply.
  static constexpr int mostLines = 256;

  /// `connector` and `log` must outlive the client.
  SMTPClient(StreamConnector& connector, Log& log) : connector_(connector), log_(log) {}

  /// Sends the message; done only when the server has accepted the whole of it. The connection is
  /// closed in every case. Throws SMTPError, or StreamError when the connection itself fails.
  ///
  /// A running plain connection cannot be upgraded to TLS. With `useStartTLS` and port 587,
  /// implicit TLS on port 465 is tried instead, and where only STARTTLS would do, the send fails
  /// with words about that before any credentials are sent. Without TLS and without `useStartTLS`
  /// everything goes in the clear, which is the user's explicit choice.
  Task<void> send(SMTPOrder order);

 private:
  struct Step;

  Task<bool> open(const SMTPOrder& order);
  Task<bool> openInPlaceOfStartTLS(std::string host);
  Task<void> connect(Endpoint endpoint);
  Task<void> expect(std::string_view code);
  Task<void> sayHello(std::string host);
  Task<void> perform(Step step);
  Task<std::string> readLine();
  static std::vector<Step> steps(SMTPOrder order);

  StreamConnector& connector_;
  Log& log_;
  std::unique_ptr<ByteStream> connection_;
  SMTPReplyReader reader_;
  std::vector<std::string> secrets_;
};

}  // namespace halcyra
