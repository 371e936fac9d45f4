#include "platform/linux/SocketConnector.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/redirect_error.hpp>
#include <utility>

namespace halcyra {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;
using std::chrono::steady_clock;

StreamError cannotConnect(const Endpoint& endpoint, const std::string& reason) {
  return StreamError("Cannot connect to " + peerText(endpoint) + ": " + reason + ".");
}

std::string resolverReason(const error_code& error) {
  if (error == asio::error::host_not_found || error == asio::error::no_data) {
    return "the host name is not known";
  }
  if (error == asio::error::host_not_found_try_again) return "the name server does not answer";
  return error.message();
}

// Connecting leaves a watch for room to write, and a socket that has room would end each wait for
// bytes to read a first time for nothing.
tcp::socket registeredAnew(tcp::socket& connected, tcp protocol) {
  return {connected.get_executor(), protocol, connected.release()};
}

void setOption(int socket, int level, int name, int value) {
  ::setsockopt(socket, level, name, &value, sizeof value);
}

}  // namespace

Task<std::unique_ptr<ByteStream>> SocketConnector::connect(Endpoint endpoint) {
  if (endpoint.host.empty() || endpoint.host.find('\0') != endpoint.host.npos) {
    throw cannotConnect(endpoint, "the host name is empty or holds a NUL");
  }
  const Addresses addresses = co_await addressesOf(endpoint);
  tcp::socket socket = co_await connected(endpoint, addresses);
  configure(socket);
  auto channel = channelFor(socket.native_handle(), endpoint);
  auto stream =
      std::make_unique<SocketStream>(std::move(socket), std::move(channel), endpoint, limits_);
  co_await stream->open();
  co_return stream;
}

Task<SocketConnector::Addresses> SocketConnector::addressesOf(const Endpoint& endpoint) {
  tcp::resolver resolver(io_);
  error_code error;
  const std::string port = std::to_string(endpoint.port);
  const auto found =
      co_await resolver.async_resolve(endpoint.host, port, tcp::resolver::numeric_service,
                                      asio::redirect_error(asio::use_awaitable, error));
  if (error) throw cannotConnect(endpoint, resolverReason(error));
  Addresses addresses;
  for (const auto& entry : found) addresses.push_back(entry.endpoint());
  co_return addresses;
}

Task<tcp::socket> SocketConnector::connected(const Endpoint& endpoint, const Addresses& addresses) {
  const auto deadline = steady_clock::now() + limits_.connect;
  error_code error = asio::error::host_unreachable;
  auto left = static_cast<long>(addresses.size());
  for (const tcp::endpoint& address : addresses) {
    // An address that swallows everything leaves the others their share of the time.
    const auto now = steady_clock::now();
    tcp::socket socket(io_);
    error = co_await tryAddress(socket, address, now + (deadline - now) / left--);
    if (!error) co_return registeredAnew(socket, address.protocol());
  }
  const bool timeUp = error == asio::error::operation_aborted;
  throw cannotConnect(endpoint,
                      timeUp ? "no answer within " + timeText() : reasonText(error.value()));
}

Task<error_code> SocketConnector::tryAddress(tcp::socket& socket, tcp::endpoint address,
                                             OperationLimit::Deadline deadline) {
  error_code error;
  socket.open(address.protocol(), error);
  if (error) co_return error;
  OperationLimit limit(socket);
  const OperationLimit::Wait wait(limit, deadline, {});
  co_await socket.async_connect(address, asio::redirect_error(asio::use_awaitable, error));
  co_return error;
}

// Keepalive and the user time-out end a connection whose peer or network is gone, for instance
// after the machine slept. Each is a help only, so a refusal is no failure.
void SocketConnector::configure(tcp::socket& socket) const {
  const int handle = socket.native_handle();
  setOption(handle, SOL_SOCKET, SO_KEEPALIVE, 1);
  setOption(handle, IPPROTO_TCP, TCP_KEEPIDLE, static_cast<int>(limits_.keepaliveIdle.count()));
  setOption(handle, IPPROTO_TCP, TCP_KEEPINTVL,
            static_cast<int>(limits_.keepaliveInterval.count()));
  setOption(handle, IPPROTO_TCP, TCP_KEEPCNT, limits_.keepaliveCount);
  setOption(handle, IPPROTO_TCP, TCP_USER_TIMEOUT, static_cast<int>(limits_.userTimeout.count()));
  setOption(handle, IPPROTO_TCP, TCP_NODELAY, 1);
}

std::unique_ptr<SocketChannel> SocketConnector::channelFor(int socket, const Endpoint& endpoint) {
  if (!endpoint.implicitTLS) return std::make_unique<PlainChannel>(socket, endpoint);
  if (!tls_) tls_.emplace();
  return std::make_unique<TlsChannel>(*tls_, socket, endpoint);
}

std::string SocketConnector::timeText() const {
  const auto seconds = std::chrono::ceil<std::chrono::seconds>(limits_.connect).count();
  return std::to_string(seconds) + " seconds";
}

}  // namespace halcyra
