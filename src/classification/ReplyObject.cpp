#include "classification/ReplyObject.h"

#include "text/Trim.h"

namespace halcyra {
namespace {

void removeAll(std::string& text, std::string_view mark) {
  std::string kept;
  std::size_t position = 0;
  while (true) {
    const std::size_t found = text.find(mark, position);
    kept.append(text, position, found - position);
    if (found == std::string::npos) break;
    position = found + mark.size();
  }
  text = std::move(kept);
}

}  // namespace

std::string withoutFences(std::string_view reply) {
  std::string text(trimmed(reply));
  if (!text.starts_with("```")) return text;
  for (const std::string_view mark : {"```json", "```JSON", "```"}) removeAll(text, mark);
  return std::string(trimmed(text));
}

std::optional<std::string_view> betweenBraces(std::string_view text) {
  const std::size_t first = text.find('{');
  const std::size_t last = text.rfind('}');
  if (first == text.npos || last == text.npos || last < first) return std::nullopt;
  return text.substr(first, last - first + 1);
}

}  // namespace halcyra
