#include "classification/LLMError.h"

#include "text/Graphemes.h"

namespace halcyra {
namespace {

// The second bound is for bodies that pile combining marks onto few characters.
constexpr std::size_t longestBodyCharacters = 2000;
constexpr std::size_t longestBodyBytes = 32000;

std::string_view shownPart(std::string_view body) {
  std::size_t bytes = std::min(body.size(), longestBodyBytes);
  while (bytes < body.size() && bytes > 0 && (static_cast<unsigned char>(body[bytes]) >> 6) == 2) {
    --bytes;
  }
  return graphemePrefix(body.substr(0, bytes), longestBodyCharacters);
}

}  // namespace

LLMError LLMError::http(int code, std::string_view body) {
  const std::string_view shown = shownPart(body);
  std::string text = "LLM HTTP " + std::to_string(code) + ": " + std::string(shown);
  if (shown.size() < body.size()) text.append("…");
  return {Kind::http, text};
}

}  // namespace halcyra
