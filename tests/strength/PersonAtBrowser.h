#pragma once

#include <boost/asio/post.hpp>
#include <cstring>
#include <functional>
#include <memory>
#include <string>

#include "platform/Browser.h"
#include "platform/LoopbackListener.h"
#include "sandbox/LoopbackHttpServer.h"

namespace halcyra {

/// A person who allows whatever a provider's page asks, in a browser that follows the redirect to
/// the program.
class PersonAtBrowser : public LoopbackListener, public Browser {
 public:
  using Page = std::function<HttpResponse(const sandbox::ServedRequest&)>;

  explicit PersonAtBrowser(Executor executor) : executor_(std::move(executor)) {}

  /// Who answers the address that is opened next.
  Page page;

  std::unique_ptr<Listening> listen(std::uint16_t, Accepted accepted) override {
    accepted_ = std::move(accepted);
    return std::make_unique<Listening>();
  }

  bool open(const std::string& address) override {
    const std::string target = address.substr(address.find('/', address.find("://") + 3));
    const HttpResponse allowed = page({"GET", target + "&decision=allow", {}, ""});
    for (const HttpHeader& header : allowed.headers) {
      if (header.name != "Location") continue;
      const std::size_t path = header.value.find('/', header.value.find("://") + 3);
      const std::string request = "GET " + header.value.substr(path) + " HTTP/1.1\r\n\r\n";
      boost::asio::post(executor_,
                        [this, request] { accepted_(std::make_unique<Redirect>(request)); });
    }
    return true;
  }

 private:
  class Redirect : public ByteStream {
   public:
    explicit Redirect(std::string request) : request_(std::move(request)) {}
    Task<Received> receive(std::span<char> room, ReceiveWait) override {
      const std::size_t count = std::min(room.size(), request_.size());
      std::memcpy(room.data(), request_.data(), count);
      request_.erase(0, count);
      co_return Received{count, count == 0};
    }
    Task<void> send(std::string) override { co_return; }
    void close() noexcept override {}

   private:
    std::string request_;
  };

  Executor executor_;
  Accepted accepted_;
};

}  // namespace halcyra
