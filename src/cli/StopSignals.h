#pragma once

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <thread>

#include "platform/Task.h"

namespace halcyra {

/// SIGINT, SIGTERM and the end of the terminal. The first asks for a clean stop; a second, or what
/// still runs after the grace, ends the process at once. What is not recorded then is met again.
/// Only a message on its way out is uncertain at that moment, so the grace does not end during a
/// send; a second signal ends it all the same.
///
/// Signals have a thread of their own: the main one may be held up by an output that nobody reads.
class StopSignals {
 public:
  /// `isSending` tells whether a message is on its way out; any thread may ask.
  StopSignals(Executor main, std::function<bool()> isSending);
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  /// True at the first signal, false when `cancel` came before it. Belongs to the main executor.
  Task<bool> first();

  /// No signal and no grace ends the process any more.
  void cancel();

 private:
  void await();
  void received();
  void endAfterGrace();

  std::function<bool()> isSending_;
  // Of the main executor: never expires, cancelled to tell. What does that may run late.
  std::shared_ptr<boost::asio::steady_timer> told_;
  std::atomic<bool> stopping_ = false;
  boost::asio::io_context watching_{1};
  boost::asio::signal_set signals_;
  boost::asio::steady_timer grace_;
  std::thread watcher_;
};

}  // namespace halcyra
