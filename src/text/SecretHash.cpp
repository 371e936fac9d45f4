#include "text/SecretHash.h"

#include <bit>
#include <cstring>
#include <random>

namespace halcyra {
namespace {

constexpr std::uint64_t prime = (std::uint64_t{1} << 61) - 1;

__extension__ using Wide = unsigned __int128;

std::uint64_t remainder(Wide value) {
  const std::uint64_t once =
      static_cast<std::uint64_t>(value & prime) + static_cast<std::uint64_t>(value >> 61);
  const std::uint64_t twice = (once & prime) + (once >> 61);
  return twice >= prime ? twice - prime : twice;
}

constexpr std::size_t digitSize = 7;  // bytes, which stay below the prime

// The first seven bytes.
std::uint64_t asDigit(std::uint64_t bytes) {
  constexpr bool littleEndian = std::endian::native == std::endian::little;
  return littleEndian ? bytes & 0x00FF'FFFF'FFFF'FFFF : bytes >> 8;
}

// Reads one byte more than the digit.
std::uint64_t digitAt(const char* place) {
  std::uint64_t bytes;
  std::memcpy(&bytes, place, sizeof bytes);
  return asDigit(bytes);
}

}  // namespace

// Drawn once: asking the system for each object costs more than hashing a short mail.
SecretHash::SecretHash() {
  static const std::uint64_t point = [] {
    std::random_device source;
    return std::uniform_int_distribution<std::uint64_t>(1u << 16, prime - 1)(source);
  }();
  powers_[0] = point;
  for (std::size_t at = 1; at < powers_.size(); ++at) {
    powers_[at] = remainder(Wide{powers_[at - 1]} * point);
  }
}

std::uint64_t SecretHash::operator()(std::string_view text) const {
  std::uint64_t hash = text.size();
  const char* place = text.data();
  const char* const end = place + text.size();
  // Four digits at a time, since a remainder waits for the one before it.
  for (; end - place > static_cast<std::ptrdiff_t>(4 * digitSize); place += 4 * digitSize) {
    hash = remainder(Wide{hash} * powers_[3] + Wide{digitAt(place)} * powers_[2] +
                     Wide{digitAt(place + digitSize)} * powers_[1] +
                     Wide{digitAt(place + 2 * digitSize)} * powers_[0] +
                     digitAt(place + 3 * digitSize));
  }
  for (; end - place > static_cast<std::ptrdiff_t>(digitSize); place += digitSize) {
    hash = remainder(Wide{hash} * powers_[0] + digitAt(place));
  }
  std::uint64_t last = 0;
  if (place != end) std::memcpy(&last, place, static_cast<std::size_t>(end - place));
  hash = remainder(Wide{hash} * powers_[0] + asDigit(last));
  // Spreads the last digit over all bits, since tables take the low ones.
  hash = remainder(Wide{hash} * powers_[0]);
  return hash ^ hash >> 29;
}

}  // namespace halcyra
