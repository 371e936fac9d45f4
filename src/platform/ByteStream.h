#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <stop_token>
#include <string>

#include "platform/Task.h"

namespace halcyra {

/// The connection's own failure: refused, reset, silent for too long, a certificate that does not
/// fit. `what()` names the peer and is fit to be shown.
class StreamError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// How long a receive may wait for the first byte.
struct ReceiveWait {
  /// Without a value the connection's own limits hold.
  std::optional<std::chrono::milliseconds> longest;
  std::stop_token stop;
};

/// What a receive brought. No bytes and not finished means that the wait ended first.
struct Received {
  std::size_t count = 0;
  bool finished = false;
};

/// One connection to a peer. One task uses it at a time.
class ByteStream {
 public:
  virtual ~ByteStream() = default;

  /// Puts between 1 and `room.size()` bytes into `room`, as soon as there are any. Throws
  /// StreamError. `room` must outlive the call.
  virtual Task<Received> receive(std::span<char> room, ReceiveWait wait) = 0;

  /// Hands all bytes to the system. Throws StreamError.
  virtual Task<void> send(std::string bytes) = 0;

  /// Drops the connection at once. A receive under way ends with StreamError.
  virtual void close() noexcept = 0;
};

struct Endpoint {
  std::string host;
  std::uint16_t port = 0;
  /// TLS from the first byte, with the system's trust store and a check of the host name, or a
  /// session in which it was checked.
  bool implicitTLS = false;

  bool operator==(const Endpoint&) const = default;
};

class StreamConnector {
 public:
  virtual ~StreamConnector() = default;

  /// A connection that is ready for use. Throws StreamError.
  virtual Task<std::unique_ptr<ByteStream>> connect(Endpoint endpoint) = 0;
};

}  // namespace halcyra
