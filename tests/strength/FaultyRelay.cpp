#include "FaultyRelay.h"

#include <array>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <future>

namespace halcyra {

namespace asio = boost::asio;
using asio::ip::tcp;

FaultyRelay::FaultyRelay(std::uint16_t target, Wire& wire, std::function<void()> stalled)
    : wire_(wire),
      stalled_(std::move(stalled)),
      target_(target),
      acceptor_(context_, tcp::endpoint(asio::ip::address_v4::loopback(), 0)) {
  port_ = acceptor_.local_endpoint().port();
  asio::co_spawn(context_, accept(), asio::detached);
  thread_ = std::thread([this] { context_.run(); });
}

FaultyRelay::~FaultyRelay() {
  context_.stop();
  thread_.join();
  connections_.clear();
}

void FaultyRelay::dropAll() {
  std::promise<void> done;
  asio::post(context_, [&] {
    for (const auto& connection : connections_) {
      connection->client.close();
      connection->server.close();
    }
    connections_.clear();
    done.set_value();
  });
  done.get_future().wait();
}

asio::awaitable<void> FaultyRelay::accept() {
  while (true) {
    tcp::socket client = co_await acceptor_.async_accept(asio::use_awaitable);
    tcp::socket server(context_);
    const tcp::endpoint target(asio::ip::address_v4::loopback(), target_);
    co_await server.async_connect(target, asio::use_awaitable);
    client.set_option(tcp::no_delay(true));
    server.set_option(tcp::no_delay(true));
    auto connection = std::make_shared<Connection>(std::move(client), std::move(server));
    connections_.push_back(connection);
    Connection& c = *connection;
    asio::co_spawn(context_, pump(connection, &c.client, &c.server), asio::detached);
    asio::co_spawn(context_, pump(connection, &c.server, &c.client), asio::detached);
  }
}

asio::awaitable<void> FaultyRelay::pump(std::shared_ptr<Connection> connection, Socket* from,
                                        Socket* to) {
  bool open = true;
  while (open) {
    std::array<char, 16384> room;
    std::size_t count = 0;
    try {
      count = co_await from->async_read_some(asio::buffer(room), asio::use_awaitable);
    } catch (const boost::system::system_error&) {
      break;
    }
    if (connection->stalled) co_return;
    const Wire::Crossing crossing = wire_.cross(std::string(room.data(), count));
    for (const std::string& piece : crossing.pieces) {
      boost::system::error_code gone;
      asio::write(*to, asio::buffer(piece), gone);
      open = open && !gone;
    }
    connection->stalled = crossing.ending == FaultKind::stall;
    if (connection->stalled) stalled_();
    if (connection->stalled) co_return;
    open = open && crossing.ending == FaultKind::none;
  }
  if (connection->stalled) co_return;
  connection->client.close();
  connection->server.close();
}

}  // namespace halcyra
