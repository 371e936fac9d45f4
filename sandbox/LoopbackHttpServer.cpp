#include "sandbox/LoopbackHttpServer.h"

#include <atomic>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <optional>
#include <thread>
#include <utility>

#include "text/Case.h"

namespace halcyra::sandbox {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;

constexpr std::uint64_t longestBody = 16u << 20;

ServedRequest served(http::request<http::string_body> message) {
  ServedRequest request;
  request.method = message.method_string();
  request.target = message.target();
  for (const auto& field : message) {
    request.headers.push_back({std::string(field.name_string()), std::string(field.value())});
  }
  request.body = std::move(message.body());
  return request;
}

http::response<http::string_body> answer(HttpResponse response, bool keepAlive) {
  http::response<http::string_body> message;
  message.result(static_cast<unsigned>(response.status));
  for (const HttpHeader& header : response.headers) message.insert(header.name, header.value);
  message.body() = std::move(response.body);
  message.keep_alive(keepAlive);
  message.prepare_payload();
  return message;
}

}  // namespace

std::string ServedRequest::header(std::string_view name) const {
  for (const HttpHeader& header : headers) {
    if (equalsIgnoringAsciiCase(header.name, name)) return header.value;
  }
  return {};
}

class LoopbackHttpServer::Service {
 public:
  Service(Handler handler, std::uint16_t port)
      : handler_(std::move(handler)),
        context_(std::in_place, 1),
        acceptor_(std::in_place, *context_, tcp::endpoint(asio::ip::address_v4::loopback(), port)),
        port_(acceptor_->local_endpoint().port()) {
    asio::co_spawn(*context_, acceptAll(), asio::detached);
    thread_ = std::thread([this] { context_->run(); });
  }

  ~Service() { stop(); }

  void stop() {
    if (!context_) return;
    context_->stop();
    thread_.join();
    acceptor_.reset();
    context_.reset();  // and with it the coroutines that own the connections
  }

  std::uint16_t port() const { return port_; }
  std::size_t connectionCount() const { return connectionCount_; }

 private:
  asio::awaitable<void> acceptAll() {
    while (true) {
      tcp::socket socket = co_await acceptor_->async_accept(asio::use_awaitable);
      ++connectionCount_;
      asio::co_spawn(*context_, serve(std::move(socket)), asio::detached);
    }
  }

  // Ends by an exception when the peer goes away, which the spawner ignores.
  asio::awaitable<void> serve(tcp::socket socket) {
    boost::beast::flat_buffer buffer;
    bool keepAlive = true;
    while (keepAlive) {
      http::request_parser<http::string_body> parser;
      parser.body_limit(longestBody);
      boost::system::error_code error;
      auto reading = asio::redirect_error(asio::use_awaitable, error);
      co_await http::async_read(socket, buffer, parser, reading);
      HttpResponse response;
      if (error == http::error::body_limit) {
        response.status = 413;
        keepAlive = false;
      } else if (error) {
        co_return;
      } else {
        keepAlive = parser.get().keep_alive();
        response = handler_(served(parser.release()));
      }
      http::response<http::string_body> message = answer(std::move(response), keepAlive);
      co_await http::async_write(socket, message, asio::use_awaitable);
    }
    socket.shutdown(tcp::socket::shutdown_send);
  }

  Handler handler_;
  std::optional<asio::io_context> context_;
  std::optional<tcp::acceptor> acceptor_;
  const std::uint16_t port_;
  std::atomic<std::size_t> connectionCount_ = 0;
  std::thread thread_;
};

LoopbackHttpServer::LoopbackHttpServer(Handler handler, std::uint16_t port)
    : service_(std::make_unique<Service>(std::move(handler), port)) {}

LoopbackHttpServer::~LoopbackHttpServer() = default;

std::uint16_t LoopbackHttpServer::port() const {
  return service_->port();
}

std::string LoopbackHttpServer::baseURL() const {
  return "http://127.0.0.1:" + std::to_string(port());
}

std::size_t LoopbackHttpServer::connectionCount() const {
  return service_->connectionCount();
}

void LoopbackHttpServer::stop() {
  service_->stop();
}

}  // namespace halcyra::sandbox
