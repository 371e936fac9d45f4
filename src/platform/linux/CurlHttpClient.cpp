#include "platform/linux/CurlHttpClient.h"

#include <boost/asio/associated_executor.hpp>
#include <boost/asio/execution/outstanding_work.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/prefer.hpp>

#include "platform/linux/CurlEngine.h"

namespace halcyra {
namespace {

namespace asio = boost::asio;

// Hands a transfer to the engine; the awaiting coroutine goes on by its own executor, which has
// work until then.
struct Submit {
  CurlEngine& engine;

  template <class Handler>
  void operator()(Handler handler, std::unique_ptr<CurlTransfer> transfer) const {
    auto executor = asio::prefer(asio::get_associated_executor(handler),
                                 asio::execution::outstanding_work.tracked);
    auto waiting = std::make_shared<Handler>(std::move(handler));
    engine.submit(std::move(transfer), [executor,
                                        waiting = std::move(waiting)](CurlOutcome outcome) mutable {
      asio::post(executor, [resume = std::move(waiting), outcome = std::move(outcome)]() mutable {
        (*resume)(std::move(outcome));
      });
    });
  }
};

}  // namespace

CurlHttpClient::CurlHttpClient(Now now) : engine_(std::make_unique<CurlEngine>(std::move(now))) {}

CurlHttpClient::~CurlHttpClient() = default;

Task<HttpResponse> CurlHttpClient::perform(HttpRequest request) {
  auto transfer = std::make_unique<CurlTransfer>(std::move(request));
  Task<CurlOutcome> transferring =
      asio::async_initiate<const asio::use_awaitable_t<>, void(CurlOutcome)>(
          Submit{*engine_}, asio::use_awaitable, std::move(transfer));
  CurlOutcome outcome = co_await std::move(transferring);
  if (outcome.failure) throw HttpError(outcome.failure->kind, outcome.failure->text);
  co_return std::move(outcome.response);
}

}  // namespace halcyra
