#include "platform/linux/SocketStream.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <string_view>
#include <utility>

namespace halcyra {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using std::chrono::steady_clock;

// Bytes that may pass without a wait before other tasks of the executor get their turn.
constexpr std::size_t fairShare = 1u << 20;

// A server with a second piece to send may hold it back until the first is acknowledged (RFC 896),
// which the system else puts off for 40 ms. The option wears off, so each wait for a further piece
// sets it. It is a help only: a refusal is no failure.
void acknowledgeAtOnce(int socket) {
  const int yes = 1;
  ::setsockopt(socket, IPPROTO_TCP, TCP_QUICKACK, &yes, sizeof yes);
}

}  // namespace

SocketStream::SocketStream(tcp::socket socket, std::unique_ptr<SocketChannel> channel,
                           Endpoint peer, const SocketLimits& limits)
    : socket_(std::move(socket)),
      channel_(std::move(channel)),
      peer_(std::move(peer)),
      limits_(limits),
      limit_(socket_) {}

Task<void> SocketStream::open() {
  const auto deadline = steady_clock::now() + limits_.connect;
  const std::stop_token never;
  for (;;) {
    const SocketTry attempt = channel_->open();
    if (attempt.result == SocketTry::Result::moved) co_return;
    if (!co_await ready(attempt.result, deadline, never)) {
      throw silent("did not finish the TLS handshake within", limits_.connect);
    }
  }
}

Task<Received> SocketStream::receive(std::span<char> room, ReceiveWait wait) {
  const Deadline own = wait.longest ? steady_clock::now() + *wait.longest : Deadline();
  for (;;) {
    requireOpen();
    const SocketTry attempt = read(room);
    if (attempt.result == SocketTry::Result::finished) co_return Received{0, true};
    if (attempt.result == SocketTry::Result::moved) {
      movedWithoutWait_ += attempt.count;
      if (movedWithoutWait_ >= fairShare) co_await letOthersRun();
      co_return Received{attempt.count, false};
    }
    // With TLS a wake-up may bring bytes but no text yet: the silence limit counts anew.
    const Deadline deadline = wait.longest ? own : steady_clock::now() + limits_.silence;
    if (!co_await ready(attempt.result, deadline, wait.stop)) {
      if (wait.longest || wait.stop.stop_requested()) co_return Received{};
      throw silent("sent nothing for", limits_.silence);
    }
  }
}

Task<void> SocketStream::send(std::string bytes) {
  const std::stop_token never;
  std::string_view rest = bytes;
  while (!rest.empty()) {
    requireOpen();
    const SocketTry attempt = channel_->write(rest);
    if (attempt.result == SocketTry::Result::moved) {
      rest.remove_prefix(attempt.count);
      continue;
    }
    if (attempt.result == SocketTry::Result::finished) {
      throw StreamError("The connection to " + peerText(peer_) + " was closed by the server.");
    }
    if (!co_await ready(attempt.result, steady_clock::now() + limits_.silence, never)) {
      throw silent("took no bytes for", limits_.silence);
    }
  }
  asked_ = true;
}

void SocketStream::close() noexcept {
  boost::system::error_code ignored;
  socket_.close(ignored);
  limit_.rest();
}

// Just after a question a look for the answer would find nothing, so the wait comes first.
SocketTry SocketStream::read(std::span<char> room) {
  if (asked_ && !channel_->holdsBytes()) return {SocketTry::Result::needsReadable};
  asked_ = false;
  return channel_->read(room);
}

// Waits until the socket may move bytes; false when the deadline or a stop came first. Only the
// wait is cancelled, never a transfer, so no byte is lost. Throws when the stream is closed
// meanwhile.
Task<bool> SocketStream::ready(SocketTry::Result need, Deadline deadline,
                               const std::stop_token& stop) {
  movedWithoutWait_ = 0;
  const bool firstPiece = std::exchange(asked_, false);
  if (stop.stop_requested() || steady_clock::now() >= deadline) co_return false;
  const bool reads = need == SocketTry::Result::needsReadable;
  // What was sent last has acknowledged all that came before it.
  if (reads && !firstPiece) acknowledgeAtOnce(socket_.native_handle());
  const auto direction = reads ? tcp::socket::wait_read : tcp::socket::wait_write;
  boost::system::error_code error;
  const OperationLimit::Wait limited(limit_, deadline, stop);
  co_await socket_.async_wait(direction, asio::redirect_error(asio::use_awaitable, error));
  requireOpen();
  co_return !error;
}

Task<void> SocketStream::letOthersRun() {
  movedWithoutWait_ = 0;
  co_await asio::post(socket_.get_executor(), asio::use_awaitable);
}

void SocketStream::requireOpen() const {
  if (!socket_.is_open()) throw StreamError("The connection to " + peerText(peer_) + " is closed.");
}

StreamError SocketStream::silent(const char* what, std::chrono::milliseconds limit) const {
  const auto seconds = std::chrono::ceil<std::chrono::seconds>(limit).count();
  return StreamError("The server " + peerText(peer_) + " " + what + " " + std::to_string(seconds) +
                     " seconds.");
}

}  // namespace halcyra
