#include "signin/OAuthWebSession.h"

#include <atomic>
#include <boost/asio/this_coro.hpp>
#include <optional>
#include <utility>

#include "signin/OAuthFlowError.h"
#include "signin/OAuthLoopbackServer.h"

namespace halcyra {
namespace {

/// Held by the one sign-in that may run in the process, whichever provider's it is.
class SingleFlight {
 public:
  SingleFlight() {
    if (isRunning_.exchange(true)) throw OAuthFlowError::signInAlreadyInProgress();
  }
  ~SingleFlight() { isRunning_ = false; }
  SingleFlight(const SingleFlight&) = delete;
  SingleFlight& operator=(const SingleFlight&) = delete;

 private:
  inline static std::atomic<bool> isRunning_ = false;
};

}  // namespace

Task<std::string> OAuthWebSession::runBrowserSignIn(std::string authorizationURL,
                                                    AnnounceAddress announce,
                                                    std::stop_token stop) {
  const SingleFlight onlyOne;
  const Executor executor = co_await boost::asio::this_coro::executor;
  OAuthLoopbackServer server(listener_, executor, port_);
  present(authorizationURL, announce);
  Task<std::optional<std::string>> waiting = server.redirect(std::move(stop));
  const std::optional<std::string> redirectURL = co_await std::move(waiting);
  Task<void> stopping = server.stop();
  co_await std::move(stopping);
  if (!redirectURL) throw OAuthFlowError::noCallback();
  co_return *redirectURL;
}

void OAuthWebSession::present(const std::string& address, const AnnounceAddress& announce) {
  const bool browserStarted = browser_.open(address);
  if (announce) {
    announce(address, browserStarted);
  } else if (!browserStarted) {
    throw OAuthFlowError::sessionStartFailed();
  }
}

void requireNotStopped(const std::stop_token& stop) {
  if (stop.stop_requested()) throw OAuthFlowError::noCallback();
}

}  // namespace halcyra
