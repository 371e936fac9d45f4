#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <stop_token>

#include "platform/Task.h"

namespace halcyra {

/// Ends the waits of one socket, one after the other, when their time is up or a stop is requested
/// (from any thread). The timer stays set from one wait to the next, since most waits are much
/// shorter than it costs to set it for each: it looks at the deadline of the wait that it meets.
/// The socket must outlive it, and its executor must run one thing at a time, all users among them.
class OperationLimit {
 public:
  using Deadline = std::chrono::steady_clock::time_point;
  class Wait;

  explicit OperationLimit(boost::asio::ip::tcp::socket& socket);
  ~OperationLimit();
  OperationLimit(const OperationLimit&) = delete;
  OperationLimit& operator=(const OperationLimit&) = delete;

  /// Stops the timer, which otherwise keeps its executor at work between the waits.
  void rest() noexcept;

 private:
  // Shared with handlers and waits that may still be there when the limit is gone.
  struct Current {
    OperationLimit* limit;
    Deadline deadline = {};
    std::uint64_t number = 0;  // of the wait, so that a late stop does not end the one after it
    bool waiting = false;
  };

  void setTimer();
  void timeUp();
  void cancel();

  boost::asio::ip::tcp::socket& socket_;
  boost::asio::steady_timer timer_;
  Deadline timerAt_ = Deadline::max();  // never while it is not set
  std::shared_ptr<Current> current_;
};

/// While it lives, the socket's pending operation has a limit. There is one at a time.
class OperationLimit::Wait {
 public:
  Wait(OperationLimit& limit, Deadline deadline, const std::stop_token& stop);
  ~Wait();
  Wait(const Wait&) = delete;
  Wait& operator=(const Wait&) = delete;

 private:
  struct CancelSoon {
    Executor executor;
    std::shared_ptr<Current> current;
    std::uint64_t number;
    void operator()() const;
  };

  std::shared_ptr<Current> current_;
  std::stop_callback<CancelSoon> onStop_;
};

}  // namespace halcyra
