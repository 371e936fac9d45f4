#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace halcyra {

/// A hash whose key is drawn at random, so that nobody can send texts made to collide: a polynomial
/// in a secret point modulo 2^61 - 1. Values are good for the life of the object only.
class SecretHash {
 public:
  SecretHash();

  std::uint64_t operator()(std::string_view text) const;

 private:
  template <class DigitAt>
  std::uint64_t withBlock(std::uint64_t hash, DigitAt digitAt) const;

  std::array<std::uint64_t, 6> powers_;  // of the point
};

}  // namespace halcyra
