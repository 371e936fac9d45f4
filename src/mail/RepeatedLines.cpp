#include "mail/RepeatedLines.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "text/Case.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

// Two lines that begin with different letters of ASCII stay different.
bool mayFoldTo(std::string_view lower, std::string_view line) {
  const char first = asciiLower(line.front());
  return first == lower.front() || !isAsciiByte(first) || !isAsciiByte(lower.front());
}

}  // namespace

// A slot for each line of usual length, with some to spare.
LineMemory::LineMemory(std::string_view text)
    : text_(text), slots_(std::bit_ceil(std::max<std::size_t>(text.size() / 32, 256)), 0) {}

bool LineMemory::isNew(std::size_t place, std::size_t size) {
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = hashOf(text_.substr(place, size)) & mask;
  for (; slots_[slot] != 0; slot = (slot + 1) & mask) {
    if (isAt(slots_[slot] - 1)) return false;
  }
  if (place < std::numeric_limits<std::uint32_t>::max()) {
    slots_[slot] = static_cast<std::uint32_t>(place + 1);
    ++kept_;
    if (kept_ + kept_ / 2 >= slots_.size()) grow();
  }
  return true;
}

std::uint64_t LineMemory::hashOf(std::string_view line) {
  lower_.assign(line);
  lowercase(lower_);
  return hash_(lower_);
}

// Whether the line that was hashed last is at `place`.
bool LineMemory::isAt(std::size_t place) const {
  // No character shrinks to less than a third in lower case; a long line costs no more than the
  // one it is compared with.
  constexpr std::size_t largestShrinking = 3;
  const std::string_view rest = text_.substr(place, largestShrinking * lower_.size() + 1);
  const std::size_t end = rest.find('\n');
  if (end == rest.npos) return false;
  const std::string_view line = rest.substr(0, end);
  if (equalsIgnoringAsciiCase(line, lower_)) return true;
  return !isAscii(line) && mayFoldTo(lower_, line) && lowercased(line) == lower_;
}

// At least a third of the table stays free, so that a search ends soon.
void LineMemory::grow() {
  std::vector<std::uint32_t> wider(slots_.size() * 2, 0);
  const std::size_t mask = wider.size() - 1;
  for (const std::uint32_t entry : slots_) {
    if (entry == 0) continue;
    const std::string_view rest = text_.substr(entry - 1);
    std::size_t slot = hashOf(rest.substr(0, rest.find('\n'))) & mask;
    while (wider[slot] != 0) slot = (slot + 1) & mask;
    wider[slot] = entry;
  }
  slots_ = std::move(wider);
}

}  // namespace halcyra
