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
/// the program. Without an answer, and while the program listens, the person loads the page again.
class PersonAtBrowser : public LoopbackListener, public Browser {
 public:
  using Page = std::function<HttpResponse(const sandbox::ServedRequest&)>;

  explicit PersonAtBrowser(Executor executor) : executor_(std::move(executor)) {}

  /// Who answers the address that is opened next.
  Page page;

  /// The way of the browser's bytes to the program.
  std::function<std::unique_ptr<ByteStream>(std::unique_ptr<ByteStream>)> way;

  std::unique_ptr<Listening> listen(std::uint16_t, Accepted accepted) override {
    auto port = std::make_unique<Port>();
    port->accepted = std::make_shared<Accepted>(std::move(accepted));
    accepted_ = port->accepted;
    return port;
  }

  bool open(const std::string& address) override {
    const std::string target = address.substr(address.find('/', address.find("://") + 3));
    const HttpResponse allowed = page({"GET", target + "&decision=allow", {}, ""});
    for (const HttpHeader& header : allowed.headers) {
      if (header.name != "Location") continue;
      const std::size_t path = header.value.find('/', header.value.find("://") + 3);
      follow("GET " + header.value.substr(path) + " HTTP/1.1\r\n\r\n");
    }
    return true;
  }

 private:
  struct Port : Listening {
    std::shared_ptr<Accepted> accepted;
  };

  class Redirect : public ByteStream {
   public:
    Redirect(PersonAtBrowser& person, std::string request)
        : person_(person), request_(std::move(request)) {}
    Task<Received> receive(std::span<char> room, ReceiveWait) override {
      const std::size_t count = std::min(room.size(), request_.size() - sent_);
      std::memcpy(room.data(), request_.data() + sent_, count);
      sent_ += count;
      co_return Received{count, count == 0};
    }
    Task<void> send(std::string bytes) override {
      isAnswered_ = isAnswered_ || bytes.starts_with("HTTP/1.1 200");
      co_return;
    }
    void close() noexcept override {
      if (!isAnswered_) person_.follow(request_);
      isAnswered_ = true;
    }

   private:
    PersonAtBrowser& person_;
    const std::string request_;
    std::size_t sent_ = 0;
    bool isAnswered_ = false;
  };

  void follow(std::string request) {
    boost::asio::post(executor_, [this, request = std::move(request)] {
      const auto accepted = accepted_.lock();
      if (!accepted) return;
      auto redirect = std::make_unique<Redirect>(*this, request);
      (*accepted)(way(std::move(redirect)));
    });
  }

  Executor executor_;
  std::weak_ptr<Accepted> accepted_;
};

}  // namespace halcyra
