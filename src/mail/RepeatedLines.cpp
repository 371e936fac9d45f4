#include "mail/RepeatedLines.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "text/Case.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

// Lines behind it are not remembered.
constexpr std::size_t lastPlace = std::numeric_limits<std::uint32_t>::max() - 1;

}  // namespace

// A slot for each line of usual length, with some to spare.
LineMemory::LineMemory(std::string_view text)
    : text_(text),
      placeBits_(std::min<int>(std::bit_width(text.size()), 32)),
      slots_(std::bit_ceil(std::max<std::size_t>(text.size() / 32, 256)), 0) {}

std::string_view LineMemory::lowered(std::string_view lines) {
  lower_.assign(lines);
  lowercase(lower_);
  return lower_;
}

std::uint64_t LineMemory::hashAhead(std::string_view lower) {
  const std::uint64_t hash = hash_(lower);
  __builtin_prefetch(&slots_[hash & (slots_.size() - 1)], 1);
  return hash;
}

bool LineMemory::isNew(std::size_t place, std::size_t size, std::uint64_t hash) {
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t slot = hash & mask; slots_[slot] != 0; slot = (slot + 1) & mask) {
    // A place and nothing above it if the tags are the same.
    const std::uint64_t entry = slots_[slot] ^ tagOf(hash);
    if (entry >> placeBits_ == 0 && areEqual(text_.substr(place, size), entry - 1)) return false;
  }
  if (place <= lastPlace) {
    keep(place, hash);
    ++kept_;
    if (kept_ + kept_ / 2 >= slots_.size()) grow(place + size);
  }
  return true;
}

void LineMemory::keep(std::size_t place, std::uint64_t hash) {
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = hash & mask;
  while (slots_[slot] != 0) slot = (slot + 1) & mask;
  slots_[slot] = static_cast<std::uint32_t>(place + 1) | tagOf(hash);
}

// Fills the bits that no place needs; tells most lines apart without a look at them.
std::uint32_t LineMemory::tagOf(std::uint64_t hash) const {
  return static_cast<std::uint32_t>((hash >> 32) << placeBits_);
}

// Whether the line stands at `place` too.
bool LineMemory::areEqual(std::string_view line, std::size_t place) {
  const std::string_view lower = lowered(line);
  // No character shrinks to less than a third in lower case; a long line costs no more than the
  // one it is compared with.
  constexpr std::size_t largestShrinking = 3;
  const std::string_view rest = text_.substr(place, largestShrinking * lower.size() + 1);
  const std::size_t end = rest.find('\n');
  if (end == rest.npos) return false;
  const std::string_view kept = rest.substr(0, end);
  if (equalsIgnoringAsciiCase(kept, lower)) return true;
  return !isAscii(kept) && lowercased(kept) == lower;
}

// At least a third of the table stays free, so that a search ends soon. The lines, which reach up
// to `end`, are read anew in their order: that is fast, and the old table need not be held.
void LineMemory::grow(std::size_t end) {
  const std::size_t size = slots_.size() * 2;
  slots_ = {};
  slots_.resize(size, 0);
  struct {
    std::size_t place;
    std::uint64_t hash;
  } ahead[linesAhead];
  std::size_t count = 0;
  const auto keepThese = [&] {
    for (std::size_t i = 0; i < count; ++i) keep(ahead[i].place, ahead[i].hash);
    count = 0;
  };
  const std::string_view lines = text_.substr(0, end);
  for (std::size_t place = 0, lineEnd = 0; place < end && place <= lastPlace; place = lineEnd + 1) {
    lineEnd = std::min(lines.find('\n', place), end);
    if (lineEnd == place) continue;
    ahead[count++] = {place, hashAhead(lowered(lines.substr(place, lineEnd - place)))};
    if (count == linesAhead) keepThese();
  }
  keepThese();
}

}  // namespace halcyra
