#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <utility>

namespace halcyra {

/// Code that waits. A task starts when it is awaited, runs on the executor of its awaiter and comes
/// back to it after each wait, so code between two waits needs no locks. Parameters of a task are
/// values, or objects that outlive it.
template <class T = void>
using Task = boost::asio::awaitable<T>;

using Executor = boost::asio::any_io_executor;

/// Runs a task on another executor and returns to the caller's with its result or its exception.
/// T must be default-constructible.
template <class T>
Task<T> runOn(Executor executor, Task<T> task) {
  auto result = boost::asio::co_spawn(executor, std::move(task), boost::asio::use_awaitable);
  co_return co_await std::move(result);
}

}  // namespace halcyra
