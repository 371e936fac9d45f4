#include "platform/linux/OperationLimit.h"

#include <boost/asio/post.hpp>

namespace halcyra {

OperationLimit::OperationLimit(boost::asio::ip::tcp::socket& socket)
    : socket_(socket),
      timer_(socket.get_executor()),
      current_(std::make_shared<Current>(Current{this})) {}

OperationLimit::~OperationLimit() {
  current_->limit = nullptr;
}

void OperationLimit::rest() noexcept {
  timer_.cancel();
  timerAt_ = Deadline::max();
}

void OperationLimit::setTimer() {
  timerAt_ = current_->deadline;
  timer_.expires_at(timerAt_);
  timer_.async_wait([current = current_](const boost::system::error_code& error) {
    if (!error && current->limit) current->limit->timeUp();
  });
}

void OperationLimit::timeUp() {
  timerAt_ = Deadline::max();
  if (!current_->waiting) return;
  if (std::chrono::steady_clock::now() < current_->deadline) {
    setTimer();
  } else {
    cancel();
  }
}

void OperationLimit::cancel() {
  boost::system::error_code ignored;
  socket_.cancel(ignored);
}

OperationLimit::Wait::Wait(OperationLimit& limit, Deadline deadline, const std::stop_token& stop)
    : current_(limit.current_),
      onStop_(stop, CancelSoon{limit.timer_.get_executor(), current_, current_->number + 1}) {
  current_->deadline = deadline;
  current_->waiting = true;
  ++current_->number;
  if (deadline < limit.timerAt_) limit.setTimer();
}

OperationLimit::Wait::~Wait() {
  current_->waiting = false;
}

void OperationLimit::Wait::CancelSoon::operator()() const {
  boost::asio::post(executor, [current = current, number = number] {
    if (current->limit && current->waiting && current->number == number) current->limit->cancel();
  });
}

}  // namespace halcyra
