#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace halcyra {

/// The eight bytes at `place`, in the order of memory.
inline std::uint64_t wordAt(const char* place) {
  std::uint64_t word;
  std::memcpy(&word, place, sizeof word);
  return word;
}

/// Which byte of a word, in the order of memory, is the first that is not 0; 8 if all are.
inline std::size_t firstByteOf(std::uint64_t word) {
  const int bits =
      std::endian::native == std::endian::little ? std::countr_zero(word) : std::countl_zero(word);
  return static_cast<std::size_t>(bits) / 8;
}

}  // namespace halcyra
