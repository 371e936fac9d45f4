#pragma once

#include <boost/asio/steady_timer.hpp>
#include <cstddef>
#include <memory>

#include "platform/Task.h"

namespace halcyra {

/// Tasks that were started and not yet awaited, so that a clean stop can wait for all of them.
/// Belongs to its home executor; the tasks may run on others and may outlive the group.
class TaskGroup {
 public:
  explicit TaskGroup(Executor home);

  /// Starts a task on an executor. A task must not throw; one that does ends the program.
  void spawn(Executor executor, Task<void> task);

  /// Ends when no task is running.
  Task<void> drained() { return drained(state_); }

  std::size_t running() const { return state_->running; }

 private:
  struct State {
    explicit State(const Executor& home);

    std::size_t running = 0;
    boost::asio::steady_timer allEnded;  // never expires; cancelled when the last task ends
  };

  static Task<void> drained(std::shared_ptr<State> state);

  Executor home_;
  std::shared_ptr<State> state_;
};

}  // namespace halcyra
