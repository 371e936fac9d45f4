#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/HttpClient.h"

namespace halcyra::sandbox {

struct ServedRequest {
  std::string method;
  /// Path and query as sent.
  std::string target;
  std::vector<HttpHeader> headers;
  std::string body;

  /// The first header of this name, empty when there is none.
  std::string header(std::string_view name) const;
};

/// A small HTTP/1.1 server on 127.0.0.1 with a thread of its own. It keeps connections open between
/// requests and refuses bodies over 16 MB with 413.
class LoopbackHttpServer {
 public:
  /// Called on the server's thread, one request after another.
  using Handler = std::function<HttpResponse(const ServedRequest&)>;

  /// Serves at once. Port 0 takes a free one. Throws std::runtime_error when the port is taken.
  explicit LoopbackHttpServer(Handler handler, std::uint16_t port = 0);
  ~LoopbackHttpServer();

  std::uint16_t port() const;

  /// "http://127.0.0.1:PORT"
  std::string baseURL() const;

  /// Connections accepted so far. Any thread may ask.
  std::size_t connectionCount() const;

  /// Drops all connections and ends the thread. Nothing is served afterwards.
  void stop();

 private:
  class Service;
  std::unique_ptr<Service> service_;
};

}  // namespace halcyra::sandbox
