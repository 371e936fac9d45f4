#include "mail/SentSnippet.h"

#include <algorithm>

#include "text/Graphemes.h"
#include "text/Trim.h"

namespace halcyra {

std::string sentSnippet(std::string_view subject, std::string_view preview) {
  constexpr std::size_t longest = 280;
  std::string line(trimmed(subject));
  if (const std::string_view text = trimmed(preview); !text.empty()) {
    if (!line.empty()) line += " — ";
    line += text;
  }
  std::replace(line.begin(), line.end(), '\n', ' ');
  if (!hasMoreGraphemesThan(line, longest)) return line;
  return std::string(graphemePrefix(line, longest)) + "…";
}

}  // namespace halcyra
