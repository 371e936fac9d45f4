#include "platform/linux/SocketListener.h"

#include <boost/asio/detached.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <vector>

#include "platform/linux/SocketStream.h"

namespace halcyra {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

using Acceptor = std::shared_ptr<tcp::acceptor>;

// Throws boost::system::system_error.
Acceptor boundAcceptor(const Executor& executor, const tcp::endpoint& address) {
  auto acceptor = std::make_shared<tcp::acceptor>(executor);
  acceptor->open(address.protocol());
  acceptor->set_option(tcp::acceptor::reuse_address(true));
  if (address.address().is_v6()) acceptor->set_option(asio::ip::v6_only(true));
  acceptor->bind(address);
  acceptor->listen();
  return acceptor;
}

bool machineLacksAddress(const error_code& error) {
  return error == asio::error::address_family_not_supported ||
         error == boost::system::errc::address_not_available;
}

std::vector<Acceptor> boundAcceptors(const Executor& executor, std::uint16_t port) {
  std::vector<Acceptor> acceptors;
  acceptors.push_back(boundAcceptor(executor, {asio::ip::address_v4::loopback(), port}));
  try {
    acceptors.push_back(boundAcceptor(executor, {asio::ip::address_v6::loopback(), port}));
  } catch (const boost::system::system_error& error) {
    if (!machineLacksAddress(error.code())) throw;
  }
  return acceptors;
}

std::unique_ptr<ByteStream> streamOver(tcp::socket socket, std::uint16_t port) {
  const Endpoint peer{"localhost", port};
  auto channel = std::make_unique<PlainChannel>(socket.native_handle(), peer);
  return std::make_unique<SocketStream>(std::move(socket), std::move(channel), peer,
                                        SocketLimits());
}

// A failed accept says nothing about the next one, except that at a lack of file descriptors it
// would come at once.
Task<void> acceptAll(Acceptor acceptor, std::uint16_t port, LoopbackListener::Accepted accepted) {
  asio::steady_timer pause(acceptor->get_executor());
  for (;;) {
    error_code error;
    tcp::socket socket =
        co_await acceptor->async_accept(asio::redirect_error(asio::use_awaitable, error));
    if (!acceptor->is_open()) co_return;
    if (!error) {
      accepted(streamOver(std::move(socket), port));
      continue;
    }
    pause.expires_after(std::chrono::milliseconds(100));
    co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, error));
    if (!acceptor->is_open()) co_return;
  }
}

class OpenSockets : public Listening {
 public:
  explicit OpenSockets(std::vector<Acceptor> acceptors) : acceptors_(std::move(acceptors)) {}

  ~OpenSockets() override {
    error_code ignored;
    for (const Acceptor& acceptor : acceptors_) acceptor->close(ignored);
  }

 private:
  std::vector<Acceptor> acceptors_;
};

}  // namespace

std::unique_ptr<Listening> SocketListener::listen(std::uint16_t port, Accepted accepted) {
  try {
    std::vector<Acceptor> acceptors = boundAcceptors(executor_, port);
    for (const Acceptor& acceptor : acceptors) {
      asio::co_spawn(executor_, acceptAll(acceptor, port, accepted), asio::detached);
    }
    return std::make_unique<OpenSockets>(std::move(acceptors));
  } catch (const boost::system::system_error& error) {
    throw ListenError(error.code().message());
  }
}

}  // namespace halcyra
