#include "mail/SMTPClient.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <utility>

#include "mail/SMTPError.h"
#include "text/Base64.h"
#include "text/Trim.h"
#include "text/WithoutSecrets.h"

namespace halcyra {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds replyLimit{60};
constexpr std::uint16_t implicitTLSPort = 465;
constexpr std::uint16_t submissionPort = 587;

struct CloseAtEnd {
  std::unique_ptr<ByteStream>& connection;
  ~CloseAtEnd() {
    if (connection) connection->close();
  }
};

bool isControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

// A line break in a value would be a command of its own to the server.
void requireNoControl(const std::string& value, const std::string& what) {
  if (std::ranges::none_of(value, isControl)) return;
  throw SMTPError::protocolError("The " + what + " holds a control character.");
}

void requireAddress(const std::string& address, const std::string& what) {
  requireNoControl(address, what);
  if (address.find_first_of(" <>") == address.npos) return;
  throw SMTPError::protocolError("The " + what + " holds a blank or an angle bracket.");
}

void requireSendable(const SMTPOrder& order) {
  requireNoControl(order.host, "SMTP host name");
  requireNoControl(order.username, "SMTP user name");
  requireAddress(order.from, "sender's address");
  requireAddress(order.to, "recipient's address");
}

// The message with the end of its data (RFC 5321, section 4.1.1.4).
std::string dataOf(std::string message) {
  const std::string_view text = trimmed(message);
  message.resize(text.empty() ? 0 : text.data() + text.size() - message.data());
  message += "\r\n.\r\n";
  return message;
}

SMTPError startTLSRefusal(std::uint16_t port) {
  if (port == submissionPort) {
    return SMTPError::sendFailed(
        "Implicit TLS on port 465 failed, and this app cannot complete STARTTLS on port 587 (TLS "
        "must continue on the same TCP connection). Check the SMTP host, or use Gmail/Outlook "
        "sign-in to send without SMTP.");
  }
  return SMTPError::sendFailed("STARTTLS on port " + std::to_string(port) +
                               " is not supported here. Use SMTP on port 465 with SSL if your "
                               "provider offers it, or OAuth send for Gmail/Outlook.");
}

}  // namespace

/// What the client says and the code of the answer it needs.
struct SMTPClient::Step {
  std::string bytes;
  std::string_view code;
};

std::vector<SMTPClient::Step> SMTPClient::steps(SMTPOrder order) {
  std::vector<Step> steps;
  steps.push_back({"AUTH LOGIN\r\n", "334"});
  steps.push_back({encodeBase64(order.username) + "\r\n", "334"});
  steps.push_back({encodeBase64(order.password) + "\r\n", "235"});
  steps.push_back({"MAIL FROM:<" + order.from + ">\r\n", "250"});
  steps.push_back({"RCPT TO:<" + order.to + ">\r\n", "250"});
  steps.push_back({"DATA\r\n", "354"});
  steps.push_back({dataOf(std::move(order.message)), "250"});
  return steps;
}

Task<void> SMTPClient::send(SMTPOrder order) {
  requireSendable(order);
  secrets_ = {encodeBase64(order.username), order.password, encodeBase64(order.password)};
  const CloseAtEnd closing{connection_};
  const bool encrypted = co_await open(order);
  co_await expect("220");
  Task<void> hello = sayHello(order.host);
  co_await std::move(hello);
  if (!encrypted && order.useStartTLS) throw startTLSRefusal(order.port);

  std::vector<Step> dialogue = steps(std::move(order));
  for (Step& step : dialogue) {
    Task<void> performing = perform(std::move(step));
    co_await std::move(performing);
  }
}

// True when the connection is encrypted.
Task<bool> SMTPClient::open(const SMTPOrder& order) {
  if (!order.implicitTLS && order.useStartTLS && order.port == submissionPort) {
    Task<bool> opening = openInPlaceOfStartTLS(order.host);
    co_return co_await std::move(opening);
  }
  Task<void> connecting = connect({order.host, order.port, order.implicitTLS});
  co_await std::move(connecting);
  co_return order.implicitTLS;
}

Task<bool> SMTPClient::openInPlaceOfStartTLS(std::string host) {
  std::string failure;
  try {
    Task<void> encrypted = connect({host, implicitTLSPort, true});
    co_await std::move(encrypted);
    co_return true;
  } catch (const StreamError& error) {
    failure = error.what();
  }
  log_.logLine("SMTP: implicit TLS on port 465 failed (" + failure + "); trying port 587.");
  Task<void> plain = connect({host, submissionPort, false});
  co_await std::move(plain);
  co_return false;
}

Task<void> SMTPClient::connect(Endpoint endpoint) {
  Task<std::unique_ptr<ByteStream>> connecting = connector_.connect(std::move(endpoint));
  connection_ = co_await std::move(connecting);
}

Task<void> SMTPClient::perform(Step step) {
  Task<void> sending = connection_->send(std::move(step.bytes));
  co_await std::move(sending);
  co_await expect(step.code);
}

// Reads a whole reply, greeting included: any reply may have several lines (RFC 5321, section
// 4.2.1), and one left behind would pass for the answer to the next command. Each line must carry
// the code.
Task<void> SMTPClient::expect(std::string_view code) {
  const std::array codes{code};
  for (int lines = 1;; ++lines) {
    const std::string line = co_await readLine();
    // Servers may repeat what they were told, credentials included.
    if (!beginsWithOneOf(line, codes)) throw wrongReply(withoutSecrets(line, secrets_), codes);
    if (!continuesReply(line)) co_return;
    if (lines == mostLines) throw SMTPError::protocolError("The server's reply does not end.");
  }
}

Task<void> SMTPClient::sayHello(std::string host) {
  Task<void> sending = connection_->send("EHLO " + host + "\r\n");
  co_await std::move(sending);
  for (int lines = 1;; ++lines) {
    const std::string line = co_await readLine();
    if (line.starts_with("250 ")) co_return;
    if (!line.starts_with("250-")) throw SMTPError::protocolError("EHLO failed");
    if (lines == mostLines) throw SMTPError::protocolError("The server's reply does not end.");
  }
}

Task<std::string> SMTPClient::readLine() {
  const auto deadline = steady_clock::now() + replyLimit;
  for (;;) {
    std::optional<std::string> line = reader_.nextLine();
    if (line) co_return std::move(*line);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now());
    if (left.count() <= 0) throw SMTPError::protocolError("Read timeout");
    Task<Received> receiving = connection_->receive(reader_.room(), ReceiveWait{left, {}});
    const Received received = co_await std::move(receiving);
    if (received.count == 0) {
      throw received.finished ? SMTPError::connectionFailed()
                              : SMTPError::protocolError("Read timeout");
    }
    reader_.arrived(received.count);
  }
}

}  // namespace halcyra
