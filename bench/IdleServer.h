#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <cstdint>
#include <future>
#include <thread>

namespace halcyra::bench {

/// An IMAP server on loopback with an empty mailbox that lets anybody in and notes when the first
/// client waits in IDLE (RFC 2177).
class IdleServer {
 public:
  IdleServer();
  ~IdleServer();

  std::uint16_t port() const { return acceptor_.local_endpoint().port(); }

  /// Throws std::runtime_error when no client does within a minute. To be called once.
  std::chrono::steady_clock::time_point firstIdle();

 private:
  boost::asio::awaitable<void> acceptAll();
  boost::asio::awaitable<void> serve(boost::asio::ip::tcp::socket socket);
  std::string answer(const std::string& line);

  boost::asio::io_context context_;
  boost::asio::ip::tcp::acceptor acceptor_;
  std::promise<std::chrono::steady_clock::time_point> idle_;
  bool idles_ = false;
  std::thread thread_;
};

}  // namespace halcyra::bench
