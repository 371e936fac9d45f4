#pragma once

#include <boost/asio/io_context.hpp>
#include <exception>
#include <optional>

#include "platform/Task.h"

namespace halcyra {

/// Runs a task, and all it starts on the same context, to the end. Gives its result or rethrows.
template <class T>
T runTask(boost::asio::io_context& context, Task<T> task) {
  std::exception_ptr failure;
  std::optional<T> result;
  boost::asio::co_spawn(context, std::move(task), [&](std::exception_ptr error, T value) {
    failure = error;
    result = std::move(value);
  });
  context.restart();
  context.run();
  if (failure) std::rethrow_exception(failure);
  return std::move(*result);
}

inline void runTask(boost::asio::io_context& context, Task<void> task) {
  std::exception_ptr failure;
  boost::asio::co_spawn(context, std::move(task),
                        [&](std::exception_ptr error) { failure = error; });
  context.restart();
  context.run();
  if (failure) std::rethrow_exception(failure);
}

template <class T>
auto runTask(Task<T> task) {
  boost::asio::io_context context;
  return runTask(context, std::move(task));
}

}  // namespace halcyra
