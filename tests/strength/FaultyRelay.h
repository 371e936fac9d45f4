#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Wire.h"

namespace halcyra {

/// A port of 127.0.0.1 that leads to another one over a wire. Both the relay's thread and its
/// connections end with it.
class FaultyRelay {
 public:
  /// `stalled` is called on the relay's thread when a connection falls silent.
  FaultyRelay(std::uint16_t target, Wire& wire, std::function<void()> stalled);
  ~FaultyRelay();

  /// Ends the connections that are open.
  void dropAll();

  std::uint16_t port() const { return port_; }
  std::string baseURL() const { return "http://127.0.0.1:" + std::to_string(port_); }

 private:
  using Socket = boost::asio::ip::tcp::socket;
  struct Connection {
    Socket client;
    Socket server;
    bool stalled = false;
  };

  boost::asio::awaitable<void> accept();
  boost::asio::awaitable<void> pump(std::shared_ptr<Connection> connection, Socket* from,
                                    Socket* to);

  Wire& wire_;
  const std::function<void()> stalled_;
  const std::uint16_t target_;
  std::uint16_t port_;
  std::vector<std::shared_ptr<Connection>> connections_;
  boost::asio::io_context context_{1};
  boost::asio::ip::tcp::acceptor acceptor_;
  std::thread thread_;
};

}  // namespace halcyra
