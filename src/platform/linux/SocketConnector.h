#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <memory>
#include <optional>
#include <vector>

#include "platform/ByteStream.h"
#include "platform/linux/SocketStream.h"
#include "platform/linux/TlsChannel.h"

namespace halcyra {

/// Connections over TCP, with TLS by OpenSSL. `connect` and the tasks of its streams must be
/// awaited on the I/O executor, which runs one thing at a time (one thread, or a strand). The trust
/// store is the one of TlsContext, read at the first connection with TLS.
class SocketConnector : public StreamConnector {
 public:
  explicit SocketConnector(Executor io, SocketLimits limits = {})
      : io_(std::move(io)), limits_(limits) {}

  /// Tries the addresses of the host in the system's order.
  Task<std::unique_ptr<ByteStream>> connect(Endpoint endpoint) override;

 private:
  using Addresses = std::vector<boost::asio::ip::tcp::endpoint>;

  Task<Addresses> addressesOf(const Endpoint& endpoint);
  Task<boost::asio::ip::tcp::socket> connected(const Endpoint& endpoint,
                                               const Addresses& addresses);
  Task<boost::system::error_code> tryAddress(boost::asio::ip::tcp::socket& socket,
                                             boost::asio::ip::tcp::endpoint address,
                                             OperationLimit::Deadline deadline);
  void configure(boost::asio::ip::tcp::socket& socket) const;
  std::unique_ptr<SocketChannel> channelFor(int socket, const Endpoint& endpoint);
  std::string timeText() const;

  Executor io_;
  SocketLimits limits_;
  std::optional<TlsContext> tls_;
};

}  // namespace halcyra
