#pragma once

#include <cstddef>

namespace halcyra {

/// Raises a counter as long as it lives.
class CountedWhileAlive {
 public:
  explicit CountedWhileAlive(std::size_t& count) : count_(count) { ++count_; }
  ~CountedWhileAlive() { --count_; }
  CountedWhileAlive(const CountedWhileAlive&) = delete;
  CountedWhileAlive& operator=(const CountedWhileAlive&) = delete;

 private:
  std::size_t& count_;
};

}  // namespace halcyra
