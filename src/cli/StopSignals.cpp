#include "cli/StopSignals.h"

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <utility>

namespace halcyra {

StopSignals::StopSignals(Executor main, std::function<bool()> isSending)
    : isSending_(std::move(isSending)),
      told_(std::make_shared<boost::asio::steady_timer>(
          std::move(main), std::chrono::steady_clock::time_point::max())),
      signals_(watching_, SIGINT, SIGTERM),
      grace_(watching_) {
  // Whoever started the program to outlive its terminal has this one ignored.
  struct sigaction hangUp {};
  sigaction(SIGHUP, nullptr, &hangUp);
  if (hangUp.sa_handler != SIG_IGN) signals_.add(SIGHUP);
  await();
  watcher_ = std::thread([this] { watching_.run(); });
}

StopSignals::~StopSignals() {
  cancel();
  watcher_.join();
}

Task<bool> StopSignals::first() {
  boost::system::error_code cancelled;
  if (!stopping_) {
    co_await told_->async_wait(boost::asio::redirect_error(boost::asio::use_awaitable, cancelled));
  }
  co_return stopping_;
}

void StopSignals::cancel() {
  watching_.stop();
  told_->cancel();
}

void StopSignals::await() {
  signals_.async_wait([this](boost::system::error_code cancelled, int) {
    if (!cancelled) received();
  });
}

void StopSignals::received() {
  if (stopping_.exchange(true)) std::_Exit(isSending_() ? 1 : 0);
  boost::asio::post(told_->get_executor(), [told = told_] { told->cancel(); });
  endAfterGrace();
  await();
}

// A message on its way out is waited for: nobody would know whether it arrived, and a forward would
// go out again at the next start.
void StopSignals::endAfterGrace() {
  grace_.expires_after(std::chrono::seconds(10));
  grace_.async_wait([this](boost::system::error_code cancelled) {
    if (cancelled) return;
    if (!isSending_()) std::_Exit(0);
    endAfterGrace();
  });
}

}  // namespace halcyra
