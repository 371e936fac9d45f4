#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "platform/ByteStream.h"

namespace halcyra {

/// What one try on a socket that never blocks came to.
struct SocketTry {
  enum class Result { moved, needsReadable, needsWritable, finished };
  Result result = Result::moved;
  std::size_t count = 0;  // bytes, when moved
};

/// "mail.example.org port 993"
std::string peerText(const Endpoint& peer);

/// "connection refused": the system's words for an errno.
std::string reasonText(int systemError);

/// recv and send that never wait and never raise SIGPIPE. They give -1 with errno set.
long receiveNow(int socket, std::span<char> room);
long sendNow(int socket, std::string_view bytes);

/// How bytes pass through a connected socket. No call waits; each says what to wait for, and after
/// that wait the same call is made again. All throw StreamError.
class SocketChannel {
 public:
  SocketChannel() = default;
  SocketChannel(const SocketChannel&) = delete;
  SocketChannel& operator=(const SocketChannel&) = delete;
  virtual ~SocketChannel() = default;

  /// To be called until it is `moved`, before anything else.
  virtual SocketTry open() = 0;
  /// `finished` when the peer has closed.
  virtual SocketTry read(std::span<char> room) = 0;
  /// May take a part of the bytes.
  virtual SocketTry write(std::string_view bytes) = 0;
  /// Has the channel received bytes that `read` did not give yet? The socket does not show them.
  virtual bool holdsBytes() const { return false; }
};

/// Bytes as they are. The socket must stay open as long as the channel is used.
class PlainChannel : public SocketChannel {
 public:
  PlainChannel(int socket, Endpoint peer) : socket_(socket), peer_(std::move(peer)) {}

  SocketTry open() override { return {}; }
  SocketTry read(std::span<char> room) override;
  SocketTry write(std::string_view bytes) override;

 private:
  int socket_;
  Endpoint peer_;
};

}  // namespace halcyra
