#include "text/SecretHash.h"

#include <bit>
#include <random>

#include "text/ByteWord.h"

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
constexpr std::size_t blockSize = 5 * digitSize;

// The digit of the first or the last seven bytes of a word.
constexpr bool littleEndian = std::endian::native == std::endian::little;
std::uint64_t firstDigit(std::uint64_t word) {
  return littleEndian ? word & 0x00FF'FFFF'FFFF'FFFF : word >> 8;
}
std::uint64_t lastDigit(std::uint64_t word) {
  return littleEndian ? word >> 8 : word & 0x00FF'FFFF'FFFF'FFFF;
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

// Several digits at a time, since a remainder waits for the one before it. The last digit is
// multiplied too, which spreads it over all bits: tables take the low ones.
template <class DigitAt>
std::uint64_t SecretHash::withBlock(std::uint64_t hash, DigitAt digitAt) const {
  return remainder(Wide{hash} * powers_[5] + Wide{digitAt(0)} * powers_[4] +
                   Wide{digitAt(1)} * powers_[3] + Wide{digitAt(2)} * powers_[2] +
                   Wide{digitAt(3)} * powers_[1] + Wide{digitAt(4)} * powers_[0]);
}

// The size is the first digit. The last block may overlap the one before it.
std::uint64_t SecretHash::operator()(std::string_view text) const {
  std::uint64_t hash = text.size();
  const char* place = text.data();
  const char* end = place + text.size();
  char padded[blockSize + 1] = {};
  if (text.size() <= blockSize) {
    text.copy(padded + 1, text.size());
    end = padded + sizeof padded;
  } else {
    for (; end - place > static_cast<std::ptrdiff_t>(blockSize); place += blockSize) {
      hash = withBlock(hash, [place](std::size_t digit) {
        return firstDigit(wordAt(place + digit * digitSize));
      });
    }
  }
  hash = withBlock(hash, [end](std::size_t digit) {
    return lastDigit(wordAt(end - blockSize - 1 + digit * digitSize));
  });
  return hash ^ hash >> 29;
}

}  // namespace halcyra
