#include "classification/ReplyObject.h"

#include "text/Scan.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

void removeAll(std::string& text, std::string_view mark) {
  replaceMatches(text, "", [mark](std::string_view view, std::size_t from) -> std::optional<Match> {
    const std::size_t begin = findText(view, mark, from);
    if (begin == view.npos) return std::nullopt;
    return Match{begin, begin + mark.size()};
  });
}

}  // namespace

std::string withoutFences(std::string_view reply) {
  std::string text(trimmed(reply));
  if (!text.starts_with("```")) return text;
  for (const std::string_view mark : {"```json", "```JSON", "```"}) removeAll(text, mark);
  trim(text);
  return text;
}

std::optional<std::string_view> betweenBraces(std::string_view text) {
  const std::size_t first = text.find('{');
  const std::size_t last = text.rfind('}');
  if (first == text.npos || last == text.npos || last < first) return std::nullopt;
  return text.substr(first, last - first + 1);
}

}  // namespace halcyra
