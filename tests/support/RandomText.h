#pragma once

#include <random>
#include <span>
#include <string>
#include <string_view>

namespace halcyra {

/// Texts strung together from a few tokens, the same in every run.
class RandomText {
 public:
  explicit RandomText(unsigned seed) : random_(seed) {}

  std::size_t below(std::size_t limit) { return random_() % limit; }

  std::string of(std::span<const std::string_view> tokens, std::size_t most) {
    std::string text;
    for (std::size_t count = below(most + 1); count > 0; --count) {
      text += tokens[below(tokens.size())];
    }
    return text;
  }

 private:
  std::mt19937 random_;
};

}  // namespace halcyra
