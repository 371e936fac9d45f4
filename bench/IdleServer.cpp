#include "bench/IdleServer.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <sstream>
#include <stdexcept>

namespace halcyra::bench {

namespace asio = boost::asio;
using asio::ip::tcp;

IdleServer::IdleServer() : acceptor_(context_, {asio::ip::address_v4::loopback(), 0}) {
  asio::co_spawn(context_, acceptAll(), asio::detached);
  thread_ = std::thread([this] { context_.run(); });
}

IdleServer::~IdleServer() {
  context_.stop();
  thread_.join();
}

std::chrono::steady_clock::time_point IdleServer::firstIdle() {
  std::future<std::chrono::steady_clock::time_point> idle = idle_.get_future();
  if (idle.wait_for(std::chrono::minutes(1)) != std::future_status::ready) {
    throw std::runtime_error("no client waits in IDLE");
  }
  return idle.get();
}

asio::awaitable<void> IdleServer::acceptAll() {
  for (;;) {
    tcp::socket socket = co_await acceptor_.async_accept(asio::use_awaitable);
    socket.set_option(tcp::no_delay(true));
    asio::co_spawn(context_, serve(std::move(socket)), asio::detached);
  }
}

asio::awaitable<void> IdleServer::serve(tcp::socket socket) {
  std::string reply = "* OK ready\r\n", heard;
  boost::system::error_code error;
  while (!error) {
    co_await asio::async_write(socket, asio::buffer(reply),
                               asio::redirect_error(asio::use_awaitable, error));
    if (error) co_return;
    const std::size_t size =
        co_await asio::async_read_until(socket, asio::dynamic_buffer(heard), "\r\n",
                                        asio::redirect_error(asio::use_awaitable, error));
    if (error) co_return;
    reply = answer(heard.substr(0, size));
    heard.erase(0, size);
  }
}

std::string IdleServer::answer(const std::string& line) {
  std::istringstream words(line);
  std::string tag, command, second;
  words >> tag >> command >> second;
  if (tag == "DONE") return "E OK IDLE done\r\n";
  const std::string done = tag + " OK done\r\n";
  if (command == "UID") command = second;
  if (command == "CAPABILITY") return "* CAPABILITY IMAP4rev1 IDLE\r\n" + done;
  if (command == "SELECT" || command == "EXAMINE") return "* 0 EXISTS\r\n" + done;
  if (command == "SEARCH") return "* SEARCH\r\n" + done;
  if (command != "IDLE") return done;
  if (!std::exchange(idles_, true)) idle_.set_value(std::chrono::steady_clock::now());
  return "+ idling\r\n";
}

}  // namespace halcyra::bench
