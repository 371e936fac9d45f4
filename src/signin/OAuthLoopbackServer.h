#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "platform/LoopbackListener.h"
#include "platform/Task.h"
#include "platform/TaskGroup.h"
#include "signin/OAuthRedirect.h"

namespace halcyra {

/// The small HTTP server that the browser is redirected to. Serves one flow. All of it runs on one
/// executor, which is the listener's.
class OAuthLoopbackServer {
 public:
  /// Open connections; one more ends the oldest, so that idle ones cannot keep the redirect out.
  static constexpr std::size_t mostConnections = 32;

  /// Listens from here on. Throws OAuthFlowError::loopbackListenFailed.
  OAuthLoopbackServer(LoopbackListener& listener, const Executor& executor, std::uint16_t port);
  ~OAuthLoopbackServer();
  OAuthLoopbackServer(const OAuthLoopbackServer&) = delete;
  OAuthLoopbackServer& operator=(const OAuthLoopbackServer&) = delete;

  /// The URL of the redirect, once its answer is on the way; one that came before the call counts.
  /// Nothing when a stop, which any thread may request, came first.
  Task<std::optional<std::string>> redirect(std::stop_token stop);

  /// Frees the port, drops the connections and ends when their tasks have.
  Task<void> stop();

 private:
  struct State;
  class Registration;

  static Task<void> serve(std::shared_ptr<State> state, std::unique_ptr<ByteStream> stream);
  void dropAll();

  std::shared_ptr<State> state_;
  TaskGroup connections_;
  std::unique_ptr<Listening> listening_;
};

}  // namespace halcyra
