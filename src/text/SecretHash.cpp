#include "text/SecretHash.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <random>

namespace halcyra {
namespace {

constexpr std::uint64_t prime = (std::uint64_t{1} << 61) - 1;

__extension__ using Wide = unsigned __int128;

// value * point + addend modulo the prime, each below it.
std::uint64_t step(std::uint64_t value, std::uint64_t point, std::uint64_t addend) {
  const Wide product = Wide{value} * point + addend;
  const std::uint64_t folded =
      static_cast<std::uint64_t>(product & prime) + static_cast<std::uint64_t>(product >> 61);
  return folded >= prime ? folded - prime : folded;
}

}  // namespace

// Drawn once: asking the system for each object costs more than hashing a short mail.
SecretHash::SecretHash() {
  static const std::uint64_t point = [] {
    std::random_device source;
    return std::uniform_int_distribution<std::uint64_t>(1u << 16, prime - 1)(source);
  }();
  point_ = point;
}

std::uint64_t SecretHash::operator()(std::string_view text) const {
  constexpr std::size_t digit = 7;  // bytes, which stay below the prime
  constexpr std::uint64_t mask = 0x00FF'FFFF'FFFF'FFFF;
  constexpr bool littleEndian = std::endian::native == std::endian::little;
  std::uint64_t hash = text.size(), word = 0;
  std::size_t position = 0;
  for (; position + sizeof word <= text.size(); position += digit) {
    std::memcpy(&word, text.data() + position, sizeof word);
    hash = step(hash, point_, littleEndian ? word & mask : word >> 8);
  }
  for (; position < text.size(); position += digit) {
    word = 0;
    std::memcpy(&word, text.data() + position, std::min(digit, text.size() - position));
    hash = step(hash, point_, word);
  }
  // Spreads the last word over all bits, since tables take the low ones.
  hash = step(hash, point_, 0);
  return hash ^ hash >> 29;
}

}  // namespace halcyra
