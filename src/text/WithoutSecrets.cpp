#include "text/WithoutSecrets.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace halcyra {

std::string withoutSecrets(std::string text, std::span<const std::string> secrets) {
  std::vector<std::string_view> longestFirst(secrets.begin(), secrets.end());
  std::erase_if(longestFirst, [](std::string_view secret) { return secret.empty(); });
  std::ranges::sort(longestFirst, std::ranges::greater(), &std::string_view::size);
  for (const std::string_view secret : longestFirst) {
    std::string masked;
    std::size_t from = 0;
    for (std::size_t at; (at = text.find(secret, from)) != text.npos; from = at + secret.size()) {
      masked.append(text, from, at - from).append("***");
    }
    text = masked.append(text, from);
  }
  return text;
}

}  // namespace halcyra
