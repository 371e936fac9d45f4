#include "platform/linux/SocketChannel.h"

#include <sys/socket.h>

#include <cerrno>
#include <system_error>

#include "text/Case.h"

namespace halcyra {
namespace {

bool wouldWait() {
  return errno == EAGAIN || errno == EWOULDBLOCK;
}

StreamError connectionBroke(const Endpoint& peer, int systemError) {
  return StreamError("The connection to " + peerText(peer) + " broke: " + reasonText(systemError) +
                     ".");
}

}  // namespace

std::string peerText(const Endpoint& peer) {
  return peer.host + " port " + std::to_string(peer.port);
}

std::string reasonText(int systemError) {
  std::string text = std::generic_category().message(systemError);
  if (!text.empty()) text.front() = asciiLower(text.front());
  return text;
}

long receiveNow(int socket, std::span<char> room) {
  long count;
  do count = ::recv(socket, room.data(), room.size(), MSG_DONTWAIT);
  while (count < 0 && errno == EINTR);
  return count;
}

long sendNow(int socket, std::string_view bytes) {
  long count;
  do count = ::send(socket, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  while (count < 0 && errno == EINTR);
  return count;
}

SocketTry PlainChannel::read(std::span<char> room) {
  const long count = receiveNow(socket_, room);
  if (count > 0) return {SocketTry::Result::moved, static_cast<std::size_t>(count)};
  if (count == 0) return {SocketTry::Result::finished};
  if (wouldWait()) return {SocketTry::Result::needsReadable};
  throw connectionBroke(peer_, errno);
}

SocketTry PlainChannel::write(std::string_view bytes) {
  const long count = sendNow(socket_, bytes);
  if (count >= 0) return {SocketTry::Result::moved, static_cast<std::size_t>(count)};
  if (wouldWait()) return {SocketTry::Result::needsWritable};
  throw connectionBroke(peer_, errno);
}

}  // namespace halcyra
