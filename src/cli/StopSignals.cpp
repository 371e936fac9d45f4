#include "cli/StopSignals.h"

#include <boost/asio/redirect_error.hpp>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <utility>

namespace halcyra {

StopSignals::StopSignals(Executor main, std::function<bool()> isSending)
    : isSending_(std::move(isSending)), signals_(main, SIGINT, SIGTERM), grace_(main) {
  // Whoever started the program to outlive its terminal has this one ignored.
  struct sigaction hangUp {};
  sigaction(SIGHUP, nullptr, &hangUp);
  if (hangUp.sa_handler != SIG_IGN) signals_.add(SIGHUP);
}

Task<bool> StopSignals::first() {
  boost::system::error_code cancelled;
  co_await signals_.async_wait(boost::asio::redirect_error(boost::asio::use_awaitable, cancelled));
  co_return !cancelled;
}

void StopSignals::endAtOnceOnSecond(const std::function<void()>& uncertain) {
  if (isSending_()) uncertain();
  signals_.async_wait([this](boost::system::error_code cancelled, int) {
    if (!cancelled) std::_Exit(isSending_() ? 1 : 0);
  });
  endAfterGrace();
}

void StopSignals::cancel() {
  signals_.cancel();
  grace_.cancel();
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
