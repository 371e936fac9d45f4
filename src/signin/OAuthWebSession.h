#pragma once

#include <cstdint>
#include <functional>
#include <stop_token>
#include <string>

#include "platform/Browser.h"
#include "platform/LoopbackListener.h"
#include "platform/Task.h"
#include "signin/OAuthRedirect.h"

namespace halcyra {

/// Tells the user the address to open; `browserStarted` says whether a browser was asked to. Called
/// when the redirect can already be received.
using AnnounceAddress = std::function<void(const std::string& address, bool browserStarted)>;

/// Sends the user to a provider's page and waits for the browser to come back. Knows nothing of any
/// provider.
class OAuthWebSession {
 public:
  /// `port` is another than the registered one only in tests. Both collaborators must outlive the
  /// session's flows.
  OAuthWebSession(LoopbackListener& listener, Browser& browser, std::uint16_t port = redirectPort)
      : listener_(listener), browser_(browser), port_(port) {}

  /// The full URL of the redirect. One flow at a time runs in the process. It has no time-out: it
  /// ends by the redirect or by the stop, which any thread may request; after either the port is
  /// free. To be awaited on the listener's executor. Throws OAuthFlowError:
  /// signInAlreadyInProgress, loopbackListenFailed, noCallback at a stop, and sessionStartFailed
  /// when no browser can be started and there is no `announce`, which may be empty.
  Task<std::string> runBrowserSignIn(std::string authorizationURL, AnnounceAddress announce,
                                     std::stop_token stop);

 private:
  void present(const std::string& address, const AnnounceAddress& announce);

  LoopbackListener& listener_;
  Browser& browser_;
  std::uint16_t port_;
};

/// Throws OAuthFlowError::noCallback after a stop. For what follows the browser: whoever gave up
/// while the tokens were on their way is not to be signed in.
void requireNotStopped(const std::stop_token& stop);

}  // namespace halcyra
