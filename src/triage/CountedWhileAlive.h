#pragma once

#include <atomic>
#include <cstddef>

namespace halcyra {

/// Raises a counter, which any thread may read, as long as it lives.
class CountedWhileAlive {
 public:
  explicit CountedWhileAlive(std::atomic<std::size_t>& count) : count_(count) { ++count_; }
  ~CountedWhileAlive() { --count_; }
  CountedWhileAlive(const CountedWhileAlive&) = delete;
  CountedWhileAlive& operator=(const CountedWhileAlive&) = delete;

 private:
  std::atomic<std::size_t>& count_;
};

}  // namespace halcyra
