#pragma once

#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>

#include "platform/Task.h"

namespace halcyra {

/// SIGINT, SIGTERM and the end of the terminal. The first asks for a clean stop; a second, or a
/// task that still waits for the network after the grace, ends the process at once. What is not
/// recorded then is met again. Only a message on its way out is uncertain at that moment, so the
/// grace does not end during a send; a second signal ends it all the same.
class StopSignals {
 public:
  /// `isSending` tells whether a message is on its way out.
  StopSignals(Executor main, std::function<bool()> isSending);

  /// True at the first signal, false when `cancel` came before it.
  Task<bool> first();

  /// `uncertain` is what to say, once, when a message is on its way out.
  void endAtOnceOnSecond(const std::function<void()>& uncertain);

  void cancel();

 private:
  void endAfterGrace();

  std::function<bool()> isSending_;
  boost::asio::signal_set signals_;
  boost::asio::steady_timer grace_;
};

}  // namespace halcyra
