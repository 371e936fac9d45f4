#pragma once

#include <cstddef>
#include <cstdlib>

namespace halcyra {

/// Do the exhaustive tests go all the way (HALCYRA_LONG=1, which `./test --long` sets), or do they
/// take samples?
inline bool isLongRun() {
  const char* value = std::getenv("HALCYRA_LONG");
  return value != nullptr && *value != '\0';
}

/// The step of a walk over many cases. A prime for the samples, so that they fall on every column
/// of what repeats.
inline std::size_t walkingStep(std::size_t prime) {
  return isLongRun() ? 1 : prime;
}

}  // namespace halcyra
