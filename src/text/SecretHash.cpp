#include "text/SecretHash.h"

#include <algorithm>
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

SecretHash::SecretHash() {
  std::random_device source;
  point_ = std::uniform_int_distribution<std::uint64_t>(1u << 16, prime - 1)(source);
}

std::uint64_t SecretHash::operator()(std::string_view text) const {
  constexpr std::size_t digit = 7;  // bytes, which stay below the prime
  std::uint64_t hash = text.size();
  for (std::size_t position = 0; position < text.size(); position += digit) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data() + position, std::min(digit, text.size() - position));
    hash = step(hash, point_, word);
  }
  // Spreads the last word over all bits, since tables take the low ones.
  hash = step(hash, point_, 0);
  return hash ^ hash >> 29;
}

}  // namespace halcyra
