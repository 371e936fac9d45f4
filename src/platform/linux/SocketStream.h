#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <cstddef>
#include <memory>
#include <stop_token>

#include "platform/ByteStream.h"
#include "platform/linux/OperationLimit.h"
#include "platform/linux/SocketChannel.h"

namespace halcyra {

/// The limits of a connection itself.
struct SocketLimits {
  /// For TCP, all addresses of a host together, and once more for the TLS handshake.
  std::chrono::milliseconds connect = std::chrono::seconds(30);
  /// Without any byte from the peer, where a receive has no limit of its own, or taken by the peer.
  /// Long, since a server may think about a search in a large mailbox; a peer that is gone is
  /// noticed by what follows.
  std::chrono::milliseconds silence = std::chrono::minutes(10);
  /// TCP keepalive: a peer that vanished is noticed after about two minutes.
  std::chrono::seconds keepaliveIdle{60};
  std::chrono::seconds keepaliveInterval{15};
  int keepaliveCount = 4;
  /// For sent bytes that nobody acknowledges (TCP_USER_TIMEOUT, RFC 5482).
  std::chrono::milliseconds userTimeout = std::chrono::seconds(120);
};

/// A connected TCP socket, plain or with TLS. All tasks must be awaited on the socket's executor,
/// which runs one thing at a time; `close` is called there too. After its first wait a stream keeps
/// a timer set until it is closed or goes.
class SocketStream : public ByteStream {
 public:
  SocketStream(boost::asio::ip::tcp::socket socket, std::unique_ptr<SocketChannel> channel,
               Endpoint peer, const SocketLimits& limits);

  /// What the channel does before any byte passes. Throws StreamError.
  Task<void> open();

  Task<Received> receive(std::span<char> room, ReceiveWait wait) override;
  Task<void> send(std::string bytes) override;
  void close() noexcept override;

 private:
  using Deadline = OperationLimit::Deadline;

  Task<bool> ready(SocketTry::Result need, Deadline deadline, const std::stop_token& stop);
  SocketTry read(std::span<char> room);
  Task<void> letOthersRun();
  void requireOpen() const;
  StreamError silent(const char* what, std::chrono::milliseconds limit) const;

  boost::asio::ip::tcp::socket socket_;
  std::unique_ptr<SocketChannel> channel_;
  Endpoint peer_;
  SocketLimits limits_;
  OperationLimit limit_;
  std::size_t movedWithoutWait_ = 0;
  bool asked_ = false;  // something was sent, and nothing received or waited for since
};

}  // namespace halcyra
