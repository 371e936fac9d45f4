#include "platform/TaskGroup.h"

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/redirect_error.hpp>
#include <exception>

namespace halcyra {

TaskGroup::State::State(const Executor& home)
    : allEnded(home, boost::asio::steady_timer::time_point::max()) {}

TaskGroup::TaskGroup(Executor home) : home_(home), state_(std::make_shared<State>(home)) {}

void TaskGroup::spawn(Executor executor, Task<void> task) {
  ++state_->running;
  auto ended = [state = state_](std::exception_ptr failure) {
    if (failure) std::terminate();
    if (--state->running == 0) state->allEnded.cancel();
  };
  boost::asio::co_spawn(executor, std::move(task), boost::asio::bind_executor(home_, ended));
}

Task<void> TaskGroup::drained(std::shared_ptr<State> state) {
  while (state->running > 0) {
    boost::system::error_code cancelled;
    co_await state->allEnded.async_wait(
        boost::asio::redirect_error(boost::asio::use_awaitable, cancelled));
  }
}

}  // namespace halcyra
