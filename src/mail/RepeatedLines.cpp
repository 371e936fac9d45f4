#include "mail/RepeatedLines.h"

#include <limits>

namespace halcyra {

LineMemory::LineMemory() : lines_("\n"), places_(1024, 0) {}

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
    ++kept_;
    if (kept_ + kept_ / 2 >= places_.size()) grow();
  }
  return true;
}

// At least a third of the table stays free, so that a search ends soon.
void LineMemory::grow() {
  std::vector<std::uint32_t> wider(places_.size() * 2, 0);
  const std::size_t mask = wider.size() - 1;
  for (const std::uint32_t place : places_) {
    if (place == 0) continue;
    const std::string_view rest = std::string_view(lines_).substr(place);
    std::size_t slot = hash_(rest.substr(0, rest.find('\n'))) & mask;
    while (wider[slot] != 0) slot = (slot + 1) & mask;
    wider[slot] = place;
  }
  places_ = std::move(wider);
}

}  // namespace halcyra
