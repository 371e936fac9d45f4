#include "mail/MailAddress.h"

#include <algorithm>
#include <cstddef>

#include "mail/ParsedMail.h"
#include "text/Trim.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

bool holdsWhiteSpace(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    if (isWhiteSpace(nextCodePoint(text, at))) return true;
  }
  return false;
}

// <([^>\s]+@[^>\s]+)> without its brackets. Within a run that has neither ">" nor white space only
// the first "<" needs a look: what a later one could match, the first one matches too.
std::optional<std::string_view> bracketedAddress(std::string_view text) {
  std::size_t open = text.npos;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t here = at;
    const char32_t c = nextCodePoint(text, at);
    if (c == '<' && open == text.npos) open = here;
    if (c != '>' && !isWhiteSpace(c)) continue;
    if (c == '>' && open != text.npos) {
      const std::string_view inside = text.substr(open + 1, here - open - 1);
      // An "@" with something on both sides.
      const std::size_t sign = inside.find('@', 1);
      if (sign != inside.npos && sign + 1 < inside.size()) return inside;
    }
    open = text.npos;
  }
  return std::nullopt;
}

// Exactly two parts when split at "@", empty ones not counted.
bool hasTwoParts(std::string_view word) {
  std::size_t parts = 0;
  for (std::size_t at = 0; at < word.size(); ++at) {
    if (word[at] != '@' && (at == 0 || word[at - 1] == '@')) ++parts;
  }
  return parts == 2;
}

std::optional<std::string_view> addressAmongWords(std::string_view text) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    const std::string_view word = trimmedOf(text.substr(0, end), "<>,;\"");
    if (word.find('@') != word.npos && hasTwoParts(word)) return word;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> extractMailAddress(std::string_view text) {
  text = trimmed(text);
  if (const auto found = bracketedAddress(text)) return std::string(*found);
  if (const auto found = addressAmongWords(text)) return std::string(*found);
  text = trimmedOf(text, "<>");
  if (text.find('@') == text.npos || holdsWhiteSpace(text)) return std::nullopt;
  return std::string(text);
}

std::string angleBracketed(std::string_view messageID) {
  const std::string_view id = trimmedOf(trimmed(messageID), "<>");
  if (id.empty()) return "<unknown@" + std::string(generatedIdDomain) + ">";
  return "<" + std::string(id) + ">";
}

}  // namespace halcyra
