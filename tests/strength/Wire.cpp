#include "Wire.h"

#include <array>

namespace halcyra {

std::string_view nameOf(FaultKind kind) {
  constexpr std::array<std::string_view, 6> names = {"none",  "cut",        "stall",
                                                     "split", "flipLowBit", "flipHighBit"};
  return names.at(static_cast<std::size_t>(kind));
}

Wire::Crossing Wire::cross(std::string bytes) {
  const std::lock_guard guard(lock_);
  const std::size_t start = crossed_;
  crossed_ += bytes.size();
  if (fault_.at < start || fault_.at >= crossed_) return {{std::move(bytes)}};
  const std::size_t place = fault_.at - start;
  char& struck = bytes[place];
  switch (fault_.kind) {
    case FaultKind::flipLowBit:
      struck = static_cast<char>(struck ^ 1);
      break;
    case FaultKind::flipHighBit:
      struck = static_cast<char>(struck ^ 0x80);
      break;
    case FaultKind::split:
      return {{bytes.substr(0, place), bytes.substr(place)}};
    case FaultKind::cut:
    case FaultKind::stall:
      return {{bytes.substr(0, place)}, fault_.kind};
    case FaultKind::none:
      break;
  }
  return {{std::move(bytes)}};
}

std::size_t Wire::crossed() const {
  const std::lock_guard guard(lock_);
  return crossed_;
}

void Wire::heal() {
  const std::lock_guard guard(lock_);
  fault_ = {};
}

}  // namespace halcyra
