#include "mail/RepeatedLines.h"

#include <bit>
#include <limits>

namespace halcyra {

// At least a third of the table stays free, so that a search ends soon.
LineMemory::LineMemory(std::size_t lines)
    : lines_("\n"), places_(std::bit_ceil(lines + lines / 2 + 1), 0) {}

bool LineMemory::isAt(std::size_t place, std::string_view line) const {
  return lines_.compare(place, line.size(), line) == 0 && lines_[place + line.size()] == '\n';
}

bool LineMemory::isNew(std::string_view line) {
  const std::size_t mask = places_.size() - 1;
  std::size_t slot = hash_(line) & mask;
  for (; places_[slot] != 0; slot = (slot + 1) & mask) {
    if (isAt(places_[slot], line)) return false;
  }
  if (lines_.size() <= std::numeric_limits<std::uint32_t>::max()) {
    places_[slot] = static_cast<std::uint32_t>(lines_.size());
    lines_.append(line).push_back('\n');
  }
  return true;
}

}  // namespace halcyra
