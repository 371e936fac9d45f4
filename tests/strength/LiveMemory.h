#pragma once

#include <cstddef>

namespace halcyra {

/// What is allocated now, by any thread and library. Nothing in a build with the address sanitizer,
/// which looks for leaks itself.
struct LiveMemory {
  std::size_t blocks = 0;
  std::size_t bytes = 0;

  static LiveMemory now();
};

/// Repetitions of one thing since `before` gave back all that they took, except for what a few of
/// them may have been the first to need.
void expectAllGivenBack(const LiveMemory& before, std::size_t repetitions);

}  // namespace halcyra
