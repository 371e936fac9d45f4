#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <memory>
#include <stop_token>

#include "platform/Task.h"

namespace halcyra {

/// While it lives, cancels the socket's pending operation once the time is up or a stop is
/// requested (from any thread). The socket's executor must run one thing at a time, the creator
/// among them.
class OperationLimit {
 public:
  using Deadline = std::chrono::steady_clock::time_point;

  OperationLimit(boost::asio::ip::tcp::socket& socket, Deadline deadline,
                 const std::stop_token& stop);
  ~OperationLimit();
  OperationLimit(const OperationLimit&) = delete;
  OperationLimit& operator=(const OperationLimit&) = delete;

 private:
  // Shared with handlers that may still be queued when the limit is gone.
  struct Target {
    boost::asio::ip::tcp::socket* socket;
  };
  struct CancelSoon {
    Executor executor;
    std::shared_ptr<Target> target;
    void operator()() const;
  };
  static void cancel(Target& target);

  std::shared_ptr<Target> target_;
  boost::asio::steady_timer timer_;
  std::stop_callback<CancelSoon> onStop_;
};

}  // namespace halcyra
